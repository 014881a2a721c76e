// Computes the geometry of a tile: bands, precincts and code-blocks (Annex B), and their quantiser steps (Annex E).
#include "j2k/tile.h"

#include <algorithm>
#include <cmath>

#include "base/problem.h"

namespace moxj::j2k {

namespace {

// log2 of the gain of a band (Table E.1).
int gainOf(Orientation orientation) { return orientation == ll ? 0 : orientation == hh ? 2 : 1; }

// The area of a band after `levels` decompositions (B-15).
Rect bandRect(const Rect& rect, Orientation orientation, int levels) {
  if (levels == 0) return rect;
  const Coord half = Coord{1} << (levels - 1);
  const Coord dx = orientation == hl || orientation == hh ? half : 0;
  const Coord dy = orientation == lh || orientation == hh ? half : 0;
  return {ceilShift(rect.x0 - dx, levels), ceilShift(rect.y0 - dy, levels), ceilShift(rect.x1 - dx, levels),
          ceilShift(rect.y1 - dy, levels)};
}

// What a tag tree allocates for a node: two values.
constexpr std::uint64_t kTreeNode = 16;

// The cells of a grid from 0 that an area touches; they are 2^wide by 2^high.
std::uint64_t cells(const Rect& rect, int wide, int high) {
  if (rect.empty()) return 0;
  return static_cast<std::uint64_t>((ceilShift(rect.x1, wide) - (rect.x0 >> wide)) *
                                    (ceilShift(rect.y1, high) - (rect.y0 >> high)));
}

// The precincts, and the code-blocks in each of their bands. All are made before a packet is read, and small ones are
// many: this is what they need at least, known before the first is made.
std::uint64_t leastBytes(const TileComponent& component) {
  const CodingStyle& coding = component.coding;
  std::uint64_t bytes = 0;
  for (int r = 0; r <= coding.levels; ++r) {
    const std::uint8_t size = coding.precincts[static_cast<std::size_t>(r)];
    const int wide = size & 15, high = size >> 4;
    const Rect rect = reducedRect(component.rect, coding.levels - r);
    if (rect.empty() || (r > 0 && (wide == 0 || high == 0))) continue;  // the latter are refused later
    const int bands = r == 0 ? 1 : 3;
    bytes += cells(rect, wide, high) * (sizeof(Precinct) + bands * sizeof(PrecinctBand));
    // Blocks end where precincts do, which are half as large in the bands.
    const int w = std::min(coding.blockWidthLog, wide - (r > 0)), h = std::min(coding.blockHeightLog, high - (r > 0));
    for (int o = r == 0 ? ll : hl; o <= (r == 0 ? ll : hh); ++o) {
      const Rect band = bandRect(component.rect, static_cast<Orientation>(o), coding.levels - (r == 0 ? 0 : r - 1));
      bytes += cells(band, w, h) * (sizeof(Block) + 2 * kTreeNode);
    }
  }
  return bytes;
}

// Lays out a component. Charges the budget before each allocation.
class ComponentMaker {
 public:
  ComponentMaker(TileComponent& component, const Quantisation& quantisation, Budget& budget)
      : component_(component), quantisation_(quantisation), budget_(budget) {}

  void make() {
    const int levels = component_.coding.levels;
    component_.resolutions.resize(static_cast<std::size_t>(levels) + 1);
    for (int r = 0; r <= levels; ++r) makeResolution(r);
  }

