// Rows of coefficients, then columns of the result, in integers. A block without AC coefficients is filled.
#include "jpeg/scaledinverse.h"

#include <algorithm>
#include <array>
#include <type_traits>

namespace moxj::jpeg {

namespace {

constexpr int kFractionBits = 13;
constexpr int kShift = 2 * kFractionBits + 3;

// sqrt(2) cos(k pi / 16) with 13 fraction bits.
constexpr std::array<std::int32_t, 9> kCosines = {11585, 11363, 10703, 9633, 8192, 6436, 4433, 2260, 0};

constexpr std::int32_t cosine(int k) {
  k %= 32;
  if (k > 16) k = 32 - k;
  return k > 8 ? -kCosines[static_cast<std::size_t>(16 - k)] : kCosines[static_cast<std::size_t>(k)];
}

// k(N, x, u) at [x][u].
template <int size>
constexpr auto kBasis = [] {
  std::array<std::array<std::int32_t, size>, size> basis{};
  for (int x = 0; x < size; ++x)
    for (int u = 0; u < size; ++u) basis[x][u] = u == 0 ? 1 << kFractionBits : cosine((2 * x + 1) * u * (8 / size));
  return basis;
}();

template <class Sample>
Sample sampleOf(std::int64_t sum, int bits) {
  const std::int64_t middle = std::int64_t{1} << (bits - 1);
  const std::int64_t value = middle + ((sum + (std::int64_t{1} << (kShift - 1))) >> kShift);
  return static_cast<Sample>(std::clamp<std::int64_t>(value, 0, 2 * middle - 1));
}

std::int32_t dequantised(Mox16s coefficient, std::uint16_t step) {
  const std::int64_t product = std::int64_t{coefficient} * step;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(product, INT16_MIN, INT16_MAX));
}

// `step`: samples from one row to the next.
template <int width, int height, class Sample>
void inverse(const Mox16s* coefficients, const Steps& steps, int bits, Sample* to, std::ptrdiff_t step) {
  const std::int32_t dc = dequantised(coefficients[0], steps[0]);
  int ac = 0;
  for (int v = 0; v < height; ++v)
    for (int u = v == 0; u < width; ++u) ac |= coefficients[8 * v + u];
  if (ac == 0) {
    const Sample sample = sampleOf<Sample>(std::int64_t{dc} * (1 << 2 * kFractionBits), bits);
    for (int y = 0; y < height; ++y) std::fill_n(to + y * step, width, sample);
    return;
  }
  std::int32_t rows[height][width];  // 16 + 13 + 3 bits: the sum of a row's |k| is at most 2^16 - 1
  for (int v = 0; v < height; ++v) {
    std::int32_t row[width];
    for (int u = 0; u < width; ++u) row[u] = dequantised(coefficients[8 * v + u], steps[8 * v + u]);
    for (int x = 0; x < width; ++x) {
      std::int32_t sum = 0;
      for (int u = 0; u < width; ++u) sum += row[u] * kBasis<width>[x][u];
      rows[v][x] = sum;
    }
  }
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      std::int64_t sum = 0;
      for (int v = 0; v < height; ++v) sum += std::int64_t{rows[v][x]} * kBasis<height>[y][v];
      to[y * step + x] = sampleOf<Sample>(sum, bits);
    }
}

template <int width, int height>
void inverseOfBytes(const Mox16s* coefficients, const Steps& steps, std::uint8_t* to, std::ptrdiff_t step) {
  inverse<width, height>(coefficients, steps, 8, to, step);
}

// Calls action(std::integral_constant<int, size>()).
template <class Action>
void forSize(int size, Action action) {
  switch (size) {
    case 1:
      return action(std::integral_constant<int, 1>());
    case 2:
      return action(std::integral_constant<int, 2>());
    case 4:
      return action(std::integral_constant<int, 4>());
    default:
      return action(std::integral_constant<int, 8>());
  }
}

}  // namespace

BlockInverse::BlockInverse(const Steps& steps, BlockSize size) : steps_(steps), size_(size) {
  if (size == BlockSize()) return;
  forSize(size.width,
          [&](auto width) { forSize(size.height, [&](auto height) { scaled_ = inverseOfBytes<width(), height()>; }); });
}

void invertScaled(const Mox16s* coefficients, const Steps& steps, BlockSize size, int bits, std::uint16_t* samples,
                  std::ptrdiff_t samplesOfRow) {
  forSize(size.width, [&](auto width) {
    forSize(size.height,
            [&](auto height) { inverse<width(), height()>(coefficients, steps, bits, samples, samplesOfRow); });
  });
}

}  // namespace moxj::jpeg
