// The quantisers on vectors of coefficients.
#pragma once

#include "kernels/dct/quant.h"
#include "kernels/vec/vec.h"

#if MOX_VECTOR
namespace mox::MOX_TARGET {

// definition::quantise on every lane.
template <class V>
MOX_INLINE V quantise(V coefficients, V reciprocals) {
  const V doubled = mulHigh16(shl16<3>(coefficients), shrU16<1>(reciprocals));
  return shr16<1>(add16(doubled, set16<V>(1)));
}

// definition::quantiseEven on every lane. The multiplication rounds halves upwards: where the product lies half-way,
// an odd result is one too large. A reciprocal from 32768 up, which is what steps of 1 and 0 have, reads as 65536 too
// small; what is missing then is twice the coefficient, exactly. Of its two additions the first can only leave 16
// bits, for c = -32768 and R = 32768, where the rounded product has left them as well.
template <class V>
MOX_INLINE V quantiseEven(V coefficients, V reciprocals) {
  const V rounded = mulRound16(coefficients, reciprocals), product = mulLow16(coefficients, reciprocals);
  const auto halfWay = equal16(add16(product, product), set16<V>(-32768));
  const V even = bitAndNot(keep(halfWay, set16<V>(1)), rounded);
  const V missing = keep(negative16(reciprocals), coefficients);
  return adds16(add16(even, missing), missing);
}

}  // namespace mox::MOX_TARGET
#endif
