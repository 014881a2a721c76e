// Vectors of pixels: how rows of every layout come to stand by colour in registers, and leave them again.
//
// A step of a conversion takes as many pixels as a vector has bytes. Bytes are held in the order of the pixels. What
// is computed in 16 bits is held in two vectors, the halves that low8 and high8 make of bytes in order, so that the
// narrowing packs, which work within 128-bit blocks as these do, restore the order.
#pragma once

#include "kernels/colour/pixels.h"
#include "kernels/vec/prefetch.h"
#include "kernels/vec/vec.h"

#if MOX_VECTOR
namespace mox::MOX_TARGET {

// ---- Columns ----

// Calls body.operator()<V>(x) for vectors of pixels that together cover the columns 0 to count - 1, and returns
// count; where count is below the smallest vector, returns 0 and calls nothing. The last vector overlaps the one
// before it rather than to leave the row.
template <class V, class Body>
MOX_INLINE int coverWith(int count, const Body& body) {
  const ptrdiff_t last = count - V::kBytes;
  for (ptrdiff_t x = 0;; x = x + V::kBytes < last ? x + V::kBytes : last) {
    body.template operator()<V>(x);
    if (x == last) return count;
  }
}

template <class Body>
MOX_INLINE int cover(int count, const Body& body) {
  if (count < V128::kBytes) return 0;
#if defined(__AVX512BW__)
  if (count >= V512::kBytes) return coverWith<V512>(count, body);
#endif
#if defined(__AVX2__)
  if (count >= V256::kBytes) return coverWith<V256>(count, body);
#endif
  return coverWith<V128>(count, body);
}

// ---- Interleaved bytes ----

// Gives each of the N samples of 16 pixels, which come as N vectors of interleaved bytes, its vector.
template <int N>
MOX_INLINE void separate(V128 (&c)[N]) {
  // A round interleaves the lower with the upper half of all bytes: byte i goes to 2 i modulo 16 N - 1, in four
  // rounds to 16 i; byte N n + k, that is, to 16 k + n.
#pragma GCC unroll 4
  for (int round = 0; round < 4; round++) {
    const V128 a = c[0], b = c[1], d = c[2];
    if constexpr (N == 3) {
      c[0] = low8(a, high64(b, b));
      c[1] = low8(high64(a, a), d);
      c[2] = low8(b, high64(d, d));
    } else {
      const V128 e = c[3];
      c[0] = low8(a, d), c[1] = high8(a, d);
      c[2] = low8(b, e), c[3] = high8(b, e);
    }
  }
}

template <int N>
MOX_INLINE void separate(const uint8_t* p, V128 (&c)[N]) {
#if defined(MOX_TARGET_IS_neon)
  if constexpr (N == 3) {
    const uint8x16x3_t v = vld3q_u8(p);
    for (int i = 0; i < 3; i++) c[i] = wrap(v.val[i]);
  } else {
    const uint8x16x4_t v = vld4q_u8(p);
#pragma GCC unroll 4
    for (int i = 0; i < 4; i++) c[i] = wrap(v.val[i]);
  }
#else
#pragma GCC unroll 4
  for (int i = 0; i < N; i++) c[i] = load<V128>(p + 16 * i);
  separate(c);
#endif
}

// Where the bytes of the K-th four pixels, each of three bytes and one to spare, go in three vectors of 16 bytes.
struct TripleOrder {
  uint8_t bytes[16];

  explicit constexpr TripleOrder(int k) : bytes() {
    for (uint8_t& byte : bytes) byte = 0x80;
    for (int i = 0; i < 12; i++) bytes[(12 * k + i) % 16] = static_cast<uint8_t>(i / 3 * 4 + i % 3);
  }
};

#if !defined(MOX_TARGET_IS_neon)
// The bytes of 16 pixels of each 128-bit block in order: the first, second and third 16 of their 48.
template <class V>
MOX_INLINE void merge(V a, V b, V c, V (&out)[3]) {
#if MOX_DOT8
  static constexpr TripleOrder kOrder[] = {TripleOrder(0), TripleOrder(1), TripleOrder(2), TripleOrder(3)};
  const V ab[] = {low8(a, b), high8(a, b)}, cc[] = {low8(c, c), high8(c, c)};
  const V first = shuffle8(low16(ab[0], cc[0]), loadSame<V>(kOrder[0].bytes));
  const V second = shuffle8(high16(ab[0], cc[0]), loadSame<V>(kOrder[1].bytes));
  const V third = shuffle8(low16(ab[1], cc[1]), loadSame<V>(kOrder[2].bytes));
  const V fourth = shuffle8(high16(ab[1], cc[1]), loadSame<V>(kOrder[3].bytes));
  out[0] = blend16<0xC0>(first, second);
  out[1] = blend16<0xF0>(second, third);
  out[2] = blend16<0xFC>(third, fourth);
#else
  // The rounds of separate() backwards: the bytes of even places, then those of odd places.
  const V even = set16<V>(0xFF);
#pragma GCC unroll 4
  for (int round = 0; round < 4; round++) {
    const V evens[] = {bitAnd(a, even), bitAnd(b, even), bitAnd(c, even)};
    const V odds[] = {shrU16<8>(a), shrU16<8>(b), shrU16<8>(c)};
    a = packsU16(evens[0], evens[1]), b = packsU16(evens[2], odds[0]), c = packsU16(odds[1], odds[2]);
  }
  out[0] = a, out[1] = b, out[2] = c;
#endif
}
#endif

template <class V>
MOX_INLINE void storeMerged(uint8_t* p, V a, V b, V c) {
#if defined(MOX_TARGET_IS_neon)
  vst3q_u8(p, uint8x16x3_t{{u8(a), u8(b), u8(c)}});
#else
  V merged[3];
  merge(a, b, c, merged);
#pragma GCC unroll 3
  for (int i = 0; i < 3; i++) storeApart(p + 16 * i, 48, merged[i]);
#endif
}

#if defined(__AVX512VBMI__)
// Which of 64 pixels each byte of the K-th of three vectors belongs to.
struct TripleIndex {
  uint8_t bytes[64];

