#include "kernels/dct/quant.h"

#include "kernels/dct/quant_vec.h"

namespace mox::MOX_TARGET {
namespace {

#if MOX_VECTOR

template <auto Operation>
MOX_INLINE void blockInPlace(Mox16s* block, const Mox16u* table) {
  constexpr int kLanes = VMax::kBytes / 2;
  for (int i = 0; i < 64; i += kLanes) store(block + i, Operation(load<VMax>(block + i), load<VMax>(table + i)));
}

void forward(Mox16s* block, const Mox16u* reciprocals) { blockInPlace<quantise<VMax>>(block, reciprocals); }
void forwardEven(Mox16s* block, const Mox16u* reciprocals) { blockInPlace<quantiseEven<VMax>>(block, reciprocals); }
void inverse(Mox16s* block, const Mox16u* steps) {
  blockInPlace<[](VMax levels, VMax factors) { return mulLow16(levels, factors); }>(block, steps);
}

#else

template <auto Operation>
void blockInPlace(Mox16s* block, const Mox16u* table) {
  for (int i = 0; i < 64; i++) block[i] = Operation(block[i], table[i]);
}

void forward(Mox16s* block, const Mox16u* reciprocals) { blockInPlace<definition::quantise>(block, reciprocals); }
void forwardEven(Mox16s* block, const Mox16u* reciprocals) {
  blockInPlace<definition::quantiseEven>(block, reciprocals);
}
void inverse(Mox16s* block, const Mox16u* steps) { blockInPlace<definition::dequantise>(block, steps); }

#endif

}  // namespace

const QuantKernels quantKernels = {forward, forwardEven, inverse};

}  // namespace mox::MOX_TARGET
