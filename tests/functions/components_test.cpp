// Component transforms: check orders, exact values, round trips, in-place rows, threads' rows.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "moxj.h"
#include "proof/random.h"
#include "support/checks.h"
#include "support/targets.h"

namespace test {
namespace {

const std::initializer_list<MoxRoiSize> kBadSizes = {{0, 1}, {1, 0}, {-1, 1}, {1, INT32_MIN}};

template <class T>
void checksToPlanes(const char* name, MoxStatus (*function)(const T*, int32_t, T* const[3], int32_t, MoxRoiSize)) {
  const T src[3] = {};
  T y{}, u{}, v{};
  static T* good[3];
  static T* bad[3][3];
  T* const planes[3] = {&y, &u, &v};
  std::copy(planes, planes + 3, good);
  for (int i = 0; i < 3; i++) {
    std::copy(planes, planes + 3, bad[i]);
    bad[i][i] = nullptr;
  }
  using Planes = T* const*;
  checkOrder(name, function, src, 12, Planes{good}, 4, MoxRoiSize{1, 1})
      .template breaks<0>(nullptr, moxStatusNullPointer)
      .template breaksEach<2>({Planes{nullptr}, Planes{bad[0]}, Planes{bad[1]}, Planes{bad[2]}}, moxStatusNullPointer)
      .template breaksEach<1>({0, -4}, moxStatusBadStep)
      .template breaksEach<3>({0, -4}, moxStatusBadStep)
      .template breaksEach<4>(kBadSizes, moxStatusBadSize)
      .untouched(&y, sizeof y)
      .run();
}

template <class T>
void checksToPixels(const char* name, MoxStatus (*function)(const T* const[3], int32_t, T*, int32_t, MoxRoiSize)) {
  T dst[3] = {};
  const T y{}, u{}, v{};
  static const T* good[3];
  static const T* bad[3][3];
  const T* const planes[3] = {&y, &u, &v};
  std::copy(planes, planes + 3, good);
  for (int i = 0; i < 3; i++) {
    std::copy(planes, planes + 3, bad[i]);
    bad[i][i] = nullptr;
  }
  using Planes = const T* const*;
  checkOrder(name, function, Planes{good}, 4, dst, 12, MoxRoiSize{1, 1})
      .template breaksEach<0>({Planes{nullptr}, Planes{bad[0]}, Planes{bad[1]}, Planes{bad[2]}}, moxStatusNullPointer)
      .template breaks<2>(nullptr, moxStatusNullPointer)
      .template breaksEach<1>({0, -4}, moxStatusBadStep)
      .template breaksEach<3>({0, -4}, moxStatusBadStep)
      .template breaksEach<4>(kBadSizes, moxStatusBadSize)
      .untouched(dst, sizeof dst)
      .run();
}

template <class T>
void checksInPlace(const char* name, MoxStatus (*function)(T* const[3], int32_t, MoxRoiSize)) {
  T y{}, u{}, v{};
  static T* good[3];
  static T* bad[3][3];
  T* const planes[3] = {&y, &u, &v};
  std::copy(planes, planes + 3, good);
  for (int i = 0; i < 3; i++) {
    std::copy(planes, planes + 3, bad[i]);
    bad[i][i] = nullptr;
  }
  using Planes = T* const*;
  checkOrder(name, function, Planes{good}, 4, MoxRoiSize{1, 1})
      .template breaksEach<0>({Planes{nullptr}, Planes{bad[0]}, Planes{bad[1]}, Planes{bad[2]}}, moxStatusNullPointer)
      .template breaksEach<1>({0, -4}, moxStatusBadStep)
      .template breaksEach<2>(kBadSizes, moxStatusBadSize)
      .untouched(&u, sizeof u)
      .run();
}

TEST(Components, checksInOrder) {
  checksToPlanes("moxiRCTFwd_JPEG2K_16s_C3P3R", moxiRCTFwd_JPEG2K_16s_C3P3R);
  checksToPlanes("moxiRCTFwd_JPEG2K_32s_C3P3R", moxiRCTFwd_JPEG2K_32s_C3P3R);
  checksToPlanes("moxiICTFwd_JPEG2K_32f_C3P3R", moxiICTFwd_JPEG2K_32f_C3P3R);
  checksToPixels("moxiRCTInv_JPEG2K_16s_P3C3R", moxiRCTInv_JPEG2K_16s_P3C3R);
  checksToPixels("moxiRCTInv_JPEG2K_32s_P3C3R", moxiRCTInv_JPEG2K_32s_P3C3R);
  checksToPixels("moxiICTInv_JPEG2K_32f_P3C3R", moxiICTInv_JPEG2K_32f_P3C3R);
  checksInPlace("moxiRCTFwd_JPEG2K_16s_P3IR", moxiRCTFwd_JPEG2K_16s_P3IR);
  checksInPlace("moxiRCTFwd_JPEG2K_32s_P3IR", moxiRCTFwd_JPEG2K_32s_P3IR);
  checksInPlace("moxiRCTInv_JPEG2K_16s_P3IR", moxiRCTInv_JPEG2K_16s_P3IR);
  checksInPlace("moxiRCTInv_JPEG2K_32s_P3IR", moxiRCTInv_JPEG2K_32s_P3IR);
  checksInPlace("moxiICTFwd_JPEG2K_16s_P3IR", moxiICTFwd_JPEG2K_16s_P3IR);
  checksInPlace("moxiICTFwd_JPEG2K_32s_P3IR", moxiICTFwd_JPEG2K_32s_P3IR);
  checksInPlace("moxiICTFwd_JPEG2K_32f_P3IR", moxiICTFwd_JPEG2K_32f_P3IR);
  checksInPlace("moxiICTInv_JPEG2K_16s_P3IR", moxiICTInv_JPEG2K_16s_P3IR);
  checksInPlace("moxiICTInv_JPEG2K_32s_P3IR", moxiICTInv_JPEG2K_32s_P3IR);
  checksInPlace("moxiICTInv_JPEG2K_32f_P3IR", moxiICTInv_JPEG2K_32f_P3IR);
}

// Planes of one image, rows `step` elements apart.
template <class T>
struct Image {
  static constexpr int kWidth = 129, kHeight = 64;
  static constexpr MoxRoiSize kRoi = {kWidth, kHeight};
  std::vector<T> samples[3];
  T* planes[3];

