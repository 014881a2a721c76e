// One byte for each coefficient of a chunk, and the selection of some of them, with AVX2 (selection.h). The same
// interface as t1enc_words.h.
#pragma once

#include <immintrin.h>

#include <array>
#include <bit>

#include "kernels/tier1/selection.h"
#include "kernels/tier1/t1enc.h"

namespace mox::MOX_TARGET {
namespace {

using namespace tier1;

struct Bytes {
  alignas(kHalf) uint8_t at[kChunkSize];
};

template <int kBase, int kBits>
Bytes bytesOf(const slice::Numbers<kBase, kBits>& numbers) {
  Bytes bytes;
  for (int i = 0; i < 64; i += kHalf) {
    __m256i sum = _mm256_set1_epi8(kBase);
#pragma GCC unroll 8
    for (int k = 0; k < kBits; k++)
      sum = _mm256_add_epi8(sum, _mm256_and_si256(spread(numbers.bit[k] >> i), _mm256_set1_epi8(1 << k)));
    storeHalf(bytes.at + i, sum);
  }
  return bytes;
}

void replace(Bytes& bytes, uint64_t set, uint8_t byte) {
  const __m256i other = _mm256_set1_epi8(static_cast<char>(byte));
  for (int i = 0; i < 64; i += kHalf)
    storeHalf(bytes.at + i, _mm256_blendv_epi8(loadHalf(bytes.at + i), other, spread(set >> i)));
}

// ---- Selection

// Appends the chosen ones of sixteen bytes, with a set for each eight.
uint8_t* appendSixteen(uint8_t* out, __m128i sixteen, const uint8_t* sets) {
  out = appendEight(out, sixteen, sets[0]);
  return appendEight(out, _mm_unpackhi_epi64(sixteen, sixteen), sets[1]);
}

// Appends the bytes of a set's coefficients. Returns the new end, like every append function.
uint8_t* append(uint8_t* out, const Bytes& bytes, uint64_t set) { return appendChosen(out, bytes.at, set); }

// The sixteen groups of four bits of a set, a byte each.
__m128i nibbles(uint64_t set) {
  const __m128i low = _mm_set1_epi8(15), all = loadEight(&set);
  return _mm_unpacklo_epi8(_mm_and_si128(all, low), _mm_and_si128(_mm_srli_epi16(all, 4), low));
}

// For each group of four bits: bit First + i of it to bit `Step` * i.
template <int First, int Count, int Step>
__m128i apart(__m128i groups) {
  alignas(16) static constexpr auto kApart = [] {
    std::array<uint8_t, 16> table{};
    for (int bits = 0; bits < 16; bits++)
      for (int i = 0; i < Count; i++) table[bits] |= static_cast<uint8_t>((bits >> (First + i) & 1) << Step * i);
    return table;
  }();
  return _mm_shuffle_epi8(_mm_load_si128(reinterpret_cast<const __m128i*>(kApart.data())), groups);
}

// The lower bits of `a` and twice those of `b`, which do not meet.
__m128i under(__m128i a, __m128i b) { return _mm_or_si128(a, _mm_add_epi8(b, b)); }

// Appends for each coefficient its byte of `first`, if it is in firstSet, then its byte of `second`, if it is in
// secondSet, which is a part of firstSet.
uint8_t* appendPairs(uint8_t* out, const Bytes& first, uint64_t firstSet, const Bytes& second, uint64_t secondSet) {
  alignas(16) uint8_t sets[16];
  _mm_store_si128(reinterpret_cast<__m128i*>(sets),
                  under(apart<0, 4, 2>(nibbles(firstSet)), apart<0, 4, 2>(nibbles(secondSet))));
#pragma GCC unroll 8
  for (int i = 0; i < 64; i += 8)
    out = appendSixteen(out, _mm_unpacklo_epi8(loadEight(first.at + i), loadEight(second.at + i)), sets + i / 4);
  return out;
}

// With broken runs: kRunBroken goes before the first row of each column in `broken`; a coefficient in `firsts` gets its
// 2-bit position instead of its significance. That makes four slots for each coefficient; the third takes the lower bit
// of the position or the significance.
uint8_t* appendBroken(uint8_t* out, Bytes significance, uint64_t coded, const Bytes& sign, uint64_t fresh,
                      uint64_t broken, uint64_t firsts) {
  for (int i = 0; i < 64; i += kHalf)
    storeHalf(significance.at + i,
              _mm256_blendv_epi8(loadHalf(significance.at + i), _mm256_set1_epi16(0x0100), spread(firsts >> i)));
  const __m128i slots[] = {nibbles(broken), nibbles(firsts), nibbles(coded | firsts), nibbles(fresh)};
  __m128i even = apart<0, 2, 4>(slots[3]), odd = apart<2, 2, 4>(slots[3]);
#pragma GCC unroll 3
  for (int k = 2; k >= 0; k--) even = under(apart<0, 2, 4>(slots[k]), even), odd = under(apart<2, 2, 4>(slots[k]), odd);
  alignas(16) uint8_t sets[32];
  _mm_store_si128(reinterpret_cast<__m128i*>(sets), _mm_unpacklo_epi8(even, odd));
  _mm_store_si128(reinterpret_cast<__m128i*>(sets + 16), _mm_unpackhi_epi8(even, odd));
  const __m128i before = _mm_unpacklo_epi8(_mm_set1_epi8(kRunBroken), _mm_set1_epi32(0x01010000));
  for (int i = 0; i < 64; i += 8) {
    const __m128i after = _mm_unpacklo_epi8(loadEight(significance.at + i), loadEight(sign.at + i));
    out = appendSixteen(out, _mm_unpacklo_epi16(before, after), sets + i / 2);
    out = appendSixteen(out, _mm_unpackhi_epi16(before, after), sets + i / 2 + 2);
  }
  return out;
}

// ---- Coefficients and windows

// The rows of eight columns, turned into eight columns of four: each row is put into such an order that unpacking,
// which works on blocks of 128 bits, leaves neighbouring columns in neighbouring blocks.
Gathered gather(const ChunkRows& rows, uint32_t* coefficients) {
  const __m256i order = _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7);
  __m256i any = _mm256_setzero_si256();
  uint64_t negative = 0;
#pragma GCC unroll 2
  for (int x = 0; x < kChunkColumns; x += 8) {
    const auto row = [&](int y) {
      return _mm256_permutevar8x32_epi32(loadHalf(rows.row[y] + sizeof(uint32_t) * x), order);
    };
    const __m256i row0 = row(0), row1 = row(1), row2 = row(2), row3 = row(3);
    const __m256i low01 = _mm256_unpacklo_epi32(row0, row1), high01 = _mm256_unpackhi_epi32(row0, row1);
    const __m256i low23 = _mm256_unpacklo_epi32(row2, row3), high23 = _mm256_unpackhi_epi32(row2, row3);
    const __m256i columns[] = {_mm256_unpacklo_epi64(low01, low23), _mm256_unpackhi_epi64(low01, low23),
                               _mm256_unpacklo_epi64(high01, high23), _mm256_unpackhi_epi64(high01, high23)};
#pragma GCC unroll 4
    for (int i = 0; i < 4; i++) {
      const int first = 4 * x + 8 * i;
      storeHalf(coefficients + first, columns[i]);
      negative |= static_cast<uint64_t>(_mm256_movemask_ps(_mm256_castsi256_ps(columns[i]))) << first;
    }
    any = _mm256_or_si256(any, _mm256_or_si256(_mm256_or_si256(row0, row1), _mm256_or_si256(row2, row3)));
  }
  alignas(kHalf) uint32_t lane[8];
  _mm256_store_si256(reinterpret_cast<__m256i*>(lane), any);
  uint32_t all = 0;
  for (const uint32_t each : lane) all |= each;
  return {all, negative};
}

// The decisions of a bit-plane: the top bits of the windows.
uint64_t decisionsOf(const uint8_t* windows) {
  const auto half = [](const uint8_t* p) {
    return static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_slli_epi16(loadHalf(p), 8 - kWindowBits)));
  };
  return uint64_t{half(windows + kHalf)} << kHalf | half(windows);
}

