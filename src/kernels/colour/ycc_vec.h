// Luminance and chroma of vectors of colours, exact in 16 bits: the arithmetic that rows and MCUs share.
//
// A weight of the definition has 14 to 16 fraction bits, so that its product with a sample takes 32. Luminance splits
// the weights into bytes and carries from the lower sum to the upper one; chroma, whose weights add up to 0, is a sum
// of differences from green, one of them halved, the other the upper half of a 16-bit product. Both are checked by
// static_assert next to the code.
#pragma once

#include "kernels/colour/ycc.h"
#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {

using definition::WeightedSum;

// ---- Colours -------------------------------------------------------------------------------------------------------
//
// The colours of as many pixels as V has 16-bit lanes. ofWords() makes them of three vectors of 16-bit lanes, halves()
// two of them of three vectors of bytes; sum<R, G, B>() is the weighted sum in 16 bits, which may wrap.
template <class V, bool Pairs = kHasDot8>
struct Colours;

// With dot8: pairs of bytes, one of each a pixel; green is in both, for weights of more than seven bits.
template <class V>
struct Colours<V, true> {
  V rg, bg;

  MOX_INLINE static Colours ofWords(V red, V green, V blue) {
    const V upper = shl16<8>(green);
    return {bitOr(red, upper), bitOr(blue, upper)};
  }
  MOX_INLINE static void halves(V red, V green, V blue, Colours (&half)[2]) {
    half[0] = {low8(red, green), low8(blue, green)};
    half[1] = {high8(red, green), high8(blue, green)};
  }
  MOX_INLINE Colours complement() const { return {bitXor(rg, set8<V>(0xFF)), bitXor(bg, set8<V>(0xFF))}; }

  MOX_INLINE V reds() const { return bitAnd(rg, set16<V>(0xFF)); }
  MOX_INLINE V greens() const { return shrU16<8>(rg); }
  MOX_INLINE V blues() const { return bitAnd(bg, set16<V>(0xFF)); }

  // The part of green's weight that is paired with red: as much as keeps that pair's sum below 2^15. The rest is paired
  // with blue.
  static constexpr int greenWithRed(int red, int green, int blue) {
    const int room = red > 0 ? 128 - red : 127;
    return blue == 0 || (red != 0 && green < room) ? green : red == 0 ? 0 : room;
  }

  template <int Red, int Green, int Blue>
  MOX_INLINE V sum() const {
    constexpr int withRed = greenWithRed(Red, Green, Blue), withBlue = Green - withRed;
    // No pair's sum saturates: 255 * 128 is below 2^15.
    static_assert(Red <= 127 && withRed <= 127 && Red + withRed <= 128 && Red >= -128 && withRed >= -128);
    static_assert(Blue <= 127 && withBlue <= 127 && Blue + withBlue <= 128 && Blue >= -128 && withBlue >= -128);
    if constexpr (Red == 0 && withRed == 0) {
      return dot8(bg, setPair8<V>(Blue, withBlue));
    } else if constexpr (Blue == 0 && withBlue == 0) {
      return dot8(rg, setPair8<V>(Red, withRed));
    } else {
      return add16(dot8(rg, setPair8<V>(Red, withRed)), dot8(bg, setPair8<V>(Blue, withBlue)));
    }
  }
};

// Without dot8: one 16-bit lane a pixel in each of three vectors.
template <class V>
struct Colours<V, false> {
  V red, green, blue;  // 16-bit lanes

  MOX_INLINE static Colours ofWords(V r, V g, V b) { return {r, g, b}; }
  MOX_INLINE static void halves(V r, V g, V b, Colours (&half)[2]) {
    const V none = zero<V>();
    half[0] = {low8(r, none), low8(g, none), low8(b, none)};
    half[1] = {high8(r, none), high8(g, none), high8(b, none)};
  }
  MOX_INLINE Colours complement() const {
    const V bytes = set16<V>(0xFF);
    return {bitXor(red, bytes), bitXor(green, bytes), bitXor(blue, bytes)};
  }

  MOX_INLINE V reds() const { return red; }
  MOX_INLINE V greens() const { return green; }
  MOX_INLINE V blues() const { return blue; }

