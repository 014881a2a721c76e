// The Huffman decoders of progressive scans.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "moxj.h"
#include "proof/progressive.h"
#include "support/bits.h"
#include "support/checks.h"
#include "support/guarded.h"
#include "support/targets.h"

namespace test {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr Scan kDCFirst{Kind::dcFirst, 0, 0, 0}, kDCRefine{Kind::dcRefine, 0, 0, 0};
constexpr Scan kACFirst{Kind::acFirst, 1, 63, 0}, kACRefine{Kind::acRefine, 1, 63, 0};

// Pads the tested bits with enough bytes that nothing runs out.
Bytes followed(Bytes bytes) {
  bytes.insert(bytes.end(), 24, 0);
  return bytes;
}

// ---- Checks -------------------------------------------------------------------------------------------------------

struct CheckedCall {
  Mox8u src[32] = {};
  int32_t position = 2, marker = 0, negative = -1;
  Mox16s dst[64] = {1, 2, 3}, lastDC = 4;
  DecodeTable raw{typicalAC()};
  const MoxDecodeHuffmanSpec* const table = raw.get();
  DecoderState state;

  template <class Order>
  void run(Order order) {
    order.untouched(dst, sizeof dst)
        .untouched(&position, sizeof position)
        .untouched(&negative, sizeof negative)
        .untouched(&marker, sizeof marker)
        .untouched(&lastDC, sizeof lastDC)
        .untouched(state.bytes, sizeof state.bytes)
        .run();
  }
};

// The position below 0 is tested last, wherever its pointer is among the arguments.
#define BREAKS_POSITION(c) \
  breaksBy(                \
      "negative position", [&c](auto& args) { std::get<2>(args) = &c.negative; }, moxStatusBadArgument)

TEST(ProgressiveDecoder, checksInOrder) {
  CheckedCall c;
  auto dcFirst =
      checkOrder("DC first", moxiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1, static_cast<const Mox8u*>(c.src), 32,
                 &c.position, static_cast<Mox16s*>(c.dst), &c.lastDC, &c.marker, 0, c.table, c.state.get());
  dcFirst.breaks<0>(nullptr, moxStatusNullPointer)
      .breaksEach<1>({0, -1, INT32_MIN}, moxStatusBadSize)
      .breaks<2>(nullptr, moxStatusNullPointer)
      .breaks<3>(nullptr, moxStatusNullPointer)
      .breaks<4>(nullptr, moxStatusNullPointer)
      .breaks<5>(nullptr, moxStatusNullPointer)
      .breaksEach<6>({-1, 14, INT32_MIN, INT32_MAX}, moxStatusBadArgument)
      .breaks<7>(nullptr, moxStatusNullPointer)
      .breaks<8>(nullptr, moxStatusNullPointer)
      .BREAKS_POSITION(c);
  c.run(dcFirst);

  auto dcRefine = checkOrder("DC refine", moxiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1, static_cast<const Mox8u*>(c.src),
                             32, &c.position, static_cast<Mox16s*>(c.dst), &c.marker, 0, c.state.get());
  dcRefine.breaks<0>(nullptr, moxStatusNullPointer)
      .breaksEach<1>({0, -1, INT32_MIN}, moxStatusBadSize)
      .breaks<2>(nullptr, moxStatusNullPointer)
      .breaks<3>(nullptr, moxStatusNullPointer)
      .breaks<4>(nullptr, moxStatusNullPointer)
      .breaksEach<5>({-1, 14, INT32_MIN, INT32_MAX}, moxStatusBadArgument)
      .breaks<6>(nullptr, moxStatusNullPointer)
      .BREAKS_POSITION(c);
  c.run(dcRefine);
}

template <auto Function>
void checkAC(const char* name) {
  CheckedCall c;
  auto order = checkOrder(name, Function, static_cast<const Mox8u*>(c.src), 32, &c.position,
                          static_cast<Mox16s*>(c.dst), &c.marker, 1, 63, 0, c.table, c.state.get());
  order.template breaks<0>(nullptr, moxStatusNullPointer)
      .template breaksEach<1>({0, -1, INT32_MIN}, moxStatusBadSize)
      .template breaks<2>(nullptr, moxStatusNullPointer)
      .template breaks<3>(nullptr, moxStatusNullPointer)
      .template breaks<4>(nullptr, moxStatusNullPointer)
      .template breaksEach<5>({0, -1, 64, INT32_MIN, INT32_MAX}, moxStatusBadArgument)
      .template breaksEach<6>({0, -1, 64, INT32_MIN, INT32_MAX}, moxStatusBadArgument)
      .template breaksEach<7>({-1, 14, INT32_MIN, INT32_MAX}, moxStatusBadArgument)
      .template breaks<8>(nullptr, moxStatusNullPointer)
      .template breaks<9>(nullptr, moxStatusNullPointer)
      .BREAKS_POSITION(c);
  c.run(order);
  EXPECT_EQ(Function(c.src, 32, &c.position, c.dst, &c.marker, 6, 5, 0, c.table, c.state.get()), moxStatusBadArgument)
      << name;
  EXPECT_EQ(Function(c.src, 32, &c.position, c.dst, &c.marker, 63, 63, 13, c.table, c.state.get()), moxStatusOk)
      << name;
}

TEST(ProgressiveDecoder, checksOfACInOrder) {
  checkAC<moxiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1>("AC first");
  checkAC<moxiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1>("AC refine");
}

// These refuse an empty source, as a size; the sequential decoder takes it. Both refuse a negative one, with different
// statuses.
TEST(ProgressiveDecoder, emptySourceIsRefusedUnlikeSequentially) {
  CheckedCall c;
  c.state.setWord(2, 32);
  c.position = 0;
  for (const int length : {0, -1}) {
    EXPECT_EQ(moxiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(c.src, length, &c.position, c.dst, &c.lastDC, &c.marker, 0,
                                                         c.table, c.state.get()),
              moxStatusBadSize);
    EXPECT_EQ(
        moxiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(c.src, length, &c.position, c.dst, &c.marker, 0, c.state.get()),
        moxStatusBadSize);
    EXPECT_EQ(moxiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(c.src, length, &c.position, c.dst, &c.marker, 1, 63, 0,
                                                         c.table, c.state.get()),
              moxStatusBadSize);
    EXPECT_EQ(moxiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(c.src, length, &c.position, c.dst, &c.marker, 1, 63, 0,
                                                          c.table, c.state.get()),
              moxStatusBadSize);
    EXPECT_EQ(moxiDecodeHuffman8x8_JPEG_1u16s_C1(c.src, length, &c.position, c.dst, &c.lastDC, &c.marker, c.table,
                                                 c.table, c.state.get()),
              length == 0 ? moxStatusOutOfBuffer : moxStatusBadArgument);
  }
}

// ---- DC -----------------------------------------------------------------------------------------------------------

TEST(ProgressiveDecoder, dcFirstStoresShiftedSums) {
  forEachTarget([](const mox::Target& target) {
    const RawTable dc = typicalDC();
    // +3, -1, 0
    ScanDecoder decoder({Kind::dcFirst, 0, 0, 1}, dc,
                        followed(Bits().code(dc, 2).number(3, 2).code(dc, 1).number(0, 1).code(dc, 0).bytes()));
    Mox16s dst[64] = {99, 7};
    EXPECT_EQ(decoder.block(dst), moxStatusOk);
    EXPECT_EQ(dst[0], 6) << target.name;
    EXPECT_EQ(decoder.block(dst), moxStatusOk);
    EXPECT_EQ(dst[0], 4) << target.name;
    EXPECT_EQ(decoder.block(dst), moxStatusOk);
    EXPECT_EQ(dst[0], 4) << target.name;
    EXPECT_EQ(dst[1], 7);
    EXPECT_EQ(decoder.lastDC, 2);
  });
}

TEST(ProgressiveDecoder, dcFirstWrapsAt16BitsAndUsesTheLowFourBits) {
  forEachTarget([](const mox::Target& target) {
    ScanDecoder decoder({Kind::dcFirst, 0, 0, 13}, byteTable(), followed({0x3F, 0xFF, 0x00, 0xFE}));  // 32767
    decoder.lastDC = 32767;
    Mox16s dst[64] = {};
    EXPECT_EQ(decoder.block(dst), moxStatusOk) << target.name;
    EXPECT_EQ(decoder.lastDC, -2) << target.name;
    EXPECT_EQ(dst[0], -16384) << target.name;
    EXPECT_EQ(decoder.position, 5) << target.name;  // four data bytes: 3F FF00 FE 00
  });
}

TEST(ProgressiveDecoder, dcRefineSetsOneBit) {
  forEachTarget([](const mox::Target& target) {
    ScanDecoder decoder({Kind::dcRefine, 0, 0, 2}, RawTable(), {0xB1, 0x80});
    const int before[9] = {0, 8, -8, -16, 32, 0, 0, 0, 1}, after[9] = {4, 8, -4, -12, 32, 0, 0, 4, 5};  // 1011 0001 1
    for (int i = 0; i < 9; i++) {
      Mox16s dst[64] = {static_cast<Mox16s>(before[i]), 5};
      EXPECT_EQ(decoder.block(dst), moxStatusOk);
      EXPECT_EQ(dst[0], after[i]) << target.name << i;
      EXPECT_EQ(dst[1], 5);
      // Only the byte whose first bit is wanted is loaded.
      EXPECT_EQ(decoder.position, 1 + i / 8) << target.name;
      EXPECT_EQ(decoder.state.word(2), 7u - static_cast<unsigned>(i) % 8) << target.name;
    }
  });
}

TEST(ProgressiveDecoder, dcRefineAtMarkerAndEnd) {
  forEachTarget([](const mox::Target& target) {
    Mox16s dst[64] = {};
    ScanDecoder decoder(kDCRefine, RawTable(), {0xFF, 0x00, 0xFF, 0xFF, 0xD9});
    for (int i = 0; i < 8; i++) EXPECT_EQ(decoder.block(dst), moxStatusOk);
    EXPECT_EQ(decoder.position, 2) << target.name;
    EXPECT_EQ(decoder.block(dst), moxStatusOutOfBuffer) << target.name;
    EXPECT_EQ(decoder.marker, 0xD9);
    EXPECT_EQ(decoder.position, 5) << target.name;
    EXPECT_EQ(decoder.block(dst), moxStatusOutOfBuffer) << target.name;
    EXPECT_EQ(decoder.position, 5) << target.name;
    ScanDecoder cut(kDCRefine, RawTable(), {0x00, 0xFF});
    for (int i = 0; i < 8; i++) EXPECT_EQ(cut.block(dst), moxStatusOk);
    EXPECT_EQ(cut.block(dst), moxStatusOutOfBuffer) << target.name;
    EXPECT_EQ(cut.position, 2) << target.name;
    EXPECT_EQ(cut.block(dst), moxStatusOutOfBuffer) << target.name;
    EXPECT_EQ(cut.position, 2) << target.name;
    EXPECT_EQ(cut.state.word(2), 0u);
  });
}

TEST(ProgressiveDecoder, dcFirstThatRunsOutChangesNoCoefficient) {
  forEachTarget([](const mox::Target& target) {
    const RawTable dc = typicalDC();
    Mox16s dst[64] = {9};
    // Category 6 (1110) and two of its bits, padding aside; at the end of the source, or at a marker.
    for (const bool marker : {false, true}) {
      ScanDecoder decoder(kDCFirst, dc, marker ? Bytes{0xEB, 0xFF, 0xD0} : Bytes{0xEB});
      decoder.lastDC = 5;
      EXPECT_EQ(decoder.block(dst), moxStatusOutOfBuffer) << target.name;
      EXPECT_EQ(decoder.lastDC, 5);
      EXPECT_EQ(dst[0], 9);
      EXPECT_EQ(decoder.position, marker ? 3 : 1) << target.name;
      EXPECT_EQ(decoder.marker, marker ? 0xD0 : 0) << target.name;
      EXPECT_EQ(decoder.state.word(2), 4u) << target.name << ": the code is taken";
    }
  });
}

// ---- First AC scan ------------------------------------------------------------------------------------------------

TEST(ProgressiveDecoder, acFirstAddsABand) {
  forEachTarget([](const mox::Target& target) {
    const RawTable ac = typicalAC();
    Bits bits;
    bits.code(ac, 0x12).number(3, 2).code(ac, 0xF0).code(ac, 0x01).number(0, 1).code(ac, 0x00);
    ScanDecoder decoder({Kind::acFirst, 5, 40, 2}, ac, followed(bits.bytes()));
    Mox16s dst[64], expected[64];
    for (int i = 0; i < 64; i++) dst[i] = expected[i] = static_cast<Mox16s>(100 + i);
    expected[kNatural[6]] = 12;
    expected[kNatural[23]] = -4;
    EXPECT_EQ(decoder.block(dst), moxStatusOk);
    EXPECT_EQ(std::memcmp(dst, expected, sizeof dst), 0) << target.name;
    EXPECT_EQ(decoder.eobRun(), 0) << target.name;
    EXPECT_EQ(decoder.position, 4) << target.name;
    EXPECT_EQ(decoder.state.word(2), 32u - static_cast<unsigned>(bits.text.size())) << target.name;
  });
}

TEST(ProgressiveDecoder, blocksInsideARunReadNothing) {
  forEachTarget([](const mox::Target& target) {
    ScanDecoder decoder(kACFirst, typicalAC(), {0x55});
    decoder.position = 1;
    for (int i = 0; i < 6; i++) decoder.state.setWord(i, i == 3 ? 5 : 0x1000000u + static_cast<unsigned>(i));
    Mox16s dst[64];
    for (Mox16s& v : dst) v = 77;
    for (int left = 4; left >= 0; left--) {
      EXPECT_EQ(decoder.block(dst), moxStatusOk);
      EXPECT_EQ(decoder.eobRun(), left) << target.name;
      EXPECT_EQ(decoder.position, 1);
      for (int i = 0; i < 6; i++)
        EXPECT_EQ(decoder.state.word(i), i == 3 ? static_cast<unsigned>(left) : 0x1000000u + static_cast<unsigned>(i));
    }
    for (const Mox16s v : dst) EXPECT_EQ(v, 77);
  });
}

TEST(ProgressiveDecoder, classesOfRuns) {
  forEachTarget([](const mox::Target& target) {
    for (const Scan scan : {kACFirst, kACRefine})
      for (int runClass = 0; runClass <= 14; runClass++)
        for (const uint32_t rest : {0u, 1u, (1u << runClass) - 1}) {
          if (rest >> runClass) continue;
          ScanDecoder decoder(
              scan, byteTable(),
              followed(Bits().number(static_cast<uint32_t>(runClass * 16), 8).number(rest, runClass).bytes()));
          Mox16s dst[64] = {3};
          EXPECT_EQ(decoder.block(dst), moxStatusOk);
          EXPECT_EQ(decoder.eobRun(), static_cast<int32_t>((1u << runClass) + rest - 1)) << target.name;
        }
  });
}

TEST(ProgressiveDecoder, negativeRunIsNone) {
  forEachTarget([](const mox::Target& target) {
    for (const Scan scan : {kACFirst, kACRefine}) {
      ScanDecoder decoder(scan, byteTable(), followed({0x00}));
      decoder.state.setWord(3, 0x80000000u);
      Mox16s dst[64] = {};
      EXPECT_EQ(decoder.block(dst), moxStatusOk);
      EXPECT_EQ(decoder.eobRun(), 0) << target.name;
      EXPECT_EQ(decoder.position, 4) << target.name;
    }
  });
}

// Past the band, past the block, past the nine places that count as coefficient 63.
TEST(ProgressiveDecoder, acFirstRunsPastTheBand) {
  forEachTarget([](const mox::Target& target) {
    for (int end = 1; end <= 63; end++)
      for (int run = 0; run <= 15; run++) {
        GuardedMemory memory(4096);
        Mox16s* const dst = memory.atEnd<Mox16s>(64);
        std::memset(dst, 0, 128);
        const Bytes source = followed({static_cast<uint8_t>(run << 4 | 2), 0xC0});
        ScanDecoder decoder({Kind::acFirst, end, end, 4}, byteTable(), source);
        const int reached = end + run;
        EXPECT_EQ(decoder.block(dst), reached > 72 ? moxStatusError : moxStatusOk) << target.name << reached;
        for (int k = 0; k < 64; k++)
          ASSERT_EQ(dst[kNatural[k]], reached <= 72 && k == std::min(reached, 63) ? 48 : 0)
              << target.name << ", " << reached << ", " << k;
        EXPECT_EQ(decoder.state.word(2), 32u - 10) << target.name << ": the value is taken in any case";
        EXPECT_EQ(decoder.eobRun(), 0);
      }
    // Four times 16 zeros lead past any band, and the next block begins after them.
    ScanDecoder zeros({Kind::acFirst, 2, 63, 0}, byteTable(), followed({0xF0, 0xF0, 0xF0, 0xF0, 0x01}));
    Mox16s dst[64] = {};
    EXPECT_EQ(zeros.block(dst), moxStatusOk);
    EXPECT_EQ(zeros.position * 8 - static_cast<int>(zeros.state.word(2)), 32) << target.name;
  });
}

TEST(ProgressiveDecoder, acFirstValuesWrapAt16Bits) {
  forEachTarget([](const mox::Target& target) {
    ScanDecoder decoder({Kind::acFirst, 1, 1, 13}, byteTable(), followed({0x0F, 0x80, 0x0A}));  // 0x4005
    Mox16s dst[64] = {};
    EXPECT_EQ(decoder.block(dst), moxStatusOk);
    EXPECT_EQ(dst[1], static_cast<Mox16s>(0xA000)) << target.name;
  });
}

TEST(ProgressiveDecoder, acFirstKeepsItsStateWhenBitsRunOut) {
  forEachTarget([](const mox::Target& target) {
    for (const bool marker : {false, true}) {
      // Two values, then a code whose value has 3 of 8 bits.
      Bytes source = Bits()
                         .number(0x01, 8)
                         .number(1, 1)
                         .number(0x12, 8)
                         .number(2, 2)
                         .number(0x08, 8)
                         .number(5, 3)
                         .number(3, 2)
                         .bytes();
      ASSERT_EQ(source.size(), 4u);
      if (marker) source.insert(source.end(), {0xFF, 0xD3});
      ScanDecoder decoder(kACFirst, byteTable(), source);
      Mox16s dst[64] = {};
      EXPECT_EQ(decoder.block(dst), moxStatusOutOfBuffer) << target.name;
      EXPECT_EQ(dst[kNatural[1]], 1);
      EXPECT_EQ(dst[kNatural[3]], 2) << target.name;
      EXPECT_EQ(decoder.position, marker ? 6 : 4) << target.name;
      EXPECT_EQ(decoder.marker, marker ? 0xD3 : 0) << target.name;
      EXPECT_EQ(decoder.state.word(2), 5u) << target.name;
      EXPECT_EQ(decoder.eobRun(), 0);
      uint32_t bytes;
      std::memcpy(&bytes, source.data(), 4);
      EXPECT_EQ(decoder.state.word(0), __builtin_bswap32(bytes)) << target.name;
    }
  });
}

TEST(ProgressiveDecoder, markerIsReportedByTheCallThatMeetsIt) {
  forEachTarget([](const mox::Target& target) {
    for (const Scan scan : {kACFirst, kACRefine}) {
      ScanDecoder decoder(scan, byteTable(), {0x00, 0x00, 0x00, 0xFF, 0xD7, 0x00});
      Mox16s dst[64] = {};
      EXPECT_EQ(decoder.block(dst), moxStatusMarkerMet) << target.name;
      EXPECT_EQ(decoder.marker, 0xD7);
      EXPECT_EQ(decoder.position, 5);
      EXPECT_EQ(decoder.block(dst), moxStatusOk) << target.name;
      EXPECT_EQ(decoder.block(dst), moxStatusOk) << target.name;
      EXPECT_EQ(decoder.block(dst), moxStatusOutOfBuffer) << target.name;
      EXPECT_EQ(decoder.position, 5);
      EXPECT_EQ(decoder.marker, 0xD7);
    }
  });
}

// The AC decoders use all 64 bits of the accumulator: they take up to 64 that a state brings along, and the bytes
// that they load push the older ones up through both words. The DC decoders clear the upper word when they load.
TEST(ProgressiveDecoder, accumulatorOf64Bits) {
  forEachTarget([](const mox::Target& target) {
    Mox16s dst[64] = {};
    ScanDecoder decoder({Kind::acFirst, 1, 1, 0}, byteTable(), {0x11, 0x22, 0x33, 0x44, 0x55});
    decoder.state.setWord(0, 0x00020304);
    decoder.state.setWord(1, 0x00000010);  // 40 bits: 10 00 02 03 04
    decoder.state.setWord(2, 40);
    EXPECT_EQ(decoder.block(dst), moxStatusOk);  // class 1 and a 0-bit: two blocks
    EXPECT_EQ(decoder.eobRun(), 1) << target.name;
    EXPECT_EQ(decoder.state.word(2), 31u) << target.name;
    EXPECT_EQ(decoder.position, 0);
    decoder.state.setWord(3, 0);
    decoder.state.setWord(2, 7);
    EXPECT_EQ(decoder.block(dst), moxStatusOk);  // 0000100 0: 8
    EXPECT_EQ(dst[1], 1 - 256 + 0x22) << target.name;
    EXPECT_EQ(decoder.state.word(0), 0x04112233u) << target.name;
    EXPECT_EQ(decoder.state.word(1), 0x10000203u) << target.name;

    ScanDecoder dc(kDCFirst, byteTable(), {0x00, 0x22, 0x33, 0x44, 0x55});
    dc.state.setWord(0, 0xAABBCCDD);
    dc.state.setWord(1, 0x12345678);
    dc.state.setWord(2, 8);
    dst[0] = 0;
    EXPECT_EQ(dc.block(dst), moxStatusOk);  // DD: category 13, then 0x0022 >> 3
    EXPECT_EQ(dst[0], 1 - 8192 + (0x0022 >> 3)) << target.name;
    EXPECT_EQ(dc.state.word(0), 0x00223344u) << target.name;
    EXPECT_EQ(dc.state.word(1), 0u) << target.name;
    dc.state.setWord(1, 0x12345678);
    dc.state.setWord(0, 0);
    EXPECT_EQ(dc.block(dst), moxStatusOk);
    EXPECT_EQ(dc.state.word(1), 0x12345678u) << target.name << ": nothing was loaded";
  });
}

// ---- Refining AC scan ---------------------------------------------------------------------------------------------

TEST(ProgressiveDecoder, acRefineCorrectsAndAdds) {
  forEachTarget([](const mox::Target& target) {
    const RawTable ac = typicalAC();
    Mox16s dst[64] = {100}, expected[64] = {100};
    const int before[][2] = {{1, -4}, {2, 4}, {6, 4}, {9, -4}, {20, 8}};
    for (const auto& b : before) dst[kNatural[b[0]]] = static_cast<Mox16s>(b[1]);
    const int after[][2] = {{1, -6}, {2, 4}, {5, 2}, {6, 6}, {8, -2}, {9, -4}, {20, 10}};
    for (const auto& a : after) expected[kNatural[a[0]]] = static_cast<Mox16s>(a[1]);
    Bits bits;  // what the encoder makes of `expected`
    bits.code(ac, 0x21)
        .number(1, 1)
        .number(1, 1)
        .number(0, 1)
        .code(ac, 0x11)
        .number(0, 1)
        .number(1, 1)
        .code(ac, 0)
        .number(0, 1)
        .number(1, 1);
    ScanDecoder decoder({Kind::acRefine, 1, 63, 1}, ac, followed(bits.bytes()));
    EXPECT_EQ(decoder.block(dst), moxStatusOk);
    EXPECT_EQ(std::memcmp(dst, expected, sizeof dst), 0) << target.name;
    EXPECT_EQ(decoder.position * 8 - static_cast<int>(decoder.state.word(2)), static_cast<int>(bits.text.size()))
        << target.name;
    EXPECT_EQ(decoder.eobRun(), 0);
  });
}

TEST(ProgressiveDecoder, blocksInsideARunTakeTheirCorrections) {
  forEachTarget([](const mox::Target& target) {
    ScanDecoder decoder({Kind::acRefine, 2, 62, 3}, byteTable(), {0xA5});
    decoder.state.setWord(3, 2);
    Mox16s dst[64] = {1, 1};  // 0 and 1 are outside the band
    dst[63] = 1;
    EXPECT_EQ(decoder.block(dst), moxStatusOk);
    EXPECT_EQ(decoder.position, 0) << target.name << ": nothing to correct";
    EXPECT_EQ(decoder.eobRun(), 1);
    for (int i = 0; i < 6; i++) dst[kNatural[3 + 7 * i]] = static_cast<Mox16s>(i % 2 ? -16 : 16);
    dst[kNatural[3]] = 24;                       // has the bit already: stays
    dst[kNatural[17]] = -24;                     // its two's complement has it
    EXPECT_EQ(decoder.block(dst), moxStatusOk);  // 101001
    EXPECT_EQ(dst[kNatural[3]], 24) << target.name;
    EXPECT_EQ(dst[kNatural[10]], -16) << target.name;
    EXPECT_EQ(dst[kNatural[17]], -24) << target.name;
    EXPECT_EQ(dst[kNatural[24]], -16) << target.name;
    EXPECT_EQ(dst[kNatural[31]], 16) << target.name;
    EXPECT_EQ(dst[kNatural[38]], -24) << target.name;
    EXPECT_EQ(decoder.state.word(2), 2u) << target.name;
    EXPECT_EQ(decoder.eobRun(), 0);
    EXPECT_EQ(dst[0] + dst[1] + dst[63], 3);
  });
}

// Corrections are 16-bit sums: the ends of the range wrap.
TEST(ProgressiveDecoder, correctionsAtTheEndsOfTheRange) {
  forEachTarget([](const mox::Target& target) {
    for (int low = 0; low <= 13; low++)
      for (const int value : {32767, -32768, -1, 1, 16384, -16384, 21845, -21846}) {
        ScanDecoder decoder({Kind::acRefine, 63, 63, low}, byteTable(), {0x80});
        decoder.state.setWord(3, 1);
        Mox16s dst[64] = {};
        dst[63] = static_cast<Mox16s>(value);
        EXPECT_EQ(decoder.block(dst), moxStatusOk);
        const int step = 1 << low, sum = value >> low & 1 ? value : value < 0 ? value - step : value + step;
        EXPECT_EQ(dst[63], static_cast<Mox16s>(sum)) << target.name << ", " << value << ", " << low;
      }
  });
}

TEST(ProgressiveDecoder, zerosAreCountedAmongTheKnown) {
  forEachTarget([](const mox::Target& target) {
    // The sixteenth zero is 17: 3 is corrected among them. The new one comes after 18, which is 0, and 19, which is
    // known.
    Mox16s dst[64] = {};
    dst[kNatural[3]] = 2;
    dst[kNatural[19]] = 2;
    Bits bits;
    bits.number(0xF0, 8).number(1, 1).number(0x11, 8).number(1, 1).number(0, 1).number(0x00, 8);
    ScanDecoder decoder(kACRefine, byteTable(), followed(bits.bytes()));
    EXPECT_EQ(decoder.block(dst), moxStatusOk);
    EXPECT_EQ(dst[kNatural[3]], 3) << target.name;
    EXPECT_EQ(dst[kNatural[19]], 2) << target.name;
    EXPECT_EQ(dst[kNatural[20]], 1) << target.name;
    EXPECT_EQ(decoder.position * 8 - static_cast<int>(decoder.state.word(2)), static_cast<int>(bits.text.size()))
        << target.name;
  });
}

TEST(ProgressiveDecoder, anySizeIsOneBitInARefinement) {
  forEachTarget([](const mox::Target& target) {
    for (int size = 1; size <= 15; size++) {
      ScanDecoder decoder(
          {Kind::acRefine, 1, 63, 2}, byteTable(),
          followed(Bits().number(static_cast<uint32_t>(0x10 + size), 8).number(0, 1).number(0, 8).bytes()));
      Mox16s dst[64] = {};
      EXPECT_EQ(decoder.block(dst), moxStatusOk);
      EXPECT_EQ(dst[kNatural[2]], -4) << target.name;
      EXPECT_EQ(decoder.position * 8 - static_cast<int>(decoder.state.word(2)), 17) << target.name;
    }
  });
}

// A run of zeros may end the band; a new coefficient after it is dropped, and its correction bits are read.
TEST(ProgressiveDecoder, acRefineRunsPastTheBand) {
  forEachTarget([](const mox::Target& target) {
    for (int end = 1; end <= 63; end++)
      for (int run = 0; run <= 15; run++) {
        GuardedMemory memory(4096);
        Mox16s* const dst = memory.atEnd<Mox16s>(64);
        std::memset(dst, 0, 128);
        const int start = std::max(1, end - 7);
        dst[kNatural[end]] = 8;
        ScanDecoder decoder({Kind::acRefine, start, end, 2}, byteTable(),
                            followed({static_cast<uint8_t>(run << 4 | 1), 0xC0}));
        EXPECT_EQ(decoder.block(dst), moxStatusOk) << target.name;
        const int place = start + run;
        // In the band: the place is filled, and the next byte is a symbol, the end of the band, after a correction bit.
        const bool inside = place < end;
        for (int k = 0; k < 64; k++) {
          const int wanted = inside && k == place ? 4 : k != end ? 0 : inside ? 8 : 12;
          ASSERT_EQ(dst[kNatural[k]], wanted)
              << target.name << ", " << start << " to " << end << ", run " << run << ", " << k;
        }
      }
  });
}

TEST(ProgressiveDecoder, acRefineKeepsItsStateWhenBitsRunOut) {
  forEachTarget([](const mox::Target& target) {
    for (const bool marker : {false, true})
      for (const int run : {0, 3}) {  // read here, or under way
        // Ten correction bits are wanted; eight are there.
        Bytes source = run ? Bytes{0xB6} : Bytes{0x10, 0x5B};  // class 1 and a 0: two blocks; 1011011
        if (marker) source.insert(source.end(), {0xFF, 0xFF, 0xD9});
        ScanDecoder decoder(kACRefine, byteTable(), source);
        decoder.state.setWord(3, static_cast<uint32_t>(run));
        Mox16s dst[64] = {};
        for (int k = 1; k <= 10; k++) dst[kNatural[k]] = static_cast<Mox16s>(k % 2 ? 2 : -2);
        EXPECT_EQ(decoder.block(dst), moxStatusOutOfBuffer) << target.name;
        const int bits[10] = {1, 0, 1, 1, 0, 1, 1, 0, 0, 0};  // the eighth of 0xB6 is 0, and of the other there is none
        for (int k = 1; k <= 10; k++)
          EXPECT_EQ(dst[kNatural[k]], k % 2 ? 2 + bits[k - 1] : -2 - bits[k - 1]) << target.name << k;
        EXPECT_EQ(decoder.eobRun(), run ? 3 : 2) << target.name << ": the run stays as it is";
        EXPECT_EQ(decoder.state.word(2), 0u) << target.name;
        EXPECT_EQ(decoder.position, static_cast<int>(source.size())) << target.name;
        EXPECT_EQ(decoder.marker, marker ? 0xD9 : 0) << target.name;
      }
  });
}

// ---- All kinds ----------------------------------------------------------------------------------------------------

TEST(ProgressiveDecoder, unknownCodesAreSymbol0) {
  forEachTarget([](const mox::Target& target) {
    for (const Scan scan : {kDCFirst, kACFirst, kACRefine}) {
      // No code of the typical DC table starts with nine ones; 17 bits are taken.
      ScanDecoder decoder(scan, typicalDC(), followed({0xFF, 0x00, 0xFF, 0x00}));
      Mox16s dst[64] = {5};
      decoder.lastDC = 6;
      EXPECT_EQ(decoder.block(dst), moxStatusOk) << target.name;
      EXPECT_EQ(dst[0], scan.kind == Kind::dcFirst ? 6 : 5);
      EXPECT_EQ(decoder.eobRun(), 0);
      EXPECT_EQ((decoder.position - 2) * 8 - static_cast<int>(decoder.state.word(2)), 17) << target.name;
    }
  });
}

TEST(ProgressiveDecoder, truncatedSourcesAndGuardPages) {
  forEachTarget([](const mox::Target& target) {
    GuardedMemory sourceMemory(4096), blockMemory(4096);
    Mox16s* const dst = blockMemory.atEnd<Mox16s>(64);
    Random random(31);
    const RawTable full = fullTable(random);
    for (const Scan scan : {kDCFirst, kDCRefine, kACFirst, kACRefine}) {
      DecodeTable table(full);
      for (int size = 1; size < 100; size++) {
        Mox8u* const src = sourceMemory.atEnd<Mox8u>(static_cast<size_t>(size));
        for (int i = 0; i < size; i++) src[i] = random.oneIn(9) ? 0xFF : random.any<Mox8u>();
        std::memset(dst, 0, 128);
        int32_t position = 0, marker = 0;
        Mox16s lastDC = 0;
        DecoderState state;
        MoxStatus status = moxStatusOk;
        for (int calls = 0; status >= 0 && calls < 20000; calls++) {
          switch (scan.kind) {
            case Kind::dcFirst:
              status = moxiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(src, size, &position, dst, &lastDC, &marker, 0,
                                                                  table.get(), state.get());
              break;
            case Kind::dcRefine:
              status = moxiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(src, size, &position, dst, &marker, 0, state.get());
              break;
            case Kind::acFirst:
              status = moxiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(src, size, &position, dst, &marker, 1, 63, 0,
                                                                  table.get(), state.get());
              break;
            case Kind::acRefine:
              status = moxiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(src, size, &position, dst, &marker, 1, 63, 0,
                                                                   table.get(), state.get());
              break;
          }
          ASSERT_LE(position, size) << target.name;
          if (status == moxStatusError) status = moxStatusOk;
          if (state.word(3) > 40) state.setWord(3, 3);
          marker = 0;
        }
        EXPECT_EQ(status, moxStatusOutOfBuffer) << target.name;
      }
    }
  });
}

// ---- There and back -----------------------------------------------------------------------------------------------

// Images of random blocks through whole scripts: DC and bands first without some bits, then one refinement after
// another, must come back as they were.
TEST(ProgressiveRoundTrip, scripts) {
  forEachTarget([](const mox::Target& target) {
    Random random(41);
    for (int n = 0; n < 40; n++) {
      const int count = random.between(1, 200), density = random.below(65), sizes = random.between(1, 10);
      std::vector<Mox16s> image(static_cast<size_t>(count) * 64), decoded(image.size());
      for (int b = 0; b < count; b++)
        randomBlock(random, &image[static_cast<size_t>(b) * 64], random.oneIn(3) ? 0 : density, sizes);
      std::vector<Scan> script;
      const int dcLow = random.below(4);
      script.push_back({Kind::dcFirst, 0, 0, dcLow});
      for (int low = dcLow - 1; low >= 0; low--) script.push_back({Kind::dcRefine, 0, 0, low});
      for (int start = 1; start <= 63;) {
        const int end = random.between(start, random.oneIn(2) ? 63 : start), acLow = random.below(5);
        script.push_back({Kind::acFirst, start, end, acLow});
        for (int low = acLow - 1; low >= 0; low--) script.push_back({Kind::acRefine, start, end, low});
        start = end + 1;
      }
      const RawTable full = fullTable(random);
      for (const Scan& scan : script) {
        RawTable table = full;
        if (scan.kind != Kind::dcRefine && random.oneIn(2)) {  // optimal for this scan
          ScanCounter counter(scan);
          for (int b = 0; b < count; b++) ASSERT_EQ(counter.block(&image[static_cast<size_t>(b) * 64]), moxStatusOk);
          ASSERT_EQ(counter.flush(), moxStatusOk);
          ASSERT_EQ(moxiEncodeHuffmanRawTableInit_JPEG_8u(counter.counts, table.bits, table.values), moxStatusOk);
        }
        ScanEncoder encoder(scan, table);
        for (int b = 0; b < count; b++) ASSERT_EQ(encoder.block(&image[static_cast<size_t>(b) * 64]), moxStatusOk);
        ASSERT_EQ(encoder.flush(), moxStatusOk);
        Bytes segment = encoder.segment();
        segment.insert(segment.end(), {0xFF, 0xD9});
        ScanDecoder decoder(scan, table, segment);
        for (int b = 0; b < count; b++)
          ASSERT_GE(decoder.block(&decoded[static_cast<size_t>(b) * 64]), 0) << target.name;
        ASSERT_EQ(decoder.eobRun(), 0) << target.name;
        ASSERT_LT(static_cast<int>(decoder.state.word(2)) - (static_cast<int>(segment.size()) - decoder.position) * 8,
                  33);
      }
      ASSERT_EQ(image, decoded) << target.name << ", image " << n;
    }
  });
}

}  // namespace
}  // namespace test
