// The vector layer for x86, 128 bits: SSE2, and what SSSE3 and SSE4.1 make shorter. What each operation means: vec.h,
// which alone includes this.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace mox::MOX_TARGET {

struct V128 {
  static constexpr int kBytes = 16;
  __m128i r;
};

template <>
MOX_INLINE V128 load<V128>(const void* p) {
  return {_mm_loadu_si128(static_cast<const __m128i*>(p))};
}
MOX_INLINE void store(void* p, V128 a) { _mm_storeu_si128(static_cast<__m128i*>(p), a.r); }
template <>
MOX_INLINE V128 zero<V128>() {
  return {_mm_setzero_si128()};
}
template <>
MOX_INLINE V128 set8<V128>(int x) {
  return {_mm_set1_epi8(static_cast<char>(x))};
}
template <>
MOX_INLINE V128 set16<V128>(int x) {
  return {_mm_set1_epi16(static_cast<int16_t>(x))};
}
template <>
MOX_INLINE V128 set32<V128>(int x) {
  return {_mm_set1_epi32(x)};
}

template <>
MOX_INLINE V128 loadLow8<V128>(const void* p) {
  return {_mm_loadl_epi64(static_cast<const __m128i*>(p))};
}
MOX_INLINE void storeLow8(void* p, V128 a) { _mm_storel_epi64(static_cast<__m128i*>(p), a.r); }

MOX_INLINE V128 sub8(V128 a, V128 b) { return {_mm_sub_epi8(a.r, b.r)}; }
MOX_INLINE V128 addsU8(V128 a, V128 b) { return {_mm_adds_epu8(a.r, b.r)}; }
MOX_INLINE V128 subsU8(V128 a, V128 b) { return {_mm_subs_epu8(a.r, b.r)}; }
MOX_INLINE V128 avgU8(V128 a, V128 b) { return {_mm_avg_epu8(a.r, b.r)}; }
MOX_INLINE V128 maxU8(V128 a, V128 b) { return {_mm_max_epu8(a.r, b.r)}; }
MOX_INLINE V128 avgU16(V128 a, V128 b) { return {_mm_avg_epu16(a.r, b.r)}; }
MOX_INLINE V128 add16(V128 a, V128 b) { return {_mm_add_epi16(a.r, b.r)}; }
MOX_INLINE V128 sub16(V128 a, V128 b) { return {_mm_sub_epi16(a.r, b.r)}; }
MOX_INLINE V128 adds16(V128 a, V128 b) { return {_mm_adds_epi16(a.r, b.r)}; }
MOX_INLINE V128 subs16(V128 a, V128 b) { return {_mm_subs_epi16(a.r, b.r)}; }
MOX_INLINE V128 subsU16(V128 a, V128 b) { return {_mm_subs_epu16(a.r, b.r)}; }
MOX_INLINE V128 max16(V128 a, V128 b) { return {_mm_max_epi16(a.r, b.r)}; }
MOX_INLINE V128 mulLow16(V128 a, V128 b) { return {_mm_mullo_epi16(a.r, b.r)}; }
MOX_INLINE V128 mulHigh16(V128 a, V128 b) { return {_mm_mulhi_epi16(a.r, b.r)}; }
MOX_INLINE V128 mulHighU16(V128 a, V128 b) { return {_mm_mulhi_epu16(a.r, b.r)}; }
MOX_INLINE V128 dot16(V128 a, V128 b) { return {_mm_madd_epi16(a.r, b.r)}; }
MOX_INLINE V128 add32(V128 a, V128 b) { return {_mm_add_epi32(a.r, b.r)}; }
MOX_INLINE V128 sub32(V128 a, V128 b) { return {_mm_sub_epi32(a.r, b.r)}; }
MOX_INLINE V128 packs32(V128 a, V128 b) { return {_mm_packs_epi32(a.r, b.r)}; }
MOX_INLINE V128 packsU16(V128 a, V128 b) { return {_mm_packus_epi16(a.r, b.r)}; }
MOX_INLINE V128 packs16(V128 a, V128 b) { return {_mm_packs_epi16(a.r, b.r)}; }
MOX_INLINE V128 low8(V128 a, V128 b) { return {_mm_unpacklo_epi8(a.r, b.r)}; }
MOX_INLINE V128 high8(V128 a, V128 b) { return {_mm_unpackhi_epi8(a.r, b.r)}; }
MOX_INLINE V128 low16(V128 a, V128 b) { return {_mm_unpacklo_epi16(a.r, b.r)}; }
MOX_INLINE V128 high16(V128 a, V128 b) { return {_mm_unpackhi_epi16(a.r, b.r)}; }
MOX_INLINE V128 low64(V128 a, V128 b) { return {_mm_unpacklo_epi64(a.r, b.r)}; }
MOX_INLINE V128 high64(V128 a, V128 b) { return {_mm_unpackhi_epi64(a.r, b.r)}; }
MOX_INLINE V128 bitAnd(V128 a, V128 b) { return {_mm_and_si128(a.r, b.r)}; }
MOX_INLINE V128 bitOr(V128 a, V128 b) { return {_mm_or_si128(a.r, b.r)}; }
MOX_INLINE V128 bitXor(V128 a, V128 b) { return {_mm_xor_si128(a.r, b.r)}; }
MOX_INLINE V128 bitAndNot(V128 a, V128 b) { return {_mm_andnot_si128(a.r, b.r)}; }
template <int Bits>
MOX_INLINE V128 shl16(V128 a) {
  return {_mm_slli_epi16(a.r, Bits)};
}
template <int Bits>
MOX_INLINE V128 shr16(V128 a) {
  return {_mm_srai_epi16(a.r, Bits)};
}
template <int Bits>
MOX_INLINE V128 shrU16(V128 a) {
  return {_mm_srli_epi16(a.r, Bits)};
}
MOX_INLINE V128 shrU16By(V128 a, int bits) { return {_mm_srl_epi16(a.r, _mm_cvtsi32_si128(bits))}; }
template <int Bits>
MOX_INLINE V128 shr32(V128 a) {
  return {_mm_srai_epi32(a.r, Bits)};
}
template <int Bits>
MOX_INLINE V128 shrU32(V128 a) {
  return {_mm_srli_epi32(a.r, Bits)};
}
template <int Order>
MOX_INLINE V128 shuffle32(V128 a) {
  return {_mm_shuffle_epi32(a.r, Order)};
}

