// Rows, then columns: sums of products with cosines of 28 fractional bits, of which 11 are kept between the two. A
// cosine serves two samples at equal distances from the middle, with the same sign for even frequencies.
#include "jpeg/deepdct.h"

#include <algorithm>
#include <array>

namespace moxj::jpeg {

namespace {

constexpr int kCosineBits = 28, kBitsBetween = 11;
constexpr int kResultBits = kCosineBits + kBitsBetween;
constexpr std::int64_t kMaxProduct = std::int64_t{1} << 17;

constexpr std::int64_t half(int bits) { return std::int64_t{1} << (bits - 1); }

// cos(n pi / 16) / 2.
constexpr std::int64_t cosine(int n) {
  constexpr std::int64_t kCosines[] = {134217728, 131638772, 124001012, 111597962, 94906266,
                                       74567374,  51362901,  26184580,  0};
  n %= 32;
  if (n > 16) n = 32 - n;
  return n > 8 ? -kCosines[16 - n] : kCosines[n];
}

// [frequency][sample of the first half]
constexpr auto kBasis = [] {
  std::array<std::array<std::int64_t, 4>, 8> basis{};
  for (int u = 0; u < 8; ++u) {
    for (int x = 0; x < 4; ++x) basis[u][x] = u == 0 ? cosine(4) : cosine((2 * x + 1) * u);
  }
  return basis;
}();

using Line = std::array<std::int64_t, 8>;

Line forward(const Line& samples) {
  Line result{};
  for (int x = 0; x < 4; ++x) {
    const std::int64_t sum = samples[x] + samples[7 - x], difference = samples[x] - samples[7 - x];
    for (int u = 0; u < 8; u += 2) result[u] += kBasis[u][x] * sum;
    for (int u = 1; u < 8; u += 2) result[u] += kBasis[u][x] * difference;
  }
  return result;
}

Line inverse(const Line& coefficients) {
  Line result{};
  for (int x = 0; x < 4; ++x) {
    std::int64_t even = 0, odd = 0;
    for (int u = 0; u < 8; u += 2) even += kBasis[u][x] * coefficients[u];
    for (int u = 1; u < 8; u += 2) odd += kBasis[u][x] * coefficients[u];
    result[x] = even + odd;
    result[7 - x] = even - odd;
  }
  return result;
}

std::int64_t between(std::int64_t sum) {
  constexpr int kShift = kCosineBits - kBitsBetween;
  return (sum + half(kShift)) >> kShift;
}

Mox16s quantised(std::int64_t value, int step) {
  const std::int64_t divisor = std::int64_t{step} << kResultBits;
  const std::int64_t magnitude = ((value < 0 ? -value : value) + divisor / 2) / divisor;
  return static_cast<Mox16s>(value < 0 ? -magnitude : magnitude);
}

}  // namespace

void transformDeep(const std::uint16_t* samples, std::ptrdiff_t samplesOfRow, int bits, const Steps& steps,
                   Mox16s* coefficients) {
  const int middle = 1 << (bits - 1);
  std::array<Line, 8> columns;
  for (int y = 0; y < 8; ++y) {
    Line row;
    for (int x = 0; x < 8; ++x) row[x] = samples[samplesOfRow * y + x] - middle;
    row = forward(row);
    for (int u = 0; u < 8; ++u) columns[u][y] = between(row[u]);
  }
  for (int u = 0; u < 8; ++u) {
    const Line column = forward(columns[u]);
    for (int v = 0; v < 8; ++v) coefficients[8 * v + u] = quantised(column[v], steps[8 * v + u]);
  }
}

void invertDeep(const Mox16s* coefficients, const Steps& steps, int bits, std::uint16_t* samples,
                std::ptrdiff_t samplesOfRow) {
  const std::int64_t middle = std::int64_t{1} << (bits - 1), max = 2 * middle - 1;
  std::array<Line, 8> columns;
  for (int v = 0; v < 8; ++v) {
    Line row;
    for (int u = 0; u < 8; ++u)
      row[u] = std::clamp(std::int64_t{coefficients[8 * v + u]} * steps[8 * v + u], -kMaxProduct, kMaxProduct);
    row = inverse(row);
    for (int x = 0; x < 8; ++x) columns[x][v] = between(row[x]);
  }
  for (int x = 0; x < 8; ++x) {
    const Line column = inverse(columns[x]);
    for (int y = 0; y < 8; ++y) {
      const std::int64_t sample = ((column[y] + half(kResultBits)) >> kResultBits) + middle;
      samples[samplesOfRow * y + x] = static_cast<std::uint16_t>(std::clamp<std::int64_t>(sample, 0, max));
    }
  }
}

}  // namespace moxj::jpeg
