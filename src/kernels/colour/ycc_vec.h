// Luminance and chroma of vectors of colours, exact in 16 bits: the arithmetic that rows and MCUs share.
#pragma once

#include "kernels/colour/pixel_vec.h"
#include "kernels/colour/ycc.h"

#if MOX_VECTOR
namespace mox::MOX_TARGET {

using definition::WeightedSum;

// Y in 16 bits. Its weights, scaled to 16 fraction bits, are split into bytes: 256 * high + low, low signed. So
//   (red * R + ... + rounding) >> 16  is  (high.red * R + ... + ((low.red * R + ... + rounding) >> 8)) >> 8,
// where both inner sums are never negative and below 2^16.
struct ByteWeights {
  int red, green, blue;

  constexpr int least() const { return 255 * ((red < 0 ? red : 0) + (green < 0 ? green : 0) + (blue < 0 ? blue : 0)); }
  constexpr int most() const { return 255 * (red + green + blue) - least(); }
};

constexpr int lowByte(int weight) { return static_cast<int8_t>(weight & 255); }
constexpr int highByte(int weight) { return (weight - lowByte(weight)) >> 8; }

template <WeightedSum Y, class V>
MOX_INLINE V luma(const Colours<V>& c) {
  constexpr int scale = 1 << (16 - Y.bits), rounding = scale * Y.rounding;
  constexpr int red = scale * Y.red, green = scale * Y.green, blue = scale * Y.blue;
  constexpr ByteWeights high{highByte(red), highByte(green), highByte(blue)};
  constexpr ByteWeights low{lowByte(red), lowByte(green), lowByte(blue)};
  static_assert(low.least() + rounding >= 0 && low.most() + rounding < 1 << 16);
  static_assert(high.least() >= 0 && high.most() + ((low.most() + rounding) >> 8) < 1 << 16);
  const V lows = add16(c.template sum<low.red, low.green, low.blue>(), set16<V>(rounding));
  return shrU16<8>(add16(c.template sum<high.red, high.green, high.blue>(), shrU16<8>(lows)));
}

// Cb and Cr in 16 bits. Their weights add up to 0 and one of them is a half, so that in the differences u and v of
// the other two colours from green, u that of the half (v of the small weight),
//   (half * u + weight * v + rounding) >> bits  is  128 + ((u + 1 + ((weight * v + more) >> (bits - 1))) >> 1),
// with `more` what the rounding exceeds 128.5 by. The shifted product is the upper half of one of 16 bits. Both
// differences come 32-fold, which leaves room for the one step of the weight that `more` takes.
constexpr int kDifferenceScale = 32;

constexpr int moreThanHalf(WeightedSum sum) { return sum.rounding - (257 << (sum.bits - 1)); }
constexpr int chromaFactor(int weight, int bits) { return weight * (1 << (17 - bits)); }

constexpr bool chromaIsExact(WeightedSum sum, int weight) {
  const int more = moreThanHalf(sum), nudge = more != 0 ? -1 : 0;
  for (int v = -255; v <= 255; v++) {
    const int product = ((kDifferenceScale * v + nudge) * chromaFactor(weight, sum.bits)) >> 16;
    if (product >> 5 != (weight * v + more) >> (sum.bits - 1)) return false;
  }
  return true;
}

template <WeightedSum Sum, int Weight, class V>
MOX_INLINE V chroma(V u, V v) {
  static_assert(Sum.red + Sum.green + Sum.blue == 0 && chromaIsExact(Sum, Weight));
  if constexpr (moreThanHalf(Sum) != 0) v = sub16(v, set16<V>(1));
  const V product = mulHigh16(v, set16<V>(chromaFactor(Weight, Sum.bits)));
  return shr16<6>(add16(add16(u, set16<V>(257 * kDifferenceScale)), product));
}

// The same less 128, of Shared pixels, from the sums of their differences, Scale-fold: one rounding, none before.
template <WeightedSum Sum, int Weight, int Shared, int Scale, class V>
MOX_INLINE V centredChroma(V u, V v) {
  constexpr int factor = chromaFactor(Weight, Sum.bits), half = Shared * Scale;
  static_assert(Sum.red + Sum.green + Sum.blue == 0 && moreThanHalf(Sum) == 0);
  // The product's fraction is cut off twice, below 1 / Scale and then with the sum, which comes to the same as once.
  static_assert(factor * 8192 == Weight * 65536 && (Scale & (Scale - 1)) == 0);
  static_assert(255 * half + half + 255 * half * (Weight < 0 ? -Weight : Weight) / 8192 < 1 << 15);
  constexpr int bits = Shared * Scale == 32 ? 6 : 7;
  static_assert(1 << bits == 2 * half);
  return shr16<bits>(add16(add16(u, set16<V>(half)), mulHigh16(v, set16<V>(factor))));
}

}  // namespace mox::MOX_TARGET
#endif
