// One byte for each coefficient of a chunk, and the selection of some of them, with AVX-512: a vector of 64 bytes, from
// which a compression selects. The same interface as t1enc_words.h.
#pragma once

#include <immintrin.h>

#include "kernels/tier1/t1enc.h"

namespace mox::MOX_TARGET {
namespace {

using namespace tier1;

using Bytes = __m512i;

Bytes load64(const void* p) { return _mm512_loadu_si512(p); }

template <int kBase, int kBits>
Bytes bytesOf(const slice::Numbers<kBase, kBits>& numbers) {
  Bytes bytes = _mm512_set1_epi8(kBase);
  for (int k = 0; k < kBits; k++)
    bytes = _mm512_mask_add_epi8(bytes, numbers.bit[k], bytes, _mm512_set1_epi8(static_cast<char>(1 << k)));
  return bytes;
}

void replace(Bytes& bytes, uint64_t set, uint8_t byte) {
  bytes = _mm512_mask_mov_epi8(bytes, set, _mm512_set1_epi8(static_cast<char>(byte)));
}

// Appends the bytes of a set's coefficients. Returns the new end, like every append function.
uint8_t* append(uint8_t* out, const Bytes& bytes, uint64_t set) {
  _mm512_storeu_si512(out, _mm512_maskz_compress_epi8(set, bytes));
  return out + _mm_popcnt_u64(set);
}

struct Interleaved {
  Bytes half[2];
};

// The halves of every 128-bit block from the two halves of the vector, so that unpacking, which works on such blocks,
// keeps the order.
Bytes apart(const Bytes& bytes) { return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 4, 1, 5, 2, 6, 3, 7), bytes); }
Interleaved interleave(Bytes first, Bytes second) {
  first = apart(first), second = apart(second);
  return {_mm512_unpacklo_epi8(first, second), _mm512_unpackhi_epi8(first, second)};
}

// Appends for each coefficient its byte of `first`, if it is in firstSet, then its byte of `second`, if it is in
// secondSet, which is a part of firstSet.
uint8_t* appendPairs(uint8_t* out, const Bytes& first, uint64_t firstSet, const Bytes& second, uint64_t secondSet) {
  const Interleaved both = interleave(first, second);
  for (int half = 0; half < 2; half++)
    out = append(out, both.half[half],
                 _pdep_u64(firstSet >> 32 * half, UINT64_C(0x5555555555555555)) |
                     _pdep_u64(secondSet >> 32 * half, UINT64_C(0xAAAAAAAAAAAAAAAA)));
  return out;
}

// With broken runs: kRunBroken goes before the first row of each column in `broken`; a coefficient in `firsts` gets its
// 2-bit position instead of its significance. That makes four slots for each coefficient; the third takes the lower bit
// of the position or the significance.
uint8_t* appendBroken(uint8_t* out, Bytes significance, uint64_t coded, const Bytes& sign, uint64_t fresh,
                      uint64_t broken, uint64_t firsts) {
  significance = _mm512_mask_mov_epi8(significance, firsts, _mm512_set1_epi16(0x0100));
  const Interleaved before = interleave(_mm512_set1_epi8(kRunBroken), _mm512_set1_epi32(0x01010000));
  const Interleaved after = interleave(significance, sign);
  for (int quarter = 0; quarter < 4; quarter++) {
    const auto places = [&](uint64_t set, int place) { return _pdep_u64(set >> 16 * quarter, slice::kTop << place); };
    const Bytes a = apart(before.half[quarter / 2]), b = apart(after.half[quarter / 2]);
    out = append(out, quarter % 2 ? _mm512_unpackhi_epi16(a, b) : _mm512_unpacklo_epi16(a, b),
                 places(broken, 0) | places(firsts, 1) | places(coded | firsts, 2) | places(fresh, 3));
  }
  return out;
}

// The rows of sixteen columns, turned into sixteen columns of four: each row is put into such an order that unpacking,
// which works on blocks of 128 bits, leaves neighbouring columns in neighbouring blocks.
Gathered gather(const ChunkRows& rows, uint32_t* coefficients) {
  const __m512i order = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
  const auto row = [&](int y) { return _mm512_permutexvar_epi32(order, load64(rows.row[y])); };
  const __m512i row0 = row(0), row1 = row(1), row2 = row(2), row3 = row(3);
  const __m512i low01 = _mm512_unpacklo_epi32(row0, row1), high01 = _mm512_unpackhi_epi32(row0, row1);
  const __m512i low23 = _mm512_unpacklo_epi32(row2, row3), high23 = _mm512_unpackhi_epi32(row2, row3);
  const __m512i columns[] = {_mm512_unpacklo_epi64(low01, low23), _mm512_unpackhi_epi64(low01, low23),
                             _mm512_unpacklo_epi64(high01, high23), _mm512_unpackhi_epi64(high01, high23)};
  uint64_t negative = 0;
#pragma GCC unroll 4
  for (int i = 0; i < 4; i++) {
    _mm512_storeu_si512(coefficients + 16 * i, columns[i]);
    negative |= uint64_t{_mm512_movepi32_mask(columns[i])} << 16 * i;
  }
  const __m512i any = _mm512_or_si512(_mm512_or_si512(row0, row1), _mm512_or_si512(row2, row3));
  return {static_cast<uint32_t>(_mm512_reduce_or_epi32(any)), negative};
}

// The decisions of a bit-plane: the top bits of the windows.
uint64_t decisionsOf(const uint8_t* windows) {
  return _mm512_test_epi8_mask(load64(windows), _mm512_set1_epi8(1 << (kWindowBits - 1)));
}

void windowsOf(const uint32_t* coefficients, int plane, uint8_t* windows) {
  const int below = plane + 1 - kWindowBits;
  const __m128i right = _mm_cvtsi32_si128(below > 0 ? below : 0), left = _mm_cvtsi32_si128(below < 0 ? -below : 0);
  for (int i = 0; i < 4; i++) {
    const __m512i shifted = _mm512_sll_epi32(_mm512_srl_epi32(load64(coefficients + 16 * i), right), left);
    const __m512i window = _mm512_and_si512(shifted, _mm512_set1_epi32((1 << kWindowBits) - 1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(windows + 16 * i), _mm512_cvtepi32_epi8(window));
  }
}

// The sums of the windows' lower bits over chosen coefficients, for their distortions.
class Moments {
 public:
  void add(const uint8_t* windows, uint64_t chosen) {
    const __m512i low = _mm512_set1_epi8((1 << (kWindowBits - 1)) - 1);
    const __m512i j = _mm512_maskz_mov_epi8(chosen, _mm512_and_si512(load64(windows), low));
    count_ += static_cast<uint32_t>(_mm_popcnt_u64(chosen));
    sum_ = _mm512_add_epi64(sum_, _mm512_sad_epu8(j, _mm512_setzero_si512()));
    squares_ = _mm512_dpbusd_epi32(squares_, j, j);
  }
  uint32_t weigh(const Gain& gain) const {
    return gain.constant * count_ + gain.linear * static_cast<uint32_t>(_mm512_reduce_add_epi64(sum_)) +
           gain.square * static_cast<uint32_t>(_mm512_reduce_add_epi32(squares_));
  }

 private:
  uint32_t count_ = 0;
  __m512i sum_ = _mm512_setzero_si512(), squares_ = _mm512_setzero_si512();
};

}  // namespace
}  // namespace mox::MOX_TARGET
