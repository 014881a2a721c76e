// The Huffman encoders of progressive scans and the counting of their symbols.
#include <gtest/gtest.h>

#include <bit>
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

constexpr Scan kDCFirst{Kind::dcFirst, 0, 0, 0}, kDCRefine{Kind::dcRefine, 0, 0, 0};
constexpr Scan kACFirst{Kind::acFirst, 1, 63, 0}, kACRefine{Kind::acRefine, 1, 63, 0};

// ---- Checks -------------------------------------------------------------------------------------------------------

const Mox16s kBlock[64] = {5, 1, -2};

struct CheckedCall {
  CheckedCall() { std::memset(dst, 0xA5, sizeof dst); }
  Mox8u dst[64];
  int32_t position = 3;
  Mox16s lastDC = 7;
  EncodeTable raw{typicalAC()};
  const MoxEncodeHuffmanSpec* const table = raw.get();
  EncoderState state;

  // A flush changes these only at the end of its test.
  template <class Order>
  void run(Order order) {
    order.untouched(dst, sizeof dst)
        .untouched(&position, sizeof position)
        .untouched(&lastDC, sizeof lastDC)
        .untouched(state.bytes, sizeof state.bytes)
        .run();
  }
};

TEST(ProgressiveEncoder, checksOfDCFirstInOrder) {
  for (const int flush : {0, 1}) {
    CheckedCall c;
    auto order = checkOrder("DC first", moxiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1, kBlock, static_cast<Mox8u*>(c.dst),
                            64, &c.position, &c.lastDC, 0, c.table, c.state.get(), flush);
    order.breaks<1>(nullptr, moxStatusNullPointer)
        .breaksEach<2>({0, -1, INT32_MIN}, moxStatusBadSize)
        .breaks<3>(nullptr, moxStatusNullPointer)
        .breaks<7>(nullptr, moxStatusNullPointer);
    if (!flush)
      order.breaks<0>(nullptr, moxStatusNullPointer)
          .breaks<4>(nullptr, moxStatusNullPointer)
          .breaksEach<5>({-1, 14, INT32_MIN, INT32_MAX}, moxStatusBadArgument)
          .breaks<6>(nullptr, moxStatusNullPointer);
    c.run(order);
  }
  CheckedCall c;
  EXPECT_EQ(moxiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(nullptr, c.dst, 64, &c.position, nullptr, 99, nullptr,
                                                       c.state.get(), -1),
            moxStatusOk);
}

TEST(ProgressiveEncoder, checksOfDCRefineInOrder) {
  for (const int flush : {0, 1}) {
    CheckedCall c;
    auto order = checkOrder("DC refine", moxiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1, kBlock,
                            static_cast<Mox8u*>(c.dst), 64, &c.position, 0, c.state.get(), flush);
    order.breaks<1>(nullptr, moxStatusNullPointer)
        .breaksEach<2>({0, -1, INT32_MIN}, moxStatusBadSize)
        .breaks<3>(nullptr, moxStatusNullPointer)
        .breaks<5>(nullptr, moxStatusNullPointer);
    if (!flush)
      order.breaks<0>(nullptr, moxStatusNullPointer)
          .breaksEach<4>({-1, 14, INT32_MIN, INT32_MAX}, moxStatusBadArgument);
    c.run(order);
  }
  CheckedCall c;
  EXPECT_EQ(moxiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(nullptr, c.dst, 64, &c.position, -9, c.state.get(), 2),
            moxStatusOk);
}

template <auto Function>
void checkACEncoder(const char* name) {
  for (const int flush : {0, 1}) {
    CheckedCall c;
    auto order = checkOrder(name, Function, kBlock, static_cast<Mox8u*>(c.dst), 64, &c.position, 1, 63, 0, c.table,
                            c.state.get(), flush);
    order.template breaks<1>(nullptr, moxStatusNullPointer)
        .template breaksEach<2>({0, -1, INT32_MIN}, moxStatusBadSize)
        .template breaks<3>(nullptr, moxStatusNullPointer)
        .template breaks<7>(nullptr, moxStatusNullPointer)
        .template breaks<8>(nullptr, moxStatusNullPointer);
    if (!flush)
      order.template breaks<0>(nullptr, moxStatusNullPointer)
          .template breaksEach<4>({0, -1, 64, INT32_MIN, INT32_MAX}, moxStatusBadArgument)
          .template breaksEach<5>({0, -1, 64, INT32_MIN, INT32_MAX}, moxStatusBadArgument)
          .template breaksEach<6>({-1, 14, INT32_MIN, INT32_MAX}, moxStatusBadArgument);
    c.run(order);
  }
  CheckedCall c;
  EXPECT_EQ(Function(nullptr, c.dst, 64, &c.position, 0, 99, -1, c.table, c.state.get(), 5), moxStatusOk) << name;
  EXPECT_EQ(Function(kBlock, c.dst, 64, &c.position, 6, 5, 0, c.table, c.state.get(), 0), moxStatusBadArgument) << name;
  EXPECT_EQ(Function(kBlock, c.dst, 64, &c.position, 63, 63, 13, c.table, c.state.get(), 0), moxStatusOk) << name;
}

