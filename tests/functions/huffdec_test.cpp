// The sequential Huffman decoder.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "moxj.h"
#include "proof/huffman.h"
#include "support/checks.h"
#include "support/guarded.h"
#include "support/targets.h"

namespace test {
namespace {

using Bytes = std::vector<uint8_t>;

struct Decoder {
  Decoder(const RawTable& dc, const RawTable& ac, Bytes source) : dcTable(dc), acTable(ac), source(std::move(source)) {
    this->source.reserve(this->source.size() + 1);
  }

  MoxStatus block() {
    std::memset(dst, 0x55, sizeof dst);
    return moxiDecodeHuffman8x8_JPEG_1u16s_C1(source.data(), static_cast<int32_t>(source.size()), &position, dst,
                                              &lastDC, &marker, dcTable.get(), acTable.get(), state.get());
  }
  MoxStatus direct() {
    std::memset(dst, 0x55, sizeof dst);
    return moxiDecodeHuffman8x8_Direct_JPEG_1u16s_C1(source.data(), &bitPosition, dst, &lastDC, &marker, &bits, &count,
                                                     dcTable.get(), acTable.get());
  }
  int nonZeros() const {
    int n = 0;
    for (const Mox16s v : dst) n += v != 0;
    return n;
  }

  DecodeTable dcTable, acTable;
  Bytes source;
  int32_t position = 0, bitPosition = 0, marker = 0, count = 0;
  Mox32u bits = 0;
  Mox16s dst[64], lastDC = 0;
  DecoderState state;
};

// Symbol v has the 8-bit code v: bytes are symbols.
RawTable bytesAreSymbols() {
  RawTable table;
  table.bits[7] = 255;
  table.bits[8] = 1;
  for (int i = 0; i < 256; i++) table.values[i] = static_cast<Mox8u>(i);
  return table;
}

TEST(HuffmanDecoder, checksInOrder) {
  const Mox8u src[16] = {0x28};
  int32_t position = 0, marker = 0, bitPosition = 0, count = 0;
  Mox16s dst[64] = {1, 2, 3}, lastDC = 4;
  Mox32u bits = 0;
  DecodeTable dc(typicalDC()), ac(typicalAC());
  DecoderState state;
  const MoxDecodeHuffmanSpec *const dcTable = dc.get(), *const acTable = ac.get();
  checkOrder("decode", moxiDecodeHuffman8x8_JPEG_1u16s_C1, static_cast<const Mox8u*>(src), 16, &position,
             static_cast<Mox16s*>(dst), &lastDC, &marker, dcTable, acTable, state.get())
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaksEach<1>({-1, INT32_MIN}, moxStatusBadArgument)
      .breaks<2>(nullptr, moxStatusNullPointer)
      .breaks<3>(nullptr, moxStatusNullPointer)
      .breaks<4>(nullptr, moxStatusNullPointer)
      .breaks<5>(nullptr, moxStatusNullPointer)
      .breaks<6>(nullptr, moxStatusNullPointer)
      .breaks<7>(nullptr, moxStatusNullPointer)
      .breaks<8>(nullptr, moxStatusNullPointer)
      .untouched(dst, sizeof dst)
      .untouched(&lastDC, sizeof lastDC)
      .untouched(&position, sizeof position)
      .untouched(&marker, sizeof marker)
      .untouched(state.bytes, sizeof state.bytes)
      .run();
  position = -1;
  EXPECT_EQ(
      moxiDecodeHuffman8x8_JPEG_1u16s_C1(src, 16, &position, dst, &lastDC, &marker, dcTable, acTable, state.get()),
      moxStatusBadArgument);

  int32_t negative = -1;
  checkOrder("decode direct", moxiDecodeHuffman8x8_Direct_JPEG_1u16s_C1, static_cast<const Mox8u*>(src), &bitPosition,
             static_cast<Mox16s*>(dst), &lastDC, &marker, &bits, &count, dcTable, acTable)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .breaks<1>(&negative, moxStatusBadArgument)
      .breaks<2>(nullptr, moxStatusNullPointer)
      .breaks<3>(nullptr, moxStatusNullPointer)
      .breaks<4>(nullptr, moxStatusNullPointer)
      .breaks<5>(nullptr, moxStatusNullPointer)
      .breaks<6>(nullptr, moxStatusNullPointer)
      .breaks<6>(&negative, moxStatusBadArgument)
      .breaks<7>(nullptr, moxStatusNullPointer)
      .breaks<8>(nullptr, moxStatusNullPointer)
      .untouched(dst, sizeof dst)
      .untouched(&lastDC, sizeof lastDC)
      .untouched(&bitPosition, sizeof bitPosition)
      .untouched(&marker, sizeof marker)
      .untouched(&bits, sizeof bits)
      .untouched(&count, sizeof count)
      .run();
}

TEST(HuffmanDecoder, blockIsClearedAndFilled) {
  forEachTarget([](const mox::Target& target) {
    // DC 011 11 (3), AC 01 01 (-2), EOB 1010, then ones
    Decoder decoder(typicalDC(), typicalAC(), {0x7A, 0xD7, 0xFF, 0x00, 0xFF, 0x00, 0x11, 0x22, 0x33, 0x44,
                                               0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE});
    decoder.lastDC = 10;
    ASSERT_EQ(decoder.block(), moxStatusOk) << target.name;
    Mox16s expected[64] = {13, -2};
    EXPECT_EQ(std::memcmp(decoder.dst, expected, sizeof expected), 0) << target.name;
    EXPECT_EQ(decoder.lastDC, 13);
    EXPECT_EQ(decoder.position, 6) << target.name;  // four data bytes: 7A D7 FF00 FF00
    EXPECT_EQ(decoder.state.word(0), 0x7AD7FFFFu) << target.name;
    EXPECT_EQ(decoder.state.word(1), 0u) << target.name;
    EXPECT_EQ(decoder.state.word(2), 32u - 13) << target.name;
    EXPECT_EQ(decoder.state.word(3), 0u) << target.name;
    EXPECT_EQ(decoder.state.word(4), 62u) << target.name;
  });
}

TEST(HuffmanDecoder, lengthZeroIsTakenAndGivesOutOfBuffer) {
  Decoder decoder(typicalDC(), typicalAC(), {});
  Mox8u none = 0;
  EXPECT_EQ(
      moxiDecodeHuffman8x8_JPEG_1u16s_C1(&none, 0, &decoder.position, decoder.dst, &decoder.lastDC, &decoder.marker,
                                         decoder.dcTable.get(), decoder.acTable.get(), decoder.state.get()),
      moxStatusOutOfBuffer);
  decoder.state.setWord(0, 0x0A);  // 00 1010 is a whole block
  decoder.state.setWord(2, 6);
  EXPECT_EQ(
      moxiDecodeHuffman8x8_JPEG_1u16s_C1(&none, 0, &decoder.position, decoder.dst, &decoder.lastDC, &decoder.marker,
                                         decoder.dcTable.get(), decoder.acTable.get(), decoder.state.get()),
      moxStatusOk);
  EXPECT_EQ(decoder.state.word(2), 0u);
  EXPECT_EQ(decoder.state.word(4), 63u);
}

TEST(HuffmanDecoder, stuffedAndFillBytes) {
  forEachTarget([](const mox::Target& target) {
    // 1111 1111 | 0...: the typical DC table has no such code, so let every byte be a symbol; 255 is code 1111 1111
    // 0.
    const RawTable table = bytesAreSymbols();
    Decoder decoder(table, table, {0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xD0, 0x12});
    EXPECT_EQ(decoder.block(), moxStatusMarkerMet) << target.name;
    EXPECT_EQ(decoder.marker, 0xD0) << target.name;
    EXPECT_EQ(decoder.position, 6) << target.name;
    EXPECT_EQ(decoder.state.word(2), 0u) << target.name;

    Decoder stuffed(table, table, {0x00, 0x01, 0xFF, 0x00, 0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00});
    EXPECT_EQ(stuffed.block(), moxStatusOk) << target.name;
    EXPECT_EQ(stuffed.dst[1], 1) << target.name;  // symbol 1 and a 1-bit; then 1111 1111? no: 111 1111 1 follows
  });
}

TEST(HuffmanDecoder, markerEndsTheDataButHeldBitsAreDecoded) {
  forEachTarget([](const mox::Target& target) {
    // Three zero blocks of 00 1010 and 6 bits of padding, then a marker.
    Decoder decoder(typicalDC(), typicalAC(), {0x28, 0xA2, 0xBF, 0xFF, 0xD9, 0x28, 0xA2});
    EXPECT_EQ(decoder.block(), moxStatusMarkerMet) << target.name;
    EXPECT_EQ(decoder.marker, 0xD9);
    EXPECT_EQ(decoder.position, 5);
    EXPECT_EQ(decoder.block(), moxStatusOk) << target.name;
    EXPECT_EQ(decoder.block(), moxStatusOk) << target.name;
    EXPECT_EQ(decoder.state.word(2), 6u);
    EXPECT_EQ(decoder.block(), moxStatusOutOfBuffer) << target.name;
    EXPECT_EQ(decoder.position, 5);
  });
}

TEST(HuffmanDecoder, bitsNeededBeyondTheMarkerThatTheLoadMet) {
  forEachTarget([](const mox::Target& target) {
    // Category 11 of the typical table (111111110) wants 11 value bits; only 7 come before the marker.
    Decoder decoder(typicalDC(), typicalAC(), {0xFF, 0x00, 0x55, 0xFF, 0xD9});
    EXPECT_EQ(decoder.block(), moxStatusOutOfBuffer) << target.name;
    EXPECT_EQ(decoder.marker, 0xD9) << target.name;
    EXPECT_EQ(decoder.position, 5) << target.name;
    EXPECT_EQ(decoder.state.word(2), 7u) << target.name;
    EXPECT_EQ(decoder.lastDC, 0);
  });
}

TEST(HuffmanDecoder, sourceThatEndsAfterFF) {
  forEachTarget([](const mox::Target& target) {
    Decoder decoder(typicalDC(), typicalAC(), {0x28, 0xFF});
    EXPECT_EQ(decoder.block(), moxStatusOutOfBuffer) << target.name;
    EXPECT_EQ(decoder.position, 2) << target.name;
    EXPECT_EQ(decoder.state.word(0), 0x28u) << target.name;
    EXPECT_EQ(decoder.state.word(2), 8u) << target.name;
  });
}

TEST(HuffmanDecoder, runPastTheBlockUpToNinePlacesIsCoefficient63) {
  forEachTarget([](const mox::Target& target) {
    const RawTable table = bytesAreSymbols();
    for (int run = 0; run <= 15; run++) {
      // Three times 16 zeros bring the cursor to 49; run 14 brings it to 63.
      for (int first = 0; first <= 14; first++) {
        Bytes source = {0x00, 0xF0, 0xF0, 0xF0, static_cast<uint8_t>(first << 4 | 8), 0x80};
        source.push_back(static_cast<uint8_t>(run << 4 | 8));
        source.insert(source.end(), {0x83, 0x00, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
        const int cursor = 49 + first;
        Decoder decoder(table, table, source), direct(table, table, source);
        if (cursor == 63) {
          EXPECT_EQ(decoder.block(), moxStatusOk);
          EXPECT_EQ(decoder.dst[63], 128);
          EXPECT_EQ(decoder.state.word(4), 0u);
          continue;
        }
        const int reached = cursor + 1 + run;
        EXPECT_EQ(decoder.block(), reached > 72 ? moxStatusError : moxStatusOk)
            << target.name << ", position " << reached;
        EXPECT_EQ(direct.direct(), reached > 72 ? moxStatusError : moxStatusOk)
            << target.name << ", position " << reached;
        if (reached > 72) continue;
        if (reached >= 63) {
          EXPECT_EQ(decoder.dst[63], 0x83) << target.name << ", position " << reached;
          EXPECT_EQ(static_cast<int32_t>(decoder.state.word(4)), 63 - reached) << target.name;
        }
        EXPECT_EQ(std::memcmp(decoder.dst, direct.dst, sizeof decoder.dst), 0);
      }
    }
  });
}

TEST(HuffmanDecoder, zerosCodesMayEndTheBlock) {
  forEachTarget([](const mox::Target& target) {
    const RawTable table = bytesAreSymbols();
    Decoder decoder(table, table,
                    {0x00, 0xF0, 0xF0, 0xF0, 0xF0, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(decoder.block(), moxStatusOk) << target.name;
    EXPECT_EQ(decoder.nonZeros(), 0) << target.name;
    EXPECT_EQ(static_cast<int32_t>(decoder.state.word(4)), -1) << target.name;
  });
}

TEST(HuffmanDecoder, emptySizesWithARunBelow15EndTheBlock) {
  forEachTarget([](const mox::Target& target) {
    const RawTable table = bytesAreSymbols();
    for (int run = 0; run < 15; run++) {
      Decoder decoder(
          table, table,
          {0x00, 0x01, static_cast<uint8_t>(0x80 | run << 3), 0x00, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1});
      EXPECT_EQ(decoder.block(), moxStatusOk) << target.name;
      EXPECT_EQ(decoder.state.word(4), 62u) << target.name;
    }
  });
}

TEST(HuffmanDecoder, dcSumWrapsAt16BitsAndUsesTheLowFourBits) {
  forEachTarget([](const mox::Target& target) {
    const RawTable table = bytesAreSymbols();
    // Symbol 0x3F: 15 bits; 111111111111111 is 32767.
    Decoder decoder(table, table, {0x3F, 0xFF, 0x00, 0xFE, 0x00, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    decoder.lastDC = 32767;
    EXPECT_EQ(decoder.block(), moxStatusOk) << target.name;
    EXPECT_EQ(decoder.lastDC, -2) << target.name;
    EXPECT_EQ(decoder.dst[0], -2) << target.name;
    // 15 zero bits are -32767.
    Decoder lowest(table, table, {0x0F, 0x00, 0x00, 0x00, 0x00, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(lowest.block(), moxStatusOk) << target.name;
    EXPECT_EQ(lowest.dst[0], -32767) << target.name;
  });
}

TEST(HuffmanDecoder, unknownCodeIsSymbol0OrInTheDirectFormAnError) {
  forEachTarget([](const mox::Target& target) {
    // No code of the typical DC table starts with nine ones; the reader reads 17 bits before it gives up.
    const Bytes source = {0xFF, 0x00, 0xFF, 0x00, 0xD7, 0xAA, 0xAA, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    Decoder decoder(typicalDC(), typicalAC(), source);
    EXPECT_EQ(decoder.block(), moxStatusOk) << target.name;  // then 1010: 1 1010 111 ...
    EXPECT_EQ(decoder.dst[0], 0) << target.name;
    Decoder direct(typicalDC(), typicalAC(), source);
    EXPECT_EQ(direct.direct(), moxStatusCoefficientRange) << target.name;
    EXPECT_EQ(direct.bitPosition, 0);
    EXPECT_EQ(direct.count, 0);
  });
}

TEST(HuffmanDecoder, directFormPutsThePositionOnAByte) {
  forEachTarget([](const mox::Target& target) {
    Decoder decoder(typicalDC(), typicalAC(), {0x28, 0xA2, 0xBF, 0x7A, 0xD7, 0xFF, 0xD9});
    decoder.bitPosition = 5;  // the same as 0
    EXPECT_EQ(decoder.direct(), moxStatusOk) << target.name;
    EXPECT_EQ(decoder.bitPosition, 32) << target.name;
    EXPECT_EQ(decoder.bits, 0x28A2BF7Au) << target.name;
    EXPECT_EQ(decoder.count, 26) << target.name;
    EXPECT_EQ(decoder.direct(), moxStatusOk);
    EXPECT_EQ(decoder.direct(), moxStatusOk);
    EXPECT_EQ(decoder.count, 14);
    EXPECT_EQ(decoder.marker, 0);
  });
}

TEST(HuffmanDecoder, directFormPadsAShortLookup) {
  Decoder decoder(typicalDC(), typicalAC(), {0xFF, 0xD9});
  decoder.bits = 0x0A;
  decoder.count = 6;
  decoder.marker = 0xD9;
  EXPECT_EQ(decoder.direct(), moxStatusOk);
  EXPECT_EQ(decoder.count, 0);
  EXPECT_EQ(decoder.bitPosition, 0);
}

TEST(HuffmanDecoder, directFormThatRunsOutBeforeDCKeepsItsBits) {
  Decoder decoder(typicalDC(), typicalAC(), {0xFF, 0x00, 0xFF, 0xD9});
  decoder.bitPosition = 16;  // at the marker
  decoder.bits = 0x7F;       // seven ones start a long code
  decoder.count = 7;
  decoder.lastDC = 5;
  EXPECT_EQ(decoder.direct(), moxStatusOk);
  EXPECT_EQ(decoder.marker, 0xD9);
  EXPECT_EQ(decoder.bits, 0x7Fu);
  EXPECT_EQ(decoder.count, 7);
  EXPECT_EQ(decoder.bitPosition, 16);
  EXPECT_EQ(decoder.lastDC, 5);
  EXPECT_EQ(decoder.nonZeros(), 0);
}

TEST(HuffmanDecoder, directFormThatRunsOutAheadOfACDropsItsBits) {
  Decoder decoder(typicalDC(), typicalAC(), {0x3F, 0xFF, 0x00, 0xFF, 0xD9});  // 00, then 14 ones
  decoder.lastDC = 5;
  EXPECT_EQ(decoder.direct(), moxStatusOk);
  EXPECT_EQ(decoder.marker, 0xD9);
  EXPECT_EQ(decoder.count, 0);
  EXPECT_EQ(decoder.bitPosition, 40);
  EXPECT_EQ(decoder.dst[0], 5);
}

TEST(HuffmanDecoder, directFormWithoutItsValueBits) {
  Decoder decoder(typicalDC(), typicalAC(), {0xFF, 0x00, 0x7F, 0xFF, 0xD9});  // category 11 and 7 bits
  EXPECT_EQ(decoder.direct(), moxStatusOutOfBuffer);
  EXPECT_EQ(decoder.count, 0);
  EXPECT_EQ(decoder.bitPosition, 0);
}

// The source ends at a page's last byte, the block at another's.
TEST(HuffmanDecoder, nothingIsReadBehindTheSource) {
  forEachTarget([](const mox::Target& target) {
    GuardedMemory sourceMemory(4096), blockMemory(4096);
    Mox16s* const dst = blockMemory.atEnd<Mox16s>(64);
    DecodeTable dc(typicalDC()), ac(typicalAC());
    Random random(9);
    for (int size = 1; size < 200; size++) {
      Mox8u* const src = sourceMemory.atEnd<Mox8u>(static_cast<size_t>(size));
      for (int i = 0; i < size; i++) src[i] = random.any<Mox8u>();
      int32_t position = 0, marker = 0;
      Mox16s lastDC = 0;
      DecoderState state;
      MoxStatus status = moxStatusOk;
      for (int calls = 0; status >= 0 && calls < 10000; calls++) {
        status = moxiDecodeHuffman8x8_JPEG_1u16s_C1(src, size, &position, dst, &lastDC, &marker, dc.get(), ac.get(),
                                                    state.get());
        ASSERT_LE(position, size) << target.name;
        if (status == moxStatusError) status = moxStatusOk;
        marker = 0;
      }
      EXPECT_EQ(status, moxStatusOutOfBuffer) << target.name;
    }
  });
}

}  // namespace
}  // namespace test
