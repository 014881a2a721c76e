#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "moxcore.h"
#include "moxj.h"
#include "proof/random.h"
#include "support/checks.h"
#include "support/guarded.h"
#include "support/targets.h"

namespace test {
namespace {

template <class Src, class Dst, auto Function>
void checksInOrder(const char* name) {
  Src src[6] = {};
  Dst dst[6] = {1, 2, 3, 4, 5, 6};
  checkOrder(name, Function, src, 3 * static_cast<int>(sizeof(Src)), dst, 3 * static_cast<int>(sizeof(Dst)),
             MoxRoiSize{3, 2})
      .template breaks<0>(nullptr, moxStatusNullPointer)
      .template breaksEach<1>({0, -1, INT32_MIN}, moxStatusBadStep)
      .template breaks<2>(nullptr, moxStatusNullPointer)
      .template breaksEach<3>({0, -1, INT32_MIN}, moxStatusBadStep)
      .template breaksEach<4>({MoxRoiSize{0, 2}, MoxRoiSize{3, 0}, MoxRoiSize{-1, -1}}, moxStatusBadSize)
      .untouched(dst, sizeof dst)
      .run();
}

TEST(Shift, checksInOrder) {
  checksInOrder<Mox8u, Mox16s, moxiSub128_JPEG_8u16s_C1R>("moxiSub128_JPEG_8u16s_C1R");
  checksInOrder<Mox16s, Mox8u, moxiAdd128_JPEG_16s8u_C1R>("moxiAdd128_JPEG_16s8u_C1R");
}

TEST(Shift, everySample) {
  forEachTarget([](const mox::Target& target) {
    std::vector<Mox8u> samples(256);
    std::vector<Mox16s> values(256);
    for (int i = 0; i < 256; i++) samples[i] = static_cast<Mox8u>(i);
    ASSERT_EQ(moxiSub128_JPEG_8u16s_C1R(samples.data(), 256, values.data(), 512, {256, 1}), moxStatusOk);
    for (int i = 0; i < 256; i++) ASSERT_EQ(values[i], i - 128) << target.name;
  });
}

TEST(Shift, everyValue) {
  forEachTarget([](const mox::Target& target) {
    std::vector<Mox16s> values(65536);
    std::vector<Mox8u> samples(65536);
    for (int i = 0; i < 65536; i++) values[i] = static_cast<Mox16s>(i - 32768);
    ASSERT_EQ(moxiAdd128_JPEG_16s8u_C1R(values.data(), 131072, samples.data(), 65536, {65536, 1}), moxStatusOk);
    for (int i = 0; i < 65536; i++) {
      const int expected = std::clamp(i - 32768 + 128, 0, 255);
      ASSERT_EQ(samples[i], expected) << target.name << ", value " << i - 32768;
    }
  });
}

// Rows may overlap or lie apart, by any step; nothing outside the region is written.
TEST(Shift, stepsAreBytes) {
  const Mox8u src[2][5] = {{0, 1, 2, 3, 4}, {250, 251, 252, 253, 254}};
  Mox16s dst[2][4] = {{9, 9, 9, 9}, {9, 9, 9, 9}};
  ASSERT_EQ(moxiSub128_JPEG_8u16s_C1R(src[0], 5, dst[0], 8, {3, 2}), moxStatusOk);
  const Mox16s expected[2][4] = {{-128, -127, -126, 9}, {122, 123, 124, 9}};
  EXPECT_EQ(std::memcmp(dst, expected, sizeof dst), 0);
}

Mox16s shifted(Mox8u sample) { return static_cast<Mox16s>(sample - 128); }
Mox8u shifted(Mox16s value) { return static_cast<Mox8u>(std::clamp(value + 128, 0, 255)); }

// Every size of row, source and destination at the end or the start of their pages.
template <class Src, class Dst, auto Function>
void everyWidthBesideGuardPages() {
  forEachTarget([](const mox::Target& target) {
    Random random(1);
    for (int width = 1; width <= 200; width++) {
      for (const bool atEnd : {true, false}) {
        GuardedMemory srcMemory(2 * width * sizeof(Src)), dstMemory(2 * width * sizeof(Dst));
        Src* const src = atEnd ? srcMemory.atEnd<Src>(2 * width) : srcMemory.atStart<Src>();
        Dst* const dst = atEnd ? dstMemory.atEnd<Dst>(2 * width) : dstMemory.atStart<Dst>();
        fill(random, Filling::extreme, src, 2 * width);
        ASSERT_EQ(Function(src, width * sizeof(Src), dst, width * sizeof(Dst), {width, 2}), moxStatusOk);
        for (int i = 0; i < 2 * width; i++) ASSERT_EQ(dst[i], shifted(src[i])) << target.name << ", width " << width;
      }
    }
  });
}

TEST(Shift, everyWidthBesideGuardPages) {
  everyWidthBesideGuardPages<Mox8u, Mox16s, moxiSub128_JPEG_8u16s_C1R>();
  everyWidthBesideGuardPages<Mox16s, Mox8u, moxiAdd128_JPEG_16s8u_C1R>();
}

template <class Src, class Dst, auto Function>
void anyNumberOfThreadsGivesTheSame() {
  const int32_t before = threads_omp_of_n_mox;
  Random random(2);
  for (const MoxRoiSize roi : {MoxRoiSize{97, 101}, MoxRoiSize{8193, 1}, MoxRoiSize{1, 8200}}) {
    std::vector<Src> src(static_cast<size_t>(roi.width) * roi.height);
    std::vector<Dst> expected(src.size());
    fill(random, Filling::any, src.data(), src.size());
    for (size_t i = 0; i < src.size(); i++) expected[i] = shifted(src[i]);
    for (const int32_t threads : {1, 2, 3, 5, 16}) {
      threads_omp_of_n_mox = threads;
      std::vector<Dst> dst(src.size());
      ASSERT_EQ(Function(src.data(), roi.width * sizeof(Src), dst.data(), roi.width * sizeof(Dst), roi), moxStatusOk);
      ASSERT_EQ(dst, expected) << threads << " threads";
    }
  }
  threads_omp_of_n_mox = before;
}

TEST(Shift, anyNumberOfThreadsGivesTheSame) {
  anyNumberOfThreadsGivesTheSame<Mox8u, Mox16s, moxiSub128_JPEG_8u16s_C1R>();
  anyNumberOfThreadsGivesTheSame<Mox16s, Mox8u, moxiAdd128_JPEG_16s8u_C1R>();
}

}  // namespace
}  // namespace test
