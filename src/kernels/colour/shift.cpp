#include "kernels/colour/shift.h"

#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {
namespace {

void sub128(const Mox8u* src, Mox16s* dst, int count) {
  int i = 0;
#if MOX_VECTOR
  constexpr int kLanes = VMax::kBytes / 2;
  const VMax shift = set16<VMax>(128);
  for (; i + kLanes <= count; i += kLanes) store(dst + i, sub16(load8As16<VMax>(src + i), shift));
#endif
  for (; i < count; i++) dst[i] = definition::sub128(src[i]);
}

void add128(const Mox16s* src, Mox8u* dst, int count) {
  int i = 0;
#if MOX_VECTOR
  constexpr int kLanes = VMax::kBytes / 2;
  const VMax shift = set16<VMax>(128);
  for (; i + 2 * kLanes <= count; i += 2 * kLanes)
    store(dst + i, packsU16Linear(adds16(load<VMax>(src + i), shift), adds16(load<VMax>(src + i + kLanes), shift)));
#endif
  for (; i < count; i++) dst[i] = definition::add128(src[i]);
}

}  // namespace

const ShiftKernels shiftKernels = {sub128, add128};

}  // namespace mox::MOX_TARGET
