// Covering a row with vectors, its ragged end included, without touching what lies beyond: the last vector is moved
// back to end with the row. What is computed twice gives the same result, as long as the row is not converted in place.
#pragma once

#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {

// How far it is from an address to the next cache line: loads that straddle two are slower.
inline ptrdiff_t bytesToLine(const void* p) { return static_cast<ptrdiff_t>(-reinterpret_cast<uintptr_t>(p) % 64); }

// For long steps: calls step.operator()<V>(x), from one place, for vectors of V::kBytes items that cover 0 to count -
// 1, and returns count. V is the widest type that fits the row; if none fits, or there are no vectors, it returns 0 and
// calls nothing.
template <class V = VMax, class Step>
MOX_INLINE ptrdiff_t cover(ptrdiff_t count, const Step& step) {
  if constexpr (kHasVectors) {
    if (count >= V::kBytes) {
      const ptrdiff_t last = count - V::kBytes;
      for (ptrdiff_t x = 0;; x = x + V::kBytes < last ? x + V::kBytes : last) {
        step.template operator()<V>(x);
        if (x == last) return count;
      }
    }
    if constexpr (V::kBytes > V128::kBytes) return cover<typename V::Half>(count, step);
  }
  return 0;
}

// For short steps: calls step(i), from three places, for `items` items each, a power of two, that cover first to
// last - 1. Steps after the first start at first + lead modulo `items`, so that the caller can align them. Returns
// false, with nothing done, where the row is shorter than a step.
template <class Step>
MOX_INLINE bool sweep(ptrdiff_t first, ptrdiff_t last, ptrdiff_t lead, ptrdiff_t items, const Step& step) {
  if (last - first < items) return false;
  step(first);
  ptrdiff_t i = first + items - (-lead & (items - 1));
  for (; i <= last - items; i += items) step(i);
  if (i < last) step(last - items);
  return true;
}

// The same with step.operator()<V>(i) for V::kBytes items: V is the widest type, or V128 in a row that is shorter.
template <class V = VMax, class Step>
MOX_INLINE bool sweepBytes(ptrdiff_t first, ptrdiff_t last, ptrdiff_t lead, const Step& step) {
  if constexpr (!kHasVectors) {
    return false;
  } else {
    if (sweep(first, last, lead, V::kBytes, [&](ptrdiff_t i) { step.template operator()<V>(i); })) return true;
    if constexpr (V::kBytes == V128::kBytes) return false;
    return sweep(first, last, lead, V128::kBytes, [&](ptrdiff_t i) { step.template operator()<V128>(i); });
  }
}

}  // namespace mox::MOX_TARGET
