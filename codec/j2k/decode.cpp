// The JPEG 2000 decoder: many small tiles of a codestream are decoded side by side, others one after the other, the
// code-blocks of each in parallel. Of a region, only the tiles and code-blocks that it needs.
#include <algorithm>
#include <new>
#include <numeric>
#include <optional>
#include <utility>

#include "base/library.h"
#include "base/workers.h"
#include "j2k/blockdecoder.h"
#include "j2k/boxes.h"
#include "j2k/j2k.h"
#include "j2k/syntax.h"
#include "j2k/tiledecoder.h"
#include "j2k/tileprogress.h"
#include "pictures/region.h"

namespace moxj::j2k {

namespace {

constexpr int kMaxBits = 31;
constexpr Coord kMaxTileComponents = Coord{1} << 20;  // each costs time, even if it has no samples

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
    const TileDecoder decoder(stream_, parts, options_, shown_, partly(), picture_);
    TileProgress progress(job_.progress, static_cast<Coord>(tiles.size()));
    decodesSideBySide(decoder, tiles.size()) ? sideBySide(decoder, tiles, progress)
                                             : oneAfterTheOther(decoder, tiles, progress);
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
  bool decodesSideBySide(const TileDecoder& decoder, std::size_t tiles) const;
  void sideBySide(const TileDecoder& decoder, const std::vector<Coord>& tiles, TileProgress& progress);
  void oneAfterTheOther(const TileDecoder& decoder, const std::vector<Coord>& tiles, TileProgress& progress);
  void take(Coord tile, const TileFindings& findings);

  bool partly() const { return options_.region.given() || options_.tile; }
  const char* optionOfPart() const { return options_.tile ? "tile" : "region"; }

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

void Decoder::take(Coord tile, const TileFindings& findings) {
  packets_ += findings.packets;
  for (const std::string& note : findings.notes) stream_.note(note);
  for (const std::string& problem : findings.problems)
    if (problems_++ == 0) warning_ = "tile " + std::to_string(tile) + " " + problem;
}

void Decoder::oneAfterTheOther(const TileDecoder& decoder, const std::vector<Coord>& tiles, TileProgress& progress) {
  for (std::size_t i = 0; i < tiles.size(); ++i) {
    const auto place = static_cast<Coord>(i);
    take(tiles[i], decoder.decode(tiles[i], job_.budget, job_.workers, decoders_, &progress, place));
    progress.tileDone(place);
  }
}

// Many tiles, so that it makes no difference which thread ends first; small ones, so that progress is reported often
// enough; and memory for several.
bool Decoder::decodesSideBySide(const TileDecoder& decoder, std::size_t tiles) const {
  constexpr std::size_t kTilesOfAThread = 8;
  constexpr Coord kMaxPixels = Coord{1} << 20;
  const auto threads = static_cast<std::size_t>(job_.workers.count());
  if (threads == 1 || tiles < kTilesOfAThread * threads) return false;
  const Siz& siz = stream_.siz;
  return siz.tileWidth <= kMaxPixels && siz.tileHeight <= kMaxPixels / siz.tileWidth &&
         decoder.sampleBytes() <= job_.budget.left() / threads / 4;
}

// Each thread has a tile and its share of the memory. A tile for which that does not suffice, or that cannot be decoded
// for another reason, is decoded again with all that there is: so what is reported is what one thread would report.
void Decoder::sideBySide(const TileDecoder& decoder, const std::vector<Coord>& tiles, TileProgress& progress) {
  const std::uint64_t share = job_.budget.left() / static_cast<std::uint64_t>(job_.workers.count());
  std::vector<std::optional<TileFindings>> found(tiles.size());
  job_.workers.forEach(
      tiles.size(),
      [&](int, std::size_t i) {
        try {
          Budget budget(share);
          found[i] = decoder.decode(tiles[i], budget, job_.workers, decoders_);
        } catch (const Problem&) {
        } catch (const std::bad_alloc&) {
        }
      },
      [&](std::size_t done) {
        if (done > 0) progress.tileDone(static_cast<Coord>(done) - 1);
      });
  for (std::size_t i = 0; i < tiles.size(); ++i)
    take(tiles[i], found[i] ? *found[i] : decoder.decode(tiles[i], job_.budget, job_.workers, decoders_));
}

}  // namespace

Decoded decode(ByteSpan file, const DecodeOptions& options, Work& work) { return Decoder(file, options, work).run(); }

}  // namespace moxj::j2k
