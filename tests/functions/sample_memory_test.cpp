// Chroma sampling: which memory is read and written, whatever lies around it, and by how many threads.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <vector>

#include "moxcore.h"
#include "moxj.h"
#include "proof/random.h"
#include "support/guarded.h"
#include "support/targets.h"

namespace test {
namespace {

using Bytes = std::vector<Mox8u>;
using RegionFunction = MoxStatus (*)(const Mox8u*, int32_t, MoxRoiSize, Mox8u*, int32_t, MoxRoiSize);

// What a function reads for an output region: source columns and rows, and their neighbours.
struct Reads {
  int columns, rows, left, right, above, below;
};

struct RegionCase {
  const char* name;
  RegionFunction function;
  Reads (*reads)(MoxRoiSize dst);
};

const RegionCase kRegions[] = {
    {"moxiSampleDownH2V1_JPEG_8u_C1R", moxiSampleDownH2V1_JPEG_8u_C1R,
     [](MoxRoiSize d) { return Reads{2 * d.width, d.height, 0, 0, 0, 0}; }},
    {"moxiSampleDownH2V2_JPEG_8u_C1R", moxiSampleDownH2V2_JPEG_8u_C1R,
     [](MoxRoiSize d) { return Reads{2 * d.width, 2 * d.height, 0, 0, 0, 0}; }},
    // An odd width ends with the left output of its last column, which needs nothing to the right of it.
    {"moxiSampleUpH2V1_JPEG_8u_C1R", moxiSampleUpH2V1_JPEG_8u_C1R,
     [](MoxRoiSize d) { return Reads{(d.width + 1) / 2, d.height, 1, d.width % 2 ? 0 : 1, 0, 0}; }},
    // So does an odd height with the rows below.
    {"moxiSampleUpH2V2_JPEG_8u_C1R", moxiSampleUpH2V2_JPEG_8u_C1R,
     [](MoxRoiSize d) {
       return Reads{(d.width + 1) / 2, (d.height + 1) / 2, 1, d.width % 2 ? 0 : 1, 1, d.height % 2 ? 0 : 1};
     }},
};

// Source and destination fill their memory to the byte, at its end or at its start, an inaccessible page after or
// before it.
void callBesideGuardPages(const RegionCase& c, MoxRoiSize dstRoi, bool atEnd, Random& random, const char* target) {
  const Reads r = c.reads(dstRoi);
  const int srcStep = r.left + r.columns + r.right;
  const size_t srcBytes = static_cast<size_t>(srcStep) * (r.above + r.rows + r.below);
  const size_t dstBytes = static_cast<size_t>(dstRoi.width) * dstRoi.height;
  GuardedMemory srcMemory(srcBytes), dstMemory(dstBytes);
  Mox8u* const src = atEnd ? srcMemory.atEnd<Mox8u>(srcBytes) : srcMemory.atStart<Mox8u>();
  Mox8u* const dst = atEnd ? dstMemory.atEnd<Mox8u>(dstBytes) : dstMemory.atStart<Mox8u>();
  fill(random, Filling::any, src, srcBytes);
  const Bytes before(src, src + srcBytes);
  ASSERT_EQ(c.function(src + r.above * srcStep + r.left, srcStep, {1, 1}, dst, dstRoi.width, dstRoi), moxStatusOk);

  // The same with room on all sides, from a copy with different spacing.
  const int wide = srcStep + 5;
  Bytes roomy(static_cast<size_t>(wide) * (r.above + r.rows + r.below + 2), 0x5A), expected(dstBytes);
  Mox8u* const first = roomy.data() + wide + 2;
  for (size_t i = 0; i < srcBytes; i++) first[i / srcStep * wide + i % srcStep] = src[i];
  c.function(first + r.above * wide + r.left, wide, {1, 1}, expected.data(), dstRoi.width, dstRoi);
  ASSERT_EQ(Bytes(dst, dst + dstBytes), expected)
      << c.name << " on " << target << ' ' << dstRoi.width << " x " << dstRoi.height;
  ASSERT_EQ(Bytes(src, src + srcBytes), before) << c.name << " on " << target << " wrote to its source";
}

TEST(SampleMemory, regionsReadTheirSamplesAndBorderAndNothingElse) {
  forEachTarget([](const mox::Target& target) {
    Random random(1);
    for (const RegionCase& c : kRegions)
      for (int width = 1; width <= 140; width++)
        for (const int height : {1, 2, 3})
          for (const bool atEnd : {true, false}) callBesideGuardPages(c, {width, height}, atEnd, random, target.name);
  });
}

TEST(SampleMemory, anyAlignmentGivesTheSame) {
  forEachTarget([](const mox::Target& target) {
    Random random(2);
    Bytes src(4096);
    fill(random, Filling::any, src.data(), src.size());
    for (const RegionCase& c : kRegions) {
      const MoxRoiSize roi = {301, 2};
      const Reads r = c.reads(roi);
      const int step = r.left + r.columns + r.right, inside = r.above * step + r.left;
      Bytes expected(302 * 2);
      ASSERT_EQ(c.function(src.data() + inside, step, {1, 1}, expected.data(), 301, roi), moxStatusOk);
      for (int offset = 1; offset < 64; offset++) {
        Bytes moved(src.size() + offset), dst(302 * 2 + 64);
        std::copy(src.begin(), src.end(), moved.begin() + offset);
        ASSERT_EQ(c.function(moved.data() + offset + inside, step, {1, 1}, dst.data() + 64 - offset, 301, roi),
                  moxStatusOk);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end() - 2, dst.begin() + 64 - offset))
            << c.name << " on " << target.name << ", offset " << offset;
      }
    }
  });
}

