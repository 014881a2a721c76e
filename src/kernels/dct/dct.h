// The 8x8 DCT between samples and quantised coefficients (T.81 A.3.3, A.3.4), in 16-bit fixed point.
//
// Both directions are separable. The pass along the columns is a butterfly whose multiplications keep the high half
// of the product; the pass along the rows is a multiplication by a matrix, its sums in 32 bits. The butterfly leaves
// the rows scaled unevenly, and the matrix of each row makes up for it.
#pragma once

#include <cstddef>

#include "kernels/bytes.h"
#include "kernels/dct/fixed.h"
#include "kernels/dct/quant.h"
#include "moxj.h"

namespace mox {

struct DctKernels {
  // Samples to quantised coefficients and back. Source and destination may be the same block.
  void (*forward)(const Mox16s* src, Mox16s* dst, const Mox16u* reciprocals);
  void (*inverse)(const Mox16s* src, Mox16s* dst, const Mox16u* steps);
  // The same from and to a region of 8x8 unsigned samples whose rows lie `step` bytes apart.
  void (*forwardShifted)(const Mox8u* src, ptrdiff_t step, Mox16s* dst, const Mox16u* reciprocals);
  void (*inverseShifted)(const Mox16s* src, Mox8u* dst, ptrdiff_t step, const Mox16u* steps);
};

namespace dct {

// cos(n pi / 16), by the series of the cosine.
constexpr double cosine(int n) {
  const double x = n * 3.14159265358979323846 / 16;
  double sum = 0, term = 1;
  for (int k = 0; k < 60; k++) {
    sum += term;
    term *= -x * x / ((2 * k + 1) * (2 * k + 2));
  }
  return sum;
}
constexpr double sine(int n) { return cosine(n - 8); }
constexpr double tangent(int n) { return sine(n) / cosine(n); }

constexpr Mox16s roundToNearest(double x) { return static_cast<Mox16s>(x < 0 ? x - 0.5 : x + 0.5); }

// Factors of the butterflies in 1/65536; those of a half and above are used as 1 + (f - 1), or with one bit less.
inline constexpr Mox16s kTan1 = roundToNearest(65536 * tangent(1));
inline constexpr Mox16s kTan2 = roundToNearest(65536 * tangent(2));
inline constexpr Mox16s kTan3Minus1 = roundToNearest(65536 * (tangent(3) - 1));
inline constexpr Mox16s kCos4Minus1 = roundToNearest(65536 * (cosine(4) - 1));
inline constexpr Mox16s kHalfCos4 = roundToNearest(32768 * cosine(4));

static_assert(kTan1 == 13036 && kTan2 == 27146 && kTan3Minus1 == -21746 && kCos4Minus1 == -19195 && kHalfCos4 == 23170);

// Sample j of the basis function of frequency k, times the square root of 8.
constexpr double basis(int k, int j) { return k == 0 ? 1 : 2 * cosine(4) * cosine((2 * j + 1) * k); }

// The right half of a row follows from the left by symmetry: only samples 0 to 3 are kept.
struct RowMatrix {
  Mox16s at[8][4];  // [frequency][sample]
};

constexpr RowMatrix rowMatrix(int set) {
  RowMatrix m{};
  for (int k = 0; k < 8; k++)
    for (int j = 0; j < 4; j++) m.at[k][j] = roundToNearest(16384 * basis(set, 0) * basis(k, j));
  return m;
}

inline constexpr RowMatrix kRowMatrices[4] = {rowMatrix(0), rowMatrix(1), rowMatrix(2), rowMatrix(3)};

// Rows 0 and 4, 1 and 7, 2 and 6, 3 and 5 share a matrix.
constexpr const RowMatrix& matrixOfRow(int row) { return kRowMatrices[(row < 4 ? row : 8 - row) % 4]; }

static_assert(kRowMatrices[0].at[0][3] == 16384 && kRowMatrices[0].at[1][0] == 22725);
static_assert(kRowMatrices[0].at[5][1] == -22725 && kRowMatrices[0].at[7][2] == 19266 &&
              kRowMatrices[0].at[6][0] == 8867);
static_assert(kRowMatrices[1].at[0][2] == 22725 && kRowMatrices[1].at[1][0] == 31521 &&
              kRowMatrices[1].at[1][3] == 6270);
static_assert(kRowMatrices[2].at[1][1] == 25172 && kRowMatrices[2].at[2][0] == 27969 &&
              kRowMatrices[2].at[2][1] == 11585);
static_assert(kRowMatrices[3].at[0][0] == 19266 && kRowMatrices[3].at[1][2] == 15137 &&
              kRowMatrices[3].at[1][3] == 5315);
static_assert(&matrixOfRow(4) == &kRowMatrices[0] && &matrixOfRow(5) == &kRowMatrices[3] &&
              &matrixOfRow(7) == &kRowMatrices[1]);

// Added to the row sums of the inverse transform: 16 after their shift in row 0, which reaches every sample as one half
// before the last shift by 5. The others follow no such rule; they are kept for fixed results.
inline constexpr int32_t kRowRounding[8] = {65536, 5802, 4520, 3408, 2048, 910, 1024, 746};

}  // namespace dct

namespace definition {

constexpr Mox16s orOne(Mox16s value) { return static_cast<Mox16s>(value | 1); }

// One column; x and y are 8 apart from row to row.
constexpr void forwardColumn(const Mox16s* x, Mox16s* y) {
  using namespace dct;
  const auto sum = [x](int row, int bits) { return shl16(adds16(x[8 * row], x[8 * (7 - row)]), bits); };
  const auto difference = [x](int row, int bits) { return shl16(subs16(x[8 * row], x[8 * (7 - row)]), bits); };
  const Mox16s s07 = sum(0, 3), s16 = sum(1, 3), s25 = sum(2, 3), s34 = sum(3, 3);
  const Mox16s d07 = difference(0, 3), d16 = difference(1, 4), d25 = difference(2, 4), d34 = difference(3, 3);

  const Mox16s p03 = adds16(s07, s34), m03 = subs16(s07, s34), p12 = adds16(s16, s25), m12 = subs16(s16, s25);
  y[8 * 0] = adds16(p03, p12);
  y[8 * 4] = subs16(p03, p12);
  y[8 * 2] = orOne(adds16(m03, mulHigh16(m12, kTan2)));
  y[8 * 6] = orOne(subs16(mulHigh16(m03, kTan2), m12));

  const Mox16s g = orOne(mulHigh16(adds16(d16, d25), kHalfCos4)), h = mulHigh16(subs16(d16, d25), kHalfCos4);
  const Mox16s a = adds16(d34, h), b = subs16(d34, h), e = adds16(d07, g), f = subs16(d07, g);
  y[8 * 1] = orOne(adds16(e, mulHigh16(a, kTan1)));
  y[8 * 7] = subs16(mulHigh16(e, kTan1), a);
  y[8 * 3] = subs16(f, adds16(b, mulHigh16(b, kTan3Minus1)));
  y[8 * 5] = adds16(adds16(f, mulHigh16(f, kTan3Minus1)), b);
}

// One row. A sum can leave 32 bits (4 * 22725 * 32767 does) and then wraps; after the shift by 20 it always fits 16.
constexpr void forwardRow(const dct::RowMatrix& matrix, const Mox16s* y, Mox16s* out) {
  for (int k = 0; k < 8; k++) {
    int64_t sum = 1 << 19;
    for (int j = 0; j < 4; j++)
      sum += matrix.at[k][j] * int64_t{k % 2 == 0 ? adds16(y[j], y[7 - j]) : subs16(y[j], y[7 - j])};
    out[k] = saturate16(wrap32(sum) >> 20);
  }
}

constexpr void forwardDct(const Mox16s* src, Mox16s* dst) {
  Mox16s y[64] = {};
  for (int column = 0; column < 8; column++) forwardColumn(src + column, y + column);
  for (int row = 0; row < 8; row++) forwardRow(dct::matrixOfRow(row), y + 8 * row, dst + 8 * row);
}

// One row. The sums wrap in 32 bits as well.
constexpr void inverseRow(const dct::RowMatrix& matrix, int32_t rounding, const Mox16s* x, Mox16s* y) {
  for (int j = 0; j < 4; j++) {
    int64_t even = rounding, odd = 0;
    for (int k = 0; k < 8; k += 2) even += int64_t{matrix.at[k][j]} * x[k];
    for (int k = 1; k < 8; k += 2) odd += int64_t{matrix.at[k][j]} * x[k];
    y[j] = saturate16(wrap32(even + odd) >> 12);
    y[7 - j] = saturate16(wrap32(even - odd) >> 12);
  }
}

// One column; y and out are 8 apart from row to row.
constexpr void inverseColumn(const Mox16s* y, Mox16s* out) {
  using namespace dct;
  const auto timesTan3 = [](Mox16s v) { return adds16(v, mulHigh16(v, kTan3Minus1)); };
  const auto timesCos4 = [](Mox16s v) { return adds16(v, mulHigh16(v, kCos4Minus1)); };
  const Mox16s y0 = y[8 * 0], y1 = y[8 * 1], y2 = y[8 * 2], y3 = y[8 * 3];
  const Mox16s y4 = y[8 * 4], y5 = y[8 * 5], y6 = y[8 * 6], y7 = y[8 * 7];

  const Mox16s u = adds16(y3, timesTan3(y5)), v = subs16(y5, timesTan3(y3));
  const Mox16s z = adds16(y1, mulHigh16(y7, kTan1)), w = subs16(mulHigh16(y1, kTan1), y7);
  const Mox16s tm = subs16(z, u), wm = subs16(w, v);
  const Mox16s odd[4] = {adds16(z, u), timesCos4(adds16(tm, wm)), timesCos4(subs16(tm, wm)), adds16(w, v)};

  const Mox16s e2 = adds16(y2, mulHigh16(y6, kTan2)), e3 = subs16(mulHigh16(y2, kTan2), y6);
  const Mox16s a0 = adds16(y0, y4), a1 = subs16(y0, y4);
  const Mox16s even[4] = {adds16(a0, e2), adds16(a1, e3), subs16(a1, e3), subs16(a0, e2)};

  for (int row = 0; row < 4; row++) {
    out[8 * row] = static_cast<Mox16s>(adds16(even[row], odd[row]) >> 5);
    out[8 * (7 - row)] = static_cast<Mox16s>(subs16(even[row], odd[row]) >> 5);
  }
}

constexpr void inverseDct(const Mox16s* src, Mox16s* dst) {
  Mox16s y[64] = {};
  for (int row = 0; row < 8; row++)
    inverseRow(dct::matrixOfRow(row), dct::kRowRounding[row], src + 8 * row, y + 8 * row);
  for (int column = 0; column < 8; column++) inverseColumn(y + column, dst + column);
}

inline void forwardDctQuant(const Mox16s* src, Mox16s* dst, const Mox16u* reciprocals) {
  forwardDct(src, dst);
  for (int i = 0; i < 64; i++) dst[i] = quantiseEven(dst[i], get(reciprocals, i));
}

inline void inverseDctQuant(const Mox16s* src, Mox16s* dst, const Mox16u* steps) {
  for (int i = 0; i < 64; i++) dst[i] = dequantise(src[i], get(steps, i));
  inverseDct(dst, dst);
}

inline void forwardDctQuantShifted(const Mox8u* src, ptrdiff_t step, Mox16s* dst, const Mox16u* reciprocals) {
  for (int row = 0; row < 8; row++)
    for (int column = 0; column < 8; column++)
      dst[8 * row + column] = static_cast<Mox16s>(src[row * step + column] - 128);
  forwardDctQuant(dst, dst, reciprocals);
}

// The addition of 128 wraps, unlike that of the region function: from 32640 up a value becomes 0.
inline void inverseDctQuantShifted(const Mox16s* src, Mox8u* dst, ptrdiff_t step, const Mox16u* steps) {
  Mox16s values[64] = {};
  inverseDctQuant(src, values, steps);
  for (int row = 0; row < 8; row++)
    for (int column = 0; column < 8; column++)
      dst[row * step + column] = saturateU8(wrap16(values[8 * row + column] + 128));
}

// A constant block of value v has DC 8 v and nothing else.
constexpr bool constantBlockIsDcAlone(Mox16s v) {
  Mox16s block[64] = {};
  for (Mox16s& value : block) value = v;
  forwardDct(block, block);
  bool rest = false;
  for (int i = 1; i < 64; i++) rest |= block[i] != 0;
  return block[0] == 8 * v && !rest;
}
static_assert(constantBlockIsDcAlone(127) && constantBlockIsDcAlone(-128));

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const DctKernels dctKernels;
}
#endif

}  // namespace mox
