// The JPEG 2000 encoder: transforms and codes the tiles one after the other, then truncates the code-blocks of all
// tiles to the requested size and writes the packets.
#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <deque>
#include <memory>

#include "base/workers.h"
#include "j2k/blockencoder.h"
#include "j2k/boxes.h"
#include "j2k/j2k.h"
#include "j2k/markerwriter.h"
#include "j2k/norms.h"
#include "j2k/packetwriter.h"
#include "j2k/ratecontrol.h"
#include "j2k/samples.h"
#include "j2k/tileprogress.h"
#include "j2k/wavelet.h"

namespace moxj::j2k {

namespace {

constexpr int kMaxTiles = 65535;
constexpr int kGuardBits = 2;
// The quantiser step of a band with norm 1, in sample values: fine enough for file sizes close to the lossless one.
constexpr double kBaseStep = 0.5;
// Limits the quantiser steps to 2^-8 (before the gain of the band), because block coders have 31 bits.
constexpr int kMaxStepBits = 8;

// A requested size may suffice for the lossless file if it is at least this fraction of the 9/7 file without
// truncation: 1/2 for text and other drawings, about 1 for photographs.
constexpr std::uint64_t kLosslessFrom = 2;

Siz sizOf(const Picture& picture, const EncodeOptions& options) {
  Siz siz;
  siz.image = {0, 0, picture.width, picture.height};
  siz.tileWidth = options.tileWidth > 0 ? options.tileWidth : picture.width;
  siz.tileHeight = options.tileHeight > 0 ? options.tileHeight : picture.height;
  for (const Plane& p : picture.planes) siz.components.push_back({p.bits, p.isSigned, p.dx, p.dy});
  if (siz.tiles() > kMaxTiles)
    fail(Kind::limit, std::to_string(siz.tiles()) + " tiles: JPEG 2000 allows at most 65535");
  return siz;
}

bool canTransform(const Picture& picture) {
  if (picture.planes.size() < 3 || picture.colour != Colour::rgb) return false;
  const Plane& first = picture.planes[0];
  return std::all_of(picture.planes.begin(), picture.planes.begin() + 3, [&](const Plane& p) {
    return p.width == first.width && p.height == first.height && p.bits == first.bits && p.isSigned == first.isSigned;
  });
}

// The number of decompositions and the orientation of a band, from its index in the quantisation marker segments.
struct BandPlace {
  int levels;
  Orientation orientation;
};
BandPlace bandPlace(int index, int levels) {
  if (index == 0) return {levels, ll};
  return {levels - (index - 1) / 3, static_cast<Orientation>((index - 1) % 3 + 1)};
}

int gainOf(Orientation orientation) { return orientation == ll ? 0 : orientation == hh ? 2 : 1; }

Quantisation quantisationOf(int bits, bool reversible, bool transformed, int levels) {
  Quantisation quantisation;
  quantisation.guardBits = kGuardBits;
  quantisation.kind = reversible ? Quantisation::none : Quantisation::expounded;
  for (int index = 0; index <= 3 * levels; ++index) {
    const BandPlace place = bandPlace(index, levels);
    const int range = bits + gainOf(place.orientation);
    std::uint16_t& step = quantisation.steps[static_cast<std::size_t>(index)];
    if (reversible) {  // the RCT adds a bit
      step = static_cast<std::uint16_t>((range + transformed) << 11);
      continue;
    }
    const double min = std::ldexp(1.0, gainOf(place.orientation) - kMaxStepBits);
    const double wanted = std::max(kBaseStep / bandNorm(false, place.orientation, place.levels), min);
    const int exponent = static_cast<int>(std::floor(std::log2(wanted)));
    const int mantissa = static_cast<int>((std::ldexp(wanted, -exponent) - 1) * 2048);
    step = static_cast<std::uint16_t>((range - exponent) << 11 | mantissa);
  }
  return quantisation;
}

TileParams paramsFor(const Picture& picture, const EncodeOptions& options) {
  TileParams params;
  params.style.order = options.order;
  params.style.layers = options.layers;
  params.style.transform = canTransform(picture);
  CodingStyle coding;
  coding.levels = options.levels;
  coding.blockWidthLog = std::countr_zero(static_cast<unsigned>(options.blockWidth));
  coding.blockHeightLog = std::countr_zero(static_cast<unsigned>(options.blockHeight));
  coding.modes = options.modes;
  coding.reversible = options.lossless;
  for (std::size_t c = 0; c < picture.planes.size(); ++c) {
    params.coding.push_back(coding);
    params.quantisation.push_back(
        quantisationOf(picture.planes[c].bits, options.lossless, params.style.transform && c < 3, options.levels));
    params.shift.push_back(0);
  }
  return params;
}

// Runs the transforms of a tile and encodes its code-blocks. A block waits for the transform of its component.
// The bytes of all code-blocks so far. What exceeds the maximum is of no use, so blocks are left out then.
struct Size {
  std::atomic<std::uint64_t> bytes = 0;
  std::uint64_t max = UINT64_MAX;
  bool exceeded() const { return bytes > max; }
};

class TileEncoder {
 public:
  TileEncoder(Tile& tile, std::span<TilePlane> planes, std::deque<CodedBlock>& coded, Workers& workers,
              std::vector<std::unique_ptr<BlockEncoder>>& encoders, Size& size)
      : tile_(tile),
        planes_(planes),
        workers_(workers),
        encoders_(encoders),
        size_(size),
        left_(planes.size()),
        blocks_(planes.size()) {
    for (std::size_t c = 0; c < planes.size(); ++c) {
      left_[c].set(1);
      tasks_.push_back({c, nullptr, nullptr, 0, nullptr});
    }
    for (std::size_t c = 0; c < planes.size(); ++c) {
      const std::size_t before = tasks_.size();
      addBlocks(c, coded);
      blocks_[c] = tasks_.size() - before;
    }
  }

