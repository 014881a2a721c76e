// YCbCr to RGB, a row at a time.
//
// The plain loop adds to Y, for each colour, a term of chroma in 32 bits, and clamps: YccRow::at(), then a put(). The
// vectors take V::kBytes pixels a step and compute in 16 bits, Y times 64. The terms of red and blue are upper halves
// of one product each, with the rounding hidden in the lower byte of a factor; that of green, which has two weights, is
// summed by bytes of the weights. All are proved by the compiler against the definition, for every chroma value (red,
// blue) or by bounds (green). Packing to bytes clamps; emit() brings the bytes into the layout of the pixels
// (pixel_store.h). Rows of less than a vector, and the tail of up to three pixels, which has other weights, are left to
// the definition.
#include "kernels/colour/rgb.h"

#include <cstring>

#include "kernels/colour/pixel_store.h"
#include "kernels/vec/sweep.h"

namespace mox::MOX_TARGET {
namespace {

using namespace definition;

// Red and blue: what chroma less 128 adds, times 64, is the upper half of one 16-bit product. The chroma is the upper
// byte of one factor; a constant in its lower byte does the rounding.
struct OneChroma {
  int factor, rounding;

  constexpr bool equals(const ChromaTerm& term, bool ofRed) const {
    for (int chroma = 0; chroma < 256; chroma++) {
      const int product = ((256 * (chroma - 128) + rounding) * factor) >> 16;
      if (product >> 6 != (ofRed ? term.of(0, chroma) : term.of(chroma, 0))) return false;
    }
    return true;
  }
};

constexpr OneChroma kRed{22970, 90}, kBlue{29033, 67};
static_assert(kRed.equals(kRgbGroup.red, true) && kBlue.equals(kRgbGroup.blue, false));

// One half of a vector's pixels, in 16 bits.
template <class V>
struct YccHalf {
  V y;           // times 64
  V cbUp, crUp;  // less 128 in the upper byte, the rounding in the lower
  V cbAndCr;     // with dot8: both as pairs of bytes, less 128

  // Sum of both, less 128 each, times weights up to 255.
  template <int Cb, int Cr>
  MOX_INLINE V sum() const {
    if constexpr (kHasDot8) {
      return dot8(setPair8<V>(Cb, Cr), cbAndCr);
    } else {
      return add16(mulLow16(shr16<8>(cbUp), set16<V>(Cb)), mulLow16(shr16<8>(crUp), set16<V>(Cr)));
    }
  }

  MOX_INLINE V red() const { return shr16<6>(add16(y, mulHigh16(crUp, set16<V>(kRed.factor)))); }
  MOX_INLINE V blue() const { return shr16<6>(add16(y, mulHigh16(cbUp, set16<V>(kBlue.factor)))); }

  // Y - ((cb * Cb + cr * Cr + more) >> 14) is (64 Y - high + ((2^14 - 1 - more - low) >> 8)) >> 6, where high and low
  // are the sums with the upper and with the lower bytes of the weights.
  MOX_INLINE V green() const {
    constexpr ChromaTerm term = kRgbGroup.green;
    static_assert(term.negative && term.bits == 14 && 128 * ((term.cb & 255) + (term.cr & 255)) < 1 << 15);
    constexpr int more = term.offset + 128 * (term.cb + term.cr);
    static_assert((1 << 14) - 1 - more + 128 * ((term.cb & 255) + (term.cr & 255)) < 1 << 15);
    const V low = sub16(set16<V>((1 << 14) - 1 - more), sum<(term.cb & 255), (term.cr & 255)>());
    return shr16<6>(add16(sub16(y, sum<(term.cb >> 8), (term.cr >> 8)>()), shr16<8>(low)));
  }
};

template <class V>
MOX_INLINE void halves(V y, V cb, V cr, YccHalf<V> (&half)[2]) {
  const V centre = set8<V>(0x80), cbRounding = set8<V>(kBlue.rounding), crRounding = set8<V>(kRed.rounding);
  cb = bitXor(cb, centre), cr = bitXor(cr, centre);
  half[0].y = shl16<6>(low8(y, zero<V>())), half[1].y = shl16<6>(high8(y, zero<V>()));
  half[0].cbUp = low8(cbRounding, cb), half[1].cbUp = high8(cbRounding, cb);
  half[0].crUp = low8(crRounding, cr), half[1].crUp = high8(crRounding, cr);
  if constexpr (kHasDot8) half[0].cbAndCr = low8(cb, cr), half[1].cbAndCr = high8(cb, cr);
}

struct YccRow {
  const Mox8u *y, *cb, *cr;

