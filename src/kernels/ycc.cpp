#include "kernels/ycc.h"

#include <cstring>

#include "kernels/colours.h"

namespace mox::MOX_TARGET {
namespace {

using namespace definition;

// Rows of colours, by the layout of their samples: at() is one pixel, load() both halves of a vector of them.
template <class Pixel>
struct PixelRow {
  const typename Pixel::Sample* pixels;

  Rgb at(int x) const { return Pixel::read(pixels + Pixel::kSamples * x); }
#if MOX_VECTOR
  template <class V>
  static constexpr bool kOrdered = sizeof(typename Pixel::Sample) == 1 && kOrderedHalves<Pixel, V>;

  template <class V>
  MOX_INLINE void load(ptrdiff_t x, Colours<V> (&half)[2]) const {
    if constexpr (sizeof *pixels == 1) {
      loadPixels<Pixel>(pixels + Pixel::kSamples * x, half);
    } else {
      loadWords<Pixel>(pixels + x, half);
    }
  }
#endif
};

struct PlaneRow {
  const Mox8u *red, *green, *blue;

  Rgb at(int x) const { return {red[x], green[x], blue[x]}; }
#if MOX_VECTOR
  template <class V>
  static constexpr bool kOrdered = false;

  template <class V>
  MOX_INLINE void load(ptrdiff_t x, Colours<V> (&half)[2]) const {
    halves(MOX_TARGET::load<V>(red + x), MOX_TARGET::load<V>(green + x), MOX_TARGET::load<V>(blue + x), half);
  }
#endif
};

template <class Row>
struct Complement : Row {
  Rgb at(int x) const { return complement(Row::at(x)); }
#if MOX_VECTOR
  template <class V>
  MOX_INLINE void load(ptrdiff_t x, Colours<V> (&half)[2]) const {
    Row::load(x, half);
#pragma GCC unroll 2
    for (Colours<V>& colours : half) colours = colours.complement();
  }
#endif
};

#if MOX_VECTOR
// Y in 16 bits. Its weights, scaled to 16 fraction bits, are split into bytes: 256 * high + low, low signed. So
//   (red * R + ... + rounding) >> 16  is  (high.red * R + ... + ((low.red * R + ... + rounding) >> 8)) >> 8,
// where both inner sums are never negative and below 2^16.
struct ByteWeights {
  int red, green, blue;

  constexpr int least() const {
    return 255 * ((red < 0 ? red : 0) + (green < 0 ? green : 0) + (blue < 0 ? blue : 0));
  }
  constexpr int most() const { return 255 * (red + green + blue) - least(); }
};

constexpr int lowByte(int weight) {
  return static_cast<int8_t>(weight & 255);
}
constexpr int highByte(int weight) {
  return (weight - lowByte(weight)) >> 8;
}

template <WeightedSum Y, class V>
MOX_INLINE V luma(const Colours<V>& c) {
  constexpr int scale = 1 << (16 - Y.bits), rounding = scale * Y.rounding;
  constexpr int red = scale * Y.red, green = scale * Y.green, blue = scale * Y.blue;
  constexpr ByteWeights high{highByte(red), highByte(green), highByte(blue)};
  constexpr ByteWeights low{lowByte(red), lowByte(green), lowByte(blue)};
  static_assert(low.least() + rounding >= 0 && low.most() + rounding < 1 << 16);
  static_assert(high.least() >= 0 && high.most() + ((low.most() + rounding) >> 8) < 1 << 16);
  const V lows = add16(c.template sum<low.red, low.green, low.blue>(), set16<V>(rounding));
  return shrU16<8>(add16(c.template sum<high.red, high.green, high.blue>(), shrU16<8>(lows)));
}

// Cb and Cr in 16 bits. Their weights add up to 0 and one of them is a half, so that in the differences u and v of
// the other two colours from green, u that of the half (v of the small weight),
//   (half * u + weight * v + rounding) >> bits  is  128 + ((u + 1 + ((weight * v + more) >> (bits - 1))) >> 1),
// with `more` what the rounding exceeds 128.5 by. The shifted product is the upper half of one of 16 bits. Both
// differences come 32-fold, which leaves room for the one step of the weight that `more` takes.
constexpr int kDifferenceScale = 32;

constexpr int moreThanHalf(WeightedSum sum) {
  return sum.rounding - (257 << (sum.bits - 1));
}
constexpr int chromaFactor(int weight, int bits) {
  return weight * (1 << (17 - bits));
}

constexpr bool chromaIsExact(WeightedSum sum, int weight) {
  const int more = moreThanHalf(sum), nudge = more != 0 ? -1 : 0;
  for (int v = -255; v <= 255; v++) {
    const int product = ((kDifferenceScale * v + nudge) * chromaFactor(weight, sum.bits)) >> 16;
    if (product >> 5 != (weight * v + more) >> (sum.bits - 1)) return false;
  }
  return true;
}

template <WeightedSum Sum, int Weight, class V>
MOX_INLINE V chroma(V u, V v) {
  static_assert(Sum.red + Sum.green + Sum.blue == 0 && chromaIsExact(Sum, Weight));
  if constexpr (moreThanHalf(Sum) != 0) v = sub16(v, set16<V>(1));
  const V product = mulHigh16(v, set16<V>(chromaFactor(Weight, Sum.bits)));
  return shr16<6>(add16(add16(u, set16<V>(257 * kDifferenceScale)), product));
}
#endif

#if MOX_VECTOR
// The bytes of both halves in the order of the pixels.
template <bool Ordered, class V>
MOX_INLINE V packed(V low, V high) {
  if constexpr (Ordered) {
    return packsU16Linear(low, high);
  } else {
    return packsU16(low, high);
  }
}
#endif

// Where the results of a row go.
struct LumaRow {
  Mox8u* y;

