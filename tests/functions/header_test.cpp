// What the headers promise besides the arithmetic: macros, constants, and how calls fit together.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "functions/tier1_blocks.h"
#include "moxcore.h"
#include "moxj.h"

namespace test {
namespace {

// ---- Version

static_assert(MOXJ_VERSION == 10000 * MOXJ_VERSION_MAJOR + 100 * MOXJ_VERSION_MINOR + MOXJ_VERSION_PATCH);
static_assert(MOXJ_VERSION_MINOR < 100 && MOXJ_VERSION_PATCH < 100);

TEST(Header, versionString) {
  EXPECT_EQ(MOXJ_VERSION_STRING, std::to_string(MOXJ_VERSION_MAJOR) + "." + std::to_string(MOXJ_VERSION_MINOR) + "." +
                                     std::to_string(MOXJ_VERSION_PATCH));
}

// ---- Code-block styles

// Table A.19.
enum Style { kBypass = 0x01, kReset = 0x02, kTermAll = 0x04, kCausal = 0x08, kPredictable = 0x10, kSegSymbol = 0x20 };

TEST(Header, optionsOfStyleBytes) {
  for (int style = 0; style < 256; style++) {
    const int expected = (style & kBypass ? moxJ2KBypass : 0) | (style & kReset ? moxJ2KReset : 0) |
                         (style & kTermAll ? moxJ2KTermAll : 0) | (style & kCausal ? moxJ2KCausal : 0) |
                         (style & kPredictable ? moxJ2KCheckTermination : 0) |
                         (style & kSegSymbol ? moxJ2KSegSymbol : 0);
    EXPECT_EQ(MOXJ_J2K_OPTIONS(style), expected) << style;
    EXPECT_EQ(MOXJ_J2K_OPTIONS(static_cast<uint8_t>(style)), expected) << style;
    EXPECT_EQ(MOXJ_J2K_TERM_KIND(style), style & kPredictable ? moxJ2KTermPredictable : moxJ2KTermFlush) << style;
  }
}

// ---- Code-blocks

// A decoder has no sign for 0.
Block withoutNegativeZeros(Block block) {
  for (uint32_t& c : block.coefficients)
    if (c == 0x80000000) c = 0;
  return block;
}

// Which passes end a codeword segment, which of them may end in 0xFF, and that such a byte can go.
TEST(Header, segmentsOfPasses) {
  Random random(2000);
  EncodeState encoder(16, 16);
  int droppedBytes = 0;
  for (int i = 0; i < 1280; i++) {
    const int style = i % 64, options = MOXJ_J2K_OPTIONS(style), subband = random.below(4);
    const int width = random.between(1, 16), height = random.between(1, 16), planes = random.between(1, 20);
    const Block block = makeBlock(random, width, height, Content::noise, planes);
    const Encoded e = encoder.encode(block, subband, 31, MOXJ_J2K_TERM_KIND(style), options);
    if (e.numPasses == 0) {
      EXPECT_EQ(e.numSegments, style & kTermAll ? 0 : 1);
      continue;
    }
    std::vector<std::vector<uint8_t>> segments = e.segments();
    size_t segment = 0;
    int bytes = 0;
    for (int pass = 0; pass < e.numPasses; pass++) {
      const bool last = pass == e.numPasses - 1;
      if (!last && !(style & kTermAll) && !(style & kBypass && pass >= 9 && pass % 3 != 1)) continue;
      ASSERT_LT(segment, segments.size());
      std::vector<uint8_t>& s = segments[segment++];
      bytes += static_cast<int>(s.size());
      if (s.empty() || s.back() != 0xFF) continue;
      EXPECT_TRUE(style & kBypass && pass >= 10 && pass % 3 != 0) << "an MQ segment, style " << style;
      EXPECT_EQ(e.rates[pass], bytes - 1);
      s.pop_back();
      droppedBytes++;
    }
    ASSERT_EQ(segment, segments.size()) << "style " << style;
    const Decoded d =
        decode(emptyBlock(block.width, block.height), subband, e.numBitPlanes, e.numPasses, segments, options);
    ASSERT_EQ(d.status, moxStatusOk) << "style " << style;
    ASSERT_EQ(d.block.coefficients, withoutNegativeZeros(block).coefficients) << "style " << style;
  }
  EXPECT_GT(droppedBytes, 0) << "the case that this test is about";
}

// With one bit-plane more than there are, bit 0 holds the half step below the last one.
TEST(Header, halfStepBelowTheLastBitPlane) {
  Random random(2001);
  EncodeState encoder(32, 32);
  constexpr int kFraction = 5;
  for (const int style : {0, +kBypass, +kTermAll, kBypass | kTermAll | kPredictable}) {
    const Block block = makeBlock(random, 32, 32, Content::wavelet, 14);
    const Encoded e = encoder.encode(block, 1, 31 - kFraction, MOXJ_J2K_TERM_KIND(style), MOXJ_J2K_OPTIONS(style));
    const Decoded d = decode(emptyBlock(32, 32), 1, e.numBitPlanes - kFraction + 1, e.numPasses, e.segments(),
                             MOXJ_J2K_OPTIONS(style) | moxJ2KKeepMidpoint);
    ASSERT_EQ(d.status, moxStatusOk);
    for (size_t i = 0; i < block.coefficients.size(); i++) {
      const uint32_t c = block.coefficients[i], quantised = (c & 0x7FFFFFFF) >> kFraction;
      ASSERT_EQ(d.block.coefficients[i], quantised ? (c & 0x80000000) | quantised << 1 | 1 : 0);
    }
  }
}

// Where nothing is terminated before, only the cleanup pass of bit-plane 0 is checked.
TEST(Header, whichTerminationsAreChecked) {
  Random random(2002);
  EncodeState encoder(16, 16);
  int failures = 0;
  for (int i = 0; i < 200; i++) {
    const Block block = makeBlock(random, 16, 16, Content::noise, 6);
    const Encoded e = encoder.encode(block, 0, 31, moxJ2KTermShortest, 0);
    for (const int more : {0, 1}) {
      const Decoded d =
          decode(emptyBlock(16, 16), 0, e.numBitPlanes + more, e.numPasses, e.segments(), moxJ2KCheckTermination);
      if (more) {
        EXPECT_EQ(d.status, moxStatusOk);
      } else {
        failures += d.status == moxStatusDecodeFailed;
      }
    }
  }
  EXPECT_GT(failures, 0);  // many shortest ends pass for predictable ones
}

// ---- Threads

// After fork() a process has one thread, whatever OpenMP remembers: with a count of 1 it needs no others.
TEST(Header, oneThreadAfterFork) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "forks with threads";
#endif
  std::vector<Mox8u> samples(256 * 256, 200);
  std::vector<Mox16s> values(samples.size());
  const auto shift = [&] { return moxiSub128_JPEG_8u16s_C1R(samples.data(), 256, values.data(), 512, {256, 256}); };
  const int32_t before = moxGetNumThreads();
  moxSetNumThreads(2);
  ASSERT_EQ(shift(), moxStatusOk);
  const pid_t child = fork();
  ASSERT_NE(child, -1);
  if (child == 0) {
    alarm(60);
    moxSetNumThreads(1);
    values.assign(values.size(), 0);
    _exit(shift() == moxStatusOk && values.front() == 72 && values.back() == 72 ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  moxSetNumThreads(before);
}

// ---- Wavelets

// The region's first sample is where the pointer points, and only the lowest bits of x and y count.
TEST(Header, coordinatesOfRegionsAreParities) {
  Random random(2003);
  for (int i = 0; i < 100; i++) {
    const MoxRect near = {random.below(2), random.below(2), random.between(1, 20), random.between(1, 20)};
    const MoxRect far = {near.x + 2 * random.between(-1000, 1000), near.y + 2 * random.between(-1000, 1000), near.width,
                         near.height};
    std::vector<Mox32s> a(400), buffer(400);
    for (Mox32s& v : a) v = random.between(-1000, 1000);
    std::vector<Mox32s> b = a;
    Mox8u* const line = reinterpret_cast<Mox8u*>(buffer.data());
    ASSERT_EQ(moxiWTFwd_D97_JPEG2K_32s_C1IR(a.data(), 80, &near, line), moxStatusOk);
    ASSERT_EQ(moxiWTFwd_D97_JPEG2K_32s_C1IR(b.data(), 80, &far, line), moxStatusOk);
    EXPECT_EQ(a, b);
  }
}

// Sizes that do not fit 32 bits come out too small, or negative: the examples of the header.
TEST(Header, waveletBufferSizesWrap) {
  const struct {
    int32_t width, height, reported;
    int64_t needed;
  } regions[] = {{40001, 40001, 2106632756, 6401600052}, {46341, 23171, 565380, 4295532676}};
  for (const auto& r : regions) {
    const MoxRect region = {0, 0, r.width, r.height};
    int32_t size = 0;
    ASSERT_EQ(moxiWTGetBufSize_B53_JPEG2K_32s_C1R(&region, &size), moxStatusOk);
    EXPECT_EQ(size, r.reported);
    EXPECT_EQ((int64_t{4} * r.width + 31) / 32 * 32 * r.height + 4 * (r.width + 4), r.needed);
    EXPECT_EQ(static_cast<uint32_t>(r.needed), static_cast<uint32_t>(size));
  }
}

// Samples of 8 bits there and back over five levels: the error for a number of fraction bits.
TEST(Header, fractionBitsOfThe97) {
  constexpr int kSize = 128;
  const auto error = [](int fraction) {
    std::vector<Mox32s> samples(kSize * kSize), buffer(kSize + 8);
    Mox8u* const line = reinterpret_cast<Mox8u*>(buffer.data());
    Random random(2004);
    for (Mox32s& v : samples) v = random.between(-128, 127);
    std::vector<Mox32s> plane = samples;
    for (Mox32s& v : plane) v *= 1 << fraction;
    for (int level = 0; level < 5; level++) {
      const MoxRect region = {0, 0, kSize >> level, kSize >> level};
      EXPECT_EQ(moxiWTFwd_D97_JPEG2K_32s_C1IR(plane.data(), 4 * kSize, &region, line), moxStatusOk);
    }
    for (int level = 4; level >= 0; level--) {
      const MoxRect region = {0, 0, kSize >> level, kSize >> level};
      EXPECT_EQ(moxiWTInv_D97_JPEG2K_32s_C1IR(plane.data(), 4 * kSize, &region, line), moxStatusOk);
    }
    double squares = 0;
    for (size_t i = 0; i < samples.size(); i++) {
      const double difference = plane[i] / static_cast<double>(1 << fraction) - samples[i];
      squares += difference * difference;
    }
    return squares / (kSize * kSize);
  };
  EXPECT_GT(error(0), 5.0 * 5.0);
  EXPECT_LT(error(8), 0.040 * 0.040);
  EXPECT_LT(error(12), 0.0025 * 0.0025);
}

}  // namespace
}  // namespace test
