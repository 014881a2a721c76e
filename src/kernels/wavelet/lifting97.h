// The irreversible 9/7 wavelet (ISO/IEC 15444-1, F.3 and F.4): four lifting steps and a scaling, over X, an element or
// a vector of them.
//
//   forward   A(2k + 1) = x(2k + 1) + alpha (x(2k)     + x(2k + 2))      predict
//             B(2k)     = x(2k)     + beta  (A(2k - 1) + A(2k + 1))      update
//             G(2k + 1) = A(2k + 1) + gamma (B(2k)     + B(2k + 2))      predict2
//             L(k)      = (B(2k)    + delta (G(2k - 1) + G(2k + 1))) / K low
//             H(k)      = K G(2k + 1)                                    high
//   inverse   D(2k)     = K L(k)    - delta (H(k - 1)  + H(k)) / K       undoDelta
//             C(2k + 1) = H(k) / K  - gamma (D(2k)     + D(2k + 2))      undoGamma
//             E(2k)     = D(2k)     - beta  (C(2k - 1) + C(2k + 1))      undoBeta: x(2k)
//             x(2k + 1) = C(2k + 1) - alpha (E(2k)     + E(2k + 2))      undoAlpha
//
// There are five arithmetics, named after what they serve; each says how a result is rounded in one place:
//
//   Plane16       planes of 16s          14 fraction bits, results cut to 16 bits          Plane16::rounded
//   Plane32       planes of 32s          single precision, results truncated to integers   truncated
//   Row16, Row32  rows and steps of      16 fraction bits, products of 64 bits             RowArithmetic::rounded
//                 16s and of 32s
//   Float         rows, columns and      single precision
//                 steps of 32f
//   FloatStep     the inverse step       Float, but for one product
//                 of 32f
#pragma once

#include <bit>

#include "kernels/wavelet/lanes.h"

namespace mox::MOX_TARGET {

// An Arithmetic has two types of the same size: Sample, and Work for the values between two steps. Neighbours a and b
// come as their sum, and the lifting steps above are
//   start(v)              a sample as Work
//   sum(a, b)             of two samples, or of two of Work
//   plus(v, weight, s)    v + weight s          minus(v, weight, s)    v - weight s
//   low(even, s)          (even + delta s) / K  high(odd)              K odd
//   undoDelta(low, a, b)  K low - delta s / K   unscaled(high)         high / K
//   finished(v)           Work as a sample
template <class Arithmetic>
struct Lifting97 : Arithmetic {
  using A = Arithmetic;
  static_assert(sizeof(typename A::Sample) == sizeof(typename A::Work));

