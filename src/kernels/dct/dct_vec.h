// What the vector kernels of both transforms share: the row matrices as a row pass reads them.
//
// The transforms stay in registers from the first load to the last store: a wide load of what the pass before has just
// stored in narrower pieces would stall. Rows fill vectors of the target's width, one row in each 128-bit block, and
// are multiplied by their matrices pair by pair: two neighbouring 16-bit lanes times two matrix entries give one 32-bit
// sum.
#pragma once

#include "kernels/dct/dct.h"
#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {

void forwardDct(const Mox16s* src, Mox16s* dst, const Mox16u* reciprocals);
void forwardDctShifted(const Mox8u* src, ptrdiff_t step, Mox16s* dst, const Mox16u* reciprocals);
void inverseDct(const Mox16s* src, Mox16s* dst, const Mox16u* steps);
void inverseDctShifted(const Mox16s* src, Mox8u* dst, ptrdiff_t step, const Mox16u* steps);

// For each of the four pairs of inputs of a row: the entries that multiply it, two a result, row by row.
struct RowPairs {
  alignas(64) Mox16s at[4][8][8];

  template <class V>
  MOX_INLINE V ofRows(int pair, int row) const {
    return load<V>(at[pair][row]);
  }
};

}  // namespace mox::MOX_TARGET
