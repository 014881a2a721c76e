// The irreversible 9/7 wavelet (ISO/IEC 15444-1, Annex F): four lifting steps and a scaling, in five arithmetics.
#pragma once

#include <bit>

#include "kernels/wavelet/wt.h"

namespace mox {

template <class T>
struct Wt97LiftKernels {
  // Rows x(2k), x(2k + 1), x(2k + 2) enter; the others are delayed rows, by the position that they stand for: the
  // even rows 2k - 2 and 2k, the odd rows 2k - 3, 2k - 1, 2k + 1. Rows 2k - 3 and 2k - 2 leave finished.
  void (*forward)(const T* even, const T* odd, const T* nextEven, T* even2Before, T* evenNow, T* odd3Before,
                  T* odd1Before, T* oddNext, int count);
  // Coefficient rows 2k - 1, 2k, 2k + 1 enter; rows 2k - 2 and 2k - 3 leave finished, 2k - 4 is read.
  void (*inverse)(const T* highBefore, const T* low, const T* high, T* evenNow, T* even2Before, const T* even4Before,
                  T* odd1Before, T* odd3Before, int count);
};

struct Wt97Kernels {
  WtPlaneKernels<Mox16s> plane16s;
  WtPlaneKernels<Mox32s> plane32s;
  WtRowKernels<Mox16s> row16s;
  WtRowKernels<Mox32s> row32s;
  WtRowKernels<Mox32f> row32f;
  WtColumnKernels<Mox32f> column32f;
  Wt97LiftKernels<Mox16s> lift16s;
  Wt97LiftKernels<Mox32s> lift32s;
  Wt97LiftKernels<Mox32f> lift32f;
};

namespace definition {

// Each arithmetic has samples and what stands between two steps (Work), of equal size. The neighbours a and b of the
// first step each way are samples.

// Single precision, to the bit.
struct Constants97 {
  static constexpr float alpha = std::bit_cast<float>(0xBFCB0673u), beta = std::bit_cast<float>(0xBD5901AEu),
                         gamma = std::bit_cast<float>(0x3F620676u), delta = std::bit_cast<float>(0x3EE31355u),
                         k = std::bit_cast<float>(0x3F9D7658u), perK = std::bit_cast<float>(0x3F5019C3u),
                         deltaPerK = std::bit_cast<float>(0x3EB8968Eu);
};

struct Single97 : Constants97 {
  using Sample = Mox32f;
  using Work = Mox32f;
  using Weight = float;
  static constexpr Sample ofWeighted(float sum) { return sum; }
  static constexpr Work predict(Sample odd, Sample a, Sample b) { return odd + alpha * (a + b); }
  static constexpr Work update(Sample even, Work a, Work b) { return even + beta * (a + b); }
  static constexpr Work predict2(Work odd, Work a, Work b) { return odd + gamma * (a + b); }
  static constexpr Sample low(Work even, Work a, Work b) { return (even + delta * (a + b)) * perK; }
  static constexpr Sample high(Work odd) { return odd * k; }

