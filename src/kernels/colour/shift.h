// The level shift by 128 between unsigned samples and signed values (T.81 A.3.1).
#pragma once

#include "moxj.h"

namespace mox {

struct ShiftKernels {
  void (*sub128)(const Mox8u* src, Mox16s* dst, int count);
  void (*add128)(const Mox16s* src, Mox8u* dst, int count);
};

namespace definition {

constexpr Mox16s sub128(Mox8u sample) { return static_cast<Mox16s>(sample - 128); }

// The same result as a sum saturated to 16 bits, then clamped.
constexpr Mox8u add128(Mox16s value) {
  const int sum = value + 128;
  return static_cast<Mox8u>(sum < 0 ? 0 : sum > 255 ? 255 : sum);
}

static_assert(sub128(0) == -128 && sub128(255) == 127);
static_assert(add128(-200) == 0 && add128(127) == 255 && add128(300) == 255);
static_assert(add128(32767) == 255 && add128(-32768) == 0);

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const ShiftKernels shiftKernels;
}
#endif

}  // namespace mox