TEST(ProgressiveEncoder, checksOfACInOrder) {
  checkACEncoder<moxiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1>("AC first");
  checkACEncoder<moxiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1>("AC refine");
}

template <auto Function>
void checkACCounter(const char* name) {
  for (const int flush : {0, 1}) {
    CheckedCall c;
    int32_t counts[256] = {};
    auto order = checkOrder(name, Function, kBlock, static_cast<int32_t*>(counts), 1, 63, 0, c.state.get(), flush);
    order.template breaks<1>(nullptr, moxStatusNullPointer).template breaks<5>(nullptr, moxStatusNullPointer);
    if (!flush)
      order.template breaks<0>(nullptr, moxStatusNullPointer)
          .template breaksEach<2>({0, -1, 64, INT32_MIN, INT32_MAX}, moxStatusBadArgument)
          .template breaksEach<3>({0, -1, 64, INT32_MIN, INT32_MAX}, moxStatusBadArgument)
          .template breaksEach<4>({-1, 14, INT32_MIN, INT32_MAX}, moxStatusBadArgument);
    order.untouched(counts, sizeof counts).untouched(c.state.bytes, sizeof c.state.bytes).run();
    EXPECT_EQ(Function(nullptr, counts, 0, 99, -1, c.state.get(), 5), moxStatusOk) << name;
    EXPECT_EQ(Function(kBlock, counts, 6, 5, 0, c.state.get(), 0), moxStatusBadArgument) << name;
  }
}

TEST(ProgressiveEncoder, checksOfStatisticsInOrder) {
  int32_t counts[256] = {};
  Mox16s lastDC = 0;
  checkOrder("DC first statistics", moxiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1, kBlock,
             static_cast<int32_t*>(counts), &lastDC, 0)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .breaks<2>(nullptr, moxStatusNullPointer)
      .breaksEach<3>({-1, 14, INT32_MIN, INT32_MAX}, moxStatusBadArgument)
      .untouched(counts, sizeof counts)
      .untouched(&lastDC, sizeof lastDC)
      .run();
  checkACCounter<moxiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1>("AC first statistics");
  checkACCounter<moxiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1>("AC refine statistics");
}

// ---- DC -----------------------------------------------------------------------------------------------------------

TEST(ProgressiveEncoder, dcFirstCodesDifferencesOfShiftedValues) {
  const RawTable dc = typicalDC();
  ScanEncoder encoder({Kind::dcFirst, 0, 0, 2}, dc);
  Mox16s src[64] = {-5, 99};  // -5 >> 2 is -2
  EXPECT_EQ(encoder.block(src), moxStatusOk);
  EXPECT_EQ(encoder.lastDC, -2);
  src[0] = 7;  // 1: a difference of 3
  EXPECT_EQ(encoder.block(src), moxStatusOk);
  EXPECT_EQ(encoder.block(src), moxStatusOk);
  EXPECT_EQ(encoder.lastDC, 1);
  EXPECT_EQ(encoder.flush(), moxStatusOk);
  EXPECT_EQ(encoder.segment(), Bits().code(dc, 2).number(1, 2).code(dc, 2).number(3, 2).code(dc, 0).bytes());
}

TEST(ProgressiveEncoder, dcCategoriesAbove11FailBehindTheUpdateOfTheLastDC) {
  Random random(1);
  const RawTable full = fullTable(random);
  for (const int difference : {2047, -2047, 2048, -2048, 32767, -32768}) {
    ScanEncoder encoder(kDCFirst, full);
    ScanCounter counter(kDCFirst);
    const Mox16s src[64] = {static_cast<Mox16s>(difference)};
    const bool fits = std::abs(difference) < 2048;
    EXPECT_EQ(encoder.block(src), fits ? moxStatusOk : moxStatusCoefficientRange) << difference;
    EXPECT_EQ(encoder.lastDC, difference);
    EXPECT_EQ(encoder.position * 8 + static_cast<int>(encoder.state.word(2)) > 0, fits) << difference;
    EXPECT_EQ(counter.block(src), fits ? moxStatusOk : moxStatusCoefficientRange) << difference;
    EXPECT_EQ(counter.lastDC, difference);
    for (int i = 0; i < 256; i++) EXPECT_EQ(counter.counts[i], fits && i == 11);
  }
  ScanEncoder encoder(kDCFirst, full);
  encoder.lastDC = -32768;
  const Mox16s highest[64] = {32767};
  EXPECT_EQ(encoder.block(highest), moxStatusCoefficientRange);  // 65535
  EXPECT_EQ(encoder.lastDC, 32767);
}

