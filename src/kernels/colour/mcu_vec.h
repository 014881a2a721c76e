// Vectors of an MCU. Each 128-bit block of a vector is a row of eight pixels in 16 bits; the rows lie `step` bytes
// apart. Vectors come in pairs: the left and the right eight columns of the same rows, or other rows of the same
// columns. Packed to bytes, a pair is one vector; each of its blocks holds eight bytes of the first, then eight of the
// second.
#pragma once

#include "kernels/bytes.h"
#include "kernels/colour/mcu.h"
#include "kernels/colour/pixel_load.h"
#include "kernels/colour/pixel_store.h"

namespace mox::MOX_TARGET {

// Rows in a vector.
template <class V>
inline constexpr int kMcuRows = V::kBytes / 16;

// ---- Pixels in -----------------------------------------------------------------------------------------------------

// Two times eight pixels of kMcuRows<V> rows each.
template <class Pixel, class V>
MOX_INLINE void loadEights(const Mox8u* first, const Mox8u* second, [[maybe_unused]] ptrdiff_t step,
                           Colours<V> (&eight)[2]) {
  if constexpr (kHasDot8) {
    constexpr int kFour = 4 * Pixel::kSamples;
    static constexpr PairOrder<Pixel> kFirst(0), kLast(16 - kFour);
    const Mox8u* const pixels[] = {first, second};
#pragma GCC unroll 2
    for (int i = 0; i < 2; i++) {
      const V a = shuffle8(loadApart<V>(pixels[i], step), loadSame<V>(kFirst.bytes));
      const V b = shuffle8(loadApart<V>(pixels[i] + 2 * kFour - 16, step), loadSame<V>(kLast.bytes));
      eight[i] = {low64(a, b), high64(a, b)};
    }
  } else {
    V bytes[Pixel::kSamples];
    bytes[0] = load<V>(first);
    if constexpr (Pixel::kSamples == 3) {
      bytes[1] = low64(loadLow8<V>(first + 16), loadLow8<V>(second)), bytes[2] = load<V>(second + 8);
    } else {
      bytes[1] = load<V>(first + 16), bytes[2] = load<V>(second), bytes[3] = load<V>(second + 16);
    }
    separate(bytes);
    Colours<V>::halves(bytes[Pixel::kRed], bytes[Pixel::kGreen], bytes[Pixel::kBlue], eight);
  }
}

// The field of each word as the upper bits of a byte, the others 0.
template <class V, Field F>
MOX_INLINE V raised(V words) {
  constexpr int kDown = F.shift + F.bits - 8;
  V byte = words;
  if constexpr (kDown > 0) byte = shrU16<kDown>(words);
  if constexpr (kDown < 0) byte = shl16<-kDown>(words);
  return bitAnd(byte, set16<V>(F.mask() << (8 - F.bits)));
}

template <class Pixel, class V>
MOX_INLINE Colours<V> loadEight(const Mox16u* p, ptrdiff_t step) {
  const V words = loadApart<V>(p, step);
  return Colours<V>::ofWords(raised<V, Pixel::kRed>(words), raised<V, Pixel::kGreen>(words),
                             raised<V, Pixel::kBlue>(words));
}

template <class Pixel, class V>
MOX_INLINE void loadEights(const Mox16u* first, const Mox16u* second, ptrdiff_t step, Colours<V> (&eight)[2]) {
  eight[0] = loadEight<Pixel, V>(first, step);
  eight[1] = loadEight<Pixel, V>(second, step);
}

// K of pixels of four bytes.
template <class V>
MOX_INLINE V loadBlack(const Mox8u* p, ptrdiff_t step) {
  static_assert(CmykPixel::kBlack == 3);
  return packs32(shrU32<24>(loadApart<V>(p, step)), shrU32<24>(loadApart<V>(p + 16, step)));
}

// ---- Pixels out ----------------------------------------------------------------------------------------------------

// Sixteen pixels of row `Row`: one 128-bit block of each of three vectors.
template <int Row>
struct SixteenIndex {
  uint8_t bytes[64];