  static constexpr Work undoDelta(Sample low, Sample a, Sample b) { return low * k - delta * (a * perK + b * perK); }
  static constexpr Work undoGamma(Sample high, Work a, Work b) { return high * perK - gamma * (a + b); }
  static constexpr Work undoBeta(Work even, Work a, Work b) { return even - beta * (a + b); }
  static constexpr Work undoAlpha(Work odd, Work a, Work b) { return odd - alpha * (a + b); }
  static constexpr Sample finished(Work v) { return v; }
};

// The inverse lifting step takes delta and 1/K together.
struct SingleFused97 : Single97 {
  static constexpr Work undoDelta(Sample low, Sample a, Sample b) { return low * k - deltaPerK * (a + b); }
};

// Toward zero, saturating at both ends of the range but for 2^31 itself, which becomes -2^31.
constexpr Mox32s truncated(float v) {
  constexpr float kBound = 2147483648.0f;
  const float low = v > -kBound ? v : -kBound;
  const Mox32s inside = static_cast<Mox32s>(v >= kBound ? -kBound : low);
  return v > kBound ? INT32_MAX : inside;
}
static_assert(truncated(-1.9f) == -1 && truncated(1.9f) == 1 && truncated(2147483648.0f) == INT32_MIN);
static_assert(truncated(2147483904.0f) == INT32_MAX && truncated(-2147483904.0f) == INT32_MIN);
static_assert(truncated(2147483520.0f) == 2147483520 && truncated(-2147483648.0f) == INT32_MIN);

// Integers filtered in single precision; two integers that a step adds are added as integers, wrapping.
struct Truncating97 : Constants97 {
  using Sample = Mox32s;
  using Work = Mox32f;
  static constexpr Work single(Sample v) { return static_cast<Work>(v); }
  static constexpr Work sum(Sample a, Sample b) {
    return single(static_cast<Sample>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b)));
  }
  static constexpr Work predict(Sample odd, Sample a, Sample b) { return single(odd) + alpha * sum(a, b); }
  static constexpr Work update(Sample even, Work a, Work b) { return single(even) + beta * (a + b); }
  static constexpr Work predict2(Work odd, Work a, Work b) { return odd + gamma * (a + b); }
  static constexpr Sample low(Work even, Work a, Work b) { return truncated((even + delta * (a + b)) * perK); }
  static constexpr Sample high(Work odd) { return truncated(odd * k); }

  static constexpr Work undoDelta(Sample low, Sample a, Sample b) {
    return single(low) * k - delta * (sum(a, b) * perK);
  }
  static constexpr Work undoGamma(Sample high, Work a, Work b) { return single(high) * perK - gamma * (a + b); }
  static constexpr Work undoBeta(Work even, Work a, Work b) { return even - beta * (a + b); }
  static constexpr Work undoAlpha(Work odd, Work a, Work b) { return odd - alpha * (a + b); }
  static constexpr Sample finished(Work v) { return truncated(v); }
};

// 14 fraction bits, every result cut to 16 bits.
struct Cut97 {
  using Sample = Mox16s;
  using Work = Mox16s;
  static constexpr int32_t alpha = -25987, beta = -868, gamma = 14466, delta = 7266, k = 20155, perK = 13318;
  static constexpr int32_t rounded(int32_t product) { return (product + 8192) >> 14; }
  static constexpr Work plus(Work v, int32_t c, Work a, Work b) { return static_cast<Work>(v + rounded(c * (a + b))); }
  static constexpr Work minus(Work v, int32_t c, Work a, Work b) { return static_cast<Work>(v - rounded(c * (a + b))); }
  static constexpr Work scaled(Work v, int32_t c) { return static_cast<Work>(rounded(v * c)); }

  static constexpr Work predict(Sample odd, Sample a, Sample b) { return plus(odd, alpha, a, b); }
  static constexpr Work update(Sample even, Work a, Work b) { return plus(even, beta, a, b); }
  static constexpr Work predict2(Work odd, Work a, Work b) { return plus(odd, gamma, a, b); }
  static constexpr Sample low(Work even, Work a, Work b) { return scaled(plus(even, delta, a, b), perK); }
  static constexpr Sample high(Work odd) { return scaled(odd, k); }

  static constexpr Work undoDelta(Sample low, Sample a, Sample b) {
    return minus(scaled(low, k), delta, scaled(a, perK), scaled(b, perK));
  }
  static constexpr Work undoGamma(Sample high, Work a, Work b) { return minus(scaled(high, perK), gamma, a, b); }
  static constexpr Work undoBeta(Work even, Work a, Work b) { return minus(even, beta, a, b); }
  static constexpr Work undoAlpha(Work odd, Work a, Work b) { return minus(odd, alpha, a, b); }
  static constexpr Sample finished(Work v) { return v; }
};
// The largest product: (c * (a + b)) fits 32 bits.
static_assert(int64_t{-25987} * -65536 + 8192 <= INT32_MAX && int64_t{-25987} * 65534 + 8192 >= INT32_MIN);