TEST(ProgressiveEncoder, dcRefineWritesOneBit) {
  ScanEncoder encoder({Kind::dcRefine, 0, 0, 3}, RawTable());
  for (const int value : {8, 7, -8, -9, 8, 0, -1}) {  // bits 1 0 1 0 1 0 1: two's complement
    const Mox16s src[64] = {static_cast<Mox16s>(value), -1, -1};
    EXPECT_EQ(encoder.block(src), moxStatusOk);
  }
  EXPECT_EQ(encoder.flush(), moxStatusOk);
  EXPECT_EQ(encoder.segment(), std::vector<uint8_t>{0xAB});
}

TEST(ProgressiveEncoder, flushWithNothingPendingWritesNothing) {
  for (const Scan scan : {kDCFirst, kDCRefine, kACFirst, kACRefine}) {
    ScanEncoder encoder(scan, typicalAC());
    encoder.position = 5;
    encoder.state.setWord(0, 0xFF000000);  // what an earlier byte has left above
    encoder.state.setWord(1, 77);
    EXPECT_EQ(encoder.flush(), moxStatusOk);
    EXPECT_EQ(encoder.position, 5);
    EXPECT_EQ(std::memcmp(encoder.state.bytes, EncoderState().bytes, 1048), 0);
  }
}

TEST(ProgressiveEncoder, flushPadsStuffsAndClearsEvenIntoAFullDestination) {
  for (const Scan scan : {kDCFirst, kDCRefine, kACFirst, kACRefine}) {
    for (const size_t size : {size_t{1}, size_t{2}}) {
      ScanEncoder encoder(scan, typicalAC(), size);
      encoder.state.setWord(0, 0xF00000);
      encoder.state.setWord(1, 3);
      encoder.state.setWord(2, 4);
      encoder.state.bytes[777] = 1;
      encoder.state.bytes[1045] = 9;  // past what Init clears
      EXPECT_EQ(encoder.flush(), size == 1 ? moxStatusOutOfBuffer : moxStatusOk);
      EXPECT_EQ(encoder.position, static_cast<int32_t>(size));
      EXPECT_EQ(encoder.bytes[0], 0xFF);
      EncoderState cleared;
      cleared.bytes[1045] = 9;
      EXPECT_EQ(std::memcmp(encoder.state.bytes, cleared.bytes, 1048), 0);
    }
  }
}

// ---- First AC scan ------------------------------------------------------------------------------------------------

TEST(ProgressiveEncoder, emptyBandsAreWrittenAsARun) {
  forEachTarget([](const mox::Target& target) {
    Random random(2);
    const RawTable full = fullTable(random);
    const Mox16s src[64] = {100};
    for (const int blocks : {1, 2, 3, 4, 5, 255, 256, 16383, 16384, 32766}) {
      for (const Scan scan : {kACFirst, kACRefine}) {
        ScanEncoder encoder(scan, full);
        ScanCounter counter(scan);
        for (int n = 0; n < blocks; n++) {
          ASSERT_EQ(encoder.block(src), moxStatusOk) << target.name;
          ASSERT_EQ(counter.block(src), moxStatusOk) << target.name;
        }
        ASSERT_EQ(encoder.eobRun(), blocks) << target.name;
        ASSERT_EQ(counter.eobRun(), blocks) << target.name;
        ASSERT_EQ(encoder.position, 0);
        ASSERT_EQ(encoder.flush(), moxStatusOk);
        ASSERT_EQ(counter.flush(), moxStatusOk);
        const int runClass = std::bit_width(static_cast<unsigned>(blocks)) - 1;
        ASSERT_EQ(encoder.segment(),
                  Bits().code(full, runClass * 16).number(static_cast<uint32_t>(blocks), runClass).bytes())
            << blocks;
        for (int i = 0; i < 256; i++) ASSERT_EQ(counter.counts[i], i == runClass * 16);
        ASSERT_EQ(encoder.eobRun(), 0);
        ASSERT_EQ(counter.eobRun(), 0);
      }
    }
  });
}

TEST(ProgressiveEncoder, theLongestRunIsWrittenAtOnce) {
  forEachTarget([](const mox::Target& target) {
    Random random(3);
    const RawTable full = fullTable(random);
    const Mox16s src[64] = {};
    for (const Scan scan : {kACFirst, kACRefine}) {
      ScanEncoder encoder(scan, full);
      ScanCounter counter(scan);
      for (int n = 0; n < 32767; n++) {
        ASSERT_EQ(encoder.block(src), moxStatusOk);
        ASSERT_EQ(counter.block(src), moxStatusOk);
        if (n == 32765) {
          ASSERT_EQ(encoder.position, 0);
        }
      }
      EXPECT_EQ(encoder.eobRun(), 0) << target.name;
      EXPECT_EQ(counter.eobRun(), 0) << target.name;
      EXPECT_EQ(counter.counts[0xE0], 1) << target.name;
      const Bits expected = Bits().code(full, 0xE0).number(0x3FFF, 14);
      EXPECT_EQ(encoder.state.word(2), expected.text.size() % 8) << target.name;
      EXPECT_GT(encoder.position, 0) << target.name;
      EXPECT_EQ(encoder.flush(), moxStatusOk);
      EXPECT_EQ(encoder.segment(), expected.bytes()) << target.name;
    }
  });
}

