// The code-block encoder's argument checks, edge cases and reports.
#include <cmath>

#include "functions/tier1_blocks.h"
#include "support/checks.h"
#include "support/failing_malloc.h"

namespace test {
namespace {

// A state and a damaged copy of its beginning, for the check orders.
struct States {
  EncodeState good{8, 8};
  uint32_t other[64] = {0x4C4D536A};  // a decoder state's tag
  MoxJ2KEncodeState* bad() { return reinterpret_cast<MoxJ2KEncodeState*>(other); }
};

TEST(Tier1Encoder, initAllocAndFreeCheckInOrder) {
  MoxJ2KEncodeState* state = nullptr;
  checkOrder("moxiEncodeInitAlloc_JPEG2K", moxiEncodeInitAlloc_JPEG2K, &state, 4, 4)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaksEach<2>({0, -1, INT32_MIN}, moxStatusBadSize)
      .breaksEach<1>({0, -1, INT32_MIN}, moxStatusBadSize)
      .untouched(&state, sizeof state)
      .run();
  ASSERT_NE(state, nullptr);
  EXPECT_EQ(moxiEncodeFree_JPEG2K(nullptr), moxStatusNullPointer);
  std::memset(static_cast<void*>(state), 0xA5, 4);  // Free does not look at the tag
  EXPECT_EQ(moxiEncodeFree_JPEG2K(state), moxStatusOk);
}

TEST(Tier1Encoder, noMemoryLeavesNull) {
  for (const int side : {1 << 17, 1 << 24, INT32_MAX}) {
    int dummy = 0;
    MoxJ2KEncodeState* state = reinterpret_cast<MoxJ2KEncodeState*>(&dummy);
    EXPECT_EQ(moxiEncodeInitAlloc_JPEG2K(&state, side, side), moxStatusNoMemory) << side;
    EXPECT_EQ(state, nullptr);
  }
  // Whichever of the allocations fails: what was obtained before is given back.
  for (int successes = 0; successes < 3; successes++) {
    int dummy = 0;
    MoxJ2KEncodeState* state = reinterpret_cast<MoxJ2KEncodeState*>(&dummy);
    MoxStatus status;
    {
      FailingMalloc failing(successes);
      status = moxiEncodeInitAlloc_JPEG2K(&state, 64, 64);
    }
    ASSERT_EQ(status, successes < 2 ? moxStatusNoMemory : moxStatusOk);
    ASSERT_EQ(state == nullptr, successes < 2);
    if (state) {
      EXPECT_EQ(moxiEncodeFree_JPEG2K(state), moxStatusOk);
    }
  }
}

TEST(Tier1Encoder, loadChecksInOrder) {
  States states;
  const Mox32s src[4] = {1, 2, 3, 4};
  int32_t out[3] = {-7, -7, -7};
  checkOrder("moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R", moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R, src, 8, 2, 2,
             static_cast<MoxJ2KEncodeState*>(states.good), 0, 31, 0, 0, 0, &out[0], &out[1], &out[2])
      .breaks<4>(nullptr, moxStatusNullPointer)
      .breaks<4>(states.bad(), moxStatusContextMismatch)
      .breaks<10>(nullptr, moxStatusNullPointer)
      .breaks<11>(nullptr, moxStatusNullPointer)
      .breaks<12>(nullptr, moxStatusNullPointer)
      .breaksEach<3>({0, -1, INT32_MIN}, moxStatusBadSize)
      .breaksEach<2>({0, -1, INT32_MIN}, moxStatusBadSize)
      .breaksEach<3>({9, INT32_MAX}, moxStatusBadSize)  // the state is for 8 x 8
      .breaksEach<2>({9, INT32_MAX}, moxStatusBadSize)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaksEach<1>({0, -1, INT32_MIN}, moxStatusBadStep)
      .untouched(out, sizeof out)
      .untouched(states.other, sizeof states.other)
      .run();
}

// A block that is larger than those the state is for, by a row or a column: refused, and the state keeps the block that
// it holds.
TEST(Tier1Encoder, blockLargerThanTheState) {
  Random random(16);
  EncodeState state(12, 9);
  const Block largest = makeBlock(random, 12, 9, Content::wavelet, 8);
  const Encoded expected = state.encode(largest, 0, 31, 0, moxJ2KTermAll);
  for (const auto& [width, height] : {std::pair{13, 9}, {12, 10}, {13, 1}, {1, 10}, {64, 64}}) {
    Encoded e;
    ASSERT_EQ(state.load(makeBlock(random, width, height, Content::noise, 8), 0, 31, 0, 0, e), moxStatusBadSize);
    EXPECT_EQ(e.numPasses, -1);
    Encoded kept{expected.numBitPlanes, expected.numPasses, expected.numSegments, {}, {}, {}, {}};
    state.query(kept);
    EXPECT_EQ(kept.rates, expected.rates);
    EXPECT_EQ(kept.segmentLengths, expected.segmentLengths);
  }
}

TEST(Tier1Encoder, freeClearsTheTag) {
  MoxJ2KEncodeState* state = nullptr;
  ASSERT_EQ(moxiEncodeInitAlloc_JPEG2K(&state, 4, 4), moxStatusOk);
  const WatchedFree watch(state);
  EXPECT_EQ(moxiEncodeFree_JPEG2K(state), moxStatusOk);
  EXPECT_TRUE(WatchedFree::freed);
  EXPECT_EQ(WatchedFree::firstWord, 0u);
}

TEST(Tier1Encoder, storeChecksInOrder) {
  States states;
  Mox8u dst[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  int32_t length = 8, none = 0, less = -1, notFinished = -7;
  checkOrder("moxiEncodeStoreBits_JPEG2K_1u", moxiEncodeStoreBits_JPEG2K_1u, dst, &length,
             static_cast<MoxJ2KEncodeState*>(states.good), &notFinished)
      .breaks<2>(nullptr, moxStatusNullPointer)
      .breaks<2>(states.bad(), moxStatusContextMismatch)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .breaks<3>(nullptr, moxStatusNullPointer)
      .breaksEach<1>({&none, &less}, moxStatusBadSize)
      .untouched(dst, sizeof dst)
      .untouched(&length, sizeof length)
      .untouched(&none, sizeof none)
      .untouched(&less, sizeof less)
      .untouched(&notFinished, sizeof notFinished)
      .run();
}

template <class Result>
void queryChecksInOrder(const char* name, MoxStatus (*query)(MoxJ2KEncodeState*, int32_t, Result*)) {
  States states;
  Encoded e;
  Random random(1);
  ASSERT_EQ(states.good.load(makeBlock(random, 8, 8, Content::noise, 3), 0, 31, 0, moxJ2KTermAll, e), moxStatusOk);
  ASSERT_EQ(e.numPasses, 7);
  ASSERT_EQ(e.numSegments, 7);
  Result result = -7;
  checkOrder(name, query, static_cast<MoxJ2KEncodeState*>(states.good), 6, &result)
      .template breaks<0>(nullptr, moxStatusNullPointer)
      .template breaks<0>(states.bad(), moxStatusContextMismatch)
      .template breaks<2>(nullptr, moxStatusNullPointer)
      .template breaksEach<1>({7, 8, INT32_MAX, -1, INT32_MIN}, moxStatusBadPassNumber)
      .untouched(&result, sizeof result)
      .run();
}

TEST(Tier1Encoder, queriesCheckInOrder) {
  queryChecksInOrder<int32_t>("moxiEncodeGetRate_JPEG2K", moxiEncodeGetRate_JPEG2K);
  queryChecksInOrder<double>("moxiEncodeGetDist_JPEG2K", moxiEncodeGetDist_JPEG2K);
  queryChecksInOrder<int32_t>("moxiEncodeGetTermPassLen_JPEG2K", moxiEncodeGetTermPassLen_JPEG2K);
}

TEST(Tier1Encoder, freshStateHasNothing) {
  EncodeState state(4, 4);
  Encoded e;
  Mox8u byte = 7;
  int32_t length = 1, notFinished = 7, rate = 7;
  EXPECT_EQ(moxiEncodeStoreBits_JPEG2K_1u(&byte, &length, state, &notFinished), moxStatusOk);
  EXPECT_EQ(length, 0);
  EXPECT_EQ(notFinished, 0);
  EXPECT_EQ(byte, 7);
  EXPECT_EQ(moxiEncodeGetRate_JPEG2K(state, 0, &rate), moxStatusBadPassNumber);
  EXPECT_EQ(moxiEncodeGetTermPassLen_JPEG2K(state, 0, &rate), moxStatusBadPassNumber);
}

TEST(Tier1Encoder, blockOfZeros) {
  EncodeState state(64, 64);
  Block block = emptyBlock(64, 64);
  block.at(5, 5) = 0x80000000;  // a zero with a sign
  for (const int options : {0, 2, 16, 4, 63}) {
    const Encoded e = state.encode(block, 0, 31, 0, options, 1);
    EXPECT_EQ(e.numBitPlanes, 0);
    EXPECT_EQ(e.numPasses, 0);
    EXPECT_EQ(e.numSegments, options & 4 ? 0 : 1);
    EXPECT_TRUE(e.bytes.empty());
    for (const int length : e.segmentLengths) EXPECT_EQ(length, 0);
    double distortion;
    EXPECT_EQ(moxiEncodeGetDist_JPEG2K(state, 0, &distortion), moxStatusBadPassNumber);
  }
}

TEST(Tier1Encoder, threePassesForEachFurtherBitPlane) {
  EncodeState state(4, 4);
  for (int planes = 1; planes <= 31; planes++) {
    Block block = emptyBlock(4, 4);
    block.at(3, 3) = 1u << (planes - 1);
    const Encoded e = state.encode(block, 0, 31, 0, 0);
    EXPECT_EQ(e.numBitPlanes, planes);
    EXPECT_EQ(e.numPasses, 3 * planes - 2);
    EXPECT_EQ(e.numSegments, 1);
  }
}

TEST(Tier1Encoder, bypassStartsAfterTenPasses) {
  EncodeState state(16, 16);
  Random random(5);
  const Block block = makeBlock(random, 16, 16, Content::noise, 5);
  const Encoded e = state.encode(block, 0, 31, 0, moxJ2KBypass);
  ASSERT_EQ(e.numBitPlanes, 5);
  ASSERT_EQ(e.numPasses, 13);
  ASSERT_EQ(e.numSegments, 3);
  const reference::Coded coded = reference::encode(block, 0, 31, 0, moxJ2KBypass);
  for (int i = 0; i < 13; i++) EXPECT_EQ(coded.passes[i].raw, i == 10 || i == 11) << i;
  // The raw segment's length: a bit for each of its decisions, and those that follow a byte of 0xFF.
  const size_t bits = coded.passes[10].decisions.size() + coded.passes[11].decisions.size();
  EXPECT_GE(e.segmentLengths[1], static_cast<int>((bits + 7) / 8));
  EXPECT_LE(e.segmentLengths[1], static_cast<int>((bits + 7) / 7));
  // Four bit-planes have no raw pass.
  EXPECT_EQ(state.encode(makeBlock(random, 16, 16, Content::noise, 4), 0, 31, 0, moxJ2KBypass).numSegments, 1);
}

TEST(Tier1Encoder, magnitudeBitsLeaveOutTheLowestPlanes) {
  EncodeState state(8, 8);
  Random random(6);
  Block block = makeBlock(random, 8, 8, Content::noise, 12);
  block.at(0, 0) = 1 << 11;
  EXPECT_EQ(state.encode(block, 0, 31, 0, 0).numPasses, 3 * 12 - 2);
  const Encoded nine = state.encode(block, 0, 28, 0, 0);
  EXPECT_EQ(nine.numBitPlanes, 12);
  EXPECT_EQ(nine.numPasses, 3 * 9 - 2);
  EXPECT_EQ(state.encode(block, 0, 20, 0, 0).numPasses, 1);
  for (const int bits : {19, 1, 0, -1, -1000, INT32_MIN}) {
    const Encoded none = state.encode(block, 0, bits, 0, 0);
    EXPECT_EQ(none.numBitPlanes, 12) << bits;
    EXPECT_EQ(none.numPasses, 0) << bits;
    EXPECT_EQ(none.numSegments, 1) << bits;
  }
  const Encoded all = state.encode(block, 0, 31, 0, 0);
  for (const int bits : {32, 33, 63, 1000, INT32_MAX}) {
    const Encoded same = state.encode(block, 0, bits, 0, 0);
    EXPECT_EQ(same.bytes, all.bytes) << bits;
    EXPECT_EQ(same.distortions, all.distortions) << bits;
  }
}

TEST(Tier1Encoder, unknownTerminationIsFlush) {
  EncodeState state(16, 16);
  Random random(7);
  const Block block = makeBlock(random, 16, 16, Content::wavelet, 8);
  const Encoded flush = state.encode(block, 0, 31, moxJ2KTermFlush, moxJ2KTermAll);
  for (const int kind : {3, -1, INT32_MAX, INT32_MIN})
    EXPECT_EQ(state.encode(block, 0, 31, kind, moxJ2KTermAll).bytes, flush.bytes) << kind;
  EXPECT_NE(state.encode(block, 0, 31, moxJ2KTermShortest, moxJ2KTermAll).bytes, flush.bytes);
  EXPECT_NE(state.encode(block, 0, 31, moxJ2KTermPredictable, moxJ2KTermAll).bytes, flush.bytes);
}

TEST(Tier1Encoder, subbandsButTwoAndThreeShareTheirContexts) {
  EncodeState state(16, 16);
  Random random(8);
  const Block block = makeBlock(random, 16, 16, Content::wavelet, 8);
  const Encoded low = state.encode(block, 0, 31, 0, 0);
  for (const int subband : {1, 4, -1, INT32_MAX, INT32_MIN})
    EXPECT_EQ(state.encode(block, subband, 31, 0, 0).bytes, low.bytes) << subband;
  EXPECT_NE(state.encode(block, 2, 31, 0, 0).bytes, low.bytes);
  EXPECT_NE(state.encode(block, 3, 31, 0, 0).bytes, low.bytes);
}

TEST(Tier1Encoder, reservedArgumentAndUnknownOptionsHaveNoEffect) {
  EncodeState state(16, 16);
  Random random(9);
  const Block block = makeBlock(random, 16, 16, Content::wavelet, 8);
  const Encoded plain = state.encode(block, 0, 31, 0, 0);
  EXPECT_EQ(state.encode(block, 0, 31, 0, ~63).bytes, plain.bytes);
  int32_t planes, passes, segments, length = 1 << 16, notFinished;
  std::vector<uint8_t> bytes(length);
  ASSERT_EQ(moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R(reinterpret_cast<const Mox32s*>(block.coefficients.data()), 64, 16,
                                                   16, state, 0, 31, 0, INT32_MIN, 0, &planes, &passes, &segments),
            moxStatusOk);
  ASSERT_EQ(moxiEncodeStoreBits_JPEG2K_1u(bytes.data(), &length, state, &notFinished), moxStatusOk);
  bytes.resize(length);
  EXPECT_EQ(bytes, plain.bytes);
}

// The bytes, rates and lengths do not depend on how the code string is fetched.
TEST(Tier1Encoder, buffersOfAnySize) {
  EncodeState state(64, 64);
  Random random(10);
  for (int options = 0; options < 64; options++) {
    const Block block = makeBlock(random, 33, 30, kContents[random.below(5)], random.between(3, 10));
    const Encoded whole = state.encode(block, 0, 31, options % 3, options);
    const auto same = [&](auto piece) {
      Encoded e;
      ASSERT_EQ(state.load(block, 0, 31, options % 3, options, e), moxStatusOk);
      state.store(e, piece);
      state.query(e);
      ASSERT_EQ(e.bytes, whole.bytes);
      ASSERT_EQ(e.rates, whole.rates);
      ASSERT_EQ(e.segmentLengths, whole.segmentLengths);
    };
    ASSERT_NO_FATAL_FAILURE(same([] { return 1; }));
    ASSERT_NO_FATAL_FAILURE(same([&] { return random.between(1, 40); }));
  }
}

TEST(Tier1Encoder, exactlyFilledBufferIsTheLast) {
  EncodeState state(16, 16);
  Random random(11);
  const Block block = makeBlock(random, 16, 16, Content::wavelet, 8);
  const int32_t total = static_cast<int32_t>(state.encode(block, 0, 31, 0, 0).bytes.size());
  for (const int32_t first : {total, total - 1, 1}) {
    Encoded e;
    ASSERT_EQ(state.load(block, 0, 31, 0, 0, e), moxStatusOk);
    GuardedMemory memory(total);
    int32_t length = first, notFinished = -1;
    ASSERT_EQ(moxiEncodeStoreBits_JPEG2K_1u(memory.atEnd<uint8_t>(first), &length, state, &notFinished), moxStatusOk);
    EXPECT_EQ(length, first);
    EXPECT_EQ(notFinished, first < total);
    if (first < total) {
      length = total - first;
      ASSERT_EQ(moxiEncodeStoreBits_JPEG2K_1u(memory.atEnd<uint8_t>(length), &length, state, &notFinished),
                moxStatusOk);
      EXPECT_EQ(length, total - first);
      EXPECT_EQ(notFinished, 0);
    }
    // Nothing is left, however often it is requested.
    length = 100;
    Mox8u dst[100] = {42};
    ASSERT_EQ(moxiEncodeStoreBits_JPEG2K_1u(dst, &length, state, &notFinished), moxStatusOk);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(notFinished, 0);
    EXPECT_EQ(dst[0], 42);
  }
}

TEST(Tier1Encoder, reportsAreZeroBeforeTheFirstStore) {
  EncodeState state(16, 16);
  Random random(12);
  for (int round = 0; round < 2; round++) {  // also of a state that has coded a block
    Encoded e;
    ASSERT_EQ(state.load(makeBlock(random, 16, 16, Content::wavelet, 8), 0, 31, 0, moxJ2KTermAll, e), moxStatusOk);
    state.query(e);
    for (const int rate : e.rates) EXPECT_EQ(rate, 0);
    for (const int length : e.segmentLengths) EXPECT_EQ(length, 0);
    for (const double d : e.distortions) EXPECT_GT(d, 0);
    e.rates.clear();
    state.store(e, [] { return 3; });
    state.query(e);
    EXPECT_GT(e.rates.back(), 0);
  }
}

TEST(Tier1Encoder, ratesEndInNoByteOfFF) {
  EncodeState state(64, 64);
  Random random(13);
  int trimmed = 0;
  for (int i = 0; i < 40; i++) {
    const Encoded e =
        state.encode(makeBlock(random, 64, 64, Content::noise, 9), 0, 31, i % 3, i % 2 ? moxJ2KBypass : 0);
    for (const int rate : e.rates) {
      ASSERT_LE(rate, static_cast<int>(e.bytes.size()));
      if (rate > 0) {
        ASSERT_NE(e.bytes[rate - 1], 0xFF);
      }
      trimmed += rate < static_cast<int>(e.bytes.size()) && e.bytes[rate] == 0xFF;
    }
  }
  EXPECT_GT(trimmed, 0);
}

// A pass without decisions that is a segment.
TEST(Tier1Encoder, emptySegments) {
  EncodeState state(4, 4);
  Block block = emptyBlock(1, 1);
  block.at(0, 0) = 2;
  const int expected[3] = {2, 0, 0};  // flush leaves 0xFF 0x7F
  for (int kind = 0; kind < 3; kind++) {
    const Encoded e = state.encode(block, 0, 31, kind, moxJ2KTermAll);
    ASSERT_EQ(e.numPasses, 4);  // the significance pass codes nothing: no coefficient but the significant one
    EXPECT_EQ(e.segmentLengths[1], expected[kind]);
    EXPECT_EQ(e.segmentLengths[3], expected[kind]);
    if (kind == 0) {
      EXPECT_EQ(e.bytes[e.segmentLengths[0]], 0xFF);
      EXPECT_EQ(e.bytes[e.segmentLengths[0] + 1], 0x7F);
    }
  }
}

// Distortions against the squared errors of a decoder that reconstructs in the middle, or exactly at the last
// bit-plane.
TEST(Tier1Encoder, distortionIsTheErrorThatIsSaved) {
  EncodeState state(16, 16);
  Random random(14);
  for (const int options : {0, static_cast<int>(moxJ2KExactLast)}) {
    // At most six bits below any bit-plane, so that nothing is cut off the fractions.
    const Block block = makeBlock(random, 16, 16, Content::noise, 7);
    const Encoded e = state.encode(block, 0, 31, 0, options);
    double before = 0;
    for (const uint32_t c : block.coefficients) before += std::pow(static_cast<double>(c & 0x7FFFFFFF), 2);
    for (int passes = 1; passes <= e.numPasses; passes++) {
      const Decoded d = decode(emptyBlock(16, 16), 0, e.numBitPlanes, passes, e.segments(), moxJ2KKeepMidpoint);
      const bool lastPlane = passes > 3 * (e.numBitPlanes - 1) - 2;
      double error = 0;
      for (size_t i = 0; i < block.coefficients.size(); i++) {
        double value = d.block.coefficients[i] & 0x7FFFFFFF;
        const double wanted = block.coefficients[i] & 0x7FFFFFFF;
        // The words have no bit for the half below bit-plane 0: what was coded there is odd or has an extra bit.
        const bool coded = lastPlane && value == wanted;
        if (coded && value != 0 && !options) value += 0.5;
        error += (value - wanted) * (value - wanted);
      }
      // A coefficient that still awaits the last bit-plane may sit at its value by chance: counted as coded above.
      if (!lastPlane || passes == e.numPasses) {
        EXPECT_DOUBLE_EQ(e.distortions[passes - 1], before - error) << passes << ", options " << options;
      }
    }
  }
}

TEST(Tier1Encoder, distortionExponentsBeyondThirtyOne) {
  EncodeState state(1, 1);
  for (int planes = 1; planes <= 31; planes++) {
    Block block = emptyBlock(1, 1);
    block.at(0, 0) = 1u << (planes - 1);
    const Encoded e = state.encode(block, 0, 31, 0, 0);
    // 0.75 squared steps of the highest bit-plane.
    EXPECT_EQ(e.distortions[0], 0.75 * std::ldexp(1.0, 2 * (planes - 1))) << planes;
  }
}

TEST(Tier1Encoder, distortionSumsOfHugeBlocksWrap) {
  EncodeState state(512, 256);
  Block block = emptyBlock(512, 256);
  for (uint32_t& c : block.coefficients) c = 0x7F;
  Encoded e;
  ASSERT_EQ(state.load(block, 0, 31, 0, 0, e), moxStatusOk);
  double distortion = 0;
  ASSERT_EQ(moxiEncodeGetDist_JPEG2K(state, 0, &distortion), moxStatusOk);
  const uint32_t sum = (6144u + 384u * 63u) * 512u * 256u;
  EXPECT_EQ(distortion, static_cast<int32_t>(sum) * 0.5);
}

TEST(Tier1Encoder, rowsInAnyAlignmentBetweenGuardPages) {
  Random random(15);
  EncodeState state(30, 30);
  const Block block = makeBlock(random, 13, 7, Content::wavelet, 9);
  const Encoded expected = state.encode(block, 3, 31, 1, 0);
  for (const int step : {52, 53, 55, 61, 100}) {
    const size_t bytes = static_cast<size_t>(step) * 6 + 52;
    GuardedMemory memory(bytes);
    uint8_t* const rows = memory.atEnd<uint8_t>(bytes);
    std::memset(rows, 0xEE, bytes);
    for (int y = 0; y < 7; y++) std::memcpy(rows + y * step, &block.coefficients[y * 13], 52);
    Encoded e;
    ASSERT_EQ(moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R(reinterpret_cast<const Mox32s*>(rows), step, 13, 7, state, 3, 31,
                                                     1, 0, 0, &e.numBitPlanes, &e.numPasses, &e.numSegments),
              moxStatusOk);
    state.store(e, [] { return 1000; });
    EXPECT_EQ(e.bytes, expected.bytes) << step;
  }
}

}  // namespace
}  // namespace test