MOX_INLINE V128 equal16(V128 a, V128 b) { return {_mm_cmpeq_epi16(a.r, b.r)}; }
MOX_INLINE V128 select(V128 mask, V128 a, V128 b) {
#if defined(__SSE4_1__)
  return {_mm_blendv_epi8(b.r, a.r, mask.r)};
#else
  return {_mm_or_si128(_mm_and_si128(mask.r, a.r), _mm_andnot_si128(mask.r, b.r))};
#endif
}
MOX_INLINE V128 dotAdd16(V128 sum, V128 a, V128 b) {
#if defined(__AVX512VNNI__)
  return {_mm_dpwssd_epi32(sum.r, a.r, b.r)};
#else
  return {_mm_add_epi32(sum.r, _mm_madd_epi16(a.r, b.r))};
#endif
}
template <>
MOX_INLINE V128 load8As16<V128>(const uint8_t* p) {
  return {_mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)), _mm_setzero_si128())};
}
MOX_INLINE V128 packsU16Linear(V128 a, V128 b) { return packsU16(a, b); }
#if defined(__SSSE3__)
MOX_INLINE V128 shuffle8(V128 a, V128 order) { return {_mm_shuffle_epi8(a.r, order.r)}; }
MOX_INLINE V128 dot8(V128 a, V128 b) { return {_mm_maddubs_epi16(a.r, b.r)}; }
#endif

template <>
MOX_INLINE V128 loadApart<V128>(const void* p, ptrdiff_t) {
  return load<V128>(p);
}
MOX_INLINE void storeApart(void* p, ptrdiff_t, V128 a) { store(p, a); }