TEST(ProgressiveEncoder, runsThatNoCallMakes) {
  forEachTarget([](const mox::Target& target) {
    Random random(4);
    const RawTable full = fullTable(random);
    Mox16s src[64] = {};
    src[1] = 1;
    const struct {
      uint32_t run;
      MoxStatus status;
      int32_t left;
    } cases[] = {{0x8000, moxStatusOk, 0},
                 {0xFFFE, moxStatusOk, 0},
                 {0xFFFF, moxStatusCoefficientRange, 0x8000},
                 {0x7FFFFFFF, moxStatusCoefficientRange, 0x7FFF8000},
                 {0x80000000, moxStatusCoefficientRange, INT32_MIN},
                 {0xFFFFFFFF, moxStatusCoefficientRange, -1}};
    for (const auto& c : cases)
      for (const Scan scan : {kACFirst, kACRefine}) {
        ScanEncoder encoder(scan, full);
        ScanCounter counter(scan);
        encoder.state.setWord(3, c.run);
        counter.state.setWord(3, c.run);
        EXPECT_EQ(encoder.block(src), c.status) << target.name << c.run;
        EXPECT_EQ(encoder.eobRun(), c.status ? c.left : 1) << target.name << c.run;
        EXPECT_EQ(counter.block(src), c.status) << target.name << c.run;
        EXPECT_EQ(counter.eobRun(), c.status ? c.left : 1) << target.name << c.run;
        const bool twice = static_cast<int32_t>(c.run) > 0x7FFF;
        EXPECT_EQ(counter.counts[0xE0], twice + (c.run == 0xFFFE)) << target.name << c.run;
        if (c.status) continue;
        const uint32_t rest = c.run - 0x7FFF;
        const int runClass = std::bit_width(rest) - 1;
        ASSERT_EQ(encoder.flush(), moxStatusOk);
        Bits expected = Bits().code(full, 0xE0).number(0x3FFF, 14).code(full, runClass * 16).number(rest, runClass);
        expected.code(full, 0x01).number(1, 1).code(full, 0);
        EXPECT_EQ(encoder.segment(), expected.bytes()) << target.name << c.run;
      }
  });
}

TEST(ProgressiveEncoder, acFirstCodesMagnitudesInTheBand) {
  forEachTarget([](const mox::Target& target) {
    const RawTable ac = typicalAC();
    Mox16s src[64] = {1000};
    for (int k = 0; k < 64; k++) src[kNatural[k]] = 1;  // gone at Al 1
    src[kNatural[4]] = 500;                             // before the band
    src[kNatural[6]] = -7;                              // -3: 00 in ones' complement
    src[kNatural[7]] = 2;
    src[kNatural[24]] = -2;   // after 16 zeros
    src[kNatural[30]] = 500;  // after the band
    ScanEncoder encoder({Kind::acFirst, 5, 29, 1}, ac);
    ScanCounter counter(encoder.scan);
    EXPECT_EQ(encoder.block(src), moxStatusOk);
    EXPECT_EQ(encoder.eobRun(), 1) << target.name;
    EXPECT_EQ(encoder.flush(), moxStatusOk);
    EXPECT_EQ(counter.block(src), moxStatusOk);
    EXPECT_EQ(counter.flush(), moxStatusOk);
    Bits expected = Bits().code(ac, 0x12).number(0, 2).code(ac, 0x01).number(1, 1);
    expected.code(ac, 0xF0).code(ac, 0x01).number(0, 1).code(ac, 0x00);
    EXPECT_EQ(encoder.segment(), expected.bytes()) << target.name;
    for (int i = 0; i < 256; i++)
      EXPECT_EQ(counter.counts[i], i == 0x12 || i == 0xF0 || i == 0 ? 1 : i == 1 ? 2 : 0) << target.name << i;
  });
}

TEST(ProgressiveEncoder, lastPlaceOfTheBandNeedsNoEnd) {
  forEachTarget([](const mox::Target& target) {
    const RawTable ac = typicalAC();
    Mox16s src[64] = {};
    src[63] = 1;
    ScanEncoder encoder(kACFirst, ac);
    EXPECT_EQ(encoder.block(src), moxStatusOk);
    EXPECT_EQ(encoder.eobRun(), 0) << target.name;
    EXPECT_EQ(encoder.flush(), moxStatusOk);
    EXPECT_EQ(encoder.segment(),
              Bits().code(ac, 0xF0).code(ac, 0xF0).code(ac, 0xF0).code(ac, 0xE1).number(1, 1).bytes())
        << target.name;
  });
}

