// How the rows of a region are shared out among threads, and where they lie.
#include "frame/rows.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <vector>

namespace test {
namespace {

class Rows : public testing::Test {
 protected:
  void SetUp() override { before_ = threads_omp_of_n_mox; }
  void TearDown() override { threads_omp_of_n_mox = before_; }

 private:
  int32_t before_;
};

TEST_F(Rows, addressesCountInBytes) {
  Mox16s pixels[64];
  EXPECT_EQ(mox::rowAt(pixels + 32, 16, 3), pixels + 32 + 24);
  EXPECT_EQ(mox::rowAt(pixels + 32, 16, -4), pixels);
  EXPECT_EQ(reinterpret_cast<char*>(mox::rowAt(pixels, 3, 5)), reinterpret_cast<char*>(pixels) + 15);
}

#if UINTPTR_MAX > UINT32_MAX
TEST_F(Rows, addressesDoNotWrap) {
  constexpr uintptr_t base = uintptr_t{1} << 60;
  const char* const first = reinterpret_cast<const char*>(base);
  const auto address = [=](ptrdiff_t y) { return reinterpret_cast<uintptr_t>(mox::rowAt(first, INT32_MAX, y)); };
  EXPECT_EQ(address(INT32_MAX), base + uintptr_t{INT32_MAX} * INT32_MAX);
  EXPECT_EQ(address(2 * ptrdiff_t{INT32_MAX}), base + 2 * uintptr_t{INT32_MAX} * INT32_MAX);
  EXPECT_EQ(address(-1), base - INT32_MAX);
}
#endif

// A contiguous block of rows for each thread, in the order of the threads, of nearly equal size.
TEST_F(Rows, eachThreadTakesOneBlock) {
  omp_set_dynamic(0);
  for (const int height : {10, 100, 101, 103}) {
    for (const int threads : {1, 2, 4, 7}) {
      threads_omp_of_n_mox = threads;
      std::vector<int> byWhom(height, -1), count(threads, 0);
      mox::forEachRow({8193, height}, [&](int y) { byWhom[y] = omp_get_thread_num(); });
      for (const int thread : byWhom) {
        ASSERT_GE(thread, 0);
        ASSERT_LT(thread, threads);
        count[thread]++;
      }
      EXPECT_TRUE(std::is_sorted(byWhom.begin(), byWhom.end())) << height << " rows, " << threads << " threads";
      const auto [fewest, most] = std::minmax_element(count.begin(), count.end());
      EXPECT_LE(*most - *fewest, 1) << height << " rows, " << threads << " threads";
    }
  }
}

TEST_F(Rows, smallRegionsAreDoneInOrderOutsideAnyParallelRegion) {
  threads_omp_of_n_mox = 4;
  for (const MoxRoiSize roi : {MoxRoiSize{8192, 1}, {1, 8192}, {64, 128}, {1, 1}}) {
    std::vector<int> rows;
    mox::forEachRow(roi, [&](int y) {
      EXPECT_FALSE(omp_in_parallel());
      rows.push_back(y);
    });
    ASSERT_EQ(rows.size(), static_cast<size_t>(roi.height));
    EXPECT_TRUE(std::is_sorted(rows.begin(), rows.end()));
  }
}

}  // namespace
}  // namespace test
