// Appends the coefficients of a block to the accumulator one by one: for targets without AVX-512, and on AVX-512 for
// blocks with runs of 16 zeros.
#pragma once

#include "kernels/entropy/huffenc.h"
#include "kernels/entropy/packer.h"
#include "kernels/entropy/zigzagblock.h"
#include "kernels/vec/vec.h"

#if MOX_VECTOR
namespace mox::MOX_TARGET {

// All symbols of the AC coefficients, of which there is at least one, two per flush. False if one has no code.
MOX_INLINE bool packEach(const ZigZagBlock& block, const EncodeSpec& table, Packer& out) {
  uint64_t left = block.nonZero, last = 0;
  const auto coefficient = [&]() __attribute__((always_inline)) {
    const uint64_t before = last;
    last = static_cast<uint64_t>(__builtin_ctzll(left));
    return out.coefficient(table, block, last, before);
  };
  // The first flush stores the DC difference and a coefficient.
  while (left) {
    if (!coefficient()) [[unlikely]]
      return false;
    out.flush();
    if (!(left &= left - 1)) break;
    if (!coefficient()) [[unlikely]]
      return false;
    left &= left - 1;
  }
  return last == 63 || out.symbol(table, definition::kEndOfBlock, 0, 0);
}

}  // namespace mox::MOX_TARGET
#endif