// Eleven bits can be coded but not counted, twelve neither; what precedes the value is written and counted.
TEST(ProgressiveEncoder, elevenBitsCanBeCodedButNotCounted) {
  forEachTarget([](const mox::Target& target) {
    Random random(5);
    const RawTable full = fullTable(random);
    for (int low = 0; low <= 4; low++)
      for (const int sign : {1, -1})
        for (int size = 10; size <= 12; size++)
          for (const int magnitude : {1 << (size - 1), (1 << size) - 1}) {
            if (magnitude << low > 32767) continue;
            Mox16s src[64] = {};
            src[kNatural[18]] = static_cast<Mox16s>(sign * (magnitude << low));
            ScanEncoder encoder({Kind::acFirst, 1, 18, low}, full);
            ScanCounter counter(encoder.scan);
            for (EncoderState* state : {&encoder.state, &counter.state}) state->setWord(3, 5);
            EXPECT_EQ(encoder.block(src), size > 11 ? moxStatusCoefficientRange : moxStatusOk) << target.name << size;
            EXPECT_EQ(counter.block(src), size > 10 ? moxStatusCoefficientRange : moxStatusOk) << target.name << size;
            EXPECT_EQ(encoder.eobRun(), 0);
            EXPECT_EQ(counter.counts[0x20], 1);
            EXPECT_EQ(counter.counts[0xF0], 1);
            EXPECT_EQ(counter.counts[0x10 + size], size <= 10) << target.name;
            EXPECT_EQ(encoder.flush(), moxStatusOk);
            Bits expected = Bits().code(full, 0x20).number(1, 2).code(full, 0xF0);
            if (size <= 11)
              expected.code(full, 0x10 + size).number(static_cast<uint32_t>(sign > 0 ? magnitude : ~magnitude), size);
            EXPECT_EQ(encoder.segment(), expected.bytes()) << target.name << size;
          }
    Mox16s lowest[64] = {};
    lowest[1] = -32768;  // 2^15 >> 4 has twelve bits, >> 5 eleven, >> 6 ten
    for (int low = 0; low <= 13; low++) {
      ScanEncoder encoder({Kind::acFirst, 1, 63, low}, full);
      ScanCounter counter(encoder.scan);
      EXPECT_EQ(encoder.block(lowest), low < 5 ? moxStatusCoefficientRange : moxStatusOk) << target.name << low;
      EXPECT_EQ(counter.block(lowest), low < 6 ? moxStatusCoefficientRange : moxStatusOk) << target.name << low;
    }
  });
}

// ---- Refining AC scan ---------------------------------------------------------------------------------------------

TEST(ProgressiveEncoder, correctionBitsFollowTheNextSymbol) {
  forEachTarget([](const mox::Target& target) {
    const RawTable ac = typicalAC();
    Mox16s src[64] = {};
    src[kNatural[1]] = -6;  // known 2 of 3; bit 1 at Al 1
    src[kNatural[2]] = 4;   // known, bit 0
    src[kNatural[5]] = 3;   // new after two zeros
    src[kNatural[6]] = 7;   // known, bit 1
    src[kNatural[8]] = -2;  // new after one zero
    src[kNatural[9]] = -4;  // known, bit 0: joins the run
    src[kNatural[20]] = 6;  // known, bit 1: likewise
    ScanEncoder encoder({Kind::acRefine, 1, 63, 1}, ac);
    ScanCounter counter(encoder.scan);
    EXPECT_EQ(encoder.block(src), moxStatusOk) << target.name;
    EXPECT_EQ(counter.block(src), moxStatusOk) << target.name;
    EXPECT_EQ(encoder.eobRun(), 1) << target.name;
    EXPECT_EQ(encoder.corrections(), 2) << target.name;
    EXPECT_EQ(encoder.state.bytes[20], 0) << target.name;
    EXPECT_EQ(encoder.state.bytes[21], 1) << target.name;
    EXPECT_EQ(encoder.block(src), moxStatusOk) << target.name;
    EXPECT_EQ(encoder.flush(), moxStatusOk);
    Bits expected;
    for (int n = 0; n < 2; n++)
      expected.code(ac, 0x21)
          .number(1, 1)
          .number(1, 1)
          .number(0, 1)
          .code(ac, 0x11)
          .number(0, 1)
          .number(1, 1)
          .code(ac, 0)
          .number(0, 1)
          .number(1, 1);
    EXPECT_EQ(encoder.segment(), expected.bytes()) << target.name;
    EXPECT_EQ(counter.flush(), moxStatusOk);
    for (int i = 0; i < 256; i++) EXPECT_EQ(counter.counts[i], i == 0x21 || i == 0x11 || i == 0) << target.name << i;
  });
}