// 16 fraction bits, products of 64 bits; delta and the scaling of the low coefficients are one step. 16-bit results
// saturate after every step, 32-bit ones wrap.
template <class T>
struct Wide97 {
  using Sample = T;
  using Work = T;
  using Weight = int64_t;
  static constexpr Sample ofWeighted(int64_t sum) { return kept(rounded(sum)); }
  static constexpr int64_t alpha = -103949, beta = -3472, gamma = 57862, k = 80621, perK = 53274, deltaPerK = 23627;
  static constexpr int64_t rounded(int64_t product) { return (product + 32768) >> 16; }
  static constexpr T kept(int64_t v) {
    if constexpr (sizeof(T) == 2)
      return static_cast<T>(v < INT16_MIN ? INT16_MIN : v > INT16_MAX ? INT16_MAX : v);
    else
      return static_cast<T>(static_cast<uint32_t>(v));
  }
  static constexpr int64_t sum(T a, T b) { return int64_t{a} + b; }
  static constexpr T plus(T v, int64_t c, T a, T b) { return kept(v + rounded(c * sum(a, b))); }
  static constexpr T minus(T v, int64_t c, T a, T b) { return kept(v - rounded(c * sum(a, b))); }

  static constexpr T predict(T odd, T a, T b) { return plus(odd, alpha, a, b); }
  static constexpr T update(T even, T a, T b) { return plus(even, beta, a, b); }
  static constexpr T predict2(T odd, T a, T b) { return plus(odd, gamma, a, b); }
  static constexpr T low(T even, T a, T b) { return kept(rounded(even * perK + sum(a, b) * deltaPerK)); }
  static constexpr T high(T odd) { return kept(rounded(odd * k)); }

  static constexpr T undoDelta(T low, T a, T b) { return kept(rounded(low * k - sum(a, b) * deltaPerK)); }
  static constexpr T undoGamma(T high, T a, T b) { return minus(kept(rounded(high * perK)), gamma, a, b); }
  static constexpr T undoBeta(T even, T a, T b) { return minus(even, beta, a, b); }
  static constexpr T undoAlpha(T odd, T a, T b) { return minus(odd, alpha, a, b); }
  static constexpr T finished(T v) { return v; }
};

// The filters as wholes, for lines with one coefficient in each band: weights at distances 0, 1, 2 ... from the
// centre on either side. With 16 fraction bits the high-pass analysis filter has no weight at distance 2.
template <class Weight>
struct Analysis97;

template <>
struct Analysis97<float> {
  static constexpr float low[5] = {std::bit_cast<float>(0x3F1A5ADEu), std::bit_cast<float>(0x3E88A26Au),
                                   std::bit_cast<float>(0xBDA03385u), std::bit_cast<float>(0xBC8A269Fu),
                                   std::bit_cast<float>(0x3CDB2036u)};
  static constexpr float high[4] = {std::bit_cast<float>(0x3F8EBB2Cu), std::bit_cast<float>(0xBF175D96u),
                                    std::bit_cast<float>(0xBD6BB2C3u), std::bit_cast<float>(0x3DBAECB1u)};
  static constexpr float highAt2 = high[2];
};

template <>
struct Analysis97<int64_t> {
  static constexpr int64_t low[5] = {39515, 17489, -5126, -1105, 1753};
  static constexpr int64_t high[4] = {73078, -38750, 0, 5982};
  static constexpr int64_t highAt2 = -3771;  // what synthesis has there
};

// Synthesis has the analysis weights of the other band, every other sign turned. Around an even sample low
// coefficients lie at even distances, around an odd one the high ones.
template <class Weight>
struct Synthesis97 {
  using A = Analysis97<Weight>;
  static constexpr Weight even[4] = {A::high[0], -A::low[1], A::highAt2, -A::low[3]};
  static constexpr Weight odd[5] = {A::low[0], -A::high[1], A::low[2], -A::high[3], A::low[4]};
};

// The sum from the centre outwards; at(i) is the value at distance i.
template <class Weight, int Count, class At>
constexpr Weight weighted(const Weight (&weights)[Count], const At& at) {
  Weight sum = weights[0] * static_cast<Weight>(at(0));
  for (int i = 1; i < Count; i++) sum += weights[i] * (static_cast<Weight>(at(-i)) + static_cast<Weight>(at(i)));
  return sum;
}

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const Wt97Kernels wt97Kernels;
}
#endif

}  // namespace mox
