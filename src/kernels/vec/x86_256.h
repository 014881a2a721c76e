// The vector layer for x86, 256 bits: AVX2. What each operation means: vec.h, which alone includes this.
#pragma once

#include "kernels/vec/x86_128.h"

namespace mox::MOX_TARGET {

struct V256 {
  using Half = V128;
  static constexpr int kBytes = 32;
  __m256i r;
};

template <>
MOX_INLINE V256 load<V256>(const void* p) {
  return {_mm256_loadu_si256(static_cast<const __m256i*>(p))};
}
MOX_INLINE void store(void* p, V256 a) { _mm256_storeu_si256(static_cast<__m256i*>(p), a.r); }
MOX_INLINE void storePast(void* p, V256 a) { _mm256_stream_si256(static_cast<__m256i*>(p), a.r); }
MOX_INLINE void pastStored() { _mm_sfence(); }
template <>
MOX_INLINE V256 zero<V256>() {
  return {_mm256_setzero_si256()};
}
template <>
MOX_INLINE V256 set8<V256>(int x) {
  return {_mm256_set1_epi8(static_cast<char>(x))};
}
template <>
MOX_INLINE V256 set16<V256>(int x) {
  return {_mm256_set1_epi16(static_cast<int16_t>(x))};
}
template <>
MOX_INLINE V256 set32<V256>(int x) {
  return {_mm256_set1_epi32(x)};
}

MOX_INLINE V256 sub8(V256 a, V256 b) { return {_mm256_sub_epi8(a.r, b.r)}; }
MOX_INLINE V256 addsU8(V256 a, V256 b) { return {_mm256_adds_epu8(a.r, b.r)}; }
MOX_INLINE V256 subsU8(V256 a, V256 b) { return {_mm256_subs_epu8(a.r, b.r)}; }
MOX_INLINE V256 avgU8(V256 a, V256 b) { return {_mm256_avg_epu8(a.r, b.r)}; }
MOX_INLINE V256 maxU8(V256 a, V256 b) { return {_mm256_max_epu8(a.r, b.r)}; }
MOX_INLINE V256 avgU16(V256 a, V256 b) { return {_mm256_avg_epu16(a.r, b.r)}; }
MOX_INLINE V256 add16(V256 a, V256 b) { return {_mm256_add_epi16(a.r, b.r)}; }
MOX_INLINE V256 sub16(V256 a, V256 b) { return {_mm256_sub_epi16(a.r, b.r)}; }
MOX_INLINE V256 adds16(V256 a, V256 b) { return {_mm256_adds_epi16(a.r, b.r)}; }
MOX_INLINE V256 subs16(V256 a, V256 b) { return {_mm256_subs_epi16(a.r, b.r)}; }
MOX_INLINE V256 max16(V256 a, V256 b) { return {_mm256_max_epi16(a.r, b.r)}; }
MOX_INLINE V256 mulLow16(V256 a, V256 b) { return {_mm256_mullo_epi16(a.r, b.r)}; }
MOX_INLINE V256 mulHigh16(V256 a, V256 b) { return {_mm256_mulhi_epi16(a.r, b.r)}; }
MOX_INLINE V256 mulHighU16(V256 a, V256 b) { return {_mm256_mulhi_epu16(a.r, b.r)}; }
MOX_INLINE V256 dot16(V256 a, V256 b) { return {_mm256_madd_epi16(a.r, b.r)}; }
MOX_INLINE V256 add32(V256 a, V256 b) { return {_mm256_add_epi32(a.r, b.r)}; }
MOX_INLINE V256 sub32(V256 a, V256 b) { return {_mm256_sub_epi32(a.r, b.r)}; }
MOX_INLINE V256 packs32(V256 a, V256 b) { return {_mm256_packs_epi32(a.r, b.r)}; }
MOX_INLINE V256 packsU16(V256 a, V256 b) { return {_mm256_packus_epi16(a.r, b.r)}; }
MOX_INLINE V256 packs16(V256 a, V256 b) { return {_mm256_packs_epi16(a.r, b.r)}; }
MOX_INLINE V256 low8(V256 a, V256 b) { return {_mm256_unpacklo_epi8(a.r, b.r)}; }
MOX_INLINE V256 high8(V256 a, V256 b) { return {_mm256_unpackhi_epi8(a.r, b.r)}; }
MOX_INLINE V256 low16(V256 a, V256 b) { return {_mm256_unpacklo_epi16(a.r, b.r)}; }
MOX_INLINE V256 high16(V256 a, V256 b) { return {_mm256_unpackhi_epi16(a.r, b.r)}; }
MOX_INLINE V256 low64(V256 a, V256 b) { return {_mm256_unpacklo_epi64(a.r, b.r)}; }
MOX_INLINE V256 high64(V256 a, V256 b) { return {_mm256_unpackhi_epi64(a.r, b.r)}; }
MOX_INLINE V256 bitAnd(V256 a, V256 b) { return {_mm256_and_si256(a.r, b.r)}; }
MOX_INLINE V256 bitOr(V256 a, V256 b) { return {_mm256_or_si256(a.r, b.r)}; }
MOX_INLINE V256 bitXor(V256 a, V256 b) { return {_mm256_xor_si256(a.r, b.r)}; }
MOX_INLINE V256 bitAndNot(V256 a, V256 b) { return {_mm256_andnot_si256(a.r, b.r)}; }
template <int Bits>
MOX_INLINE V256 shl16(V256 a) {
  return {_mm256_slli_epi16(a.r, Bits)};
}
template <int Bits>
MOX_INLINE V256 shr16(V256 a) {
  return {_mm256_srai_epi16(a.r, Bits)};
}
template <int Bits>
MOX_INLINE V256 shrU16(V256 a) {
  return {_mm256_srli_epi16(a.r, Bits)};
}
MOX_INLINE V256 shrU16By(V256 a, int bits) { return {_mm256_srl_epi16(a.r, _mm_cvtsi32_si128(bits))}; }
template <int Bits>
MOX_INLINE V256 shr32(V256 a) {
  return {_mm256_srai_epi32(a.r, Bits)};
}
template <int Bits>
MOX_INLINE V256 shrU32(V256 a) {
  return {_mm256_srli_epi32(a.r, Bits)};
}
template <int Order>
MOX_INLINE V256 shuffle32(V256 a) {
  return {_mm256_shuffle_epi32(a.r, Order)};
}

MOX_INLINE V256 equal16(V256 a, V256 b) { return {_mm256_cmpeq_epi16(a.r, b.r)}; }
MOX_INLINE V256 select(V256 mask, V256 a, V256 b) { return {_mm256_blendv_epi8(b.r, a.r, mask.r)}; }
MOX_INLINE V256 shuffle8(V256 a, V256 order) { return {_mm256_shuffle_epi8(a.r, order.r)}; }
MOX_INLINE V256 dot8(V256 a, V256 b) { return {_mm256_maddubs_epi16(a.r, b.r)}; }
template <int Mask>
MOX_INLINE V256 blend16(V256 a, V256 b) {
  return {_mm256_blend_epi16(a.r, b.r, Mask)};
}
MOX_INLINE V256 dotAdd16(V256 sum, V256 a, V256 b) {
#if defined(__AVX512VNNI__)
  return {_mm256_dpwssd_epi32(sum.r, a.r, b.r)};
#else
  return {_mm256_add_epi32(sum.r, _mm256_madd_epi16(a.r, b.r))};
#endif
}
template <>
MOX_INLINE V256 load8As16<V256>(const uint8_t* p) {
  return {_mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)))};
}
MOX_INLINE V128 lowHalf(V256 a) { return {_mm256_castsi256_si128(a.r)}; }
MOX_INLINE V128 highHalf(V256 a) { return {_mm256_extracti128_si256(a.r, 1)}; }
template <int First, int Second>
MOX_INLINE V256 dotU8(V256 a) {
  return {_mm256_maddubs_epi16(a.r, _mm256_set1_epi16(static_cast<short>(Second * 256 + First)))};
}
template <int First>
MOX_INLINE V256 slideBytes(V256 a, V256 b) {
  return {_mm256_alignr_epi8(b.r, a.r, First)};
}
// Four half stores: unlike a permutation of the blocks they cost no shuffle.
MOX_INLINE void storeBlocks(void* p, V256 low, V256 high) {
  storeBlocks(p, lowHalf(low), lowHalf(high));
  storeBlocks(static_cast<uint8_t*>(p) + 32, highHalf(low), highHalf(high));
}
MOX_INLINE V256 join(V128 low, V128 high) {
  return {_mm256_inserti128_si256(_mm256_castsi128_si256(low.r), high.r, 1)};
}
template <>
MOX_INLINE V256 loadApart<V256>(const void* p, ptrdiff_t distance) {
  return join(load<V128>(p), load<V128>(static_cast<const uint8_t*>(p) + distance));
}
template <>
MOX_INLINE V256 loadSame<V256>(const void* p) {
  return {_mm256_broadcastsi128_si256(load<V128>(p).r)};
}
MOX_INLINE void storeApart(void* p, ptrdiff_t distance, V256 a) {
  store(p, lowHalf(a));
  store(static_cast<uint8_t*>(p) + distance, highHalf(a));
}

