// Rows of 16-bit values, packed words and quantisation tables at odd addresses: the results are the same as at even
// ones. (Reading them through misaligned pointers works on most processors; the undefined-behaviour sanitizer reports
// it.)
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "moxj.h"
#include "proof/random.h"
#include "support/targets.h"

namespace test {
namespace {

// Values at an odd address, or at an even one.
template <class T>
class Place {
 public:
  Place(const std::vector<T>& values, bool odd) : bytes_(values.size() * sizeof(T) + 1), odd_(odd) {
    std::memcpy(bytes_.data() + odd_, values.data(), values.size() * sizeof(T));
  }
  T* at() { return reinterpret_cast<T*>(bytes_.data() + odd_); }
  std::vector<T> values() const {
    std::vector<T> out(bytes_.size() / sizeof(T));
    std::memcpy(out.data(), bytes_.data() + odd_, out.size() * sizeof(T));
    return out;
  }

 private:
  std::vector<Mox8u> bytes_;
  bool odd_;
};

template <class T>
std::vector<T> anyValues(size_t count, uint64_t seed) {
  Random random(seed);
  std::vector<T> values(count);
  fill(random, Filling::any, values.data(), count);
  return values;
}

// Runs body(odd) for each target at odd and at even addresses; what it returns must be the same.
template <class Body>
void sameAtOddAddresses(const Body& body) {
  forEachTarget([&](const mox::Target& target) { EXPECT_EQ(body(true), body(false)) << target.name; });
}

constexpr MoxRoiSize kRow = {69, 1};  // vectors, groups and a tail
constexpr size_t kWidth = 69;

TEST(OddAddresses, levelShift) {
  sameAtOddAddresses([](bool odd) {
    const std::vector<Mox8u> samples = anyValues<Mox8u>(kWidth, 1);
    Place<Mox16s> values(std::vector<Mox16s>(kWidth), odd);
    EXPECT_EQ(moxiSub128_JPEG_8u16s_C1R(samples.data(), 69, values.at(), 138, kRow), moxStatusOk);
    return values.values();
  });
  sameAtOddAddresses([](bool odd) {
    Place<Mox16s> values(anyValues<Mox16s>(kWidth, 2), odd);
    std::vector<Mox8u> samples(kWidth);
    EXPECT_EQ(moxiAdd128_JPEG_16s8u_C1R(values.at(), 138, samples.data(), 69, kRow), moxStatusOk);
    return samples;
  });
}

TEST(OddAddresses, packedWords) {
  for (const auto convert : {moxiRGB565ToYCbCr_JPEG_16u8u_C3P3R, moxiBGR555ToYCbCr_JPEG_16u8u_C3P3R}) {
    sameAtOddAddresses([=](bool odd) {
      Place<Mox16u> words(anyValues<Mox16u>(kWidth, 3), odd);
      std::vector<Mox8u> planes(3 * kWidth);
      Mox8u* const dst[] = {planes.data(), planes.data() + kWidth, planes.data() + 2 * kWidth};
      EXPECT_EQ(convert(words.at(), 138, dst, 69, kRow), moxStatusOk);
      return planes;
    });
  }
  for (const auto convert : {moxiYCbCrToRGB565_JPEG_8u16u_P3C3R, moxiYCbCrToBGR555_JPEG_8u16u_P3C3R}) {
    sameAtOddAddresses([=](bool odd) {
      const std::vector<Mox8u> planes = anyValues<Mox8u>(3 * kWidth, 4);
      const Mox8u* const src[] = {planes.data(), planes.data() + kWidth, planes.data() + 2 * kWidth};
      Place<Mox16u> words(std::vector<Mox16u>(kWidth), odd);
      EXPECT_EQ(convert(src, 69, words.at(), 138, kRow), moxStatusOk);
      return words.values();
    });
  }
}

TEST(OddAddresses, packedWordsOfAnMcu) {
  sameAtOddAddresses([](bool odd) {
    Place<Mox16u> words(anyValues<Mox16u>(16 * 16, 5), odd);
    std::vector<Mox16s> blocks(6 * 64);
    Mox16s* const dst[] = {blocks.data(), blocks.data() + 4 * 64, blocks.data() + 5 * 64};
    EXPECT_EQ(moxiBGR565ToYCbCr411LS_MCU_16u16s_C3P3R(words.at(), 32, dst), moxStatusOk);
    return blocks;
  });
  sameAtOddAddresses([](bool odd) {
    const std::vector<Mox16s> blocks = anyValues<Mox16s>(6 * 64, 6);
    const Mox16s* const src[] = {blocks.data(), blocks.data() + 4 * 64, blocks.data() + 5 * 64};
    Place<Mox16u> words(std::vector<Mox16u>(16 * 16), odd);
    EXPECT_EQ(moxiYCbCr411ToBGR565LS_MCU_16s16u_P3C3R(src, words.at(), 32), moxStatusOk);
    return words.values();
  });
}

TEST(OddAddresses, quantisationTables) {
  sameAtOddAddresses([](bool odd) {
    const std::vector<Mox8u> raw = anyValues<Mox8u>(64, 7);
    Place<Mox16u> forward(std::vector<Mox16u>(64), odd), inverse(std::vector<Mox16u>(64), odd);
    EXPECT_EQ(moxiQuantFwdTableInit_JPEG_8u16u(raw.data(), forward.at()), moxStatusOk);
    EXPECT_EQ(moxiQuantInvTableInit_JPEG_8u16u(raw.data(), inverse.at()), moxStatusOk);
    return std::pair(forward.values(), inverse.values());
  });
  for (const auto quantise : {moxiQuantFwd8x8_JPEG_16s_C1I, moxiQuantInv8x8_JPEG_16s_C1I,
                              moxiDCTQuantFwd8x8_JPEG_16s_C1I, moxiDCTQuantInv8x8_JPEG_16s_C1I}) {
    sameAtOddAddresses([=](bool odd) {
      Place<Mox16u> table(anyValues<Mox16u>(64, 8), odd);
      std::vector<Mox16s> block = anyValues<Mox16s>(64, 9);
      EXPECT_EQ(quantise(block.data(), table.at()), moxStatusOk);
      return block;
    });
  }
}

}  // namespace
}  // namespace test
