// The transforms stay in registers from the first load to the last store: what a pass stored narrow, the next could
// not load wide without waiting for it. Columns go eight at a time through 128-bit vectors, one vector a row. The
// rows then fill vectors of the target's width, one row each 128-bit block, and are multiplied by their matrices pair
// by pair: a pair of neighbouring 32-bit lanes' halves against a pair of matrix entries gives one sum of two
// products.
#include "kernels/dct.h"

#include "kernels/quant_vec.h"

namespace mox::MOX_TARGET {

#if MOX_VECTOR

namespace {

using dct::matrixOfRow;

constexpr int kRowsEach = VMax::kBytes / 16;  // rows in a vector of the target's width
constexpr int kVectors = 8 / kRowsEach;

// The matrices as the row passes read them: for each pair of inputs, row by row, four pairs of entries.
struct RowPairs {
  alignas(64) Mox16s at[4][8][8];
};

// Inputs: sums 0 and 1, sums 2 and 3, differences 0 and 1, differences 2 and 3. Results: frequencies 0 2 4 6 of the
// sums, 1 3 5 7 of the differences.
constexpr RowPairs forwardPairs() {
  RowPairs pairs{};
  for (int pair = 0; pair < 4; pair++)
    for (int row = 0; row < 8; row++)
      for (int i = 0; i < 8; i++)
        pairs.at[pair][row][i] = matrixOfRow(row).at[i / 2 * 2 + pair / 2][pair % 2 * 2 + i % 2];
  return pairs;
}

// Inputs: coefficients 0 and 2, 4 and 6, 1 and 3, 5 and 7. Results: samples 0 1 2 3.
constexpr RowPairs inversePairs() {
  RowPairs pairs{};
  for (int pair = 0; pair < 4; pair++)
    for (int row = 0; row < 8; row++)
      for (int i = 0; i < 8; i++)
        pairs.at[pair][row][i] = matrixOfRow(row).at[pair % 2 * 4 + pair / 2 + i % 2 * 2][i / 2];
  return pairs;
}

struct RowRoundings {
  alignas(64) int32_t at[8][4];
};

constexpr RowRoundings inverseRoundings() {
  RowRoundings roundings{};
  for (int row = 0; row < 8; row++)
    for (int32_t& r : roundings.at[row]) r = dct::kRowRounding[row];
  return roundings;
}

constexpr RowPairs kForwardPairs = forwardPairs(), kInversePairs = inversePairs();
constexpr RowRoundings kInverseRoundings = inverseRoundings();

MOX_INLINE void assemble(const V128* rows, V128& v) {
  v = rows[0];
}
MOX_INLINE void disassemble(V128 v, V128* rows) {
  rows[0] = v;
}
#if defined(__AVX2__)
MOX_INLINE void assemble(const V128* rows, V256& v) {
  v = join(rows[0], rows[1]);
}
MOX_INLINE void disassemble(V256 v, V128* rows) {
  rows[0] = lowHalf(v), rows[1] = highHalf(v);
}
#endif
#if defined(__AVX512BW__)
MOX_INLINE void assemble(const V128* rows, V512& v) {
  v = join(join(rows[0], rows[1]), join(rows[2], rows[3]));
}
MOX_INLINE void disassemble(V512 v, V128* rows) {
  disassemble(lowHalf(v), rows);
  disassemble(highHalf(v), rows + 2);
}
#endif

// ---- Forward

// The sums and differences of rows 0 to 3 and their mirror images, scaled: by 8, differences 1 and 2 by 16.
struct Folded {
  V128 sum[4], difference[4];
};

MOX_INLINE Folded fold(const Mox16s* src) {
  Folded x;
#pragma GCC unroll 4
  for (int row = 0; row < 4; row++) {
    const V128 a = load<V128>(src + 8 * row), b = load<V128>(src + 8 * (7 - row));
    x.sum[row] = shl16<3>(adds16(a, b));
    x.difference[row] = row == 1 || row == 2 ? shl16<4>(subs16(a, b)) : shl16<3>(subs16(a, b));
  }
  return x;
}

// From samples without the level shift, which reaches the first output alone: see forwardShifted.
MOX_INLINE Folded fold(const Mox8u* src, ptrdiff_t step) {
  Folded x;
#pragma GCC unroll 4
  for (int row = 0; row < 4; row++) {
    const V128 pairs = low8(loadLow8(src + row * step), loadLow8(src + (7 - row) * step));
    x.sum[row] = dotU8<8, 8>(pairs);
    x.difference[row] = row == 1 || row == 2 ? dotU8<16, -16>(pairs) : dotU8<8, -8>(pairs);
  }
  return x;
}

// Additions that saturate, and those of values that cannot leave 16 bits.
struct Saturating {
  MOX_INLINE static V128 add(V128 a, V128 b) { return adds16(a, b); }
  MOX_INLINE static V128 sub(V128 a, V128 b) { return subs16(a, b); }
};
struct Plain {
  MOX_INLINE static V128 add(V128 a, V128 b) { return add16(a, b); }
  MOX_INLINE static V128 sub(V128 a, V128 b) { return sub16(a, b); }
};

template <class With>
MOX_INLINE void forwardColumns(const Folded& x, V128* y) {
  using namespace dct;
  constexpr auto add = With::add, sub = With::sub;
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

// One vector of rows; the sums and differences of each row lie in its 128-bit block's 64-bit half `Half`.
template <int Half, class V>
MOX_INLINE V forwardRow(V sums, V differences, int row) {
  const auto pairs = [row](int pair) { return load<V>(kForwardPairs.at[pair][row]); };
  constexpr int k01 = Half ? 0xAA : 0x00, k23 = Half ? 0xFF : 0x55;
  const V rounding = set32<V>(1 << 19);
  const V even = dotAdd16(dotAdd16(rounding, shuffle32<k01>(sums), pairs(0)), shuffle32<k23>(sums), pairs(1));
  const V odd =
      dotAdd16(dotAdd16(rounding, shuffle32<k01>(differences), pairs(2)), shuffle32<k23>(differences), pairs(3));
  return shr16<4>(highHalves32(even, odd));  // the shift by 20; what remains always fits
}

// Rows in pairs of vectors, so that the sums of both fill one.
template <class With>
MOX_INLINE void forwardRows(const V128* y, Mox16s* dst, const Mox16u* reciprocals) {
#pragma GCC unroll 4
  for (int i = 0; i < kVectors; i += 2) {
    const int first = i * kRowsEach, second = first + kRowsEach;
    VMax a, b;
    assemble(y + first, a);
    assemble(y + second, b);
    const VMax left = low64(a, b), right = reverse16(high64(a, b));
    const VMax sums = adds16(left, right), differences = subs16(left, right);
    store(dst + 8 * first,
          quantiseEven(forwardRow<0>(sums, differences, first), load<VMax>(reciprocals + 8 * first)));
    store(dst + 8 * second,
          quantiseEven(forwardRow<1>(sums, differences, second), load<VMax>(reciprocals + 8 * second)));
  }
}

void forward(const Mox16s* src, Mox16s* dst, const Mox16u* reciprocals) {
  V128 y[8];
  forwardColumns<Saturating>(fold(src), y);
  forwardRows<Saturating>(y, dst, reciprocals);
}

// Of samples without the level shift the sums are 4080 at most, output 0 of the columns is 16320 at most and the
// others remain below 8192 + 4: nothing saturates. The shift by 128 takes 64 * 128 from output 0 and nothing from the
// others.
void forwardShifted(const Mox8u* src, ptrdiff_t step, Mox16s* dst, const Mox16u* reciprocals) {
  V128 y[8];
  forwardColumns<Plain>(fold(src, step), y);
  y[0] = sub16(y[0], set16<V128>(64 * 128));
  forwardRows<Plain>(y, dst, reciprocals);
}

// ---- Inverse

// One vector of rows.
template <class V>
MOX_INLINE V inverseRow(V x, int row) {
  const auto pairs = [row](int pair) { return load<V>(kInversePairs.at[pair][row]); };
  const V rounding = load<V>(kInverseRoundings.at[row]);
  const V even = dotAdd16(dotAdd16(rounding, repeatPair16<0>(x), pairs(0)), repeatPair16<4>(x), pairs(1));
  const V odd = dotAdd16(dot16(repeatPair16<1>(x), pairs(2)), repeatPair16<5>(x), pairs(3));
  return packs32(shr32<12>(add32(even, odd)), shr32<12>(sub32(even, odd)));
}

#if defined(__AVX2__)

// Two rows in a vector. Where the pairs are chosen well, the even and the odd half of the butterfly need the same
// operations: the factors differ instead.
struct Columns {
  V256 y01, y23, y45, y67;
};

MOX_INLINE Columns inverseRows(const Mox16s* src, const Mox16u* steps) {
  const auto row = [=](int first) { return mulLow16(load<V256>(src + 8 * first), load<V256>(steps + 8 * first)); };
  return {inverseRow(row(0), 0), inverseRow(row(2), 2), inverseRow(row(4), 4), inverseRow(row(6), 6)};
}

struct Results {
  V256 out03, out12, out74, out65;
};

MOX_INLINE Results inverseColumns(const Columns& c) {
  using namespace dct;
  const V256 tan21 = join(set16<V128>(kTan2), set16<V128>(kTan1)), tan3 = join(zero<V128>(), set16<V128>(kTan3Minus1));
  const V256 y21 = lowThenHigh(c.y23, c.y01), y03 = lowThenHigh(c.y01, c.y23);

  const V256 e2z = adds16(y21, mulHigh16(c.y67, tan21)), e3w = subs16(mulHigh16(y21, tan21), c.y67);
  const V256 y45 = adds16(c.y45, mulHigh16(c.y45, tan3)), y03t = adds16(y03, mulHigh16(y03, tan3));
  const V256 a0u = adds16(y03, y45), a1v = lowThenHigh(subs16(y03, y45), subs16(c.y45, y03t));

  const V256 b0P7 = adds16(a0u, e2z), b3 = subs16(a0u, e2z), tm = subs16(e2z, a0u);
  const V256 b1P3 = adds16(a1v, e3w), b2 = subs16(a1v, e3w), wm = subs16(e3w, a1v);
  const V256 pq = bothHigh(adds16(tm, wm), subs16(tm, wm));
  const V256 odd12 = adds16(pq, mulHigh16(pq, set16<V256>(kCos4Minus1))), odd03 = bothHigh(b0P7, b1P3);
  const V256 even03 = bothLow(b0P7, b3), even12 = bothLow(b1P3, b2);
  return {shr16<5>(adds16(even03, odd03)), shr16<5>(adds16(even12, odd12)), shr16<5>(subs16(even03, odd03)),
          shr16<5>(subs16(even12, odd12))};
}

void inverse(const Mox16s* src, Mox16s* dst, const Mox16u* steps) {
  const Results r = inverseColumns(inverseRows(src, steps));
  const auto put = [dst](V256 rows, int low, int high) {
    const V256 ordered = reverseHigh16(rows);
    store(dst + 8 * low, lowHalf(ordered));
    store(dst + 8 * high, highHalf(ordered));
  };
  put(r.out03, 0, 3);
  put(r.out12, 1, 2);
  put(r.out74, 7, 4);
  put(r.out65, 6, 5);
}

void inverseShifted(const Mox16s* src, Mox8u* dst, ptrdiff_t step, const Mox16u* steps) {
  const Results r = inverseColumns(inverseRows(src, steps));
  const __m256i rev = _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 2, 3, 7, 6, 5, 4, 8, 9, 10, 11, 15, 14, 13, 12));
  const V256 out01 = shuffle8(bitXor(packs16(r.out03, r.out12), set8<V256>(128)), {rev});
  const V256 out76 = shuffle8(bitXor(packs16(r.out74, r.out65), set8<V256>(128)), {rev});
  // From the first row to the last: where rows overlap, the later one wins.
  const V128 out32 = highHalf(out01), out45 = highHalf(out76);
  storeLow8(dst, lowHalf(out01));
  storeHigh8(dst + step, lowHalf(out01));
  storeHigh8(dst + 2 * step, out32);
  storeLow8(dst + 3 * step, out32);
  storeLow8(dst + 4 * step, out45);
  storeHigh8(dst + 5 * step, out45);
  storeHigh8(dst + 6 * step, lowHalf(out76));
  storeLow8(dst + 7 * step, lowHalf(out76));
}

#else

MOX_INLINE void inverseRows(const Mox16s* src, const Mox16u* steps, V128* y) {
#pragma GCC unroll 8
  for (int row = 0; row < 8; row++) {
    const V128 x = mulLow16(load<V128>(src + 8 * row), load<V128>(steps + 8 * row));
    y[row] = inverseRow(x, row);
  }
}

MOX_INLINE void inverseColumns(V128* y) {
  using namespace dct;
  const auto timesTan3 = [](V128 v) { return adds16(v, mulHigh16(v, set16<V128>(kTan3Minus1))); };
  const auto timesCos4 = [](V128 v) { return adds16(v, mulHigh16(v, set16<V128>(kCos4Minus1))); };
  const V128 tan1 = set16<V128>(kTan1), tan2 = set16<V128>(kTan2);

  const V128 u = adds16(y[3], timesTan3(y[5])), v = subs16(y[5], timesTan3(y[3]));
  const V128 z = adds16(y[1], mulHigh16(y[7], tan1)), w = subs16(mulHigh16(y[1], tan1), y[7]);
  const V128 tm = subs16(z, u), wm = subs16(w, v);
  const V128 odd[4] = {adds16(z, u), timesCos4(adds16(tm, wm)), timesCos4(subs16(tm, wm)), adds16(w, v)};

  const V128 e2 = adds16(y[2], mulHigh16(y[6], tan2)), e3 = subs16(mulHigh16(y[2], tan2), y[6]);
  const V128 a0 = adds16(y[0], y[4]), a1 = subs16(y[0], y[4]);
  const V128 even[4] = {adds16(a0, e2), adds16(a1, e3), subs16(a1, e3), subs16(a0, e2)};

#pragma GCC unroll 4
  for (int row = 0; row < 4; row++) {
    y[row] = shr16<5>(adds16(even[row], odd[row]));
    y[7 - row] = shr16<5>(subs16(even[row], odd[row]));
  }
}

void inverse(const Mox16s* src, Mox16s* dst, const Mox16u* steps) {
  V128 y[8];
  inverseRows(src, steps, y);
  inverseColumns(y);
#pragma GCC unroll 8
  for (int row = 0; row < 8; row++) store(dst + 8 * row, reverseHigh16(y[row]));
}

// After the last shift values are within -1024 and 1023, so that the wrapping addition of 128 cannot wrap, and a
// saturation to signed bytes, shifted by 128, is the same.
void inverseShifted(const Mox16s* src, Mox8u* dst, ptrdiff_t step, const Mox16u* steps) {
  V128 y[8];
  inverseRows(src, steps, y);
  inverseColumns(y);
#pragma GCC unroll 4
  for (int row = 0; row < 8; row += 2) {
    const V128 samples = bitXor(packs16(reverseHigh16(y[row]), reverseHigh16(y[row + 1])), set8<V128>(128));
    storeLow8(dst + row * step, samples);
    storeHigh8(dst + (row + 1) * step, samples);
  }
}

#endif

}  // namespace

const DctKernels dctKernels = {forward, inverse, forwardShifted, inverseShifted};

#else

const DctKernels dctKernels = {definition::forwardDctQuant, definition::inverseDctQuant,
                               definition::forwardDctQuantShifted, definition::inverseDctQuantShifted};

#endif

}  // namespace mox::MOX_TARGET
