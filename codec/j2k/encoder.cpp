// Tiles are transformed and coded one after the other. Then the code-blocks of all tiles are truncated to the requested
// size, and the packets are written; where nothing depends on the other tiles, each tile is written at once.
#include "j2k/encoder.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <unordered_set>
#include <utility>

#include "base/problem.h"
#include "j2k/boxes.h"
#include "j2k/markerwriter.h"
#include "j2k/samples.h"
#include "j2k/writeparams.h"

namespace moxj::j2k {

namespace {

// What a block costs in memory if it has so many passes. Each of its five vectors has a header of the allocator, and
// small ones are rounded up.
std::uint64_t costOf(const CodedBlock& coded, std::size_t passes, std::size_t hull) {
  const std::uint64_t data = passes == 0 || coded.stored ? 0 : coded.passes[passes - 1].end;
  constexpr std::uint64_t kAllocations = 5 * 16 + 64;
  return sizeof coded + kAllocations + data + passes * sizeof(Pass) + hull * sizeof(HullPoint) + coded.taken.size();
}

// The points of the hull that are at least as steep.
std::size_t steepPoints(const CodedBlock& coded, double slope) {
  const auto end = std::partition_point(coded.hull.begin(), coded.hull.end(),
                                        [&](const HullPoint& point) { return point.slope >= slope; });
  return static_cast<std::size_t>(end - coded.hull.begin());
}

std::size_t passesOf(const CodedBlock& coded, std::size_t points) {
  return points == 0 ? 0 : static_cast<std::size_t>(coded.hull[points - 1].passes);
}

template <class Value>
void cut(std::vector<Value>& values, std::size_t count) {
  if (values.size() <= count) return;
  values.resize(count);
  values.shrink_to_fit();
}

// Forgets the passes that gain less.
void truncate(CodedBlock& coded, double slope) {
  const std::size_t points = steepPoints(coded, slope), passes = passesOf(coded, points);
  if (passes == coded.passes.size()) return;
  cut(coded.data, passes == 0 ? 0 : coded.passes[passes - 1].end);
  cut(coded.passes, passes);
  cut(coded.hull, points);
  coded.bytes = passes == 0 ? 0 : coded.passes[passes - 1].end;
}

std::uint64_t costOf(const CodedBlock& coded) { return costOf(coded, coded.passes.size(), coded.hull.size()); }

// The bytes of a block in a file of this slope.
double bytesAt(const CodedBlock& coded, double slope) {
  constexpr double kHeader = 2;
  const std::size_t passes = passesOf(coded, steepPoints(coded, slope));
  return passes == 0 ? 0 : coded.passes[passes - 1].end + kHeader;
}

}  // namespace

Encoder::Encoder(const Picture& layout, const EncodeOptions& options, Work& work, const Progress& progress)
    : picture_(layout),
      options_(options),
      goals_(options.goals.values),
      job_(work),
      siz_(sizOf(layout, options)),
      params_(paramsFor(layout, options)),
      progress_(progress, siz_.tiles(), 1) {
  for (int worker = 0; worker < job_.workers.count(); ++worker)
    encoders_.push_back(std::make_unique<BlockEncoder>(options_.blockWidth, options_.blockHeight));
}

Encoder::~Encoder() = default;

bool Encoder::code(const Picture& picture, const std::function<void()>& loaded, std::uint64_t maxBytes) {
  size_.max = maxBytes;
  rows_.emplace(PictureRows{picture, std::vector<Coord>(picture.planes.size())});
  const bool parts = codesParts(picture);
  const Coord tiles = siz_.tiles();
  for (Coord index = 0; index < tiles; ++index) {
    addTile();
    if (parts)
      encodePart();
    else
      encodeTile(*rows_, index + 1 == tiles ? loaded : nullptr);
    if (size_.exceeded()) return false;
    progress_.tileDone(index);
  }
  choose();
  if (parts && loaded) loaded();
  forgetSamples();
  rows_.reset();
  return true;
}

Tile& Encoder::addTile() { return tiles_.emplace_back(makeTile(siz_, params_, next_++, job_.budget)); }

void Encoder::choose() {
  writeHeaders();
  for (Tile& tile : tiles_)
    writers_.emplace_back(tile, next_ - static_cast<Coord>(tiles_.size() - writers_.size()), siz_, options_, scratch_,
                          job_.budget, job_.workers);
  chooseLayers();
}

std::uint64_t Encoder::planeBytes(const Tile& tile) const {
  std::uint64_t bytes = 0;
  for (const TileComponent& component : tile.components)
    bytes += TilePlane::bytes(component.rect.width(), component.rect.height());
  return bytes;
}

std::vector<TilePlane> Encoder::loadPlanes(const Tile& tile, const PictureRows& rows) {
  std::vector<Window> windows;
  for (std::size_t c = 0; c < tile.components.size(); ++c) {
    const Rect& rect = tile.components[c].rect;
    windows.push_back({static_cast<int>(rect.x0), static_cast<int>(rect.y0 - rows.first[c])});
  }
  std::vector<TilePlane> planes;
  for (const TileComponent& component : tile.components)
    planes.emplace_back(static_cast<int>(component.rect.width()), static_cast<int>(component.rect.height()));
  loadTile(rows.picture, tile, windows, planes, job_.workers);
  return planes;
}

void Encoder::encodeTile(const PictureRows& rows, const std::function<void()>& loaded) {
  Tile& tile = tiles_.back();
  const std::uint64_t bytes = planeBytes(tile);
  job_.budget.charge(1, bytes);
  std::vector<TilePlane> planes = loadPlanes(tile, rows);
  if (loaded) loaded();
  const std::size_t first = coded_.size();
  TileEncoder(tile, siz_, options_, planes, coded_, job_.workers, encoders_, size_).run(progress_, next_ - 1);
  job_.budget.release(bytes);
  for (std::size_t i = first; i < coded_.size(); ++i) charge(coded_[i]);
}

// Codes the passes that the wanted size will probably have room for, and those that show which these are. Blocks of the
// first tile that are coded as a whole give a first estimate of the slope, the tiles before it one for each further
// tile.
void Encoder::encodePart() {
  constexpr double kNear = 0.8, kFar = 0.5;  // of slopes from the same tile and from others
  const std::size_t first = coded_.size(), index = firstBlock_.size();
  firstBlock_.push_back(first);
  loadSamples(index);
  std::unordered_set<const CodedBlock*> sampled;
  if (index == 0) {
    const std::vector<TileEncoder::Sample> sample = tileEncoder_->sample();
    for (const TileEncoder::Sample& one : sample) sampled.insert(one.coded);
    tileEncoder_->runSome({[&](const CodedBlock& coded) { return sampled.contains(&coded); }, 0}, progress_, next_ - 1);
    slope_ = estimateSlope(0, sample) * kNear;
  } else if (std::has_single_bit(index)) {
    slope_ = estimateSlope(first, {}) * kFar;
  }
  tileEncoder_->runSome({[&](const CodedBlock& coded) { return !sampled.contains(&coded); }, slope_}, progress_,
                        next_ - 1);
  for (std::size_t i = first; i < coded_.size(); ++i) charge(coded_[i]);
  if (siz_.tiles() > 1) forgetSamples();
}

// The slope at which the first `known` blocks, or a sample of them, have the bytes that the largest layer leaves for
// their part of the picture.
double Encoder::estimateSlope(std::size_t known, std::span<const TileEncoder::Sample> sample) const {
  constexpr int kSteps = 40;
  double share = 0;
  for (const Tile& tile : tiles_) {
    if (sample.empty() && &tile == &tiles_.back()) continue;
    share += static_cast<double>(tile.rect.width()) * static_cast<double>(tile.rect.height());
  }
  share /= static_cast<double>(siz_.image.width()) * static_cast<double>(siz_.image.height());
  const double wanted = static_cast<double>(wantedSize(goals_.back())) * share;
  const auto bytes = [&](double slope) {
    double sum = 0;
    for (std::size_t i = 0; i < known; ++i) sum += bytesAt(coded_[i], slope);
    for (const TileEncoder::Sample& one : sample) sum += bytesAt(*one.coded, slope) * one.share;
    return sum;
  };
  double low = 0x1p-64, high = 0x1p96;
  for (int step = 0; step < kSteps && high / low > 1.001; ++step) {
    const double slope = std::sqrt(low * high);
    (bytes(slope) > wanted ? low : high) = slope;
  }
  return low;
}

// Whether passes that a requested size has no room for are left out. Not if it has room for most of them, or if memory
// is short: the samples stay until the choice is made.
bool Encoder::codesParts(const Picture& picture) const {
  constexpr double kLeast = 6;
  const Goals& goals = options_.goals;
  if (options_.codeAll || size_.max != UINT64_MAX || !goals.given() || goals.kind == Goals::psnr) return false;
  double bits = 0;
  for (const Plane& p : picture_.planes) bits += static_cast<double>(p.width) * p.height * p.bits;
  const auto leavesOut = [&](double goal) {
    return goal != Goals::kEverything && static_cast<double>(wantedSize(goal)) * kLeast * 8 <= bits;
  };
  if (!std::ranges::all_of(goals_, leavesOut)) return false;
  std::uint64_t planes = 0;
  for (const ComponentSize& size : siz_.components)
    planes += TilePlane::bytes(ceilDiv(siz_.tileWidth, size.dx), ceilDiv(siz_.tileHeight, size.dy));
  return planes + 2 * picture.bytes() <= job_.budget.left();
}

void Encoder::codeMore(std::span<CodedBlock* const> blocks, double slope) {
  const std::unordered_set<const CodedBlock*> wanted(blocks.begin(), blocks.end());
  const auto isWanted = [&](const CodedBlock& coded) { return wanted.contains(&coded); };
  std::uint64_t before = 0, after = 0;
  for (const CodedBlock* coded : blocks) before += costOf(*coded);
  for (std::size_t i = 0; i < tiles_.size(); ++i) {
    const auto begin = coded_.begin() + static_cast<std::ptrdiff_t>(firstBlock_[i]);
    const auto end =
        i + 1 < tiles_.size() ? coded_.begin() + static_cast<std::ptrdiff_t>(firstBlock_[i + 1]) : coded_.end();
    if (std::none_of(begin, end, isWanted)) continue;
    if (!tileEncoder_) loadSamples(i);
    tileEncoder_->runSome({isWanted, slope}, progress_, static_cast<Coord>(i));
    if (tiles_.size() > 1) forgetSamples();
  }
  for (const CodedBlock* coded : blocks) after += costOf(*coded);
  job_.budget.release(before);
  job_.budget.charge(1, after);
  charged_ = charged_ - before + after;
}

// For a tile that is to be coded, or some blocks of it again.
void Encoder::loadSamples(std::size_t index) {
  Tile& tile = tiles_[index];
  sampleBytes_ = planeBytes(tile);
  job_.budget.charge(1, sampleBytes_);
  planes_ = loadPlanes(tile, *rows_);
  tileEncoder_ = std::make_unique<TileEncoder>(tile, siz_, options_, planes_, coded_, job_.workers, encoders_, size_);
}

void Encoder::forgetSamples() {
  tileEncoder_.reset();
  planes_.clear();
  job_.budget.release(std::exchange(sampleBytes_, 0));
}

void Encoder::charge(CodedBlock& coded) {
  if (leastSlope_ > 0) truncate(coded, leastSlope_);
  coded.taken.assign(static_cast<std::size_t>(options_.layers), 0);
  // Without a choice of passes nobody asks for their gains.
  if (writesDirectly(options_)) cut(coded.hull, 0);
  coded.passes.shrink_to_fit();
  coded.hull.shrink_to_fit();
  const std::uint64_t cost = costOf(coded, coded.passes.size(), coded.hull.size());
  job_.budget.charge(1, cost);
  charged_ += cost;
  if (!coded.passes.empty()) data_ += coded.passes.back().end;
}

// Of the memory that nothing else takes or will take, a quarter stays free. If the blocks so far take more than the
// rest, the least slope rises until they take three quarters of that. The slope of the file is above it as long as the
// file takes less.
void Encoder::economise(std::uint64_t reserve) {
  const std::uint64_t free = job_.budget.left() + charged_, share = (free - std::min(reserve, free)) / 4 * 3;
  if (!options_.goals.given() || options_.lossless || charged_ <= share) return;
  constexpr int kSteps = 24;
  double low = HUGE_VAL, high = 0;
  for (const CodedBlock& coded : coded_)
    for (const HullPoint& point : coded.hull) {
      if (std::isinf(point.slope)) continue;
      low = std::min(low, point.slope);
      high = std::max(high, point.slope);
    }
  const std::uint64_t wanted = share / 4 * 3;
  const auto costAt = [&](double slope) {
    std::uint64_t cost = 0;
    for (const CodedBlock& coded : coded_) {
      const std::size_t points = steepPoints(coded, slope);
      cost += costOf(coded, passesOf(coded, points), points);
    }
    return cost;
  };
  for (int step = 0; step < kSteps && high / low > 1.001; ++step) {
    const double slope = std::sqrt(low * high);
    (costAt(slope) > wanted ? low : high) = slope;
  }
  if (high <= leastSlope_ || costAt(high) > wanted) return;
  leastSlope_ = high;
  std::uint64_t cost = 0;
  for (CodedBlock& coded : coded_) {
    truncate(coded, high);
    if (!coded.taken.empty()) cost += costOf(coded, coded.passes.size(), coded.hull.size());
  }
  job_.budget.release(charged_ - std::min(cost, charged_));
  charged_ = cost;
}

// What economise() truncates must not be stored. The bytes stay in memory as long as they take at most three quarters
// of what nothing else takes or will take.
void Encoder::store(std::uint64_t reserve) {
  constexpr std::uint64_t kWorthwhile = std::uint64_t{64} << 10;
  const std::uint64_t free = job_.budget.left() + data_, share = (free - std::min(reserve, free)) / 4 * 3;
  if ((options_.goals.given() && !options_.lossless) || data_ <= std::max(share, kWorthwhile)) return;
  if (!scratch_.open()) return;  // the memory may still suffice
  for (CodedBlock& coded : coded_) {
    if (coded.data.empty() || coded.taken.empty()) continue;
    coded.stored = scratch_.append(coded.data);
    cut(coded.data, 0);
  }
  job_.budget.release(data_);
  charged_ -= std::min(data_, charged_);
  data_ = 0;
}

bool Encoder::writesDirectly(const EncodeOptions& options) {
  return !options.goals.given() && options.layers == 1 && !options.tlm;
}

void Encoder::writeHeaders() {
  if (!header_.empty()) return;
  if (options_.boxes) writeBoxes();
  writeMainHeader(header_, siz_, params_, options_);
  const std::size_t before = header_.size();
  writeComments(header_, picture_.metadata.get());
  metadataBytes_ += header_.size() - before;
}

void Encoder::writeStart(Output& output) {
  writeHeaders();
  output.write({header_.data(), header_.size()});
}

void Encoder::writeTile(Output& output) {
  for (CodedBlock& coded : coded_) coded.taken[0] = static_cast<std::uint8_t>(coded.passes.size());
  PacketWriter writer(tiles_.back(), next_ - 1, siz_, options_, scratch_, job_.budget, job_.workers);
  writer.write(1, output, job_.budget, progress_.within(next_ - 1, writer.packetCount()));
  tiles_.clear();
  coded_.clear();
  charged_ = data_ = 0;
}

void Encoder::writeEnd(Output& output) {
  Bytes end;
  j2k::writeEnd(end);
  output.write({end.data(), end.size()});
}

void Encoder::writeBoxes() {
  j2k::writeBoxes(header_, picture_);
  if (!picture_.metadata) return;
  Picture bare = picture_;
  bare.metadata = nullptr;
  Bytes boxes;
  j2k::writeBoxes(boxes, bare);
  metadataBytes_ = header_.size() - boxes.size();
}

std::uint64_t Encoder::sizeOf(int layers) {
  constexpr std::uint64_t kEnd = 2;
  progress_.poll();
  std::size_t blocks = 0;
  for (const PacketWriter& writer : writers_) blocks += writer.blocksToCode();
  if (blocks >= PacketWriter::kWorthwhile) forEachWriter([&](PacketWriter& writer) { writer.size(layers); });
  std::uint64_t size = header_.size() - metadataBytes_ + kEnd;
  std::uint64_t parts = 0;
  for (PacketWriter& writer : writers_) {
    size += writer.size(layers);
    if (options_.tlm) parts += static_cast<std::uint64_t>(writer.partCount(layers));
  }
  return size + tlmSize(parts);
}

std::uint64_t Encoder::wantedSize(double goal) const {
  const double pixels = static_cast<double>(siz_.image.width()) * static_cast<double>(siz_.image.height());
  double bits = 0;
  for (const Plane& p : picture_.planes) bits += static_cast<double>(p.width) * p.height * p.bits;
  const double bytes = options_.goals.kind == Goals::bitsPerPixel ? pixels * goal / 8 : bits / 8 / goal;
  return static_cast<std::uint64_t>(std::min(bytes, 1e18));
}

std::uint64_t Encoder::wholeSize() const {
  std::uint64_t bits = 0;
  for (const CodedBlock& coded : coded_) bits += coded.magnitudeBits;
  return bits / 8;
}

// The component transform mixes the first three components.
std::vector<ComponentGroup> Encoder::groups(std::vector<int>& groupOf) const {
  std::vector<ComponentGroup> groups;
  for (std::size_t c = 0; c < picture_.planes.size(); ++c) {
    const Plane& plane = picture_.planes[c];
    const bool mixed = params_.style.transform && (c == 1 || c == 2);
    if (!mixed) groups.push_back({std::ldexp(1, plane.bits) - 1, 0});
    groups.back().samples += static_cast<double>(plane.width) * plane.height;
    groupOf.push_back(static_cast<int>(groups.size()) - 1);
  }
  return groups;
}

// The layers before this one are chosen.
void Encoder::beginLayer(int layer) {
  forEachWriter([&](PacketWriter& writer) { writer.settle(layer); });
}

// Side by side; a single tile does its own work in parallel.
void Encoder::forEachWriter(const std::function<void(PacketWriter& writer)>& work) {
  if (writers_.size() == 1) return work(writers_[0]);
  job_.workers.forEach(writers_.size(), [&](int, std::size_t i) { work(writers_[i]); });
}

// Fills a layer as a value of the goals says.
void Encoder::chooseLayer(RateControl& control, int layer, double goal) {
  beginLayer(layer);
  if (goal == Goals::kEverything) return control.takeAll(layer);
  if (options_.goals.kind == Goals::psnr) {
    std::vector<int> groupOf;
    const std::vector<ComponentGroup> all = groups(groupOf);
    reached_ = control.reach(layer, goal, all, groupOf);
    return;
  }
  // If the size does not suffice for the headers, an earlier layer stays empty; in the last it is an error.
  const std::uint64_t wanted = wantedSize(goal);
  if (!control.fill(layer, wanted) && layer == options_.layers - 1)
    fail(Kind::limit, std::to_string(wanted) + " bytes are too few for the headers");
}

// With one goal, the last layer has what it asks for, or everything. The layers before it get smaller by equal ratios,
// down to 1/256 of that.
void Encoder::chooseLayers() {
  std::vector<CodedBlock*> blocks;
  for (CodedBlock& block : coded_) blocks.push_back(&block);
  RateControl control(
      std::move(blocks), [this](int layers) { return sizeOf(layers); },
      [this](std::span<CodedBlock* const> some, double slope) { codeMore(some, slope); }, job_.workers);
  const int last = options_.layers - 1;
  const bool sized = options_.goals.kind == Goals::ratio || options_.goals.kind == Goals::bitsPerPixel;
  if (goals_.size() > 1) {
    for (int layer = 0; layer <= last; ++layer) chooseLayer(control, layer, goals_[static_cast<std::size_t>(layer)]);
    return;
  }
  const double goal = options_.goals.given() ? goals_[0] : Goals::kEverything;
  std::uint64_t wanted = 0;
  if (sized) {
    wanted = wantedSize(goal);
  } else {
    chooseLayer(control, 0, goal);
    if (last == 0) return;
    wanted = sizeOf(1);
  }
  for (int layer = 0; layer <= last; ++layer) {
    if (layer == last && !sized) return chooseLayer(control, layer, goal);
    const double halvings = last == 0 ? 0 : (last - layer) * std::min(1.0, 8.0 / last);
    const auto maxSize = static_cast<std::uint64_t>(static_cast<double>(wanted) * std::exp2(-halvings));
    beginLayer(layer);
    if (!control.fill(layer, maxSize) && layer == last)
      fail(Kind::limit, std::to_string(wanted) + " bytes are too few for the headers");
  }
}

void Encoder::chooseAgain(const std::vector<double>& goals) {
  goals_ = goals;
  chooseLayers();
}

Bytes Encoder::lengths() {
  std::vector<TilePartLength> lengths;
  for (std::size_t i = 0; i < writers_.size(); ++i)
    for (const std::uint32_t length : writers_[i].partSizes(options_.layers))
      lengths.push_back({static_cast<int>(i), length});
  Bytes segments;
  writeTlm(segments, lengths);
  return segments;
}

void Encoder::write(Output& output) {
  const Bytes tlm = options_.tlm ? lengths() : Bytes();
  output.write({header_.data(), header_.size()}, {tlm.data(), tlm.size()});
  Coord tile = 0;
  for (PacketWriter& writer : writers_) {
    writer.write(options_.layers, output, job_.budget, progress_.within(tile, writer.packetCount()));
    progress_.tileDone(tile++);
    progress_.poll();
  }
  writeEnd(output);
}

}  // namespace moxj::j2k
