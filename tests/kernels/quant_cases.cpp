#include "kernels/dct/quant.h"

#include "proof/blocks.h"
#include "support/kernel_case.h"

namespace test {
namespace {

template <auto Kernel>
void blocks(const mox::Kernels& k, Feed& f, int n) {
  Mox16s* const values = f.inOut<Mox16s>(64 * n);
  const Mox16u* const table = f.in<Mox16u>(64);
  for (int i = 0; i < n; i++) (k.quant->*Kernel)(values + 64 * i, table);
}

const AddKernelCases cases{
    {"quant.forward", "blocks", 0, 65, 64, blocks<&mox::QuantKernels::forward>},
    {"quant.forwardEven", "blocks", 0, 65, 64, blocks<&mox::QuantKernels::forwardEven>},
    {"quant.inverse", "blocks", 0, 65, 64, blocks<&mox::QuantKernels::inverse>},
};

}  // namespace
}  // namespace test
