// Masks with one bit per zig-zag position, for the kernel files of the progressive coders.
#pragma once

#include <cstdint>

#include "kernels/entropy/band.h"
#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {

constexpr uint64_t positions(Band band) { return ~uint64_t{0} >> (63 - band.end) & ~uint64_t{0} << band.start; }
static_assert(positions({1, 63, 0}) == ~uint64_t{1} && positions({63, 63, 0}) == uint64_t{1} << 63);

// The n-th (from 0) set bit of a mask; 0 if there is none.
MOX_INLINE uint64_t nthBit(uint64_t mask, int n) {
  if constexpr (kHasBitDeposit) return depositBits(uint64_t{1} << n, mask);
  for (; n > 0; n--) mask &= mask - 1;
  return mask & -mask;
}

constexpr uint64_t reversed(uint64_t bits) {
  const auto swapped = [](uint64_t from, int distance, uint64_t lower) {
    return (from >> distance & lower) | (from & lower) << distance;
  };
  bits = swapped(bits, 1, 0x5555555555555555u);
  bits = swapped(bits, 2, 0x3333333333333333u);
  return __builtin_bswap64(swapped(bits, 4, 0x0F0F0F0F0F0F0F0Fu));
}
static_assert(reversed(1) == uint64_t{1} << 63 && reversed(0x5000000000000006u) == 0x600000000000000Au);

// The lowest bits of `from` at the positions of a mask: the lowest one at the highest position.
MOX_INLINE uint64_t spread(uint64_t from, uint64_t mask) {
  if constexpr (kHasBitDeposit) return depositBits(reversed(from) >> (-__builtin_popcountll(mask) & 63), mask);
  uint64_t to = 0;
  for (; from; from >>= 1) {
    const uint64_t highest = uint64_t{1} << (63 - __builtin_clzll(mask));
    if (from & 1) to |= highest;
    mask ^= highest;
  }
  return to;
}

// The inverse: the bits of `from` at the positions of a mask, moved together: that of the highest position lowest.
MOX_INLINE uint64_t gathered(uint64_t from, uint64_t mask) {
  if constexpr (kHasBitDeposit) return reversed(extractBits(from, mask)) >> (-__builtin_popcountll(mask) & 63);
  uint64_t to = 0;
  for (; mask; mask &= mask - 1) to = to << 1 | (from & mask & -mask ? 1 : 0);
  return to;
}

}  // namespace mox::MOX_TARGET
