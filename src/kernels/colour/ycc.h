// RGB, packed words and CMYK to YCbCr (JFIF 1.02) and YCCK, in fixed point.
#pragma once

#include "kernels/colour/pixels.h"
#include "moxj.h"

namespace mox {

// One row each; sources and destinations do not overlap. Planes come as arrays of row pointers.
struct YccKernels {
  using Planes3 = void (*)(const Mox8u* const src[3], Mox8u* const dst[3], int width);
  using Planes4 = void (*)(const Mox8u* const src[4], Mox8u* const dst[4], int width);
  using Pixels = void (*)(const Mox8u* src, Mox8u* const dst[], int width);
  using Words = void (*)(const Mox16u* src, Mox8u* const dst[3], int width);

  Planes3 rgbPlanes;
  Pixels rgb, bgr;
  Words rgb555, bgr555, rgb565, bgr565;
  Planes4 cmykPlanes;
  Pixels cmyk;
  // Luminance alone.
  void (*lumaOfRgbPlanes)(const Mox8u* const src[3], Mox8u* dst, int width);
  void (*lumaOfRgb)(const Mox8u* src, Mox8u* dst, int width);
  void (*lumaOfBgr)(const Mox8u* src, Mox8u* dst, int width);
};

namespace definition {

// A sum of weighted colours, its rounding included, and the number of its fraction bits.
struct WeightedSum {
  int red, green, blue, rounding, bits;

  constexpr int of(Rgb c) const { return clamp8((red * c.red + green * c.green + blue * c.blue + rounding) >> bits); }
};

struct YccMatrix {
  WeightedSum y, cb, cr;

  constexpr Ycc of(Rgb c) const { return {y.of(c), cb.of(c), cr.of(c)}; }
};

// The rounding of chroma is 128.5 less one unit: never above 255, so that the tail needs no clamp.
inline constexpr YccMatrix kYccTail{
    {19595, 38470, 7471, 32768, 16}, {-11059, -21709, 32768, 8421375, 16}, {32768, -27439, -5329, 8421375, 16}};

// Groups of interleaved pixels. The weights of Y add up to 32769 and its rounding is 16266, that of Cr is 16 above that
// of Cb: all three show in the results and are kept.
inline constexpr YccMatrix kYccGroup{
    {9798, 19235, 3736, 16266, 15}, {-5529, -10855, 16384, 4210688, 15}, {16384, -13720, -2664, 4210704, 15}};

// Groups of planar sources and of CMYK: the tail's Y, the chroma of interleaved groups.
inline constexpr YccMatrix kYccPlaneGroup{kYccTail.y, kYccGroup.cb, kYccGroup.cr};

// Packed words, all columns.
inline constexpr YccMatrix kYccWord{
    {4899, 9617, 1868, 8192, 14}, {-2764, -5428, 8192, 2105344, 14}, {8192, -6860, -1332, 2105344, 14}};

constexpr bool same(Ycc a, Ycc b) { return a.y == b.y && a.cb == b.cb && a.cr == b.cr; }

constexpr bool greyStaysGrey(const YccMatrix& matrix) {
  for (int v = 0; v < 256; v++)
    if (!same(matrix.of({v, v, v}), {v, 128, 128})) return false;
  return true;
}
static_assert(greyStaysGrey(kYccTail) && greyStaysGrey(kYccGroup));
static_assert(greyStaysGrey(kYccPlaneGroup) && greyStaysGrey(kYccWord));
static_assert(same(kYccTail.of({255, 0, 0}), {76, 85, 255}) && same(kYccTail.of({0, 0, 255}), {29, 255, 107}));
static_assert(kYccGroup.cb.of({0, 0, 255}) == 255 && kYccGroup.cr.of({255, 0, 0}) == 255);  // clamped from 256

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const YccKernels yccKernels;
}
#endif

}  // namespace mox
