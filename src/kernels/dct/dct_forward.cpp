// The forward transform.
//
// The definition takes one column, then one row at a time (dct.h). Here the butterfly runs on all eight columns at
// once, a 128-bit vector being a row; then rows, as many as a vector holds, are multiplied by their matrices
// (dct_vec.h) and quantised on their way out. Blocks of 8-bit samples, where nothing saturates, take a shorter
// arithmetic (Exact). Nothing is left to the definition.
#include "kernels/dct/dct_vec.h"
#include "kernels/dct/quant_vec.h"

#if MOX_VECTOR
namespace mox::MOX_TARGET {
namespace {

// Pairs of inputs: sums 0 and 1, sums 2 and 3, differences 0 and 1, differences 2 and 3. Results: frequencies 0 2 4 6
// of the sums, 1 3 5 7 of the differences.
constexpr RowPairs forwardPairs() {
  RowPairs pairs{};
  for (int pair = 0; pair < 4; pair++)
    for (int row = 0; row < 8; row++)
      for (int i = 0; i < 8; i++)
        pairs.at[pair][row][i] = dct::matrixOfRow(row).at[i / 2 * 2 + pair / 2][pair % 2 * 2 + i % 2];
  return pairs;
}

constexpr RowPairs kPairs = forwardPairs();

// The arithmetic of any values, and that of 8-bit samples, where nothing leaves 16 bits: see forwardDctShifted.
struct Saturating {
  template <class V>
  MOX_INLINE static V add(V a, V b) {
    return adds16(a, b);
  }
  template <class V>
  MOX_INLINE static V sub(V a, V b) {
    return subs16(a, b);
  }
  template <class V>
  MOX_INLINE static V roundedShift4(V a) {  // wraps
    return shr16<4>(add16(a, set16<V>(8)));
  }
};

struct Exact {
  template <class V>
  MOX_INLINE static V add(V a, V b) {
    return add16(a, b);
  }
  template <class V>
  MOX_INLINE static V sub(V a, V b) {
    return sub16(a, b);
  }
  template <class V>
  MOX_INLINE static V roundedShift4(V a) {
    return roundShr16<4>(a);
  }
};

// Sums and differences of rows 0 to 3 and their mirror images, times 8; differences 1 and 2 times 16.
struct Folded {
  V128 sum[4], difference[4];
};

// From rows of 16 bits; row(i) loads one.
template <class With, class Row>
MOX_INLINE Folded fold(Row row) {
  Folded x;
#pragma GCC unroll 4
  for (int i = 0; i < 4; i++) {
    const V128 a = row(i), b = row(7 - i), difference = With::sub(a, b);
    x.sum[i] = shl16<3>(With::add(a, b));
    x.difference[i] = i == 1 || i == 2 ? shl16<4>(difference) : shl16<3>(difference);
  }
  return x;
}

template <class V = V128>
MOX_INLINE Folded foldSamples(const Mox8u* src, ptrdiff_t step) {
  if constexpr (kHasDot8) {
    Folded x;
#pragma GCC unroll 4
    for (int i = 0; i < 4; i++) {
      const V pairs = low8(loadLow8<V>(src + i * step), loadLow8<V>(src + (7 - i) * step));
      x.sum[i] = dotU8<8, 8>(pairs);
      x.difference[i] = i == 1 || i == 2 ? dotU8<16, -16>(pairs) : dotU8<8, -8>(pairs);
    }
    return x;
  } else {
    return fold<Exact>([=](int i) { return load8As16<V>(src + i * step); });
  }
}

template <class With>
MOX_INLINE void forwardColumns(const Folded& x, V128* y) {
  using namespace dct;
  constexpr auto add = With::template add<V128>, sub = With::template sub<V128>;
  const V128 one = set16<V128>(1);

  const V128 p03 = add(x.sum[0], x.sum[3]), m03 = sub(x.sum[0], x.sum[3]);
  const V128 p12 = add(x.sum[1], x.sum[2]), m12 = sub(x.sum[1], x.sum[2]);
  y[0] = add(p03, p12);
  y[4] = sub(p03, p12);
  y[2] = bitOr(add(m03, mulHigh16(m12, set16<V128>(kTan2))), one);
  y[6] = bitOr(sub(mulHigh16(m03, set16<V128>(kTan2)), m12), one);

  const V128 d1 = x.difference[1], d2 = x.difference[2], cos4 = set16<V128>(kHalfCos4);
  const V128 g = bitOr(mulHigh16(add(d1, d2), cos4), one), h = mulHigh16(sub(d1, d2), cos4);
  const V128 a = add(x.difference[3], h), b = sub(x.difference[3], h);
  const V128 e = add(x.difference[0], g), f = sub(x.difference[0], g);
  const V128 tan1 = set16<V128>(kTan1), tan3 = set16<V128>(kTan3Minus1);
  y[1] = bitOr(add(e, mulHigh16(a, tan1)), one);
  y[7] = sub(mulHigh16(e, tan1), a);
  y[3] = sub(f, add(b, mulHigh16(b, tan3)));
  y[5] = add(add(f, mulHigh16(f, tan3)), b);
}

// The vector of rows from `row` on; the sums and differences of each lie in half `Half` of its 128-bit block.
template <class With, int Half, class V>
MOX_INLINE V forwardRow(V sums, V differences, int row) {
  constexpr int k01 = Half ? 0xAA : 0x00, k23 = Half ? 0xFF : 0x55;
  const V even =
      dotAdd16(dot16(shuffle32<k01>(sums), kPairs.ofRows<V>(0, row)), shuffle32<k23>(sums), kPairs.ofRows<V>(1, row));
  const V odd = dotAdd16(dot16(shuffle32<k01>(differences), kPairs.ofRows<V>(2, row)), shuffle32<k23>(differences),
                         kPairs.ofRows<V>(3, row));
  // Of the shift by 20, 16 bits are the choice of the high halves; the rounding below them never carries into them.
  return With::roundedShift4(highHalves32(even, odd));
}

template <class V>
MOX_INLINE V assembled(const V128* rows) {
  if constexpr (V::kBytes == V128::kBytes) {
    return rows[0];
  } else {
    using Half = typename V::Half;
    return join(assembled<Half>(rows), assembled<Half>(rows + Half::kBytes / 16));
  }
}

// Vectors of rows in pairs, so that the sums of both fill one.
template <class With>
MOX_INLINE void forwardRows(const V128* y, Mox16s* dst, const Mox16u* reciprocals) {
  constexpr int kRows = VMax::kBytes / 16;
  const auto put = [=](VMax coefficients, int row) {
    store(dst + 8 * row, quantiseEven(coefficients, load<VMax>(element(reciprocals, 8 * row))));
  };
#pragma GCC unroll 4
  for (int row = 0; row < 8; row += 2 * kRows) {
    const VMax a = assembled<VMax>(y + row), b = assembled<VMax>(y + row + kRows);
    const VMax left = low64(a, b), right = reverse16(high64(a, b));
    const VMax sums = With::add(left, right), differences = With::sub(left, right);
    put(forwardRow<With, 0>(sums, differences, row), row);
    put(forwardRow<With, 1>(sums, differences, row + kRows), row + kRows);
  }
}

}  // namespace

void forwardDct(const Mox16s* src, Mox16s* dst, const Mox16u* reciprocals) {
  V128 y[8];
  forwardColumns<Saturating>(fold<Saturating>([src](int i) { return load<V128>(src + 8 * i); }), y);
  forwardRows<Saturating>(y, dst, reciprocals);
}

// The level shift takes 64 * 128 from output 0 of the columns and nothing from the others, so it is deferred to after
// the columns. Until then nothing saturates or wraps:
//   sums                    0 to 4080
//   differences             within 4080
//   output 0                at most 16320
//   outputs 2, 4 and 6      within 8160
//   outputs 1, 3, 5 and 7   within (2040 + 0.354 * 8160) * 1.67 < 8220
//   sums of the rows        within 2 * 8220
//   of their products       within 4 * 16384 * 16440 < 2^31 - 2^19
void forwardDctShifted(const Mox8u* src, ptrdiff_t step, Mox16s* dst, const Mox16u* reciprocals) {
  V128 y[8];
  forwardColumns<Exact>(foldSamples(src, step), y);
  y[0] = sub16(y[0], set16<V128>(64 * 128));
  forwardRows<Exact>(y, dst, reciprocals);
}

}  // namespace mox::MOX_TARGET
#endif