  template <int Red, int Green, int Blue>
  MOX_INLINE V sum() const {
    if constexpr (Red == 0 && Green == -Blue) {
      return mulLow16(sub16(blue, green), set16<V>(Blue));
    } else if constexpr (Blue == 0 && Green == -Red) {
      return mulLow16(sub16(red, green), set16<V>(Red));
    } else {
      const V redAndGreen = add16(mulLow16(red, set16<V>(Red)), mulLow16(green, set16<V>(Green)));
      return add16(redAndGreen, mulLow16(blue, set16<V>(Blue)));
    }
  }
};

// ---- Luminance -----------------------------------------------------------------------------------------------------
//
// Y in 16 bits. Its weights, scaled to 16 fraction bits, are split into bytes: 256 * high + low, low signed. So
//   (red * R + ... + rounding) >> 16  is  (high.red * R + ... + ((low.red * R + ... + rounding) >> 8)) >> 8,
// where both inner sums are never negative and below 2^16.
struct ByteWeights {
  int red, green, blue;

  constexpr int minimum() const {
    return 255 * ((red < 0 ? red : 0) + (green < 0 ? green : 0) + (blue < 0 ? blue : 0));
  }
  constexpr int maximum() const { return 255 * (red + green + blue) - minimum(); }
};

constexpr int lowByte(int weight) { return static_cast<int8_t>(weight & 255); }
constexpr int highByte(int weight) { return (weight - lowByte(weight)) >> 8; }

template <WeightedSum Y, class V>
MOX_INLINE V luma(const Colours<V>& c) {
  constexpr int scale = 1 << (16 - Y.bits), rounding = scale * Y.rounding;
  constexpr int red = scale * Y.red, green = scale * Y.green, blue = scale * Y.blue;
  constexpr ByteWeights high{highByte(red), highByte(green), highByte(blue)};
  constexpr ByteWeights low{lowByte(red), lowByte(green), lowByte(blue)};
  static_assert(low.minimum() + rounding >= 0 && low.maximum() + rounding < 1 << 16);
  static_assert(high.minimum() >= 0 && high.maximum() + ((low.maximum() + rounding) >> 8) < 1 << 16);
  const V lows = add16(c.template sum<low.red, low.green, low.blue>(), set16<V>(rounding));
  return shrU16<8>(add16(c.template sum<high.red, high.green, high.blue>(), shrU16<8>(lows)));
}

// ---- Chroma --------------------------------------------------------------------------------------------------------
//
// Cb and Cr in 16 bits. Their weights add up to 0 and one of them is a half. Take the differences from green: u, of the
// colour with weight 1/2, and v, of the other. Then
//   (half * u + weight * v + rounding) >> bits  is  128 + ((u + 1 + ((weight * v + more) >> (bits - 1))) >> 1),
// where `more` is the excess of the rounding over 128.5. The shifted product is the upper half of a 16-bit product.
// Both differences are scaled by 32, which leaves room to subtract `more` from v before the multiplication.
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

// As chroma(), centred on 0, of `Shared` pixels: u and v are sums of differences times Scale, rounded once.
template <WeightedSum Sum, int Weight, int Shared, int Scale, class V>
MOX_INLINE V centredChroma(V u, V v) {
  constexpr int factor = chromaFactor(Weight, Sum.bits), half = Shared * Scale;
  static_assert(Sum.red + Sum.green + Sum.blue == 0 && moreThanHalf(Sum) == 0);
  // The product's fraction is truncated twice, below 1 / Scale and then with the sum. The result is the same as once.
  static_assert(factor * 8192 == Weight * 65536 && (Scale & (Scale - 1)) == 0);
  static_assert(255 * half + half + 255 * half * (Weight < 0 ? -Weight : Weight) / 8192 < 1 << 15);
  constexpr int bits = Shared * Scale == 32 ? 6 : 7;
  static_assert(1 << bits == 2 * half);
  return shr16<bits>(add16(add16(u, set16<V>(half)), mulHigh16(v, set16<V>(factor))));
}

}  // namespace mox::MOX_TARGET
