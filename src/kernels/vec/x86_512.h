// The vector layer for x86, 512 bits: AVX-512 with BW, DQ, VL, VBMI, VBMI2 and VNNI. What each operation means: vec.h,
// which alone includes this.
#pragma once

#include "kernels/vec/x86_256.h"

namespace mox::MOX_TARGET {

struct V512 {
  using Half = V256;
  static constexpr int kBytes = 64;
  __m512i r;
};

template <>
MOX_INLINE V512 load<V512>(const void* p) {
  return {_mm512_loadu_si512(static_cast<const __m512i*>(p))};
}
MOX_INLINE void store(void* p, V512 a) { _mm512_storeu_si512(static_cast<__m512i*>(p), a.r); }
MOX_INLINE void storePast(void* p, V512 a) { _mm512_stream_si512(static_cast<__m512i*>(p), a.r); }
template <>
MOX_INLINE V512 zero<V512>() {
  return {_mm512_setzero_si512()};
}
template <>
MOX_INLINE V512 set8<V512>(int x) {
  return {_mm512_set1_epi8(static_cast<char>(x))};
}
template <>
MOX_INLINE V512 set16<V512>(int x) {
  return {_mm512_set1_epi16(static_cast<int16_t>(x))};
}
template <>
MOX_INLINE V512 set32<V512>(int x) {
  return {_mm512_set1_epi32(x)};
}

MOX_INLINE V512 sub8(V512 a, V512 b) { return {_mm512_sub_epi8(a.r, b.r)}; }
MOX_INLINE V512 addsU8(V512 a, V512 b) { return {_mm512_adds_epu8(a.r, b.r)}; }
MOX_INLINE V512 subsU8(V512 a, V512 b) { return {_mm512_subs_epu8(a.r, b.r)}; }
MOX_INLINE V512 avgU8(V512 a, V512 b) { return {_mm512_avg_epu8(a.r, b.r)}; }
MOX_INLINE V512 maxU8(V512 a, V512 b) { return {_mm512_max_epu8(a.r, b.r)}; }
MOX_INLINE V512 avgU16(V512 a, V512 b) { return {_mm512_avg_epu16(a.r, b.r)}; }
MOX_INLINE V512 add16(V512 a, V512 b) { return {_mm512_add_epi16(a.r, b.r)}; }
MOX_INLINE V512 sub16(V512 a, V512 b) { return {_mm512_sub_epi16(a.r, b.r)}; }
MOX_INLINE V512 adds16(V512 a, V512 b) { return {_mm512_adds_epi16(a.r, b.r)}; }
MOX_INLINE V512 subs16(V512 a, V512 b) { return {_mm512_subs_epi16(a.r, b.r)}; }
MOX_INLINE V512 max16(V512 a, V512 b) { return {_mm512_max_epi16(a.r, b.r)}; }
MOX_INLINE V512 mulLow16(V512 a, V512 b) { return {_mm512_mullo_epi16(a.r, b.r)}; }
MOX_INLINE V512 mulHigh16(V512 a, V512 b) { return {_mm512_mulhi_epi16(a.r, b.r)}; }
MOX_INLINE V512 mulHighU16(V512 a, V512 b) { return {_mm512_mulhi_epu16(a.r, b.r)}; }
MOX_INLINE V512 dot16(V512 a, V512 b) { return {_mm512_madd_epi16(a.r, b.r)}; }
MOX_INLINE V512 add32(V512 a, V512 b) { return {_mm512_add_epi32(a.r, b.r)}; }
MOX_INLINE V512 sub32(V512 a, V512 b) { return {_mm512_sub_epi32(a.r, b.r)}; }
MOX_INLINE V512 packs32(V512 a, V512 b) { return {_mm512_packs_epi32(a.r, b.r)}; }
MOX_INLINE V512 packsU16(V512 a, V512 b) { return {_mm512_packus_epi16(a.r, b.r)}; }
MOX_INLINE V512 packs16(V512 a, V512 b) { return {_mm512_packs_epi16(a.r, b.r)}; }
MOX_INLINE V512 low8(V512 a, V512 b) { return {_mm512_unpacklo_epi8(a.r, b.r)}; }
MOX_INLINE V512 high8(V512 a, V512 b) { return {_mm512_unpackhi_epi8(a.r, b.r)}; }
MOX_INLINE V512 low16(V512 a, V512 b) { return {_mm512_unpacklo_epi16(a.r, b.r)}; }
MOX_INLINE V512 high16(V512 a, V512 b) { return {_mm512_unpackhi_epi16(a.r, b.r)}; }
MOX_INLINE V512 low64(V512 a, V512 b) { return {_mm512_unpacklo_epi64(a.r, b.r)}; }
MOX_INLINE V512 high64(V512 a, V512 b) { return {_mm512_unpackhi_epi64(a.r, b.r)}; }
MOX_INLINE V512 bitAnd(V512 a, V512 b) { return {_mm512_and_si512(a.r, b.r)}; }
MOX_INLINE V512 bitOr(V512 a, V512 b) { return {_mm512_or_si512(a.r, b.r)}; }
MOX_INLINE V512 bitXor(V512 a, V512 b) { return {_mm512_xor_si512(a.r, b.r)}; }
MOX_INLINE V512 bitAndNot(V512 a, V512 b) { return {_mm512_andnot_si512(a.r, b.r)}; }
template <int Bits>
MOX_INLINE V512 shl16(V512 a) {
  return {_mm512_slli_epi16(a.r, Bits)};
}
template <int Bits>
MOX_INLINE V512 shr16(V512 a) {
  return {_mm512_srai_epi16(a.r, Bits)};
}
template <int Bits>
MOX_INLINE V512 shrU16(V512 a) {
  return {_mm512_srli_epi16(a.r, Bits)};
}
MOX_INLINE V512 shrU16By(V512 a, int bits) { return {_mm512_srl_epi16(a.r, _mm_cvtsi32_si128(bits))}; }
template <int Bits>
MOX_INLINE V512 shr32(V512 a) {
  return {_mm512_srai_epi32(a.r, Bits)};
}
template <int Bits>
MOX_INLINE V512 shrU32(V512 a) {
  return {_mm512_srli_epi32(a.r, Bits)};
}
template <int Order>
MOX_INLINE V512 shuffle32(V512 a) {
  return {_mm512_shuffle_epi32(a.r, static_cast<_MM_PERM_ENUM>(Order))};
}

MOX_INLINE V512 shuffle8(V512 a, V512 order) { return {_mm512_shuffle_epi8(a.r, order.r)}; }
MOX_INLINE V512 dot8(V512 a, V512 b) { return {_mm512_maddubs_epi16(a.r, b.r)}; }
MOX_INLINE V512 dotAdd16(V512 sum, V512 a, V512 b) { return {_mm512_dpwssd_epi32(sum.r, a.r, b.r)}; }
template <>
MOX_INLINE V512 load8As16<V512>(const uint8_t* p) {
  return {_mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)))};
}
MOX_INLINE V256 lowHalf(V512 a) { return {_mm512_castsi512_si256(a.r)}; }
MOX_INLINE V256 highHalf(V512 a) { return {_mm512_extracti64x4_epi64(a.r, 1)}; }
MOX_INLINE V512 join(V256 low, V256 high) { return {_mm512_inserti64x4(_mm512_castsi256_si512(low.r), high.r, 1)}; }
template <>
MOX_INLINE V512 loadApart<V512>(const void* p, ptrdiff_t distance) {
  return join(loadApart<V256>(p, distance), loadApart<V256>(static_cast<const uint8_t*>(p) + 2 * distance, distance));
}
template <>
MOX_INLINE V512 loadSame<V512>(const void* p) {
  return {_mm512_broadcast_i32x4(load<V128>(p).r)};
}
MOX_INLINE void storeApart(void* p, ptrdiff_t distance, V512 a) {
  storeApart(p, distance, lowHalf(a));
  storeApart(static_cast<uint8_t*>(p) + 2 * distance, distance, highHalf(a));
}

