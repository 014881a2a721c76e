// Blocks of an MCU to pixels, in one pass.
//
// The definition visits each chroma value and the pixels that share it (mcuToPixels). Here a step takes kRows rows of
// eight values of each block, computes what chroma adds to the colours once, repeats it for the pixels that share it,
// adds luminance, and stores pixels; nothing is kept in memory in between. Block values may be of any size, and the
// results are those of sums without a limit: what saturates here on the way to bytes would have been clamped in any
// case. Every MCU is complete: nothing is left to the definition.
#include "kernels/colour/mcu.h"
#include "kernels/colour/mcu_vec.h"

namespace mox::MOX_TARGET {
namespace {

using namespace definition;

#if MOX_VECTOR

using V = VMax;
constexpr int kRows = kMcuRows<V>;

// Three channels of a vector of pixels, centred on 0.
struct Centred {
  V red, green, blue;
};

// Red and blue: the weight of their one chroma value is 1 + m with 0 < m < 1, so that
//   (weight * c + half) >> bits  is  c + ((more * c + half) >> bits),
// where the second term is a rounding product with `more`, m in 15 bits. Both terms have the same sign: a sum of Y and
// one of them saturates only where all three are far outside of the bytes, on the same side.
constexpr int moreThanOne(int weight, int bits) { return (weight - (1 << bits)) << (15 - bits); }

// Green = Y - cr - rest with rest = (kGreenCb * cb + kGreenCr * cr + half) >> bits. The magnitudes of these two weights
// add up to less than 1, so that rest fits 16 bits; where Y - cr saturates, |rest| is too small to bring the sum back
// into 0 to 255.
constexpr int kGreenCb = kRgbMcu.green.cb, kGreenCr = kRgbMcu.green.cr - (1 << kRgbMcu.green.bits);
static_assert(moreThanOne(kRgbMcu.red.cr, kRgbMcu.red.bits) < 1 << 15 &&
              moreThanOne(kRgbMcu.blue.cb, kRgbMcu.blue.bits) < 1 << 15);
static_assert(kGreenCb > 0 && kGreenCr < 0 && kRgbMcu.green.bits == 14 && 2 * (kGreenCb - kGreenCr) < (1 << 15) - 256);
// Offsets are 128 and a half; green's is subtracted.
static_assert(kRgbMcu.red.offset == 257 << 12 && kRgbMcu.blue.offset == 257 << 12);
static_assert(kRgbMcu.green.offset == (1 << 13) - (128 << 14));

template <int Weight>
MOX_INLINE V scaled(V a) {
  return mulRound16(a, fixed32<V, Weight * 65537>());
}

// Chroma of a row, in the lanes of the blocks or repeated for the pixels that share it.
struct VectorColours {
  V cb, cr, moreBlue, moreRed, lessGreen;

  MOX_INLINE VectorColours(V b, V r)
      : cb(b),
        cr(r),
        moreBlue(scaled<moreThanOne(kRgbMcu.blue.cb, kRgbMcu.blue.bits)>(b)),
        moreRed(scaled<moreThanOne(kRgbMcu.red.cr, kRgbMcu.red.bits)>(r)),
        lessGreen(packs32(greenTerm(low16(b, r)), greenTerm(high16(b, r)))) {}

  MOX_INLINE Centred pixels(V y) const {
    return {adds16(adds16(y, moreRed), cr), subs16(subs16(y, cr), lessGreen), adds16(adds16(y, moreBlue), cb)};
  }

  template <class Order>
  MOX_INLINE void reorder(const Order& order) {
    cb = order(cb), cr = order(cr), moreBlue = order(moreBlue), moreRed = order(moreRed), lessGreen = order(lessGreen);
  }

 private:
  MOX_INLINE static V greenTerm(V pairs) {
    const V weights = fixed32<V, kGreenCr * 65536 + kGreenCb>(), half = fixed32<V, 1 << (kRgbMcu.green.bits - 1)>();
    return shr32<kRgbMcu.green.bits>(dotAdd16(half, pairs, weights));
  }
};

struct VectorSamples {
  V cb, cr;

  MOX_INLINE VectorSamples(V b, V r) : cb(b), cr(r) {}
  MOX_INLINE Centred pixels(V y) const { return {y, cb, cr}; }

