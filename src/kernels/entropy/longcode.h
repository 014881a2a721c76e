// Codes of more than 8 bits, which a decoder's lookup table does not have, for the kernel files.
#pragma once

#include "kernels/entropy/state.h"
#include "kernels/vec/vec.h"

#if MOX_VECTOR
namespace mox::MOX_TARGET {

inline constexpr int kLookup = 8;  // codes of up to this many bits are found by the lookup table

// Factors that shift a code of 9, 10 ... 16 bits out of 16, as the upper half of the product; the last is not shifted.
alignas(16) inline constexpr uint16_t kShifts[8] = {1 << 9, 1 << 10, 1 << 11, 1 << 12, 1 << 13, 1 << 14, 1 << 15, 0};
alignas(16) inline constexpr uint16_t kUnshifted[8] = {0, 0, 0, 0, 0, 0, 0, 0xFFFF};

// The code at the top of the window, as its length << 16 | symbol; 0 if no length has it. It is the shortest length
// whose last code is not below the bits. All lengths are compared at once, as a branch on the length could not be
// predicted.
[[gnu::noinline]] inline uint32_t longCode(const DecodeSpec& table, uint64_t window) {
  const uint32_t bits = static_cast<uint32_t>(window >> 48);
  const V128 all = set16<V128>(static_cast<int>(bits)), last = load<V128>(&table.lastCode[kLookup + 1]);
  const V128 code = bitOr(mulHighU16(all, load<V128>(kShifts)), bitAnd(all, load<V128>(kUnshifted)));
  const V128 within = equal16(subsU16(code, last), zero<V128>());
  const V128 ones = set16<V128>(-1);
  const uint64_t found = equalBytes(bitAndNot(equal16(last, ones), within), ones);
  if (found == 0) return 0;
  const int length = kLookup + 1 + __builtin_ctzll(found) / 2;
  const uint32_t index = table.firstIndex[length] - table.firstCode[length] + (bits >> (16 - length));
  return static_cast<uint32_t>(length) << 16 | (table.symbol[index & 0xFF] & 0xFF);
}

}  // namespace mox::MOX_TARGET
#endif