#if UINTPTR_MAX > UINT32_MAX
// Offsets of rows beyond 2^31 bytes, and rows numbered beyond 2^31 / 2: address space that holds almost no memory.
TEST(SampleMemory, rowsLieBeyondFourGigabytes) {
  constexpr int32_t kStep = 0x7FFFFFF0;
  constexpr size_t kBytes = static_cast<size_t>(6) * kStep;
  void* const map = mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (map == MAP_FAILED) GTEST_SKIP() << "no address space of 12 GB";
  Mox8u* const memory = static_cast<Mox8u*>(map);
  const auto row = [=](int y) { return memory + static_cast<size_t>(y) * kStep; };
  for (int y = 0; y < 4; y++)
    for (int x = 0; x < 4; x++) row(y)[x] = Mox8u(16 * (4 * y + x));

  Mox8u dst[4][2];
  ASSERT_EQ(moxiSampleDownH2V1_JPEG_8u_C1R(memory, kStep, {1, 1}, dst[0], 2, {2, 4}), moxStatusOk);
  EXPECT_EQ(dst[3][1], (16 * 14 + 16 * 15 + 1) >> 1);
  ASSERT_EQ(moxiSampleDownH2V2_JPEG_8u_C1R(memory, kStep, {1, 1}, dst[0], 2, {2, 2}), moxStatusOk);
  EXPECT_EQ(dst[1][1], (16 * (10 + 11 + 14 + 15) + 3) >> 2);
  Mox8u up[4][2];
  ASSERT_EQ(moxiSampleUpH2V1_JPEG_8u_C1R(memory + 1, kStep, {1, 1}, up[0], 2, {2, 4}), moxStatusOk);
  EXPECT_EQ(up[3][1], (3 * 16 * 13 + 16 * 14 + 2) >> 2);
  ASSERT_EQ(moxiSampleUpH2V2_JPEG_8u_C1R(row(1) + 1, kStep, {1, 1}, up[0], 2, {2, 4}), moxStatusOk);
  EXPECT_EQ(up[0][1], (3 * (3 * 80 + 16) + (3 * 96 + 32) + 7) >> 4);
  EXPECT_EQ(up[3][1], (3 * (3 * 144 + 208) + (3 * 160 + 224) + 7) >> 4);
  // The destination's rows, too.
  const Mox8u small[4] = {0, 2, 100, 102};
  ASSERT_EQ(moxiSampleDownH2V1_JPEG_8u_C1R(small, 2, {2, 2}, memory, kStep, {1, 2}), moxStatusOk);
  EXPECT_EQ(row(0)[0], 1);
  EXPECT_EQ(row(1)[0], 101);
  munmap(map, kBytes);
}
#endif

// How many threads share the rows, and how many rows each of them gets, changes nothing.
TEST(SampleMemory, anyNumberOfThreadsGivesTheSame) {
  const int32_t before = threads_omp_of_n_mox;
  Random random(3);
  for (const RegionCase& c : kRegions) {
    for (const MoxRoiSize roi : {MoxRoiSize{97, 101}, MoxRoiSize{8200, 1}, MoxRoiSize{4100, 2}, MoxRoiSize{1, 8200}}) {
      const Reads r = c.reads(roi);
      const int step = r.left + r.columns + r.right;
      Bytes src(static_cast<size_t>(step) * (r.above + r.rows + r.below));
      fill(random, Filling::any, src.data(), src.size());
      Bytes alone(static_cast<size_t>(roi.width) * roi.height);
      for (const int32_t threads : {1, 2, 3, 5, 16}) {
        threads_omp_of_n_mox = threads;
        Bytes dst(alone.size());
        ASSERT_EQ(c.function(src.data() + r.above * step + r.left, step, {1, 1}, dst.data(), roi.width, roi),
                  moxStatusOk);
        if (threads == 1) alone = dst;
        ASSERT_EQ(dst, alone) << c.name << ", " << threads << " threads, " << roi.width << " x " << roi.height;
      }
    }
  }
  threads_omp_of_n_mox = before;
}

}  // namespace
}  // namespace test
