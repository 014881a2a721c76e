// Covering a row with vectors, its ragged end included, without touching what lies beyond.
#pragma once

#include "kernels/vec/vec.h"

#if MOX_VECTOR
namespace mox::MOX_TARGET {

// How far it is from an address to the next cache line: loads that straddle two are slower.
inline ptrdiff_t bytesToLine(const void* p) { return static_cast<ptrdiff_t>(-reinterpret_cast<uintptr_t>(p) % 64); }

// Steps of `items` items each, a power of two, that cover first to last, the last step moved back to end there: what
// is computed twice comes out alike. From the second step on they lie as if one began at first + lead, which is for
// the caller to align addresses with. Returns false, with nothing done, where the row is shorter than a step.
template <class Step>
MOX_INLINE bool sweep(ptrdiff_t first, ptrdiff_t last, ptrdiff_t lead, ptrdiff_t items, const Step& step) {
  if (last - first < items) return false;
  step(first);
  ptrdiff_t i = first + items - (-lead & (items - 1));
  for (; i <= last - items; i += items) step(i);
  if (i < last) step(last - items);
  return true;
}

// The same with steps of one item per byte of the vector type that the step is called for: the widest of the target,
// or 128 bits for a row that is shorter.
template <class Step>
MOX_INLINE bool sweepBytes(ptrdiff_t first, ptrdiff_t last, ptrdiff_t lead, const Step& step) {
  if (sweep(first, last, lead, VMax::kBytes, [&](ptrdiff_t i) { step.template operator()<VMax>(i); })) return true;
  if constexpr (VMax::kBytes == V128::kBytes) return false;
  return sweep(first, last, lead, V128::kBytes, [&](ptrdiff_t i) { step.template operator()<V128>(i); });
}

}  // namespace mox::MOX_TARGET
#endif
