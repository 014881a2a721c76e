// Which bytes of a destination an encoder touches: those that it writes, and none before or past them. Each call is
// repeated with an inaccessible page directly past its last byte, and with one directly before its first.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <vector>

#include "proof/huffman.h"
#include "support/guarded.h"
#include "support/targets.h"

namespace test {
namespace {

// What a call changes besides the destination.
struct Call {
  EncoderState state;
  int32_t position = 0;
  Mox16s lastDC = 0;
};

using Encode = std::function<void(Mox8u* dst, int32_t length, Call& call, const Mox16s* block)>;

constexpr int kLongestSegment = 3000;

void repeatWithinItsBytes(const Encode& encode, Call before, const Call& after, const Mox16s* block, int unit,
                          const Mox8u* written, Mox8u firstByte, GuardedMemory& memory, bool atEnd) {
  const int first = before.position / unit, last = (after.position + unit - 1) / unit;
  Mox8u* const dst = atEnd ? memory.atEnd<Mox8u>(static_cast<size_t>(last)) : memory.atStart<Mox8u>() - first;
  if (last > first) dst[first] = firstByte;
  encode(dst, last + 200, before, block);  // the destination's length promises far more than is accessible
  ASSERT_EQ(before.position, after.position);
  ASSERT_EQ(std::memcmp(before.state.bytes, after.state.bytes, sizeof after.state.bytes), 0);
  ASSERT_TRUE(last <= first || std::memcmp(dst + first, written + first, static_cast<size_t>(last - first)) == 0);
}

// Positions count in units of a byte's `unit`-th.
void expectNoOtherByteIsTouched(const Encode& encode, int unit = 1) {
  forEachTarget([&](const mox::Target& target) {
    Random random(71);
    GuardedMemory memory(8192);
    std::vector<Mox8u> segment(8192);
    Call call;
    for (int n = 0; n < 4000 && !testing::Test::HasFatalFailure(); n++) {
      SCOPED_TRACE(testing::Message() << target.name << ", block " << n);
      if (call.position / unit > kLongestSegment) call = Call();
      Mox16s block[64];
      static const int densities[] = {0, 1, 2, 4, 8, 16, 32, 64};
      randomBlock(random, block, densities[random.below(8)], random.between(1, random.oneIn(4) ? 10 : 4));
      const Call before = call;
      const Mox8u firstByte = segment[static_cast<size_t>(before.position / unit)];
      encode(segment.data(), static_cast<int32_t>(segment.size()), call, block);
      for (const bool atEnd : {true, false})
        repeatWithinItsBytes(encode, before, call, block, unit, segment.data(), firstByte, memory, atEnd);
    }
  });
}

RawTable everySymbol(uint64_t seed) {
  Random random(seed);
  return randomTable(random, 256, false);
}

TEST(EncoderWrites, sequential) {
  EncodeTable dc(typicalDC()), typical(typicalAC()), full(everySymbol(1));
  for (EncodeTable* const ac : {&typical, &full})
    expectNoOtherByteIsTouched([&](Mox8u* dst, int32_t length, Call& call, const Mox16s* block) {
      moxiEncodeHuffman8x8_JPEG_16s1u_C1(block, dst, length, &call.position, &call.lastDC, dc.get(), ac->get(),
                                         call.state.get(), 0);
    });
}

TEST(EncoderWrites, direct) {
  EncodeTable dc(typicalDC()), typical(typicalAC()), full(everySymbol(1));
  for (EncodeTable* const ac : {&typical, &full})
    expectNoOtherByteIsTouched(
        [&](Mox8u* dst, int32_t, Call& call, const Mox16s* block) {
          moxiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(block, dst, &call.position, &call.lastDC, dc.get(), ac->get());
        },
        8);
}

TEST(EncoderWrites, progressive) {
  EncodeTable full(everySymbol(2));
  expectNoOtherByteIsTouched([&](Mox8u* dst, int32_t length, Call& call, const Mox16s* block) {
    moxiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(block, dst, length, &call.position, &call.lastDC, 1, full.get(),
                                               call.state.get(), 0);
  });
  expectNoOtherByteIsTouched([&](Mox8u* dst, int32_t length, Call& call, const Mox16s* block) {
    moxiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(block, dst, length, &call.position, 0, call.state.get(), 0);
  });
  expectNoOtherByteIsTouched([&](Mox8u* dst, int32_t length, Call& call, const Mox16s* block) {
    moxiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(block, dst, length, &call.position, 1, 63, 0, full.get(),
                                               call.state.get(), 0);
  });
  expectNoOtherByteIsTouched([&](Mox8u* dst, int32_t length, Call& call, const Mox16s* block) {
    moxiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(block, dst, length, &call.position, 1, 63, 0, full.get(),
                                                call.state.get(), 0);
  });
}

TEST(EncoderWrites, lossless) {
  EncodeTable full(everySymbol(3));
  expectNoOtherByteIsTouched([&](Mox8u* dst, int32_t length, Call& call, const Mox16s* block) {
    moxiEncodeHuffmanOne_JPEG_16s1u_C1(block + 63, dst, length, &call.position, full.get(), call.state.get(), 0);
  });
}

TEST(EncoderWrites, flush) {
  EncodeTable full(everySymbol(4));
  expectNoOtherByteIsTouched([&](Mox8u* dst, int32_t length, Call& call, const Mox16s* block) {
    moxiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(block, dst, length, &call.position, 1, 63, 0, full.get(),
                                                call.state.get(), block[1] > 0);
  });
}

}  // namespace
}  // namespace test
