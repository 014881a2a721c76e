// The level shift of a row: one addition a value, and widening or narrowing between 8 and 16 bits. The vectors take
// full VMax vectors; the remainder, less than two of them, is left to the definition. Rows of 16-bit values may lie at
// odd addresses.
#include "kernels/colour/shift.h"

#include "kernels/bytes.h"
#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {
namespace {

// Both return the number of values converted.
template <class V>
MOX_INLINE ptrdiff_t subVectors(const Mox8u* src, Mox16s* dst, ptrdiff_t count) {
  constexpr int kLanes = V::kBytes / 2;
  const V shift = set16<V>(128);
  ptrdiff_t i = 0;
  for (; i + kLanes <= count; i += kLanes) store(element(dst, i), sub16(load8As16<V>(src + i), shift));
  return i;
}

template <class V>
MOX_INLINE ptrdiff_t addVectors(const Mox16s* src, Mox8u* dst, ptrdiff_t count) {
  constexpr int kLanes = V::kBytes / 2;
  const V shift = set16<V>(128);
  ptrdiff_t i = 0;
  for (; i + 2 * kLanes <= count; i += 2 * kLanes)
    store(dst + i,
          packsU16Linear(adds16(load<V>(element(src, i)), shift), adds16(load<V>(element(src, i + kLanes)), shift)));
  return i;
}

template <class V = VMax>
void sub128(const Mox8u* src, Mox16s* dst, int count) {
  ptrdiff_t i = 0;
  if constexpr (kHasVectors) i = subVectors<V>(src, dst, count);
  for (; i < count; i++) put(dst, i, definition::sub128(src[i]));
}

template <class V = VMax>
void add128(const Mox16s* src, Mox8u* dst, int count) {
  ptrdiff_t i = 0;
  if constexpr (kHasVectors) i = addVectors<V>(src, dst, count);
  for (; i < count; i++) dst[i] = definition::add128(get(src, i));
}

}  // namespace

const ShiftKernels shiftKernels = {.sub128 = sub128<>, .add128 = add128<>};

}  // namespace mox::MOX_TARGET
