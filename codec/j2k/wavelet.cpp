// Runs the library's transforms level by level on the plane of a tile-component.
#include "j2k/wavelet.h"

#include <functional>

#include "base/library.h"
#include "j2k/deepwavelet.h"

namespace moxj::j2k {

namespace {

MoxRect phaseAndSize(const Rect& rect) {
  return {static_cast<int32_t>(rect.x0 & 1), static_cast<int32_t>(rect.y0 & 1), static_cast<int32_t>(rect.width()),
          static_cast<int32_t>(rect.height())};
}

Bytes bufferFor(const MoxRect& rect, bool reversible) {
  int32_t size = 0;
  require(reversible ? moxiWTGetBufSize_B53_JPEG2K_32s_C1IR(&rect, &size)
                     : moxiWTGetBufSize_D97_JPEG2K_32s_C1IR(&rect, &size),
          "the buffer size of a wavelet transform");
  return Bytes(static_cast<std::size_t>(size) + 1);
}

void transformLevel(TilePlane& plane, const Rect& rect, bool reversible, Bytes& buffer) {
  const MoxRect region = phaseAndSize(rect);
  const auto transform = reversible ? moxiWTInv_B53_JPEG2K_32s_C1IR : moxiWTInv_D97_JPEG2K_32s_C1IR;
  if (!rect.empty()) require(transform(plane.row(0), plane.step(), &region, buffer.data()), "a wavelet transform");
}

}  // namespace

void transformForward(TilePlane& plane, const TileComponent& component) {
  if (component.coding.levels == 0 || component.rect.empty()) return;
  const bool reversible = component.coding.reversible;
  Bytes buffer = bufferFor(phaseAndSize(component.rect), reversible);
  const auto transform = reversible ? moxiWTFwd_B53_JPEG2K_32s_C1IR : moxiWTFwd_D97_JPEG2K_32s_C1IR;
  for (int r = component.coding.levels; r > 0; --r) {
    const Rect& rect = component.resolutions[static_cast<std::size_t>(r)].rect;
    const MoxRect region = phaseAndSize(rect);
    if (!rect.empty()) require(transform(plane.row(0), plane.step(), &region, buffer.data()), "a wavelet transform");
  }
}

void transformLevel(TilePlane& plane, const Rect& rect, bool reversible) {
  const MoxRect region = phaseAndSize(rect);
  Bytes buffer = bufferFor(region, reversible);
  const auto transform = reversible ? moxiWTFwd_B53_JPEG2K_32s_C1IR : moxiWTFwd_D97_JPEG2K_32s_C1IR;
  require(transform(plane.row(0), plane.step(), &region, buffer.data()), "a wavelet transform");
}

bool transformInverse(TilePlane& plane, const TileComponent& component, int resolutions) {
  const bool reversible = component.coding.reversible;
  if (resolutions <= 1 || component.rect.empty()) return true;
  const auto rectOf = [&](int r) -> const Rect& { return component.resolutions[static_cast<std::size_t>(r)].rect; };
  if (reversible && component.bits > kMaxShallowBits) {
    bool fits = true;
    for (int r = 1; r < resolutions; ++r) fits &= deepInverse(plane, rectOf(r));
    return fits;
  }
  Bytes buffer = bufferFor(phaseAndSize(rectOf(resolutions - 1)), reversible);
  for (int r = 1; r < resolutions; ++r) transformLevel(plane, rectOf(r), reversible, buffer);
  return true;
}

void transformInverse(TilePlane& plane, const TileComponent& component, const Rect& rect) {
  const bool reversible = component.coding.reversible;
  if (reversible && component.bits > kMaxShallowBits) {
    deepInverse(plane, rect);
    return;
  }
  Bytes buffer = bufferFor(phaseAndSize(rect), reversible);
  transformLevel(plane, rect, reversible, buffer);
}

}  // namespace moxj::j2k
