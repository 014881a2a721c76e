#include "kernels/dct/dct.h"

#include "proof/blocks.h"
#include "support/kernel_case.h"

namespace test {
namespace {

constexpr auto kForward = &mox::DctKernels::forward;
constexpr auto kInverse = &mox::DctKernels::inverse;

template <auto Kernel>
void blocks(const mox::Kernels& k, Feed& f, int n) {
  const Mox16s* const src = f.in<Mox16s>(64 * n);
  Mox16s* const dst = f.out<Mox16s>(64 * n);
  const Mox16u* const table = f.in<Mox16u>(64);
  for (int i = 0; i < n; i++) (k.dct->*Kernel)(src + 64 * i, dst + 64 * i, table);
}

template <auto Kernel>
void inPlace(const mox::Kernels& k, Feed& f, int n) {
  Mox16s* const block = f.inOut<Mox16s>(64 * n);
  const Mox16u* const table = f.in<Mox16u>(64);
  for (int i = 0; i < n; i++) (k.dct->*Kernel)(block + 64 * i, block + 64 * i, table);
}

// A row of blocks in a region whose rows have a gap of an odd number of bytes.
void forwardShifted(const mox::Kernels& k, Feed& f, int n) {
  const int step = 8 * n + n % 7;
  const Mox8u* const src = f.in<Mox8u>(7 * step + 8 * n);
  Mox16s* const dst = f.out<Mox16s>(64 * n);
  const Mox16u* const table = f.in<Mox16u>(64);
  for (int i = 0; i < n; i++) k.dct->forwardShifted(src + 8 * i, step, dst + 64 * i, table);
}

void inverseShifted(const mox::Kernels& k, Feed& f, int n) {
  const int step = 8 * n + n % 7;
  const Mox16s* const src = f.in<Mox16s>(64 * n);
  Mox8u* const dst = f.out<Mox8u>(7 * step + 8 * n);
  const Mox16u* const table = f.in<Mox16u>(64);
  for (int i = 0; i < n; i++) k.dct->inverseShifted(src + 64 * i, dst + 8 * i, step, table);
}

// The same with typical blocks of a codec.
void forwardPicture(const mox::Kernels& k, Feed& f, int n) {
  const int step = 8 * n;
  const Mox8u* const src = f.in<Mox8u>(8 * step, [=](Random& random, Mox8u* samples) {
    for (int i = 0; i < n; i++) realisticSamples(random, samples + 8 * i, step);
  });
  Mox16s* const dst = f.out<Mox16s>(64 * n);
  const Mox16u* const table = f.in<Mox16u>(64, realisticReciprocals);
  for (int i = 0; i < n; i++) k.dct->forwardShifted(src + 8 * i, step, dst + 64 * i, table);
}

void inversePicture(const mox::Kernels& k, Feed& f, int n) {
  const int step = 8 * n;
  const Mox16s* const src = f.in<Mox16s>(64 * n, [=](Random& random, Mox16s* levels) {
    for (int i = 0; i < n; i++) realisticLevels(random, levels + 64 * i);
  });
  Mox8u* const dst = f.out<Mox8u>(8 * step);
  const Mox16u* const table = f.in<Mox16u>(64, realisticSteps);
  for (int i = 0; i < n; i++) k.dct->inverseShifted(src + 64 * i, dst + 8 * i, step, table);
}

const AddKernelCases cases{
    {"dct.forward", "blocks", 0, 65, 64, blocks<kForward>},
    {"dct.inverse", "blocks", 0, 65, 64, blocks<kInverse>},
    {"dct.forwardInPlace", "blocks", 0, 65, 64, inPlace<kForward>},
    {"dct.inverseInPlace", "blocks", 0, 65, 64, inPlace<kInverse>},
    {"dct.forwardShifted", "blocks", 1, 65, 64, forwardShifted},
    {"dct.inverseShifted", "blocks", 1, 65, 64, inverseShifted},
    {"dct.forwardPicture", "blocks", 1, 65, 64, forwardPicture},
    {"dct.inversePicture", "blocks", 1, 65, 64, inversePicture},
};

}  // namespace
}  // namespace test
