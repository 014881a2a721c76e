// Differences know all their neighbours, and go a vector at a time. Samples that are rebuilt wait for the one to the
// left, but only predictors 6 and 7 halve it: for the others the row is a sum of known terms,
//
//   1     a row is the running sum of its differences
//   4     a row less the row above is
//   5     as 1, of the differences and half of what the row above rises
//
// and running sums of a vector take as many steps as its lanes have bits to count. Predictors 6 and 7 remain serial,
// with the shortest chain from sample to sample that wraps as 16 bits do: shift, add, mask.
#include "kernels/entropy/lossless.h"

#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {
namespace {

#if MOX_VECTOR

// ---- Differences
// ---------------------------------------------------------------------------------------------------

// (a - b) >> 1 and (a + b) >> 1 of signed lanes, as if in 17 bits: as rounded-up means of unsigned ones, which differ
// by the sign bit and, rounded down, by all bits.
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

// Calls step.operator()<V>(x) for vectors that cover columns from `first` on, as many as whole vectors do; returns
// the first column that is left.
template <class Step>
MOX_INLINE int wholeVectors(int first, int n, const Step& step) {
  int x = first;
  for (; n - x >= VMax::kBytes / 2; x += VMax::kBytes / 2) step.template operator()<VMax>(x);
  if constexpr (VMax::kBytes != V128::kBytes)
    for (; n - x >= V128::kBytes / 2; x += V128::kBytes / 2) step.template operator()<V128>(x);
  return x;
}

void differFirst(const Mox16s* src, Mox16s* dst, int n, Mox16s origin) {
  dst[0] = wrap16(src[0] - origin);
  int x = wholeVectors(
      1, n, [&]<class V>(int at) __attribute__((always_inline)) {
        store(dst + at, sub16(load<V>(src + at), load<V>(src + at - 1)));
      });
  for (; x < n; x++) dst[x] = wrap16(src[x] - src[x - 1]);
}

template <int Predictor>
void differRow(const Mox16s* src, const Mox16s* above, Mox16s* dst, int n) {
  definition::differ<Predictor>(src, above, dst, 1);
  const int x = wholeVectors(
      1, n, [&]<class V>(int at) __attribute__((always_inline)) {
        const V a = load<V>(src + at - 1), b = load<V>(above + at), c = load<V>(above + at - 1);
        store(dst + at, sub16(load<V>(src + at), predicted<Predictor>(a, b, c)));
      });
  definition::differ<Predictor>(src, above, dst, n, x);
}

// ---- Samples
// -------------------------------------------------------------------------------------------------------

MOX_INLINE V128 runningSums(V128 a) {
  a = add16(a, slideBytes<14>(zero<V128>(), a));
  a = add16(a, slideBytes<12>(zero<V128>(), a));
  return add16(a, slideBytes<8>(zero<V128>(), a));
}

// dst[x] = start + term(from) + ... + term(x) + offset(x) for the whole vectors from column `from` on; start becomes
// the sum without an offset. Returns the first column that is left. From vector to vector the chain is one addition.
template <class Term, class Offset>
MOX_INLINE int sumUp(int from, int n, Mox16s& start, Mox16s* dst, const Term& term, const Offset& offset) {
  V128 carry = set16<V128>(start);
  int x = from;
  for (; n - x >= 8; x += 8) {
    const V128 sums = runningSums(term(x));
    store(dst + x, add16(add16(sums, carry), offset(x)));
    carry = add16(carry, repeatLast16(sums));
  }
  alignas(16) Mox16s last[8];
  store(last, carry);
  start = last[0];
  return x;
}

constexpr auto noOffset = [](int) __attribute__((always_inline)) { return zero<V128>(); };

int sumOfDifferences(const Mox16s* differences, Mox16s* dst, int n, Mox16s start) {
  return sumUp(
      0, n, start, dst, [=](int x) { return load<V128>(differences + x); }, noOffset);
}

void rebuildFirst(const Mox16s* differences, Mox16s* dst, int n, Mox16s origin) {
  int x = sumOfDifferences(differences, dst, n, origin);
  if (x == 0) definition::rebuildFirst(differences, dst, 1, origin), x = 1;
  for (; x < n; x++) dst[x] = wrap16(differences[x] + dst[x - 1]);
}

// What the sample to the left is halved into, and what is added to it then, both known ahead.
template <int Predictor>
MOX_INLINE uint32_t known(Mox16s difference, Mox16s b, Mox16s c) {
  const uint32_t high = static_cast<uint32_t>(difference) << 16;
  if constexpr (Predictor == 7) return high + (static_cast<uint32_t>(b) << 15);
  return high + (static_cast<uint32_t>(b) << 16) - (static_cast<uint32_t>(c) << 15);
}

// A sample stands in the upper half of 32 bits, which wrap as it does; its half, and that of its neighbour, have one
// bit of fraction, which goes when their sum is complete.
template <int Predictor>
int rebuildSerially(const Mox16s* differences, const Mox16s* above, Mox16s* dst, int n) {
  uint32_t sample = static_cast<uint32_t>(dst[0]) << 16;
  for (int x = 1; x < n; x++) {
    const uint32_t half = static_cast<uint32_t>(static_cast<int32_t>(sample) >> 1);
    sample = (half + known<Predictor>(differences[x], above[x], above[x - 1])) & 0xFFFF0000u;
    dst[x] = static_cast<Mox16s>(sample >> 16);
  }
  return n;
}

// Columns 1 to x - 1, or 0 to x - 1 at least; returns x.
template <int Predictor>
MOX_INLINE int rebuildVectors(const Mox16s* differences, const Mox16s* above, Mox16s* dst, int n) {
  if constexpr (Predictor == 1) {
    return sumOfDifferences(differences, dst, n, above[0]);
  } else if constexpr (Predictor == 4) {
    Mox16s start = 0;
    return sumUp(
        0, n, start, dst, [=](int x) { return load<V128>(differences + x); },
        [=](int x) { return load<V128>(above + x); });
  } else if constexpr (Predictor == 5) {
    Mox16s start = dst[0];
    return sumUp(
        1, n, start, dst,
        [=](int x) {
          const V128 rise = halfDifference(load<V128>(above + x), load<V128>(above + x - 1));
          return add16(load<V128>(differences + x), rise);
        },
        noOffset);
  } else if constexpr (Predictor == 6 || Predictor == 7) {
    return rebuildSerially<Predictor>(differences, above, dst, n);
  } else {
    return wholeVectors(
        1, n, [&]<class V>(int at) __attribute__((always_inline)) {
          store(dst + at, add16(load<V>(differences + at), load<V>(above + at - (Predictor == 3))));
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

constexpr auto differFirst = definition::differFirst;
constexpr auto rebuildFirst = definition::rebuildFirst;

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
