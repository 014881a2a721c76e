#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "kernels/dct/dct.h"
#include "moxj.h"
#include "proof/blocks.h"
#include "support/checks.h"
#include "support/guarded.h"
#include "support/targets.h"

namespace test {
namespace {

using Table = std::array<Mox16u, 64>;
using Block = std::array<Mox16s, 64>;
using Samples = std::array<Mox8u, 64>;

template <class Array>
Array allOf(typename Array::value_type value) {
  Array a;
  a.fill(value);
  return a;
}

const Table kReciprocalsOf1 = allOf<Table>(32768);
const Table kStepsOf1 = allOf<Table>(1);

Block forward(const Block& samples, const Table& reciprocals = kReciprocalsOf1) {
  Block result;
  EXPECT_EQ(moxiDCTQuantFwd8x8_JPEG_16s_C1(samples.data(), result.data(), reciprocals.data()), moxStatusOk);
  return result;
}

Block inverse(const Block& levels, const Table& steps = kStepsOf1) {
  Block result;
  EXPECT_EQ(moxiDCTQuantInv8x8_JPEG_16s_C1(levels.data(), result.data(), steps.data()), moxStatusOk);
  return result;
}

Block forward(const Samples& samples, const Table& reciprocals = kReciprocalsOf1) {
  Block result;
  EXPECT_EQ(moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples.data(), 8, result.data(), reciprocals.data()), moxStatusOk);
  return result;
}

Samples inverseToSamples(const Block& levels, const Table& steps = kStepsOf1) {
  Samples result;
  EXPECT_EQ(moxiDCTQuantInv8x8LS_JPEG_16s8u_C1R(levels.data(), result.data(), 8, steps.data()), moxStatusOk);
  return result;
}

Block random(Random& random, int low, int high) {
  Block block;
  for (Mox16s& v : block) v = static_cast<Mox16s>(random.between(low, high));
  return block;
}

TEST(Dct, checksInOrder) {
  Block src = allOf<Block>(3), dst = allOf<Block>(5);
  const Table table = allOf<Table>(2048);
  const auto outOfPlace = [&](const char* name, auto function) {
    checkOrder(name, function, src.data(), dst.data(), table.data())
        .template breaks<0>(nullptr, moxStatusNullPointer)
        .template breaks<1>(nullptr, moxStatusNullPointer)
        .template breaks<2>(nullptr, moxStatusNullPointer)
        .untouched(src.data(), sizeof src)
        .untouched(dst.data(), sizeof dst)
        .run();
  };
  outOfPlace("moxiDCTQuantFwd8x8_JPEG_16s_C1", moxiDCTQuantFwd8x8_JPEG_16s_C1);
  outOfPlace("moxiDCTQuantInv8x8_JPEG_16s_C1", moxiDCTQuantInv8x8_JPEG_16s_C1);
  const auto inPlace = [&](const char* name, auto function) {
    checkOrder(name, function, dst.data(), table.data())
        .template breaks<0>(nullptr, moxStatusNullPointer)
        .template breaks<1>(nullptr, moxStatusNullPointer)
        .untouched(dst.data(), sizeof dst)
        .run();
  };
  inPlace("moxiDCTQuantFwd8x8_JPEG_16s_C1I", moxiDCTQuantFwd8x8_JPEG_16s_C1I);
  inPlace("moxiDCTQuantInv8x8_JPEG_16s_C1I", moxiDCTQuantInv8x8_JPEG_16s_C1I);
}

// The table comes after the step: a null table with a bad step is a bad step.
TEST(DctShifted, checksInOrder) {
  Samples samples = allOf<Samples>(100);
  Block block = allOf<Block>(5);
  const Table table = allOf<Table>(2048);
  checkOrder("moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R", moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R, samples.data(), 8,
             block.data(), table.data())
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<2>(nullptr, moxStatusNullPointer)
      .breaksEach<1>({0, -1, INT32_MIN}, moxStatusBadStep)
      .breaks<3>(nullptr, moxStatusNullPointer)
      .untouched(block.data(), sizeof block)
      .run();
  checkOrder("moxiDCTQuantInv8x8LS_JPEG_16s8u_C1R", moxiDCTQuantInv8x8LS_JPEG_16s8u_C1R, block.data(), samples.data(),
             8, table.data())
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .breaksEach<2>({0, -1, INT32_MIN}, moxStatusBadStep)
      .breaks<3>(nullptr, moxStatusNullPointer)
      .untouched(samples.data(), sizeof samples)
      .run();
}

TEST(DctShifted, middleGreyIsZero) {
  Random random(1);
  forEachTarget([&](const mox::Target& target) {
    for (int i = 0; i < 50; i++) {
      Table table;
      for (Mox16u& r : table) r = random.any<Mox16u>();
      EXPECT_EQ(forward(allOf<Samples>(128), table), Block{}) << target.name;
    }
  });
}

TEST(DctShifted, whiteIsADcOf1016) {
  Block expected{};
  expected[0] = 1016;
  forEachTarget([&](const mox::Target& target) { EXPECT_EQ(forward(allOf<Samples>(255)), expected) << target.name; });
}

TEST(Dct, constantBlocksAreDcAlone) {
  forEachTarget([](const mox::Target& target) {
    for (int value = 0; value < 256; value++) {
      Block expected{};
      expected[0] = static_cast<Mox16s>(8 * (value - 128));
      ASSERT_EQ(forward(allOf<Samples>(static_cast<Mox8u>(value))), expected) << target.name;
      ASSERT_EQ(forward(allOf<Block>(static_cast<Mox16s>(value - 128))), expected) << target.name;
    }
  });
}

TEST(DctShifted, zeroBlockIsMiddleGrey) {
  forEachTarget([](const mox::Target& target) {
    EXPECT_EQ(inverseToSamples(Block{}), allOf<Samples>(128)) << target.name;
    EXPECT_EQ(inverse(Block{}), Block{}) << target.name;
  });
}

TEST(DctShifted, dcOf8LiftsEverySampleByOne) {
  Block levels{};
  levels[0] = 8;
  forEachTarget([&](const mox::Target& target) {
    EXPECT_EQ(inverseToSamples(levels), allOf<Samples>(129)) << target.name;
    EXPECT_EQ(inverse(levels), allOf<Block>(1)) << target.name;
  });
}

// A DC of 3 by 16384 is a product of 1.5 * 32768, 5 by 16384 one of 2.5 * 32768.
TEST(Dct, tiesGoToEven) {
  const Table halves = allOf<Table>(16384);
  forEachTarget([&](const mox::Target& target) {
    const auto dcOf = [&](int sum) {  // the DC of a block whose samples add up to 8 * sum
      Block block{};
      for (int i = 0; i < 64; i++) block[i] = static_cast<Mox16s>(sum / 8 + (i % 8 < sum % 8));
      return block;
    };
    for (const auto& [dc, level] : {std::pair{3, 2}, {5, 2}, {7, 4}, {9, 4}}) {
      ASSERT_EQ(forward(dcOf(dc))[0], dc);
      EXPECT_EQ(forward(dcOf(dc), halves)[0], level) << target.name << ", DC " << dc;
    }
  });
}

TEST(Dct, roundsOtherwiseThanTheStandAloneQuantiser) {
  Block block = allOf<Block>(0);
  for (int i = 0; i < 64; i++) block[i] = i % 8 < 5;
  const Table halves = allOf<Table>(16384);
  forEachTarget([&](const mox::Target&) {
    Block coefficients = forward(block);
    ASSERT_EQ(coefficients[0], 5);
    EXPECT_EQ(forward(block, halves)[0], 2);
    moxiQuantFwd8x8_JPEG_16s_C1I(coefficients.data(), halves.data());
    EXPECT_EQ(coefficients[0], 3);
  });
}

// A step of 0 leaves a reciprocal of 65535, which no signed 16-bit factor can hold: nearly twice the coefficient.
TEST(Dct, reciprocalsAbove32767AreUnsigned) {
  forEachTarget([](const mox::Target& target) {
    EXPECT_EQ(forward(allOf<Samples>(255), allOf<Table>(65535))[0], 2032) << target.name;
    EXPECT_EQ(forward(allOf<Samples>(0), allOf<Table>(65535))[0], -2048) << target.name;
    EXPECT_EQ(forward(allOf<Samples>(0), allOf<Table>(49152))[0], -1536) << target.name;
    EXPECT_EQ(forward(allOf<Samples>(0), allOf<Table>(32769))[0], -1024) << target.name;
  });
}

TEST(Dct, dequantisationWraps) {
  Block levels{};
  levels[0] = 1000;
  Table steps = allOf<Table>(1);
  steps[0] = 100;
  Block wrapped{};
  wrapped[0] = -31072;
  forEachTarget([&](const mox::Target& target) { EXPECT_EQ(inverse(levels, steps), inverse(wrapped)) << target.name; });
}

// With the largest coefficients the butterfly of the inverse transform saturates, and its last shift leaves at most
// 1023: through the whole transform, the wrapping addition of 128 gives the same results as a saturating one.
TEST(DctShifted, extremesClampToBlackAndWhite) {
  forEachTarget([](const mox::Target& target) {
    Block levels{};
    levels[0] = 32767;
    EXPECT_EQ(inverseToSamples(levels), allOf<Samples>(255)) << target.name;
    EXPECT_EQ(inverse(levels), allOf<Block>(1023)) << target.name;
    levels[0] = -32768;
    EXPECT_EQ(inverseToSamples(levels), allOf<Samples>(0)) << target.name;
    EXPECT_EQ(inverse(levels), allOf<Block>(-1024)) << target.name;
  });
}

TEST(Dct, sourceIsNotModified) {
  Random numbers(2);
  forEachTarget([&](const mox::Target&) {
    const Block src = random(numbers, -32768, 32767);
    const Block before = src;
    forward(src), inverse(src), inverseToSamples(src);
    EXPECT_EQ(src, before);
  });
}

TEST(Dct, inPlaceEqualsOutOfPlace) {
  Random numbers(3);
  forEachTarget([&](const mox::Target& target) {
    for (int i = 0; i < 100; i++) {
      const Block src = random(numbers, -32768, 32767);
      Table table;
      for (Mox16u& r : table) r = numbers.any<Mox16u>();
      Block block = src;
      EXPECT_EQ(moxiDCTQuantFwd8x8_JPEG_16s_C1I(block.data(), table.data()), moxStatusOk);
      EXPECT_EQ(block, forward(src, table)) << target.name;
      block = src;
      EXPECT_EQ(moxiDCTQuantInv8x8_JPEG_16s_C1I(block.data(), table.data()), moxStatusOk);
      EXPECT_EQ(block, inverse(src, table)) << target.name;
    }
  });
}

TEST(DctShifted, equalsTheLevelShiftAndTheTransform) {
  Random numbers(4);
  forEachTarget([&](const mox::Target& target) {
    for (int i = 0; i < 200; i++) {
      Samples samples;
      Block shifted, levels = random(numbers, -200, 200);
      for (int k = 0; k < 64; k++)
        samples[k] = numbers.any<Mox8u>(), shifted[k] = static_cast<Mox16s>(samples[k] - 128);
      EXPECT_EQ(forward(samples), forward(shifted)) << target.name;
      Samples expected;
      const Block values = inverse(levels, allOf<Table>(3));
      for (int k = 0; k < 64; k++) expected[k] = static_cast<Mox8u>(std::clamp(values[k] + 128, 0, 255));
      EXPECT_EQ(inverseToSamples(levels, allOf<Table>(3)), expected) << target.name;
    }
  });
}

// Rows that lie `step` apart at the end of a page: nothing past the last of them may be touched, nor anything between
// them.
TEST(DctShifted, touchesOnlyTheRegion) {
  forEachTarget([](const mox::Target& target) {
    Random numbers(5);
    for (const int step : {8, 9, 15, 16, 63, 100, 4096}) {
      const size_t size = 7 * static_cast<size_t>(step) + 8;
      GuardedMemory memory(size), blockMemory(128);
      Mox8u* const region = memory.atEnd<Mox8u>(size);
      Mox16s* const block = blockMemory.atEnd<Mox16s>(64);
      std::fill_n(region, size, Mox8u{77});
      Samples samples;
      for (int i = 0; i < 64; i++) region[i / 8 * step + i % 8] = samples[i] = numbers.any<Mox8u>();
      ASSERT_EQ(moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(region, step, block, kReciprocalsOf1.data()), moxStatusOk);
      const Block coefficients = forward(samples);
      EXPECT_TRUE(std::equal(coefficients.begin(), coefficients.end(), block)) << target.name << ", step " << step;

      ASSERT_EQ(moxiDCTQuantInv8x8LS_JPEG_16s8u_C1R(block, region, step, kStepsOf1.data()), moxStatusOk);
      const Samples back = inverseToSamples(coefficients);
      for (size_t i = 0; i < size; i++) {
        const size_t row = i / step, column = i % step;
        ASSERT_EQ(region[i], column < 8 ? back[8 * row + column] : 77)
            << target.name << ", step " << step << ", byte " << i;
      }
    }
  });
}

// Row steps below 8: the rows overlap, and where they do the later one wins.
TEST(DctShifted, overlappingRowsAreWrittenFromTheFirstToTheLast) {
  forEachTarget([](const mox::Target& target) {
    Random numbers(9);
    const Block levels = random(numbers, -300, 300);
    const Samples whole = inverseToSamples(levels);
    for (int step = 1; step < 8; step++) {
      std::vector<Mox8u> expected(7 * step + 8), region(expected.size());
      for (int i = 0; i < 64; i++) expected[i / 8 * step + i % 8] = whole[i];
      ASSERT_EQ(moxiDCTQuantInv8x8LS_JPEG_16s8u_C1R(levels.data(), region.data(), step, kStepsOf1.data()), moxStatusOk);
      EXPECT_EQ(region, expected) << target.name << ", step " << step;

      Samples samples;
      for (int i = 0; i < 64; i++) samples[i] = region[i / 8 * step + i % 8];
      Block coefficients;
      ASSERT_EQ(moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(region.data(), step, coefficients.data(), kReciprocalsOf1.data()),
                moxStatusOk);
      EXPECT_EQ(coefficients, forward(samples)) << target.name << ", step " << step;
    }
  });
}

// Each coefficient alone, so that all other rows and columns are zero.
TEST(Dct, inverseOfEverySingleCoefficient) {
  forEachTarget([](const mox::Target& target) {
    for (int position = 0; position < 64; position++) {
      for (const int value : {1, -1, 5, -5, 100, -100, 1023, -1024, 32767, -32768}) {
        Block levels{}, expected;
        levels[position] = static_cast<Mox16s>(value);
        mox::definition::inverseDct(levels.data(), expected.data());
        ASSERT_EQ(inverse(levels), expected) << target.name << ", position " << position << ", value " << value;
      }
    }
  });
}

// Two blocks for each row's rounding, of a DC and two coefficients of the row: one with a sample that would change if
// the rounding were one less, one with a sample that would change if it were one more.
TEST(Dct, roundingOfEveryRowOfTheInverse) {
  struct {
    int row, dc, column1, value1, column2, value2, position, sample;
  } static const cases[] = {
      {0, 0, 0, 90, 4, 62, 9, 4},       {0, 0, 4, 6, 3, -7, 3, 1},          {1, -145, 5, -114, 1, -28, 40, -6},
      {1, 22, 1, 101, 6, 148, 13, 19},  {2, -97, 7, -98, 5, -192, 10, -23}, {2, -129, 3, -81, 4, -87, 6, -6},
      {3, -172, 6, 12, 7, 12, 43, -25}, {3, 189, 7, -89, 3, 110, 41, 30},   {4, -114, 6, -52, 3, 36, 10, 0},
      {4, 161, 7, -51, 1, -72, 59, 26}, {5, -133, 7, 176, 0, 73, 26, 25},   {5, -53, 1, 173, 7, -18, 34, -23},
      {6, 80, 3, -1, 7, 189, 10, -27},  {6, 189, 4, 21, 1, 86, 4, 23},      {7, 12, 2, 36, 5, -179, 44, -23},
      {7, 29, 7, -116, 3, -31, 27, -28}};
  for (const auto& c : cases) {
    Block levels = {};
    levels[0] = static_cast<Mox16s>(c.dc);
    levels[8 * c.row + c.column1] = static_cast<Mox16s>(c.value1);
    levels[8 * c.row + c.column2] = static_cast<Mox16s>(c.value2);
    EXPECT_EQ(inverse(levels)[c.position], c.sample) << "row " << c.row;
  }
}

TEST(Dct, rowSumsWrapIn32Bits) {
  // All column outputs of row 1 at 32767: the sum of four products by 22725 leaves 32 bits.
  const Mox16s ends[8] = {32767, 32767, 32767, 32767, 0, 0, 0, 0};
  Mox16s out[8];
  mox::definition::forwardRow(mox::dct::kRowMatrices[1], ends, out);
  EXPECT_EQ(out[0], static_cast<int32_t>(static_cast<uint32_t>(4ull * 22725 * 32767 + (1 << 19))) >> 20);
  EXPECT_LT(out[0], 0);
}

// ---- Against the transform in double precision

using Real = std::array<double, 64>;

const auto kBasis = [] {
  std::array<std::array<double, 8>, 8> basis{};
  for (int k = 0; k < 8; k++)
    for (int j = 0; j < 8; j++)
      basis[k][j] = (k == 0 ? std::sqrt(0.125) : 0.5) * std::cos((2 * j + 1) * k * std::acos(-1.0) / 16);
  return basis;
}();

// The forward transform, or with the roles of frequency and sample exchanged the inverse; rows, then columns.
template <bool Inverse>
Real transform(const Block& in) {
  const auto weight = [](int to, int from) { return Inverse ? kBasis[from][to] : kBasis[to][from]; };
  Real rows{}, out{};
  for (int x = 0; x < 8; x++)
    for (int v = 0; v < 8; v++)
      for (int y = 0; y < 8; y++) rows[8 * x + v] += in[8 * x + y] * weight(v, y);
  for (int u = 0; u < 8; u++)
    for (int v = 0; v < 8; v++)
      for (int x = 0; x < 8; x++) out[8 * u + v] += rows[8 * x + v] * weight(u, x);
  return out;
}

struct Errors {
  double largest = 0, squares = 0, sum = 0;
  int count = 0;
  void add(double actual, double exact) {
    largest = std::max(largest, std::abs(actual - exact));
    squares += (actual - exact) * (actual - exact);
    sum += actual - exact;
    count++;
  }
  double meanSquare() const { return squares / count; }
  double mean() const { return sum / count; }
};

// A result that is the exact value rounded to an integer is at most 0.5 away, with a mean square of 1/12.
TEST(Dct, forwardIsTheTransformOfT81) {
  Random numbers(6);
  Errors errors;
  for (int i = 0; i < 2000; i++) {
    const int bound = i % 2 ? 128 : 20;
    const Block samples = random(numbers, -bound, bound - 1), coefficients = forward(samples);
    const Real exact = transform<false>(samples);
    for (int k = 0; k < 64; k++) errors.add(coefficients[k], exact[k]);
  }
  EXPECT_LT(errors.largest, 0.75);
  EXPECT_LT(errors.meanSquare(), 0.085);
  EXPECT_LT(std::abs(errors.mean()), 0.005);
}

TEST(Dct, inverseIsTheTransformOfT81) {
  Random numbers(7);
  Errors errors;
  for (int i = 0; i < 2000; i++) {
    const int bound = i % 2 ? 300 : 20;
    const Block levels = random(numbers, -bound, bound - 1), samples = inverse(levels);
    const Real exact = transform<true>(levels);
    for (int k = 0; k < 64; k++) errors.add(samples[k], exact[k]);
  }
  EXPECT_LT(errors.largest, 0.75);
  EXPECT_LT(errors.meanSquare(), 0.085);
  EXPECT_LT(std::abs(errors.mean()), 0.005);
}

TEST(Dct, thereAndBackIsNearlyTheSame) {
  Random numbers(8);
  int different = 0;
  for (int i = 0; i < 1000; i++) {
    const Block samples = random(numbers, -128, 127), back = inverse(forward(samples));
    for (int k = 0; k < 64; k++) {
      EXPECT_LE(std::abs(back[k] - samples[k]), 1);
      different += back[k] != samples[k];
    }
  }
  EXPECT_LT(different, 64000 / 10);
}

}  // namespace
}  // namespace test
