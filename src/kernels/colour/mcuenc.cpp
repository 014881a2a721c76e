// Pixels of an MCU to blocks, in one pass.
//
// The definition visits each chroma value and the pixels that share it (mcuToBlocks). Here a step takes vectors whose
// 128-bit blocks are rows of eight pixels (which rows: kVectors, below): their results are rows of the blocks that are
// stored as they are, and nothing is kept in memory in between. Pixels that share chroma are added before chroma is
// computed, which rounds once, as the definition does. Every MCU is complete: nothing is left to the definition.
#include "kernels/colour/mcu.h"
#include "kernels/colour/mcu_vec.h"
#include "kernels/colour/ycc_vec.h"

namespace mox::MOX_TARGET {
namespace {

using namespace definition;

#if MOX_VECTOR

using V = VMax;
constexpr int kRows = kMcuRows<V>;

// What a conversion takes from colours: Y, and two channels whose sums over the pixels that share chroma give it.

struct VectorColours {
  // The factor of the differences of blue and of red from green: the largest whose sums fit 16 bits.
  template <int Shared>
  static constexpr int kScale = Shared == 4 ? 16 : 32;

  MOX_INLINE static V y(const Colours<V>& c) { return sub16(luma<kYccWord.y>(c), set16<V>(128)); }
  template <int Shared>
  MOX_INLINE static V first(const Colours<V>& c) {
    return c.template sum<0, -kScale<Shared>, kScale<Shared>>();
  }
  template <int Shared>
  MOX_INLINE static V second(const Colours<V>& c) {
    return c.template sum<kScale<Shared>, -kScale<Shared>, 0>();
  }
  template <int Shared>
  MOX_INLINE static V cb(V blue, V red) {
    return centredChroma<kYccWord.cb, kYccWord.cb.red, Shared, kScale<Shared>>(blue, red);
  }
  template <int Shared>
  MOX_INLINE static V cr(V blue, V red) {
    return centredChroma<kYccWord.cr, kYccWord.cr.blue, Shared, kScale<Shared>>(red, blue);
  }
};

struct VectorSamples {
  MOX_INLINE static V y(const Colours<V>& c) { return sub16(c.reds(), set16<V>(128)); }
  template <int Shared>
  MOX_INLINE static V first(const Colours<V>& c) {
    return c.greens();
  }
  template <int Shared>
  MOX_INLINE static V second(const Colours<V>& c) {
    return c.blues();
  }
  template <int Shared>
  MOX_INLINE static V cb(V cb, V) {
    return mean<Shared>(cb);
  }
  template <int Shared>
  MOX_INLINE static V cr(V, V cr) {
    return mean<Shared>(cr);
  }

