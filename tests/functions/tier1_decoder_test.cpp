// The code-block decoders' argument checks, sizes and edge cases.
#include "functions/tier1_blocks.h"
#include "support/checks.h"
#include "support/failing_malloc.h"

namespace test {
namespace {

int32_t stateSize(int width, int height) {
  int32_t size = -1;
  EXPECT_EQ(moxiDecodeCBProgrGetStateSize_JPEG2K(width, height, &size), moxStatusOk);
  return size;
}

TEST(Tier1Decoder, sizes) {
  EXPECT_EQ(stateSize(1, 1), 484);
  EXPECT_EQ(stateSize(64, 64), 10180);
  for (const auto query : {moxiDecodeCBProgrGetStateSize_JPEG2K, moxiDecodeGetBufSize_JPEG2K}) {
    int32_t size = -7;
    checkOrder("size", query, 3, 4, &size)
        .breaksEach<1>({0, -1, INT32_MIN}, moxStatusBadSize)
        .breaksEach<0>({0, -1, INT32_MIN}, moxStatusBadSize)
        .breaks<2>(nullptr, moxStatusNullPointer)
        .untouched(&size, sizeof size)
        .run();
    for (int width = 1; width < 140; width++)
      for (int height = 1; height < 12; height++) {
        ASSERT_EQ(query(width, height, &size), moxStatusOk);
        ASSERT_EQ(size, (4 * width + 8 + 31) / 32 * 32 * ((height + 1) / 2 + 2) + 388);
      }
    // Right up to the type's end, and refused beyond it.
    ASSERT_EQ(query(1 << 14, 65500, &size), moxStatusOk);
    EXPECT_EQ(size, 2147483524);
    size = -7;
    for (const auto& [width, height] :
         {std::pair{1 << 14, 65501}, {1 << 20, 1 << 20}, {INT32_MAX, 1}, {INT32_MAX, INT32_MAX}, {1 << 29, 1}}) {
      EXPECT_EQ(query(width, height, &size), moxStatusBadSize) << width << " x " << height;
      EXPECT_EQ(query(width, height, nullptr), moxStatusNullPointer) << width << " x " << height;
    }
    EXPECT_EQ(size, -7);
  }
}

// A state in the caller's memory, between guard pages, in any alignment.
class DecodeState {
 public:
  DecodeState(int width, int height, int misalignment = -1)
      : size_(stateSize(width, height)), memory_(size_ + std::max(misalignment, 0)) {
    uint8_t* const bytes = misalignment < 0 ? memory_.atEnd<uint8_t>(size_) : memory_.atStart<uint8_t>() + misalignment;
    state_ = reinterpret_cast<MoxJ2KDecodeState*>(bytes);
    std::memset(bytes, 0xEE, size_);
    EXPECT_EQ(moxiDecodeCBProgrInit_JPEG2K(state_), moxStatusOk);
  }
  operator MoxJ2KDecodeState*() const { return state_; }

  void attach(Block& dst, int subband, int planes, int options, int passes) {
    ASSERT_EQ(moxiDecodeCBProgrAttach_JPEG2K_32s_C1R(reinterpret_cast<Mox32s*>(dst.coefficients.data()), 4 * dst.width,
                                                     dst.width, dst.height, state_, subband, planes, options),
              moxStatusOk);
    ASSERT_EQ(moxiDecodeCBProgrSetPassCounter_JPEG2K(passes, state_), moxStatusOk);
  }
  MoxStatus step(const std::vector<uint8_t>& segment) {
    const uint8_t none = 0;
    return moxiDecodeCBProgrStep_JPEG2K(segment.empty() ? &none : segment.data(), static_cast<int32_t>(segment.size()),
                                        state_);
  }
  int counter() const {
    int32_t count = -99;
    EXPECT_EQ(moxiDecodeCBProgrGetPassCounter_JPEG2K(state_, &count), moxStatusOk);
    return count;
  }
  int plane() const {
    int32_t plane = -99;
    EXPECT_EQ(moxiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(state_, &plane), moxStatusOk);
    return plane;
  }

