// Chroma sampling on all inputs, where they are few enough, on every target.
#include <gtest/gtest.h>

#include <vector>

#include "moxj.h"
#include "support/targets.h"

namespace test {
namespace {

using Bytes = std::vector<Mox8u>;

// A cyclic sequence in which each pair of neighbouring values below `symbols` occurs once: the Lyndon words of one and
// two symbols in order. With its first value again at the end it is a row of symbols * symbols + 1.
std::vector<int> everyPairOnce(int symbols) {
  std::vector<int> row;
  row.reserve(static_cast<size_t>(symbols) * symbols + 1);
  for (int a = 0; a < symbols; a++) {
    row.push_back(a);
    for (int b = a + 1; b < symbols; b++) row.push_back(a), row.push_back(b);
  }
  row.push_back(row[0]);
  return row;
}

TEST(SampleValues, pairsStandOnce) {
  const std::vector<int> row = everyPairOnce(5);
  std::vector<int> seen(25, 0);
  for (size_t i = 1; i < row.size(); i++) seen[row[i - 1] * 5 + row[i]]++;
  EXPECT_EQ(row.size(), 26u);
  EXPECT_EQ(seen, std::vector<int>(25, 1));
}

// Every pair of samples twice running, so that each output bias meets it.
TEST(SampleValues, downH2V1OfEveryPairWithEveryBias) {
  Bytes src;
  for (int a = 0; a < 256; a++)
    for (int b = 0; b < 256; b++)
      for (int twice = 0; twice < 2; twice++) src.push_back(Mox8u(a)), src.push_back(Mox8u(b));
  const int width = int(src.size()), count = width / 2;
  forEachTarget([&](const mox::Target& target) {
    Bytes region(count), box(count);
    ASSERT_EQ(moxiSampleDownH2V1_JPEG_8u_C1R(src.data(), width, {width, 1}, region.data(), count, {count, 1}),
              moxStatusOk);
    ASSERT_EQ(moxiSampleDownRowH2V1_Box_JPEG_8u_C1(src.data(), width, box.data()), moxStatusOk);
    for (int k = 0; k < count; k++) {
      const int sum = src[2 * k] + src[2 * k + 1];
      ASSERT_EQ(region[k], (sum + 1) >> 1) << target.name << ' ' << k;
      ASSERT_EQ(box[k], (sum + k % 2) >> 1) << target.name << ' ' << k;
    }
  });
}

// The result depends only on the sum of the four samples: every sum, split in several ways.
TEST(SampleValues, downH2V2OfEverySumWithEveryBias) {
  Bytes upper, lower;
  const auto add = [&](int a, int b, int c, int d) {
    for (int twice = 0; twice < 2; twice++) {
      upper.push_back(Mox8u(a)), upper.push_back(Mox8u(b));
      lower.push_back(Mox8u(c)), lower.push_back(Mox8u(d));
    }
  };
  const auto part = [](int sum, int order) { return std::min(255, std::max(0, sum - 255 * order)); };
  for (int sum = 0; sum <= 1020; sum++) {
    const int p = part(sum, 0), q = part(sum, 1), r = part(sum, 2), s = part(sum, 3);
    add(p, q, r, s), add(s, r, q, p), add(q, s, p, r), add(r, p, s, q);
    add(sum / 4, (sum + 1) / 4, (sum + 2) / 4, (sum + 3) / 4);
  }
  const int width = int(upper.size()), count = width / 2;
  Bytes both = upper;
  both.insert(both.end(), lower.begin(), lower.end());
  forEachTarget([&](const mox::Target& target) {
    Bytes region(count), box(count);
    ASSERT_EQ(moxiSampleDownH2V2_JPEG_8u_C1R(both.data(), width, {width, 2}, region.data(), count, {count, 1}),
              moxStatusOk);
    ASSERT_EQ(moxiSampleDownRowH2V2_Box_JPEG_8u_C1(upper.data(), lower.data(), width, box.data()), moxStatusOk);
    for (int k = 0; k < count; k++) {
      const int sum = upper[2 * k] + upper[2 * k + 1] + lower[2 * k] + lower[2 * k + 1];
      ASSERT_EQ(region[k], (sum + 3) >> 2) << target.name << ' ' << k;
      ASSERT_EQ(box[k], (sum + 1 + k % 2) >> 2) << target.name << ' ' << k;
    }
  });
}

TEST(SampleValues, upH2V1OfEveryPairOfNeighbours) {
  const std::vector<int> row = everyPairOnce(256);
  const Bytes src(row.begin(), row.end());
  const int n = int(src.size()), columns = n - 2;  // the region leaves the ends to be its border
  forEachTarget([&](const mox::Target& target) {
    Bytes triangle(2 * n), region(2 * columns);
    ASSERT_EQ(moxiSampleUpRowH2V1_Triangle_JPEG_8u_C1(src.data(), n, triangle.data()), moxStatusOk);
    ASSERT_EQ(
        moxiSampleUpH2V1_JPEG_8u_C1R(src.data() + 1, n, {columns, 1}, region.data(), 2 * columns, {2 * columns, 1}),
        moxStatusOk);
    for (int k = 1; k < n; k++) {
      ASSERT_EQ(triangle[2 * k - 1], (3 * src[k - 1] + src[k] + 2) >> 2) << target.name << ' ' << k;
      ASSERT_EQ(triangle[2 * k], (3 * src[k] + src[k - 1] + 1) >> 2) << target.name << ' ' << k;
    }
    ASSERT_TRUE(std::equal(region.begin(), region.end(), triangle.begin() + 2)) << target.name;
  });
}

// All pairs of neighbouring column sums. Each sum is made by some pair of samples; which pair changes along the row.
TEST(SampleValues, upH2V2OfEveryPairOfColumnSums) {
  const std::vector<int> sums = everyPairOnce(3 * 255 + 255 + 1);
  const int n = int(sums.size()), columns = n - 2;
  Bytes rows(2 * static_cast<size_t>(n));  // the far row, then the near one
  Mox8u *const far = rows.data(), *const near = far + n;
  for (int k = 0; k < n; k++) {
    const int least = std::max(0, (sums[k] - 255 + 2) / 3), most = std::min(255, sums[k] / 3);
    near[k] = Mox8u(least + k % (most - least + 1));
    far[k] = Mox8u(sums[k] - 3 * near[k]);
  }
  forEachTarget([&](const mox::Target& target) {
    Bytes triangle(2 * static_cast<size_t>(n)), region(2 * static_cast<size_t>(columns));
    ASSERT_EQ(moxiSampleUpRowH2V2_Triangle_JPEG_8u_C1(near, far, n, triangle.data()), moxStatusOk);
    ASSERT_EQ(moxiSampleUpH2V2_JPEG_8u_C1R(near + 1, n, {columns, 1}, region.data(), 2 * columns, {2 * columns, 1}),
              moxStatusOk);
    for (int k = 1; k < n; k++) {
      ASSERT_EQ(triangle[2 * k - 1], (3 * sums[k - 1] + sums[k] + 7) >> 4) << target.name << ' ' << k;
      ASSERT_EQ(triangle[2 * k], (3 * sums[k] + sums[k - 1] + 8) >> 4) << target.name << ' ' << k;
    }
    ASSERT_TRUE(std::equal(region.begin(), region.end(), triangle.begin() + 2)) << target.name;
  });
}

// All pairs of a nearer and a farther sample: the column sum itself.
TEST(SampleValues, upH2V2OfEveryColumn) {
  Bytes near, far;
  for (int n = 0; n < 256; n++)
    for (int f = 0; f < 256; f++) near.push_back(Mox8u(n)), far.push_back(Mox8u(f));
  forEachTarget([&](const mox::Target& target) {
    Bytes up(2 * near.size());
    ASSERT_EQ(moxiSampleUpRowH2V2_Triangle_JPEG_8u_C1(near.data(), far.data(), int32_t(near.size()), up.data()),
              moxStatusOk);
    for (size_t k = 1; k < near.size(); k++) {
      const int before = 3 * near[k - 1] + far[k - 1], here = 3 * near[k] + far[k];
      ASSERT_EQ(up[2 * k - 1], (3 * before + here + 7) >> 4) << target.name << ' ' << k;
      ASSERT_EQ(up[2 * k], (3 * here + before + 8) >> 4) << target.name << ' ' << k;
    }
  });
}

}  // namespace
}  // namespace test