MOX_INLINE void storeHalvesApart(void* low, void* high, ptrdiff_t distance, V512 a) {
  storeHalvesApart(low, high, distance, lowHalf(a));
  storeHalvesApart(static_cast<uint8_t*>(low) + 2 * distance, static_cast<uint8_t*>(high) + 2 * distance, distance,
                   highHalf(a));
}
template <int Mask>
MOX_INLINE V512 blend16(V512 a, V512 b) {
  return {_mm512_mask_blend_epi16(0x01010101u * Mask, a.r, b.r)};
}

MOX_INLINE V512 abs16(V512 a) { return {_mm512_abs_epi16(a.r)}; }
MOX_INLINE V512 packedInOrder(V512 a) {
  return {_mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), a.r)};
}
MOX_INLINE V512 reverse8(V512 a) {
  const V512 blocks =
      shuffle8(a, {_mm512_broadcast_i32x4(_mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0))});
  return {_mm512_shuffle_i64x2(blocks.r, blocks.r, _MM_SHUFFLE(0, 1, 2, 3))};
}
MOX_INLINE uint64_t equalBytes(V512 a, V512 b) { return _mm512_cmpeq_epi8_mask(a.r, b.r); }
MOX_INLINE uint64_t nonZero8(V512 a) { return _mm512_test_epi8_mask(a.r, a.r); }
MOX_INLINE bool anyBits(V512 a) { return _mm512_test_epi64_mask(a.r, a.r) != 0; }
template <int First, int Second>
MOX_INLINE V512 dotU8(V512 a) {
  return {_mm512_maddubs_epi16(a.r, _mm512_set1_epi16(static_cast<short>(Second * 256 + First)))};
}
template <int First>
MOX_INLINE V512 slideBytes(V512 a, V512 b) {
  return {_mm512_alignr_epi8(b.r, a.r, First)};
}
MOX_INLINE void storeBlocks(void* p, V512 low, V512 high) {
  const __m512i first = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11);
  const __m512i second = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
  store(p, V512{_mm512_permutex2var_epi64(low.r, first, high.r)});
  store(static_cast<uint8_t*>(p) + 64, V512{_mm512_permutex2var_epi64(low.r, second, high.r)});
}
MOX_INLINE V512 packsU16Linear(V512 a, V512 b) {
  const __m512i order = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
  return {_mm512_permutexvar_epi64(order, _mm512_packus_epi16(a.r, b.r))};
}
MOX_INLINE V512 mulRound16(V512 a, V512 b) { return {_mm512_mulhrs_epi16(a.r, b.r)}; }
MOX_INLINE V512 highHalves32(V512 a, V512 b) { return {_mm512_mask_blend_epi16(0xAAAAAAAA, shrU32<16>(a).r, b.r)}; }
MOX_INLINE V512 reverse16(V512 a) {
  const __m128i order = _mm_setr_epi8(6, 7, 4, 5, 2, 3, 0, 1, 14, 15, 12, 13, 10, 11, 8, 9);
  return {_mm512_shuffle_epi8(a.r, _mm512_broadcast_i32x4(order))};
}
MOX_INLINE V512 reverseHigh16(V512 a) { return {_mm512_shufflehi_epi16(a.r, _MM_SHUFFLE(0, 1, 2, 3))}; }
// Comparisons of 512 bits give bit masks.
struct M512x16 {
  __mmask32 r;
};
MOX_INLINE M512x16 equal16(V512 a, V512 b) { return {_mm512_cmpeq_epi16_mask(a.r, b.r)}; }
MOX_INLINE M512x16 negative16(V512 a) { return {_mm512_movepi16_mask(a.r)}; }
MOX_INLINE V512 keep(M512x16 mask, V512 a) { return {_mm512_maskz_mov_epi16(mask.r, a.r)}; }
MOX_INLINE V512 select(M512x16 mask, V512 a, V512 b) { return {_mm512_mask_blend_epi16(mask.r, b.r, a.r)}; }