MOX_INLINE V128 abs16(V128 a) {
#if defined(__SSSE3__)
  return {_mm_abs_epi16(a.r)};
#else
  return max16(a, sub16(zero<V128>(), a));
#endif
}
// The exponents of the lanes as floats.
MOX_INLINE V128 bitWidths16(V128 a) {
  const auto exponents = [](__m128i lanes) {
    return _mm_sub_epi32(_mm_srli_epi32(_mm_castps_si128(_mm_cvtepi32_ps(lanes)), 23), _mm_set1_epi32(126));
  };
  const __m128i widths = _mm_packs_epi32(exponents(_mm_unpacklo_epi16(a.r, _mm_setzero_si128())),
                                         exponents(_mm_unpackhi_epi16(a.r, _mm_setzero_si128())));
  return {_mm_max_epi16(widths, _mm_setzero_si128())};
}
MOX_INLINE V128 packedInOrder(V128 a) { return a; }
MOX_INLINE V128 reverse8(V128 a) {
#if defined(__SSSE3__)
  return shuffle8(a, {_mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0)});
#else
  const __m128i swapped = _mm_or_si128(_mm_slli_epi16(a.r, 8), _mm_srli_epi16(a.r, 8));
  const __m128i halves =
      _mm_shufflehi_epi16(_mm_shufflelo_epi16(swapped, _MM_SHUFFLE(0, 1, 2, 3)), _MM_SHUFFLE(0, 1, 2, 3));
  return {_mm_shuffle_epi32(halves, _MM_SHUFFLE(1, 0, 3, 2))};
#endif
}
MOX_INLINE uint64_t equalBytes(V128 a, V128 b) {
  return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(a.r, b.r)));
}
MOX_INLINE uint64_t nonZero8(V128 a) {
  return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(a.r, _mm_setzero_si128()))) ^ 0xFFFF;
}
MOX_INLINE bool anyBits(V128 a) {
#if defined(__SSE4_1__)
  return !_mm_testz_si128(a.r, a.r);
#else
  return nonZero8(a) != 0;
#endif
}
template <>
MOX_INLINE V128 loadSame<V128>(const void* p) {
  return load<V128>(p);
}
#if defined(__SSE4_1__)
template <int Mask>
MOX_INLINE V128 blend16(V128 a, V128 b) {
  return {_mm_blend_epi16(a.r, b.r, Mask)};
}
#endif