  template <class Order>
  MOX_INLINE void reorder(const Order& order) {
    cb = order(cb), cr = order(cr);
  }
};

template <class Conversion>
struct Vectored;
template <>
struct Vectored<ColourMcu> {
  using type = VectorColours;
};
template <>
struct Vectored<SampleMcu> {
  using type = VectorSamples;
};

// The left and the right eight pixels' chroma.
template <class Chroma>
MOX_INLINE Chroma left(Chroma c) {
  c.reorder([](V a) __attribute__((always_inline)) { return low16(a, a); });
  return c;
}
template <class Chroma>
MOX_INLINE Chroma right(Chroma c) {
  c.reorder([](V a) __attribute__((always_inline)) { return high16(a, a); });
  return c;
}

// a + 128, or 255 less that, clamped to 0 to 255, in bytes.
template <bool Complement>
MOX_INLINE V bytes(V a, V b) {
  return bitXor(packs16(a, b), fixed32<V, (Complement ? 0x7F7F7F7F : -0x7F7F7F80)>());
}

// Two vectors of pixels, whose luminance (and K, where the pixels have it) lies at the same places of their planes.
template <class Pixel, class Shape>
MOX_INLINE void putPixels(const Centred& a, const Centred& b, const Mox16s* const src[], ptrdiff_t first,
                          ptrdiff_t second, ptrdiff_t apart, typename Pixel::Sample* here,
                          typename Pixel::Sample* there, ptrdiff_t step) {
  constexpr bool kInk = std::is_same_v<Pixel, InkPixel>;
  const V red = bytes<kInk>(a.red, b.red), green = bytes<kInk>(a.green, b.green), blue = bytes<kInk>(a.blue, b.blue);
  if constexpr (kInk) {
    const V black = bytes<false>(loadApart<V>(src[3] + first, apart), loadApart<V>(src[3] + second, apart));
    storeEights(here, there, step, red, green, blue, black);
  } else if constexpr (kHasPermute8<V> && sizeof *here == 1 && Shape::kAcross == 1) {
    // The first two samples of eight pixels side by side, the third ones of both vectors.
    const Samples3<V> x = inSampleOrder<Pixel>(a.red, a.green, a.blue),
                      y = inSampleOrder<Pixel>(b.red, b.green, b.blue);
    const V third = inSampleOrder<Pixel>(red, green, blue).third;
    storeFourRows<0>(here, step, bytes<false>(x.first, x.second), third);
    storeFourRows<1>(there, step, bytes<false>(y.first, y.second), third);
  } else {
    storeEights<Pixel>(here, there, step, red, green, blue);
  }
}

template <class Conversion, class Pixel, class Shape>
void toPixels(const Mox16s* const src[], typename Pixel::Sample* dst, int32_t step) {
  using Chroma = typename Vectored<Conversion>::type;
  constexpr int kEightBytes = 8 * Pixel::kSamples * sizeof *dst, kRowBytes = 16;
  const ptrdiff_t apart = step;
  if constexpr (Shape::kAcross == 1) {
    for (int r = 0; r < 8; r += 2 * kRows) {
      const int first = 8 * r, second = 8 * (r + kRows);
      const Chroma a(load<V>(src[1] + first), load<V>(src[2] + first));
      const Chroma b(load<V>(src[1] + second), load<V>(src[2] + second));
      putPixels<Pixel, Shape>(a.pixels(load<V>(src[0] + first)), b.pixels(load<V>(src[0] + second)), src, first, second,
                              kRowBytes, bytesAfter(dst, r * apart), bytesAfter(dst, (r + kRows) * apart), apart);
    }
  } else {
    for (int r = 0; r < 8; r += kRows) {
      const Chroma chroma(load<V>(src[1] + 8 * r), load<V>(src[2] + 8 * r));
      const Chroma a = left(chroma), b = right(chroma);
#pragma GCC unroll 2
      for (int i = 0; i < Shape::kDown; i++) {  // the rows that share chroma
        constexpr ptrdiff_t kApart = Shape::kDown * kRowBytes;
        const int first = mcuLuma<Shape>(0, Shape::kDown * r + i), second = first + 64;
        typename Pixel::Sample* const row = bytesAfter(dst, (Shape::kDown * r + i) * apart);
        putPixels<Pixel, Shape>(a.pixels(loadApart<V>(src[0] + first, kApart)),
                                b.pixels(loadApart<V>(src[0] + second, kApart)), src, first, second, kApart, row,
                                bytesAfter(row, kEightBytes), Shape::kDown * apart);
      }
    }
  }
}

void join422(const Mox16s* const src[], Mox8u* dst, int32_t step) {
  for (int r = 0; r < 8; r += kRows) {
    const V y = bytes<false>(load<V>(src[0] + 8 * r), load<V>(src[0] + 64 + 8 * r));
    const V cb = load<V>(src[1] + 8 * r), cr = load<V>(src[2] + 8 * r);
    const V chroma = bytes<false>(low16(cb, cr), high16(cb, cr));
    Mox8u* const row = bytesAfter(dst, r * ptrdiff_t{step});
    storeApart(row, step, low8(y, chroma));
    storeApart(row + 16, step, high8(y, chroma));
  }
}

#else

template <class Conversion, class Pixel, class Shape>
constexpr auto toPixels = mcuToPixels<Conversion, Pixel, Shape>;
constexpr auto join422 = mcuToPixels<SampleMcu, PairPixel, Mcu422>;

#endif

template <class Conversion, class Pixel>
constexpr BySampling samplings{toPixels<Conversion, Pixel, Mcu444>, toPixels<Conversion, Pixel, Mcu422>,
                               toPixels<Conversion, Pixel, Mcu411>};

}  // namespace

const McuDecodeKernels mcuDecodeKernels = {
    .rgb = samplings<ColourMcu, RgbPixel>,
    .bgr = samplings<ColourMcu, BgrPixel>,
    .bgr555 = samplings<ColourMcu, ShiftedPixel<Bgr555Pixel>>,
    .bgr565 = samplings<ColourMcu, ShiftedPixel<Bgr565Pixel>>,
    .cmyk = samplings<ColourMcu, InkPixel>,
    .sampleUp = samplings<SampleMcu, RgbPixel>,
    .join422 = join422,
};

}  // namespace mox::MOX_TARGET
