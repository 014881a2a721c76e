// The transforms of 12-bit samples beside exact ones in double precision.
#include "jpeg/deepdct.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>

namespace moxj::jpeg {
namespace {

constexpr int kBits = 12, kMiddle = 1 << (kBits - 1), kMax = 2 * kMiddle - 1;

using Samples = std::array<std::uint16_t, 64>;
using Block = std::array<Mox16s, 64>;
using Exact = std::array<double, 64>;

double basis(int x, int u) {
  return std::cos((2 * x + 1) * u * std::numbers::pi / 16) * (u == 0 ? std::sqrt(0.125) : 0.5);
}

Steps stepsOf(int step) {
  Steps steps;
  steps.fill(static_cast<std::uint16_t>(step));
  return steps;
}

Exact exactForward(const Samples& samples) {
  Exact result{};
  for (int v = 0; v < 8; ++v) {
    for (int u = 0; u < 8; ++u) {
      for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) result[8 * v + u] += (samples[8 * y + x] - kMiddle) * basis(y, v) * basis(x, u);
      }
    }
  }
  return result;
}

Exact exactInverse(const Block& block, int step) {
  Exact result{};
  for (int y = 0; y < 8; ++y) {
    for (int x = 0; x < 8; ++x) {
      double sum = 0;
      for (int v = 0; v < 8; ++v) {
        for (int u = 0; u < 8; ++u) sum += double{block[8 * v + u] * 1.0} * step * basis(y, v) * basis(x, u);
      }
      result[8 * y + x] = std::clamp(sum + kMiddle, 0.0, double{kMax});
    }
  }
  return result;
}

void expectForward(const Samples& samples, int step) {
  const Exact exact = exactForward(samples);
  Block block;
  transformDeep(samples.data(), 8, kBits, stepsOf(step), block.data());
  for (int i = 0; i < 64; ++i) ASSERT_LE(std::abs(block[i] - exact[i] / step), 0.501) << i << " step " << step;
}

void expectInverse(const Block& block, int step) {
  const Exact exact = exactInverse(block, step);
  Samples samples;
  invertDeep(block.data(), stepsOf(step), kBits, samples.data(), 8);
  for (int i = 0; i < 64; ++i) ASSERT_LE(std::abs(samples[i] - exact[i]), 0.52) << i << " step " << step;
}

// All pictures of one coefficient's signs: they reach the largest coefficients.
TEST(DeepDct, ForwardOfExtremes) {
  for (int u = 0; u < 64; ++u) {
    for (const bool inverted : {false, true}) {
      Samples samples;
      for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x)
          samples[8 * y + x] = (basis(y, u / 8) * basis(x, u % 8) >= 0) != inverted ? kMax : 0;
      }
      for (const int step : {1, 2, 3, 255, 65535}) expectForward(samples, step);
    }
  }
  for (const int value : {0, 1, kMiddle - 1, kMiddle, kMax}) {
    Samples flat;
    flat.fill(static_cast<std::uint16_t>(value));
    expectForward(flat, 1);
  }
}

TEST(DeepDct, ForwardOfRandomSamples) {
  std::mt19937 random(1);
  for (int i = 0; i < 2000; ++i) {
    Samples samples;
    for (auto& sample : samples) sample = i % 2 ? random() % (kMax + 1) : random() % 2 * kMax;
    expectForward(samples, 1 + static_cast<int>(random() % (i % 3 == 0 ? 1 : 300)));
  }
}

// Every coefficient alone, with values up to the largest that a product may have.
TEST(DeepDct, InverseOfSingleCoefficients) {
  for (int u = 0; u < 64; ++u) {
    for (const int value : {1, -1, 7, 2047, -2048, 16384, -16384, 32767, -32768}) {
      Block block{};
      block[u] = static_cast<Mox16s>(value);
      for (const int step : {1, 2, 4}) expectInverse(block, step);
    }
  }
}

TEST(DeepDct, InverseOfExtremes) {
  for (int x = 0; x < 64; ++x) {
    Block block;
    for (int u = 0; u < 64; ++u)
      block[u] = basis(x / 8, u / 8) * basis(x % 8, u % 8) >= 0 ? 32767 : -32768;  // the largest sample at x
    expectInverse(block, 1);
    expectInverse(block, 4);
  }
}

TEST(DeepDct, InverseOfRandomCoefficients) {
  std::mt19937 random(2);
  for (int i = 0; i < 2000; ++i) {
    Block block{};
    const int count = 1 + static_cast<int>(random() % 64), range = 1 << (random() % 16);
    for (int k = 0; k < count; ++k)
      block[random() % 64] = static_cast<Mox16s>(static_cast<int>(random() % (2 * range)) - range);
    expectInverse(block, 1 + static_cast<int>(random() % 4));
  }
}

// What the transform gives comes back within the quantisation.
TEST(DeepDct, ThereAndBack) {
  std::mt19937 random(3);
  for (int i = 0; i < 500; ++i) {
    Samples samples, back;
    for (auto& sample : samples) sample = random() % (kMax + 1);
    Block block;
    transformDeep(samples.data(), 8, kBits, stepsOf(1), block.data());
    invertDeep(block.data(), stepsOf(1), kBits, back.data(), 8);
    for (int k = 0; k < 64; ++k) ASSERT_LE(std::abs(samples[k] - back[k]), 2);
  }
}

TEST(DeepDct, HalvesAreRoundedAwayFromZero) {
  Samples flat;
  Block block;
  for (const int sign : {-1, 1}) {
    flat.fill(static_cast<std::uint16_t>(kMiddle + sign));  // DC 8
    transformDeep(flat.data(), 8, kBits, stepsOf(16), block.data());
    EXPECT_EQ(block[0], sign);
    transformDeep(flat.data(), 8, kBits, stepsOf(17), block.data());
    EXPECT_EQ(block[0], 0);
  }
}

// Nonsense stays in range.
TEST(DeepDct, ProductsBeyondAnyPicture) {
  Block block;
  block.fill(-32768);
  Samples samples;
  invertDeep(block.data(), stepsOf(65535), kBits, samples.data(), 8);
  EXPECT_EQ(samples[0], 0);
  for (const int sample : samples) EXPECT_LE(sample, kMax);
}

}  // namespace
}  // namespace moxj::jpeg