MOX_INLINE V128 mulRound16(V128 a, V128 b) {
#if defined(__SSSE3__)
  return {_mm_mulhrs_epi16(a.r, b.r)};
#else
  const V128 high = mulHigh16(a, b), quarters = shrU16<14>(mulLow16(a, b));
  return add16(add16(high, high), {_mm_avg_epu16(quarters.r, _mm_setzero_si128())});
#endif
}
template <int First, int Second>
MOX_INLINE V128 dotU8(V128 a) {
#if defined(__SSSE3__)
  return {_mm_maddubs_epi16(a.r, _mm_set1_epi16(static_cast<short>(Second * 256 + First)))};
#else
  const V128 first = {_mm_and_si128(a.r, _mm_set1_epi16(0xFF))}, second = shrU16<8>(a);
  const V128 firsts = First == 1 ? first : mulLow16(first, set16<V128>(First));
  return add16(firsts, Second == 1 ? second : mulLow16(second, set16<V128>(Second)));
#endif
}
template <int First>
MOX_INLINE V128 slideBytes(V128 a, V128 b) {
#if defined(__SSSE3__)
  return {_mm_alignr_epi8(b.r, a.r, First)};
#else
  return {_mm_or_si128(_mm_srli_si128(a.r, First), _mm_slli_si128(b.r, 16 - First))};
#endif
}
MOX_INLINE void storeBlocks(void* p, V128 low, V128 high) {
  store(p, low);
  store(static_cast<uint8_t*>(p) + 16, high);
}
template <int Bits, class V>
MOX_INLINE V roundShr16(V a) {
#if defined(__SSSE3__)
  return mulRound16(a, set16<V>(1 << (15 - Bits)));
#else
  return shr16<Bits>(add16(a, set16<V>(1 << (Bits - 1))));
#endif
}
MOX_INLINE bool allZero(V128 a) {
#if defined(__SSE4_1__)
  return _mm_testz_si128(a.r, a.r);
#else
  return _mm_movemask_epi8(_mm_cmpeq_epi8(a.r, _mm_setzero_si128())) == 0xFFFF;
#endif
}
MOX_INLINE V128 keep(V128 mask, V128 a) { return bitAnd(mask, a); }
MOX_INLINE V128 negative16(V128 a) { return shr16<15>(a); }
MOX_INLINE V128 highHalves32(V128 a, V128 b) {
#if defined(__SSE4_1__)
  return {_mm_blend_epi16(shrU32<16>(a).r, b.r, 0xAA)};
#else
  return {_mm_or_si128(shrU32<16>(a).r, _mm_and_si128(b.r, _mm_set1_epi32(static_cast<int>(0xFFFF0000))))};
#endif
}
// The four 16-bit lanes of each 64-bit half in the order of the immediate.
template <int Order>
MOX_INLINE V128 shuffleEach16(V128 a) {
  return {_mm_shufflehi_epi16(_mm_shufflelo_epi16(a.r, Order), Order)};
}
MOX_INLINE V128 reverse16(V128 a) {
#if defined(__SSSE3__)
  return {_mm_shuffle_epi8(a.r, _mm_setr_epi8(6, 7, 4, 5, 2, 3, 0, 1, 14, 15, 12, 13, 10, 11, 8, 9))};
#else
  return shuffleEach16<_MM_SHUFFLE(0, 1, 2, 3)>(a);
#endif
}
MOX_INLINE V128 reverseHigh16(V128 a) { return {_mm_shufflehi_epi16(a.r, _MM_SHUFFLE(0, 1, 2, 3))}; }
// A constant that stays in memory. In a function too short to build its constants before a loop, those that the
// compiler makes from general registers cost two or three instructions each, on the port of the shuffles.
template <class V>
MOX_INLINE V fixed(const void* p) {
  asm("" : "+r"(p));
  return load<V>(p);
}
#if defined(__SSSE3__)
struct BlockOrder {
  alignas(64) uint8_t at[64];
};
template <int First>
constexpr BlockOrder pairOrder() {
  BlockOrder order{};
  for (int i = 0; i < 64; i++) order.at[i] = static_cast<uint8_t>(2 * First + i / 2 % 2 * 4 + i % 2);
  return order;
}
template <int First>
inline constexpr BlockOrder kPairOrder = pairOrder<First>();
template <int First, class V>
MOX_INLINE V repeatPair16(V a) {
  return shuffle8(a, fixed<V>(kPairOrder<First>.at));
}
#else
template <int First, class V>
MOX_INLINE V repeatPair16(V a) {
  return shuffle32<(First % 4 + First / 4 * 2) * 0x55>(shuffleEach16<_MM_SHUFFLE(3, 1, 2, 0)>(a));
}
#endif
MOX_INLINE V128 repeatLast16(V128 a) { return {_mm_shuffle_epi32(_mm_shufflehi_epi16(a.r, 0xFF), 0xFF)}; }
MOX_INLINE void storeHigh8(void* p, V128 a) {
  // One instruction, like _mm_storeh_pd, which however assumes the alignment of a double.
  using Unaligned [[gnu::aligned(1), gnu::may_alias]] = double;
  *static_cast<Unaligned*>(p) = _mm_castsi128_pd(a.r)[1];
}

MOX_INLINE void storeHalvesApart(void* low, void* high, ptrdiff_t, V128 a) {
  storeLow8(low, a);
  storeHigh8(high, a);
}

struct SameWords {
  alignas(64) int32_t at[16];
};
template <int Value>
inline constexpr SameWords kSameWords = {
    {Value, Value, Value, Value, Value, Value, Value, Value, Value, Value, Value, Value, Value, Value, Value, Value}};
template <class V, int Value>
MOX_INLINE V fixed32() {
  return fixed<V>(kSameWords<Value>.at);
}

MOX_INLINE V128 truncate32(V128 a) { return {_mm_cvttps_epi32(_mm_castsi128_ps(a.r))}; }

#if defined(__BMI2__) && defined(__x86_64__)
MOX_INLINE uint64_t depositBits(uint64_t from, uint64_t mask) { return _pdep_u64(from, mask); }
MOX_INLINE uint64_t extractBits(uint64_t from, uint64_t mask) { return _pext_u64(from, mask); }
#endif

}  // namespace mox::MOX_TARGET
