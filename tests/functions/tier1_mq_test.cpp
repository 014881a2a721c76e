// The MQ coder alone: terminations, markers, stuffing.
#include "functions/tier1_blocks.h"
#include "kernels/dispatch.h"
#include "kernels/tier1/t1dec.h"
#include "kernels/tier1/t1enc.h"
#include "support/targets.h"

namespace test {
namespace {

using Bytes = std::vector<uint8_t>;

// An encoder that has written `out` and holds `b` and the code register `c` (below B) with `ct` shifts to go.
struct Registers {
  Bytes out;
  uint32_t b, a, c;
  int ct;
};

Bytes finished(const Registers& r, mox::mq::Termination kind) {
  Bytes buffer(r.out.size() + 20, 0xEE);
  std::copy(r.out.begin(), r.out.end(), buffer.begin() + 1);
  mox::mq::Encoder coder;
  coder.contexts.reset();
  coder.a = r.a;
  coder.ct = r.ct;
  coder.c = (static_cast<uint64_t>(r.b) << (27 - r.ct)) + r.c;
  coder.out = buffer.data() + 1 + r.out.size();
  *coder.out = static_cast<uint8_t>(r.b);
  uint8_t* const end = mox::mq::finish(coder, kind, buffer.data() + 1);
  return {buffer.data() + 1, end};
}

TEST(Tier1Mq, shortestTermination) {
  using mox::mq::kShortest;
  // Ones from B on are inside the interval: nothing is added.
  EXPECT_EQ(finished({{0x12}, 0xFF, 0x8000, 0x7FFFF, 8}, kShortest), (Bytes{0x12}));
  // B is needed, and ones after it do.
  EXPECT_EQ(finished({{0x12}, 0x34, 0x8000, 0x7FFFF, 8}, kShortest), (Bytes{0x12, 0x34}));
  // One byte more.
  EXPECT_EQ(finished({{0x12}, 0x34, 0x8000, 0x08000, 8}, kShortest), (Bytes{0x12, 0x34, 0x10}));
  // A carry that has not reached B yet.
  EXPECT_EQ(finished({{0x12}, 0x34, 0x8000, 0x87FFF, 8}, kShortest), (Bytes{0x12, 0x35, 0x0F}));
  // A carry into 0xFE, after which the next byte has seven bits.
  EXPECT_EQ(finished({{0x12}, 0xFE, 0x8000, 0x87FFF, 8}, kShortest), (Bytes{0x12, 0xFF, 0x07}));
  // A carry into 0xFF goes to the next byte's top bit.
  EXPECT_EQ(finished({{0x12}, 0xFF, 0x8000, 0x84000, 8}, kShortest), (Bytes{0x12, 0xFF, 0x84}));
  // After 0xFF the seven bits of B are ones, too: neither they nor the 0xFF need be there.
  EXPECT_EQ(finished({{0x12, 0xFF}, 0x7F, 0x8000, 0xFFFFF, 7}, kShortest), (Bytes{0x12}));
  EXPECT_EQ(finished({{0x12, 0xFF, 0x7F}, 0xFF, 0x8000, 0x7FFFF, 8}, kShortest), (Bytes{0x12}));
  EXPECT_EQ(finished({{0xFF}, 0x7F, 0x8000, 0xFFFFF, 7}, kShortest), (Bytes{}));
  EXPECT_EQ(finished({{0x12, 0x7F}, 0xFF, 0x8000, 0x7FFFF, 8}, kShortest), (Bytes{0x12, 0x7F}));
  // B, its top bit a carry into the 0xFF before it, is above all ones.
  EXPECT_EQ(finished({{0x12, 0xFF}, 0x80, 0x8000, 0xFFFFF, 7}, kShortest), (Bytes{0x12, 0xFF, 0x80}));
}

TEST(Tier1Mq, terminationNeverEndsInFF) {
  Random random(1);
  for (int i = 0; i < 20000; i++) {
    const bool seven = random.oneIn(2);
    const Bytes out = seven ? Bytes{0x12, 0xFF} : Bytes{0x12};
    const uint32_t b = random.oneIn(2) ? 0xFF : random.below(256);
    const int ct = random.between(1, seven ? 7 : 8);
    const uint32_t c = random.any<uint32_t>() & ((1u << (27 - ct)) - 1);
    for (const auto kind : {mox::mq::kFlush, mox::mq::kShortest, mox::mq::kPredictable}) {
      const Bytes bytes = finished({out, seven ? b & 0x7F : b, 0x8000u + random.below(0x8000), c, ct}, kind);
      ASSERT_FALSE(bytes.empty());
      ASSERT_NE(bytes.back(), 0xFF);
      for (size_t k = 1; k < bytes.size(); k++) ASSERT_FALSE(bytes[k - 1] == 0xFF && bytes[k] > 0x8F);
    }
  }
}

// Of all byte strings shorter than a segment of the shortest termination, none decodes to the same coefficients.
TEST(Tier1Mq, nothingShorterThanTheShortest) {
  Random random(2);
  EncodeState encoder(6, 8);
  int tried[4] = {};
  for (int i = 0; tried[1] < 40 || tried[2] < 40 || tried[3] < 3; i++) {
    ASSERT_LT(i, 2000);
    const Block block = makeBlock(random, random.between(1, 6), random.between(1, 8), kContents[random.below(5)], 3);
    const int subband = random.below(4);
    const Encoded e = encoder.encode(block, subband, 31, moxJ2KTermShortest, moxJ2KTermAll);
    int32_t size;
    ASSERT_EQ(moxiDecodeCBProgrGetStateSize_JPEG2K(block.width, block.height, &size), moxStatusOk);
    std::vector<uint8_t> memory(size), savedMemory;
    MoxJ2KDecodeState* const state = reinterpret_cast<MoxJ2KDecodeState*>(memory.data());
    Block dst = emptyBlock(block.width, block.height);
    ASSERT_EQ(moxiDecodeCBProgrInit_JPEG2K(state), moxStatusOk);
    ASSERT_EQ(
        moxiDecodeCBProgrAttach_JPEG2K_32s_C1R(reinterpret_cast<Mox32s*>(dst.coefficients.data()), 4 * dst.width,
                                               dst.width, dst.height, state, subband, e.numBitPlanes, moxJ2KTermAll),
        moxStatusOk);
    ASSERT_EQ(moxiDecodeCBProgrSetPassCounter_JPEG2K(e.numPasses, state), moxStatusOk);
    for (const Bytes& segment : e.segments()) {
      const Block before = dst;
      savedMemory = memory;
      const auto decodeOne = [&](const uint8_t* bytes, int length) {
        dst.coefficients = before.coefficients;
        memory = savedMemory;
        ASSERT_EQ(moxiDecodeCBProgrStep_JPEG2K(bytes, length, state), moxStatusOk);
      };
      const int length = static_cast<int>(segment.size());
      if (length >= 1 && length <= 3 && tried[length] < (length < 3 ? 40 : 3)) {
        tried[length]++;
        decodeOne(segment.data(), length);
        const Block right = dst;
        for (int shorter = 0; shorter < length; shorter++)
          for (int value = 0; value < 1 << 8 * shorter; value++) {
            const uint8_t bytes[2] = {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8)};
            decodeOne(bytes, shorter);
            ASSERT_NE(dst.coefficients, right.coefficients) << shorter << " bytes, " << value;
          }
      }
      const uint8_t none = 0;
      decodeOne(length ? segment.data() : &none, length);
    }
    ASSERT_EQ(dst.coefficients.size(), block.coefficients.size());
  }
}

// 0xFF 0x8F is data, 0xFF 0x90 a marker, after which nothing is read.
TEST(Tier1Mq, markerEndsTheData) {
  Random random(3);
  int differences = 0;
  for (int i = 0; i < 50; i++) {
    const Block empty = emptyBlock(8, 8);
    Bytes data(60), marker;
    fill(random, Filling::any, data.data(), data.size());
    for (uint8_t& b : data) b &= 0x7F;
    data[0] = 0x05;
    data[4] = 0xFF;
    data[5] = 0x90;
    marker = data;
    for (size_t k = 6; k < marker.size(); k++) marker[k] ^= random.any<uint8_t>();
    const auto decoded = [&](const Bytes& b) { return decode(empty, 0, 8, 22, {b}, 0).block.coefficients; };
    EXPECT_EQ(decoded(data), decoded(marker));
    const Bytes cut(data.begin(), data.begin() + 4), cutAfterFF(data.begin(), data.begin() + 5);
    EXPECT_EQ(decoded(data), decoded(cut));
    EXPECT_EQ(decoded(data), decoded(cutAfterFF));
    data[5] = marker[5] = 0x8F;
    differences += decoded(data) != decoded(marker);
  }
  EXPECT_GT(differences, 40);
}

// Long runs of decisions in few contexts reach every state; the decoder returns them, on every target.
TEST(Tier1Mq, codedDecisionsComeBack) {
  Random random(4);
  forEachTarget([&](const mox::Target& target) {
    for (int i = 0; i < 60; i++) {
      const int count = random.between(0, 5000), contexts = random.between(1, 19), odds = random.between(2, 400);
      Bytes symbols(count + mox::tier1::kSymbolSlack), buffer(count * 3 + 40);
      for (int k = 0; k < count; k++)
        symbols[k] = mox::tier1::symbol(random.below(contexts), random.oneIn(odds) ^ (k / 700 & 1));
      mox::mq::Encoder coder;
      coder.contexts.reset();
      mox::mq::start(coder, buffer.data() + 1);
      target.kernels->tier1Encode->code(coder, symbols.data(), symbols.data() + count);
      const uint8_t* const end = mox::mq::finish(coder, static_cast<mox::mq::Termination>(i % 3), buffer.data() + 1);
      GuardedMemory memory(buffer.size());
      const ptrdiff_t length = end - (buffer.data() + 1);
      uint8_t* const segment = memory.atEnd<uint8_t>(length);
      std::copy(buffer.data() + 1, const_cast<uint8_t*>(end), segment);
      mox::tier1::DecodePass pass;
      pass.mq.contexts.reset();
      mox::mq::start(pass.mq, segment, static_cast<int32_t>(length));
      Bytes decided(count);
      for (int k = 0; k < count; k++) decided[k] = symbols[k] >> 1;
      target.kernels->tier1Decode->decide(pass.mq, decided.data(), count);
      for (int k = 0; k < count; k++) ASSERT_EQ(decided[k], symbols[k] & 1) << target.name << ' ' << k;
      if (i % 3 == 2) {
        EXPECT_TRUE(mox::mq::endsPredictably(pass.mq, segment)) << target.name;
      }
    }
  });
}

}  // namespace
}  // namespace test
