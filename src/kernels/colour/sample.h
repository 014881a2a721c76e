// Chroma down- and up-sampling of one 8-bit plane, by two horizontally (H2V1) or in both directions (H2V2).
#pragma once

#include <cstddef>

#include "moxj.h"

namespace mox {

// The rounding biases of a down-sampled row, which alternate: outputs 0, 2, 4 ... take `even`, the others `odd`.
struct Bias {
  int even, odd;
};

// One output row each; `count` is the number of outputs and may be 0.
//
// Down-sampling reads 2 * count samples of each source row.
//
// Up-sampling reads (count + 1) / 2 samples of each source row; their neighbours at either end are arguments: a sample
// for H2V1, a column sum for H2V2. An odd count does not need `after`.
struct SampleKernels {
  void (*downH2V1)(const Mox8u* src, Mox8u* dst, ptrdiff_t count, Bias bias);
  void (*downH2V2)(const Mox8u* upper, const Mox8u* lower, Mox8u* dst, ptrdiff_t count, Bias bias);
  void (*upH2V1)(const Mox8u* src, int before, int after, Mox8u* dst, ptrdiff_t count);
  void (*upH2V2)(const Mox8u* near, const Mox8u* far, int before, int after, Mox8u* dst, ptrdiff_t count);
};

namespace definition {

constexpr Mox8u downH2V1(int a, int b, int bias) { return static_cast<Mox8u>((a + b + bias) >> 1); }
constexpr Mox8u downH2V2(int a, int b, int c, int d, int bias) {
  return static_cast<Mox8u>((a + b + c + d + bias) >> 2);
}

// The triangle filter: three parts of the nearer sample, one of the farther. The two outputs of a column round
// differently, so that the rounding error of a pair nearly cancels.
constexpr Mox8u upLeft(int here, int before) { return static_cast<Mox8u>((3 * here + before + 1) >> 2); }
constexpr Mox8u upRight(int here, int after) { return static_cast<Mox8u>((3 * here + after + 2) >> 2); }

// In two directions: the filter down a column first, unrounded (0 to 1020), then along the row.
constexpr int columnSum(int near, int far) { return 3 * near + far; }
constexpr Mox8u upLeftOfSums(int here, int before) { return static_cast<Mox8u>((3 * here + before + 8) >> 4); }
constexpr Mox8u upRightOfSums(int here, int after) { return static_cast<Mox8u>((3 * here + after + 7) >> 4); }

static_assert(downH2V1(255, 255, 1) == 255 && downH2V2(255, 255, 255, 255, 3) == 255);
static_assert(upLeft(255, 255) == 255 && upRight(255, 255) == 255);
static_assert(upLeftOfSums(1020, 1020) == 255 && upRightOfSums(1020, 1020) == 255);
// A bias of 3 rounds a quarter up.
static_assert(downH2V2(0, 0, 0, 1, 3) == 1);

// Interpolating equal samples returns that sample: replicating an end and copying it are the same.
constexpr bool constantsStay() {
  for (int s = 0; s < 256; s++)
    if (upLeft(s, s) != s || upRight(s, s) != s) return false;
  return true;
}
static_assert(constantsStay());

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const SampleKernels sampleKernels;
}
#endif

}  // namespace mox
