// Rows of lossless JPEG: check orders, the predictors, round trips.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "moxj.h"
#include "proof/random.h"
#include "support/checks.h"
#include "support/targets.h"

namespace test {
namespace {

using Row = std::vector<Mox16s>;
using Source = const Mox16s*;

Mox16s pattern(int value) { return static_cast<Mox16s>(static_cast<uint16_t>(value)); }

// The prediction of T.81 H.1.2.1 as the header has it.
int predict(int predictor, int a, int b, int c) {
  switch (predictor) {
    case 1:
      return a;
    case 2:
      return b;
    case 3:
      return c;
    case 4:
      return a + b - c;
    case 5:
      return a + ((b - c) >> 1);
    case 6:
      return b + ((a - c) >> 1);
    default:
      return (a + b) >> 1;
  }
}

TEST(Lossless, firstRowsCheckInOrder) {
  const Mox16s src[4] = {1, 2, 3, 4};
  Mox16s dst[4] = {9, 9, 9, 9};
  for (const auto function : {moxiDiffPredFirstRow_JPEG_16s_C1, moxiReconstructPredFirstRow_JPEG_16s_C1})
    checkOrder("first row", function, Source{src}, static_cast<Mox16s*>(dst), 4, 8, 0)
        .breaks<0>(nullptr, moxStatusNullPointer)
        .breaks<1>(nullptr, moxStatusNullPointer)
        .breaksEach<2>({0, -1, INT32_MIN}, moxStatusBadSize)
        .breaksEach<3>({1, 17, 0, -8, INT32_MAX, INT32_MIN}, moxStatusBadArgument)
        .breaksEach<4>({-1, INT32_MIN}, moxStatusBadArgument)
        .untouched(dst, sizeof dst)
        .run();
}

TEST(Lossless, rowsCheckInOrder) {
  const Mox16s src[4] = {1, 2, 3, 4}, above[4] = {5, 6, 7, 8};
  Mox16s dst[4] = {9, 9, 9, 9};
  for (const auto function : {moxiDiffPredRow_JPEG_16s_C1, moxiReconstructPredRow_JPEG_16s_C1})
    checkOrder("row", function, Source{src}, Source{above}, static_cast<Mox16s*>(dst), 4, 7)
        .breaks<0>(nullptr, moxStatusNullPointer)
        .breaks<1>(nullptr, moxStatusNullPointer)
        .breaks<2>(nullptr, moxStatusNullPointer)
        .breaksEach<3>({0, -1, INT32_MIN}, moxStatusBadSize)
        .breaksEach<4>({0, 8, -1, INT32_MAX, INT32_MIN}, moxStatusBadArgument)
        .untouched(dst, sizeof dst)
        .run();
}

TEST(Lossless, firstSampleIsPredictedByHalfTheRange) {
  forEachTarget([](const mox::Target& target) {
    for (int p = 2; p <= 16; p++)
      for (int pt = 0; pt < p; pt++) {
        const Mox16s sample = 5;
        Mox16s difference = 0, rebuilt = 0;
        ASSERT_EQ(moxiDiffPredFirstRow_JPEG_16s_C1(&sample, &difference, 1, p, pt), moxStatusOk);
        EXPECT_EQ(difference, pattern(5 - (1 << (p - pt - 1)))) << target.name << ", P " << p << ", Pt " << pt;
        ASSERT_EQ(moxiReconstructPredFirstRow_JPEG_16s_C1(&difference, &rebuilt, 1, p, pt), moxStatusOk);
        EXPECT_EQ(rebuilt, sample);
      }
    const Mox16s zero = 0;
    Mox16s difference = 1;
    moxiDiffPredFirstRow_JPEG_16s_C1(&zero, &difference, 1, 8, 0);
    EXPECT_EQ(difference, -128);
    moxiDiffPredFirstRow_JPEG_16s_C1(&zero, &difference, 1, 16, 0);
    EXPECT_EQ(difference, -32768);
  });
}

// The exponent is taken modulo 32.
TEST(Lossless, aPointTransformFromThePrecisionOnIsAccepted) {
  const Mox16s zero = 0;
  Mox16s difference = 1;
  EXPECT_EQ(moxiDiffPredFirstRow_JPEG_16s_C1(&zero, &difference, 1, 8, 8), moxStatusOk);  // 2^31
  EXPECT_EQ(difference, 0);
  EXPECT_EQ(moxiDiffPredFirstRow_JPEG_16s_C1(&zero, &difference, 1, 8, 36), moxStatusOk);  // 2^3
  EXPECT_EQ(difference, -8);
  EXPECT_EQ(moxiDiffPredFirstRow_JPEG_16s_C1(&zero, &difference, 1, 2, INT32_MAX), moxStatusOk);  // 2^2
  EXPECT_EQ(difference, -4);
  EXPECT_EQ(moxiReconstructPredFirstRow_JPEG_16s_C1(&zero, &difference, 1, 8, 36), moxStatusOk);
  EXPECT_EQ(difference, 8);
}

TEST(Lossless, firstColumnIsPredictedByTheSampleAbove) {
  forEachTarget([](const mox::Target& target) {
    for (int predictor = 1; predictor <= 7; predictor++) {
      const Mox16s sample = -32768, above = 1;
      Mox16s difference = 0, rebuilt = 0;
      ASSERT_EQ(moxiDiffPredRow_JPEG_16s_C1(&sample, &above, &difference, 1, predictor), moxStatusOk);
      EXPECT_EQ(difference, 32767) << target.name;
      ASSERT_EQ(moxiReconstructPredRow_JPEG_16s_C1(&difference, &above, &rebuilt, 1, predictor), moxStatusOk);
      EXPECT_EQ(rebuilt, sample) << target.name;
    }
  });
}

TEST(Lossless, predictorsWrapAndHalveSignedValues) {
  forEachTarget([](const mox::Target& target) {
    // Ra, Rb, Rc and the prediction
    const struct {
      int predictor, a, b, c, prediction;
    } cases[] = {{4, 0xFFFF, 0xFFFF, 0, 0xFFFE},
                 {7, 0x8000, 0, 0, 0xC000},
                 {7, 0x7FFF, 0x7FFF, 0, 0x7FFF},
                 {7, 0x8000, 0x8000, 0, 0x8000},
                 {7, 0xFFFF, 0, 0, 0xFFFF},
                 {5, 0, 0x8000, 0x7FFF, 0x8000},
                 {5, 10, 0, 1, 9},
                 {6, 0x7FFF, 0, 0x8000, 0x7FFF},
                 {6, 0x8000, 0, 0x7FFF, 0x8000}};
    for (const auto& c : cases) {
      const Mox16s src[2] = {pattern(c.a), 0}, above[2] = {pattern(c.c), pattern(c.b)};
      Mox16s differences[2], rebuilt[2];
      ASSERT_EQ(moxiDiffPredRow_JPEG_16s_C1(src, above, differences, 2, c.predictor), moxStatusOk);
      EXPECT_EQ(differences[1], pattern(-c.prediction)) << target.name << ", predictor " << c.predictor;
      ASSERT_EQ(moxiReconstructPredRow_JPEG_16s_C1(differences, above, rebuilt, 2, c.predictor), moxStatusOk);
      EXPECT_EQ(rebuilt[1], 0) << target.name << ", predictor " << c.predictor;
    }
  });
}

TEST(Lossless, rowsFollowThePredictorsAndAreRestored) {
  forEachTarget([](const mox::Target& target) {
    Random random(3);
    for (int width = 1; width <= 150; width++)
      for (const Filling filling : {Filling::any, Filling::extreme, Filling::small}) {
        const size_t n = static_cast<size_t>(width);
        Row src(n), above(n), differences(n), rebuilt(n), expected(n);
        fill(random, filling, src.data(), n);
        fill(random, filling, above.data(), n);
        const int p = random.between(2, 16), pt = random.below(p);
        for (size_t x = 0; x < n; x++) expected[x] = pattern(src[x] - (x ? src[x - 1] : 1 << (p - pt - 1)));
        ASSERT_EQ(moxiDiffPredFirstRow_JPEG_16s_C1(src.data(), differences.data(), width, p, pt), moxStatusOk);
        ASSERT_EQ(differences, expected) << target.name << ", width " << width;
        ASSERT_EQ(moxiReconstructPredFirstRow_JPEG_16s_C1(differences.data(), rebuilt.data(), width, p, pt),
                  moxStatusOk);
        ASSERT_EQ(rebuilt, src) << target.name << ", width " << width;
        for (int predictor = 1; predictor <= 7; predictor++) {
          for (size_t x = 0; x < n; x++)
            expected[x] = pattern(src[x] - (x ? predict(predictor, src[x - 1], above[x], above[x - 1]) : above[0]));
          ASSERT_EQ(moxiDiffPredRow_JPEG_16s_C1(src.data(), above.data(), differences.data(), width, predictor),
                    moxStatusOk);
          ASSERT_EQ(differences, expected) << target.name << ", predictor " << predictor << ", width " << width;
          ASSERT_EQ(
              moxiReconstructPredRow_JPEG_16s_C1(differences.data(), above.data(), rebuilt.data(), width, predictor),
              moxStatusOk);
          ASSERT_EQ(rebuilt, src) << target.name << ", predictor " << predictor << ", width " << width;
        }
      }
  });
}

// The bytes of a row at an odd address.
struct OddRow {
  explicit OddRow(const Row& values) : bytes(2 * values.size() + 1) {
    std::memcpy(bytes.data() + 1, values.data(), 2 * values.size());
  }
  Mox16s* get() { return reinterpret_cast<Mox16s*>(bytes.data() + 1); }
  Row values() const {
    Row row((bytes.size() - 1) / 2);
    std::memcpy(row.data(), bytes.data() + 1, 2 * row.size());
    return row;
  }
  std::vector<Mox8u> bytes;
};

TEST(Lossless, rowsMayBeginAtOddAddresses) {
  forEachTarget([](const mox::Target& target) {
    Random random(5);
    for (int n = 1; n < 80; n++) {
      const size_t size = static_cast<size_t>(n);
      Row src(size), above(size), expected(size);
      for (Mox16s& value : src) value = random.any<Mox16s>();
      for (Mox16s& value : above) value = random.any<Mox16s>();
      OddRow oddSrc(src), oddAbove(above), oddDst(expected);
      for (const auto function : {moxiDiffPredFirstRow_JPEG_16s_C1, moxiReconstructPredFirstRow_JPEG_16s_C1}) {
        function(src.data(), expected.data(), n, 12, 1);
        function(oddSrc.get(), oddDst.get(), n, 12, 1);
        ASSERT_EQ(oddDst.values(), expected) << target.name << ", " << n << " columns";
      }
      for (const auto function : {moxiDiffPredRow_JPEG_16s_C1, moxiReconstructPredRow_JPEG_16s_C1})
        for (int predictor = 1; predictor <= 7; predictor++) {
          function(src.data(), above.data(), expected.data(), n, predictor);
          function(oddSrc.get(), oddAbove.get(), oddDst.get(), n, predictor);
          ASSERT_EQ(oddDst.values(), expected) << target.name << ", " << n << " columns, predictor " << predictor;
        }
    }
  });
}

}  // namespace
}  // namespace test
