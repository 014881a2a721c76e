// A sample that the inverse transform makes depends on coefficients at most 2 (5/3) or 4 (9/7) places away. If so many
// samples around a window are reconstructed too, the mirrored edges of the transform do not reach the window.
#include "j2k/componentwindow.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "j2k/wavelet.h"

namespace moxj::j2k {

namespace {

bool contains(const Rect& outer, const Rect& inner) {
  return outer.x0 <= inner.x0 && outer.y0 <= inner.y0 && outer.x1 >= inner.x1 && outer.y1 >= inner.y1;
}

int width(const Rect& rect) { return static_cast<int>(rect.width()); }
int height(const Rect& rect) { return static_cast<int>(rect.height()); }

// The coefficients of a band that belong to samples of its resolution: low ones are at even coordinates, high ones at
// odd ones.
Rect bandPart(const Rect& samples, Orientation orientation) {
  const auto half = [](Coord at, bool high) { return (at + !high) >> 1; };
  const bool across = orientation & hl, down = orientation & lh;
  return {half(samples.x0, across), half(samples.y0, down), half(samples.x1, across), half(samples.y1, down)};
}

Rect withNeighbours(const Rect& rect, int reach, const Rect& limits) {
  if (rect.empty()) return rect;
  return intersection({rect.x0 - reach, rect.y0 - reach, rect.x1 + reach, rect.y1 + reach}, limits);
}

TilePlane planeOf(const Rect& rect) { return rect.empty() ? TilePlane() : TilePlane(width(rect), height(rect)); }

std::uint64_t bytesOf(const Rect& rect) { return rect.empty() ? 0 : TilePlane::bytes(rect.width(), rect.height()); }

}  // namespace

ComponentWindow::ComponentWindow(const TileComponent& component, int resolutions, const Rect& wanted)
    : component_(component),
      resolutions_(resolutions),
      wanted_(wanted),
      whole_(contains(wanted, component.resolutions[static_cast<std::size_t>(resolutions) - 1].rect)) {
  if (whole_) return;
  levels_.resize(static_cast<std::size_t>(resolutions));
  const int reach = component.coding.reversible ? 2 : 4;
  Rect needed = wanted;
  for (std::size_t r = levels_.size(); r-- > 0;) {
    Level& level = levels_[r];
    level.needed = needed;
    level.made = r == 0 ? needed : withNeighbours(needed, reach, component.resolutions[r].rect);
    needed = bandPart(level.made, ll);
  }
}

Rect ComponentWindow::areaOf(int resolution, const Band& band) const {
  if (whole_) return band.rect;
  const Rect& made = levels_[static_cast<std::size_t>(resolution)].made;
  return resolution == 0 ? made : bandPart(made, band.orientation);
}

std::uint64_t ComponentWindow::bytes() const {
  if (whole_) return bytesOf(wanted_);
  std::uint64_t bytes = 0;
  for (const Level& level : levels_) bytes += bytesOf(level.made);
  return bytes;
}

void ComponentWindow::allocate() {
  if (whole_) plane_ = planeOf(wanted_);
  for (Level& level : levels_) level.plane = planeOf(level.made);
}

BandPlace ComponentWindow::placeOf(int resolution, const Band& band) {
  if (whole_) return {&plane_, band.rect, band.planeX, band.planeY};
  BandPlace place{&levels_[static_cast<std::size_t>(resolution)].plane, areaOf(resolution, band), 0, 0};
  if (resolution == 0) return place;
  const Rect& low = levels_[static_cast<std::size_t>(resolution) - 1].needed;
  if (band.orientation & hl) place.x = width(low);
  if (band.orientation & lh) place.y = height(low);
  return place;
}

bool ComponentWindow::transform() {
  if (whole_) return transformInverse(plane_, component_, resolutions_);
  for (int r = 1; r < resolutions_; ++r) reconstruct(r);
  return true;
}

// The samples of the next lower resolution are the low band.
void ComponentWindow::reconstruct(int resolution) {
  Level& level = levels_[static_cast<std::size_t>(resolution)];
  Level& low = levels_[static_cast<std::size_t>(resolution) - 1];
  if (level.made.empty()) return;
  const auto x = low.needed.x0 - low.made.x0, y = low.needed.y0 - low.made.y0;
  for (int row = 0; row < height(low.needed) && low.needed.width() > 0; ++row)  // a lower resolution may be empty
    std::memcpy(level.plane.row(row), low.plane.row(static_cast<int>(y) + row) + x,
                static_cast<std::size_t>(low.needed.width()) * 4);
  low.plane = {};
  transformInverse(level.plane, component_, level.made);
}

TilePlane ComponentWindow::takeSamples() {
  if (whole_) return std::move(plane_);
  Level& level = levels_.back();
  const Rect& made = level.made;
  if (!made.empty())
    level.plane.crop(static_cast<int>(wanted_.x0 - made.x0), static_cast<int>(wanted_.y0 - made.y0), width(wanted_),
                     height(wanted_));
  return std::move(level.plane);
}

}  // namespace moxj::j2k
