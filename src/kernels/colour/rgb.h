// YCbCr (JFIF 1.02) and YCCK to RGB, packed words and CMYK, in fixed point.
#pragma once

#include "kernels/colour/pixels.h"
#include "moxj.h"

namespace mox {

// One row each; sources and destinations do not overlap. Planes come as arrays of row pointers.
struct RgbKernels {
  using Planes3 = void (*)(const Mox8u* const src[3], Mox8u* const dst[3], int width);
  using Planes4 = void (*)(const Mox8u* const src[4], Mox8u* const dst[4], int width);
  using Pixels = void (*)(const Mox8u* const src[], Mox8u* dst, int width);
  using Words = void (*)(const Mox8u* const src[3], Mox16u* dst, int width);

  Planes3 rgbPlanes;
  Pixels rgb, bgr;
  Words rgb555, bgr555, rgb565, bgr565;
  Planes4 cmykPlanes;
  Pixels cmyk;
};

namespace definition {

// What chroma adds to Y (or, negative, takes from it) for one colour.
struct ChromaTerm {
  int cb, cr, offset, bits;
  bool negative = false;

  constexpr int of(int blueness, int redness) const {
    const int term = (cb * blueness + cr * redness + offset) >> bits;
    return negative ? -term : term;
  }
};

struct RgbMatrix {
  ChromaTerm red, green, blue;

  constexpr Rgb of(Ycc c) const {
    return {clamp8(c.y + red.of(c.cb, c.cr)), clamp8(c.y + green.of(c.cb, c.cr)), clamp8(c.y + blue.of(c.cb, c.cr))};
  }
};

// The tail of a row, the columns after its last full group of four: the weights apply to chroma less 128.
inline constexpr RgbMatrix kRgbTail{{0, 91881, 32768 - 91881 * 128, 16},
                                    {-22554, -46802, 32768 + (22554 + 46802) * 128, 16},
                                    {116130, 0, 32768 - 116130 * 128, 16}};

// Groups. Green is subtracted, so that its term rounds the other way.
inline constexpr RgbMatrix kRgbGroup{
    {0, 22970, -2932015, 14}, {5638, 11700, -2211182, 14, true}, {29032, 0, -3708561, 14}};

constexpr bool same(Rgb a, Rgb b) { return a.red == b.red && a.green == b.green && a.blue == b.blue; }

constexpr bool greyStaysGrey(const RgbMatrix& matrix) {
  for (int v = 0; v < 256; v++)
    if (!same(matrix.of({v, 128, 128}), {v, v, v})) return false;
  return true;
}
static_assert(greyStaysGrey(kRgbTail) && greyStaysGrey(kRgbGroup));
static_assert(kRgbTail.red.of(0, 0) == -179 && kRgbTail.red.of(0, 255) == 178);
static_assert(kRgbTail.blue.of(0, 0) == -227 && kRgbTail.blue.of(255, 0) == 225);
// The terms of groups are narrowed to 16 bits before they meet Y: none comes near that range's ends.
static_assert(kRgbGroup.red.of(0, 0) == -179 && kRgbGroup.red.of(0, 255) == 178);
static_assert(kRgbGroup.green.of(0, 0) == 135 && kRgbGroup.green.of(255, 255) == -134);
static_assert(kRgbGroup.blue.of(0, 0) == -227 && kRgbGroup.blue.of(255, 0) == 225);

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const RgbKernels rgbKernels;
}
#endif

}  // namespace mox