  void put(int x, const YccMatrix& matrix, Rgb c) const { y[x] = static_cast<Mox8u>(matrix.y.of(c)); }
#if MOX_VECTOR
  template <YccMatrix Matrix, bool Ordered, class V>
  MOX_INLINE void store(ptrdiff_t x, const Colours<V> (&half)[2]) const {
    MOX_TARGET::store(y + x, packed<Ordered>(luma<Matrix.y>(half[0]), luma<Matrix.y>(half[1])));
  }
#endif
};

struct YccRow {
  LumaRow luma;
  Mox8u *cb, *cr;

  void put(int x, const YccMatrix& matrix, Rgb c) const {
    luma.put(x, matrix, c);
    cb[x] = static_cast<Mox8u>(matrix.cb.of(c));
    cr[x] = static_cast<Mox8u>(matrix.cr.of(c));
  }
#if MOX_VECTOR
  template <YccMatrix Matrix, bool Ordered, class V>
  MOX_INLINE void store(ptrdiff_t x, const Colours<V> (&half)[2]) const {
    static_assert(Matrix.cb.blue == 1 << (Matrix.cb.bits - 1) && Matrix.cr.red == 1 << (Matrix.cr.bits - 1));
    constexpr int k = kDifferenceScale;
    luma.store<Matrix, Ordered>(x, half);
    V blues[2], reds[2];
#pragma GCC unroll 2
    for (int i = 0; i < 2; i++) {
      const V red = half[i].template sum<k, -k, 0>(), blue = half[i].template sum<0, -k, k>();
      blues[i] = chroma<Matrix.cb, Matrix.cb.red>(blue, red);
      reds[i] = chroma<Matrix.cr, Matrix.cr.blue>(red, blue);
    }
    MOX_TARGET::store(cb + x, packed<Ordered>(blues[0], blues[1]));
    MOX_TARGET::store(cr + x, packed<Ordered>(reds[0], reds[1]));
  }
#endif
};

template <YccMatrix Group, YccMatrix Tail, class Source, class Target>
void convert(const Source& src, const Target& dst, int width) {
  int x = 0;
#if MOX_VECTOR
  x = cover(
      groupColumns(width), [&]<class V>(ptrdiff_t at) __attribute__((always_inline)) {
        Colours<V> half[2];
        src.load(at, half);
        dst.template store<Group, Source::template kOrdered<V>>(at, half);
      });
#endif
  for (; x < groupColumns(width); x++) dst.put(x, Group, src.at(x));
  for (; x < width; x++) dst.put(x, Tail, src.at(x));
}

PlaneRow row(const Mox8u* const planes[]) {
  return {planes[0], planes[1], planes[2]};
}
YccRow row(Mox8u* const planes[]) {
  return {{planes[0]}, planes[1], planes[2]};
}

// K of each pixel.
void black(const Mox8u* src, Mox8u* dst, int width) {
  constexpr int kSamples = CmykPixel::kSamples;
  static_assert(CmykPixel::kBlack == 3);
  int x = 0;
#if MOX_VECTOR
  x = cover(
      width, [&]<class V>(ptrdiff_t at) __attribute__((always_inline)) {
        V k[4];
#pragma GCC unroll 4
        for (int i = 0; i < 4; i++) k[i] = shrU32<24>(loadApart<V>(src + kSamples * (at + 4 * i), 16 * kSamples));
        store(dst + at, packsU16(packs32(k[0], k[1]), packs32(k[2], k[3])));
      });
#endif
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
