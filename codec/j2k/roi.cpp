// A region is followed down the levels: a range of samples needs a range of low and one of high coefficients, which the
// support of the synthesis filters gives (H.1, Annex F), and the low range is that of samples one level below.
#include "j2k/roi.h"

#include <algorithm>

namespace moxj::j2k {

namespace {

struct Range {
  Coord from, to;  // `to` is past the end
};

// How far a filter reaches beyond the coefficients next to a sample: 5/3 and 9/7.
int reachOf(bool reversible) { return reversible ? 0 : 1; }

Range lowOf(const Range& samples, int reach) { return {(samples.from >> 1) - reach, (samples.to >> 1) + reach + 1}; }

Range highOf(const Range& samples, int reach) {
  return {(samples.from >> 1) - 1 - reach, (samples.to >> 1) + reach + 1};
}

}  // namespace

std::vector<Rect> coefficientsOf(const InterestRegion& region, const ComponentSize& size,
                                 const TileComponent& component) {
  const int levels = component.coding.levels, reach = reachOf(component.coding.reversible);
  std::vector<Rect> rects(static_cast<std::size_t>(3 * levels) + 1);
  Range across = {region.x / size.dx, ceilDiv(Coord{region.x} + region.width, size.dx)};
  Range down = {region.y / size.dy, ceilDiv(Coord{region.y} + region.height, size.dy)};
  for (int level = 1; level <= levels; ++level) {
    const Range lowX = lowOf(across, reach), highX = highOf(across, reach);
    const Range lowY = lowOf(down, reach), highY = highOf(down, reach);
    const auto first = static_cast<std::size_t>(3 * (levels - level));
    rects[first + hl] = {highX.from, lowY.from, highX.to, lowY.to};
    rects[first + lh] = {lowX.from, highY.from, lowX.to, highY.to};
    rects[first + hh] = {highX.from, highY.from, highX.to, highY.to};
    across = lowX;
    down = lowY;
  }
  rects[0] = {across.from, down.from, across.to, down.to};
  return rects;
}

}  // namespace moxj::j2k
