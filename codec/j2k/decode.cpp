// The JPEG 2000 decoder: decodes the tiles of a codestream one after the other, the code-blocks of each in parallel. Of
// a region, only the tiles and code-blocks that it needs.
#include <algorithm>
#include <cstring>
#include <memory>
#include <numeric>
#include <utility>

#include "base/library.h"
#include "base/workers.h"
#include "j2k/blockdecoder.h"
#include "j2k/boxes.h"
#include "j2k/componentwindow.h"
#include "j2k/j2k.h"
#include "j2k/samples.h"
#include "j2k/syntax.h"
#include "j2k/tileprogress.h"
#include "pictures/region.h"

namespace moxj::j2k {

namespace {

constexpr int kMaxBits = 31, kMaxLossyBits = 24;      // 9/7 in single precision and fixed point has no more
constexpr Coord kMaxTileComponents = Coord{1} << 20;  // each costs time, even if it has no samples
constexpr const char* kNoHighThroughput = "high-throughput block coding (ISO/IEC 15444-15) is not supported";

bool hasTooFewSteps(const TileParams& params) {
  for (std::size_t c = 0; c < params.coding.size(); ++c) {
    const Quantisation& quantisation = params.quantisation[c];
    if (quantisation.count < (quantisation.kind == Quantisation::derived ? 1 : 3 * params.coding[c].levels + 1))
      return true;
  }
  return false;
}

// Empty if no component is too deep for its wavelet.
std::string tooDeep(const Siz& siz, const TileParams& params) {
  for (std::size_t c = 0; c < params.coding.size(); ++c)
    if (!params.coding[c].reversible && siz.components[c].bits > kMaxLossyBits)
      return "samples of " + std::to_string(siz.components[c].bits) + " bits with the 9/7 wavelet";
  return "";
}

// Whether a code-block has more bit-planes than the library decodes, such as a region of interest of deep samples.
bool hasDeepBlocks(const Tile& tile) {
  for (const TileComponent& component : tile.components)
    for (const Resolution& resolution : component.resolutions)
      for (const Precinct& precinct : resolution.precincts)
        for (const PrecinctBand& part : precinct.bands)
          for (const Block& block : part.blocks)
            if (block.wanted && block.passes > 0 &&
                BlockDecoder::isTooDeep(block, resolution.bands[static_cast<std::size_t>(part.band)], component))
              return true;
  return false;
}

bool usesHighThroughput(const TileParams& params) {
  return std::ranges::any_of(params.coding, [](const CodingStyle& style) { return style.modes & kHighThroughput; });
}

// Decodes the code-blocks of a tile and runs its transforms. The transform of a component waits for its blocks. It
// comes in the task list after the blocks of the next component, so that there is other work in the meantime.
class TileDecoder {
 public:
  TileDecoder(const Tile& tile, Workers& workers, std::span<ComponentWindow> windows, std::span<BlockDecoder> decoders)
      : tile_(tile), workers_(workers), windows_(windows), decoders_(decoders), left_(windows.size()) {}

  // False if the data of a block could not be decoded.
  bool run(TileProgress& progress, Coord index) {
    for (std::size_t c = 0; c < windows_.size(); ++c) {
      const std::size_t before = tasks_.size();
      addBlocks(c);
      left_[c].set(tasks_.size() - before);
      if (c > 0) tasks_.push_back({c - 1, nullptr, 0, nullptr});
    }
    tasks_.push_back({windows_.size() - 1, nullptr, 0, nullptr});
    workers_.forEach(
        tasks_.size(), [&](int worker, std::size_t task) { work(worker, tasks_[task]); },
        progress.within(index, tasks_.size()));
    return good_;
  }

 private:
  struct Task {
    std::size_t component;
    const Block* block;  // null: the transform
    int resolution;
    const Band* band;
  };

