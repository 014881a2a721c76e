// RGB to YCbCr, a row at a time.
//
// The plain loop takes a pixel, forms three sums of products in 32 bits and stores three bytes: PixelRow::at(), then
// YccRow::put(). The vectors take V::kBytes pixels a step: a row's fetch() brings their colours into registers as bytes
// (pixel_load.h), ycc_vec.h computes each result exactly in 16 bits, emit() packs the results to bytes in the order of
// the pixels and stores them, one vector a plane. cover() moves the last vector back to end with the last whole group
// of four; rows of less than a vector, and the tail of up to three pixels, which has other weights, are left to the
// definition.
#include "kernels/colour/ycc.h"

#include <cstring>

#include "kernels/colour/pixel_load.h"
#include "kernels/colour/ycc_vec.h"
#include "kernels/vec/sweep.h"

namespace mox::MOX_TARGET {
namespace {

using namespace definition;

// Rows of colours, by the layout of their samples: at() is one pixel, fetch() loads V::kBytes pixels as two halves.
template <class Pixel>
struct PixelRow {
  const typename Pixel::Sample* pixels;

  Rgb at(ptrdiff_t x) const { return Pixel::read(pixels + Pixel::kSamples * x); }
  template <class V>
  [[maybe_unused]] static constexpr bool kOrdered = kOrderedHalves<Pixel, V>;

  template <class V>
  MOX_INLINE void fetch(ptrdiff_t x, Colours<V> (&half)[2]) const {
    loadPixels<Pixel>(pixels + Pixel::kSamples * x, half);
  }
};

struct PlaneRow {
  const Mox8u *red, *green, *blue;

  Rgb at(ptrdiff_t x) const { return {red[x], green[x], blue[x]}; }
  template <class V>
  [[maybe_unused]] static constexpr bool kOrdered = false;

  template <class V>
  MOX_INLINE void fetch(ptrdiff_t x, Colours<V> (&half)[2]) const {
    Colours<V>::halves(load<V>(red + x), load<V>(green + x), load<V>(blue + x), half);
  }
};

template <class Row>
struct Complement : Row {
  Rgb at(ptrdiff_t x) const { return complement(Row::at(x)); }
  template <class V>
  MOX_INLINE void fetch(ptrdiff_t x, Colours<V> (&half)[2]) const {
    Row::fetch(x, half);
#pragma GCC unroll 2
    for (Colours<V>& colours : half) colours = colours.complement();
  }
};

// The bytes of both halves in the order of the pixels.
template <bool Ordered, class V>
MOX_INLINE V packed(V low, V high) {
  if constexpr (Ordered) {
    return packsU16Linear(low, high);
  } else {
    return packsU16(low, high);
  }
}

// Where the results of a row go: put() takes one pixel, emit() a vector of them.
struct LumaRow {
  Mox8u* y;

  void put(ptrdiff_t x, const YccMatrix& matrix, Rgb c) const { y[x] = static_cast<Mox8u>(matrix.y.of(c)); }
  template <YccMatrix Matrix, bool Ordered, class V>
  MOX_INLINE void emit(ptrdiff_t x, const Colours<V> (&half)[2]) const {
    store(y + x, packed<Ordered>(luma<Matrix.y>(half[0]), luma<Matrix.y>(half[1])));
  }
};

struct YccRow {
  LumaRow luma;
  Mox8u *cb, *cr;