  Ycc at(ptrdiff_t x) const { return {y[x], cb[x], cr[x]}; }
  MOX_INLINE void prefetch(ptrdiff_t x) const {
    prefetchAhead<1, 512>(y + x), prefetchAhead<1, 512>(cb + x), prefetchAhead<1, 512>(cr + x);
  }
};

// Where the colours of a row go, by the layout of their samples: put() takes one pixel, emit() a vector of each colour.
template <class Pixel>
struct PixelRow {
  typename Pixel::Sample* pixels;

  void put(ptrdiff_t x, Rgb c) const { Pixel::write(pixels + Pixel::kSamples * x, c); }
  template <class V>
  MOX_INLINE void emit(ptrdiff_t x, V red, V green, V blue) const {
    storePixels<Pixel>(pixels + Pixel::kSamples * x, red, green, blue);
  }
};

struct CmykRow {
  const Mox8u* black;
  Mox8u* pixels;

  void put(ptrdiff_t x, Rgb c) const {
    CmykPixel::write(pixels + CmykPixel::kSamples * x, c);
    pixels[CmykPixel::kSamples * x + CmykPixel::kBlack] = black[x];
  }
  template <class V>
  MOX_INLINE void emit(ptrdiff_t x, V cyan, V magenta, V yellow) const {
    storePixels<CmykPixel>(pixels + CmykPixel::kSamples * x, cyan, magenta, yellow, load<V>(black + x));
  }
};

struct PlaneRow {
  Mox8u *red, *green, *blue;

  void put(ptrdiff_t x, Rgb c) const {
    red[x] = static_cast<Mox8u>(c.red);
    green[x] = static_cast<Mox8u>(c.green);
    blue[x] = static_cast<Mox8u>(c.blue);
  }
  template <class V>
  MOX_INLINE void emit(ptrdiff_t x, V r, V g, V b) const {
    store(red + x, r), store(green + x, g), store(blue + x, b);
  }
};

template <class Row>
struct Complement : Row {
  void put(ptrdiff_t x, Rgb c) const { Row::put(x, complement(c)); }
  template <class V>
  MOX_INLINE void emit(ptrdiff_t x, V red, V green, V blue) const {
    const V all = set8<V>(0xFF);
    Row::emit(x, bitXor(red, all), bitXor(green, all), bitXor(blue, all));
  }
};

template <class Target>
void convert(const YccRow& src, const Target& dst, int width) {
  ptrdiff_t x = cover(
      groupColumns(width), [&]<class V>(ptrdiff_t at) __attribute__((always_inline)) {
        src.prefetch(at);
        YccHalf<V> half[2];
        halves(load<V>(src.y + at), load<V>(src.cb + at), load<V>(src.cr + at), half);
        dst.emit(at, packsU16(half[0].red(), half[1].red()), packsU16(half[0].green(), half[1].green()),
                 packsU16(half[0].blue(), half[1].blue()));
      });
  for (; x < groupColumns(width); x++) dst.put(x, kRgbGroup.of(src.at(x)));
  for (; x < width; x++) dst.put(x, kRgbTail.of(src.at(x)));
}

YccRow row(const Mox8u* const planes[]) { return {planes[0], planes[1], planes[2]}; }
PlaneRow row(Mox8u* const planes[]) { return {planes[0], planes[1], planes[2]}; }

void rgbPlanes(const Mox8u* const src[3], Mox8u* const dst[3], int width) { convert(row(src), row(dst), width); }

template <class Pixel>
void pixels(const Mox8u* const src[], typename Pixel::Sample* dst, int width) {
  convert(row(src), PixelRow<Pixel>{dst}, width);
}

void cmykPlanes(const Mox8u* const src[4], Mox8u* const dst[4], int width) {
  convert(row(src), Complement<PlaneRow>{row(dst)}, width);
  std::memcpy(dst[3], src[3], static_cast<size_t>(width));
}

void cmyk(const Mox8u* const src[], Mox8u* dst, int width) {
  convert(row(src), Complement<CmykRow>{{src[3], dst}}, width);
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
