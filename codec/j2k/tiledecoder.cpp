// The packets of a tile are read, its code-blocks decoded and transformed, and its samples stored.
#include "j2k/tiledecoder.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <utility>

#include "base/workers.h"
#include "j2k/packetreader.h"
#include "j2k/samples.h"

namespace moxj::j2k {

namespace {

constexpr int kMaxIrreversibleBits = 24;  // 9/7 in single precision and fixed point has no more

bool hasTooFewSteps(const TileParams& params) {
  for (std::size_t c = 0; c < params.coding.size(); ++c) {
    const Quantisation& quantisation = params.quantisation[c];
    if (quantisation.count < (quantisation.kind == Quantisation::derived ? 1 : 3 * params.coding[c].levels + 1))
      return true;
  }
  return false;
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

// Decodes the code-blocks of a tile and runs its transforms. The transform of a component waits for its blocks. It
// comes in the task list after the blocks of the next component, so that there is other work in the meantime.
class TileTasks {
 public:
  TileTasks(const Tile& tile, Workers& workers, std::span<ComponentWindow> windows, std::span<BlockDecoder> decoders)
      : tile_(tile), workers_(workers), windows_(windows), decoders_(decoders), left_(windows.size()) {}

  // False if the data of a block could not be decoded.
  bool run(TileProgress* progress, Coord place) {
    for (std::size_t c = 0; c < windows_.size(); ++c) {
      const std::size_t before = tasks_.size();
      addBlocks(c);
      left_[c].set(tasks_.size() - before);
      if (c > 0) tasks_.push_back({c - 1, nullptr, 0, nullptr});
    }
    tasks_.push_back({windows_.size() - 1, nullptr, 0, nullptr});
    workers_.forEach(
        tasks_.size(), [&](int worker, std::size_t task) { work(worker, tasks_[task]); },
        progress ? progress->within(place, tasks_.size()) : Workers::Report());
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

void checkTile(const Tile& tile, int reduce) {
  for (const TileComponent& component : tile.components)
    if (component.coding.levels < reduce)
      failOption("reduce",
                 std::to_string(reduce) + ": the picture has " + std::to_string(component.coding.levels) + " levels");
}

// A transform that cannot have been made is left out. With fewer than three components there is no doubt about that.
void checkTransform(Tile& tile, TileFindings& findings) {
  if (!tile.style.transform) return;
  const auto differs = [&](const TileComponent& c) {
    const TileComponent& first = tile.components[0];
    return c.rect.width() != first.rect.width() || c.rect.height() != first.rect.height() ||
           c.coding.reversible != first.coding.reversible;
  };
  if (tile.components.size() < 3)
    findings.notes.push_back("a component transform of " + std::to_string(tile.components.size()) +
                             " components, left out");
  else if (differs(tile.components[1]) || differs(tile.components[2]))
    findings.problems.push_back("has a component transform of components that differ");
  else
    return;
  tile.style.transform = false;
}

// Numbers and lengths of tile-parts that are wrong do no harm if the packets are all there.
void checkParts(const std::vector<const TilePart*>& ofTile, const PacketsRead& read, Coord index,
                TileFindings& findings) {
  const auto note = [&](const std::string& what) {
    findings.notes.push_back("tile " + std::to_string(index) + " " + what);
  };
  if (!read.problem.empty()) return findings.problems.push_back(read.problem);
  if (!read.exact && std::ranges::any_of(ofTile, &TilePart::guessed))
    return findings.problems.push_back("has a tile-part of wrong length");
  if (const std::string what = misnumbered(ofTile); !what.empty()) note(what);
  if (!read.exact) note("has bytes after its last packet");
}

// A component transform needs the same part of three components.
void widenForTransform(const std::vector<Rect>& wholes, std::vector<Rect>& rects) {
  Rect all{INT64_MAX, INT64_MAX, 0, 0};
  for (std::size_t c = 0; c < 3; ++c)
    if (!rects[c].empty())
      all = {std::min(all.x0, rects[c].x0 - wholes[c].x0), std::min(all.y0, rects[c].y0 - wholes[c].y0),
             std::max(all.x1, rects[c].x1 - wholes[c].x0), std::max(all.y1, rects[c].y1 - wholes[c].y0)};
  if (all.empty()) return;
  for (std::size_t c = 0; c < 3; ++c)
    rects[c] = {wholes[c].x0 + all.x0, wholes[c].y0 + all.y0, wholes[c].x0 + all.x1, wholes[c].y0 + all.y1};
}

}  // namespace

// Empty if no component is too deep for its wavelet.
std::string tooDeep(const Siz& siz, const TileParams& params) {
  for (std::size_t c = 0; c < params.coding.size(); ++c)
    if (!params.coding[c].reversible && siz.components[c].bits > kMaxIrreversibleBits)
      return "samples of " + std::to_string(siz.components[c].bits) + " bits with the 9/7 wavelet";
  return "";
}

bool usesHighThroughput(const TileParams& params) {
  return std::ranges::any_of(params.coding, [](const CodingStyle& style) { return style.modes & kHighThroughput; });
}

std::vector<ComponentWindow> TileDecoder::windowsFor(const Tile& tile) const {
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

std::vector<Window> TileDecoder::placesOf(const std::vector<ComponentWindow>& windows) const {
  std::vector<Window> places;
  for (std::size_t c = 0; c < windows.size(); ++c) {
    const Rect& rect = windows[c].wanted();
    places.push_back({static_cast<int>(rect.x0 - shown_[c].x0), static_cast<int>(rect.y0 - shown_[c].y0)});
  }
  return places;
}

TileFindings TileDecoder::decode(Coord index, Budget& budget, Workers& workers, std::span<BlockDecoder> decoders,
                                 TileProgress* progress, Coord place) const {
  TileFindings findings;
  const auto problem = [&](const std::string& what) {
    findings.problems.push_back(what);
    return findings;
  };
  const auto found = parts_.of.find(static_cast<int>(index));
  if (found == parts_.of.end()) return problem("is missing");
  const std::vector<const TilePart*>& ofTile = found->second;
  TileParams params;
  try {
    params = paramsOf(stream_, ofTile);
  } catch (const Problem& unreadable) {
    return problem(unreadable.what());
  }
  if (hasTooFewSteps(params)) problem("has fewer quantiser steps than bands");
  if (const std::string deep = tooDeep(stream_.siz, params); !deep.empty())
    return problem("has " + deep + ", which are not supported");
  if (usesHighThroughput(params)) return problem(std::string("is coded otherwise: ") + kNoHighThroughput);
  const std::uint64_t before = budget.used();
  Tile tile = makeTile(stream_.siz, params, index, budget);
  checkTile(tile, options_.reduce);
  checkTransform(tile, findings);
  std::vector<ComponentWindow> windows = windowsFor(tile);
  if (partly_ || options_.reduce > 0) markWanted(tile, windows);
  const PacketSource source = packetsOf(parts_, ofTile);
  const PacketsRead read = readPackets(tile, stream_.siz, source, {options_.layers, partly_}, budget);
  findings.packets = read.packets;
  checkParts(ofTile, read, index, findings);
  for (ComponentWindow& window : windows) {
    budget.charge(1, window.bytes());
    window.allocate();
  }
  if (!TileTasks(tile, workers, windows, decoders).run(progress, place) && read.problem.empty())
    problem(hasDeepBlocks(tile) ? "has code-blocks of more than 31 bit-planes, which are not supported"
                                : "has damaged code-blocks");
  std::vector<TilePlane> planes;
  planes.reserve(windows.size());
  for (ComponentWindow& window : windows) planes.push_back(window.takeSamples());
  storeTile(planes, tile, placesOf(windows), picture_, workers);
  budget.restore(before);
  return findings;
}

std::uint64_t TileDecoder::sampleBytes() const {
  std::uint64_t bytes = 0;
  for (const ComponentSize& size : stream_.siz.components)
    bytes += TilePlane::bytes(ceilShift(ceilDiv(stream_.siz.tileWidth, size.dx), options_.reduce) + 1,
                              ceilShift(ceilDiv(stream_.siz.tileHeight, size.dy), options_.reduce) + 1);
  return bytes;
}

}  // namespace moxj::j2k