  template <class Make>
  explicit Image(Make make) {
    for (int c = 0; c < 3; c++) {
      samples[c].resize(kWidth * kHeight);
      for (T& sample : samples[c]) sample = make();
      planes[c] = samples[c].data();
    }
  }
  bool operator==(const Image& other) const {
    return samples[0] == other.samples[0] && samples[1] == other.samples[1] && samples[2] == other.samples[2];
  }
  static constexpr int32_t kStep = kWidth * sizeof(T);
};

template <class T>
void rctRoundTrips(int range, auto forward, auto inverse) {
  Random random(7);
  const Image<T> original(
      [&] { return static_cast<T>(range ? random.between(-range, range) : random.any<int32_t>()); });
  forEachTarget([&](const mox::Target& target) {
    Image<T> image = original;
    for (int c = 0; c < 3; c++) image.planes[c] = image.samples[c].data();
    ASSERT_EQ(forward(image.planes, image.kStep, image.kRoi), moxStatusOk);
    EXPECT_FALSE(image == original);
    ASSERT_EQ(inverse(image.planes, image.kStep, image.kRoi), moxStatusOk);
    EXPECT_TRUE(image == original) << target.name;
  });
}

TEST(Components, rctRestoresWhatFits16Bits) {
  rctRoundTrips<Mox16s>(16383, moxiRCTFwd_JPEG2K_16s_P3IR, moxiRCTInv_JPEG2K_16s_P3IR);
}

TEST(Components, rctRestores32Bits) {
  rctRoundTrips<Mox32s>(1 << 29, moxiRCTFwd_JPEG2K_32s_P3IR, moxiRCTInv_JPEG2K_32s_P3IR);
}

TEST(Components, greyHasNoChroma) {
  forEachTarget([](const mox::Target& target) {
    for (int v = -200; v <= 200; v++) {
      Mox32s rct[3] = {v, v, v}, ict[3] = {v, v, v};
      Mox32s* const rctPlanes[3] = {rct, rct + 1, rct + 2};
      Mox32s* const ictPlanes[3] = {ict, ict + 1, ict + 2};
      ASSERT_EQ(moxiRCTFwd_JPEG2K_32s_P3IR(rctPlanes, 4, {1, 1}), moxStatusOk);
      ASSERT_EQ(moxiICTFwd_JPEG2K_32s_P3IR(ictPlanes, 4, {1, 1}), moxStatusOk);
      for (const Mox32s* yuv : {rct, ict}) {
        EXPECT_EQ(yuv[0], v) << target.name;
        EXPECT_EQ(yuv[1], 0) << target.name;
        EXPECT_EQ(yuv[2], 0) << target.name;
      }
    }
  });
}

// The differences of 16-bit extremes do not fit: the low bits are kept, nothing saturates.
TEST(Components, rct16sKeepsTheLowBits) {
  Mox16s rgb[3] = {-32768, 32767, -32768};
  Mox16s* const planes[3] = {rgb, rgb + 1, rgb + 2};
  ASSERT_EQ(moxiRCTFwd_JPEG2K_16s_P3IR(planes, 2, {1, 1}), moxStatusOk);
  EXPECT_EQ(rgb[0], (-32768 + 2 * 32767 - 32768) >> 2);
  EXPECT_EQ(rgb[1], 1);  // -65535
  EXPECT_EQ(rgb[2], 1);
}

TEST(Components, ictRoundsHalfUp) {
  Mox16s rgb[3] = {1, 0, -1};
  Mox16s* const planes[3] = {rgb, rgb + 1, rgb + 2};
  ASSERT_EQ(moxiICTFwd_JPEG2K_16s_P3IR(planes, 2, {1, 1}), moxStatusOk);
  EXPECT_EQ(rgb[0], (4899 - 1868 + 8192) >> 14);
  EXPECT_EQ(rgb[1], (-2765 - 8192 + 8192) >> 14);
  EXPECT_EQ(rgb[2], (8192 + 1332 + 8192) >> 14);
}

// Interleaved and planar forms agree, at addresses of any alignment.
template <class T>
void formsAgree(auto toPlanes, auto toPixels, auto forward, auto inverse, auto make) {
  constexpr int kWidth = 37, kHeight = 5;
  Random random(3);
  std::vector<T> pixels(3 * kWidth * kHeight);
  for (T& sample : pixels) sample = make(random);
  std::vector<T> expected[3], actual[3];
  T* expectedPlanes[3];
  for (int c = 0; c < 3; c++) {
    for (int i = 0; i < kWidth * kHeight; i++) expected[c].push_back(pixels[3 * i + c]);
    actual[c].resize(kWidth * kHeight + 1);
    expectedPlanes[c] = expected[c].data();
  }
  forward(expectedPlanes, kWidth * sizeof(T), MoxRoiSize{kWidth, kHeight});
  forEachTarget([&](const mox::Target& target) {
    for (int offset = 0; offset < static_cast<int>(sizeof(T)); offset++) {
      std::vector<uint8_t> moved(pixels.size() * sizeof(T) + 8);
      std::memcpy(moved.data() + offset, pixels.data(), pixels.size() * sizeof(T));
      const auto atOffset = [offset](void* p) { return reinterpret_cast<T*>(static_cast<uint8_t*>(p) + offset); };
      T* const planes[3] = {atOffset(actual[0].data()), atOffset(actual[1].data()), atOffset(actual[2].data())};
      ASSERT_EQ(toPlanes(atOffset(moved.data()), 3 * kWidth * sizeof(T), planes, kWidth * sizeof(T),
                         MoxRoiSize{kWidth, kHeight}),
                moxStatusOk);
      for (int c = 0; c < 3; c++)
        ASSERT_EQ(std::memcmp(planes[c], expected[c].data(), expected[c].size() * sizeof(T)), 0) << target.name;
      const T* const sources[3] = {planes[0], planes[1], planes[2]};
      std::vector<uint8_t> back(moved.size());
      ASSERT_EQ(toPixels(sources, kWidth * sizeof(T), atOffset(back.data()), 3 * kWidth * sizeof(T),
                         MoxRoiSize{kWidth, kHeight}),
                moxStatusOk);
      std::vector<T> restored[3] = {expected[0], expected[1], expected[2]};
      T* const restoredPlanes[3] = {restored[0].data(), restored[1].data(), restored[2].data()};
      inverse(restoredPlanes, kWidth * sizeof(T), MoxRoiSize{kWidth, kHeight});
      for (int i = 0; i < 3 * kWidth * kHeight; i++) {
        T sample;
        std::memcpy(&sample, back.data() + offset + i * sizeof(T), sizeof sample);
        ASSERT_EQ(sample, restored[i % 3][i / 3]) << target.name;
      }
    }
  });
}

TEST(Components, formsAgreeAtAnyAlignment) {
  const auto anyInteger = [](Random& random) { return static_cast<int32_t>(random.any<int32_t>()); };
  formsAgree<Mox16s>(moxiRCTFwd_JPEG2K_16s_C3P3R, moxiRCTInv_JPEG2K_16s_P3C3R, moxiRCTFwd_JPEG2K_16s_P3IR,
                     moxiRCTInv_JPEG2K_16s_P3IR, anyInteger);
  formsAgree<Mox32s>(moxiRCTFwd_JPEG2K_32s_C3P3R, moxiRCTInv_JPEG2K_32s_P3C3R, moxiRCTFwd_JPEG2K_32s_P3IR,
                     moxiRCTInv_JPEG2K_32s_P3IR, anyInteger);
  formsAgree<Mox32f>(moxiICTFwd_JPEG2K_32f_C3P3R, moxiICTInv_JPEG2K_32f_P3C3R, moxiICTFwd_JPEG2K_32f_P3IR,
                     moxiICTInv_JPEG2K_32f_P3IR,
                     [](Random& random) { return static_cast<float>(random.between(-4096, 4096)); });
}

TEST(Components, ict32fInvertsItselfClosely) {
  Random random(5);
  const Image<Mox32f> original([&] { return static_cast<float>(random.between(-128, 127)); });
  Image<Mox32f> image = original;
  for (int c = 0; c < 3; c++) image.planes[c] = image.samples[c].data();
  ASSERT_EQ(moxiICTFwd_JPEG2K_32f_P3IR(image.planes, image.kStep, image.kRoi), moxStatusOk);
  ASSERT_EQ(moxiICTInv_JPEG2K_32f_P3IR(image.planes, image.kStep, image.kRoi), moxStatusOk);
  for (int c = 0; c < 3; c++)
    for (size_t i = 0; i < original.samples[c].size(); i++)
      ASSERT_NEAR(image.samples[c][i], original.samples[c][i], 0.02);
}

}  // namespace
}  // namespace test
