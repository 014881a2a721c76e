// One byte for each coefficient of a chunk, and the selection of some of them, in 64-bit words: a table expands eight
// bits to eight bytes, a selection is a loop over the bits of its set. The same interface as t1enc_avx512.h.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "kernels/tier1/t1enc.h"

namespace mox::MOX_TARGET {
namespace {

using namespace tier1;

static_assert(std::endian::native == std::endian::little);  // the lowest byte of a word is the first in memory

// Eight bits as eight bytes.
constexpr auto kApart = [] {
  std::array<uint64_t, 256> table{};
  for (int bits = 0; bits < 256; bits++)
    for (int k = 0; k < 8; k++) table[bits] |= static_cast<uint64_t>(bits >> k & 1) << 8 * k;
  return table;
}();
constexpr uint64_t kEach = kApart[255];

uint64_t load8(const uint8_t* p) {
  uint64_t value;
  std::memcpy(&value, p, sizeof value);
  return value;
}
void store8(uint8_t* p, uint64_t value) { std::memcpy(p, &value, sizeof value); }

struct Bytes {
  uint8_t at[kChunkSize];
};

template <int kBase, int kBits>
Bytes bytesOf(const slice::Numbers<kBase, kBits>& numbers) {
  Bytes bytes;
  for (size_t i = 0; i < kChunkSize; i += 8) {
    uint64_t eight = kEach * kBase;
#pragma GCC unroll 8
    for (int k = 0; k < kBits; k++) eight += kApart[numbers.bit[k] >> i & 0xFF] << k;
    store8(bytes.at + i, eight);
  }
  return bytes;
}

template <class Body>
void forEach(uint64_t set, const Body& body) {
  for (; set; set &= set - 1) body(std::countr_zero(set));
}

void replace(Bytes& bytes, uint64_t set, uint8_t byte) {
  forEach(set, [&](int i) { bytes.at[i] = byte; });
}

// Appends the bytes of a set's coefficients. Returns the new end, like every append function.
uint8_t* append(uint8_t* out, const Bytes& bytes, uint64_t set) {
  forEach(set, [&](int i) { *out++ = bytes.at[i]; });
  return out;
}

// Appends for each coefficient its byte of `first`, if it is in firstSet, then its byte of `second`, if it is in
// secondSet, which is a part of firstSet.
uint8_t* appendPairs(uint8_t* out, const Bytes& first, uint64_t firstSet, const Bytes& second, uint64_t secondSet) {
  forEach(firstSet, [&](int i) {
    out[0] = first.at[i];
    out[1] = second.at[i];
    out += 1 + (secondSet >> i & 1);
  });
  return out;
}

// With broken runs: kRunBroken goes before the first row of each column in `broken`; a coefficient in `firsts` gets its
// 2-bit position instead of its significance.
uint8_t* appendBroken(uint8_t* out, const Bytes& significance, uint64_t coded, const Bytes& sign, uint64_t fresh,
                      uint64_t broken, uint64_t firsts) {
  forEach(coded | broken | firsts, [&](int i) {
    if (broken >> i & 1) *out++ = kRunBroken;
    if (firsts >> i & 1) {
      *out++ = symbol(mq::kUniform, i >> 1 & 1);
      *out++ = symbol(mq::kUniform, i & 1);
    }
    *out = significance.at[i];
    out += coded >> i & 1;
    *out = sign.at[i];
    out += fresh >> i & 1;
  });
  return out;
}

Gathered gather(const ChunkRows& rows, uint32_t* coefficients) {
  return gatherColumns(rows, kChunkColumns, coefficients);
}

// The decisions of a bit-plane: the top bits of the windows.
uint64_t decisionsOf(const uint8_t* windows) {
  uint64_t all = 0;
  for (size_t i = 0; i < kChunkSize; i += 8)  // the product moves each byte's bit to its place in the highest byte
    all |= ((load8(windows + i) >> (kWindowBits - 1) & kEach) * UINT64_C(0x0102040810204080) >> 56) << i;
  return all;
}

void windowsOf(const uint32_t* coefficients, int plane, uint8_t* windows) {
  const int below = plane + 1 - kWindowBits, right = std::max(below, 0), left = std::max(-below, 0);
  for (size_t i = 0; i < kChunkSize; i++)
    windows[i] = static_cast<uint8_t>(coefficients[i] >> right << left & ((1u << kWindowBits) - 1));
}

// The sums of the windows' lower bits over chosen coefficients, for their distortions.
class Moments {
 public:
  void add(const uint8_t* windows, uint64_t chosen) {
    constexpr uint64_t kLow = (1u << (kWindowBits - 1)) - 1, kEven = UINT64_C(0x00FF00FF00FF00FF);
    for (size_t i = 0; i < kChunkSize; i += 32) {
      uint64_t sums = 0;
      for (size_t k = i; k < i + 32; k += 8) sums += load8(windows + k) & kApart[chosen >> k & 0xFF] * kLow;
      sum_ += static_cast<uint32_t>(((sums & kEven) + (sums >> 8 & kEven)) * UINT64_C(0x0001000100010001) >> 48);
    }
    count_ += static_cast<uint32_t>(std::popcount(chosen));
    forEach(chosen, [&](int i) { squares_ += (windows[i] & kLow) * (windows[i] & kLow); });
  }
  uint32_t weigh(const Gain& gain) const {
    return gain.constant * count_ + gain.linear * sum_ + gain.square * squares_;
  }

 private:
  uint32_t count_ = 0, sum_ = 0, squares_ = 0;
};

}  // namespace
}  // namespace mox::MOX_TARGET
