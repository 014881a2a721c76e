// Vectors of pixels from rows of every layout, as colours in registers.
//
// A step of a conversion takes V::kBytes pixels. Values of 16 bits are held in two vectors, the halves that low8 and
// high8 make of the bytes. The narrowing packs work within 128-bit blocks, too, and so restore the order.
#pragma once

#include "kernels/bytes.h"
#include "kernels/colour/pixels.h"
#include "kernels/colour/ycc_vec.h"
#include "kernels/vec/prefetch.h"
#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {

// ---- Interleaved bytes ---------------------------------------------------------------------------------------------

// Separates 16 pixels of N interleaved bytes, N 128-bit vectors, into one vector per sample.
template <class V, int N>
MOX_INLINE void separate(V (&c)[N]) {
  // A round interleaves the lower with the upper half of all bytes: byte i goes to 2 i modulo 16 N - 1, in four
  // rounds to 16 i; byte N n + k, that is, to 16 k + n.
#pragma GCC unroll 4
  for (int round = 0; round < 4; round++) {
    const V a = c[0], b = c[1], d = c[2];
    if constexpr (N == 3) {
      c[0] = low8(a, high64(b, b));
      c[1] = low8(high64(a, a), d);
      c[2] = low8(b, high64(d, d));
    } else {
      const V e = c[3];
      c[0] = low8(a, d), c[1] = high8(a, d);
      c[2] = low8(b, e), c[3] = high8(b, e);
    }
  }
}

template <class V, int N>
MOX_INLINE void separate(const Mox8u* p, V (&c)[N]) {
  if constexpr (kHasInterleaved) {
    loadInterleaved(p, c);
  } else {
#pragma GCC unroll 4
    for (int i = 0; i < N; i++) c[i] = load<V>(p + 16 * i);
    separate(c);
  }
}

// The colours of four interleaved pixels that begin `first` bytes into a 128-bit block: four pairs RG, then four BG.
template <class Pixel>
struct PairOrder {
  uint8_t bytes[16];

  explicit constexpr PairOrder(int first) : bytes() {
    for (int i = 0; i < 4; i++) {
      const int pixel = first + Pixel::kSamples * i;
      bytes[2 * i] = static_cast<uint8_t>(pixel + Pixel::kRed);
      bytes[2 * i + 8] = static_cast<uint8_t>(pixel + Pixel::kBlue);
      bytes[2 * i + 1] = bytes[2 * i + 9] = static_cast<uint8_t>(pixel + Pixel::kGreen);
    }
  }
};

// As PairOrder, for sixteen pixels that begin `first` bytes into 512 bits.
template <class Pixel>
struct PairIndex {
  uint8_t bytes[64];

  explicit constexpr PairIndex(int first) : bytes() {
    for (int i = 0; i < 16; i++) {
      const int pixel = first + Pixel::kSamples * i;
      bytes[2 * i] = static_cast<uint8_t>(pixel + Pixel::kRed);
      bytes[2 * i + 32] = static_cast<uint8_t>(pixel + Pixel::kBlue);
      bytes[2 * i + 1] = bytes[2 * i + 33] = static_cast<uint8_t>(pixel + Pixel::kGreen);
    }
  }
};

// Whether loadPixels gives the halves of a vector in the order of the pixels, which packsU16Linear leaves as it is.
template <class Pixel, class V>
inline constexpr bool kOrderedHalves = sizeof(typename Pixel::Sample) == 1 && kHasPermute8<V>;

// The colours of V::kBytes pixels of three or four interleaved bytes; nothing after them is read.
template <class Pixel, class V>
MOX_INLINE void loadPixels(const Mox8u* p, Colours<V> (&half)[2]) {
  constexpr int kFour = 4 * Pixel::kSamples, kSixteen = 4 * kFour;
  if constexpr (kHasDot8) prefetchAhead<Pixel::kSamples * V::kBytes>(p);
  if constexpr (kHasPermute8<V>) {
    // One byte permutation gives all pairs of sixteen pixels; each half then holds consecutive pixels. The last sixteen
    // are taken from the end of the last 64 bytes.
    static constexpr PairIndex<Pixel> kFirst(0), kLast(64 - kSixteen);
    const V first = load<V>(kFirst.bytes), last = load<V>(kLast.bytes);
    const V a = permute8Linear(load<V>(p), first);
    const V b = permute8Linear(load<V>(p + kSixteen), first);
    const V c = permute8Linear(load<V>(p + 2 * kSixteen), first);
    const V d = permute8Linear(load<V>(p + 4 * kSixteen - 64), last);
    half[0] = {join256(a, b), join256High(a, b)};
    half[1] = {join256(c, d), join256High(c, d)};
  } else if constexpr (kHasDot8) {
    // Of each sixteen pixels the last four are taken from the end of their last 16 bytes.
    static constexpr PairOrder<Pixel> kFirst(0), kLast(16 - kFour);
    const V first = loadSame<V>(kFirst.bytes), last = loadSame<V>(kLast.bytes);
    const V a = shuffle8(loadApart<V>(p, kSixteen), first);
    const V b = shuffle8(loadApart<V>(p + kFour, kSixteen), first);
    const V c = shuffle8(loadApart<V>(p + 2 * kFour, kSixteen), first);
    const V d = shuffle8(loadApart<V>(p + kSixteen - 16, kSixteen), last);
    half[0] = {low64(a, b), high64(a, b)};
    half[1] = {low64(c, d), high64(c, d)};
  } else {
    V bytes[Pixel::kSamples];
    separate(p, bytes);
    Colours<V>::halves(bytes[Pixel::kRed], bytes[Pixel::kGreen], bytes[Pixel::kBlue], half);
  }
}

// ---- Packed words --------------------------------------------------------------------------------------------------

// The field of each word, widened to eight bits: times 2^bits + 1 it repeats itself.
template <class V, Field F>
MOX_INLINE V widened(V words) {
  static_assert(F.shift >= 5 || (F.shift == 0 && F.bits == 5));
  constexpr int up = F.shift == 0 ? 11 : F.shift;  // the field's position when it is multiplied
  const V field = F.shift == 0 ? shl16<11>(words) : bitAnd(words, set16<V>(F.mask() << F.shift));
  return mulHighU16(field, set16<V>(((1 << F.bits) + 1) << (24 - 2 * F.bits - up)));
}

template <class Pixel, class V>
MOX_INLINE Colours<V> colours(V words) {
  return Colours<V>::ofWords(widened<V, Pixel::kRed>(words), widened<V, Pixel::kGreen>(words),
                             widened<V, Pixel::kBlue>(words));
}

template <class Pixel, class V>
MOX_INLINE void loadPixels(const Mox16u* p, Colours<V> (&half)[2]) {
  half[0] = colours<Pixel>(loadApart<V>(p, 32));
  half[1] = colours<Pixel>(loadApart<V>(bytesAfter(p, 16), 32));
}

}  // namespace mox::MOX_TARGET