TEST(ProgressiveEncoder, runsOf16ZerosOnlyUpToTheLastNewCoefficient) {
  forEachTarget([](const mox::Target& target) {
    const RawTable ac = typicalAC();
    Mox16s src[64] = {};
    src[kNatural[3]] = 3;    // known, after two zeros
    src[kNatural[20]] = 2;   // known, after 18 zeros
    src[kNatural[23]] = -1;  // new
    src[kNatural[60]] = 5;   // known, after 36 zeros: no code for them
    ScanEncoder encoder(kACRefine, ac);
    ScanCounter counter(encoder.scan);
    EXPECT_EQ(encoder.block(src), moxStatusOk);
    EXPECT_EQ(counter.block(src), moxStatusOk);
    EXPECT_EQ(encoder.corrections(), 1) << target.name;
    EXPECT_EQ(encoder.flush(), moxStatusOk);
    // The known coefficient at 3 is corrected after the first code; 2 + 16 zeros before 20, of which 16 are coded.
    const Bits expected =
        Bits().code(ac, 0xF0).number(1, 1).code(ac, 0x41).number(0, 1).number(0, 1).code(ac, 0).number(1, 1);
    EXPECT_EQ(encoder.segment(), expected.bytes()) << target.name;
    EXPECT_EQ(counter.counts[0xF0], 1) << target.name;
  });
}

TEST(ProgressiveEncoder, runsEndBehind937CorrectionBits) {
  forEachTarget([](const mox::Target& target) {
    Random random(6);
    const RawTable full = fullTable(random);
    // Bands of one known coefficient, then one of 63: 937 are held, the next block makes it 1000.
    Mox16s one[64] = {}, all[64];
    one[1] = 2;
    for (int i = 0; i < 64; i++) all[i] = static_cast<Mox16s>(2 + i % 2);
    ScanEncoder encoder(kACRefine, full);
    ScanCounter counter(kACRefine);
    for (int n = 0; n < 937; n++) {
      ASSERT_EQ(encoder.block(one), moxStatusOk);
      ASSERT_EQ(counter.block(one), moxStatusOk);
    }
    EXPECT_EQ(encoder.corrections(), 937) << target.name;
    EXPECT_EQ(encoder.eobRun(), 937) << target.name;
    ASSERT_EQ(encoder.block(all), moxStatusOk);
    ASSERT_EQ(counter.block(all), moxStatusOk);
    EXPECT_EQ(encoder.corrections(), 0) << target.name;
    EXPECT_EQ(encoder.eobRun(), 0) << target.name;
    EXPECT_EQ(counter.state.word(4), 0u) << target.name;
    EXPECT_EQ(counter.eobRun(), 0) << target.name;
    EXPECT_EQ(counter.counts[9 * 16], 1) << target.name;
    Bits expected = Bits().code(full, 9 * 16).number(938, 9).number(0, 16);
    for (int n = 16; n < 937; n++) expected.number(0, 1);
    for (int k = 1; k < 64; k++) expected.number(static_cast<uint32_t>(all[kNatural[k]]) & 1, 1);
    ASSERT_EQ(encoder.flush(), moxStatusOk);
    EXPECT_EQ(encoder.segment(), expected.bytes()) << target.name;

    ScanEncoder fewer(kACRefine, full);  // 936 and 1 are not more than 937
    for (int n = 0; n < 937; n++) ASSERT_EQ(fewer.block(one), moxStatusOk);
    EXPECT_EQ(fewer.position, 0) << target.name;
    ASSERT_EQ(fewer.block(one), moxStatusOk);
    EXPECT_GT(fewer.position, 100) << target.name;
  });
}

// A run that cannot be written is kept; what the area has no room for is dropped, and nothing outside it is touched.
TEST(ProgressiveEncoder, correctionBitsBeyondTheAreaAreDropped) {
  forEachTarget([](const mox::Target& target) {
    Mox16s all[64];
    for (Mox16s& v : all) v = 3;
    ScanEncoder encoder(kACRefine, RawTable());  // no symbol has a code
    std::memset(encoder.state.bytes + 1044, 0x77, 4);
    for (int n = 1; n <= 40; n++) {
      EXPECT_EQ(encoder.block(all), n * 63 > 937 ? moxStatusHuffTable : moxStatusOk) << target.name << n;
      EXPECT_EQ(encoder.corrections(), n * 63);
      EXPECT_EQ(encoder.eobRun(), n);
    }
    for (int i = 0; i < 1024; i++) EXPECT_EQ(encoder.state.bytes[20 + i], 1);
    EXPECT_EQ(encoder.state.word(261), 0x77777777u) << target.name;
    EXPECT_EQ(encoder.flush(), moxStatusHuffTable);
    EXPECT_EQ(encoder.eobRun(), 0);
    EXPECT_EQ(encoder.corrections(), 0);
    for (const uint32_t count : {0x80000000u, 0xFFFFFFFFu, 0x7FFFFFFFu, 1024u, 1023u}) {
      encoder.state.setWord(4, count);
      encoder.block(all);
      EXPECT_EQ(encoder.state.word(261), 0x77777777u) << target.name;
      encoder.flush();
    }
  });
}

// ---- Failures -----------------------------------------------------------------------------------------------------

void seededBlocks(Random& random, std::vector<Mox16s>& blocks, int count) {
  blocks.resize(static_cast<size_t>(count) * 64);
  for (int n = 0; n < count; n++) randomBlock(random, &blocks[static_cast<size_t>(n) * 64], n % 40, 6);
}

