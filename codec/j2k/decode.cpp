// The JPEG 2000 decoder: decodes the tiles of a codestream one after the other, the code-blocks of each in parallel.
#include <algorithm>
#include <cstring>
#include <memory>

#include "base/library.h"
#include "base/workers.h"
#include "j2k/blockdecoder.h"
#include "j2k/boxes.h"
#include "j2k/j2k.h"
#include "j2k/samples.h"
#include "j2k/syntax.h"
#include "j2k/tileprogress.h"
#include "j2k/wavelet.h"

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
            if (block.passes > 0 &&
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
  TileDecoder(const Tile& tile, int reduce, Workers& workers, std::span<TilePlane> planes,
              std::span<BlockDecoder> decoders)
      : tile_(tile), reduce_(reduce), workers_(workers), planes_(planes), decoders_(decoders), left_(planes.size()) {}

  // False if the data of a block could not be decoded.
  bool run(TileProgress& progress, Coord index) {
    for (std::size_t c = 0; c < planes_.size(); ++c) {
      const std::size_t before = tasks_.size();
      addBlocks(c);
      left_[c].set(tasks_.size() - before);
      if (c > 0) tasks_.push_back({c - 1, nullptr, nullptr});
    }
    tasks_.push_back({planes_.size() - 1, nullptr, nullptr});
    workers_.forEach(
        tasks_.size(), [&](int worker, std::size_t task) { work(worker, tasks_[task]); },
        progress.within(index, tasks_.size()));
    return good_;
  }

 private:
  struct Task {
    std::size_t component;
    const Block* block;  // null: the transform
    const Band* band;
  };

  int resolutions(std::size_t c) const { return tile_.components[c].coding.levels + 1 - reduce_; }

  void addBlocks(std::size_t c) {
    const TileComponent& component = tile_.components[c];
    for (int r = 0; r < resolutions(c); ++r) {
      const Resolution& resolution = component.resolutions[static_cast<std::size_t>(r)];
      for (const Precinct& precinct : resolution.precincts)
        for (const PrecinctBand& part : precinct.bands)
          for (const Block& block : part.blocks)
            tasks_.push_back({c, &block, &resolution.bands[static_cast<std::size_t>(part.band)]});
    }
  }

  void work(int worker, const Task& task) {
    const TileComponent& component = tile_.components[task.component];
    TilePlane& plane = planes_[task.component];
    if (task.block == nullptr) {
      left_[task.component].wait();
      if (!transformInverse(plane, component, resolutions(task.component))) good_ = false;
      return;
    }
    // Counts down even if decode() throws: otherwise the transform would wait forever.
    const std::unique_ptr<Countdown, void (*)(Countdown*)> done(&left_[task.component],
                                                                [](Countdown* c) { c->done(); });
    if (!decoders_[static_cast<std::size_t>(worker)].decode(*task.block, *task.band, component, plane)) good_ = false;
  }

  const Tile& tile_;
  int reduce_;
  Workers& workers_;
  std::span<TilePlane> planes_;
  std::span<BlockDecoder> decoders_;
  std::vector<Task> tasks_;
  std::vector<Countdown> left_;
  std::atomic<bool> good_ = true;
};

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
    const Coord tiles = stream_.siz.tiles();
    TileProgress progress(job_.progress, tiles);
    for (Coord tile = 0; tile < tiles; ++tile) {
      const auto found = parts.of.find(static_cast<int>(tile));
      if (found != parts.of.end() && !hasNoSamples(stream_.siz, tile))
        decodeTile(tile, parts, found->second, progress);
      else if (!hasNoSamples(stream_.siz, tile))
        noteProblem(tile, "is missing");
      progress.tileDone(tile);
    }
    if (packets_ == 0) fail(Kind::damaged, stream_.problem.empty() ? "the file has no picture" : stream_.problem);
    return finish();
  }

 private:
  void layOut();
  void decodeTile(Coord index, const TileParts& parts, const std::vector<const TilePart*>& ofTile,
                  TileProgress& progress);
  void checkTile(const Tile& tile) const;
  void checkTransform(Tile& tile, Coord index);
  void checkParts(const std::vector<const TilePart*>& ofTile, const PacketsRead& read, Coord index);
  std::vector<TilePlane> planesFor(const Tile& tile);
  std::vector<Window> windowsFor(const Tile& tile) const;

  void noteProblem(Coord tile, const std::string& what) {
    if (problems_++ == 0) warning_ = "tile " + std::to_string(tile) + " " + what;
  }
  void note(Coord tile, const std::string& what) { stream_.note("tile " + std::to_string(tile) + " " + what); }

  Decoded finish() {
    Decoded decoded;
    if (!options_.components)
      if (const std::string problem = applyBoxes(boxes_, picture_, job_.budget); !problem.empty())
        decoded.incomplete(problem);
    decoded.picture = std::move(picture_);
    decoded.picture.metadata = boxes_.metadata.metadata(job_.budget);
    if (problems_ == 0 && !stream_.problem.empty()) stream_.note(stream_.problem);
    decoded.notes = boxes_.notes;
    decoded.notes.insert(decoded.notes.end(), stream_.notes.begin(), stream_.notes.end());
    decoded.notes.insert(decoded.notes.end(), boxes_.metadata.notes.begin(), boxes_.metadata.notes.end());
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
  std::uint64_t packets_ = 0;
  int problems_ = 0;
  std::string warning_;
};