  void run(TileProgress& progress, Coord index) {
    workers_.forEach(
        tasks_.size(), [&](int worker, std::size_t task) { work(worker, tasks_[task]); },
        progress.within(index, tasks_.size()));
  }

 private:
  struct Task {
    std::size_t component;
    const Block* block;  // null: the transform
    const Band* band;
    double weight;
    CodedBlock* coded;
  };

  void addBlocks(std::size_t c, std::deque<CodedBlock>& coded) {
    TileComponent& component = tile_.components[c];
    const bool reversible = component.coding.reversible;
    for (Resolution& resolution : component.resolutions)
      for (Precinct& precinct : resolution.precincts)
        for (PrecinctBand& part : precinct.bands) {
          const Band& band = resolution.bands[static_cast<std::size_t>(part.band)];
          const BandPlace place = bandPlace(band.index, component.coding.levels);
          const double norm = bandNorm(reversible, place.orientation, place.levels) *
                              componentNorm(tile_.style.transform, reversible, static_cast<int>(c)) * band.step;
          for (Block& block : part.blocks) {
            block.coded = &coded.emplace_back();
            tasks_.push_back({c, &block, &band, norm * norm, &coded.back()});
          }
        }
  }

  void work(int worker, const Task& task) {
    TilePlane& plane = planes_[task.component];
    const TileComponent& component = tile_.components[task.component];
    if (task.block == nullptr) {
      const std::unique_ptr<Countdown, void (*)(Countdown*)> done(&left_[task.component],
                                                                  [](Countdown* c) { c->done(); });
      transformForward(plane, component);
      return;
    }
    left_[task.component].wait();
    if (size_.exceeded()) return;
    *task.coded =
        encoders_[static_cast<std::size_t>(worker)]->encode(*task.block, *task.band, component, plane, task.weight);
    size_.bytes += task.coded->data.size();
    if (--blocks_[task.component] == 0) plane = {};  // gives its memory to the blocks of the next component
  }

  Tile& tile_;
  std::span<TilePlane> planes_;
  Workers& workers_;
  std::vector<std::unique_ptr<BlockEncoder>>& encoders_;
  Size& size_;
  std::vector<Countdown> left_;                   // of each component: 0 after its transform
  std::vector<std::atomic<std::size_t>> blocks_;  // of each component, that are not coded yet
  std::vector<Task> tasks_;
};

class Encoder {
 public:
  Encoder(const Picture& picture, const EncodeOptions& options, Work& work, const Progress& progress)
      : picture_(picture),
        options_(options),
        job_(work),
        siz_(sizOf(picture, options)),
        params_(paramsFor(picture, options)),
        progress_(progress, siz_.tiles(), 1) {}

  // Codes all tiles and chooses what is written. False as soon as the code-blocks exceed `maxBytes`.
  bool code(const std::function<void()>& loaded, std::uint64_t maxBytes = UINT64_MAX) {
    size_.max = maxBytes;
    for (int worker = 0; worker < job_.workers.count(); ++worker)
      encoders_.push_back(std::make_unique<BlockEncoder>(options_.blockWidth, options_.blockHeight));
    const Coord tiles = siz_.tiles();
    for (Coord index = 0; index < tiles; ++index) {
      encodeTile(index, index + 1 == tiles ? loaded : nullptr);
      if (size_.exceeded()) return false;
      progress_.tileDone(index);
    }
    if (options_.boxes) writeBoxes();
    writeMainHeader(header_, siz_, params_);
    for (Tile& tile : tiles_) writers_.emplace_back(tile, siz_, job_.budget);
    chooseLayers();
    return true;
  }
  void write(Output& output);

