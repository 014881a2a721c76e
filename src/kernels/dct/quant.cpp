// Quantisation of a block in place: 64 values, each times its entry of a table. The plain loop applies an operation of
// quant.h to one value at a time, the vectors its twin of quant_vec.h to as many as a register holds.
#include "kernels/dct/quant.h"

#include "kernels/bytes.h"
#include "kernels/dct/quant_vec.h"

namespace mox::MOX_TARGET {
namespace {

// Each operation for one value and for a vector.
struct Quantise {
  static Mox16s of(Mox16s value, Mox16u entry) { return definition::quantise(value, entry); }
  template <class V>
  MOX_INLINE static V of(V values, V entries) {
    return quantise(values, entries);
  }
};

struct QuantiseEven {
  static Mox16s of(Mox16s value, Mox16u entry) { return definition::quantiseEven(value, entry); }
  template <class V>
  MOX_INLINE static V of(V values, V entries) {
    return quantiseEven(values, entries);
  }
};

struct Dequantise {
  static Mox16s of(Mox16s value, Mox16u entry) { return definition::dequantise(value, entry); }
  template <class V>
  MOX_INLINE static V of(V values, V entries) {
    return mulLow16(values, entries);
  }
};

template <class Operation, class V = VMax>
void inPlace(Mox16s* block, const Mox16u* table) {
  if constexpr (kHasVectors) {
    constexpr int kLanes = V::kBytes / 2;
    for (int i = 0; i < 64; i += kLanes)
      store(element(block, i), Operation::of(load<V>(element(block, i)), load<V>(element(table, i))));
  } else {
    for (int i = 0; i < 64; i++) put(block, i, Operation::of(get(block, i), get(table, i)));
  }
}

}  // namespace

const QuantKernels quantKernels = {
    .forward = inPlace<Quantise>,
    .forwardEven = inPlace<QuantiseEven>,
    .inverse = inPlace<Dequantise>,
};

}  // namespace mox::MOX_TARGET
