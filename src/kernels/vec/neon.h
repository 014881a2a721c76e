// The vector layer for NEON. What each operation means: vec.h, which alone includes this.
#pragma once

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

namespace mox::MOX_TARGET {

struct V128 {
  static constexpr int kBytes = 16;
  int16x8_t r;
};

MOX_INLINE uint8x16_t u8(V128 a) { return vreinterpretq_u8_s16(a.r); }
MOX_INLINE uint16x8_t u16(V128 a) { return vreinterpretq_u16_s16(a.r); }
MOX_INLINE int32x4_t s32(V128 a) { return vreinterpretq_s32_s16(a.r); }
MOX_INLINE uint32x4_t u32(V128 a) { return vreinterpretq_u32_s16(a.r); }
MOX_INLINE int64x2_t s64(V128 a) { return vreinterpretq_s64_s16(a.r); }
MOX_INLINE V128 wrap(uint8x16_t a) { return {vreinterpretq_s16_u8(a)}; }
MOX_INLINE V128 wrap(int8x16_t a) { return {vreinterpretq_s16_s8(a)}; }
MOX_INLINE V128 wrap(uint16x8_t a) { return {vreinterpretq_s16_u16(a)}; }
MOX_INLINE V128 wrap(int16x8_t a) { return {a}; }
MOX_INLINE V128 wrap(int32x4_t a) { return {vreinterpretq_s16_s32(a)}; }
MOX_INLINE V128 wrap(uint32x4_t a) { return {vreinterpretq_s16_u32(a)}; }
MOX_INLINE V128 wrap(int64x2_t a) { return {vreinterpretq_s16_s64(a)}; }

template <>
MOX_INLINE V128 load<V128>(const void* p) {
  return wrap(vld1q_u8(static_cast<const uint8_t*>(p)));
}
MOX_INLINE void store(void* p, V128 a) { vst1q_u8(static_cast<uint8_t*>(p), u8(a)); }
template <>
MOX_INLINE V128 loadLow8<V128>(const void* p) {
  return wrap(vcombine_u8(vld1_u8(static_cast<const uint8_t*>(p)), vdup_n_u8(0)));
}
MOX_INLINE void storeLow8(void* p, V128 a) { vst1_u8(static_cast<uint8_t*>(p), vget_low_u8(u8(a))); }

template <>
MOX_INLINE V128 zero<V128>() {
  return {vdupq_n_s16(0)};
}
template <>
MOX_INLINE V128 set8<V128>(int x) {
  return wrap(vdupq_n_s8(static_cast<int8_t>(x)));
}
template <>
MOX_INLINE V128 set16<V128>(int x) {
  return wrap(vdupq_n_s16(static_cast<int16_t>(x)));
}
template <>
MOX_INLINE V128 set32<V128>(int x) {
  return wrap(vdupq_n_s32(x));
}

MOX_INLINE V128 sub8(V128 a, V128 b) { return wrap(vsubq_u8(u8(a), u8(b))); }
MOX_INLINE V128 addsU8(V128 a, V128 b) { return wrap(vqaddq_u8(u8(a), u8(b))); }
MOX_INLINE V128 subsU8(V128 a, V128 b) { return wrap(vqsubq_u8(u8(a), u8(b))); }
MOX_INLINE V128 avgU8(V128 a, V128 b) { return wrap(vrhaddq_u8(u8(a), u8(b))); }
MOX_INLINE V128 maxU8(V128 a, V128 b) { return wrap(vmaxq_u8(u8(a), u8(b))); }
MOX_INLINE V128 avgU16(V128 a, V128 b) { return wrap(vrhaddq_u16(u16(a), u16(b))); }
MOX_INLINE V128 add16(V128 a, V128 b) { return wrap(vaddq_s16(a.r, b.r)); }
MOX_INLINE V128 sub16(V128 a, V128 b) { return wrap(vsubq_s16(a.r, b.r)); }
MOX_INLINE V128 adds16(V128 a, V128 b) { return wrap(vqaddq_s16(a.r, b.r)); }
MOX_INLINE V128 subs16(V128 a, V128 b) { return wrap(vqsubq_s16(a.r, b.r)); }
MOX_INLINE V128 subsU16(V128 a, V128 b) { return wrap(vqsubq_u16(u16(a), u16(b))); }
MOX_INLINE V128 max16(V128 a, V128 b) { return wrap(vmaxq_s16(a.r, b.r)); }
MOX_INLINE V128 mulLow16(V128 a, V128 b) { return wrap(vmulq_s16(a.r, b.r)); }
MOX_INLINE V128 mulHigh16(V128 a, V128 b) {
  const int16x8_t low = vreinterpretq_s16_s32(vmull_s16(vget_low_s16(a.r), vget_low_s16(b.r)));
  const int16x8_t high = vreinterpretq_s16_s32(vmull_high_s16(a.r, b.r));
  return wrap(vuzp2q_s16(low, high));
}
MOX_INLINE V128 mulHighU16(V128 a, V128 b) {
  const uint16x8_t low = vreinterpretq_u16_u32(vmull_u16(vget_low_u16(u16(a)), vget_low_u16(u16(b))));
  const uint16x8_t high = vreinterpretq_u16_u32(vmull_high_u16(u16(a), u16(b)));
  return wrap(vuzp2q_u16(low, high));
}
MOX_INLINE V128 dot16(V128 a, V128 b) {
  return wrap(vpaddq_s32(vmull_s16(vget_low_s16(a.r), vget_low_s16(b.r)), vmull_high_s16(a.r, b.r)));
}
MOX_INLINE V128 dotAdd16(V128 sum, V128 a, V128 b) { return wrap(vaddq_s32(s32(sum), s32(dot16(a, b)))); }
MOX_INLINE V128 add32(V128 a, V128 b) { return wrap(vaddq_s32(s32(a), s32(b))); }
MOX_INLINE V128 sub32(V128 a, V128 b) { return wrap(vsubq_s32(s32(a), s32(b))); }
MOX_INLINE V128 packs32(V128 a, V128 b) { return wrap(vqmovn_high_s32(vqmovn_s32(s32(a)), s32(b))); }
MOX_INLINE V128 packsU16(V128 a, V128 b) { return wrap(vqmovun_high_s16(vqmovun_s16(a.r), b.r)); }
MOX_INLINE V128 packs16(V128 a, V128 b) { return wrap(vqmovn_high_s16(vqmovn_s16(a.r), b.r)); }
MOX_INLINE V128 low8(V128 a, V128 b) { return wrap(vzip1q_u8(u8(a), u8(b))); }
MOX_INLINE V128 high8(V128 a, V128 b) { return wrap(vzip2q_u8(u8(a), u8(b))); }
MOX_INLINE V128 low16(V128 a, V128 b) { return wrap(vzip1q_s16(a.r, b.r)); }
MOX_INLINE V128 high16(V128 a, V128 b) { return wrap(vzip2q_s16(a.r, b.r)); }
MOX_INLINE V128 low64(V128 a, V128 b) { return wrap(vzip1q_s64(s64(a), s64(b))); }
MOX_INLINE V128 high64(V128 a, V128 b) { return wrap(vzip2q_s64(s64(a), s64(b))); }
MOX_INLINE V128 bitAnd(V128 a, V128 b) { return wrap(vandq_s16(a.r, b.r)); }
MOX_INLINE V128 bitOr(V128 a, V128 b) { return wrap(vorrq_s16(a.r, b.r)); }
MOX_INLINE V128 bitXor(V128 a, V128 b) { return wrap(veorq_s16(a.r, b.r)); }
MOX_INLINE V128 bitAndNot(V128 a, V128 b) { return wrap(vbicq_s16(b.r, a.r)); }
template <int Bits>
MOX_INLINE V128 shl16(V128 a) {
  return wrap(vshlq_n_s16(a.r, Bits));
}
template <int Bits>
MOX_INLINE V128 shr16(V128 a) {
  return wrap(vshrq_n_s16(a.r, Bits));
}
template <int Bits>
MOX_INLINE V128 shrU16(V128 a) {
  return wrap(vshrq_n_u16(u16(a), Bits));
}
MOX_INLINE V128 shrU16By(V128 a, int bits) { return wrap(vshlq_u16(u16(a), vdupq_n_s16(static_cast<int16_t>(-bits)))); }
template <int Bits>
MOX_INLINE V128 shr32(V128 a) {
  return wrap(vshrq_n_s32(s32(a), Bits));
}
template <int Bits>
MOX_INLINE V128 shrU32(V128 a) {
  return wrap(vshrq_n_u32(u32(a), Bits));
}
template <int Order>
MOX_INLINE V128 shuffle32(V128 a) {
  const int32x4_t v = s32(a);
  return wrap(__builtin_shuffle(v, int32x4_t{Order & 3, Order >> 2 & 3, Order >> 4 & 3, Order >> 6 & 3}));
}
MOX_INLINE V128 equal16(V128 a, V128 b) { return wrap(vceqq_s16(a.r, b.r)); }
MOX_INLINE V128 select(V128 mask, V128 a, V128 b) { return wrap(vbslq_s16(u16(mask), a.r, b.r)); }
MOX_INLINE V128 shuffle8(V128 a, V128 order) { return wrap(vqtbl1q_u8(u8(a), u8(order))); }

MOX_INLINE V128 mulRound16(V128 a, V128 b) { return wrap(vqrdmulhq_s16(a.r, b.r)); }
template <int First, int Second>
MOX_INLINE V128 dotU8(V128 a) {
  const uint16x8_t first = vandq_u16(u16(a), vdupq_n_u16(0xFF)), second = vshrq_n_u16(u16(a), 8);
  return wrap(vmlaq_n_u16(vmulq_n_u16(second, static_cast<uint16_t>(Second)), first, First));
}
template <int First>
MOX_INLINE V128 slideBytes(V128 a, V128 b) {
  return wrap(vextq_u8(u8(a), u8(b), First));
}
MOX_INLINE void storeBlocks(void* p, V128 low, V128 high) {
  store(p, low);
  store(static_cast<uint8_t*>(p) + 16, high);
}
template <int Bits>
MOX_INLINE V128 roundShr16(V128 a) {
  return wrap(vrshrq_n_s16(a.r, Bits));
}
MOX_INLINE bool allZero(V128 a) { return vmaxvq_u32(u32(a)) == 0; }
MOX_INLINE V128 keep(V128 mask, V128 a) { return bitAnd(mask, a); }
MOX_INLINE V128 negative16(V128 a) { return shr16<15>(a); }
MOX_INLINE V128 highHalves32(V128 a, V128 b) { return wrap(vtrn2q_s16(a.r, b.r)); }
MOX_INLINE V128 reverse16(V128 a) { return wrap(vrev64q_s16(a.r)); }
MOX_INLINE V128 reverseHigh16(V128 a) { return wrap(vcombine_s16(vget_low_s16(a.r), vrev64_s16(vget_high_s16(a.r)))); }
template <int First>
MOX_INLINE V128 repeatPair16(V128 a) {
  constexpr short x = First, y = First + 2;
  return wrap(__builtin_shuffle(a.r, int16x8_t{x, y, x, y, x, y, x, y}));
}
MOX_INLINE V128 repeatLast16(V128 a) { return wrap(vdupq_laneq_s16(a.r, 7)); }
MOX_INLINE void storeHigh8(void* p, V128 a) { vst1_u8(static_cast<uint8_t*>(p), vget_high_u8(u8(a))); }
template <>
MOX_INLINE V128 loadApart<V128>(const void* p, ptrdiff_t) {
  return load<V128>(p);
}
MOX_INLINE void storeApart(void* p, ptrdiff_t, V128 a) { store(p, a); }
MOX_INLINE void storeHalvesApart(void* low, void* high, ptrdiff_t, V128 a) {
  storeLow8(low, a);
  storeHigh8(high, a);
}

MOX_INLINE V128 abs16(V128 a) { return wrap(vabsq_s16(a.r)); }
MOX_INLINE V128 bitWidths16(V128 a) { return wrap(vsubq_s16(vdupq_n_s16(16), vclzq_s16(a.r))); }
MOX_INLINE V128 packedInOrder(V128 a) { return a; }
MOX_INLINE V128 reverse8(V128 a) {
  const uint8x16_t halves = vrev64q_u8(u8(a));
  return wrap(vextq_u8(halves, halves, 8));
}
MOX_INLINE bool anyBits(V128 a) { return vmaxvq_u8(u8(a)) != 0; }
MOX_INLINE uint64_t nonZero8(V128 a) {
  const uint8x16_t bit = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
  uint8x16_t sums = vandq_u8(vtstq_u8(u8(a), u8(a)), bit);
  for (int i = 0; i < 3; i++) sums = vpaddq_u8(sums, sums);
  return vgetq_lane_u16(vreinterpretq_u16_u8(sums), 0);
}
MOX_INLINE uint64_t equalBytes(V128 a, V128 b) { return nonZero8(wrap(vceqq_u8(u8(a), u8(b)))); }

template <>
MOX_INLINE V128 loadSame<V128>(const void* p) {
  return load<V128>(p);
}

template <>
MOX_INLINE V128 load8As16<V128>(const uint8_t* p) {
  return wrap(vmovl_u8(vld1_u8(p)));
}
MOX_INLINE V128 packsU16Linear(V128 a, V128 b) { return packsU16(a, b); }

template <class V, int Value>
MOX_INLINE V fixed32() {
  return set32<V>(Value);
}

// ---- Vectors interleaved in memory ---------------------------------------------------------------------------------

MOX_INLINE void loadInterleaved(const void* p, V128 (&out)[3]) {
  const uint8x16x3_t v = vld3q_u8(static_cast<const uint8_t*>(p));
  for (int i = 0; i < 3; i++) out[i] = wrap(v.val[i]);
}
MOX_INLINE void loadInterleaved(const void* p, V128 (&out)[4]) {
  const uint8x16x4_t v = vld4q_u8(static_cast<const uint8_t*>(p));
#pragma GCC unroll 4
  for (int i = 0; i < 4; i++) out[i] = wrap(v.val[i]);
}
MOX_INLINE void storeInterleaved(void* p, V128 a, V128 b, V128 c) {
  vst3q_u8(static_cast<uint8_t*>(p), uint8x16x3_t{{u8(a), u8(b), u8(c)}});
}
MOX_INLINE void storeInterleaved(void* p, V128 a, V128 b, V128 c, V128 d) {
  vst4q_u8(static_cast<uint8_t*>(p), uint8x16x4_t{{u8(a), u8(b), u8(c), u8(d)}});
}
MOX_INLINE void storeHalvesInterleaved(void* low, void* high, V128 a, V128 b, V128 c) {
  vst3_u8(static_cast<uint8_t*>(low), uint8x8x3_t{{vget_low_u8(u8(a)), vget_low_u8(u8(b)), vget_low_u8(u8(c))}});
  vst3_u8(static_cast<uint8_t*>(high), uint8x8x3_t{{vget_high_u8(u8(a)), vget_high_u8(u8(b)), vget_high_u8(u8(c))}});
}

}  // namespace mox::MOX_TARGET