  void addBlocks(std::size_t c) {
    const TileComponent& component = tile_.components[c];
    for (int r = 0; r < windows_[c].resolutions(); ++r) {
      const Resolution& resolution = component.resolutions[static_cast<std::size_t>(r)];
      for (const Precinct& precinct : resolution.precincts)
        for (const PrecinctBand& part : precinct.bands)
          for (const Block& block : part.blocks)
            if (block.wanted) tasks_.push_back({c, &block, r, &resolution.bands[static_cast<std::size_t>(part.band)]});
    }
  }

  void work(int worker, const Task& task) {
    ComponentWindow& window = windows_[task.component];
    if (task.block == nullptr) {
      left_[task.component].wait();
      if (!window.transform()) good_ = false;
      return;
    }
    // Counts down even if decode() throws: otherwise the transform would wait forever.
    const std::unique_ptr<Countdown, void (*)(Countdown*)> done(&left_[task.component],
                                                                [](Countdown* c) { c->done(); });
    BlockDecoder& decoder = decoders_[static_cast<std::size_t>(worker)];
    const TileComponent& component = tile_.components[task.component];
    if (!decoder.decode(*task.block, *task.band, component, window.placeOf(task.resolution, *task.band))) good_ = false;
  }

  const Tile& tile_;
  Workers& workers_;
  std::span<ComponentWindow> windows_;
  std::span<BlockDecoder> decoders_;
  std::vector<Task> tasks_;
  std::vector<Countdown> left_;
  std::atomic<bool> good_ = true;
};

// Marks the blocks and precincts that the windows of the components need.
void markWanted(Tile& tile, const std::vector<ComponentWindow>& windows) {
  for (std::size_t c = 0; c < windows.size(); ++c) {
    std::vector<Resolution>& resolutions = tile.components[c].resolutions;
    for (int r = 0; r < static_cast<int>(resolutions.size()); ++r) {
      Resolution& resolution = resolutions[static_cast<std::size_t>(r)];
      for (Precinct& precinct : resolution.precincts) {
        precinct.wanted = false;
        for (PrecinctBand& part : precinct.bands) {
          const Band& band = resolution.bands[static_cast<std::size_t>(part.band)];
          const Rect area = r < windows[c].resolutions() ? windows[c].areaOf(r, band) : Rect();
          for (Block& block : part.blocks) {
            block.wanted = !intersection(band.rectOf(block), area).empty();
            precinct.wanted |= block.wanted;
          }
        }
      }
    }
  }
}

class Decoder {
 public:
  Decoder(ByteSpan file, const DecodeOptions& options, Work& work)
      : boxes_(readBoxes(file)),
        options_(options),
        job_(work),
        decoders_(static_cast<std::size_t>(work.workers.count())) {}

  Decoded run() {
    stream_ = parseCodestream(boxes_.codestream);
    if (usesHighThroughput(stream_.params)) fail(Kind::unsupported, kNoHighThroughput);
    layOut();
    const TileParts parts = sortParts(stream_);
    const std::vector<Coord> tiles = wantedTiles();
    if (tiles.size() > 1) picture_.clear();  // for tiles that are missing
    TileProgress progress(job_.progress, static_cast<Coord>(tiles.size()));
    for (std::size_t i = 0; i < tiles.size(); ++i) {
      const auto found = parts.of.find(static_cast<int>(tiles[i]));
      if (found == parts.of.end())
        noteProblem(tiles[i], "is missing");
      else
        decodeTile(tiles[i], static_cast<Coord>(i), parts, found->second, progress);
      progress.tileDone(static_cast<Coord>(i));
    }
    if (packets_ == 0) fail(Kind::damaged, whyNothing());
    return finish();
  }

