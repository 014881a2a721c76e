#include "kernels/ycc.h"

#include <cstring>

#include "kernels/vec.h"

namespace mox::MOX_TARGET {
namespace {

using namespace definition;

// Rows of colours, by the layout of their samples.
template <class Pixel>
struct PixelRow {
  const typename Pixel::Sample* pixels;

  Rgb at(int x) const { return Pixel::read(pixels + Pixel::kSamples * x); }
};

struct PlaneRow {
  const Mox8u *red, *green, *blue;

  Rgb at(int x) const { return {red[x], green[x], blue[x]}; }
};

template <class Row>
struct Complement : Row {
  Rgb at(int x) const { return complement(Row::at(x)); }
};

// Where the results of a row go.
struct YccRow {
  Mox8u *y, *cb, *cr;

  void put(int x, const YccMatrix& matrix, Rgb c) const {
    const Ycc result = matrix.of(c);
    y[x] = static_cast<Mox8u>(result.y);
    cb[x] = static_cast<Mox8u>(result.cb);
    cr[x] = static_cast<Mox8u>(result.cr);
  }
};

struct LumaRow {
  Mox8u* y;

  void put(int x, const YccMatrix& matrix, Rgb c) const { y[x] = static_cast<Mox8u>(matrix.y.of(c)); }
};

template <class Source, class Target>
void convert(const Source& src, const Target& dst, const YccMatrix& group, const YccMatrix& tail, int width) {
  int x = 0;
  for (; x < groupColumns(width); x++) dst.put(x, group, src.at(x));
  for (; x < width; x++) dst.put(x, tail, src.at(x));
}

PlaneRow row(const Mox8u* const planes[]) {
  return {planes[0], planes[1], planes[2]};
}
YccRow row(Mox8u* const planes[]) {
  return {planes[0], planes[1], planes[2]};
}

void rgbPlanes(const Mox8u* const src[3], Mox8u* const dst[3], int width) {
  convert(row(src), row(dst), kYccPlaneGroup, kYccTail, width);
}

template <class Pixel>
void pixels(const Mox8u* src, Mox8u* const dst[], int width) {
  convert(PixelRow<Pixel>{src}, row(dst), kYccGroup, kYccTail, width);
}

template <class Pixel>
void words(const Mox16u* src, Mox8u* const dst[3], int width) {
  convert(PixelRow<Pixel>{src}, row(dst), kYccWord, kYccWord, width);
}

void cmykPlanes(const Mox8u* const src[4], Mox8u* const dst[4], int width) {
  convert(Complement<PlaneRow>{row(src)}, row(dst), kYccPlaneGroup, kYccTail, width);
  std::memcpy(dst[3], src[3], static_cast<size_t>(width));
}

void cmyk(const Mox8u* src, Mox8u* const dst[], int width) {
  convert(Complement<PixelRow<CmykPixel>>{{src}}, row(dst), kYccPlaneGroup, kYccTail, width);
  for (int x = 0; x < width; x++) dst[3][x] = src[CmykPixel::kSamples * x + CmykPixel::kBlack];
}

void lumaOfRgbPlanes(const Mox8u* const src[3], Mox8u* dst, int width) {
  convert(row(src), LumaRow{dst}, kYccPlaneGroup, kYccTail, width);
}

template <class Pixel>
void lumaOf(const Mox8u* src, Mox8u* dst, int width) {
  convert(PixelRow<Pixel>{src}, LumaRow{dst}, kYccGroup, kYccTail, width);
}

}  // namespace

const YccKernels yccKernels = {
    .rgbPlanes = rgbPlanes,
    .rgb = pixels<RgbPixel>,
    .bgr = pixels<BgrPixel>,
    .rgb555 = words<Rgb555Pixel>,
    .bgr555 = words<Bgr555Pixel>,
    .rgb565 = words<Rgb565Pixel>,
    .bgr565 = words<Bgr565Pixel>,
    .cmykPlanes = cmykPlanes,
    .cmyk = cmyk,
    .lumaOfRgbPlanes = lumaOfRgbPlanes,
    .lumaOfRgb = lumaOf<RgbPixel>,
    .lumaOfBgr = lumaOf<BgrPixel>,
};

}  // namespace mox::MOX_TARGET
