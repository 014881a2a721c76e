#include "kernels/quant.h"

namespace mox::MOX_TARGET {
namespace {

void forward(Mox16s* block, const Mox16u* reciprocals) {
  for (int i = 0; i < 64; i++) block[i] = definition::quantise(block[i], reciprocals[i]);
}

void forwardEven(Mox16s* block, const Mox16u* reciprocals) {
  for (int i = 0; i < 64; i++) block[i] = definition::quantiseEven(block[i], reciprocals[i]);
}

void inverse(Mox16s* block, const Mox16u* steps) {
  for (int i = 0; i < 64; i++) block[i] = definition::dequantise(block[i], steps[i]);
}

}  // namespace

const QuantKernels quantKernels = {forward, forwardEven, inverse};

}  // namespace mox::MOX_TARGET