 private:
  void layOut();
  ComponentSize onGrid(const ComponentSize& size) const;
  Rect wantedArea();
  Region decodedPixels(const Rect& wanted, const Rect& whole) const;
  Rect shownSamples(const ComponentSize& size, const Region& pixels) const;
  Rect ownSamples(const ComponentSize& size, const Rect& area) const;
  std::vector<Coord> wantedTiles() const;
  void decodeTile(Coord index, Coord place, const TileParts& parts, const std::vector<const TilePart*>& ofTile,
                  TileProgress& progress);
  void checkTile(const Tile& tile) const;
  void checkTransform(Tile& tile, Coord index);
  void checkParts(const std::vector<const TilePart*>& ofTile, const PacketsRead& read, Coord index);
  static void widenForTransform(const std::vector<Rect>& wholes, std::vector<Rect>& rects);
  std::vector<ComponentWindow> windowsFor(const Tile& tile) const;
  std::vector<Window> placesOf(const std::vector<ComponentWindow>& windows) const;

  bool partly() const { return options_.region.given() || options_.tile; }
  const char* optionOfPart() const { return options_.tile ? "tile" : "region"; }

  void noteProblem(Coord tile, const std::string& what) {
    if (problems_++ == 0) warning_ = "tile " + std::to_string(tile) + " " + what;
  }
  void note(Coord tile, const std::string& what) { stream_.note("tile " + std::to_string(tile) + " " + what); }

  std::string whyNothing() const {
    if (!stream_.problem.empty()) return stream_.problem;
    return partly() && !warning_.empty() ? warning_ : "the file has no picture";
  }

  Decoded finish() {
    Decoded decoded;
    if (!options_.components)
      if (const std::string problem = applyBoxes(boxes_, picture_, job_.budget); !problem.empty())
        decoded.incomplete(problem);
    decoded.picture = std::move(picture_);
    for (const MarkerSegment& segment : stream_.header)
      if (segment.marker == marker::com) boxes_.metadata.takeComment(segment.body);
    decoded.picture.metadata = boxes_.metadata.metadata(job_.budget);
    if (problems_ == 0 && !stream_.problem.empty()) stream_.note(stream_.problem);
    decoded.notes = boxes_.notes;
    decoded.notes.insert(decoded.notes.end(), stream_.notes.begin(), stream_.notes.end());
    decoded.notes.insert(decoded.notes.end(), boxes_.metadata.notes.begin(), boxes_.metadata.notes.end());
    decoded.notes.insert(decoded.notes.end(), notes_.begin(), notes_.end());
    if (problems_ == 0) return decoded;
    decoded.complete = false;
    decoded.warning = stream_.problem.empty() ? warning_ : stream_.problem + ", " + warning_;
    if (problems_ > 1) decoded.warning += " and " + std::to_string(problems_ - 1) + " more";
    return decoded;
  }