MOX_INLINE void storeHalvesApart(void* low, void* high, ptrdiff_t distance, V256 a) {
  storeHalvesApart(low, high, distance, lowHalf(a));
  storeHalvesApart(static_cast<uint8_t*>(low) + distance, static_cast<uint8_t*>(high) + distance, distance,
                   highHalf(a));
}

// The four 64-bit lanes in the order of the immediate.
template <int Order>
MOX_INLINE V256 permute64Linear(V256 a) {
  return {_mm256_permute4x64_epi64(a.r, Order)};
}
MOX_INLINE V256 abs16(V256 a) { return {_mm256_abs_epi16(a.r)}; }
MOX_INLINE V256 packedInOrder(V256 a) { return permute64Linear<_MM_SHUFFLE(3, 1, 2, 0)>(a); }
MOX_INLINE void storeFirst32(void* p, V256 a, int n) {
  const __m256i there = _mm256_cmpgt_epi32(_mm256_set1_epi32(n), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
  _mm256_maskstore_epi32(static_cast<int*>(p), there, a.r);
}

MOX_INLINE V256 reverse8(V256 a) {
  const V256 blocks =
      shuffle8(a, {_mm256_broadcastsi128_si256(_mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0))});
  return permute64Linear<_MM_SHUFFLE(1, 0, 3, 2)>(blocks);
}
MOX_INLINE uint64_t equalBytes(V256 a, V256 b) {
  return static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(a.r, b.r)));
}
MOX_INLINE uint64_t nonZero8(V256 a) {
  return ~static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(a.r, _mm256_setzero_si256())));
}
MOX_INLINE bool anyBits(V256 a) { return !_mm256_testz_si256(a.r, a.r); }
MOX_INLINE V256 packsU16Linear(V256 a, V256 b) { return permute64Linear<_MM_SHUFFLE(3, 1, 2, 0)>(packsU16(a, b)); }
MOX_INLINE V256 mulRound16(V256 a, V256 b) { return {_mm256_mulhrs_epi16(a.r, b.r)}; }
MOX_INLINE V256 keep(V256 mask, V256 a) { return bitAnd(mask, a); }
MOX_INLINE V256 negative16(V256 a) { return shr16<15>(a); }
MOX_INLINE V256 highHalves32(V256 a, V256 b) { return {_mm256_blend_epi16(shrU32<16>(a).r, b.r, 0xAA)}; }
MOX_INLINE V256 reverse16(V256 a) {
  const __m128i order = _mm_setr_epi8(6, 7, 4, 5, 2, 3, 0, 1, 14, 15, 12, 13, 10, 11, 8, 9);
  return {_mm256_shuffle_epi8(a.r, _mm256_broadcastsi128_si256(order))};
}
MOX_INLINE V256 lowThenHigh(V256 a, V256 b) { return {_mm256_blend_epi32(a.r, b.r, 0xF0)}; }
MOX_INLINE V256 bothLow(V256 a, V256 b) { return join(lowHalf(a), lowHalf(b)); }
MOX_INLINE V256 bothHigh(V256 a, V256 b) { return {_mm256_permute2x128_si256(a.r, b.r, 0x31)}; }
MOX_INLINE V256 reverseHigh16(V256 a) { return {_mm256_shufflehi_epi16(a.r, _MM_SHUFFLE(0, 1, 2, 3))}; }
MOX_INLINE V256 truncate32(V256 a) { return {_mm256_cvttps_epi32(_mm256_castsi256_ps(a.r))}; }

}  // namespace mox::MOX_TARGET