void windowsOf(const uint32_t* coefficients, int plane, uint8_t* windows) {
  const int below = plane + 1 - kWindowBits;
  const __m128i right = _mm_cvtsi32_si128(below > 0 ? below : 0), left = _mm_cvtsi32_si128(below < 0 ? -below : 0);
  const __m256i low = _mm256_set1_epi32((1 << kWindowBits) - 1), order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  for (int i = 0; i < 64; i += kHalf) {
    const auto window = [&](int k) {
      return _mm256_and_si256(_mm256_sll_epi32(_mm256_srl_epi32(loadHalf(coefficients + i + k), right), left), low);
    };
    const __m256i words =
        _mm256_packus_epi16(_mm256_packs_epi32(window(0), window(8)), _mm256_packs_epi32(window(16), window(24)));
    storeHalf(windows + i, _mm256_permutevar8x32_epi32(words, order));
  }
}

// The sums of the windows' lower bits over chosen coefficients, for their distortions.
class Moments {
 public:
  void add(const uint8_t* windows, uint64_t chosen) {
    const __m256i low = _mm256_set1_epi8((1 << (kWindowBits - 1)) - 1), ones = _mm256_set1_epi16(1);
    count_ += static_cast<uint32_t>(std::popcount(chosen));
    for (int i = 0; i < 64; i += kHalf) {
      const __m256i j = _mm256_and_si256(_mm256_and_si256(loadHalf(windows + i), low), spread(chosen >> i));
      sum_ = _mm256_add_epi32(sum_, _mm256_sad_epu8(j, _mm256_setzero_si256()));
      squares_ = _mm256_add_epi32(squares_, _mm256_madd_epi16(_mm256_maddubs_epi16(j, j), ones));
    }
  }
  uint32_t weigh(const Gain& gain) const {
    return gain.constant * count_ + gain.linear * total(sum_) + gain.square * total(squares_);
  }

 private:
  static uint32_t total(__m256i lanes) {
    alignas(kHalf) uint32_t lane[8];
    _mm256_store_si256(reinterpret_cast<__m256i*>(lane), lanes);
    uint32_t sum = 0;
    for (const uint32_t each : lane) sum += each;
    return sum;
  }

  uint32_t count_ = 0;
  __m256i sum_ = _mm256_setzero_si256(), squares_ = _mm256_setzero_si256();
};

}  // namespace
}  // namespace mox::MOX_TARGET
