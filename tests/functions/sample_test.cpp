#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <vector>

#include "moxj.h"
#include "proof/random.h"
#include "support/checks.h"
#include "support/guarded.h"
#include "support/targets.h"

namespace test {
namespace {

using Bytes = std::vector<Mox8u>;
using RegionFunction = MoxStatus (*)(const Mox8u*, int32_t, MoxRoiSize, Mox8u*, int32_t, MoxRoiSize);
using OneRowFunction = MoxStatus (*)(const Mox8u*, int32_t, Mox8u*);
using TwoRowFunction = MoxStatus (*)(const Mox8u*, const Mox8u*, int32_t, Mox8u*);

// ---- The argument checks

void regionChecksInOrder(const char* name, RegionFunction function) {
  Mox8u src[64] = {};
  Mox8u dst[6] = {1, 2, 3, 4, 5, 6};
  const std::initializer_list<MoxRoiSize> badWidths = {{0, 2}, {-1, 2}, {INT32_MIN, 2}};
  const std::initializer_list<MoxRoiSize> badHeights = {{3, 0}, {3, -1}, {3, INT32_MIN}};
  checkOrder(name, function, src + 20, 8, MoxRoiSize{3, 2}, dst, 3, MoxRoiSize{3, 2})
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaksEach<1>({0, -1, INT32_MIN}, moxStatusBadStep)
      .breaksEach<2>(badWidths, moxStatusBadSize)
      .breaksEach<2>(badHeights, moxStatusBadSize)
      .breaks<3>(nullptr, moxStatusNullPointer)
      .breaksEach<4>({0, -1, INT32_MIN}, moxStatusBadStep)
      .breaksEach<5>(badWidths, moxStatusBadSize)
      .breaksEach<5>(badHeights, moxStatusBadSize)
      .untouched(dst, sizeof dst)
      .run();
}

TEST(Sample, regionsCheckTheSourceThenTheDestination) {
  regionChecksInOrder("moxiSampleDownH2V1_JPEG_8u_C1R", moxiSampleDownH2V1_JPEG_8u_C1R);
  regionChecksInOrder("moxiSampleDownH2V2_JPEG_8u_C1R", moxiSampleDownH2V2_JPEG_8u_C1R);
  regionChecksInOrder("moxiSampleUpH2V1_JPEG_8u_C1R", moxiSampleUpH2V1_JPEG_8u_C1R);
  regionChecksInOrder("moxiSampleUpH2V2_JPEG_8u_C1R", moxiSampleUpH2V2_JPEG_8u_C1R);
}

void oneRowChecksInOrder(const char* name, OneRowFunction function) {
  Mox8u src[4] = {}, dst[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  checkOrder(name, function, src, 4, dst)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<2>(nullptr, moxStatusNullPointer)
      .breaksEach<1>({0, -1, INT32_MIN}, moxStatusBadSize)
      .untouched(dst, sizeof dst)
      .run();
}

void twoRowsCheckInOrder(const char* name, TwoRowFunction function) {
  Mox8u src1[4] = {}, src2[4] = {}, dst[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  checkOrder(name, function, src1, src2, 4, dst)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .breaks<3>(nullptr, moxStatusNullPointer)
      .breaksEach<2>({0, -1, INT32_MIN}, moxStatusBadSize)
      .untouched(dst, sizeof dst)
      .run();
}

TEST(Sample, rowsCheckAllPointersThenTheWidth) {
  oneRowChecksInOrder("moxiSampleDownRowH2V1_Box_JPEG_8u_C1", moxiSampleDownRowH2V1_Box_JPEG_8u_C1);
  twoRowsCheckInOrder("moxiSampleDownRowH2V2_Box_JPEG_8u_C1", moxiSampleDownRowH2V2_Box_JPEG_8u_C1);
  oneRowChecksInOrder("moxiSampleUpRowH2V1_Triangle_JPEG_8u_C1", moxiSampleUpRowH2V1_Triangle_JPEG_8u_C1);
  twoRowsCheckInOrder("moxiSampleUpRowH2V2_Triangle_JPEG_8u_C1", moxiSampleUpRowH2V2_Triangle_JPEG_8u_C1);
}

// ---- The results of the regions, sample by sample

// A plane with one readable row or column past each side.
struct Plane {
  int width, height, step;
  Bytes samples;
  Plane(int width, int height, int step)
      : width(width), height(height), step(step), samples(size_t(step) * (height + 2)) {}
  Mox8u* first() { return samples.data() + step + 1; }
  int at(int x, int y) const { return samples[size_t(y + 1) * step + x + 1]; }
};

struct RegionCase {
  const char* name;
  RegionFunction function;
  int columns, rows;  // source columns and rows for two destination columns and rows
  std::function<int(const Plane&, int x, int y)> expected;
};

int columnSum(const Plane& s, int x, int y) { return 3 * s.at(x, y / 2) + s.at(x, y / 2 + (y % 2 ? 1 : -1)); }

const RegionCase kRegions[] = {
    {"down H2V1", moxiSampleDownH2V1_JPEG_8u_C1R, 4, 2,
     [](const Plane& s, int x, int y) { return (s.at(2 * x, y) + s.at(2 * x + 1, y) + 1) >> 1; }},
    {"down H2V2", moxiSampleDownH2V2_JPEG_8u_C1R, 4, 4,
     [](const Plane& s, int x, int y) {
       return (s.at(2 * x, 2 * y) + s.at(2 * x + 1, 2 * y) + s.at(2 * x, 2 * y + 1) + s.at(2 * x + 1, 2 * y + 1) + 3) >>
              2;
     }},
    {"up H2V1", moxiSampleUpH2V1_JPEG_8u_C1R, 1, 2,
     [](const Plane& s, int x, int y) {
       const int k = x / 2;
       return x % 2 ? (3 * s.at(k, y) + s.at(k + 1, y) + 2) >> 2 : (3 * s.at(k, y) + s.at(k - 1, y) + 1) >> 2;
     }},
    {"up H2V2", moxiSampleUpH2V2_JPEG_8u_C1R, 1, 1,
     [](const Plane& s, int x, int y) {
       const int k = x / 2;
       return x % 2 ? (3 * columnSum(s, k, y) + columnSum(s, k + 1, y) + 7) >> 4
                    : (3 * columnSum(s, k, y) + columnSum(s, k - 1, y) + 8) >> 4;
     }},
};

void expectRegion(const RegionCase& c, MoxRoiSize dstRoi, Random& random, const char* target) {
  const int width = (dstRoi.width * c.columns + 1) / 2, height = (dstRoi.height * c.rows + 1) / 2;
  Plane src(width, height, width + 2 + random.below(3));
  fill(random, random.oneIn(2) ? Filling::any : Filling::extreme, src.samples.data(), src.samples.size());
  const int dstStep = dstRoi.width + random.below(3);
  Bytes dst(size_t(dstStep) * dstRoi.height, 0xA5);
  ASSERT_EQ(c.function(src.first(), src.step, {1, 1}, dst.data(), dstStep, dstRoi), moxStatusOk);
  for (int y = 0; y < dstRoi.height; y++) {
    for (int x = 0; x < dstStep; x++)
      ASSERT_EQ(dst[size_t(y) * dstStep + x], x < dstRoi.width ? c.expected(src, x, y) : 0xA5)
          << c.name << " on " << target << ", " << dstRoi.width << " x " << dstRoi.height << ", at " << x << ", " << y;
  }
}

TEST(Sample, regionsOfEverySize) {
  forEachTarget([](const mox::Target& target) {
    Random random(1);
    for (const RegionCase& c : kRegions) {
      for (int width = 1; width <= 150; width++) expectRegion(c, {width, 1 + width % 5}, random, target.name);
      for (const MoxRoiSize roi : {MoxRoiSize{8192, 1}, MoxRoiSize{1, 8193}, MoxRoiSize{131, 67}, MoxRoiSize{2051, 6}})
        expectRegion(c, roi, random, target.name);
    }
  });
}

TEST(Sample, onlyTheDestinationSizeDrivesTheWork) {
  const Mox8u src[] = {10, 20, 30, 40, 50, 60, 70, 80};
  Mox8u dst[4] = {};
  ASSERT_EQ(moxiSampleDownH2V1_JPEG_8u_C1R(src, 8, {1, 1}, dst, 4, {4, 1}), moxStatusOk);
  EXPECT_EQ(Bytes(dst, dst + 4), (Bytes{15, 35, 55, 75}));
  ASSERT_EQ(moxiSampleDownH2V1_JPEG_8u_C1R(src, 8, {INT32_MAX, INT32_MAX}, dst, 4, {1, 1}), moxStatusOk);
  EXPECT_EQ(Bytes(dst, dst + 4), (Bytes{15, 35, 55, 75}));
}

TEST(Sample, quadBiasOfThreeRoundsAQuarterUp) {
  const Mox8u src[2][2] = {{0, 0}, {0, 1}};
  Mox8u dst = 9;
  ASSERT_EQ(moxiSampleDownH2V2_JPEG_8u_C1R(src[0], 2, {2, 2}, &dst, 1, {1, 1}), moxStatusOk);
  EXPECT_EQ(dst, 1);
}

TEST(Sample, upSampledRegionsReadTheirBorder) {
  Mox8u src[] = {0, 100, 100, 0};
  Mox8u dst[4] = {};
  ASSERT_EQ(moxiSampleUpH2V1_JPEG_8u_C1R(src + 1, 4, {2, 1}, dst, 4, {4, 1}), moxStatusOk);
  EXPECT_EQ(Bytes(dst, dst + 4), (Bytes{75, 100, 100, 75}));
  src[0] = src[3] = 200;
  ASSERT_EQ(moxiSampleUpH2V1_JPEG_8u_C1R(src + 1, 4, {2, 1}, dst, 4, {4, 1}), moxStatusOk);
  EXPECT_EQ(Bytes(dst, dst + 4), (Bytes{125, 100, 100, 125}));
}

TEST(Sample, rowsAboveAndBelowAreTheFartherOnes) {
  const Mox8u above[3] = {0, 0, 0}, here[3] = {160, 160, 160}, below[3] = {255, 255, 255};
  Mox8u src[9], dst[2];
  std::memcpy(src, above, 3);
  std::memcpy(src + 3, here, 3);
  std::memcpy(src + 6, below, 3);
  ASSERT_EQ(moxiSampleUpH2V2_JPEG_8u_C1R(src + 4, 3, {1, 1}, dst, 1, {1, 2}), moxStatusOk);
  EXPECT_EQ(dst[0], (3 * 160 * 4 + 8) >> 4);
  EXPECT_EQ(dst[1], (4 * (3 * 160 + 255) + 8) >> 4);
}

// ---- The results of the rows

// The biases that the outputs of a box row take: `first` and the next, beginning with `first` from 16 samples on;
// below, the last output takes `first`.
int boxBias(int first, int srcWidth, int k) {
  const int count = srcWidth / 2;
  const bool takesFirst = srcWidth >= 16 ? k % 2 == 0 : (count - 1 - k) % 2 == 0;
  return takesFirst ? first : first + 1;
}

Bytes boxH2V1(const Bytes& s) {
  Bytes d(s.size() / 2);
  for (size_t k = 0; k < d.size(); k++)
    d[k] = Mox8u((s[2 * k] + s[2 * k + 1] + boxBias(0, int(s.size()), int(k))) >> 1);
  return d;
}

Bytes boxH2V2(const Bytes& a, const Bytes& b) {
  Bytes d(a.size() / 2);
  for (size_t k = 0; k < d.size(); k++)
    d[k] = Mox8u((a[2 * k] + a[2 * k + 1] + b[2 * k] + b[2 * k + 1] + boxBias(1, int(a.size()), int(k))) >> 2);
  return d;
}

// n >= 2
Bytes triangleH2V1(const Bytes& s) {
  const size_t n = s.size();
  Bytes d(2 * n);
  for (size_t k = 0; k < n; k++) {
    d[2 * k] = k == 0 ? s[0] : Mox8u((3 * s[k] + s[k - 1] + 1) >> 2);
    d[2 * k + 1] = k == n - 1 ? s[n - 1] : Mox8u((3 * s[k] + s[k + 1] + 2) >> 2);
  }
  return d;
}

Bytes triangleH2V2(const Bytes& a, const Bytes& b) {
  const size_t n = a.size();
  const auto c = [&](size_t k) { return 3 * a[k] + b[k]; };
  Bytes d(2 * n);
  for (size_t k = 0; k < n; k++) {
    d[2 * k] = Mox8u(k == 0 ? (4 * c(0) + 8) >> 4 : (3 * c(k) + c(k - 1) + 8) >> 4);
    d[2 * k + 1] = Mox8u(k == n - 1 ? (4 * c(k) + 7) >> 4 : (3 * c(k) + c(k + 1) + 7) >> 4);
  }
  return d;
}

// A copy of a row between guard pages, its last or first sample next to one.
class GuardedRow {
 public:
  GuardedRow(const Bytes& row, bool atEnd)
      : memory_(row.size()),
        first_(atEnd ? memory_.atEnd<Mox8u>(row.size()) : memory_.atStart<Mox8u>()),
        size_(row.size()) {
    std::copy(row.begin(), row.end(), first_);
  }
  Mox8u* first() { return first_; }
  Bytes bytes() const { return Bytes(first_, first_ + size_); }

 private:
  GuardedMemory memory_;
  Mox8u* first_;
  size_t size_;
};

Bytes run(OneRowFunction function, const Bytes& src, size_t dstWidth, bool atEnd) {
  GuardedRow guardedSrc(src, atEnd), dst(Bytes(dstWidth), atEnd);
  EXPECT_EQ(function(guardedSrc.first(), int32_t(src.size()), dst.first()), moxStatusOk);
  return dst.bytes();
}

Bytes run(TwoRowFunction function, const Bytes& src1, const Bytes& src2, size_t dstWidth, bool atEnd) {
  GuardedRow guarded1(src1, atEnd), guarded2(src2, atEnd), dst(Bytes(dstWidth), atEnd);
  EXPECT_EQ(function(guarded1.first(), guarded2.first(), int32_t(src1.size()), dst.first()), moxStatusOk);
  return dst.bytes();
}

Bytes randomRow(Random& random, size_t width) {
  Bytes row(width);
  fill(random, random.oneIn(2) ? Filling::any : Filling::extreme, row.data(), width);
  return row;
}

TEST(Sample, boxRowsOfEveryWidth) {
  forEachTarget([](const mox::Target& target) {
    Random random(2);
    for (int width = 2; width <= 300; width++) {
      const Bytes a = randomRow(random, width), b = randomRow(random, width);
      for (const bool atEnd : {true, false}) {
        ASSERT_EQ(run(moxiSampleDownRowH2V1_Box_JPEG_8u_C1, a, width / 2, atEnd), boxH2V1(a))
            << target.name << ' ' << width;
        ASSERT_EQ(run(moxiSampleDownRowH2V2_Box_JPEG_8u_C1, a, b, width / 2, atEnd), boxH2V2(a, b))
            << target.name << ' ' << width;
      }
    }
  });
}

TEST(Sample, triangleRowsOfEveryWidth) {
  forEachTarget([](const mox::Target& target) {
    Random random(3);
    for (int width = 2; width <= 300; width++) {
      const Bytes a = randomRow(random, width), b = randomRow(random, width);
      for (const bool atEnd : {true, false}) {
        ASSERT_EQ(run(moxiSampleUpRowH2V1_Triangle_JPEG_8u_C1, a, 2 * width, atEnd), triangleH2V1(a))
            << target.name << ' ' << width;
        ASSERT_EQ(run(moxiSampleUpRowH2V2_Triangle_JPEG_8u_C1, a, b, 2 * width, atEnd), triangleH2V2(a, b))
            << target.name << ' ' << width;
      }
    }
  });
}

// Pairs of 0 and 1 show the bias itself: 0 + 1 + bias is odd or even.
TEST(Sample, boxRowsOfTwelveStartWithTheSecondBiasAndOfFourteenWithTheFirst) {
  for (const auto& [width, first] :
       {std::pair{2, 0}, {4, 1}, {6, 0}, {8, 1}, {10, 0}, {12, 1}, {14, 0}, {16, 0}, {18, 0}, {20, 0}}) {
    Bytes src(width, 0);
    for (int i = 1; i < width; i += 2) src[i] = 1;
    const Bytes dst = run(moxiSampleDownRowH2V1_Box_JPEG_8u_C1, src, width / 2, true);
    EXPECT_EQ(dst[0], first) << width;
    const Bytes quads = run(moxiSampleDownRowH2V2_Box_JPEG_8u_C1, src, src, width / 2, true);
    EXPECT_EQ(quads[0], first) << width;  // 2 + 1 or 2 + 2 over 4
    if (width < 16) {
      EXPECT_EQ(dst.back(), 0) << width;
    }
  }
}

TEST(Sample, boxOfTwoOnesAndTwoZerosFollowsTheBias) {
  const Bytes ones(16, 1), zeros(16, 0);
  EXPECT_EQ(run(moxiSampleDownRowH2V2_Box_JPEG_8u_C1, ones, zeros, 8, true), (Bytes{0, 1, 0, 1, 0, 1, 0, 1}));
}

TEST(Sample, boxPhaseIgnoresTheAddressOfTheDestination) {
  forEachTarget([](const mox::Target& target) {
    Random random(4);
    for (const int width : {12, 14, 16, 18, 22, 30, 34, 46, 130}) {
      const Bytes a = randomRow(random, width), b = randomRow(random, width);
      for (int offset = 0; offset < 16; offset++) {
        alignas(16) Mox8u dst[128];
        ASSERT_EQ(moxiSampleDownRowH2V1_Box_JPEG_8u_C1(a.data(), width, dst + offset), moxStatusOk);
        ASSERT_EQ(Bytes(dst + offset, dst + offset + width / 2), boxH2V1(a))
            << target.name << ' ' << width << ' ' << offset;
        ASSERT_EQ(moxiSampleDownRowH2V2_Box_JPEG_8u_C1(a.data(), b.data(), width, dst + offset), moxStatusOk);
        ASSERT_EQ(Bytes(dst + offset, dst + offset + width / 2), boxH2V2(a, b))
            << target.name << ' ' << width << ' ' << offset;
      }
    }
  });
}

// The last sample of an odd row has no partner; a row of one sample has no output.
TEST(Sample, boxRowsIgnoreAnOddLastSample) {
  const Bytes three = {0, 1, 77}, one = {77};
  EXPECT_EQ(run(moxiSampleDownRowH2V1_Box_JPEG_8u_C1, three, 1, true), Bytes{0});
  EXPECT_EQ(run(moxiSampleDownRowH2V2_Box_JPEG_8u_C1, three, three, 1, true), Bytes{0});
  EXPECT_EQ(run(moxiSampleDownRowH2V1_Box_JPEG_8u_C1, one, 0, true), Bytes{});
  EXPECT_EQ(run(moxiSampleDownRowH2V2_Box_JPEG_8u_C1, one, one, 0, true), Bytes{});
}

TEST(Sample, triangleRowOfOneSampleRepeatsIt) {
  forEachTarget([](const mox::Target&) {
    for (int s = 0; s < 256; s++) {
      const Bytes one = {Mox8u(s)}, other = {Mox8u(255 - s)};
      ASSERT_EQ(run(moxiSampleUpRowH2V1_Triangle_JPEG_8u_C1, one, 2, true), (Bytes{Mox8u(s), Mox8u(s)}));
      const int sum = 3 * s + 255 - s;
      ASSERT_EQ(run(moxiSampleUpRowH2V2_Triangle_JPEG_8u_C1, one, other, 2, true),
                (Bytes{Mox8u((4 * sum + 8) >> 4), Mox8u((4 * sum + 7) >> 4)}));
    }
  });
}

TEST(Sample, triangleKeepsAConstantRowAndTheEnds) {
  forEachTarget([](const mox::Target&) {
    Random random(5);
    for (int s = 0; s < 256; s++) {
      const Bytes row(70, Mox8u(s)), doubled(140, Mox8u(s));
      ASSERT_EQ(run(moxiSampleUpRowH2V1_Triangle_JPEG_8u_C1, row, 140, true), doubled);
      ASSERT_EQ(run(moxiSampleUpRowH2V2_Triangle_JPEG_8u_C1, row, row, 140, true), doubled);
    }
    const Bytes row = randomRow(random, 101), up = run(moxiSampleUpRowH2V1_Triangle_JPEG_8u_C1, row, 202, true);
    EXPECT_EQ(up.front(), row.front());
    EXPECT_EQ(up.back(), row.back());
  });
}

}  // namespace
}  // namespace test
