// The flags and values of a part in 64-bit words, a column each. The same interface as t1dec_avx512.h and t1dec_avx2.h.
#pragma once

#include "kernels/tier1/t1dec_part.h"
#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {
namespace {
namespace words {

// The coefficients with at least one of the flags.
uint64_t having(const Part& c, uint32_t flags) {
  uint64_t set = 0;
  int x = 0;
  const V128 some = set16<V128>(static_cast<int16_t>(flags));
  for (; x + 4 <= c.columns; x += 4)
    set |= nonZero8(packs16(bitAnd(load<V128>(c.flags + x), some), bitAnd(load<V128>(c.flags + x + 2), some))) << 4 * x;
  for (; x < c.columns; x++) {
    const uint64_t lanes = ((c.flags[x] & inAllRows(flags)) + inAllRows(0x7FFF)) >> 15 & inAllRows(1);
    // The product gathers the lowest bits of the lanes in the highest.
    set |= (lanes * UINT64_C(0x0001000200040008) >> 48 & 15) << 4 * x;
  }
  return set;
}

// Sets or clears a flag of some coefficients.
template <bool Value>
void mark(const Part& c, uint64_t set, uint32_t flag) {
  for (int x = 0; set != 0; x++, set >>= 4) {
    const uint64_t lanes = ((set & 15) * UINT64_C(0x0000200040008001) & inAllRows(1)) * flag;
    c.flags[x] = Value ? c.flags[x] | lanes : c.flags[x] & ~lanes;
  }
}

// The contexts of the coefficients that are to be refined. Returns their number.
int refinementContexts(const Part& c, uint64_t coded, uint8_t* contexts) {
  int count = 0;
  for (; coded; coded &= coded - 1) {
    const uint32_t flags = flagsOf(c, std::countr_zero(coded)), refined = flags / kRefined & 1;
    contexts[count++] = static_cast<uint8_t>(mq::kRefinement + 2 * refined + (~refined & ((flags & kNeighbours) != 0)));
  }
  return count;
}

// Stores the refined coefficients' new bits: `decisions` has a byte for each, in the order of the scan.
void refine(const DecodePass& pass, const Part& c, uint64_t coded, const uint8_t* decisions) {
  for (; coded; coded &= coded - 1) {
    char* const p = placeOf(c, std::countr_zero(coded));
    store32(p, (load32(p) & pass.kept) | (-static_cast<uint32_t>(*decisions++) & pass.one) | pass.half);
  }
}

}  // namespace words
}  // namespace
}  // namespace mox::MOX_TARGET
