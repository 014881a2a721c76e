// The sequential Huffman encoder and the counting of symbols.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "moxj.h"
#include "proof/huffman.h"
#include "support/bits.h"
#include "support/checks.h"
#include "support/guarded.h"
#include "support/targets.h"

namespace test {
namespace {

// An encoder with its segment.
struct Encoder {
  Encoder(const RawTable& dc, const RawTable& ac, size_t size = 4096) : dcTable(dc), acTable(ac), bytes(size, 0xA5) {}

  MoxStatus block(const Mox16s* src) { return call(src, 0); }
  MoxStatus flush() { return call(nullptr, 1); }
  MoxStatus call(const Mox16s* src, int flush) {
    return moxiEncodeHuffman8x8_JPEG_16s1u_C1(src, bytes.data(), static_cast<int32_t>(bytes.size()), &position, &lastDC,
                                              dcTable.get(), acTable.get(), state.get(), flush);
  }
  std::vector<uint8_t> segment() const { return {bytes.begin(), bytes.begin() + position}; }

  EncodeTable dcTable, acTable;
  std::vector<uint8_t> bytes;
  int32_t position = 0;
  Mox16s lastDC = 0;
  EncoderState state;
};

// Codes one block alone and compares with the expected bits.
void expectBlock(const RawTable& dc, const RawTable& ac, const Mox16s* src, const Bits& expected, const char* target) {
  Encoder encoder(dc, ac);
  EXPECT_EQ(encoder.block(src), moxStatusOk) << target;
  EXPECT_EQ(encoder.lastDC, src[0]) << target;
  EXPECT_EQ(encoder.state.word(2), expected.text.size() % 8) << target;
  EXPECT_EQ(encoder.flush(), moxStatusOk) << target;
  EXPECT_EQ(encoder.segment(), expected.bytes()) << target;

  std::vector<uint8_t> direct(4096, 0xA5);
  int32_t bitPosition = 0;
  Mox16s lastDC = 0;
  EXPECT_EQ(moxiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(src, direct.data(), &bitPosition, &lastDC, encoder.dcTable.get(),
                                                      encoder.acTable.get()),
            moxStatusOk);
  std::vector<uint8_t> whole = expected.bytes();
  if (const int pending = static_cast<int>(expected.text.size() % 8)) {
    // Unlike a flush the direct form ends with 0-bits; a byte that only padding made 0xFF is then not stuffed.
    if (whole.back() == 0) whole.pop_back();
    whole.back() &= static_cast<uint8_t>(0xFF00 >> pending);
    EXPECT_EQ(bitPosition, static_cast<int>(whole.size()) * 8 - 8 + pending) << target;
  } else {
    EXPECT_EQ(bitPosition, static_cast<int>(whole.size()) * 8) << target;
  }
  EXPECT_TRUE(std::equal(whole.begin(), whole.end(), direct.begin())) << target;
  EXPECT_EQ(direct[whole.size()], 0xA5) << target;
}

TEST(HuffmanEncoder, checksInOrder) {
  const Mox16s src[64] = {5};
  Mox8u dst[64];
  std::memset(dst, 0xA5, sizeof dst);
  int32_t position = 3;
  Mox16s lastDC = 7;
  EncodeTable dc(typicalDC()), ac(typicalAC());
  EncoderState state;
  const auto good = [&](int flush) {
    return checkOrder("encode", moxiEncodeHuffman8x8_JPEG_16s1u_C1, static_cast<const Mox16s*>(src),
                      static_cast<Mox8u*>(dst), 64, &position, &lastDC,
                      static_cast<const MoxEncodeHuffmanSpec*>(dc.get()),
                      static_cast<const MoxEncodeHuffmanSpec*>(ac.get()), state.get(), flush);
  };
  good(0)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .breaksEach<2>({0, -1, INT32_MIN}, moxStatusBadSize)
      .breaks<3>(nullptr, moxStatusNullPointer)
      .breaks<7>(nullptr, moxStatusNullPointer)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<4>(nullptr, moxStatusNullPointer)
      .breaks<5>(nullptr, moxStatusNullPointer)
      .breaks<6>(nullptr, moxStatusNullPointer)
      .untouched(dst, sizeof dst)
      .untouched(&position, sizeof position)
      .untouched(&lastDC, sizeof lastDC)
      .untouched(state.bytes, sizeof state.bytes)
      .run();
  good(1)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .breaksEach<2>({0, -1, INT32_MIN}, moxStatusBadSize)
      .breaks<3>(nullptr, moxStatusNullPointer)
      .breaks<7>(nullptr, moxStatusNullPointer)
      .run();
  // A flush tests only these.
  EXPECT_EQ(moxiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, dst, 64, &position, nullptr, nullptr, nullptr, state.get(), -1),
            moxStatusOk);

