// The code-block coders against an independent reading of the standard (tier1_reference.h), on every target: the
// definition, which is the scalar target, and the others, which the kernel test also compares with it.
#include "functions/tier1_blocks.h"
#include "support/targets.h"

namespace test {
namespace {

struct Size {
  int width, height;
};
constexpr Size kSizes[] = {{1, 1},  {1, 2},   {2, 3},  {3, 4},  {4, 5},   {5, 7},   {1, 64},  {64, 1}, {8, 8},
                           {17, 6}, {13, 13}, {4, 64}, {64, 3}, {31, 10}, {32, 32}, {128, 5}, {2, 90}, {64, 64}};

// Rounds of a test: an eighth where sanitizers slow everything down.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kDivisor = 8;
#else
constexpr int kDivisor = 1;
#endif

std::string describe(const Block& b, int content, int subband, int bits, int kind, int options) {
  return std::to_string(b.width) + " x " + std::to_string(b.height) + ", content " + std::to_string(content) +
         ", subband " + std::to_string(subband) + ", magnitude bits " + std::to_string(bits) + ", termination " +
         std::to_string(kind) + ", options " + std::to_string(options);
}

// All 64 sets of modes with changing sizes, contents, subbands and terminations.
TEST(Tier1Compare, encoder) {
  Random random(1);
  EncodeState state(128, 96);
  int64_t decisions = 0;
  for (int round = 0; round < 40 / kDivisor; round++) {
    for (int options = 0; options < 64; options++) {
      const int pick = random.below(sizeof kSizes / sizeof *kSizes - (round ? 1 : 0));
      const Size size = kSizes[pick];
      const int content = random.below(6), subband = random.below(4), kind = random.below(3);
      const int planes = random.oneIn(3) ? 31 : random.between(1, 12);
      const int bits = random.oneIn(2) ? 31 : random.between(31 - planes, 31);
      const Block block = makeBlock(random, size.width, size.height, kContents[content], planes);
      const std::string what = describe(block, content, subband, bits, kind, options);
      const reference::Coded expected = reference::encode(block, subband, bits, kind, options);
      for (const auto& pass : expected.passes) decisions += static_cast<int64_t>(pass.decisions.size());
      forEachTarget([&](const mox::Target& target) {
        const Encoded actual = state.encode(block, subband, bits, kind, options);
        ASSERT_NO_FATAL_FAILURE(expectEqual(actual, expected, what + " on " + target.name));
      });
      if (HasFatalFailure()) return;
    }
  }
  EXPECT_GT(decisions, 3000000 / kDivisor);
}

// Small blocks of every size, every subband and termination, on the best target.
TEST(Tier1Compare, encoderOfSmallBlocks) {
  Random random(2);
  EncodeState state(9, 9);
  for (int height = 1; height <= 9; height++)
    for (int width = 1; width <= 9; width++)
      for (int subband = 0; subband < 4; subband++)
        for (int kind = 0; kind < 3; kind++) {
          const int content = random.below(6), options = random.below(64), bits = random.between(20, 31);
          const Block block = makeBlock(random, width, height, kContents[content], random.between(1, 31));
          ASSERT_NO_FATAL_FAILURE(expectEqual(state.encode(block, subband, bits, kind, options),
                                              reference::encode(block, subband, bits, kind, options),
                                              describe(block, content, subband, bits, kind, options)));
        }
}

// What the encoder writes, the decoder reads: all of it, or the passes up to some point from no more bytes than the
// rate of the last of them.
TEST(Tier1Compare, roundTrip) {
  Random random(3);
  EncodeState state(64, 64);
  for (int i = 0; i < 640 / kDivisor; i++) {
    const int options = i % 64;
    const Size size = kSizes[random.below(14)];
    const int content = random.below(6), subband = random.below(4), kind = random.below(3);
    const Block block = makeBlock(random, size.width, size.height, kContents[content], random.between(1, 31));
    const std::string what = describe(block, content, subband, 31, kind, options);
    const Encoded e = state.encode(block, subband, 31, kind, options);
    const int decoderOptions = (options & 31) | (kind == moxJ2KTermPredictable ? moxJ2KCheckTermination : 0);
    const Decoded d = decode(emptyBlock(size.width, size.height), subband, e.numBitPlanes, e.numPasses, e.segments(),
                             decoderOptions, random.below(64));
    ASSERT_EQ(d.status, moxStatusOk) << what;
    for (size_t i = 0; i < block.coefficients.size(); i++) {
      const uint32_t expected = block.coefficients[i] & 0x7FFFFFFF ? block.coefficients[i] : 0;
      ASSERT_EQ(d.block.coefficients[i], expected) << what;
    }
    if (e.numPasses < 2) continue;
    // Cut off after a pass: the same as the whole string decoded up to there.
    const int passes = random.between(1, e.numPasses);
    std::vector<std::vector<uint8_t>> segments = e.segments();
    size_t left = e.rates[passes - 1];
    for (auto& segment : segments) {
      segment.resize(std::min(segment.size(), left));
      left -= segment.size();
    }
    const Decoded whole =
        decode(emptyBlock(size.width, size.height), subband, e.numBitPlanes, passes, e.segments(), options & 31);
    const Decoded cut =
        decode(emptyBlock(size.width, size.height), subband, e.numBitPlanes, passes, segments, options & 31);
    ASSERT_EQ(whole.status, moxStatusOk) << what;
    ASSERT_EQ(cut.status, moxStatusOk) << what << ", " << passes << " passes";
    ASSERT_EQ(cut.block.coefficients, whole.block.coefficients) << what << ", " << passes << " passes";
  }
}

std::vector<uint8_t> anyBytes(Random& random, int length) {
  std::vector<uint8_t> bytes(length);
  const int style = random.below(4);
  for (uint8_t& b : bytes) {
    const uint8_t awkward[] = {0xFF, 0xFF, 0xFF, 0x00, 0x7F, 0x80, 0x8F, 0x90, 0xFE};
    b = style == 0 || random.oneIn(style * 3) ? awkward[random.below(9)] : random.any<uint8_t>();
  }
  return bytes;
}

// Any bytes, cut into any segments, with any options: the flow charts' coefficients, status and bit-plane.
TEST(Tier1Compare, decoderOfAnyBytes) {
  Random random(4);
  int failures = 0;
  for (int i = 0; i < 3200 / kDivisor; i++) {
    const Size size = kSizes[random.below(15)];
    const int subband = random.below(4), planes = random.oneIn(5) ? random.between(-1, 40) : random.between(1, 9);
    const int passes = random.oneIn(4) ? random.between(-1, 100) : 3 * std::max(planes, 0) - 2;
    int options = (i & 31);
    for (const int option : {0x10000, 0x20000, 0x40000, 0x100000}) options |= random.oneIn(4) ? option : 0;
    std::vector<std::vector<uint8_t>> segments(options & 4 ? std::max(0, passes + random.between(-1, 1))
                                                           : random.below(12));
    for (auto& s : segments) s = anyBytes(random, random.oneIn(5) ? 0 : random.below(200));
    Block before = makeBlock(random, size.width, size.height, Content::noise);
    const std::string what = describe(before, i, subband, planes, passes, options);
    Block expected = before;
    int plane = -99;
    const MoxStatus status = reference::decode(expected, subband, planes, passes, segments, options, &plane);
    failures += status == moxStatusDecodeFailed;
    forEachTarget([&](const mox::Target& target) {
      const Decoded d = decode(before, subband, planes, passes, segments, options, random.below(40));
      ASSERT_EQ(d.status, status) << what << " on " << target.name;
      ASSERT_EQ(d.plane, plane) << what << " on " << target.name;
      ASSERT_EQ(d.block.coefficients, expected.coefficients) << what << " on " << target.name;
    });
    if (HasFatalFailure()) return;
  }
  EXPECT_GT(failures, 300 / kDivisor);
}

// Step by step: after each segment the destination, the counter and the bit-plane are the flow charts'.
TEST(Tier1Compare, stepByStep) {
  Random random(5);
  EncodeState state(64, 64);
  for (int i = 0; i < 960 / kDivisor; i++) {
    const Size size = kSizes[random.below(14)];
    const int subband = random.below(4), kind = random.below(3), options = i & 31;
    const Block block = makeBlock(random, size.width, size.height, kContents[random.below(6)], random.between(1, 14));
    const Encoded e = state.encode(block, subband, 31, kind, options);
    const int decoderOptions = options | (kind == 2 && random.oneIn(2) ? moxJ2KCheckTermination : 0);
    std::vector<std::vector<uint8_t>> segments = e.segments();
    if (random.oneIn(3) && !segments.empty()) {  // damage
      auto& s = segments[random.below(static_cast<int>(segments.size()))];
      if (!s.empty()) s[random.below(static_cast<int>(s.size()))] ^= static_cast<uint8_t>(1 << random.below(8));
    }
    reference::Decoder expected(emptyBlock(size.width, size.height), subband, e.numBitPlanes, decoderOptions);
    expected.counter = random.between(0, e.numPasses);

    int32_t bytes = 0;
    ASSERT_EQ(moxiDecodeCBProgrGetStateSize_JPEG2K(size.width, size.height, &bytes), moxStatusOk);
    GuardedMemory memory(bytes);
    MoxJ2KDecodeState* const s = reinterpret_cast<MoxJ2KDecodeState*>(memory.atEnd<uint8_t>(bytes));
    Block actual = emptyBlock(size.width, size.height);
    ASSERT_EQ(moxiDecodeCBProgrInit_JPEG2K(s), moxStatusOk);
    ASSERT_EQ(
        moxiDecodeCBProgrAttach_JPEG2K_32s_C1R(reinterpret_cast<Mox32s*>(actual.coefficients.data()), 4 * size.width,
                                               size.width, size.height, s, subband, e.numBitPlanes, decoderOptions),
        moxStatusOk);
    ASSERT_EQ(moxiDecodeCBProgrSetPassCounter_JPEG2K(expected.counter, s), moxStatusOk);
    for (const auto& segment : segments) {
      const MoxStatus status = expected.step(segment);
      const uint8_t none = 0;
      ASSERT_EQ(moxiDecodeCBProgrStep_JPEG2K(segment.empty() ? &none : segment.data(),
                                             static_cast<int32_t>(segment.size()), s),
                status)
          << i;
      int32_t counter = -1, plane = -1;
      ASSERT_EQ(moxiDecodeCBProgrGetPassCounter_JPEG2K(s, &counter), moxStatusOk);
      ASSERT_EQ(moxiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(s, &plane), moxStatusOk);
      ASSERT_EQ(counter, expected.counter) << i;
      ASSERT_EQ(plane, expected.plane) << i;
      ASSERT_EQ(actual.coefficients, expected.block.coefficients) << i;
    }
  }
}

}  // namespace
}  // namespace test
