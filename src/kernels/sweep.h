// Covering a row with vectors, its ragged end included, without touching what lies beyond.
#pragma once

#include "kernels/vec.h"

#if MOX_VECTOR
namespace mox::MOX_TARGET {

// Steps of `items` items each that cover first to last, the last step moved back to end there: what is computed twice
// comes out alike. Returns false, with nothing done, where the row is shorter than a step.
template <class Step>
MOX_INLINE bool sweep(ptrdiff_t first, ptrdiff_t last, ptrdiff_t items, const Step& step) {
  if (last - first < items) return false;
  ptrdiff_t i = first;
  for (; i <= last - items; i += items) step(i);
  if (i < last) step(last - items);
  return true;
}

// The same with steps of one item per byte of the vector type that the step is called for: the widest of the target,
// or 128 bits for a row that is shorter.
template <class Step>
MOX_INLINE bool sweepBytes(ptrdiff_t first, ptrdiff_t last, const Step& step) {
  if (sweep(first, last, VMax::kBytes, [&](ptrdiff_t i) { step.template operator()<VMax>(i); })) return true;
  if constexpr (VMax::kBytes == V128::kBytes) return false;
  return sweep(first, last, V128::kBytes, [&](ptrdiff_t i) { step.template operator()<V128>(i); });
}

}  // namespace mox::MOX_TARGET
#endif