  MOX_INLINE static constexpr auto predict(auto odd, auto a, auto b) {
    return A::plus(A::start(odd), A::alpha, A::sum(a, b));
  }
  MOX_INLINE static constexpr auto update(auto even, auto a, auto b) {
    return A::plus(A::start(even), A::beta, A::sum(a, b));
  }
  MOX_INLINE static constexpr auto predict2(auto odd, auto a, auto b) { return A::plus(odd, A::gamma, A::sum(a, b)); }
  MOX_INLINE static constexpr auto low(auto even, auto a, auto b) { return A::low(even, A::sum(a, b)); }
  // high and undoDelta are the arithmetic's own.
  MOX_INLINE static constexpr auto undoGamma(auto high, auto a, auto b) {
    return A::minus(A::unscaled(high), A::gamma, A::sum(a, b));
  }
  MOX_INLINE static constexpr auto undoBeta(auto even, auto a, auto b) { return A::minus(even, A::beta, A::sum(a, b)); }
  MOX_INLINE static constexpr auto undoAlpha(auto odd, auto a, auto b) { return A::minus(odd, A::alpha, A::sum(a, b)); }
};

// ---- Single precision ----------------------------------------------------------------------------------------------

// Toward zero, saturating at both ends of the range but for 2^31 itself, which becomes -2^31.
template <class W>
MOX_INLINE constexpr Like<Mox32s, W> truncated(W v) {
  using S = Like<Mox32s, W>;
  const W bound = all<W>(2147483648.0f);
  if constexpr (kIsVector<W> && kHasTruncate32) {
    using V = std::conditional_t<sizeof(W) == V128::kBytes, V128, VMax>;
    const S within = std::bit_cast<S>(truncate32(std::bit_cast<V>(v)));  // -2^31 where `v` is out of range
    // V512 compares into a mask and selects by it. Elsewhere turning all bits of -2^31 is quicker than to select.
    return V::kBytes == 64 ? (v > bound ? all<S>(INT32_MAX) : within) : within ^ (v > bound);
  } else {
    const W low = v > -bound ? v : -bound;
    return v > bound ? all<S>(INT32_MAX) : converted<Mox32s>(v >= bound ? -bound : low);
  }
}
static_assert(truncated(-1.9f) == -1 && truncated(1.9f) == 1 && truncated(2147483648.0f) == INT32_MIN);
static_assert(truncated(2147483904.0f) == INT32_MAX && truncated(-2147483904.0f) == INT32_MIN);
static_assert(truncated(2147483520.0f) == 2147483520 && truncated(-2147483648.0f) == INT32_MIN);

// The constants to the bit.
struct Weights97 {
  static constexpr float alpha = std::bit_cast<float>(0xBFCB0673u), beta = std::bit_cast<float>(0xBD5901AEu),
                         gamma = std::bit_cast<float>(0x3F620676u), delta = std::bit_cast<float>(0x3EE31355u),
                         k = std::bit_cast<float>(0x3F9D7658u), perK = std::bit_cast<float>(0x3F5019C3u),
                         deltaPerK = std::bit_cast<float>(0x3EB8968Eu);
  MOX_INLINE static constexpr auto plus(auto v, float weight, auto sum) { return v + weight * sum; }
  MOX_INLINE static constexpr auto minus(auto v, float weight, auto sum) { return v - weight * sum; }
};

struct Float : Weights97 {
  using Sample = Mox32f;
  using Work = Mox32f;
  using Weight = float;
  static constexpr bool kVectors = false;
  static constexpr Sample ofWeighted(float sum) { return sum; }
  static constexpr Work start(Sample v) { return v; }
  static constexpr Work sum(Work a, Work b) { return a + b; }
  static constexpr Sample low(Work even, Work sum) { return plus(even, delta, sum) * perK; }
  static constexpr Sample high(Work odd) { return odd * k; }
  static constexpr Work undoDelta(Sample low, Sample a, Sample b) { return low * k - delta * (a * perK + b * perK); }
  static constexpr Work unscaled(Sample high) { return high * perK; }
  static constexpr Sample finished(Work v) { return v; }
};

// The inverse lifting step takes delta and 1/K together.
struct FloatStep : Float {
  static constexpr Work undoDelta(Sample low, Sample a, Sample b) { return low * k - deltaPerK * (a + b); }
};

// Integers filtered in single precision; two integers that a step adds are added as integers, wrapping. The one
// rounding is truncated().
struct Plane32 : Weights97 {
  using Sample = Mox32s;
  using Work = Mox32f;
  static constexpr bool kVectors = true;
  MOX_INLINE static constexpr auto start(auto v) { return converted<Work>(v); }
  template <class V>
  MOX_INLINE static constexpr Like<Work, V> sum(V a, V b) {
    if constexpr (std::is_same_v<Lane<V>, Sample>)
      return start(wrapAdd(a, b));
    else
      return a + b;
  }
  MOX_INLINE static constexpr auto low(auto even, auto sum) { return truncated(plus(even, delta, sum) * perK); }
  MOX_INLINE static constexpr auto high(auto odd) { return truncated(odd * k); }
  MOX_INLINE static constexpr auto undoDelta(auto low, auto a, auto b) {
    return start(low) * k - delta * (sum(a, b) * perK);
  }
  MOX_INLINE static constexpr auto unscaled(auto high) { return start(high) * perK; }
  MOX_INLINE static constexpr auto finished(auto v) { return truncated(v); }
};

// ---- Fixed point ---------------------------------------------------------------------------------------------------

// 14 fraction bits, every result cut to 16 bits.
struct Plane16 {
  using Sample = Mox16s;
  using Work = Mox16s;
  static constexpr bool kVectors = false;
  static constexpr int32_t alpha = -25987, beta = -868, gamma = 14466, delta = 7266, k = 20155, perK = 13318;
  static constexpr int32_t rounded(int32_t product) { return (product + 8192) >> 14; }
  static constexpr Work scaled(Work v, int32_t weight) { return static_cast<Work>(rounded(v * weight)); }