  int32_t bitPosition = 24;
  checkOrder("encode direct", moxiEncodeHuffman8x8_Direct_JPEG_16s1u_C1, static_cast<const Mox16s*>(src),
             static_cast<Mox8u*>(dst), &bitPosition, &lastDC, static_cast<const MoxEncodeHuffmanSpec*>(dc.get()),
             static_cast<const MoxEncodeHuffmanSpec*>(ac.get()))
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .breaks<2>(nullptr, moxStatusNullPointer)
      .breaks<3>(nullptr, moxStatusNullPointer)
      .breaks<4>(nullptr, moxStatusNullPointer)
      .breaks<5>(nullptr, moxStatusNullPointer)
      .untouched(dst, sizeof dst)
      .untouched(&lastDC, sizeof lastDC)
      .run();

  int32_t dcCounts[256] = {}, acCounts[256] = {};
  checkOrder("statistics", moxiGetHuffmanStatistics8x8_JPEG_16s_C1, static_cast<const Mox16s*>(src),
             static_cast<int32_t*>(dcCounts), static_cast<int32_t*>(acCounts), &lastDC)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .breaks<2>(nullptr, moxStatusNullPointer)
      .breaks<3>(nullptr, moxStatusNullPointer)
      .untouched(dcCounts, sizeof dcCounts)
      .untouched(acCounts, sizeof acCounts)
      .untouched(&lastDC, sizeof lastDC)
      .run();
}

TEST(HuffmanEncoder, zeroBlockIsCategory0AndEndOfBlock) {
  forEachTarget([](const mox::Target& target) {
    const RawTable dc = typicalDC(), ac = typicalAC();
    const Mox16s src[64] = {};
    expectBlock(dc, ac, src, Bits().code(dc, 0).code(ac, 0), target.name);
  });
}

TEST(HuffmanEncoder, lastCoefficientAloneTakesThreeZerosCodesAndNoEndOfBlock) {
  forEachTarget([](const mox::Target& target) {
    const RawTable dc = typicalDC(), ac = typicalAC();
    for (const int value : {1, -1, 5, -1023}) {
      Mox16s src[64] = {};
      src[63] = static_cast<Mox16s>(value);
      int size = 0;
      while (std::abs(value) >> size) size++;
      const uint32_t bits = static_cast<uint32_t>(value < 0 ? value - 1 : value) & ((1u << size) - 1);
      expectBlock(
          dc, ac, src,
          Bits().code(dc, 0).code(ac, 0xF0).code(ac, 0xF0).code(ac, 0xF0).code(ac, 0xE0 + size).number(bits, size),
          target.name);
    }
  });
}

TEST(HuffmanEncoder, runsOf15And16Zeros) {
  forEachTarget([](const mox::Target& target) {
    const RawTable dc = typicalDC(), ac = typicalAC();
    Mox16s src[64] = {};
    src[kNatural[16]] = 3;
    expectBlock(dc, ac, src, Bits().code(dc, 0).code(ac, 0xF2).number(3, 2).code(ac, 0), target.name);
    src[kNatural[16]] = 0;
    src[kNatural[17]] = 3;
    expectBlock(dc, ac, src, Bits().code(dc, 0).code(ac, 0xF0).code(ac, 0x02).number(3, 2).code(ac, 0), target.name);
  });
}

TEST(HuffmanEncoder, largestDifferenceIsCategory16) {
  forEachTarget([](const mox::Target& target) {
    Random random(1);
    const RawTable table = fullTable(random);
    for (const bool up : {true, false}) {
      Encoder encoder(table, table);
      Mox16s src[64] = {};
      encoder.lastDC = up ? -32768 : 32767;
      src[0] = up ? 32767 : -32768;
      ASSERT_EQ(encoder.block(src), moxStatusOk) << target.name;
      ASSERT_EQ(encoder.flush(), moxStatusOk);
      const uint32_t bits = up ? 65535 : 0;  // -65535 - 1 ends in sixteen 0-bits
      EXPECT_EQ(encoder.segment(), Bits().code(table, 16).number(bits, 16).code(table, 0).bytes()) << target.name;
    }
  });
}

TEST(HuffmanEncoder, coefficientMinus32768IsCategory16) {
  forEachTarget([](const mox::Target& target) {
    Random random(1);
    const RawTable table = fullTable(random);
    Mox16s src[64] = {};
    src[8] = -32768;  // after one zero: symbol 0x20, which a run of 2 and category 0 would be
    expectBlock(table, table, src, Bits().code(table, 0).code(table, 0x20).number(0x7FFF, 16).code(table, 0),
                target.name);
  });
}

// Category 16 after a run of 15 would be symbol 256.
TEST(HuffmanEncoder, symbol256HasNoCode) {
  forEachTarget([](const mox::Target& target) {
    Random random(1);
    const RawTable table = fullTable(random);
    Mox16s src[64] = {};
    src[kNatural[16]] = -32768;
    Encoder encoder(table, table);
    EXPECT_EQ(encoder.block(src), moxStatusHuffTable) << target.name;
    std::vector<uint8_t> bytes(64, 0xA5);
    int32_t position = 0;
    Mox16s lastDC = 0;
    EXPECT_EQ(moxiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(src, bytes.data(), &position, &lastDC, encoder.dcTable.get(),
                                                        encoder.acTable.get()),
              moxStatusOk);
    const Bits expected = Bits().code(table, 0).number(0x7FFF, 16).code(table, 0);
    EXPECT_EQ(position % 8, static_cast<int>(expected.text.size() % 8)) << target.name;
    int32_t counts[256] = {}, dcCounts[256] = {};
    EXPECT_EQ(moxiGetHuffmanStatistics8x8_JPEG_16s_C1(src, dcCounts, counts, &lastDC), moxStatusOk);
    for (int i = 0; i < 256; i++) EXPECT_EQ(counts[i], i == 0) << target.name;
  });
}

TEST(HuffmanEncoder, flushPadsWithOnesAndResets) {
  RawTable dc, ac;
  dc.bits[2] = 6;  // codes 000 to 101: symbol 5 is 101
  for (int i = 0; i < 6; i++) dc.values[i] = static_cast<Mox8u>(i);
  Encoder encoder(dc, typicalAC());
  encoder.state.setWord(0, 0xA00000);  // 101 under bit 23
  encoder.state.setWord(2, 3);
  encoder.state.setWord(3, 77);
  encoder.state.bytes[1000] = 1;
  EXPECT_EQ(encoder.flush(), moxStatusOk);
  EXPECT_EQ(encoder.segment(), std::vector<uint8_t>{0xBF});
  EncoderState fresh;
  EXPECT_EQ(std::memcmp(encoder.state.bytes, fresh.bytes, 1048), 0);
  EXPECT_EQ(encoder.flush(), moxStatusOk);
  EXPECT_EQ(encoder.position, 1) << "without pending bits nothing is written";
}

TEST(HuffmanEncoder, paddedByteOfAllOnesIsStuffed) {
  Encoder encoder(typicalDC(), typicalAC());
  encoder.state.setWord(0, 0xF00000);
  encoder.state.setWord(2, 4);
  EXPECT_EQ(encoder.flush(), moxStatusOk);
  EXPECT_EQ(encoder.segment(), (std::vector<uint8_t>{0xFF, 0x00}));
}

TEST(HuffmanEncoder, flushIntoAFullDestinationResetsAllTheSame) {
  Encoder encoder(typicalDC(), typicalAC(), 1);
  encoder.state.setWord(0, 0xF00000);
  encoder.state.setWord(2, 4);
  EXPECT_EQ(encoder.flush(), moxStatusOutOfBuffer);
  EXPECT_EQ(encoder.position, 1);
  EXPECT_EQ(encoder.bytes[0], 0xFF);
  EXPECT_EQ(encoder.state.word(2), 0u);
  encoder.state.setWord(0, 0x100000);
  encoder.state.setWord(2, 4);
  EXPECT_EQ(encoder.flush(), moxStatusOutOfBuffer);
  EXPECT_EQ(encoder.position, 1);
  EXPECT_EQ(encoder.state.word(0), 0u);
  EXPECT_EQ(encoder.state.word(2), 0u);
}

TEST(HuffmanEncoder, accumulatorKeepsTheLastByteAboveThePendingBits) {
  forEachTarget([](const mox::Target& target) {
    Encoder encoder(typicalDC(), typicalAC());
    encoder.state.setWord(1, 0x12345678);
    Mox16s src[64] = {3};
    src[1] = -2;
    ASSERT_EQ(encoder.block(src), moxStatusOk);  // 011 11, 01 01, 1010: 0111 1010 | 1101 0
    EXPECT_EQ(encoder.segment(), std::vector<uint8_t>{0x7A}) << target.name;
    EXPECT_EQ(encoder.state.word(0), 0x7AD00000u) << target.name;
    EXPECT_EQ(encoder.state.word(1), 0u) << target.name;
    EXPECT_EQ(encoder.state.word(2), 5u) << target.name;
  });
}

TEST(HuffmanEncoder, symbolWithoutCodeStopsWhereItStands) {
  forEachTarget([](const mox::Target& target) {
    RawTable ac = typicalAC();
    Mox16s src[64] = {0, 1};
    src[63] = 1023;
    ac.values[std::find(ac.values, ac.values + 162, 0xDA) - ac.values] = 0xFF;  // no code for run 13, category 10
    Encoder encoder(typicalDC(), ac);
    encoder.lastDC = 9;
    EXPECT_EQ(encoder.block(src), moxStatusHuffTable) << target.name;
    EXPECT_EQ(encoder.lastDC, 0) << target.name;
    const Bits expected =
        Bits().code(typicalDC(), 4).number(6, 4).code(ac, 1).number(1, 1).code(ac, 0xF0).code(ac, 0xF0).code(ac, 0xF0);
    EXPECT_EQ(encoder.state.word(2), expected.text.size() % 8) << target.name;
    EXPECT_EQ(encoder.position, static_cast<int>(expected.bytes().size() - (expected.text.size() % 8 != 0)))
        << target.name;
    EXPECT_EQ(encoder.bytes[encoder.position], 0xA5) << target.name;
  });
}

// Whatever the room, what has been written is the start of the whole segment, and nothing is written past it.
TEST(HuffmanEncoder, fullDestinationKeepsWhatFits) {
  forEachTarget([](const mox::Target& target) {
    Random random(5);
    Mox16s src[64];
    randomBlock(random, src, 60, 10);
    Encoder whole(typicalDC(), typicalAC());
    ASSERT_EQ(whole.block(src), moxStatusOk);
    for (int size = 1; size < whole.position; size++) {
      GuardedMemory memory(4096);
      Mox8u* const dst = memory.atEnd<Mox8u>(static_cast<size_t>(size));
      int32_t position = 0;
      Mox16s lastDC = 0;
      EncoderState state;
      ASSERT_EQ(moxiEncodeHuffman8x8_JPEG_16s1u_C1(src, dst, size, &position, &lastDC, whole.dcTable.get(),
                                                   whole.acTable.get(), state.get(), 0),
                moxStatusOutOfBuffer)
          << target.name;
      ASSERT_EQ(position, size);
      ASSERT_EQ(std::memcmp(dst, whole.bytes.data(), static_cast<size_t>(size)), 0) << target.name;
      ASSERT_EQ(lastDC, src[0]);
    }
  });
}

TEST(HuffmanEncoder, positionOutsideTheDestinationIsFull) {
  const Mox16s src[64] = {1000};
  for (const int32_t at : {64, 65, INT32_MAX, -1, INT32_MIN}) {
    Encoder encoder(typicalDC(), typicalAC(), 64);
    encoder.position = at;
    EXPECT_EQ(encoder.block(src), moxStatusOutOfBuffer) << at;
    EXPECT_EQ(encoder.position, at);
    EXPECT_EQ(encoder.bytes, std::vector<uint8_t>(64, 0xA5));
  }
}

TEST(HuffmanEncoder, directFormKeepsTheBitsBeforeAndTouchesNoByteAfter) {
  forEachTarget([](const mox::Target& target) {
    EncodeTable dc(typicalDC()), ac(typicalAC());
    const Mox16s zeros[64] = {};  // 00 1010
    for (int start = 0; start < 8; start++) {
      GuardedMemory memory(4096);
      const int bytes = (start + 6 + 7) / 8;
      Mox8u* const dst = memory.atEnd<Mox8u>(static_cast<size_t>(bytes));
      std::memset(dst, 0xFE, static_cast<size_t>(bytes));
      int32_t position = start;
      Mox16s lastDC = 0;
      ASSERT_EQ(moxiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(zeros, dst, &position, &lastDC, dc.get(), ac.get()),
                moxStatusOk);
      const uint32_t kept = start ? 0xFE00u & (0xFF00u << (8 - start)) : 0;
      const uint32_t expected = kept | 0xAu << (16 - 6 - start);
      EXPECT_EQ(dst[0], expected >> 8) << target.name << ", from bit " << start;
      EXPECT_EQ(dst[bytes - 1], (bytes > 1 ? expected : expected >> 8) & 0xFF) << target.name << ", from bit " << start;
      EXPECT_EQ(position, start + 6) << target.name;
    }
  });
}

TEST(HuffmanEncoder, directFormThatEndsOnAByteWritesNoFurtherOne) {
  forEachTarget([](const mox::Target& target) {
    EncodeTable dc(typicalDC()), ac(typicalAC());
    const Mox16s zeros[64] = {};
    GuardedMemory memory(4096);
    Mox8u* const dst = memory.atEnd<Mox8u>(1);
    *dst = 0xC0;
    int32_t position = 2;
    Mox16s lastDC = 0;
    ASSERT_EQ(moxiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(zeros, dst, &position, &lastDC, dc.get(), ac.get()),
              moxStatusOk);
    EXPECT_EQ(position, 8) << target.name;
    EXPECT_EQ(*dst, 0xCA) << target.name;
  });
}

TEST(HuffmanEncoder, directFormWritesNothingForASymbolWithoutCode) {
  forEachTarget([](const mox::Target& target) {
    EncodeTable empty{RawTable()};
    Mox16s src[64] = {};
    src[1] = 5;
    Mox8u dst[4] = {0x55, 0xA5, 0xA5, 0xA5};
    int32_t position = 1;
    Mox16s lastDC = 1;
    ASSERT_EQ(moxiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(src, dst, &position, &lastDC, empty.get(), empty.get()),
              moxStatusOk);
    EXPECT_EQ(position, 1 + 1 + 3) << target.name;  // the value bits alone: 0, 101
    EXPECT_EQ(dst[0], 0x28) << target.name;
    EXPECT_EQ(dst[1], 0xA5) << target.name;
    EXPECT_EQ(lastDC, 0);
  });
}

TEST(HuffmanEncoder, directFormIgnoresANegativePosition) {
  EncodeTable dc(typicalDC()), ac(typicalAC());
  const Mox16s src[64] = {1};
  Mox8u dst[4] = {1, 2, 3, 4};
  int32_t position = -5;
  Mox16s lastDC = 0;
  EXPECT_EQ(moxiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(src, dst, &position, &lastDC, dc.get(), ac.get()), moxStatusOk);
  EXPECT_EQ(position, -5);
  EXPECT_EQ(dst[0], 1);
}

TEST(HuffmanEncoder, statisticsAddToTheCounters) {
  forEachTarget([](const mox::Target& target) {
    int32_t dc[256] = {}, ac[256] = {};
    dc[3] = 100;
    ac[0xF0] = 7;
    ac[0] = INT32_MAX;
    Mox16s lastDC = 2;
    Mox16s src[64] = {7};
    src[kNatural[1]] = -1;
    src[kNatural[17]] = 255;  // after 15 zeros
    src[kNatural[49]] = 256;  // after 31 zeros
    ASSERT_EQ(moxiGetHuffmanStatistics8x8_JPEG_16s_C1(src, dc, ac, &lastDC), moxStatusOk);
    EXPECT_EQ(lastDC, 7);
    int32_t expectedDC[256] = {}, expectedAC[256] = {};
    expectedDC[3] = 101;
    expectedAC[0xF0] = 8;
    expectedAC[0x01] = 1;
    expectedAC[0xF8] = 1;
    expectedAC[0xF9] = 1;
    expectedAC[0] = INT32_MIN;  // counters wrap
    EXPECT_EQ(std::memcmp(dc, expectedDC, sizeof dc), 0) << target.name;
    EXPECT_EQ(std::memcmp(ac, expectedAC, sizeof ac), 0) << target.name;
  });
}

}  // namespace
}  // namespace test