  constexpr SixteenIndex() : bytes() {
    for (int i = 0; i < 48; i++) bytes[i] = static_cast<uint8_t>(16 * Row + i / 3);
  }
};

template <int Row, class V>
MOX_INLINE void storeSixteen(Mox8u* p, const Samples3<V>& s) {
  static constexpr SixteenIndex<Row> kIndex;
  constexpr uint64_t kEveryThird = 0x249249249249, kAll = 0xFFFFFFFFFFFF;  // of 48 bytes
  const V index = load<V>(kIndex.bytes);
  const V firstTwo = permute8Where<kEveryThird << 1>(permute8Linear(s.first, index), s.second, index);
  storeWhere<kAll>(p, permute8Where<kEveryThird << 2>(firstTwo, s.third, index));
}

// Rows `Row` and the next of eight pixels each, 24 bytes at the start of each 256 bits. A block of one vector has the
// first and the second samples of a row, one of another the third samples as its half `Half`.
template <int Row, int Half>
struct EightsIndex {
  uint8_t bytes[64];

  constexpr EightsIndex() : bytes() {
    for (int i = 0; i < 24; i++)
      for (int row = 0; row < 2; row++)
        bytes[32 * row + i] = static_cast<uint8_t>(16 * (Row + row) + 8 * (i % 3 == 2 ? Half : i % 3) + i / 3);
  }
};

template <int Row, int Half, class V>
MOX_INLINE void storeTwoRows(Mox8u* p, ptrdiff_t step, V firstTwo, V third) {
  static constexpr EightsIndex<Row, Half> kIndex;
  constexpr uint64_t kThird = 0x0092492400924924, kAll = 0xFFFFFF;  // of 24 bytes
  const V index = load<V>(kIndex.bytes);
  const V both = permute8Where<kThird>(permute8Linear(firstTwo, index), third, index);
  storeWhere<kAll>(p, lowHalf(both));
  storeWhere<kAll>(p + step, highHalf(both));
}

// Four rows of eight pixels. The following MCUs lie to the right of these: prefetching them made this a tenth faster in
// the second-level cache.
template <int Half, class V>
MOX_INLINE void storeFourRows(Mox8u* p, ptrdiff_t step, V firstTwo, V third) {
  constexpr int kAhead = 192;
#pragma GCC unroll 4
  for (int row = 0; row < 4; row++) prefetchAhead<1, kAhead>(p + row * step);
  storeTwoRows<0, Half>(p, step, firstTwo, third);
  storeTwoRows<2, Half>(p + 2 * step, step, firstTwo, third);
}

// Two times eight pixels of kMcuRows<V> rows each.
template <class Pixel, class V>
MOX_INLINE void storeEights(Mox8u* first, [[maybe_unused]] Mox8u* second, [[maybe_unused]] ptrdiff_t step, V red,
                            V green, V blue) {
  const Samples3<V> s = inSampleOrder<Pixel>(red, green, blue);
  if constexpr (kHasInterleaved) {
    storeHalvesInterleaved(first, second, s.first, s.second, s.third);
  } else if constexpr (kHasPermute8<V>) {
    // `first` and `second` are the left and the right half of the same rows: elsewhere putPixels does not call this.
    storeSixteen<0>(first, s);
    storeSixteen<1>(first + step, s);
    storeSixteen<2>(first + 2 * step, s);
    storeSixteen<3>(first + 3 * step, s);
  } else {
    V merged[3];
    merge(s.first, s.second, s.third, merged);
    storeApart(first, step, merged[0]);
    storeHalvesApart(first + 16, second, step, merged[1]);
    storeApart(second + 8, step, merged[2]);
  }
}

template <class V>
MOX_INLINE void storeEights(Mox8u* first, Mox8u* second, ptrdiff_t step, V a, V b, V c, V d) {
  const V ab[] = {low8(a, b), high8(a, b)}, cd[] = {low8(c, d), high8(c, d)};
  Mox8u* const pixels[] = {first, second};
#pragma GCC unroll 2
  for (int i = 0; i < 2; i++) {
    storeApart(pixels[i], step, low16(ab[i], cd[i]));
    storeApart(pixels[i] + 16, step, high16(ab[i], cd[i]));
  }
}

template <class Pixel, class V>
MOX_INLINE void storeEights(Mox16u* first, Mox16u* second, ptrdiff_t step, V red, V green, V blue) {
  const V r = cutOff<V, Pixel::kRed>(red), g = cutOff<V, Pixel::kGreen>(green), b = cutOff<V, Pixel::kBlue>(blue);
  const V none = zero<V>();
  storeApart(first, step, merged<Pixel>(low8(none, r), low8(none, g), low8(none, b)));
  storeApart(second, step, merged<Pixel>(high8(none, r), high8(none, g), high8(none, b)));
}

}  // namespace mox::MOX_TARGET