  static constexpr Work start(Sample v) { return v; }
  static constexpr int32_t sum(Work a, Work b) { return a + b; }
  static constexpr Work plus(Work v, int32_t weight, int32_t sum) {
    return static_cast<Work>(v + rounded(weight * sum));
  }
  static constexpr Work minus(Work v, int32_t weight, int32_t sum) {
    return static_cast<Work>(v - rounded(weight * sum));
  }
  static constexpr Sample low(Work even, int32_t sum) { return scaled(plus(even, delta, sum), perK); }
  static constexpr Sample high(Work odd) { return scaled(odd, k); }
  static constexpr Work undoDelta(Sample low, Sample a, Sample b) {
    return minus(scaled(low, k), delta, sum(scaled(a, perK), scaled(b, perK)));
  }
  static constexpr Work unscaled(Sample high) { return scaled(high, perK); }
  static constexpr Sample finished(Work v) { return v; }
};
// The largest product fits 32 bits.
static_assert(int64_t{Plane16::alpha} * -65536 + 8192 <= INT32_MAX);
static_assert(int64_t{Plane16::alpha} * 65534 + 8192 >= INT32_MIN);

// 16 fraction bits, products of 64 bits; delta and the scaling of the low coefficients are one step. 16-bit results
// saturate after every step, 32-bit ones wrap.
template <class T>
struct RowArithmetic {
  using Sample = T;
  using Work = T;
  using Weight = int64_t;
  static constexpr bool kVectors = false;
  static constexpr int64_t alpha = -103949, beta = -3472, gamma = 57862, k = 80621, perK = 53274, deltaPerK = 23627;
  static constexpr int64_t rounded(int64_t product) { return (product + 32768) >> 16; }
  static constexpr T kept(int64_t v) {
    if constexpr (sizeof(T) == 2)
      return static_cast<T>(v < INT16_MIN ? INT16_MIN : v > INT16_MAX ? INT16_MAX : v);
    else
      return static_cast<T>(static_cast<uint32_t>(v));
  }
  static constexpr T ofWeighted(int64_t sum) { return kept(rounded(sum)); }

  static constexpr T start(T v) { return v; }
  static constexpr int64_t sum(T a, T b) { return int64_t{a} + b; }
  static constexpr T plus(T v, int64_t weight, int64_t sum) { return kept(v + rounded(weight * sum)); }
  static constexpr T minus(T v, int64_t weight, int64_t sum) { return kept(v - rounded(weight * sum)); }
  static constexpr T low(T even, int64_t sum) { return kept(rounded(even * perK + sum * deltaPerK)); }
  static constexpr T high(T odd) { return kept(rounded(odd * k)); }
  static constexpr T undoDelta(T low, T a, T b) { return kept(rounded(low * k - sum(a, b) * deltaPerK)); }
  static constexpr T unscaled(T high) { return kept(rounded(high * perK)); }
  static constexpr T finished(T v) { return v; }
};
using Row16 = RowArithmetic<Mox16s>;
using Row32 = RowArithmetic<Mox32s>;

// ---- The filters as wholes, for lines with one coefficient in each band --------------------------------------------

// Weights at distances 0, 1, 2 ... from the centre on either side. With 16 fraction bits the high-pass analysis filter
// has no weight at distance 2.
template <class Weight>
struct AnalysisWeights;

template <>
struct AnalysisWeights<float> {
  static constexpr float low[5] = {std::bit_cast<float>(0x3F1A5ADEu), std::bit_cast<float>(0x3E88A26Au),
                                   std::bit_cast<float>(0xBDA03385u), std::bit_cast<float>(0xBC8A269Fu),
                                   std::bit_cast<float>(0x3CDB2036u)};
  static constexpr float high[4] = {std::bit_cast<float>(0x3F8EBB2Cu), std::bit_cast<float>(0xBF175D96u),
                                    std::bit_cast<float>(0xBD6BB2C3u), std::bit_cast<float>(0x3DBAECB1u)};
  static constexpr float highAt2 = high[2];
};

template <>
struct AnalysisWeights<int64_t> {
  static constexpr int64_t low[5] = {39515, 17489, -5126, -1105, 1753};
  static constexpr int64_t high[4] = {73078, -38750, 0, 5982};
  static constexpr int64_t highAt2 = -3771;  // what synthesis has there
};

// Synthesis has the analysis weights of the other band, every other sign turned. Around an even sample low
// coefficients lie at even distances, around an odd one the high ones.
template <class Weight>
struct SynthesisWeights {
  using A = AnalysisWeights<Weight>;
  static constexpr Weight even[4] = {A::high[0], -A::low[1], A::highAt2, -A::low[3]};
  static constexpr Weight odd[5] = {A::low[0], -A::high[1], A::low[2], -A::high[3], A::low[4]};
};

// The sum from the centre outwards; value(i) is the value at distance i.
template <class Weight, int Count, class Value>
constexpr Weight weighted(const Weight (&weights)[Count], const Value& value) {
  Weight sum = weights[0] * static_cast<Weight>(value(0));
  for (int i = 1; i < Count; i++) sum += weights[i] * (static_cast<Weight>(value(-i)) + static_cast<Weight>(value(i)));
  return sum;
}

}  // namespace mox::MOX_TARGET
