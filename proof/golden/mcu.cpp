#include "moxj.h"
#include "proof/golden.h"

namespace test {
namespace {

// Every MCU fits 16 x 16 pixels of four bytes and four blocks of each component.
constexpr int kSamples = 4 * 16 * 16 + 100, kStep = 16 * 4 + 2, kValues = 4 * 64;

template <class Sample>
void converted(MoxStatus (*function)(const Sample*, int32_t, Mox16s* const*), Digest& digest, Random& random) {
  for (int n = 0; n < 12; n++) {
    const auto pixels = seeded<Sample>(random, kSamples);
    std::vector<Mox16s> blocks[4];
    Mox16s* planes[4];
    for (int i = 0; i < 4; i++) planes[i] = (blocks[i] = seeded<Mox16s>(random, kValues)).data();
    digest.value(function(pixels.data(), kStep, planes));
    for (const auto& block : blocks) digest.values(block);
  }
}

// Values of the size that the inverse transform gives, and any.
template <class Sample>
void converted(MoxStatus (*function)(const Mox16s* const*, Sample*, int32_t), Digest& digest, Random& random) {
  for (int n = 0; n < 12; n++) {
    std::vector<Mox16s> blocks[4];
    const Mox16s* planes[4];
    for (int i = 0; i < 4; i++) {
      blocks[i] = seeded<Mox16s>(random, kValues);
      if (n % 3)
        for (Mox16s& v : blocks[i]) v = static_cast<Mox16s>(v >> (n % 3 == 1 ? 8 : 6));
      planes[i] = blocks[i].data();
    }
    auto pixels = seeded<Sample>(random, kSamples);
    digest.value(function(planes, pixels.data(), kStep));
    digest.values(pixels);
  }
}

#define GOLDEN(function)                                                                     \
  {                                                                                          \
#function, [](Digest & digest, Random & random) { converted(function, digest, random); } \
  }

const GoldenCase kCases[] = {
    GOLDEN(moxiBGR555ToYCbCr411LS_MCU_16u16s_C3P3R), GOLDEN(moxiBGR555ToYCbCr422LS_MCU_16u16s_C3P3R),
    GOLDEN(moxiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R), GOLDEN(moxiBGR565ToYCbCr411LS_MCU_16u16s_C3P3R),
    GOLDEN(moxiBGR565ToYCbCr422LS_MCU_16u16s_C3P3R), GOLDEN(moxiBGR565ToYCbCr444LS_MCU_16u16s_C3P3R),
    GOLDEN(moxiBGRToYCbCr411LS_MCU_8u16s_C3P3R),     GOLDEN(moxiBGRToYCbCr422LS_MCU_8u16s_C3P3R),
    GOLDEN(moxiBGRToYCbCr444LS_MCU_8u16s_C3P3R),     GOLDEN(moxiCMYKToYCCK411LS_MCU_8u16s_C4P4R),
    GOLDEN(moxiCMYKToYCCK422LS_MCU_8u16s_C4P4R),     GOLDEN(moxiCMYKToYCCK444LS_MCU_8u16s_C4P4R),
    GOLDEN(moxiJoin422LS_MCU_16s8u_P3C2R),           GOLDEN(moxiRGBToYCbCr411LS_MCU_8u16s_C3P3R),
    GOLDEN(moxiRGBToYCbCr422LS_MCU_8u16s_C3P3R),     GOLDEN(moxiRGBToYCbCr444LS_MCU_8u16s_C3P3R),
    GOLDEN(moxiSampleDown411LS_MCU_8u16s_C3P3R),     GOLDEN(moxiSampleDown422LS_MCU_8u16s_C3P3R),
    GOLDEN(moxiSampleDown444LS_MCU_8u16s_C3P3R),     GOLDEN(moxiSampleUp411LS_MCU_16s8u_P3C3R),
    GOLDEN(moxiSampleUp422LS_MCU_16s8u_P3C3R),       GOLDEN(moxiSampleUp444LS_MCU_16s8u_P3C3R),
    GOLDEN(moxiSplit422LS_MCU_8u16s_C2P3R),          GOLDEN(moxiYCCK411ToCMYKLS_MCU_16s8u_P4C4R),
    GOLDEN(moxiYCCK422ToCMYKLS_MCU_16s8u_P4C4R),     GOLDEN(moxiYCCK444ToCMYKLS_MCU_16s8u_P4C4R),
    GOLDEN(moxiYCbCr411ToBGR555LS_MCU_16s16u_P3C3R), GOLDEN(moxiYCbCr411ToBGR565LS_MCU_16s16u_P3C3R),
    GOLDEN(moxiYCbCr411ToBGRLS_MCU_16s8u_P3C3R),     GOLDEN(moxiYCbCr411ToRGBLS_MCU_16s8u_P3C3R),
    GOLDEN(moxiYCbCr422ToBGR555LS_MCU_16s16u_P3C3R), GOLDEN(moxiYCbCr422ToBGR565LS_MCU_16s16u_P3C3R),
    GOLDEN(moxiYCbCr422ToBGRLS_MCU_16s8u_P3C3R),     GOLDEN(moxiYCbCr422ToRGBLS_MCU_16s8u_P3C3R),
    GOLDEN(moxiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R), GOLDEN(moxiYCbCr444ToBGR565LS_MCU_16s16u_P3C3R),
    GOLDEN(moxiYCbCr444ToBGRLS_MCU_16s8u_P3C3R),     GOLDEN(moxiYCbCr444ToRGBLS_MCU_16s8u_P3C3R),
};

#undef GOLDEN

}  // namespace

GoldenCases mcuGolden() { return kCases; }

}  // namespace test
