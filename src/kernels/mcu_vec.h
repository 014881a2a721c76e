// Vectors of an MCU. Blocks have rows of eight, and so have these: a 128-bit block of a vector holds eight pixels in
// 16 bits, and the blocks are rows, `step` bytes apart. Two such vectors go together: the left and the right eight
// columns of the same rows, or other rows of the same columns; what they become in bytes is one vector, in each block
// of which the eight bytes of the first come ahead of those of the second.
#pragma once

#include "kernels/colours.h"
#include "kernels/mcu.h"

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
    bytes[0] = load<V>(first), bytes[1] = low64(loadLow8(first + 16), loadLow8(second)),
    bytes[2] = load<V>(second + 8);
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
// The eight pixels of each half of 128-bit block `Row`, 24 bytes at the start of each 256 bits.
template <int Row>
struct EightsIndex {
  uint8_t bytes[64];

  constexpr EightsIndex() : bytes() {
    for (int i = 0; i < 24; i++)
      for (int half = 0; half < 2; half++) bytes[32 * half + i] = static_cast<uint8_t>(16 * Row + 8 * half + i / 3);
  }
};

template <int Row>
MOX_INLINE void storeTriple(Mox8u* first, Mox8u* second, V512 a, V512 b, V512 c) {
  static constexpr EightsIndex<Row> kIndex;
  constexpr __mmask64 kEveryThird = 0x0024924900249249;  // of 24 bytes
  constexpr __mmask32 kTwentyFour = 0xFFFFFF;
  const __m512i index = _mm512_loadu_si512(kIndex.bytes);
  __m512i both = _mm512_permutexvar_epi8(index, a.r);
  both = _mm512_mask_permutexvar_epi8(both, kEveryThird << 1, index, b.r);
  both = _mm512_mask_permutexvar_epi8(both, kEveryThird << 2, index, c.r);
  _mm256_mask_storeu_epi8(first, kTwentyFour, _mm512_castsi512_si256(both));
  _mm256_mask_storeu_epi8(second, kTwentyFour, _mm512_extracti64x4_epi64(both, 1));
}

MOX_INLINE void storeTriples(Mox8u* first, Mox8u* second, ptrdiff_t step, V512 a, V512 b, V512 c) {
  storeTriple<0>(first, second, a, b, c);
  storeTriple<1>(first + step, second + step, a, b, c);
  storeTriple<2>(first + 2 * step, second + 2 * step, a, b, c);
  storeTriple<3>(first + 3 * step, second + 3 * step, a, b, c);
}
#endif

template <class Pixel, class V>
MOX_INLINE void storeEights(Mox8u* first, Mox8u* second, [[maybe_unused]] ptrdiff_t step, V red, V green, V blue) {
  const V a = Pixel::kRed == 0 ? red : blue, b = green, c = Pixel::kRed == 0 ? blue : red;
#if defined(MOX_TARGET_IS_neon)
  vst3_u8(first, uint8x8x3_t{{vget_low_u8(u8(a)), vget_low_u8(u8(b)), vget_low_u8(u8(c))}});
  vst3_u8(second, uint8x8x3_t{{vget_high_u8(u8(a)), vget_high_u8(u8(b)), vget_high_u8(u8(c))}});
#elif defined(__AVX512VBMI__)
  storeTriples(first, second, step, a, b, c);
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
