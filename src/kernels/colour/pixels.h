// The pixels of colour images: which sample or bit field of a pixel holds which colour. A pixel format is a policy of
// this file; the conversions are templates over it.
#pragma once

#include "kernels/bytes.h"
#include "moxj.h"

namespace mox {

struct Rgb {
  int red, green, blue;
};

struct Ycc {
  int y, cb, cr;
};

constexpr Rgb complement(Rgb c) { return {255 - c.red, 255 - c.green, 255 - c.blue}; }

constexpr int clamp8(int value) { return value < 0 ? 0 : value > 255 ? 255 : value; }

namespace definition {

// The columns of a row form groups of four; up to three columns remain at its end, the tail. Groups and tail have
// different weights, and both results are required.
constexpr int groupColumns(int width) { return width & ~3; }

}  // namespace definition

// Interleaved bytes; Red, Green and Blue are the places of the colours among the Samples bytes of a pixel.
template <int Red, int Green, int Blue, int Samples = 3>
struct BytePixel {
  using Sample = Mox8u;
  static constexpr int kRed = Red, kGreen = Green, kBlue = Blue, kSamples = Samples;

  static constexpr Rgb read(const Mox8u* pixel) { return {pixel[Red], pixel[Green], pixel[Blue]}; }
  static constexpr void write(Mox8u* pixel, Rgb c) {
    pixel[Red] = static_cast<Mox8u>(c.red);
    pixel[Green] = static_cast<Mox8u>(c.green);
    pixel[Blue] = static_cast<Mox8u>(c.blue);
  }
};
using RgbPixel = BytePixel<0, 1, 2>;
using BgrPixel = BytePixel<2, 1, 0>;
// C, M and Y in the places of R, G and B, and K, which no conversion changes.
struct CmykPixel : BytePixel<0, 1, 2, 4> {
  static constexpr int kBlack = 3;
};

// A bit field of a packed pixel.
struct Field {
  int shift, bits;

  constexpr int mask() const { return (1 << bits) - 1; }
  constexpr int of(int word) const { return word >> shift & mask(); }

  // A field's value as a sample: its upper bits repeat below it, so that the largest value becomes 255 and equal
  // fields of 5 and 6 bits stay equal at both ends.
  constexpr int widen(int value) const { return value << (8 - bits) | value >> (2 * bits - 8); }
  // The field whose widened value is nearest to the sample, the larger of two: adds half a step, subtracts the repeated
  // bits.
  constexpr int narrow(int sample) const {
    const int up = clamp8(sample + (1 << (7 - bits)));
    return (up - (up >> bits)) >> (8 - bits);
  }

  // The same by a shift alone: raise() leaves the low bits of the sample 0, truncate() drops them.
  constexpr int raise(int value) const { return value << (8 - bits); }
  constexpr int truncate(int sample) const { return sample >> (8 - bits); }
};

// One 16-bit word a pixel, at any address. Low and High are the colours of the lowest and the highest field, which have
// five bits. Bits above the fields are ignored where they are read and 0 where they are written.
template <bool RedIsLow, int GreenBits>
struct WordPixel {
  using Sample = Mox16u;
  static constexpr int kSamples = 1;
  static constexpr Field kLow{0, 5}, kGreen{5, GreenBits}, kHigh{5 + GreenBits, 5};
  static constexpr Field kRed = RedIsLow ? kLow : kHigh, kBlue = RedIsLow ? kHigh : kLow;

  static Rgb read(const Mox16u* pixel) {
    const int word = get<Mox16u>(pixel);
    return {kRed.widen(kRed.of(word)), kGreen.widen(kGreen.of(word)), kBlue.widen(kBlue.of(word))};
  }
  static void write(Mox16u* pixel, Rgb c) {
    put(pixel, static_cast<Mox16u>(kRed.narrow(c.red) << kRed.shift | kGreen.narrow(c.green) << kGreen.shift |
                                   kBlue.narrow(c.blue) << kBlue.shift));
  }
};
using Rgb555Pixel = WordPixel<true, 5>;
using Bgr555Pixel = WordPixel<false, 5>;
using Rgb565Pixel = WordPixel<true, 6>;
using Bgr565Pixel = WordPixel<false, 6>;

static_assert(Field{0, 5}.widen(31) == 255 && Field{0, 6}.widen(63) == 255 && Field{0, 5}.widen(16) == 132);
constexpr bool narrowsToTheNearest(Field field) {
  for (int sample = 0; sample < 256; sample++) {
    const int narrowed = field.narrow(sample), below = narrowed > 0 ? field.widen(narrowed - 1) : -256;
    const int above = narrowed < field.mask() ? field.widen(narrowed + 1) : 512;
    const int distance = sample - field.widen(narrowed);
    if (distance >= above - sample || -distance > sample - below) return false;
  }
  return true;
}
static_assert(narrowsToTheNearest({0, 5}) && narrowsToTheNearest({0, 6}));
static_assert(Field{0, 5}.narrow(255) == 31 && Field{0, 6}.narrow(255) == 63 && Field{0, 5}.narrow(4) == 1);
static_assert(Bgr565Pixel::kBlue.shift == 0 && Bgr565Pixel::kRed.shift == 11 && Rgb555Pixel::kBlue.shift == 10);

}  // namespace mox