template <int Bits>
MOX_INLINE V128 shlJoined16(V128 high, V128 low) {
  return {_mm_shldi_epi16(high.r, low.r, Bits)};
}
template <int Bits>
MOX_INLINE V256 shlJoined16(V256 high, V256 low) {
  return {_mm256_shldi_epi16(high.r, low.r, Bits)};
}
template <int Bits>
MOX_INLINE V512 shlJoined16(V512 high, V512 low) {
  return {_mm512_shldi_epi16(high.r, low.r, Bits)};
}

MOX_INLINE V512 truncate32(V512 a) { return {_mm512_cvttps_epi32(_mm512_castsi512_ps(a.r))}; }

MOX_INLINE __mmask64 firstMask(int n) { return n < 64 ? (uint64_t{1} << n) - 1 : ~uint64_t{0}; }
MOX_INLINE bool anyFirstEqual8(V512 a, V512 b, int n) {
  return _mm512_mask_cmpeq_epi8_mask(firstMask(n), a.r, b.r) != 0;
}
MOX_INLINE void storeFirst(void* p, V512 a, int n) { _mm512_mask_storeu_epi8(p, firstMask(n), a.r); }

// ---- Across all bytes ----------------------------------------------------------------------------------------------

MOX_INLINE V512 permute8Linear(V512 a, V512 order) { return {_mm512_permutexvar_epi8(order.r, a.r)}; }
template <uint64_t Mask>
MOX_INLINE V512 permute8Where(V512 old, V512 a, V512 order) {
  return {_mm512_mask_permutexvar_epi8(old.r, Mask, order.r, a.r)};
}
MOX_INLINE V512 permute16Linear(V512 a, V512 b, V512 order) { return {_mm512_permutex2var_epi16(a.r, order.r, b.r)}; }
MOX_INLINE V512 join256(V512 a, V512 b) { return {_mm512_shuffle_i64x2(a.r, b.r, 0x44)}; }
MOX_INLINE V512 join256High(V512 a, V512 b) { return {_mm512_shuffle_i64x2(a.r, b.r, 0xEE)}; }
template <uint64_t Mask>
MOX_INLINE void storeWhere(void* p, V512 a) {
  _mm512_mask_storeu_epi8(p, Mask, a.r);
}
// A mask of bytes: one of 64-bit lanes would become a masked extraction, which faults for what the mask leaves out.
template <uint64_t Mask>
MOX_INLINE void storeWhere(void* p, V256 a) {
  static_assert(Mask >> 32 == 0);
  _mm256_mask_storeu_epi8(p, Mask, a.r);
}
template <>
MOX_INLINE uint64_t nonZero16<V512>(V512 a, V512 b) {
  return static_cast<uint64_t>(_mm512_test_epi16_mask(b.r, b.r)) << 32 | _mm512_test_epi16_mask(a.r, a.r);
}

}  // namespace mox::MOX_TARGET
