#include "kernels/rgb.h"

#include <cstring>

#include "kernels/vec.h"

namespace mox::MOX_TARGET {
namespace {

using namespace definition;

struct YccRow {
  const Mox8u *y, *cb, *cr;

  Ycc at(int x) const { return {y[x], cb[x], cr[x]}; }
};

// Where the colours of a row go, by the layout of their samples.
template <class Pixel>
struct PixelRow {
  typename Pixel::Sample* pixels;

  void put(int x, Rgb c) const { Pixel::write(pixels + Pixel::kSamples * x, c); }
};

struct PlaneRow {
  Mox8u *red, *green, *blue;

  void put(int x, Rgb c) const {
    red[x] = static_cast<Mox8u>(c.red);
    green[x] = static_cast<Mox8u>(c.green);
    blue[x] = static_cast<Mox8u>(c.blue);
  }
};

template <class Row>
struct Complement : Row {
  void put(int x, Rgb c) const { Row::put(x, complement(c)); }
};

template <class Target>
void convert(const YccRow& src, const Target& dst, int width) {
  int x = 0;
  for (; x < groupColumns(width); x++) dst.put(x, kRgbGroup.of(src.at(x)));
  for (; x < width; x++) dst.put(x, kRgbTail.of(src.at(x)));
}

YccRow row(const Mox8u* const planes[]) {
  return {planes[0], planes[1], planes[2]};
}
PlaneRow row(Mox8u* const planes[]) {
  return {planes[0], planes[1], planes[2]};
}

void rgbPlanes(const Mox8u* const src[3], Mox8u* const dst[3], int width) {
  convert(row(src), row(dst), width);
}

template <class Pixel>
void pixels(const Mox8u* const src[], typename Pixel::Sample* dst, int width) {
  convert(row(src), PixelRow<Pixel>{dst}, width);
}

void cmykPlanes(const Mox8u* const src[4], Mox8u* const dst[4], int width) {
  convert(row(src), Complement<PlaneRow>{row(dst)}, width);
  std::memcpy(dst[3], src[3], static_cast<size_t>(width));
}

void cmyk(const Mox8u* const src[], Mox8u* dst, int width) {
  convert(row(src), Complement<PixelRow<CmykPixel>>{{dst}}, width);
  for (int x = 0; x < width; x++) dst[CmykPixel::kSamples * x + CmykPixel::kBlack] = src[3][x];
}

}  // namespace

const RgbKernels rgbKernels = {
    .rgbPlanes = rgbPlanes,
    .rgb = pixels<RgbPixel>,
    .bgr = pixels<BgrPixel>,
    .rgb555 = pixels<Rgb555Pixel>,
    .bgr555 = pixels<Bgr555Pixel>,
    .rgb565 = pixels<Rgb565Pixel>,
    .bgr565 = pixels<Bgr565Pixel>,
    .cmykPlanes = cmykPlanes,
    .cmyk = cmyk,
};

}  // namespace mox::MOX_TARGET