// Whatever the room, what has been written is the start of the whole segment, and nothing is written past it.
TEST(ProgressiveEncoder, fullDestinationKeepsWhatFits) {
  forEachTarget([](const mox::Target& target) {
    Random random(7);
    const RawTable full = fullTable(random);
    std::vector<Mox16s> blocks;
    seededBlocks(random, blocks, 12);
    for (const Scan scan :
         {Scan{Kind::dcFirst, 0, 0, 1}, kDCRefine, Scan{Kind::acFirst, 1, 63, 1}, Scan{Kind::acRefine, 2, 60, 1}}) {
      ScanEncoder whole(scan, full);
      for (int n = 0; n < 12; n++) ASSERT_EQ(whole.block(&blocks[static_cast<size_t>(n) * 64]), moxStatusOk);
      ASSERT_EQ(whole.flush(), moxStatusOk);
      for (int size = 1; size < whole.position; size++) {
        GuardedMemory memory(4096);
        Mox8u* const dst = memory.atEnd<Mox8u>(static_cast<size_t>(size));
        ScanEncoder encoder(scan, full, 1);
        MoxStatus status = moxStatusOk;
        for (int n = 0; n <= 12 && !status; n++) {
          const Mox16s* const src = &blocks[static_cast<size_t>(n % 12) * 64];
          const int flush = n == 12;
          switch (scan.kind) {
            case Kind::dcFirst:
              status =
                  moxiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(src, dst, size, &encoder.position, &encoder.lastDC,
                                                             scan.low, encoder.table.get(), encoder.state.get(), flush);
              break;
            case Kind::dcRefine:
              status = moxiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(src, dst, size, &encoder.position, scan.low,
                                                                   encoder.state.get(), flush);
              break;
            case Kind::acFirst:
              status =
                  moxiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(src, dst, size, &encoder.position, scan.start, scan.end,
                                                             scan.low, encoder.table.get(), encoder.state.get(), flush);
              break;
            case Kind::acRefine:
              status = moxiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(src, dst, size, &encoder.position, scan.start,
                                                                   scan.end, scan.low, encoder.table.get(),
                                                                   encoder.state.get(), flush);
              break;
          }
        }
        ASSERT_EQ(status, moxStatusOutOfBuffer) << target.name << size;
        ASSERT_EQ(encoder.position, size);
        ASSERT_EQ(std::memcmp(dst, whole.bytes.data(), static_cast<size_t>(size)), 0) << target.name;
      }
    }
  });
}

TEST(ProgressiveEncoder, positionOutsideTheDestinationIsFull) {
  Mox16s src[64];
  for (Mox16s& v : src) v = 1;
  for (const Scan scan : {kDCFirst, kACFirst, kACRefine})
    for (const int32_t at : {64, 65, INT32_MAX, -1, INT32_MIN}) {
      ScanEncoder encoder(scan, byteTable(), 64);
      encoder.position = at;
      EXPECT_EQ(encoder.block(src), moxStatusOutOfBuffer) << at;
      EXPECT_EQ(encoder.position, at);
      EXPECT_EQ(encoder.bytes, std::vector<uint8_t>(64, 0xA5));
    }
}

// Each symbol of a scan in turn has no code: everything before it is written, nothing of it.
TEST(ProgressiveEncoder, symbolWithoutCodeStopsWhereItStands) {
  forEachTarget([](const mox::Target& target) {
    Random random(8);
    const RawTable ac = fullTable(random);
    Mox16s src[64] = {};
    src[kNatural[1]] = 1;
    src[kNatural[20]] = -1;  // after 18 zeros
    for (const Scan scan : {kACFirst, kACRefine}) {
      const int symbols[] = {0x10, 0x01, 0xF0, 0x21};  // a run of 3 blocks, then the block's
      for (int missing = 0; missing < 4; missing++) {
        RawTable table = ac;
        Mox8u* const place = std::find(table.values, table.values + 256, symbols[missing]);
        *place = 0xEE;
        ScanEncoder encoder(scan, table);
        encoder.state.setWord(3, 3);
        EXPECT_EQ(encoder.block(src), moxStatusHuffTable) << target.name << missing;
        Bits expected;
        if (missing > 0) expected.code(table, 0x10).number(1, 1);
        if (missing > 1) expected.code(table, 0x01).number(1, 1);
        if (missing > 2) expected.code(table, 0xF0);
        EXPECT_EQ(encoder.eobRun(), missing == 0 ? 3 : 0) << target.name << missing;
        EXPECT_EQ(encoder.state.word(2), expected.text.size() % 8) << target.name << missing;
        encoder.state.setWord(3, 0);
        EXPECT_EQ(encoder.flush(), moxStatusOk);
        EXPECT_EQ(encoder.segment(), expected.bytes()) << target.name << missing;
      }
    }
    ScanEncoder dc(kDCFirst, RawTable());
    EXPECT_EQ(dc.block(kBlock), moxStatusHuffTable);
    EXPECT_EQ(dc.lastDC, 5);
    EXPECT_EQ(dc.position, 0);
    ScanEncoder flushed(kACFirst, RawTable());
    flushed.state.setWord(3, 1);
    EXPECT_EQ(flushed.flush(), moxStatusHuffTable);
    EXPECT_EQ(std::memcmp(flushed.state.bytes, EncoderState().bytes, 1048), 0) << "cleared all the same";
  });
}

