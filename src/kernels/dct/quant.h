// Quantisation of one 8x8 block of coefficients (T.81 A.3.4), by multiplication with the reciprocals of the steps.
//
// There are two quantisers, which differ on purpose: the stand-alone one rounds halves upwards and wraps; the one after
// the forward DCT rounds to nearest, ties to even, and saturates. Tables may lie at any address.
#pragma once

#include "kernels/dct/fixed.h"
#include "moxj.h"

namespace mox {

struct QuantKernels {
  // In place over 64 values, with 64 table entries.
  void (*forward)(Mox16s* block, const Mox16u* reciprocals);
  void (*forwardEven)(Mox16s* block, const Mox16u* reciprocals);  // as the forward DCT quantises
  void (*inverse)(Mox16s* block, const Mox16u* steps);
};

namespace definition {

// 32768 / step. The quotient is taken with 16 fraction bits; a fraction of one half goes down to an even integer, but
// an odd integer goes up from 32767/65536 on: asymmetric, kept for fixed results. A step of 0 yields 65535.
constexpr Mox16u reciprocal(Mox8u step) {
  if (step == 0) return 65535;
  const uint32_t quotient = (uint32_t{32768} << 16) / step;
  const uint32_t odd = quotient >> 16 & 1;
  return static_cast<Mox16u>((quotient + 2 * odd + 32767) >> 16);
}

static_assert(reciprocal(1) == 32768 && reciprocal(2) == 16384 && reciprocal(3) == 10923);
static_assert(reciprocal(16) == 2048 && reciprocal(255) == 129);

// The stand-alone quantiser: twice the quotient, then a halving that rounds halves upwards. Coefficients of magnitude
// 4096 and above wrap.
constexpr Mox16s quantise(Mox16s coefficient, Mox16u reciprocal) {
  const Mox16s doubled = mulHigh16(shl16(coefficient, 3), static_cast<Mox16s>(reciprocal >> 1));
  return static_cast<Mox16s>((doubled + 1) >> 1);
}

static_assert(quantise(100, 2048) == 6 && quantise(-100, 2048) == -6);
static_assert(quantise(24, 2048) == 2 && quantise(-24, 2048) == -1);

// The quantiser after the forward DCT: to nearest, ties to even.
// |product| <= 32768 * 65535 and the largest positive one is 32767 * 65535, so that adding 16384 stays below 2^31.
constexpr Mox16s quantiseEven(Mox16s coefficient, Mox16u reciprocal) {
  const int32_t product = coefficient * static_cast<int32_t>(reciprocal);
  return saturate16((product + 16383 + (product >> 15 & 1)) >> 15);
}

static_assert(quantiseEven(3, 16384) == 2 && quantiseEven(5, 16384) == 2 && quantiseEven(-3, 16384) == -2);
static_assert(quantiseEven(-32768, 32768) == -32768 && quantiseEven(32767, 65535) == 32767);

// Wraps, as 16-bit multiplication does.
constexpr Mox16s dequantise(Mox16s level, Mox16u step) { return mulLow16(level, step); }

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const QuantKernels quantKernels;
}
#endif

}  // namespace mox