  std::uint64_t wantedSize() const;
  // If a size was requested: that of the file without truncation.
  std::uint64_t wholeSize() const { return wholeSize_; }
  // What the metadata add to the file; a requested size is that of the picture without them.
  std::uint64_t metadataBytes() const { return metadataBytes_; }

 private:
  void writeBoxes();
  void encodeTile(Coord index, const std::function<void()>& loaded);
  void chooseLayers();
  std::uint64_t sizeOf(int layers);

  const Picture& picture_;
  const EncodeOptions& options_;
  Work& job_;
  Siz siz_;
  TileParams params_;
  TileProgress progress_;
  std::vector<std::unique_ptr<BlockEncoder>> encoders_;  // for each worker
  std::deque<Tile> tiles_;
  std::deque<CodedBlock> coded_;
  std::deque<PacketWriter> writers_;
  Bytes header_;
  std::uint64_t wholeSize_ = 0, metadataBytes_ = 0;
  Size size_;
};

void Encoder::encodeTile(Coord index, const std::function<void()>& loaded) {
  Tile& tile = tiles_.emplace_back(makeTile(siz_, params_, index, job_.budget));
  std::uint64_t bytes = 0;
  std::vector<Window> windows;
  for (const TileComponent& component : tile.components) {
    const Rect& rect = component.rect;
    bytes += TilePlane::bytes(rect.width(), rect.height());
    windows.push_back({static_cast<int>(rect.x0), static_cast<int>(rect.y0)});
  }
  job_.budget.charge(1, bytes);
  std::vector<TilePlane> planes;
  for (const TileComponent& component : tile.components)
    planes.emplace_back(static_cast<int>(component.rect.width()), static_cast<int>(component.rect.height()));
  loadTile(picture_, tile, windows, planes, job_.workers);
  if (loaded) loaded();
  const std::size_t first = coded_.size();
  TileEncoder(tile, planes, coded_, job_.workers, encoders_, size_).run(progress_, index);
  job_.budget.release(bytes);
  for (std::size_t i = first; i < coded_.size(); ++i) {
    CodedBlock& coded = coded_[i];
    coded.taken.assign(static_cast<std::size_t>(options_.layers), 0);
    job_.budget.charge(1, sizeof coded + coded.data.size() + coded.passes.size() * (sizeof(Pass) + sizeof(HullPoint)) +
                              coded.taken.size());
  }
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
  std::uint64_t size = header_.size() - metadataBytes_ + kEnd;
  for (PacketWriter& writer : writers_) size += kTilePartHeader + writer.size(layers);
  return size;
}

std::uint64_t Encoder::wantedSize() const {
  const double pixels = static_cast<double>(siz_.image.width()) * static_cast<double>(siz_.image.height());
  double bits = 0;
  for (const Plane& p : picture_.planes) bits += static_cast<double>(p.width) * p.height * p.bits;
  const double bytes = options_.bitsPerPixel ? pixels * *options_.bitsPerPixel / 8 : bits / 8 / *options_.ratio;
  return static_cast<std::uint64_t>(std::min(bytes, 1e18));
}

// The last layer has the requested size, or everything. The layers before it get smaller by equal ratios, down to 1/256
// of that.
void Encoder::chooseLayers() {
  std::vector<CodedBlock*> blocks;
  for (CodedBlock& block : coded_) blocks.push_back(&block);
  RateControl control(std::move(blocks), [this](int layers) { return sizeOf(layers); });
  const int last = options_.layers - 1;
  const bool whole = !options_.ratio && !options_.bitsPerPixel;
  std::uint64_t wanted = whole ? 0 : wantedSize();
  if (whole) {
    if (last == 0) return control.takeAll(0);
    control.takeAll(0);
    wanted = sizeOf(1);
  }
  for (int layer = 0; layer <= last; ++layer) {
    if (layer == last && whole) return control.takeAll(layer);
    const double halvings = last == 0 ? 0 : (last - layer) * std::min(1.0, 8.0 / last);
    const auto maxSize = static_cast<std::uint64_t>(static_cast<double>(wanted) * std::exp2(-halvings));
    // If the size does not suffice for the headers, an earlier layer stays empty; in the last it is an error.
    if (!control.fill(layer, maxSize) && layer == last)
      fail(Kind::limit, std::to_string(wanted) + " bytes are too few for the headers");
    wholeSize_ = control.wholeSize();
  }
}

// The bytes of the passes of a tile that are written.
std::uint64_t takenBytes(const Tile& tile) {
  std::uint64_t bytes = 0;
  for (const TileComponent& component : tile.components)
    for (const Resolution& resolution : component.resolutions)
      for (const Precinct& precinct : resolution.precincts)
        for (const PrecinctBand& band : precinct.bands)
          for (const Block& block : band.blocks) {
            const std::size_t taken = block.coded->taken.back();
            if (taken > 0) bytes += block.coded->passes[taken - 1].end;
          }
  return bytes;
}

void Encoder::write(Output& output) {
  output.write({header_.data(), header_.size()});
  for (std::size_t i = 0; i < writers_.size(); ++i) {
    const std::uint64_t expected = takenBytes(tiles_[i]) * 17 / 16;  // packet headers included
    job_.budget.charge(1, expected);
    Bytes start, packets;
    packets.reserve(expected);
    writers_[i].write(packets, options_.layers);
    const std::uint64_t length = kTilePartHeader + packets.size();
    if (length > UINT32_MAX) fail(Kind::limit, "a tile exceeds 4 GiB");
    writeTilePartHeader(start, static_cast<int>(i), static_cast<std::uint32_t>(length));
    output.write({start.data(), start.size()}, {packets.data(), packets.size()});
    job_.budget.release(expected);
    progress_.poll();
  }
  Bytes end;
  writeEnd(end);
  output.write({end.data(), end.size()});
  progress_.finish();
}

std::vector<std::string> encodeToSize(const Picture& picture, const EncodeOptions& options, Work& work,
                                      Output& output) {
  const std::uint64_t before = work.budget.used();
  std::optional<Encoder> encoder(std::in_place, picture, options, work, work.progress);
  encoder->code({});
  const std::uint64_t wanted = encoder->wantedSize();
  if (wanted < encoder->wholeSize() / kLosslessFrom) {
    encoder->write(output);
    return {};
  }
  MemoryOutput lossy;
  encoder->write(lossy);
  encoder.reset();
  work.budget.restore(before);
  work.budget.charge(1, lossy.bytes.size());
  EncodeOptions lossless = options;
  lossless.lossless = true;
  lossless.ratio = lossless.bitsPerPixel = std::nullopt;
  // The second attempt may end at any time. It stays at 100 %, and can be cancelled.
  Progress progress;
  if (work.progress) progress = [&](std::uint64_t, std::uint64_t total) { return work.progress(total, total); };
  encoder.emplace(picture, lossless, work, progress);
  MemoryOutput exact;
  bool fits = encoder->code({}, wanted);
  if (fits) {
    encoder->write(exact);
    fits = exact.bytes.size() - encoder->metadataBytes() <= wanted;
  }
  const Bytes& file = fits ? exact.bytes : lossy.bytes;
  output.write({file.data(), file.size()});
  if (!fits) return {};
  return {"the requested size is larger than the lossless file: written without loss"};
}

}  // namespace

bool isOnGrid(const Picture& picture) {
  return std::ranges::all_of(picture.planes, [&](const Plane& p) {
    return p.width == ceilDiv(picture.width, p.dx) && p.height == ceilDiv(picture.height, p.dy);
  });
}

std::vector<std::string> encode(const Picture& picture, const EncodeOptions& options, Work& work, Output& output,
                                const std::function<void()>& loaded) {
  const std::size_t count = picture.planes.size();
  if (count > kMaxWrittenComponents)
    fail(Kind::unsupported, std::to_string(count) + " components: at most 4 can be written to JPEG 2000");
  work.limits.check(static_cast<std::uint64_t>(picture.width), static_cast<std::uint64_t>(picture.height));
  try {
    const bool sized = options.ratio || options.bitsPerPixel;
    if (sized && !options.lossless) return encodeToSize(picture, options, work, output);
    Encoder encoder(picture, options, work, work.progress);
    encoder.code(loaded);
    encoder.write(output);
    return {};
  } catch (Problem& problem) {
    const bool tiled = options.tileWidth > 0 || options.tileHeight > 0;
    if (problem.setting == Setting::maxMemory && !tiled) problem.setting = Setting::maxMemoryOrTiles;
    throw;
  }
}

}  // namespace moxj::j2k
