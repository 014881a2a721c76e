// Sets of coefficients as bytes, and bytes chosen by a set, with AVX2: a comparison spreads bits to bytes, and shuffles
// by tables move the chosen ones of eight bytes together, or apart again, without a branch on which they are.
#pragma once

#include <immintrin.h>

#include <array>
#include <bit>
#include <cstdint>

namespace mox::MOX_TARGET {
namespace {

inline constexpr int kHalf = 32;  // bytes of a vector: half of those of a chunk

inline __m256i loadHalf(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
inline void storeHalf(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }
inline __m128i loadEight(const void* p) { return _mm_loadl_epi64(static_cast<const __m128i*>(p)); }
inline void storeEight(void* p, __m128i v) { _mm_storel_epi64(static_cast<__m128i*>(p), v); }

// The lowest 32 bits as bytes, all ones where a bit is set.
inline __m256i spread(uint64_t bits) {
  const __m256i four = _mm256_set1_epi32(static_cast<int>(bits));
  const __m256i eachByte = _mm256_setr_epi64x(0, 0x0101010101010101, 0x0202020202020202, 0x0303030303030303);
  const __m256i itsBit = _mm256_set1_epi64x(static_cast<int64_t>(0x8040201008040201));
  return _mm256_cmpeq_epi8(_mm256_and_si256(_mm256_shuffle_epi8(four, eachByte), itsBit), itsBit);
}

// For each set of eight: the order that moves its bytes together, and the one that moves them back.
struct Orders {
  std::array<std::array<uint8_t, 8>, 256> together, apart;
};
inline constexpr Orders kOrders = [] {
  Orders orders{};
  for (unsigned set = 0; set < 256; set++)
    for (uint8_t i = 0, count = 0; i < 8; i++) {
      orders.apart[set][i] = set >> i & 1 ? count : 0x80;
      if (set >> i & 1) orders.together[set][count++] = i;
    }
  return orders;
}();

// Appends the chosen ones of the lowest eight bytes of a vector; writes eight bytes. Returns the new end, like every
// append function.
inline uint8_t* appendEight(uint8_t* out, __m128i eight, unsigned set) {
  storeEight(out, _mm_shuffle_epi8(eight, loadEight(kOrders.together[set].data())));
  return out + std::popcount(set);
}

// Chosen ones of 64 bytes; may write up to eight bytes past them.
inline uint8_t* appendChosen(uint8_t* out, const uint8_t* bytes, uint64_t set) {
#pragma GCC unroll 8
  for (int i = 0; i < 64; i += 8) out = appendEight(out, loadEight(bytes + i), static_cast<unsigned>(set >> i & 0xFF));
  return out;
}

// The inverse: 64 bytes, those of the set from `chosen` in their order, zeros elsewhere. It may read up to eight bytes
// past the last.
inline void moveApart(const uint8_t* chosen, uint64_t set, uint8_t* bytes) {
#pragma GCC unroll 8
  for (int i = 0; i < 64; i += 8) {
    const unsigned here = static_cast<unsigned>(set >> i & 0xFF);
    storeEight(bytes + i, _mm_shuffle_epi8(loadEight(chosen), loadEight(kOrders.apart[here].data())));
    chosen += std::popcount(here);
  }
}

}  // namespace
}  // namespace mox::MOX_TARGET
