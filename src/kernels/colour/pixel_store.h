// Vectors of colours, one byte a pixel in each, to rows of every layout.
//
// The stores take colours, not samples: inSampleOrder() brings them into the order of the pixel, and does not compile
// for a pixel with a sample that gets no value.
#pragma once

#include "kernels/bytes.h"
#include "kernels/colour/pixels.h"
#include "kernels/vec/prefetch.h"
#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {

// ---- Interleaved bytes ---------------------------------------------------------------------------------------------

// Shuffle for the K-th four pixels (3 bytes + 1 pad each) into three 16-byte vectors.
struct TripleOrder {
  uint8_t bytes[16];

  explicit constexpr TripleOrder(int k) : bytes() {
    for (uint8_t& byte : bytes) byte = 0x80;
    for (int i = 0; i < 12; i++) bytes[(12 * k + i) % 16] = static_cast<uint8_t>(i / 3 * 4 + i % 3);
  }
};

// The bytes of 16 pixels of each 128-bit block in order: the first, second and third 16 of their 48.
template <class V>
MOX_INLINE void merge(V a, V b, V c, V (&out)[3]) {
  if constexpr (kHasShuffle8 && kHasBlend16) {
    static constexpr TripleOrder kOrder[] = {TripleOrder(0), TripleOrder(1), TripleOrder(2), TripleOrder(3)};
    const V ab[] = {low8(a, b), high8(a, b)}, cc[] = {low8(c, c), high8(c, c)};
    const V first = shuffle8(low16(ab[0], cc[0]), loadSame<V>(kOrder[0].bytes));
    const V second = shuffle8(high16(ab[0], cc[0]), loadSame<V>(kOrder[1].bytes));
    const V third = shuffle8(low16(ab[1], cc[1]), loadSame<V>(kOrder[2].bytes));
    const V fourth = shuffle8(high16(ab[1], cc[1]), loadSame<V>(kOrder[3].bytes));
    out[0] = blend16<0xC0>(first, second);
    out[1] = blend16<0xF0>(second, third);
    out[2] = blend16<0xFC>(third, fourth);
  } else {
    // The rounds of separate() in reverse: the bytes of even places, then those of odd places.
    const V even = set16<V>(0xFF);
#pragma GCC unroll 4
    for (int round = 0; round < 4; round++) {
      const V evens[] = {bitAnd(a, even), bitAnd(b, even), bitAnd(c, even)};
      const V odds[] = {shrU16<8>(a), shrU16<8>(b), shrU16<8>(c)};
      a = packsU16(evens[0], evens[1]), b = packsU16(evens[2], odds[0]), c = packsU16(odds[1], odds[2]);
    }
    out[0] = a, out[1] = b, out[2] = c;
  }
}

// Which of 64 pixels each byte of the K-th of three vectors belongs to.
struct TripleIndex {
  uint8_t bytes[64];

  explicit constexpr TripleIndex(int k) : bytes() {
    for (int i = 0; i < 64; i++) bytes[i] = static_cast<uint8_t>((64 * k + i) / 3);
  }
};

// The K-th 64 bytes of 64 pixels. Byte 64 K + i is of sample (64 K + i) mod 3, and 64 mod 3 is 1.
template <int K, class V>
MOX_INLINE void storeThird(Mox8u* p, V a, V b, V c) {
  static constexpr TripleIndex kIndex(K);
  constexpr uint64_t kEveryThird = 0x9249249249249249;
  const V index = load<V>(kIndex.bytes);
  const V second = permute8Where<kEveryThird << (4 - K) % 3>(permute8Linear(a, index), b, index);
  store(p + 64 * K, permute8Where<kEveryThird << (5 - K) % 3>(second, c, index));
}

template <class V>
MOX_INLINE void storeMerged(Mox8u* p, V a, V b, V c) {
  if constexpr (kHasInterleaved) {
    storeInterleaved(p, a, b, c);
  } else if constexpr (kHasPermute8<V>) {
    storeThird<0>(p, a, b, c);
    storeThird<1>(p, a, b, c);
    storeThird<2>(p, a, b, c);
  } else {
    V merged[3];
    merge(a, b, c, merged);
#pragma GCC unroll 3
    for (int i = 0; i < 3; i++) storeApart(p + 16 * i, 48, merged[i]);
  }
}

