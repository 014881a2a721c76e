// Vectors of an MCU. Blocks have rows of eight, and so have these: a 128-bit block of a vector holds eight pixels in
// 16 bits, and the blocks are rows, `step` bytes apart. Two such vectors go together: the left and the right eight
// columns of the same rows, or other rows of the same columns; what they become in bytes is one vector, in each block
// of which the eight bytes of the first come ahead of those of the second.
#pragma once

#include "kernels/colour/mcu.h"
#include "kernels/colour/pixel_vec.h"

#if MOX_VECTOR
namespace mox::MOX_TARGET {

// Rows of a vector.
template <class V>
inline constexpr int kMcuRows = V::kBytes / 16;

// ---- Pixels in
// -----------------------------------------------------------------------------------------------------

#if MOX_DOT8
template <class Pixel, class V>
MOX_INLINE Colours<V> loadEight(const Mox8u* p, ptrdiff_t step) {
  constexpr int kFour = 4 * Pixel::kSamples;
  static constexpr PairOrder<Pixel> kFirst(0), kLast(16 - kFour);
  const V a = shuffle8(loadApart<V>(p, step), loadSame<V>(kFirst.bytes));
  const V b = shuffle8(loadApart<V>(p + 2 * kFour - 16, step), loadSame<V>(kLast.bytes));
  return {low64(a, b), high64(a, b)};
}

template <class Pixel, class V>
MOX_INLINE void loadEights(const Mox8u* first, const Mox8u* second, ptrdiff_t step, Colours<V> (&eight)[2]) {
  eight[0] = loadEight<Pixel, V>(first, step);
  eight[1] = loadEight<Pixel, V>(second, step);
}
#else
template <class Pixel, class V>
MOX_INLINE void loadEights(const Mox8u* first, const Mox8u* second, ptrdiff_t, Colours<V> (&eight)[2]) {
  V bytes[Pixel::kSamples];
  if constexpr (Pixel::kSamples == 3) {
    bytes[0] = load<V>(first), bytes[1] = low64(loadLow8(first + 16), loadLow8(second)), bytes[2] = load<V>(second + 8);
  } else {
    bytes[0] = load<V>(first), bytes[1] = load<V>(first + 16);
    bytes[2] = load<V>(second), bytes[3] = load<V>(second + 16);
  }
  separate(bytes);
  halves(bytes[Pixel::kRed], bytes[Pixel::kGreen], bytes[Pixel::kBlue], eight);
}
#endif

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

// ---- Pixels out
// ----------------------------------------------------------------------------------------------------

#if defined(__AVX512VBMI__)
// Sixteen pixels of row `Row`: one 128-bit block of each of three vectors.
template <int Row>
struct SixteenIndex {
  uint8_t bytes[64];

  constexpr SixteenIndex() : bytes() {
    for (int i = 0; i < 48; i++) bytes[i] = static_cast<uint8_t>(16 * Row + i / 3);
  }
};

template <int Row>
MOX_INLINE void storeSixteen(Mox8u* p, V512 a, V512 b, V512 c) {
  static constexpr SixteenIndex<Row> kIndex;
  constexpr __mmask64 kEveryThird = 0x249249249249, kAll = 0xFFFFFFFFFFFF;  // of 48 bytes
  const __m512i index = _mm512_loadu_si512(kIndex.bytes);
  __m512i pixels = _mm512_permutexvar_epi8(index, a.r);
  pixels = _mm512_mask_permutexvar_epi8(pixels, kEveryThird << 1, index, b.r);
  pixels = _mm512_mask_permutexvar_epi8(pixels, kEveryThird << 2, index, c.r);
  _mm512_mask_storeu_epi8(p, kAll, pixels);
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

template <int Row, int Half>
MOX_INLINE void storeTwoRows(Mox8u* p, ptrdiff_t step, V512 firstTwo, V512 third) {
  static constexpr EightsIndex<Row, Half> kIndex;
  constexpr __mmask64 kThird = 0x0092492400924924;  // of 24 bytes
  constexpr __mmask32 kAll = 0xFFFFFF;
  const __m512i index = _mm512_loadu_si512(kIndex.bytes);
  const __m512i pixels = _mm512_permutexvar_epi8(index, firstTwo.r);
  const __m512i both = _mm512_mask_permutexvar_epi8(pixels, kThird, index, third.r);
  // Masks of bytes: lanes of 64 bits would become a masked extraction, which faults for what the mask leaves out.
  _mm256_mask_storeu_epi8(p, kAll, _mm512_castsi512_si256(both));
  _mm256_mask_storeu_epi8(p + step, kAll, _mm512_extracti64x4_epi64(both, 1));
}

// Four rows of eight pixels. The next MCUs of a row of them begin soon behind these: asking ahead made this a tenth
// faster in the second-level cache.
template <int Half>
MOX_INLINE void storeFourRows(Mox8u* p, ptrdiff_t step, V512 firstTwo, V512 third) {
  constexpr int kAhead = 192;
#pragma GCC unroll 4
  for (int row = 0; row < 4; row++) prefetchAhead<1, kAhead>(p + row * step);
  storeTwoRows<0, Half>(p, step, firstTwo, third);
  storeTwoRows<2, Half>(p + 2 * step, step, firstTwo, third);
}
#endif

template <class Pixel, class V>
MOX_INLINE void storeEights(Mox8u* first, [[maybe_unused]] Mox8u* second, [[maybe_unused]] ptrdiff_t step, V red,
                            V green, V blue) {
  const V a = Pixel::kRed == 0 ? red : blue, b = green, c = Pixel::kRed == 0 ? blue : red;
#if defined(MOX_TARGET_IS_neon)
  vst3_u8(first, uint8x8x3_t{{vget_low_u8(u8(a)), vget_low_u8(u8(b)), vget_low_u8(u8(c))}});
  vst3_u8(second, uint8x8x3_t{{vget_high_u8(u8(a)), vget_high_u8(u8(b)), vget_high_u8(u8(c))}});
#elif defined(__AVX512VBMI__)
  // These are the left and the right half of the same rows: where they are not, putPixels does without this.
  storeSixteen<0>(first, a, b, c);
  storeSixteen<1>(first + step, a, b, c);
  storeSixteen<2>(first + 2 * step, a, b, c);
  storeSixteen<3>(first + 3 * step, a, b, c);
#else
  V merged[3];
  merge(a, b, c, merged);
  storeApart(first, step, merged[0]);
  storeHalvesApart(first + 16, second, step, merged[1]);
  storeApart(second + 8, step, merged[2]);
#endif
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
#endif