TEST(ProgressiveEncoder, blockIsReadWithinItsPage) {
  forEachTarget([](const mox::Target&) {
    GuardedMemory memory(4096);
    for (const Scan scan : {kDCFirst, kDCRefine, kACFirst, kACRefine})
      for (Mox16s* const src : {memory.atEnd<Mox16s>(64), memory.atStart<Mox16s>()}) {
        for (int i = 0; i < 64; i++) src[i] = static_cast<Mox16s>(i % 5);
        ScanEncoder encoder(scan, byteTable());
        EXPECT_EQ(encoder.block(src), moxStatusOk);
        if (scan.kind == Kind::dcRefine) continue;
        ScanCounter counter(scan);
        EXPECT_EQ(counter.block(src), moxStatusOk);
      }
  });
}

// ---- Counting -----------------------------------------------------------------------------------------------------

// What is counted is what is coded: the bits of the segment are those of the counted symbols' codes and what follows
// them.
TEST(ProgressiveEncoder, countsAreThoseOfTheSegment) {
  forEachTarget([](const mox::Target& target) {
    Random random(9);
    for (int n = 0; n < 60; n++) {
      const Kind kind = n % 3 == 0 ? Kind::dcFirst : n % 3 == 1 ? Kind::acFirst : Kind::acRefine;
      const int start = random.between(1, 63);
      const Scan scan{kind, start, random.between(start, 63), random.below(4)};
      std::vector<Mox16s> blocks;
      seededBlocks(random, blocks, 60);
      ScanCounter counter(scan);
      for (int i = 0; i < 60; i++) ASSERT_EQ(counter.block(&blocks[static_cast<size_t>(i) * 64]), moxStatusOk);
      ASSERT_EQ(counter.flush(), moxStatusOk);
      // An optimal table for the counts has a code for every symbol that occurs, and for no other.
      RawTable table;
      ASSERT_EQ(moxiEncodeHuffmanRawTableInit_JPEG_8u(counter.counts, table.bits, table.values), moxStatusOk);
      ScanEncoder encoder(scan, table);
      for (int i = 0; i < 60; i++)
        ASSERT_EQ(encoder.block(&blocks[static_cast<size_t>(i) * 64]), moxStatusOk) << target.name;
      ASSERT_EQ(encoder.flush(), moxStatusOk);
      // Without one of them it cannot be coded.
      int k = random.below(table.count());
      RawTable less = table;
      for (int unused = 0; unused < 256; unused++)
        if (counter.counts[unused] == 0) less.values[k] = static_cast<Mox8u>(unused);
      ScanEncoder failing(scan, less);
      MoxStatus status = moxStatusOk;
      for (int i = 0; i < 60 && !status; i++) status = failing.block(&blocks[static_cast<size_t>(i) * 64]);
      if (!status) status = failing.flush();
      ASSERT_EQ(status, moxStatusHuffTable) << target.name;
    }
  });
}

TEST(ProgressiveEncoder, countersAreAddedToAndWrap) {
  forEachTarget([](const mox::Target& target) {
    Mox16s src[64] = {};
    src[1] = 1;
    for (const Scan scan : {kACFirst, kACRefine}) {
      ScanCounter counter(scan);
      counter.counts[1] = INT32_MAX;
      counter.counts[7] = 7;
      ASSERT_EQ(counter.block(src), moxStatusOk);
      EXPECT_EQ(counter.counts[1], INT32_MIN) << target.name;
      EXPECT_EQ(counter.counts[7], 7) << target.name;
    }
    ScanCounter dc(kDCFirst);
    dc.counts[0] = INT32_MAX;
    ASSERT_EQ(dc.block(src), moxStatusOk);
    EXPECT_EQ(dc.counts[0], INT32_MIN);
  });
}

TEST(ProgressiveEncoder, countingFlushClearsTheStateEvenWhenItFails) {
  for (const Scan scan : {kACFirst, kACRefine})
    for (const uint32_t run : {1u, 0x10000u}) {
      ScanCounter counter(scan);
      counter.state.setWord(0, 1);
      counter.state.setWord(3, run);
      counter.state.setWord(4, 50);
      counter.state.bytes[600] = 1;
      EXPECT_EQ(counter.flush(), run == 1 ? moxStatusOk : moxStatusCoefficientRange);
      EXPECT_EQ(counter.counts[0], run == 1);
      EXPECT_EQ(counter.counts[0xE0], run != 1);
      EXPECT_EQ(std::memcmp(counter.state.bytes, EncoderState().bytes, 1048), 0);
    }
}

}  // namespace
}  // namespace test
