// Wavelets: the order of the argument checks, and the sizes of the work buffers.
#include <gtest/gtest.h>

#include "moxj.h"
#include "support/checks.h"

namespace test {
namespace {

const std::initializer_list<MoxRoiSize> kBadSizes = {{0, 1}, {1, 0}, {-1, 1}, {1, INT32_MIN}};
const MoxRect kGood = {0, 0, 1, 1};
const MoxRect kBadRects[] = {{0, 0, 0, 1}, {0, 0, 1, 0}, {0, 0, -1, 1}, {0, 0, 1, INT32_MIN}};

void checksSize(const char* name, MoxStatus (*function)(const MoxRect*, int32_t*)) {
  int32_t size = 77;
  checkOrder(name, function, &kGood, &size)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .untouched(&size, sizeof size)
      .run();
}

// Four planes and their steps, good, and with each of them broken.
template <class T>
struct Four {
  T* good[4];
  T* bad[4][4];
  int32_t steps[4] = {64, 64, 64, 64};
  int32_t badSteps[4][4];
  explicit Four(T* plane) {
    for (int i = 0; i < 4; i++) {
      good[i] = plane;
      for (int j = 0; j < 4; j++) {
        bad[i][j] = i == j ? nullptr : plane;
        badSteps[i][j] = i == j ? -i : 64;
      }
    }
  }
};

template <class T>
void checksForward(const char* name,
                   MoxStatus (*function)(const T*, int32_t, const MoxRect*, T* const[4], const int32_t[4], Mox8u*)) {
  T src[64] = {}, dst[64] = {};
  Mox8u buffer[1024];
  const Four<T> four(dst);
  using Planes = T* const*;
  using Steps = const int32_t*;
  checkOrder(name, function, src, 64, &kGood, Planes{four.good}, Steps{four.steps}, buffer)
      .template breaks<0>(nullptr, moxStatusNullPointer)
      .template breaks<3>(nullptr, moxStatusNullPointer)
      .template breaks<4>(nullptr, moxStatusNullPointer)
      .template breaks<2>(nullptr, moxStatusNullPointer)
      .template breaks<5>(nullptr, moxStatusNullPointer)
      .template breaksEach<1>({0, -4}, moxStatusBadStep)
      .template breaksEach<3>({Planes{four.bad[0]}, Planes{four.bad[1]}, Planes{four.bad[2]}, Planes{four.bad[3]}},
                              moxStatusNullPointer)
      .template breaksEach<4>(
          {Steps{four.badSteps[0]}, Steps{four.badSteps[1]}, Steps{four.badSteps[2]}, Steps{four.badSteps[3]}},
          moxStatusBadStep)
      .template breaksEach<2>({&kBadRects[0], &kBadRects[1], &kBadRects[2], &kBadRects[3]}, moxStatusBadSize)
      .untouched(dst, sizeof dst)
      .run();
}

template <class T>
void checksInverse(const char* name,
                   MoxStatus (*function)(const T* const[4], const int32_t[4], T*, int32_t, const MoxRect*, Mox8u*)) {
  T src[64] = {}, dst[64] = {};
  Mox8u buffer[1024];
  const Four<const T> four(src);
  using Planes = const T* const*;
  using Steps = const int32_t*;
  checkOrder(name, function, Planes{four.good}, Steps{four.steps}, dst, 64, &kGood, buffer)
      .template breaks<0>(nullptr, moxStatusNullPointer)
      .template breaks<2>(nullptr, moxStatusNullPointer)
      .template breaks<1>(nullptr, moxStatusNullPointer)
      .template breaks<4>(nullptr, moxStatusNullPointer)
      .template breaks<5>(nullptr, moxStatusNullPointer)
      .template breaksEach<3>({0, -4}, moxStatusBadStep)
      .template breaksEach<0>({Planes{four.bad[0]}, Planes{four.bad[1]}, Planes{four.bad[2]}, Planes{four.bad[3]}},
                              moxStatusNullPointer)
      .template breaksEach<1>(
          {Steps{four.badSteps[0]}, Steps{four.badSteps[1]}, Steps{four.badSteps[2]}, Steps{four.badSteps[3]}},
          moxStatusBadStep)
      .template breaksEach<4>({&kBadRects[0], &kBadRects[1], &kBadRects[2], &kBadRects[3]}, moxStatusBadSize)
      .untouched(dst, sizeof dst)
      .run();
}

template <class T>
void checksInPlace(const char* name, MoxStatus (*function)(T*, int32_t, const MoxRect*, Mox8u*)) {
  T plane[64] = {};
  Mox8u buffer[1024];
  checkOrder(name, function, plane, 64, &kGood, buffer)
      .template breaks<0>(nullptr, moxStatusNullPointer)
      .template breaksEach<1>({0, -4}, moxStatusBadStep)
      .template breaks<2>(nullptr, moxStatusNullPointer)
      .template breaks<3>(nullptr, moxStatusNullPointer)
      .untouched(plane, sizeof plane)
      .run();
}

template <class T>
void checksForwardRows(const char* name,
                       MoxStatus (*function)(const T*, int32_t, T*, int32_t, T*, int32_t, MoxRoiSize, uint32_t)) {
  T src[64] = {}, low[8] = {}, high[8] = {};
  checkOrder(name, function, src + 32, 4, low, 4, high, 4, MoxRoiSize{1, 1}, 0u)
      .template breaks<0>(nullptr, moxStatusNullPointer)
      .template breaks<2>(nullptr, moxStatusNullPointer)
      .template breaks<4>(nullptr, moxStatusNullPointer)
      .template breaksEach<1>({0, -4}, moxStatusBadStep)
      .template breaksEach<3>({0, -4}, moxStatusBadStep)
      .template breaksEach<5>({0, -4}, moxStatusBadStep)
      .template breaksEach<6>(kBadSizes, moxStatusBadSize)
      .untouched(low, sizeof low)
      .untouched(high, sizeof high)
      .run();
}

template <class T>
void checksInverseRows(const char* name,
                       MoxStatus (*function)(const T*, int32_t, const T*, int32_t, MoxRoiSize, T*, int32_t, uint32_t)) {
  T low[64] = {}, high[64] = {}, dst[16] = {};
  checkOrder(name, function, low + 32, 4, high + 32, 4, MoxRoiSize{1, 1}, dst, 4, 0u)
      .template breaks<0>(nullptr, moxStatusNullPointer)
      .template breaks<2>(nullptr, moxStatusNullPointer)
      .template breaks<5>(nullptr, moxStatusNullPointer)
      .template breaksEach<1>({0, -4}, moxStatusBadStep)
      .template breaksEach<3>({0, -4}, moxStatusBadStep)
      .template breaksEach<6>({0, -4}, moxStatusBadStep)
      .template breaksEach<4>(kBadSizes, moxStatusBadSize)
      .untouched(dst, sizeof dst)
      .run();
}

// Any number of rows, then the width.
template <class... Args, size_t... Row>
void checksLift(const char* name, MoxStatus (*function)(Args...), std::index_sequence<Row...>) {
  static Mox32f memory[sizeof...(Row)][4];
  CheckOrder<Args...> order(
      name, function,
      std::tuple<Args...>(reinterpret_cast<std::tuple_element_t<Row, std::tuple<Args...>>>(memory[Row])..., 4));
  (order.template breaks<Row>(nullptr, moxStatusNullPointer), ...);
  order.template breaksEach<sizeof...(Row)>({0, -1, INT32_MIN}, moxStatusBadSize)
      .untouched(memory, sizeof memory)
      .run();
}
template <class... Args>
void checksLift(const char* name, MoxStatus (*function)(Args...)) {
  checksLift(name, function, std::make_index_sequence<sizeof...(Args) - 1>());
}

#define MOX_NAMED(function) #function, function

TEST(Wavelet, planesCheckInOrder) {
  checksForward(MOX_NAMED(moxiWTFwd_B53_JPEG2K_16s_C1R));
  checksForward(MOX_NAMED(moxiWTFwd_B53_JPEG2K_32s_C1R));
  checksForward(MOX_NAMED(moxiWTFwd_D97_JPEG2K_16s_C1R));
  checksForward(MOX_NAMED(moxiWTFwd_D97_JPEG2K_32s_C1R));
  checksInverse(MOX_NAMED(moxiWTInv_B53_JPEG2K_16s_C1R));
  checksInverse(MOX_NAMED(moxiWTInv_B53_JPEG2K_32s_C1R));
  checksInverse(MOX_NAMED(moxiWTInv_D97_JPEG2K_16s_C1R));
  checksInverse(MOX_NAMED(moxiWTInv_D97_JPEG2K_32s_C1R));
  checksInPlace(MOX_NAMED(moxiWTFwd_B53_JPEG2K_16s_C1IR));
  checksInPlace(MOX_NAMED(moxiWTFwd_B53_JPEG2K_32s_C1IR));
  checksInPlace(MOX_NAMED(moxiWTFwd_D97_JPEG2K_16s_C1IR));
  checksInPlace(MOX_NAMED(moxiWTFwd_D97_JPEG2K_32s_C1IR));
  checksInPlace(MOX_NAMED(moxiWTInv_B53_JPEG2K_16s_C1IR));
  checksInPlace(MOX_NAMED(moxiWTInv_B53_JPEG2K_32s_C1IR));
  checksInPlace(MOX_NAMED(moxiWTInv_D97_JPEG2K_16s_C1IR));
  checksInPlace(MOX_NAMED(moxiWTInv_D97_JPEG2K_32s_C1IR));
}

TEST(Wavelet, rowsAndColumnsCheckInOrder) {
  checksForwardRows(MOX_NAMED(moxiWTFwdRow_B53_JPEG2K_16s_C1R));
  checksForwardRows(MOX_NAMED(moxiWTFwdRow_B53_JPEG2K_32s_C1R));
  checksForwardRows(MOX_NAMED(moxiWTFwdRow_D97_JPEG2K_16s_C1R));
  checksForwardRows(MOX_NAMED(moxiWTFwdRow_D97_JPEG2K_32s_C1R));
  checksForwardRows(MOX_NAMED(moxiWTFwdRow_D97_JPEG2K_32f_C1R));
  checksForwardRows(MOX_NAMED(moxiWTFwdCol_B53_JPEG2K_16s_C1R));
  checksForwardRows(MOX_NAMED(moxiWTFwdCol_B53_JPEG2K_32s_C1R));
  checksForwardRows(MOX_NAMED(moxiWTFwdCol_D97_JPEG2K_32f_C1R));
  checksInverseRows(MOX_NAMED(moxiWTInvRow_B53_JPEG2K_16s_C1R));
  checksInverseRows(MOX_NAMED(moxiWTInvRow_B53_JPEG2K_32s_C1R));
  checksInverseRows(MOX_NAMED(moxiWTInvRow_D97_JPEG2K_16s_C1R));
  checksInverseRows(MOX_NAMED(moxiWTInvRow_D97_JPEG2K_32s_C1R));
  checksInverseRows(MOX_NAMED(moxiWTInvRow_D97_JPEG2K_32f_C1R));
  checksInverseRows(MOX_NAMED(moxiWTInvCol_B53_JPEG2K_16s_C1R));
  checksInverseRows(MOX_NAMED(moxiWTInvCol_B53_JPEG2K_32s_C1R));
  checksInverseRows(MOX_NAMED(moxiWTInvCol_D97_JPEG2K_32f_C1R));
}

TEST(Wavelet, liftingStepsCheckInOrder) {
  checksLift(MOX_NAMED(moxiWTFwdColLift_B53_JPEG2K_16s_C1));
  checksLift(MOX_NAMED(moxiWTFwdColLift_B53_JPEG2K_32s_C1));
  checksLift(MOX_NAMED(moxiWTInvColLift_B53_JPEG2K_16s_C1));
  checksLift(MOX_NAMED(moxiWTInvColLift_B53_JPEG2K_32s_C1));
  checksLift(MOX_NAMED(moxiWTFwdColLift_D97_JPEG2K_16s_C1));
  checksLift(MOX_NAMED(moxiWTFwdColLift_D97_JPEG2K_32s_C1));
  checksLift(MOX_NAMED(moxiWTFwdColLift_D97_JPEG2K_32f_C1));
  checksLift(MOX_NAMED(moxiWTInvColLift_D97_JPEG2K_16s_C1));
  checksLift(MOX_NAMED(moxiWTInvColLift_D97_JPEG2K_32s_C1));
  checksLift(MOX_NAMED(moxiWTInvColLift_D97_JPEG2K_32f_C1));
}

int32_t size(MoxStatus (*function)(const MoxRect*, int32_t*), int32_t width, int32_t height) {
  const MoxRect roi = {1, 1, width, height};
  int32_t bytes = -1;
  EXPECT_EQ(function(&roi, &bytes), moxStatusOk);
  return bytes;
}

TEST(Wavelet, bufferSizes) {
  checksSize(MOX_NAMED(moxiWTGetBufSize_B53_JPEG2K_16s_C1IR));
  checksSize(MOX_NAMED(moxiWTGetBufSize_B53_JPEG2K_16s_C1R));
  checksSize(MOX_NAMED(moxiWTGetBufSize_B53_JPEG2K_32s_C1IR));
  checksSize(MOX_NAMED(moxiWTGetBufSize_B53_JPEG2K_32s_C1R));
  checksSize(MOX_NAMED(moxiWTGetBufSize_D97_JPEG2K_16s_C1IR));
  checksSize(MOX_NAMED(moxiWTGetBufSize_D97_JPEG2K_16s_C1R));
  checksSize(MOX_NAMED(moxiWTGetBufSize_D97_JPEG2K_32s_C1IR));
  checksSize(MOX_NAMED(moxiWTGetBufSize_D97_JPEG2K_32s_C1R));

  EXPECT_EQ(size(moxiWTGetBufSize_B53_JPEG2K_16s_C1IR, 2, 2), 0);
  EXPECT_EQ(size(moxiWTGetBufSize_B53_JPEG2K_16s_C1IR, 3, 1), 14);
  EXPECT_EQ(size(moxiWTGetBufSize_B53_JPEG2K_16s_C1IR, 1, 3), 14);
  EXPECT_EQ(size(moxiWTGetBufSize_B53_JPEG2K_32s_C1IR, 2, 2), 0);
  EXPECT_EQ(size(moxiWTGetBufSize_B53_JPEG2K_32s_C1IR, 5, 9), 4 * 9 + 16);
  EXPECT_EQ(size(moxiWTGetBufSize_D97_JPEG2K_16s_C1IR, 1, 1), 0);
  EXPECT_EQ(size(moxiWTGetBufSize_D97_JPEG2K_16s_C1IR, 2, 1), 20);
  EXPECT_EQ(size(moxiWTGetBufSize_D97_JPEG2K_32s_C1IR, 2, 7), 4 * 7 + 32);
  EXPECT_EQ(size(moxiWTGetBufSize_B53_JPEG2K_16s_C1R, 17, 5), 64 * 5 + 2 * 17 + 8);
  EXPECT_EQ(size(moxiWTGetBufSize_B53_JPEG2K_16s_C1R, 2, 2), 64);
  EXPECT_EQ(size(moxiWTGetBufSize_B53_JPEG2K_32s_C1R, 8, 5), 32 * 5 + 4 * 8 + 16);
  EXPECT_EQ(size(moxiWTGetBufSize_D97_JPEG2K_16s_C1R, 17, 5), 64 * 5 + 2 * 17 + 16);
  EXPECT_EQ(size(moxiWTGetBufSize_D97_JPEG2K_32s_C1R, 9, 5), 64 * 5 + 4 * 9 + 32);
  EXPECT_EQ(size(moxiWTGetBufSize_D97_JPEG2K_32s_C1R, 1, 1), 32);
  // Not tested, and compared as unsigned numbers: the negative one is the larger.
  EXPECT_EQ(size(moxiWTGetBufSize_B53_JPEG2K_16s_C1IR, 3, -100), 2 * -100 + 8);
  EXPECT_EQ(size(moxiWTGetBufSize_D97_JPEG2K_32s_C1IR, -100, 2), 4 * -100 + 32);
  EXPECT_EQ(size(moxiWTGetBufSize_B53_JPEG2K_32s_C1R, 0, 0), 0);
}

}  // namespace
}  // namespace test