  explicit constexpr TripleIndex(int k) : bytes() {
    for (int i = 0; i < 64; i++) bytes[i] = static_cast<uint8_t>((64 * k + i) / 3);
  }
};

template <int K>
MOX_INLINE void storeThird(uint8_t* p, V512 a, V512 b, V512 c) {
  static constexpr TripleIndex kIndex(K);
  // One bit in three; byte 64 K + i is of sample (64 K + i) mod 3, and 64 mod 3 is 1.
  constexpr __mmask64 kEveryThird = 0x9249249249249249;
  constexpr __mmask64 kSecond = kEveryThird << (4 - K) % 3, kThird = kEveryThird << (5 - K) % 3;
  const __m512i index = _mm512_loadu_si512(kIndex.bytes);
  const __m512i first = _mm512_permutexvar_epi8(index, a.r);
  const __m512i second = _mm512_mask_permutexvar_epi8(first, kSecond, index, b.r);
  store(p + 64 * K, V512{_mm512_mask_permutexvar_epi8(second, kThird, index, c.r)});
}

template <>
MOX_INLINE void storeMerged<V512>(uint8_t* p, V512 a, V512 b, V512 c) {
  storeThird<0>(p, a, b, c);
  storeThird<1>(p, a, b, c);
  storeThird<2>(p, a, b, c);
}
#endif

template <class V>
MOX_INLINE void storeMerged(uint8_t* p, V a, V b, V c, V d) {
#if defined(MOX_TARGET_IS_neon)
  vst4q_u8(p, uint8x16x4_t{{u8(a), u8(b), u8(c), u8(d)}});
#else
  const V ab[] = {low8(a, b), high8(a, b)}, cd[] = {low8(c, d), high8(c, d)};
#pragma GCC unroll 4
  for (int i = 0; i < 2; i++) {
    storeApart(p + 32 * i, 64, low16(ab[i], cd[i]));
    storeApart(p + 32 * i + 16, 64, high16(ab[i], cd[i]));
  }
#endif
}

// ---- Colours, for sums of weighted colours in 16 bits that may wrap ----

// Whether loadPixels gives the halves of a vector in the order of the pixels, which packsU16Linear leaves as it is.
template <class Pixel, class V>
constexpr bool kOrderedHalves = false;

#if MOX_DOT8
// Pairs of bytes, one of each a pixel; green is in both, for weights of more than seven bits.
template <class V>
struct Colours {
  V rg, bg;

  MOX_INLINE static Colours ofWords(V red, V green, V blue) {
    const V upper = shl16<8>(green);
    return {bitOr(red, upper), bitOr(blue, upper)};
  }
  MOX_INLINE Colours complement() const { return {bitXor(rg, set8<V>(0xFF)), bitXor(bg, set8<V>(0xFF))}; }

  MOX_INLINE V reds() const { return bitAnd(rg, set16<V>(0xFF)); }
  MOX_INLINE V greens() const { return shrU16<8>(rg); }
  MOX_INLINE V blues() const { return bitAnd(bg, set16<V>(0xFF)); }

