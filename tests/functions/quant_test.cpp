#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "kernels/dct/quant.h"
#include "kernels/entropy/zigzag.h"
#include "moxj.h"
#include "proof/random.h"
#include "support/checks.h"
#include "support/guarded.h"
#include "support/targets.h"

namespace test {
namespace {

using Steps = std::array<Mox8u, 64>;
using Table = std::array<Mox16u, 64>;
using Block = std::array<Mox16s, 64>;

template <class Array>
Array allOf(typename Array::value_type value) {
  Array a;
  a.fill(value);
  return a;
}

// Table K.1 of T.81, as an example; what matters is its variety.
Steps someSteps() {
  Steps steps;
  for (int k = 0; k < 64; k++) steps[k] = static_cast<Mox8u>(3 + 4 * k - k / 10);
  return steps;
}

Steps scaled(Steps steps, int32_t quality) {
  EXPECT_EQ(moxiQuantFwdRawTableInit_JPEG_8u(steps.data(), quality), moxStatusOk);
  return steps;
}

TEST(QuantTables, checksInOrder) {
  Steps raw = someSteps();
  Table derived = allOf<Table>(7);
  checkOrder("moxiQuantFwdRawTableInit_JPEG_8u", moxiQuantFwdRawTableInit_JPEG_8u, raw.data(), 50)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .untouched(raw.data(), sizeof raw)
      .run();
  checkOrder("moxiQuantFwdTableInit_JPEG_8u16u", moxiQuantFwdTableInit_JPEG_8u16u, raw.data(), derived.data())
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .untouched(raw.data(), sizeof raw)
      .untouched(derived.data(), sizeof derived)
      .run();
  derived = allOf<Table>(7);
  checkOrder("moxiQuantInvTableInit_JPEG_8u16u", moxiQuantInvTableInit_JPEG_8u16u, raw.data(), derived.data())
      .breaks<1>(nullptr, moxStatusNullPointer)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .untouched(raw.data(), sizeof raw)
      .untouched(derived.data(), sizeof derived)
      .run();
}

TEST(Quant, checksInOrder) {
  Block block = allOf<Block>(9);
  const Table table = allOf<Table>(300);
  for (const auto function : {moxiQuantFwd8x8_JPEG_16s_C1I, moxiQuantInv8x8_JPEG_16s_C1I}) {
    checkOrder("moxiQuant8x8_JPEG_16s_C1I", function, block.data(), table.data())
        .breaks<0>(nullptr, moxStatusNullPointer)
        .breaks<1>(nullptr, moxStatusNullPointer)
        .untouched(block.data(), sizeof block)
        .run();
  }
}

TEST(QuantTables, zigZagIsFigureA6) {
  const int expected[64] = {0,  1,  5,  6,  14, 15, 27, 28, 2,  4,  7,  13, 16, 26, 29, 42, 3,  8,  12, 17, 25, 30,
                            41, 43, 9,  11, 18, 24, 31, 40, 44, 53, 10, 19, 23, 32, 39, 45, 52, 54, 20, 22, 33, 38,
                            46, 51, 55, 60, 21, 34, 37, 47, 50, 56, 59, 61, 35, 36, 48, 49, 57, 58, 62, 63};
  for (int i = 0; i < 64; i++) {
    EXPECT_EQ(mox::kZigZag.index[i], expected[i]) << i;
    EXPECT_EQ(mox::kZigZag.natural[expected[i]], i);
  }
}

TEST(QuantTables, quality50LeavesTheTable) {
  Steps steps;
  for (int k = 0; k < 64; k++) steps[k] = static_cast<Mox8u>(4 * k + 1);
  EXPECT_EQ(scaled(steps, 50), steps);
}

TEST(QuantTables, quality1IsFiftyfoldUpTo255) {
  const Steps steps = someSteps(), result = scaled(steps, 1);
  for (int k = 0; k < 64; k++) EXPECT_EQ(result[k], std::min(255, 50 * steps[k]));
}

TEST(QuantTables, quality25Doubles) { EXPECT_EQ(scaled(allOf<Steps>(16), 25), allOf<Steps>(32)); }

TEST(QuantTables, stepsOf0BecomeOne) { EXPECT_EQ(scaled(allOf<Steps>(0), 30), allOf<Steps>(1)); }

// Above 100 the scale is negative; far above, forming it would leave 32 bits.
TEST(QuantTables, quality100AndAboveIsAllOnes) {
  for (const int32_t quality : {100, 101, 150, 25000000, 1 << 30, (1 << 30) + 101, INT32_MAX - 1, INT32_MAX})
    for (const Mox8u step : {0, 1, 16, 255}) EXPECT_EQ(scaled(allOf<Steps>(step), quality), allOf<Steps>(1)) << quality;
}

TEST(QuantTables, negativeQualityIsAllOnes) {
  for (const int32_t quality : {-1, -2, -4999, -5000, -5001, INT32_MIN})
    for (const Mox8u step : {0, 1, 16, 255}) EXPECT_EQ(scaled(allOf<Steps>(step), quality), allOf<Steps>(1)) << quality;
}

TEST(QuantTables, everyQualityScalesEveryStepByThePercentage) {
  for (int quality = 1; quality <= 100; quality++) {
    const int percent = quality < 50 ? 5000 / quality : 200 - 2 * quality;
    for (int step = 0; step < 256; step++) {
      const Steps result = scaled(allOf<Steps>(static_cast<Mox8u>(step)), quality);
      ASSERT_EQ(result, allOf<Steps>(static_cast<Mox8u>(std::clamp((step * percent + 50) / 100, 1, 255))))
          << "quality " << quality << ", step " << step;
    }
  }
}

#if defined(__x86_64__) || defined(__i386__)
// No status answers quality 0: the division by it stops the program (on this processor at least).
TEST(QuantTablesDeathTest, quality0IsNotRefused) {
  Steps steps = someSteps();
  EXPECT_DEATH(moxiQuantFwdRawTableInit_JPEG_8u(steps.data(), 0), "");
}
#endif

TEST(QuantTables, stepsOf0GiveTheWarningAndTheWholeTable) {
  const Steps steps{};
  Table table = allOf<Table>(1);
  EXPECT_EQ(moxiQuantFwdTableInit_JPEG_8u16u(steps.data(), table.data()), moxStatusDivByZero);
  EXPECT_EQ(table, allOf<Table>(65535));
}

TEST(QuantTables, oneStepOf0AnywhereGivesTheWarning) {
  for (int k = 0; k < 64; k++) {
    Steps steps = allOf<Steps>(2);
    steps[k] = 0;
    Table table{}, expected = allOf<Table>(16384);
    expected[mox::kZigZag.natural[k]] = 65535;
    EXPECT_EQ(moxiQuantFwdTableInit_JPEG_8u16u(steps.data(), table.data()), moxStatusDivByZero);
    EXPECT_EQ(table, expected) << k;
  }
}

// The integer part of 2^31 / step / 2^16 and its fraction, rounded by cases.
TEST(QuantTables, everyReciprocalWithItsUnevenRounding) {
  for (int step = 1; step < 256; step++) {
    const uint32_t quotient = 0x80000000u / static_cast<uint32_t>(step), whole = quotient >> 16,
                   fraction = quotient & 0xFFFF;
    const uint32_t expected = whole + (whole % 2 ? fraction >= 32767 : fraction > 32768);
    Table table{};
    ASSERT_EQ(moxiQuantFwdTableInit_JPEG_8u16u(allOf<Steps>(static_cast<Mox8u>(step)).data(), table.data()),
              moxStatusOk);
    EXPECT_EQ(table, allOf<Table>(static_cast<Mox16u>(expected))) << step;
  }
}

TEST(QuantTables, knownReciprocals) {
  Steps steps = allOf<Steps>(1);
  steps[1] = 2, steps[2] = 3, steps[3] = 16, steps[4] = 255;
  Table table{};
  ASSERT_EQ(moxiQuantFwdTableInit_JPEG_8u16u(steps.data(), table.data()), moxStatusOk);
  EXPECT_EQ(table[0], 32768);
  EXPECT_EQ(table[1], 16384);
  EXPECT_EQ(table[8], 10923);
  EXPECT_EQ(table[16], 2048);
  EXPECT_EQ(table[9], 129);
}

TEST(QuantTables, inverseTableIsInNaturalOrder) {
  Steps steps;
  for (int k = 0; k < 64; k++) steps[k] = static_cast<Mox8u>(k + 1);
  Table table{};
  ASSERT_EQ(moxiQuantInvTableInit_JPEG_8u16u(steps.data(), table.data()), moxStatusOk);
  EXPECT_EQ(table[1], 2);
  EXPECT_EQ(table[8], 3);
  for (int i = 0; i < 64; i++) EXPECT_EQ(table[i], mox::kZigZag.index[i] + 1);
}

TEST(QuantTables, inverseTableKeepsStepsOf0) {
  Table table = allOf<Table>(1);
  EXPECT_EQ(moxiQuantInvTableInit_JPEG_8u16u(Steps{}.data(), table.data()), moxStatusOk);
  EXPECT_EQ(table, Table{});
}

TEST(QuantTables, readAndWriteOnly64Entries) {
  GuardedMemory raw(64), derived(128);
  Mox8u* const steps = raw.atEnd<Mox8u>(64);
  std::fill_n(steps, 64, Mox8u{200});
  EXPECT_EQ(moxiQuantFwdTableInit_JPEG_8u16u(steps, derived.atEnd<Mox16u>(64)), moxStatusOk);
  EXPECT_EQ(moxiQuantInvTableInit_JPEG_8u16u(steps, derived.atEnd<Mox16u>(64)), moxStatusOk);
  EXPECT_EQ(moxiQuantFwdRawTableInit_JPEG_8u(steps, 75), moxStatusOk);
}

Mox16s quantised(Mox16s coefficient, Mox16u reciprocal) {
  Block block = allOf<Block>(coefficient);
  EXPECT_EQ(moxiQuantFwd8x8_JPEG_16s_C1I(block.data(), allOf<Table>(reciprocal).data()), moxStatusOk);
  EXPECT_EQ(block, allOf<Block>(block[0]));
  return block[0];
}

TEST(QuantTables, mayBeginAtOddAddresses) {
  const Steps steps = someSteps();
  for (const auto init : {moxiQuantFwdTableInit_JPEG_8u16u, moxiQuantInvTableInit_JPEG_8u16u}) {
    Table expected, table;
    std::array<Mox8u, 129> odd;
    init(steps.data(), expected.data());
    init(steps.data(), reinterpret_cast<Mox16u*>(odd.data() + 1));
    std::memcpy(table.data(), odd.data() + 1, 128);
    EXPECT_EQ(table, expected);
  }
}

TEST(Quant, roundsHalvesUpwards) {
  forEachTarget([](const mox::Target&) {
    EXPECT_EQ(quantised(100, 2048), 6);
    EXPECT_EQ(quantised(-100, 2048), -6);
    EXPECT_EQ(quantised(24, 2048), 2);
    EXPECT_EQ(quantised(-24, 2048), -1);
  });
}

TEST(Quant, step1KeepsSmallAndWrapsFrom4096) {
  forEachTarget([](const mox::Target& target) {
    for (int x = -4096; x < 4096; x++) ASSERT_EQ(quantised(static_cast<Mox16s>(x), 32768), x) << target.name;
    EXPECT_EQ(quantised(4096, 32768), -4096);
    EXPECT_EQ(quantised(-4097, 32768), 4095);
    EXPECT_EQ(quantised(32767, 32768), -1);
    EXPECT_EQ(quantised(-32768, 32768), 0);
  });
}

TEST(Quant, theLowestBitOfAReciprocalIsDropped) {
  forEachTarget([](const mox::Target&) {
    EXPECT_EQ(quantised(4095, 65535), quantised(4095, 65534));
    EXPECT_EQ(quantised(-4096, 1), 0);
  });
}

TEST(Quant, dequantisationWraps) {
  forEachTarget([](const mox::Target& target) {
    Block block = allOf<Block>(1000);
    ASSERT_EQ(moxiQuantInv8x8_JPEG_16s_C1I(block.data(), allOf<Table>(100).data()), moxStatusOk);
    EXPECT_EQ(block, allOf<Block>(-31072)) << target.name;
  });
}

TEST(Quant, dequantisationOfEveryLevelByEveryStepOfABaselineTable) {
  forEachTarget([](const mox::Target& target) {
    for (int step = 0; step < 256; step++) {
      const Table table = allOf<Table>(static_cast<Mox16u>(step));
      for (int first = -32768; first < 32768; first += 64) {
        Block block;
        for (int i = 0; i < 64; i++) block[i] = static_cast<Mox16s>(first + i);
        moxiQuantInv8x8_JPEG_16s_C1I(block.data(), table.data());
        for (int i = 0; i < 64; i++)
          ASSERT_EQ(block[i], static_cast<Mox16s>((first + i) * step))
              << target.name << ", " << first + i << " * " << step;
      }
    }
  });
}

// All coefficients by the reciprocals of all steps, and by some others, through one of the two quantisers of each
// target.
template <auto Kernel, auto Definition>
void everyCoefficient() {
  std::vector<Mox16u> reciprocals;
  for (int step = 0; step < 256; step++) reciprocals.push_back(mox::definition::reciprocal(static_cast<Mox8u>(step)));
  for (const Mox16u r : {0, 1, 2, 32766, 32767, 32769, 32770, 49152, 65533, 65534}) reciprocals.push_back(r);
  Random random(31);
  for (int i = 0; i < 64; i++) reciprocals.push_back(random.any<Mox16u>());

  for (const Mox16u reciprocal : reciprocals) {
    const Table table = allOf<Table>(reciprocal);
    std::vector<Mox16s> expected(65536);
    for (int i = 0; i < 65536; i++) expected[i] = Definition(static_cast<Mox16s>(i - 32768), reciprocal);
    forEachTarget([&](const mox::Target& target) {
      for (int first = 0; first < 65536; first += 64) {
        Block block;
        for (int i = 0; i < 64; i++) block[i] = static_cast<Mox16s>(first + i - 32768);
        (mox::kernels::quant().*Kernel)(block.data(), table.data());
        for (int i = 0; i < 64; i++)
          ASSERT_EQ(block[i], expected[first + i])
              << target.name << ": coefficient " << first + i - 32768 << ", reciprocal " << reciprocal;
      }
    });
    if (testing::Test::HasFatalFailure()) return;
  }
}

TEST(Quant, everyCoefficientUpwards) { everyCoefficient<&mox::QuantKernels::forward, mox::definition::quantise>(); }

TEST(Quant, everyCoefficientToEven) {
  everyCoefficient<&mox::QuantKernels::forwardEven, mox::definition::quantiseEven>();
}

// The rule itself, without the fixed-point expression: to nearest in exact arithmetic, ties to even, saturated.
TEST(Quant, theDefinitionToEvenIsRoundingToNearest) {
  Random random(32);
  for (int i = 0; i < 2000000; i++) {
    const Mox16s coefficient = random.any<Mox16s>();
    const Mox16u reciprocal =
        random.oneIn(3) ? static_cast<Mox16u>(random.below(17) << random.below(13)) : random.any<Mox16u>();
    const int64_t product = int64_t{coefficient} * reciprocal, whole = product >> 15, rest = product & 32767;
    const int64_t nearest = whole + (rest > 16384 || (rest == 16384 && whole % 2 != 0));
    ASSERT_EQ(mox::definition::quantiseEven(coefficient, reciprocal), std::clamp<int64_t>(nearest, -32768, 32767))
        << coefficient << ", " << reciprocal;
  }
}

}  // namespace
}  // namespace test
