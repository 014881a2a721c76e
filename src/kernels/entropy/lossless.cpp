// Rows of lossless JPEG: differences, and samples from differences.
//
// A difference depends on samples alone, so whole vectors of them are computed at once. A sample depends on the one to
// its left. But only predictors 6 and 7 halve that one; with the others a row is a sum of known terms:
//
//   predictor 1    the prefix sums of the differences
//   predictor 4    the row above, plus the prefix sums of the differences
//   predictor 5    the prefix sums of the differences plus half of what the row above rises from column to column
//
// A prefix sum over n lanes takes log2 n steps, and from vector to vector one addition. Predictors 6 and 7 stay serial,
// with the shortest chain from sample to sample that wraps at 16 bits: shift, add, mask. The remainder of a row goes to
// the definition.
#include "kernels/entropy/lossless.h"

#include <type_traits>

#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {
namespace {

#if MOX_VECTOR

// ---- Differences --------------------------------------------------------------------------------------------------

// (a - b) >> 1 and (a + b) >> 1 of signed lanes, as if in 17 bits, from avgU16, a mean of unsigned lanes that rounds
// up. Toggling the sign bit makes lanes unsigned; complementing both operands and the result rounds down.
template <class V>
MOX_INLINE V halfDifference(V a, V b) {
  const V sign = set16<V>(0x8000);
  return bitXor(avgU16(bitXor(a, sign), bitXor(b, set16<V>(0x7FFF))), sign);
}
template <class V>
MOX_INLINE V halfSum(V a, V b) {
  const V rest = set16<V>(0x7FFF);
  return bitXor(avgU16(bitXor(a, rest), bitXor(b, rest)), rest);
}

template <int Predictor, class V>
MOX_INLINE V predicted(V a, V b, V c) {
  if constexpr (Predictor == 1) return a;
  if constexpr (Predictor == 2) return b;
  if constexpr (Predictor == 3) return c;
  if constexpr (Predictor == 4) return add16(a, sub16(b, c));
  if constexpr (Predictor == 5) return add16(a, halfDifference(b, c));
  if constexpr (Predictor == 6) return add16(b, halfDifference(a, c));
  if constexpr (Predictor == 7) return halfSum(a, b);
}

// Calls step.operator()<V>(x) for the whole vectors from column `first` on; returns the first column not covered.
template <class Step>
MOX_INLINE int wholeVectors(int first, int n, const Step& step) {
  int x = first;
  for (; n - x >= VMax::kBytes / 2; x += VMax::kBytes / 2) step.template operator()<VMax>(x);
  if constexpr (!std::is_same_v<VMax, V128>)
    for (; n - x >= V128::kBytes / 2; x += V128::kBytes / 2) step.template operator()<V128>(x);
  return x;
}

void differFirst(const Mox16s* src, Mox16s* dst, int n, Mox16s origin) {
  definition::differFirst(src, dst, 1, origin);
  const int x = wholeVectors(
      1, n, [&]<class V>(int at) __attribute__((always_inline)) {
        store(element(dst, at), sub16(load<V>(element(src, at)), load<V>(element(src, at - 1))));
      });
  definition::differFirst(src, dst, n, origin, x);
}

template <int Predictor>
void differRow(const Mox16s* src, const Mox16s* above, Mox16s* dst, int n) {
  definition::differ<Predictor>(src, above, dst, 1);
  const int x = wholeVectors(
      1, n, [&]<class V>(int at) __attribute__((always_inline)) {
        const V a = load<V>(element(src, at - 1)), b = load<V>(element(above, at)), c = load<V>(element(above, at - 1));
        store(element(dst, at), sub16(load<V>(element(src, at)), predicted<Predictor>(a, b, c)));
      });
  definition::differ<Predictor>(src, above, dst, n, x);
}

// ---- Samples ------------------------------------------------------------------------------------------------------

MOX_INLINE V128 prefixSums(V128 a) {
  a = add16(a, slideBytes<14>(zero<V128>(), a));
  a = add16(a, slideBytes<12>(zero<V128>(), a));
  return add16(a, slideBytes<8>(zero<V128>(), a));
}

// dst[x] = start + term(from) + ... + term(x) + offset(x) for the whole vectors from column `from` on. Returns the
// first column not covered.
template <class Term, class Offset>
MOX_INLINE int sumUp(int from, int n, Mox16s start, Mox16s* dst, const Term& term, const Offset& offset) {
  V128 carry = set16<V128>(start);
  int x = from;
  for (; n - x >= 8; x += 8) {
    const V128 sums = prefixSums(term(x));
    store(element(dst, x), add16(add16(sums, carry), offset(x)));
    carry = add16(carry, repeatLast16(sums));
  }
  return x;
}

constexpr auto noOffset = [](int) __attribute__((always_inline)) { return zero<V128>(); };

int sumOfDifferences(const Mox16s* differences, Mox16s* dst, int n, Mox16s start) {
  return sumUp(
      0, n, start, dst, [=](int x) { return load<V128>(element(differences, x)); }, noOffset);
}

void rebuildFirst(const Mox16s* differences, Mox16s* dst, int n, Mox16s origin) {
  const int x = sumOfDifferences(differences, dst, n, origin);
  definition::rebuildFirst(differences, dst, n, origin, x);
}

// The part of a sample's prediction that does not wait for the sample to the left, plus the difference.
template <int Predictor>
MOX_INLINE uint32_t known(Mox16s difference, Mox16s b, Mox16s c) {
  const uint32_t high = static_cast<uint32_t>(difference) << 16;
  if constexpr (Predictor == 7) return high + (static_cast<uint32_t>(b) << 15);
  return high + (static_cast<uint32_t>(b) << 16) - (static_cast<uint32_t>(c) << 15);
}

// The sample is the upper half of a word of 32 bits, which wraps as the sample does. Halves have one bit of fraction in
// the lower half, which is cleared once the sum is complete.
template <int Predictor>
int rebuildSerially(const Mox16s* differences, const Mox16s* above, Mox16s* dst, int n) {
  uint32_t sample = static_cast<uint32_t>(get(dst, 0)) << 16;
  for (int x = 1; x < n; x++) {
    const uint32_t half = static_cast<uint32_t>(static_cast<int32_t>(sample) >> 1);
    sample = (half + known<Predictor>(get(differences, x), get(above, x), get(above, x - 1))) & 0xFFFF0000u;
    put(dst, x, static_cast<Mox16s>(sample >> 16));
  }
  return n;
}

// Rebuilds the columns before x and returns x. Column 0 may already hold its sample.
template <int Predictor>
MOX_INLINE int rebuildVectors(const Mox16s* differences, const Mox16s* above, Mox16s* dst, int n) {
  if constexpr (Predictor == 1) {
    return sumOfDifferences(differences, dst, n, get(above, 0));
  } else if constexpr (Predictor == 4) {
    return sumUp(
        0, n, 0, dst, [=](int x) { return load<V128>(element(differences, x)); },
        [=](int x) { return load<V128>(element(above, x)); });
  } else if constexpr (Predictor == 5) {
    return sumUp(
        1, n, get(dst, 0), dst,
        [=](int x) {
          const V128 rise = halfDifference(load<V128>(element(above, x)), load<V128>(element(above, x - 1)));
          return add16(load<V128>(element(differences, x)), rise);
        },
        noOffset);
  } else if constexpr (Predictor == 6 || Predictor == 7) {
    return rebuildSerially<Predictor>(differences, above, dst, n);
  } else {
    return wholeVectors(
        1, n, [&]<class V>(int at) __attribute__((always_inline)) {
          const V predicted = load<V>(element(above, Predictor == 3 ? at - 1 : at));
          store(element(dst, at), add16(load<V>(element(differences, at)), predicted));
        });
  }
}

template <int Predictor>
void rebuildRow(const Mox16s* differences, const Mox16s* above, Mox16s* dst, int n) {
  definition::rebuild<Predictor>(differences, above, dst, 1);
  const int x = rebuildVectors<Predictor>(differences, above, dst, n);
  definition::rebuild<Predictor>(differences, above, dst, n, x > 0 ? x : 1);
}

#else

void differFirst(const Mox16s* src, Mox16s* dst, int n, Mox16s origin) { definition::differFirst(src, dst, n, origin); }
void rebuildFirst(const Mox16s* differences, Mox16s* dst, int n, Mox16s origin) {
  definition::rebuildFirst(differences, dst, n, origin);
}

template <int Predictor>
void differRow(const Mox16s* src, const Mox16s* above, Mox16s* dst, int n) {
  definition::differ<Predictor>(src, above, dst, n);
}
template <int Predictor>
void rebuildRow(const Mox16s* differences, const Mox16s* above, Mox16s* dst, int n) {
  definition::rebuild<Predictor>(differences, above, dst, n);
}

#endif

using Row = void (*)(const Mox16s*, const Mox16s*, Mox16s*, int);

void differ(const Mox16s* src, const Mox16s* above, Mox16s* dst, int n, int predictor) {
  static constexpr Row kRows[] = {differRow<1>, differRow<2>, differRow<3>, differRow<4>,
                                  differRow<5>, differRow<6>, differRow<7>};
  kRows[predictor - 1](src, above, dst, n);
}

void rebuild(const Mox16s* differences, const Mox16s* above, Mox16s* dst, int n, int predictor) {
  static constexpr Row kRows[] = {rebuildRow<1>, rebuildRow<2>, rebuildRow<3>, rebuildRow<4>,
                                  rebuildRow<5>, rebuildRow<6>, rebuildRow<7>};
  kRows[predictor - 1](differences, above, dst, n);
}

}  // namespace

const LosslessKernels losslessKernels = {
    .differFirst = differFirst, .differ = differ, .rebuildFirst = rebuildFirst, .rebuild = rebuild};

}  // namespace mox::MOX_TARGET