 private:
  int32_t size_;
  GuardedMemory memory_;
  MoxJ2KDecodeState* state_;
};

TEST(Tier1Decoder, checksInOrder) {
  DecodeState state(8, 8);
  uint32_t other[64] = {0x4C4D5344};  // an encoder state's tag
  MoxJ2KDecodeState* const bad = reinterpret_cast<MoxJ2KDecodeState*>(other);
  MoxJ2KDecodeState* const good = state;
  Mox32s dst[4] = {1, 2, 3, 4};
  const Mox8u src[4] = {1, 2, 3, 4};
  int32_t out = -7;

  EXPECT_EQ(moxiDecodeCBProgrInit_JPEG2K(nullptr), moxStatusNullPointer);
  checkOrder("Attach", moxiDecodeCBProgrAttach_JPEG2K_32s_C1R, dst, 8, 2, 2, good, 0, 5, 0)
      .breaks<4>(nullptr, moxStatusNullPointer)
      .breaks<4>(bad, moxStatusContextMismatch)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaksEach<1>({0, -1, INT32_MIN}, moxStatusBadStep)
      .breaksEach<3>({0, -1, INT32_MIN}, moxStatusBadSize)
      .breaksEach<2>({0, -1, INT32_MIN}, moxStatusBadSize)
      .untouched(dst, sizeof dst)
      .untouched(other, sizeof other)
      .run();
  checkOrder("GetPassCounter", moxiDecodeCBProgrGetPassCounter_JPEG2K, good, &out)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .breaks<0>(bad, moxStatusContextMismatch)
      .untouched(&out, sizeof out)
      .run();
  checkOrder("SetPassCounter", moxiDecodeCBProgrSetPassCounter_JPEG2K, 5, good)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .breaks<1>(bad, moxStatusContextMismatch)
      .untouched(other, sizeof other)
      .run();
  out = -7;
  checkOrder("GetCurBitPlaneNum", moxiDecodeCBProgrGetCurBitPlaneNum_JPEG2K, good, &out)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<0>(bad, moxStatusContextMismatch)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .untouched(&out, sizeof out)
      .run();
  EXPECT_EQ(moxiDecodeCBProgrFree_JPEG2K(nullptr), moxStatusNullPointer);
  EXPECT_EQ(moxiDecodeCBProgrFree_JPEG2K(bad), moxStatusContextMismatch);

  // Step: not attached before failed before a counter of 0.
  DecodeState fresh(2, 2), failed(2, 2), attached(2, 2);
  Block block = emptyBlock(2, 2);
  failed.attach(block, 0, 3, moxJ2KSegSymbol, 7);
  ASSERT_EQ(failed.step({}), moxStatusDecodeFailed);
  ASSERT_EQ(moxiDecodeCBProgrSetPassCounter_JPEG2K(0, failed), moxStatusOk);
  attached.attach(block, 0, 3, 0, 7);
  checkOrder("Step", moxiDecodeCBProgrStep_JPEG2K, src, 4, static_cast<MoxJ2KDecodeState*>(attached))
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<2>(nullptr, moxStatusNullPointer)
      .breaks<2>(bad, moxStatusContextMismatch)
      .breaks<2>(static_cast<MoxJ2KDecodeState*>(fresh), moxStatusNotAttached)
      .breaks<2>(static_cast<MoxJ2KDecodeState*>(failed), moxStatusDecodeFailed)
      .untouched(other, sizeof other)
      .run();
}

TEST(Tier1Decoder, initAllocAndFree) {
  MoxJ2KDecodeState* state = nullptr;
  checkOrder("InitAlloc", moxiDecodeCBProgrInitAlloc_JPEG2K, &state, 4, 4)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaksEach<2>({0, -1, INT32_MIN}, moxStatusBadSize)
      .breaksEach<1>({0, -1, INT32_MIN}, moxStatusBadSize)
      .untouched(&state, sizeof state)
      .run();
  ASSERT_NE(state, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(state) % 32, 0u);
  EXPECT_EQ(std::memcmp(state, "jSML", 4), 0);
  const uint8_t byte = 0;
  EXPECT_EQ(moxiDecodeCBProgrStep_JPEG2K(&byte, 1, state), moxStatusNotAttached);
  std::memset(static_cast<void*>(state), 0, 4);
  EXPECT_EQ(moxiDecodeCBProgrFree_JPEG2K(state), moxStatusContextMismatch);  // and frees nothing
  std::memcpy(static_cast<void*>(state), "jSML", 4);
  EXPECT_EQ(moxiDecodeCBProgrFree_JPEG2K(state), moxStatusOk);

  for (const int side : {1 << 17, INT32_MAX}) {
    state = reinterpret_cast<MoxJ2KDecodeState*>(&state);
    EXPECT_EQ(moxiDecodeCBProgrInitAlloc_JPEG2K(&state, side, side), moxStatusNoMemory);
    EXPECT_EQ(state, nullptr);
  }
  state = reinterpret_cast<MoxJ2KDecodeState*>(&state);
  MoxStatus status;
  {
    FailingMalloc failing;
    status = moxiDecodeCBProgrInitAlloc_JPEG2K(&state, 8, 8);
  }
  EXPECT_EQ(status, moxStatusNoMemory);
  EXPECT_EQ(state, nullptr);
}

// An allocated state knows its maximum block size; a larger block is refused before anything is touched.
TEST(Tier1Decoder, blockLargerThanTheState) {
  MoxJ2KDecodeState* state = nullptr;
  ASSERT_EQ(moxiDecodeCBProgrInitAlloc_JPEG2K(&state, 12, 9), moxStatusOk);
  std::vector<Mox32s> dst(64 * 64, 7);
  for (int block = 0; block < 2; block++) {  // the second time as well
    checkOrder("Attach", moxiDecodeCBProgrAttach_JPEG2K_32s_C1R, dst.data(), 256, 12, 9, state, 0, 5, 0)
        .breaksEach<1>({0, -1, INT32_MIN}, moxStatusBadStep)
        .breaksEach<3>({0, -1, INT32_MIN}, moxStatusBadSize)
        .breaksEach<2>({0, -1, INT32_MIN}, moxStatusBadSize)
        .breaksEach<3>({10, 64, INT32_MAX}, moxStatusBadSize)
        .breaksEach<2>({13, 64, INT32_MAX}, moxStatusBadSize)
        .untouched(dst.data(), dst.size() * sizeof dst[0])
        .run();
  }
  // The block attached before stays attached.
  ASSERT_EQ(moxiDecodeCBProgrAttach_JPEG2K_32s_C1R(dst.data(), 256, 12, 9, state, 0, 5, 0), moxStatusOk);
  ASSERT_EQ(moxiDecodeCBProgrAttach_JPEG2K_32s_C1R(dst.data(), 256, 13, 9, state, 0, 7, 0), moxStatusBadSize);
  int32_t plane = -7;
  ASSERT_EQ(moxiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(state, &plane), moxStatusOk);
  EXPECT_EQ(plane, 4);
  EXPECT_EQ(moxiDecodeCBProgrFree_JPEG2K(state), moxStatusOk);

  // Memory that the caller provides is as large as the caller says.
  DecodeState own(64, 64);
  Block large = emptyBlock(64, 64);
  own.attach(large, 0, 5, 0, 1);
}

TEST(Tier1Decoder, freeClearsTheTag) {
  MoxJ2KDecodeState* state = nullptr;
  ASSERT_EQ(moxiDecodeCBProgrInitAlloc_JPEG2K(&state, 4, 4), moxStatusOk);
  const WatchedFree watch(state);
  EXPECT_EQ(moxiDecodeCBProgrFree_JPEG2K(state), moxStatusOk);
  EXPECT_TRUE(WatchedFree::freed);
  EXPECT_EQ(WatchedFree::firstWord, 0u);
}

TEST(Tier1Decoder, oneCallChecksInOrder) {
  const Mox8u src[4] = {1, 2, 3, 4};
  Mox32s dst[4] = {1, 2, 3, 4};
  const int32_t lengths[1] = {4};
  int32_t plane = -7;
  Mox8u buffer[500] = {9};
  checkOrder("moxiDecodeCodeBlock_JPEG2K_1u32s_C1R", moxiDecodeCodeBlock_JPEG2K_1u32s_C1R, src, dst, 8, 2, 2, 0, 3, 7,
             lengths, 1, 0, &plane, buffer)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<12>(nullptr, moxStatusNullPointer)
      .breaksEach<4>({0, -1, INT32_MIN}, moxStatusBadSize)
      .breaksEach<3>({0, -1, INT32_MIN}, moxStatusBadSize)
      .breaks<8>(nullptr, moxStatusNullPointer)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .breaksEach<2>({0, -1, INT32_MIN}, moxStatusBadStep)
      .untouched(dst, sizeof dst)
      .untouched(&plane, sizeof plane)
      .untouched(buffer, sizeof buffer)
      .run();
  // The bit-plane is optional.
  EXPECT_EQ(
      moxiDecodeCodeBlock_JPEG2K_1u32s_C1R(src, dst, 8, 2, 2, 0, 3, 7, lengths, 1, moxJ2KSegSymbol, nullptr, buffer),
      moxStatusDecodeFailed);
}

TEST(Tier1Decoder, noSegments) {
  Random random(1);
  const Block before = makeBlock(random, 9, 6, Content::noise);
  for (const int count : {0, -1, INT32_MIN}) {
    for (const int options : {0, 0x20000, 0x60000}) {
      Block block = before;
      const uint8_t src = 0;
      const int32_t length = 1;
      std::vector<uint8_t> buffer(stateSize(9, 6));
      int32_t plane = -7;
      ASSERT_EQ(moxiDecodeCodeBlock_JPEG2K_1u32s_C1R(&src, reinterpret_cast<Mox32s*>(block.coefficients.data()), 36, 9,
                                                     6, 0, 6, 16, &length, count, options, &plane, buffer.data()),
                moxStatusOk);
      EXPECT_EQ(plane, -7);
      for (size_t i = 0; i < block.coefficients.size(); i++) {
        // The bits below the current bit-plane, 5, are cleared unless they are to stay.
        const uint32_t kept = options == 0 ? 0 : options == 0x20000 ? ~31u : ~0u;
        ASSERT_EQ(block.coefficients[i], before.coefficients[i] & kept) << options;
      }
    }
  }
}

TEST(Tier1Decoder, stepNeedsABlockAndPasses) {
  Random random(2);
  EncodeState encoder(16, 16);
  const Block block = makeBlock(random, 16, 16, Content::wavelet, 6);
  const Encoded e = encoder.encode(block, 1, 31, 0, 0);
  DecodeState state(16, 16, 5);
  EXPECT_EQ(state.step(e.bytes), moxStatusNotAttached);
  Block dst = makeBlock(random, 16, 16, Content::noise);
  const Block zeros = emptyBlock(16, 16);
  state.attach(dst, 1, e.numBitPlanes, 0, 0);
  EXPECT_EQ(dst.coefficients, zeros.coefficients);
  EXPECT_EQ(state.counter(), 0);
  EXPECT_EQ(state.plane(), e.numBitPlanes - 1);
  for (const int passes : {0, -1, INT32_MIN}) {
    ASSERT_EQ(moxiDecodeCBProgrSetPassCounter_JPEG2K(passes, state), moxStatusOk);
    EXPECT_EQ(state.step(e.bytes), moxStatusOk);
    EXPECT_EQ(state.counter(), passes);
    EXPECT_EQ(dst.coefficients, zeros.coefficients);
  }
  ASSERT_EQ(moxiDecodeCBProgrSetPassCounter_JPEG2K(e.numPasses, state), moxStatusOk);
  EXPECT_EQ(state.step(e.bytes), moxStatusOk);
  EXPECT_EQ(state.counter(), 0);
  EXPECT_EQ(state.plane(), 0);
  EXPECT_EQ(dst.coefficients, block.coefficients);
  EXPECT_EQ(state.step(e.bytes), moxStatusOk);
  EXPECT_EQ(dst.coefficients, block.coefficients);
}

// Any number of bit-planes: below 1 nothing is decoded, above 31 only what has a bit in the words.
TEST(Tier1Decoder, numBitPlanesIsNotTested) {
  Random random(3);
  std::vector<uint8_t> bytes(300);
  fill(random, Filling::any, bytes.data(), bytes.size());
  bytes[0] = 1;  // a small code value: less probable symbols from the start
  for (const int planes : {0, -1, -31, INT32_MIN}) {
    DecodeState state(8, 8);
    Block dst = emptyBlock(8, 8);
    state.attach(dst, 0, planes, 0, 10);
    EXPECT_EQ(state.plane(), planes == INT32_MIN ? planes : planes - 1);
    EXPECT_EQ(state.step(bytes), moxStatusOk);
    EXPECT_EQ(state.counter(), 10);
    EXPECT_EQ(dst.coefficients, emptyBlock(8, 8).coefficients);
    EXPECT_EQ(decode(dst, 0, planes, 10, {bytes}, 0).block.coefficients, dst.coefficients);
  }
  for (const int planes : {31, 32, 33, 34, 64, 65, 1000, INT32_MAX}) {
    for (const int options : {0, 0x40000}) {
      const Decoded d = decode(emptyBlock(8, 8), 0, planes, 7, {bytes}, options);
      EXPECT_EQ(d.status, moxStatusOk);
      uint32_t all = 0;
      for (const uint32_t c : d.block.coefficients) all |= c & 0x7FFFFFFF;
      // Three bit-planes are decoded, from planes - 1 down; the half step lies one below.
      const int top = 30, bottom = planes - 3 - (options ? 1 : 0);
      uint32_t possible = 0;
      for (int p = bottom; p <= top; p++) possible |= p >= 0 ? 1u << p : 0;
      EXPECT_EQ(all & ~possible, 0u) << planes;
      if (planes == 31) {
        EXPECT_NE(all, 0u);
      }
    }
  }
}

TEST(Tier1Decoder, bypassSegments) {
  Random random(4);
  EncodeState encoder(16, 16);
  const Block block = makeBlock(random, 16, 16, Content::noise, 5);
  const Encoded e = encoder.encode(block, 0, 31, 0, moxJ2KBypass);
  ASSERT_EQ(e.numSegments, 3);
  DecodeState state(16, 16);
  Block dst = emptyBlock(16, 16);
  state.attach(dst, 0, 5, moxJ2KBypass, 13);
  const int counters[] = {3, 1, 0}, planes[] = {0, 0, 0};
  for (int i = 0; i < 3; i++) {
    ASSERT_EQ(state.step(e.segments()[i]), moxStatusOk);
    EXPECT_EQ(state.counter(), counters[i]);
    EXPECT_EQ(state.plane(), planes[i]);
  }
  for (size_t i = 0; i < block.coefficients.size(); i++)
    ASSERT_EQ(dst.coefficients[i], block.coefficients[i] & 0x7FFFFFFF ? block.coefficients[i] : 0);
}

TEST(Tier1Decoder, lengthsBelowOneAreEmptySegments) {
  Random random(5);
  for (int options = 0; options < 32; options++) {
    const std::vector<std::vector<uint8_t>> empty(options & 4 ? 10 : 3);
    const Decoded expected = decode(emptyBlock(12, 9), 0, 4, 10, empty, options);
    // As good as a segment of many 0xFF.
    const std::vector<std::vector<uint8_t>> ones(empty.size(), std::vector<uint8_t>(400, 0xFF));
    EXPECT_EQ(decode(emptyBlock(12, 9), 0, 4, 10, ones, options).block.coefficients, expected.block.coefficients);
    for (const int32_t length : {-1, INT32_MIN}) {
      const std::vector<int32_t> lengths(empty.size(), length);
      const uint8_t src = 0x55;
      std::vector<uint8_t> buffer(stateSize(12, 9));
      Block block = emptyBlock(12, 9);
      EXPECT_EQ(moxiDecodeCodeBlock_JPEG2K_1u32s_C1R(&src, reinterpret_cast<Mox32s*>(block.coefficients.data()), 48, 12,
                                                     9, 0, 4, 10, lengths.data(), static_cast<int32_t>(lengths.size()),
                                                     options, nullptr, buffer.data()),
                expected.status);
      EXPECT_EQ(block.coefficients, expected.block.coefficients) << options;
    }
  }
}

// A state that has failed reports it until the next block is attached.
TEST(Tier1Decoder, failureSticks) {
  Random random(6);
  EncodeState encoder(16, 16);
  const Block block = makeBlock(random, 16, 16, Content::wavelet, 6);
  for (const int options : {16, 20}) {
    const Encoded e = encoder.encode(block, 0, 31, 0, options);
    DecodeState state(16, 16);
    Block dst = emptyBlock(16, 16);
    state.attach(dst, 0, e.numBitPlanes, options, e.numPasses);
    const int before = state.counter();
    ASSERT_EQ(state.step({0x12, 0x34}), moxStatusDecodeFailed);
    // The failed pass counts as done only where each pass is a segment.
    EXPECT_EQ(state.counter(), options & 4 ? before - 1 : before);
    EXPECT_EQ(state.plane(), e.numBitPlanes - 1);
    const Block partly = dst;
    EXPECT_EQ(state.step(e.segments()[0]), moxStatusDecodeFailed);
    ASSERT_EQ(moxiDecodeCBProgrSetPassCounter_JPEG2K(0, state), moxStatusOk);
    EXPECT_EQ(state.step(e.segments()[0]), moxStatusDecodeFailed);
    EXPECT_EQ(dst.coefficients, partly.coefficients);
    state.attach(dst, 0, e.numBitPlanes, options, e.numPasses);
    for (const auto& segment : e.segments()) ASSERT_EQ(state.step(segment), moxStatusOk);
    EXPECT_EQ(dst.coefficients, block.coefficients);
  }
}

TEST(Tier1Decoder, fillOnError) {
  Random random(7);
  EncodeState encoder(16, 16);
  const Block block = makeBlock(random, 16, 16, Content::noise, 6);
  const Encoded e = encoder.encode(block, 0, 31, 0, 20);
  std::vector<std::vector<uint8_t>> segments = e.segments();
  segments[6] = {};  // the cleanup pass of the third bit-plane
  const Decoded good = decode(emptyBlock(16, 16), 0, e.numBitPlanes, 6, segments, 20);
  for (const int options : {20, 20 | 0x10000, 20 | 0x50000}) {
    const Decoded d = decode(emptyBlock(16, 16), 0, e.numBitPlanes, e.numPasses, segments, options);
    ASSERT_EQ(d.status, moxStatusDecodeFailed);
    EXPECT_EQ(d.plane, e.numBitPlanes - 3);
    const uint32_t bit = 1u << d.plane;
    int significant = 0;
    for (size_t i = 0; i < block.coefficients.size(); i++) {
      const uint32_t value = d.block.coefficients[i];
      EXPECT_EQ(value & (bit - 1), 0u);
      if (options & 0x10000) {
        EXPECT_TRUE(value == 0 || (value & bit)) << value;
      }
      if (good.block.coefficients[i] >> 4 & 0x7FFFFFF) {
        EXPECT_EQ(value & ~bit, good.block.coefficients[i] & ~(2 * bit - 1));
        significant++;
      }
    }
    EXPECT_GT(significant, 10);
  }
}

TEST(Tier1Decoder, wrongSegmentationSymbolIsOverruledByTheTerminationCheck) {
  Random random(8);
  EncodeState encoder(16, 16);
  const Block block = makeBlock(random, 16, 16, Content::wavelet, 3);
  // Without the symbol in the string, the decoder reads something else in its place.
  const Encoded e = encoder.encode(block, 0, 31, moxJ2KTermPredictable, moxJ2KTermAll);
  const int symbol = moxJ2KTermAll | moxJ2KSegSymbol, check = moxJ2KTermAll | moxJ2KCheckTermination;
  EXPECT_EQ(decode(emptyBlock(16, 16), 0, e.numBitPlanes, 1, {e.segments()[0]}, symbol).status, moxStatusDecodeFailed);
  EXPECT_EQ(decode(emptyBlock(16, 16), 0, e.numBitPlanes, 1, {e.segments()[0]}, check).status, moxStatusOk);
  // Both: the check after the four decisions decides alone.
  int overruled = 0;
  for (int i = 0; i < 3000; i++) {
    std::vector<uint8_t> bytes(random.between(1, 12));
    fill(random, Filling::any, bytes.data(), bytes.size());
    const MoxStatus wrong = decode(emptyBlock(4, 4), 0, 3, 1, {bytes}, symbol).status;
    const MoxStatus both = decode(emptyBlock(4, 4), 0, 3, 1, {bytes}, symbol | check).status;
    overruled += wrong == moxStatusDecodeFailed && both == moxStatusOk;
  }
  EXPECT_GT(overruled, 0);
}

TEST(Tier1Decoder, terminationCheck) {
  Random random(9);
  EncodeState encoder(32, 32);
  int caught = 0, damaged = 0;
  for (int i = 0; i < 200; i++) {
    const int options = random.below(32) & ~16;
    const Block block = makeBlock(random, 32, 16, Content::wavelet, random.between(1, 9));
    const Encoded e = encoder.encode(block, 0, 31, moxJ2KTermPredictable, options);
    if (e.numPasses == 0) continue;
    auto segments = e.segments();
    const int checked = options | moxJ2KCheckTermination;
    ASSERT_EQ(decode(emptyBlock(32, 16), 0, e.numBitPlanes, e.numPasses, segments, checked).status, moxStatusOk);
    auto& first = segments[0];
    if (first.size() < 8) continue;
    first[random.below(4)] ^= static_cast<uint8_t>(1 << random.below(8));
    damaged++;
    caught +=
        decode(emptyBlock(32, 16), 0, e.numBitPlanes, e.numPasses, segments, checked).status == moxStatusDecodeFailed;
    ASSERT_EQ(decode(emptyBlock(32, 16), 0, e.numBitPlanes, e.numPasses, segments, options).status, moxStatusOk);
  }
  EXPECT_GT(damaged, 80);
  EXPECT_GT(caught, damaged * 8 / 10);
}

TEST(Tier1Decoder, destinationIsKept) {
  Random random(10);
  EncodeState encoder(16, 16);
  const Block block = makeBlock(random, 16, 16, Content::wavelet, 6);
  const Encoded e = encoder.encode(block, 0, 31, 0, 0);
  const Block before{16, 16, std::vector<uint32_t>(256, 0x50000000)};
  const Decoded d = decode(before, 0, e.numBitPlanes, e.numPasses, {e.bytes}, moxJ2KKeepDestination);
  for (int i = 0; i < 256; i++) EXPECT_EQ(d.block.coefficients[i], 0x50000000u | block.coefficients[i]);
}

TEST(Tier1Decoder, midpointIsKept) {
  Random random(11);
  EncodeState encoder(16, 16);
  const Block block = makeBlock(random, 16, 16, Content::noise, 6);
  const Encoded e = encoder.encode(block, 0, 31, 0, 0);
  ASSERT_EQ(e.numBitPlanes, 6);
  const Decoded middle = decode(emptyBlock(16, 16), 0, 6, 7, {e.bytes}, moxJ2KKeepMidpoint);
  const Decoded cut = decode(emptyBlock(16, 16), 0, 6, 7, {e.bytes}, 0);
  for (int i = 0; i < 256; i++) {
    const uint32_t c = block.coefficients[i], truncated = c & 0x38 ? c & 0x80000038 : 0;
    EXPECT_EQ(cut.block.coefficients[i], truncated);
    EXPECT_EQ(middle.block.coefficients[i], truncated ? truncated | 4 : 0);
  }
}

// A block attached again with its flags and destination continues where it was.
TEST(Tier1Decoder, flagsAreKept) {
  Random random(12);
  EncodeState encoder(16, 16);
  const Block block = makeBlock(random, 16, 16, Content::wavelet, 8);
  const int options = moxJ2KTermAll | moxJ2KReset;
  const Encoded e = encoder.encode(block, 0, 31, 0, options);
  DecodeState state(16, 16);
  Block dst = emptyBlock(16, 16);
  state.attach(dst, 0, e.numBitPlanes, options, 1);
  ASSERT_EQ(state.step(e.segments()[0]), moxStatusOk);
  const Block first = dst;
  // The first bit-plane's cleanup pass, repeated in the plane below with the flags of the first: no run is left where
  // something is significant, and nothing becomes significant twice.
  state.attach(dst, 0, e.numBitPlanes - 1, options | moxJ2KKeepFlags | moxJ2KKeepDestination, 1);
  ASSERT_EQ(state.step(e.segments()[0]), moxStatusOk);
  for (int i = 0; i < 256; i++) {
    if (first.coefficients[i]) {
      EXPECT_EQ(dst.coefficients[i], first.coefficients[i]);
    }
  }
  EXPECT_NE(dst.coefficients, first.coefficients);
}

// Flags that were never cleared, a destination of noise, any bytes: nothing outside the state, the destination or
// the segment is touched.
TEST(Tier1Decoder, flagsOfAnyKind) {
  Random random(13);
  for (int i = 0; i < 400; i++) {
    const int width = random.between(1, 20), height = random.between(1, 20);
    const int32_t bytes = stateSize(width, height);
    GuardedMemory memory(bytes), destination(4 * width * height), source(100);
    uint8_t* const state = memory.atEnd<uint8_t>(bytes);
    fill(random, Filling::any, state, bytes);
    MoxJ2KDecodeState* const s = reinterpret_cast<MoxJ2KDecodeState*>(state);
    ASSERT_EQ(moxiDecodeCBProgrInit_JPEG2K(s), moxStatusOk);
    Mox32s* const dst = destination.atEnd<Mox32s>(width * height);
    const int planes = random.between(1, 9);
    ASSERT_EQ(moxiDecodeCBProgrAttach_JPEG2K_32s_C1R(dst, 4 * width, width, height, s, random.below(4), planes,
                                                     random.below(32) | moxJ2KKeepFlags),
              moxStatusOk);
    ASSERT_EQ(moxiDecodeCBProgrSetPassCounter_JPEG2K(30, s), moxStatusOk);
    for (int k = 0; k < 10; k++) {
      const int length = random.below(100);
      uint8_t* const segment = source.atEnd<uint8_t>(length);
      fill(random, Filling::any, segment, length);
      moxiDecodeCBProgrStep_JPEG2K(segment, length, s);
    }
  }
}

TEST(Tier1Decoder, destinationRowsInAnyAlignment) {
  Random random(14);
  EncodeState encoder(13, 7);
  const Block block = makeBlock(random, 13, 7, Content::wavelet, 9);
  const Encoded e = encoder.encode(block, 3, 31, 0, 0);
  for (const int step : {52, 53, 55, 61, 100}) {
    const size_t bytes = static_cast<size_t>(step) * 6 + 52;
    GuardedMemory memory(bytes);
    uint8_t* const rows = memory.atEnd<uint8_t>(bytes);
    std::memset(rows, 0xEE, bytes);
    std::vector<uint8_t> buffer(stateSize(13, 7) + 1);
    const int32_t length = static_cast<int32_t>(e.bytes.size());
    ASSERT_EQ(
        moxiDecodeCodeBlock_JPEG2K_1u32s_C1R(e.bytes.data(), reinterpret_cast<Mox32s*>(rows), step, 13, 7, 3,
                                             e.numBitPlanes, e.numPasses, &length, 1, 0, nullptr, buffer.data() + 1),
        moxStatusOk);
    for (int y = 0; y < 7; y++) {
      EXPECT_EQ(std::memcmp(rows + y * step, &block.coefficients[y * 13], 52), 0);
      for (int i = 52; i < step && y < 6; i++) EXPECT_EQ(rows[y * step + i], 0xEE);
    }
  }
}

}  // namespace
}  // namespace test