void Decoder::layOut() {
  const Rect whole = reducedRect(shownRect(stream_.siz, options_.upsample), options_.reduce);
  const bool ownSize = stream_.siz.isAlike() && !options_.upsample;
  job_.limits.check(static_cast<std::uint64_t>(whole.width()), static_cast<std::uint64_t>(whole.height()));
  if (whole.empty()) fail(Kind::badOption, "the picture is empty at that resolution");
  picture_.width = static_cast<int>(whole.width());
  picture_.height = static_cast<int>(whole.height());
  const auto components = static_cast<Coord>(stream_.siz.components.size());
  if (stream_.siz.tiles() * components > kMaxTileComponents)
    fail(Kind::limit, std::to_string(stream_.siz.tiles()) + " tiles of " + std::to_string(components) +
                          " components are more than " + std::to_string(kMaxTileComponents) + " tile-components");
  if (const std::string deep = tooDeep(stream_.siz, stream_.params); !deep.empty())
    fail(Kind::unsupported, deep + " are not supported");
  job_.budget.charge(stream_.siz.components.size(), sizeof(Plane));
  for (const ComponentSize& size : stream_.siz.components) {
    if (size.bits > kMaxBits)
      fail(Kind::unsupported, "samples of " + std::to_string(size.bits) + " bits are not supported");
    const Rect rect = reducedRect(componentRect(stream_.siz.image, size), options_.reduce);
    if (rect.empty()) fail(Kind::damaged, "a component has no samples");
    picture_.planes.push_back(Plane::of(static_cast<int>(rect.width()), static_cast<int>(rect.height()), size.bits,
                                        size.isSigned, ownSize ? 1 : size.dx, ownSize ? 1 : size.dy));
  }
  picture_.allocate(&job_.budget);
  if (stream_.siz.tiles() > 1) picture_.clear();  // for tiles that are missing
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

std::vector<TilePlane> Decoder::planesFor(const Tile& tile) {
  std::vector<Rect> rects;
  std::uint64_t bytes = 0;
  for (const TileComponent& component : tile.components) {
    const auto resolution = static_cast<std::size_t>(component.coding.levels - options_.reduce);
    rects.push_back(component.resolutions[resolution].rect);
    bytes += TilePlane::bytes(rects.back().width(), rects.back().height());
  }
  job_.budget.charge(1, bytes);
  std::vector<TilePlane> planes;
  for (const Rect& rect : rects) planes.emplace_back(static_cast<int>(rect.width()), static_cast<int>(rect.height()));
  return planes;
}

std::vector<Window> Decoder::windowsFor(const Tile& tile) const {
  std::vector<Window> windows;
  for (std::size_t c = 0; c < tile.components.size(); ++c) {
    const Rect whole = reducedRect(componentRect(stream_.siz.image, stream_.siz.components[c]), options_.reduce);
    const Rect rect = reducedRect(tile.components[c].rect, options_.reduce);
    windows.push_back({static_cast<int>(rect.x0 - whole.x0), static_cast<int>(rect.y0 - whole.y0)});
  }
  return windows;
}

void Decoder::decodeTile(Coord index, const TileParts& parts, const std::vector<const TilePart*>& ofTile,
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
  const PacketSource source = packetsOf(parts, ofTile);
  const PacketsRead read = readPackets(tile, stream_.siz, source, {options_.layers, kMaxLevels + 1}, job_.budget);
  packets_ += read.packets;
  checkParts(ofTile, read, index);
  std::vector<TilePlane> planes = planesFor(tile);
  TileDecoder decoder(tile, options_.reduce, job_.workers, planes, decoders_);
  if (!decoder.run(progress, index) && read.problem.empty())
    noteProblem(index, hasDeepBlocks(tile) ? "has code-blocks of more than 31 bit-planes, which are not supported"
                                           : "has damaged code-blocks");
  storeTile(planes, tile, windowsFor(tile), picture_, job_.workers);
  job_.budget.restore(before);
}

}  // namespace

Decoded decode(ByteSpan file, const DecodeOptions& options, Work& work) { return Decoder(file, options, work).run(); }

}  // namespace moxj::j2k