template <class V>
MOX_INLINE void storeMerged(Mox8u* p, V a, V b, V c, V d) {
  if constexpr (kHasInterleaved) {
    storeInterleaved(p, a, b, c, d);
  } else {
    const V ab[] = {low8(a, b), high8(a, b)}, cd[] = {low8(c, d), high8(c, d)};
#pragma GCC unroll 4
    for (int i = 0; i < 2; i++) {
      storeApart(p + 32 * i, 64, low16(ab[i], cd[i]));
      storeApart(p + 32 * i + 16, 64, high16(ab[i], cd[i]));
    }
  }
}

// A set of sample positions: one bit each.
constexpr unsigned places(auto... place) { return ((1u << place) | ...); }

// Three colours as the samples of a pixel that has no others.
template <class V>
struct Samples3 {
  V first, second, third;
};
template <class Pixel, class V>
MOX_INLINE Samples3<V> inSampleOrder(V red, V green, V blue) {
  static_assert(Pixel::kSamples == 3 && places(Pixel::kRed, Pixel::kGreen, Pixel::kBlue) == 7,
                "a pixel store needs a value for every sample of the pixel");
  V sample[3];
  sample[Pixel::kRed] = red, sample[Pixel::kGreen] = green, sample[Pixel::kBlue] = blue;
  return {sample[0], sample[1], sample[2]};
}

template <class Pixel, class V>
MOX_INLINE void storePixels(Mox8u* p, V red, V green, V blue) {
  const Samples3<V> s = inSampleOrder<Pixel>(red, green, blue);
  prefetchAhead<Pixel::kSamples * V::kBytes>(p);
  storeMerged(p, s.first, s.second, s.third);
}

// And a fourth sample, in the place Pixel::kBlack.
template <class Pixel, class V>
MOX_INLINE void storePixels(Mox8u* p, V cyan, V magenta, V yellow, V black) {
  static_assert(Pixel::kSamples == 4 && places(Pixel::kRed, Pixel::kGreen, Pixel::kBlue, Pixel::kBlack) == 15,
                "a pixel store needs a value for every sample of the pixel");
  V sample[4];
  sample[Pixel::kRed] = cyan, sample[Pixel::kGreen] = magenta, sample[Pixel::kBlue] = yellow;
  sample[Pixel::kBlack] = black;
  prefetchAhead<Pixel::kSamples * V::kBytes>(p);
  storeMerged(p, sample[0], sample[1], sample[2], sample[3]);
}

// ---- Packed words --------------------------------------------------------------------------------------------------

// Rounds bytes to fields in their upper bits.
template <class V, Field F>
MOX_INLINE V narrowed(V bytes) {
  const V up = addsU8(bytes, set8<V>(1 << (7 - F.bits)));
  const V repeated = bitAnd(shrU16<F.bits>(up), set8<V>(0xFF >> F.bits));
  return bitAnd(sub8(up, repeated), set8<V>(0xFF << (8 - F.bits)));
}

// Bytes truncated in place to the bits of a field.
template <class V, Field F>
MOX_INLINE V cutOff(V bytes) {
  return bitAnd(bytes, set8<V>(0xFF << (8 - F.bits)));
}

// Moves each field from the top of its word to its position; low bytes must be 0.
template <class V, Field F>
MOX_INLINE V placed(V words) {
  if constexpr (F.shift + F.bits == 16) {
    return words;
  } else {
    return shrU16<16 - F.shift - F.bits>(words);
  }
}

template <class Pixel, class V>
MOX_INLINE V merged(V red, V green, V blue) {
  return bitOr(bitOr(placed<V, Pixel::kRed>(red), placed<V, Pixel::kGreen>(green)), placed<V, Pixel::kBlue>(blue));
}

template <class Pixel, class V>
MOX_INLINE void storePixels(Mox16u* p, V red, V green, V blue) {
  const V r = narrowed<V, Pixel::kRed>(red), g = narrowed<V, Pixel::kGreen>(green), b = narrowed<V, Pixel::kBlue>(blue);
  const V none = zero<V>();
  storeApart(p, 32, merged<Pixel>(low8(none, r), low8(none, g), low8(none, b)));
  storeApart(bytesAfter(p, 16), 32, merged<Pixel>(high8(none, r), high8(none, g), high8(none, b)));
}

}  // namespace mox::MOX_TARGET