 private:
  void makeResolution(int r) {
    Resolution& resolution = component_.resolutions[static_cast<std::size_t>(r)];
    const int levels = component_.coding.levels;
    resolution.rect = reducedRect(component_.rect, levels - r);
    resolution.precinctWidthLog = component_.coding.precincts[static_cast<std::size_t>(r)] & 15;
    resolution.precinctHeightLog = component_.coding.precincts[static_cast<std::size_t>(r)] >> 4;
    if (r > 0 && (resolution.precinctWidthLog == 0 || resolution.precinctHeightLog == 0))
      fail(Kind::damaged, "precincts of size 1 above the lowest resolution");
    if (resolution.rect.empty()) return;
    for (int o = r == 0 ? ll : hl; o <= (r == 0 ? ll : hh); ++o) makeBand(r, static_cast<Orientation>(o));
    resolution.precinctsWide = ceilShift(resolution.rect.x1, resolution.precinctWidthLog) -
                               (resolution.rect.x0 >> resolution.precinctWidthLog);
    resolution.precinctsHigh = ceilShift(resolution.rect.y1, resolution.precinctHeightLog) -
                               (resolution.rect.y0 >> resolution.precinctHeightLog);
    const auto count = static_cast<std::uint64_t>(resolution.precinctsWide * resolution.precinctsHigh);
    budget_.charge(count, sizeof(Precinct) + resolution.bands.size() * sizeof(PrecinctBand));
    resolution.precincts.resize(count);
    for (Coord p = 0; p < static_cast<Coord>(count); ++p) makePrecinct(r, p);
  }

  void makeBand(int r, Orientation orientation) {
    Resolution& resolution = component_.resolutions[static_cast<std::size_t>(r)];
    const int levels = component_.coding.levels - (r == 0 ? 0 : r - 1);
    Band band;
    band.orientation = orientation;
    band.index = r == 0 ? 0 : 3 * (r - 1) + orientation;
    band.rect = bandRect(component_.rect, orientation, levels);
    if (r > 0) {
      const Rect& low = component_.resolutions[static_cast<std::size_t>(r) - 1].rect;
      if (orientation & hl) band.planeX = static_cast<std::int32_t>(low.width());
      if (orientation & lh) band.planeY = static_cast<std::int32_t>(low.height());
    }
    const Step step = stepOf(quantisation_, band.index, r);
    band.bitPlanes = quantisation_.guardBits + step.exponent - 1;
    if (!component_.coding.reversible)
      band.step = std::ldexp(1 + step.mantissa / 2048.0, component_.bits + gainOf(orientation) - step.exponent);
    resolution.bands.push_back(band);
  }

  void makePrecinct(int r, Coord number) {
    Resolution& resolution = component_.resolutions[static_cast<std::size_t>(r)];
    const Coord px = (resolution.rect.x0 >> resolution.precinctWidthLog) + number % resolution.precinctsWide;
    const Coord py = (resolution.rect.y0 >> resolution.precinctHeightLog) + number / resolution.precinctsWide;
    // Except in the lowest resolution, the precincts of a band are half as large as those of the resolution.
    const int wide = resolution.precinctWidthLog - (r > 0), high = resolution.precinctHeightLog - (r > 0);
    Precinct& precinct = resolution.precincts[static_cast<std::size_t>(number)];
    for (int b = 0; b < static_cast<int>(resolution.bands.size()); ++b) {
      const Band& band = resolution.bands[static_cast<std::size_t>(b)];
      const Rect part = intersection({px << wide, py << high, (px + 1) << wide, (py + 1) << high}, band.rect);
      PrecinctBand& made = precinct.bands.emplace_back();
      made.band = b;
      if (!part.empty()) makeBlocks(made, band, part, wide, high);
    }
  }