  void put(ptrdiff_t x, const YccMatrix& matrix, Rgb c) const {
    luma.put(x, matrix, c);
    cb[x] = static_cast<Mox8u>(matrix.cb.of(c));
    cr[x] = static_cast<Mox8u>(matrix.cr.of(c));
  }
  template <YccMatrix Matrix, bool Ordered, class V>
  MOX_INLINE void emit(ptrdiff_t x, const Colours<V> (&half)[2]) const {
    static_assert(Matrix.cb.blue == 1 << (Matrix.cb.bits - 1) && Matrix.cr.red == 1 << (Matrix.cr.bits - 1));
    constexpr int k = kDifferenceScale;
    luma.emit<Matrix, Ordered>(x, half);
    V blues[2], reds[2];
#pragma GCC unroll 2
    for (int i = 0; i < 2; i++) {
      const V red = half[i].template sum<k, -k, 0>(), blue = half[i].template sum<0, -k, k>();
      blues[i] = chroma<Matrix.cb, Matrix.cb.red>(blue, red);
      reds[i] = chroma<Matrix.cr, Matrix.cr.blue>(red, blue);
    }
    store(cb + x, packed<Ordered>(blues[0], blues[1]));
    store(cr + x, packed<Ordered>(reds[0], reds[1]));
  }
};

template <YccMatrix Group, YccMatrix Tail, class Source, class Target>
void convert(const Source& src, const Target& dst, int width) {
  ptrdiff_t x = cover(
      groupColumns(width), [&]<class V>(ptrdiff_t at) __attribute__((always_inline)) {
        Colours<V> half[2];
        src.fetch(at, half);
        dst.template emit<Group, Source::template kOrdered<V>>(at, half);
      });
  for (; x < groupColumns(width); x++) dst.put(x, Group, src.at(x));
  for (; x < width; x++) dst.put(x, Tail, src.at(x));
}

PlaneRow row(const Mox8u* const planes[]) { return {planes[0], planes[1], planes[2]}; }
YccRow row(Mox8u* const planes[]) { return {{planes[0]}, planes[1], planes[2]}; }

// K of each pixel.
void black(const Mox8u* src, Mox8u* dst, int width) {
  constexpr int kSamples = CmykPixel::kSamples;
  static_assert(CmykPixel::kBlack == 3);
  ptrdiff_t x = cover(
      width, [&]<class V>(ptrdiff_t at) __attribute__((always_inline)) {
        V k[4];
#pragma GCC unroll 4
        for (int i = 0; i < 4; i++) k[i] = shrU32<24>(loadApart<V>(src + kSamples * (at + 4 * i), 16 * kSamples));
        store(dst + at, packsU16(packs32(k[0], k[1]), packs32(k[2], k[3])));
      });
  for (; x < width; x++) dst[x] = src[kSamples * x + CmykPixel::kBlack];
}

void rgbPlanes(const Mox8u* const src[3], Mox8u* const dst[3], int width) {
  convert<kYccPlaneGroup, kYccTail>(row(src), row(dst), width);
}

template <class Pixel>
void pixels(const Mox8u* src, Mox8u* const dst[], int width) {
  convert<kYccGroup, kYccTail>(PixelRow<Pixel>{src}, row(dst), width);
}

template <class Pixel>
void words(const Mox16u* src, Mox8u* const dst[3], int width) {
  convert<kYccWord, kYccWord>(PixelRow<Pixel>{src}, row(dst), width);
}

void cmykPlanes(const Mox8u* const src[4], Mox8u* const dst[4], int width) {
  convert<kYccPlaneGroup, kYccTail>(Complement<PlaneRow>{row(src)}, row(dst), width);
  std::memcpy(dst[3], src[3], static_cast<size_t>(width));
}

void cmyk(const Mox8u* src, Mox8u* const dst[], int width) {
  convert<kYccPlaneGroup, kYccTail>(Complement<PixelRow<CmykPixel>>{{src}}, row(dst), width);
  black(src, dst[3], width);
}

void lumaOfRgbPlanes(const Mox8u* const src[3], Mox8u* dst, int width) {
  convert<kYccPlaneGroup, kYccTail>(row(src), LumaRow{dst}, width);
}

template <class Pixel>
void lumaOf(const Mox8u* src, Mox8u* dst, int width) {
  convert<kYccGroup, kYccTail>(PixelRow<Pixel>{src}, LumaRow{dst}, width);
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