 private:
  template <int Shared>
  MOX_INLINE static V mean(V sum) {
    constexpr int kBits = Shared == 4 ? 2 : 1;
    return sub16(Shared == 1 ? sum : shrU16<kBits>(sum), set16<V>(128));
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

// The sums of neighbouring lanes, those of each row side by side.
MOX_INLINE V pairSums(V left, V right) {
  const V ones = set16<V>(1);
  return packs32(dot16(left, ones), dot16(right, ones));
}

// The vectors of step r, of kRows rows of eight pixels each:
//   444   rows from r on; rows from r + kRows on
//   422   rows from r on, left; the same, right
//   411   even rows of those from 2 r on, left; the same, right; odd rows, left; the same, right
template <class Shape>
constexpr int kVectors = 2 * Shape::kDown;
template <class Shape>
constexpr int kStepRows = Shape::kAcross == 1 ? 2 * kRows : kRows;

// Stores one plane's values of those vectors.
template <class Shape>
MOX_INLINE void storeLuma(Mox16s* plane, int r, const V (&v)[kVectors<Shape>]) {
  if constexpr (Shape::kAcross == 1) {
    store(plane + 8 * r, v[0]);
    store(plane + 8 * (r + kRows), v[1]);
  } else if constexpr (Shape::kDown == 1) {
    store(plane + 8 * r, v[0]);
    store(plane + 64 + 8 * r, v[1]);
  } else {
    Mox16s* const left = plane + mcuLuma<Shape>(0, 2 * r);
    storeBlocks(left, v[0], v[2]);
    storeBlocks(left + 64, v[1], v[3]);
  }
}

template <class Conversion, class Pixel, class Shape>
MOX_INLINE void convertRows(const typename Pixel::Sample* src, ptrdiff_t step, Mox16s* const dst[], int r) {
  constexpr int kEightBytes = 8 * Pixel::kSamples * sizeof *src, kShared = Shape::kShared, kCount = kVectors<Shape>;
  const ptrdiff_t apart = Shape::kDown * step;
  V y[kCount], black[kCount], first[kCount], second[kCount];
#pragma GCC unroll 2
  for (int i = 0; i < kCount; i += 2) {
    const auto* const here = bytesAfter(src, (Shape::kDown * r + i / 2) * step);
    const auto* const there = Shape::kAcross == 2 ? bytesAfter(here, kEightBytes) : bytesAfter(src, (r + kRows) * step);
    Colours<V> c[2];
    loadEights<Pixel>(here, there, apart, c);
    if constexpr (std::is_same_v<Pixel, InkPixel>) {
      c[0] = c[0].complement(), c[1] = c[1].complement();
      black[i] = sub16(loadBlack<V>(here, apart), set16<V>(128));
      black[i + 1] = sub16(loadBlack<V>(there, apart), set16<V>(128));
    }
#pragma GCC unroll 2
    for (int k = 0; k < 2; k++) {
      y[i + k] = Conversion::y(c[k]);
      first[i + k] = Conversion::template first<kShared>(c[k]);
      second[i + k] = Conversion::template second<kShared>(c[k]);
    }
  }
  storeLuma<Shape>(dst[0], r, y);
  if constexpr (std::is_same_v<Pixel, InkPixel>) storeLuma<Shape>(dst[3], r, black);
  if constexpr (Shape::kDown == 2) {
    first[0] = add16(first[0], first[2]), first[1] = add16(first[1], first[3]);
    second[0] = add16(second[0], second[2]), second[1] = add16(second[1], second[3]);
  }
  if constexpr (Shape::kAcross == 2) {
    first[0] = pairSums(first[0], first[1]);
    second[0] = pairSums(second[0], second[1]);
  }
#pragma GCC unroll 2
  for (int i = 0; i < 2 / Shape::kAcross; i++) {
    store(dst[1] + 8 * (r + i * kRows), Conversion::template cb<kShared>(first[i], second[i]));
    store(dst[2] + 8 * (r + i * kRows), Conversion::template cr<kShared>(first[i], second[i]));
  }
}

template <class Conversion, class Pixel, class Shape>
void toBlocks(const typename Pixel::Sample* src, int32_t step, Mox16s* const dst[]) {
  for (int r = 0; r < 8; r += kStepRows<Shape>)
    convertRows<typename Vectored<Conversion>::type, Pixel, Shape>(src, step, dst, r);
}

// Pairs of pixels Y0 Cb Y1 Cr: luminance in the lower bytes of words, Cb and Cr alternating in the upper ones.
void split422(const Mox8u* src, int32_t step, Mox16s* const dst[]) {
  const V centre = set16<V>(128), lower = set16<V>(0xFF), even = set32<V>(1), odd = set32<V>(1 << 16);
  for (int r = 0; r < 8; r += kRows) {
    const Mox8u* const row = bytesAfter(src, r * ptrdiff_t{step});
    const V left = loadApart<V>(row, step), right = loadApart<V>(row + 16, step);
    storeLuma<Mcu422>(dst[0], r, {sub16(bitAnd(left, lower), centre), sub16(bitAnd(right, lower), centre)});
    const V chroma[] = {shrU16<8>(left), shrU16<8>(right)};
    store(dst[1] + 8 * r, sub16(packs32(dot16(chroma[0], even), dot16(chroma[1], even)), centre));
    store(dst[2] + 8 * r, sub16(packs32(dot16(chroma[0], odd), dot16(chroma[1], odd)), centre));
  }
}

#else

template <class Conversion, class Pixel, class Shape>
constexpr auto toBlocks = mcuToBlocks<Conversion, Pixel, Shape>;
constexpr auto split422 = mcuToBlocks<SampleMcu, PairPixel, Mcu422>;

#endif

template <class Conversion, class Pixel>
constexpr BySampling samplings{toBlocks<Conversion, Pixel, Mcu444>, toBlocks<Conversion, Pixel, Mcu422>,
                               toBlocks<Conversion, Pixel, Mcu411>};

}  // namespace

const McuEncodeKernels mcuEncodeKernels = {
    .rgb = samplings<ColourMcu, RgbPixel>,
    .bgr = samplings<ColourMcu, BgrPixel>,
    .bgr555 = samplings<ColourMcu, ShiftedPixel<Bgr555Pixel>>,
    .bgr565 = samplings<ColourMcu, ShiftedPixel<Bgr565Pixel>>,
    .cmyk = samplings<ColourMcu, InkPixel>,
    .sampleDown = samplings<SampleMcu, RgbPixel>,
    .split422 = split422,
};

}  // namespace mox::MOX_TARGET