  // How much of green's weight goes with red: what fits beside it, if blue has to take any.
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

template <class V>
MOX_INLINE void halves(V red, V green, V blue, Colours<V> (&half)[2]) {
  half[0] = {low8(red, green), low8(blue, green)};
  half[1] = {high8(red, green), high8(blue, green)};
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

// The colours of V::kBytes pixels of three or four interleaved bytes. The last four of sixteen pixels are taken from
// the end of these: nothing behind them is read.
template <class Pixel, class V>
MOX_INLINE void loadPixels(const uint8_t* p, Colours<V> (&half)[2]) {
  constexpr int kFour = 4 * Pixel::kSamples, kSixteen = 4 * kFour;
  prefetchAhead<Pixel::kSamples * V::kBytes>(p);
  static constexpr PairOrder<Pixel> kFirst(0), kLast(16 - kFour);
  const V first = loadSame<V>(kFirst.bytes), last = loadSame<V>(kLast.bytes);
  const V a = shuffle8(loadApart<V>(p, kSixteen), first);
  const V b = shuffle8(loadApart<V>(p + kFour, kSixteen), first);
  const V c = shuffle8(loadApart<V>(p + 2 * kFour, kSixteen), first);
  const V d = shuffle8(loadApart<V>(p + kSixteen - 16, kSixteen), last);
  half[0] = {low64(a, b), high64(a, b)};
  half[1] = {low64(c, d), high64(c, d)};
}

#if defined(__AVX512VBMI__)
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

// One byte permutation gives all pairs of sixteen pixels; consecutive pixels then stand in each half.
template <class Pixel>
constexpr bool kOrderedHalves<Pixel, V512> = true;

template <class Pixel>
MOX_INLINE void loadPixels(const uint8_t* p, Colours<V512> (&half)[2]) {
  constexpr int kSixteen = 16 * Pixel::kSamples;
  prefetchAhead<4 * kSixteen>(p);
  static constexpr PairIndex<Pixel> kFirst(0), kLast(64 - kSixteen);
  const __m512i first = _mm512_loadu_si512(kFirst.bytes), last = _mm512_loadu_si512(kLast.bytes);
  const __m512i a = _mm512_permutexvar_epi8(first, load<V512>(p).r);
  const __m512i b = _mm512_permutexvar_epi8(first, load<V512>(p + kSixteen).r);
  const __m512i c = _mm512_permutexvar_epi8(first, load<V512>(p + 2 * kSixteen).r);
  const __m512i d = _mm512_permutexvar_epi8(last, load<V512>(p + 4 * kSixteen - 64).r);
  half[0] = {{_mm512_shuffle_i64x2(a, b, 0x44)}, {_mm512_shuffle_i64x2(a, b, 0xEE)}};
  half[1] = {{_mm512_shuffle_i64x2(c, d, 0x44)}, {_mm512_shuffle_i64x2(c, d, 0xEE)}};
}
#endif
#else
template <class V>
struct Colours {
  V red, green, blue;  // 16-bit lanes

  MOX_INLINE static Colours ofWords(V r, V g, V b) { return {r, g, b}; }
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

template <class V>
MOX_INLINE void halves(V red, V green, V blue, Colours<V> (&half)[2]) {
  const V none = zero<V>();
  half[0] = {low8(red, none), low8(green, none), low8(blue, none)};
  half[1] = {high8(red, none), high8(green, none), high8(blue, none)};
}

template <class Pixel, class V>
MOX_INLINE void loadPixels(const uint8_t* p, Colours<V> (&half)[2]) {
  V bytes[Pixel::kSamples];
  separate(p, bytes);
  halves(bytes[Pixel::kRed], bytes[Pixel::kGreen], bytes[Pixel::kBlue], half);
}
#endif

// ---- Packed words ----

// The field of each word, widened to eight bits: times 2^bits + 1 it repeats itself.
template <class V, Field F>
MOX_INLINE V widened(V words) {
  static_assert(F.shift >= 5 || (F.shift == 0 && F.bits == 5));
  constexpr int up = F.shift == 0 ? 11 : F.shift;  // where the field stands when it is multiplied
  const V field = F.shift == 0 ? shl16<11>(words) : bitAnd(words, set16<V>(F.mask() << F.shift));
  return mulHighU16(field, set16<V>(((1 << F.bits) + 1) << (24 - 2 * F.bits - up)));
}

template <class Pixel, class V>
MOX_INLINE Colours<V> colours(V words) {
  return Colours<V>::ofWords(widened<V, Pixel::kRed>(words), widened<V, Pixel::kGreen>(words),
                             widened<V, Pixel::kBlue>(words));
}

template <class Pixel, class V>
MOX_INLINE void loadWords(const Mox16u* p, Colours<V> (&half)[2]) {
  half[0] = colours<Pixel>(loadApart<V>(p, 32));
  half[1] = colours<Pixel>(loadApart<V>(p + 8, 32));
}

// Bytes narrowed to fields, which stand at the upper end of the bytes.
template <class V, Field F>
MOX_INLINE V narrowed(V bytes) {
  const V up = addsU8(bytes, set8<V>(1 << (7 - F.bits)));
  const V repeated = bitAnd(shrU16<F.bits>(up), set8<V>(0xFF >> F.bits));
  return bitAnd(sub8(up, repeated), set8<V>(0xFF << (8 - F.bits)));
}

// Bytes cut off to fields, which stand where they stood.
template <class V, Field F>
MOX_INLINE V cutOff(V bytes) {
  return bitAnd(bytes, set8<V>(0xFF << (8 - F.bits)));
}

// Words whose upper bytes have the field at their upper end, which goes to its place; the lower bytes are 0.
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
MOX_INLINE void storeWords(Mox16u* p, V red, V green, V blue) {
  const V r = narrowed<V, Pixel::kRed>(red), g = narrowed<V, Pixel::kGreen>(green), b = narrowed<V, Pixel::kBlue>(blue);
  const V none = zero<V>();
  storeApart(p, 32, merged<Pixel>(low8(none, r), low8(none, g), low8(none, b)));
  storeApart(p + 8, 32, merged<Pixel>(high8(none, r), high8(none, g), high8(none, b)));
}

}  // namespace mox::MOX_TARGET
#endif
