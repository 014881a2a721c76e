// The inverse transform.
//
// The definition takes one row, then one column at a time (dct.h). Here rows, as many as a vector holds, are
// dequantised and multiplied by their matrices (dct_vec.h); rows 4 to 7 are skipped if they are zero, as in most
// blocks. Then the butterfly runs on all eight columns at once, a 128-bit vector being a row, or 256 bits two rows that
// need the same operations. Nothing is left to the definition.
#include "kernels/dct/dct_vec.h"

#if MOX_VECTOR
namespace mox::MOX_TARGET {
namespace {

// Pairs of inputs: coefficients 0 and 2, 4 and 6, 1 and 3, 5 and 7. Results: samples 0 1 2 3.
constexpr RowPairs inversePairs() {
  RowPairs pairs{};
  for (int pair = 0; pair < 4; pair++)
    for (int row = 0; row < 8; row++)
      for (int i = 0; i < 8; i++)
        pairs.at[pair][row][i] = dct::matrixOfRow(row).at[pair % 2 * 4 + pair / 2 + i % 2 * 2][i / 2];
  return pairs;
}

struct RowRoundings {
  alignas(64) int32_t at[8][4];
};

constexpr RowRoundings rowRoundings() {
  RowRoundings roundings{};
  for (int row = 0; row < 8; row++)
    for (int32_t& r : roundings.at[row]) r = dct::kRowRounding[row];
  return roundings;
}

constexpr RowPairs kPairs = inversePairs();
constexpr RowRoundings kRoundings = rowRoundings();

// The vector of rows from `row` on, dequantised and transformed.
template <class V>
MOX_INLINE V inverseRow(const Mox16s* src, const Mox16u* steps, int row) {
  const V x = mulLow16(load<V>(src + 8 * row), load<V>(element(steps, 8 * row)));
  const V even = dotAdd16(dotAdd16(load<V>(kRoundings.at[row]), repeatPair16<0>(x), kPairs.ofRows<V>(0, row)),
                          repeatPair16<4>(x), kPairs.ofRows<V>(1, row));
  const V odd =
      dotAdd16(dot16(repeatPair16<1>(x), kPairs.ofRows<V>(2, row)), repeatPair16<5>(x), kPairs.ofRows<V>(3, row));
  return reverseHigh16(packs32(shr32<12>(add32(even, odd)), shr32<12>(sub32(even, odd))));
}

// Whether rows 4 to 7 are all zero, as they are in most blocks of a picture. They then stay so: their rounding
// constants are lost in the shift.
MOX_INLINE bool lowerHalfIsZero(const Mox16s* src) {
  static_assert(dct::kRowRounding[4] < 1 << 12 && dct::kRowRounding[5] < 1 << 12 && dct::kRowRounding[6] < 1 << 12 &&
                dct::kRowRounding[7] < 1 << 12);
  return allZero(
      bitOr(bitOr(load<V128>(src + 32), load<V128>(src + 40)), bitOr(load<V128>(src + 48), load<V128>(src + 56))));
}

// ---- Two rows a vector ---------------------------------------------------------------------------------------------
//
// Rows are paired so that the even and the odd half of the butterfly need the same operations; only their factors
// differ.
template <class V>
struct RowsByTwo {
  V y01, y23, y45, y67;
};

template <class V>
MOX_INLINE RowsByTwo<V> inverseRows(const Mox16s* src, const Mox16u* steps) {
  const V y01 = inverseRow<V>(src, steps, 0), y23 = inverseRow<V>(src, steps, 2);
  if (lowerHalfIsZero(src)) return {y01, y23, zero<V>(), zero<V>()};
  return {y01, y23, inverseRow<V>(src, steps, 4), inverseRow<V>(src, steps, 6)};
}

struct Factors {
  alignas(32) Mox16s tan2Tan1[16], noneTan3[16], cos4[16];
};

constexpr Factors factors() {
  Factors f{};
  for (int i = 0; i < 16; i++) {
    f.tan2Tan1[i] = i < 8 ? dct::kTan2 : dct::kTan1;
    f.noneTan3[i] = i < 8 ? Mox16s{0} : dct::kTan3Minus1;
    f.cos4[i] = dct::kCos4Minus1;
  }
  return f;
}

constexpr Factors kFactors = factors();

template <class V>
struct Results {
  V out03, out12, out74, out65;
};

template <class V>
MOX_INLINE Results<V> inverseColumns(const RowsByTwo<V>& y) {
  const V tan21 = fixed<V>(kFactors.tan2Tan1), tan3 = fixed<V>(kFactors.noneTan3);
  const V y21 = lowThenHigh(y.y23, y.y01), y03 = lowThenHigh(y.y01, y.y23);

  const V e2z = adds16(y21, mulHigh16(y.y67, tan21)), e3w = subs16(mulHigh16(y21, tan21), y.y67);
  const V y03t = adds16(y03, mulHigh16(y03, tan3)), y45t = adds16(y.y45, mulHigh16(y.y45, tan3));
  const V a0u = adds16(y03, y45t), a1v = lowThenHigh(subs16(y03, y45t), subs16(y.y45, y03t));

  const V b0P7 = adds16(a0u, e2z);
  const V b3 = subs16(a0u, e2z), tm = subs16(e2z, a0u);  // of b3 the low half is used, of tm the high
  const V b1P3 = adds16(a1v, e3w), b2 = subs16(a1v, e3w), wm = subs16(e3w, a1v);
  const V pq = bothHigh(adds16(tm, wm), subs16(tm, wm));

  const V even03 = bothLow(b0P7, b3), odd03 = bothHigh(b0P7, b1P3);
  const V even12 = bothLow(b1P3, b2), odd12 = adds16(pq, mulHigh16(pq, fixed<V>(kFactors.cos4)));
  return {shr16<5>(adds16(even03, odd03)), shr16<5>(adds16(even12, odd12)), shr16<5>(subs16(even03, odd03)),
          shr16<5>(subs16(even12, odd12))};
}

template <class V>
MOX_INLINE void inverseByTwo(const Mox16s* src, const Mox16u* steps, V128* out) {
  const Results<V> r = inverseColumns(inverseRows<V>(src, steps));
  out[0] = lowHalf(r.out03), out[3] = highHalf(r.out03);
  out[1] = lowHalf(r.out12), out[2] = highHalf(r.out12);
  out[7] = lowHalf(r.out74), out[4] = highHalf(r.out74);
  out[6] = lowHalf(r.out65), out[5] = highHalf(r.out65);
}

// ---- One row a vector ----------------------------------------------------------------------------------------------

template <class V>
MOX_INLINE void inverseByOne(const Mox16s* src, const Mox16u* steps, V* out) {
  using namespace dct;
  V y[8];
#pragma GCC unroll 4
  for (int row = 0; row < 4; row++) y[row] = inverseRow<V>(src, steps, row);
  if (lowerHalfIsZero(src)) {
#pragma GCC unroll 4
    for (int row = 4; row < 8; row++) y[row] = zero<V>();
  } else {
#pragma GCC unroll 4
    for (int row = 4; row < 8; row++) y[row] = inverseRow<V>(src, steps, row);
  }

  const auto timesTan3 = [](V v) { return adds16(v, mulHigh16(v, set16<V>(kTan3Minus1))); };
  const auto timesCos4 = [](V v) { return adds16(v, mulHigh16(v, set16<V>(kCos4Minus1))); };
  const V tan1 = set16<V>(kTan1), tan2 = set16<V>(kTan2);

  const V u = adds16(y[3], timesTan3(y[5])), v = subs16(y[5], timesTan3(y[3]));
  const V z = adds16(y[1], mulHigh16(y[7], tan1)), w = subs16(mulHigh16(y[1], tan1), y[7]);
  const V tm = subs16(z, u), wm = subs16(w, v);
  const V odd[4] = {adds16(z, u), timesCos4(adds16(tm, wm)), timesCos4(subs16(tm, wm)), adds16(w, v)};

  const V e2 = adds16(y[2], mulHigh16(y[6], tan2)), e3 = subs16(mulHigh16(y[2], tan2), y[6]);
  const V a0 = adds16(y[0], y[4]), a1 = subs16(y[0], y[4]);
  const V even[4] = {adds16(a0, e2), adds16(a1, e3), subs16(a1, e3), subs16(a0, e2)};
#pragma GCC unroll 4
  for (int row = 0; row < 4; row++) {
    out[row] = shr16<5>(adds16(even[row], odd[row]));
    out[7 - row] = shr16<5>(subs16(even[row], odd[row]));
  }
}

template <class V = V256>
MOX_INLINE void inverseBlock(const Mox16s* src, const Mox16u* steps, V128* out) {
  if constexpr (kHas256) {
    inverseByTwo<V>(src, steps, out);
  } else {
    inverseByOne<V128>(src, steps, out);
  }
}

}  // namespace

void inverseDct(const Mox16s* src, Mox16s* dst, const Mox16u* steps) {
  V128 out[8];
  inverseBlock(src, steps, out);
#pragma GCC unroll 8
  for (int row = 0; row < 8; row++) store(dst + 8 * row, out[row]);
}

// After the last shift values are within -1024 and 1023: the addition of 128 cannot wrap, and a saturation to signed
// bytes shifted by 128 is the same.
void inverseDctShifted(const Mox16s* src, Mox8u* dst, ptrdiff_t step, const Mox16u* steps) {
  V128 out[8];
  inverseBlock(src, steps, out);
#pragma GCC unroll 4
  for (int row = 0; row < 8; row += 2) {
    const V128 samples = bitXor(packs16(out[row], out[row + 1]), set8<V128>(128));
    storeLow8(dst + row * step, samples);
    storeHigh8(dst + (row + 1) * step, samples);
  }
}

}  // namespace mox::MOX_TARGET
#endif