  Boxes boxes_;
  const DecodeOptions& options_;
  Work& job_;
  std::vector<BlockDecoder> decoders_;  // for each worker
  Codestream stream_;
  Picture picture_;
  Rect shownArea_;           // the picture, on the grid of its pixels
  bool ownSize_ = false;     // which is that of the components, all sub-sampled alike; otherwise the reference grid
  std::vector<Rect> shown_;  // the samples of the picture's planes, in the reduced coordinates of their components
  std::vector<std::string> notes_;
  std::uint64_t packets_ = 0;
  int problems_ = 0;
  std::string warning_;
};

// A component on the grid of the pixels.
ComponentSize Decoder::onGrid(const ComponentSize& size) const {
  ComponentSize found = size;
  if (ownSize_) found.dx = found.dy = 1;
  return found;
}

// The area that is wanted, on the grid of the pixels.
Rect Decoder::wantedArea() {
  if (options_.tile) {
    if (*options_.tile >= stream_.siz.tiles())
      failOption("tile", std::to_string(*options_.tile) + ": the tiles of the picture are 0 to " +
                             std::to_string(stream_.siz.tiles() - 1));
    const Rect rect = tileRect(stream_.siz, *options_.tile);
    return ownSize_ ? componentRect(rect, stream_.siz.components[0]) : rect;
  }
  if (!options_.region.given()) return shownArea_;
  const Region part =
      clipped(options_.region, static_cast<int>(shownArea_.width()), static_cast<int>(shownArea_.height()), notes_);
  const Coord x = shownArea_.x0 + part.x, y = shownArea_.y0 + part.y;
  return {x, y, x + part.width, y + part.height};
}

// The pixels of the reduced picture that are decoded. Where colours may be converted, these are whole groups of columns
// that begin at samples of all components.
Region Decoder::decodedPixels(const Rect& wanted, const Rect& whole) const {
  const bool planes = options_.components || !partly();
  Coord across = planes ? 1 : kColumnGroup, down = 1;
  for (const ComponentSize& component : stream_.siz.components) {
    if (planes) break;
    const ComponentSize size = onGrid(component);
    across = std::min(std::lcm(across, Coord{size.dx}), whole.width());
    down = std::min(std::lcm(down, Coord{size.dy}), whole.height());
  }
  const Coord x = (wanted.x0 - whole.x0) / across * across, y = (wanted.y0 - whole.y0) / down * down;
  const Coord end = std::min(ceilDiv(wanted.x1 - whole.x0, across) * across, whole.width());
  return {static_cast<int>(x), static_cast<int>(y), static_cast<int>(end - x),
          static_cast<int>(wanted.y1 - whole.y0 - y)};
}

// The samples of a component that make the pixels; its last sample stands for all pixels beyond it.
Rect Decoder::shownSamples(const ComponentSize& size, const Region& pixels) const {
  const Rect whole = reducedRect(componentRect(shownArea_, size), options_.reduce);
  if (whole.empty()) fail(Kind::damaged, "a component has no samples");
  const auto samples = [](Coord from, Coord count, int subsampling, Coord first, Coord end) {
    const Coord begin = std::min(first + from / subsampling, end - 1);
    return std::pair(begin, std::clamp(first + ceilDiv(from + count, subsampling), begin + 1, end));
  };
  const auto [x0, x1] = samples(pixels.x, pixels.width, size.dx, whole.x0, whole.x1);
  const auto [y0, y1] = samples(pixels.y, pixels.height, size.dy, whole.y0, whole.y1);
  return {x0, y0, x1, y1};
}

Rect Decoder::ownSamples(const ComponentSize& size, const Rect& area) const {
  const Rect rect = reducedRect(componentRect(area, size), options_.reduce);
  if (!rect.empty()) return rect;
  if (partly()) failOption(optionOfPart(), "has no samples of a component");
  fail(Kind::damaged, "a component has no samples");
}

void Decoder::layOut() {
  shownArea_ = shownRect(stream_.siz, options_.upsample);
  ownSize_ = stream_.siz.isAlike() && !options_.upsample;
  const Rect whole = reducedRect(shownArea_, options_.reduce);
  if (whole.empty()) fail(Kind::badOption, "the picture is empty at that resolution");
  const auto components = static_cast<Coord>(stream_.siz.components.size());
  if (stream_.siz.tiles() * components > kMaxTileComponents)
    fail(Kind::limit, std::to_string(stream_.siz.tiles()) + " tiles of " + std::to_string(components) +
                          " components are more than " + std::to_string(kMaxTileComponents) + " tile-components");
  if (const std::string deep = tooDeep(stream_.siz, stream_.params); !deep.empty())
    fail(Kind::unsupported, deep + " are not supported");
  const Rect area = wantedArea();
  const Rect wanted = reducedRect(area, options_.reduce);
  if (wanted.empty()) failEmptyRegion(optionOfPart());
  const Region pixels = decodedPixels(wanted, whole);
  job_.limits.check(static_cast<std::uint64_t>(wanted.width()), static_cast<std::uint64_t>(wanted.height()));
  picture_.width = pixels.width;
  picture_.height = pixels.height;
  if (wanted.width() != pixels.width || wanted.height() != pixels.height)
    picture_.wanted = {static_cast<int>(wanted.x0 - whole.x0) - pixels.x,
                       static_cast<int>(wanted.y0 - whole.y0) - pixels.y, static_cast<int>(wanted.width()),
                       static_cast<int>(wanted.height())};
  job_.budget.charge(stream_.siz.components.size(), sizeof(Plane) + sizeof(Rect));
  for (const ComponentSize& size : stream_.siz.components) {
    if (size.bits > kMaxBits)
      fail(Kind::unsupported, "samples of " + std::to_string(size.bits) + " bits are not supported");
    const ComponentSize grid = onGrid(size);
    const Rect& rect = shown_.emplace_back(options_.components ? ownSamples(grid, area) : shownSamples(grid, pixels));
    picture_.planes.push_back(Plane::of(static_cast<int>(rect.width()), static_cast<int>(rect.height()), size.bits,
                                        size.isSigned, grid.dx, grid.dy));
  }
  picture_.allocate(&job_.budget);
}

// In the order of the codestream. Components that are sampled alike need the same tiles.
std::vector<Coord> Decoder::wantedTiles() const {
  std::vector<std::size_t> kinds;
  const std::vector<ComponentSize>& sizes = stream_.siz.components;
  for (std::size_t c = 0; c < sizes.size(); ++c)
    if (std::none_of(kinds.begin(), kinds.end(),
                     [&](std::size_t kind) { return sizes[kind].dx == sizes[c].dx && sizes[kind].dy == sizes[c].dy; }))
      kinds.push_back(c);
  std::vector<Coord> tiles;
  for (Coord tile = 0; tile < stream_.siz.tiles(); ++tile) {
    const Rect rect = tileRect(stream_.siz, tile);
    const auto needs = [&](std::size_t kind) {
      return !intersection(reducedRect(componentRect(rect, sizes[kind]), options_.reduce), shown_[kind]).empty();
    };
    if (partly() ? std::any_of(kinds.begin(), kinds.end(), needs) : !hasNoSamples(stream_.siz, tile))
      tiles.push_back(tile);
  }
  return tiles;
}

void Decoder::checkTile(const Tile& tile) const {
  for (const TileComponent& component : tile.components)
    if (component.coding.levels < options_.reduce)
      failOption("reduce", std::to_string(options_.reduce) + ": the picture has " +
                               std::to_string(component.coding.levels) + " levels");
}

// A transform that cannot have been made is left out. With fewer than three components there is no doubt about that.
void Decoder::checkTransform(Tile& tile, Coord index) {
  if (!tile.style.transform) return;
  const auto differs = [&](const TileComponent& c) {
    const TileComponent& first = tile.components[0];
    return c.rect.width() != first.rect.width() || c.rect.height() != first.rect.height() ||
           c.coding.reversible != first.coding.reversible;
  };
  if (tile.components.size() < 3)
    stream_.note("a component transform of " + std::to_string(tile.components.size()) + " components, left out");
  else if (differs(tile.components[1]) || differs(tile.components[2]))
    noteProblem(index, "has a component transform of components that differ");
  else
    return;
  tile.style.transform = false;
}

// Numbers and lengths of tile-parts that are wrong do no harm if the packets are all there.
void Decoder::checkParts(const std::vector<const TilePart*>& ofTile, const PacketsRead& read, Coord index) {
  if (!read.problem.empty()) return noteProblem(index, read.problem);
  if (!read.exact && std::ranges::any_of(ofTile, &TilePart::guessed))
    return noteProblem(index, "has a tile-part of wrong length");
  if (const std::string what = misnumbered(ofTile); !what.empty()) note(index, what);
  if (!read.exact) note(index, "has bytes after its last packet");
}

// A component transform needs the same part of three components.
void Decoder::widenForTransform(const std::vector<Rect>& wholes, std::vector<Rect>& rects) {
  Rect all{INT64_MAX, INT64_MAX, 0, 0};
  for (std::size_t c = 0; c < 3; ++c)
    if (!rects[c].empty())
      all = {std::min(all.x0, rects[c].x0 - wholes[c].x0), std::min(all.y0, rects[c].y0 - wholes[c].y0),
             std::max(all.x1, rects[c].x1 - wholes[c].x0), std::max(all.y1, rects[c].y1 - wholes[c].y0)};
  if (all.empty()) return;
  for (std::size_t c = 0; c < 3; ++c)
    rects[c] = {wholes[c].x0 + all.x0, wholes[c].y0 + all.y0, wholes[c].x0 + all.x1, wholes[c].y0 + all.y1};
}

std::vector<ComponentWindow> Decoder::windowsFor(const Tile& tile) const {
  std::vector<Rect> wholes, rects;
  for (std::size_t c = 0; c < tile.components.size(); ++c) {
    wholes.push_back(reducedRect(tile.components[c].rect, options_.reduce));
    rects.push_back(intersection(wholes[c], shown_[c]));
  }
  if (tile.style.transform) widenForTransform(wholes, rects);
  std::vector<ComponentWindow> windows;
  for (std::size_t c = 0; c < tile.components.size(); ++c)
    windows.emplace_back(tile.components[c], tile.components[c].coding.levels + 1 - options_.reduce, rects[c]);
  return windows;
}

std::vector<Window> Decoder::placesOf(const std::vector<ComponentWindow>& windows) const {
  std::vector<Window> places;
  for (std::size_t c = 0; c < windows.size(); ++c) {
    const Rect& rect = windows[c].wanted();
    places.push_back({static_cast<int>(rect.x0 - shown_[c].x0), static_cast<int>(rect.y0 - shown_[c].y0)});
  }
  return places;
}

void Decoder::decodeTile(Coord index, Coord place, const TileParts& parts, const std::vector<const TilePart*>& ofTile,
                         TileProgress& progress) {
  const std::uint64_t before = job_.budget.used();
  TileParams params;
  try {
    params = paramsOf(stream_, ofTile);
  } catch (const Problem& problem) {
    return noteProblem(index, problem.what());
  }
  if (hasTooFewSteps(params)) noteProblem(index, "has fewer quantiser steps than bands");
  if (const std::string deep = tooDeep(stream_.siz, params); !deep.empty())
    return noteProblem(index, "has " + deep + ", which are not supported");
  if (usesHighThroughput(params)) return noteProblem(index, std::string("is coded otherwise: ") + kNoHighThroughput);
  Tile tile = makeTile(stream_.siz, params, index, job_.budget);
  checkTile(tile);
  checkTransform(tile, index);
  std::vector<ComponentWindow> windows = windowsFor(tile);
  if (partly() || options_.reduce > 0) markWanted(tile, windows);
  const PacketSource source = packetsOf(parts, ofTile);
  const PacketsRead read = readPackets(tile, stream_.siz, source, {options_.layers, partly()}, job_.budget);
  packets_ += read.packets;
  checkParts(ofTile, read, index);
  for (ComponentWindow& window : windows) {
    job_.budget.charge(1, window.bytes());
    window.allocate();
  }
  TileDecoder decoder(tile, job_.workers, windows, decoders_);
  if (!decoder.run(progress, place) && read.problem.empty())
    noteProblem(index, hasDeepBlocks(tile) ? "has code-blocks of more than 31 bit-planes, which are not supported"
                                           : "has damaged code-blocks");
  std::vector<TilePlane> planes;
  for (ComponentWindow& window : windows) planes.push_back(window.takeSamples());
  storeTile(planes, tile, placesOf(windows), picture_, job_.workers);
  job_.budget.restore(before);
}

}  // namespace

Decoded decode(ByteSpan file, const DecodeOptions& options, Work& work) { return Decoder(file, options, work).run(); }

}  // namespace moxj::j2k