  void makeBlocks(PrecinctBand& made, const Band& band, const Rect& part, int wide, int high) {
    const int w = std::min(component_.coding.blockWidthLog, wide);
    const int h = std::min(component_.coding.blockHeightLog, high);
    const Coord bx = part.x0 >> w, by = part.y0 >> h;
    const auto blocksWide = static_cast<std::uint64_t>(ceilShift(part.x1, w) - bx);
    const auto blocksHigh = static_cast<std::uint64_t>(ceilShift(part.y1, h) - by);
    budget_.charge(blocksWide * blocksHigh, sizeof(Block));
    budget_.charge(TagTree::maxNodes(blocksWide, blocksHigh), 2 * kTreeNode);
    made.blocksWide = static_cast<int>(blocksWide);
    made.blocksHigh = static_cast<int>(blocksHigh);
    made.inclusion = TagTree(made.blocksWide, made.blocksHigh);
    made.zeroPlanes = TagTree(made.blocksWide, made.blocksHigh);
    made.blocks.resize(blocksWide * blocksHigh);
    for (std::uint64_t i = 0; i < made.blocks.size(); ++i) {
      const Coord x = bx + static_cast<Coord>(i % blocksWide), y = by + static_cast<Coord>(i / blocksWide);
      const Rect rect = intersection({x << w, y << h, (x + 1) << w, (y + 1) << h}, part);
      Block& block = made.blocks[i];
      block.x = band.planeX + static_cast<std::int32_t>(rect.x0 - band.rect.x0);
      block.y = band.planeY + static_cast<std::int32_t>(rect.y0 - band.rect.y0);
      block.width = static_cast<std::int16_t>(rect.width());
      block.height = static_cast<std::int16_t>(rect.height());
    }
  }

  TileComponent& component_;
  const Quantisation& quantisation_;
  Budget& budget_;
};

}  // namespace

Rect tileRect(const Siz& siz, Coord index) {
  const Coord p = index % siz.tilesWide(), q = index / siz.tilesWide();
  const Coord x0 = siz.tileX0 + p * siz.tileWidth, y0 = siz.tileY0 + q * siz.tileHeight;
  return intersection({x0, y0, x0 + siz.tileWidth, y0 + siz.tileHeight}, siz.image);
}

Rect componentRect(const Rect& grid, const ComponentSize& component) {
  return {ceilDiv(grid.x0, component.dx), ceilDiv(grid.y0, component.dy), ceilDiv(grid.x1, component.dx),
          ceilDiv(grid.y1, component.dy)};
}

Rect shownRect(const Siz& siz, bool upsample) {
  return siz.isAlike() && !upsample ? componentRect(siz.image, siz.components[0]) : siz.image;
}

bool hasNoSamples(const Siz& siz, Coord index) {
  const Rect rect = tileRect(siz, index);
  return std::ranges::all_of(siz.components,
                             [&](const ComponentSize& size) { return componentRect(rect, size).empty(); });
}

Rect reducedRect(const Rect& rect, int levels) {
  return {ceilShift(rect.x0, levels), ceilShift(rect.y0, levels), ceilShift(rect.x1, levels),
          ceilShift(rect.y1, levels)};
}

Step stepOf(const Quantisation& quantisation, int bandIndex, int resolution) {
  if (quantisation.kind != Quantisation::derived) {
    const int step = quantisation.steps[static_cast<std::size_t>(bandIndex)];
    return {step >> 11, step & 2047};
  }
  // Only the step of LL is given; the exponents of the other bands follow from their levels (E-5).
  const int step = quantisation.steps[0];
  return {std::max(0, (step >> 11) - (resolution > 0 ? resolution - 1 : 0)), step & 2047};
}

Tile makeTile(const Siz& siz, const TileParams& params, Coord index, Budget& budget) {
  Tile tile;
  tile.rect = tileRect(siz, index);
  tile.style = params.style;
  tile.progressions = params.progressions;
  if (tile.progressions.empty()) tile.progressions.push_back({.order = params.style.order});
  budget.charge(siz.components.size(), sizeof(TileComponent));
  tile.components.resize(siz.components.size());
  const std::uint64_t before = budget.used();
  for (std::size_t c = 0; c < siz.components.size(); ++c) {
    TileComponent& component = tile.components[c];
    component.rect = componentRect(tile.rect, siz.components[c]);
    component.bits = siz.components[c].bits;
    component.isSigned = siz.components[c].isSigned;
    component.coding = params.coding[c];
    component.shift = params.shift[c];
    budget.charge(1, leastBytes(component));
  }
  budget.restore(before);
  for (std::size_t c = 0; c < siz.components.size(); ++c)
    ComponentMaker(tile.components[c], params.quantisation[c], budget).make();
  return tile;
}

}  // namespace moxj::j2k
