// The quantisers on vectors of coefficients.
#pragma once

#include "kernels/dct/quant.h"
#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {

// definition::quantise on every lane.
template <class V>
MOX_INLINE V quantise(V coefficients, V reciprocals) {
  const V doubled = mulHigh16(shl16<3>(coefficients), shrU16<1>(reciprocals));
  return shr16<1>(add16(doubled, set16<V>(1)));
}

// definition::quantiseEven on every lane. The multiplication rounds halves upwards: where the product lies half-way, an
// odd result is one too large. Reciprocals of 32768 and more, those of steps 1 and 0, look negative: 65536 too small.
// That costs exactly 2 c, added back below; of the two additions the first leaves 16 bits only for c = -32768 and a
// reciprocal of 32768, where the rounded product has left them too: the result is right whatever the target makes of
// that product.
template <class V>
MOX_INLINE V quantiseEven(V coefficients, V reciprocals) {
  const V rounded = mulRound16(coefficients, reciprocals), product = mulLow16(coefficients, reciprocals);
  const auto halfWay = equal16(add16(product, product), set16<V>(-32768));
  const V even = bitAndNot(keep(halfWay, set16<V>(1)), rounded);
  const V missing = keep(negative16(reciprocals), coefficients);
  return adds16(add16(even, missing), missing);
}

}  // namespace mox::MOX_TARGET
