// Single differences of lossless JPEG: check orders, bits, what is and is not reported; the coders of every target
// against the definition, call by call. MOX_HUFFMAN_BLOCKS sets the number of calls of the latter (default 60000).
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "kernels/entropy/losslesscode.h"
#include "proof/huffman.h"
#include "support/checks.h"
#include "support/guarded.h"
#include "support/targets.h"

namespace test {
namespace {

using Bytes = std::vector<Mox8u>;

// Codes of one length for the categories 0 to 16: code s is s.
RawTable flatTable(int length) {
  RawTable table;
  table.bits[length - 1] = 17;
  for (int i = 0; i < 17; i++) table.values[i] = static_cast<Mox8u>(i);
  return table;
}

struct Encoder {
  explicit Encoder(const RawTable& raw, size_t size = 256) : table(raw), bytes(size, 0xA5) {}

  MoxStatus one(Mox16s difference) { return call(&difference, 0); }
  MoxStatus flush() { return call(nullptr, 1); }
  MoxStatus call(const Mox16s* src, int flush) {
    return moxiEncodeHuffmanOne_JPEG_16s1u_C1(src, bytes.data(), static_cast<int32_t>(bytes.size()), &position,
                                              flush ? nullptr : table.get(), state.get(), flush);
  }
  Bytes segment() const { return {bytes.begin(), bytes.begin() + position}; }

  EncodeTable table;
  Bytes bytes;
  int32_t position = 0;
  EncoderState state;
};

struct Decoder {
  Decoder(const RawTable& raw, Bytes source) : table(raw), source(std::move(source)) {
    this->source.reserve(this->source.size() + 1);
  }

  MoxStatus one() {
    return moxiDecodeHuffmanOne_JPEG_1u16s_C1(source.data(), static_cast<int32_t>(source.size()), &position,
                                              &difference, &marker, table.get(), state.get());
  }

  DecodeTable table;
  Bytes source;
  int32_t position = 0, marker = 0;
  Mox16s difference = 77;
  DecoderState state;
};

TEST(LosslessCode, encoderChecksInOrder) {
  const Mox16s difference = 5;
  Mox8u dst[64];
  std::memset(dst, 0xA5, sizeof dst);
  int32_t position = 3;
  EncodeTable table(flatTable(5));
  EncoderState state;
  const auto good = [&](int flush) {
    return checkOrder("encode", moxiEncodeHuffmanOne_JPEG_16s1u_C1, &difference, static_cast<Mox8u*>(dst), 64,
                      &position, static_cast<const MoxEncodeHuffmanSpec*>(table.get()), state.get(), flush);
  };
  good(0)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .breaksEach<2>({0, -1, INT32_MIN}, moxStatusBadSize)
      .breaks<3>(nullptr, moxStatusNullPointer)
      .breaks<5>(nullptr, moxStatusNullPointer)
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<4>(nullptr, moxStatusNullPointer)
      .untouched(dst, sizeof dst)
      .untouched(&position, sizeof position)
      .untouched(state.bytes, sizeof state.bytes)
      .run();
  good(1)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .breaksEach<2>({0, -1, INT32_MIN}, moxStatusBadSize)
      .breaks<3>(nullptr, moxStatusNullPointer)
      .breaks<5>(nullptr, moxStatusNullPointer)
      .run();
  // A flush tests only these.
  EXPECT_EQ(moxiEncodeHuffmanOne_JPEG_16s1u_C1(nullptr, dst, 64, &position, nullptr, state.get(), -1), moxStatusOk);
}

TEST(LosslessCode, decoderChecksInOrder) {
  const Mox8u src[16] = {0x28};
  int32_t position = 0, marker = 0;
  Mox16s difference = 4;
  DecodeTable table(flatTable(5));
  DecoderState state;
  checkOrder("decode", moxiDecodeHuffmanOne_JPEG_1u16s_C1, static_cast<const Mox8u*>(src), 16, &position, &difference,
             &marker, static_cast<const MoxDecodeHuffmanSpec*>(table.get()), state.get())
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaksEach<1>({-1, INT32_MIN}, moxStatusBadArgument)
      .breaks<2>(nullptr, moxStatusNullPointer)
      .breaks<3>(nullptr, moxStatusNullPointer)
      .breaks<4>(nullptr, moxStatusNullPointer)
      .breaks<5>(nullptr, moxStatusNullPointer)
      .breaks<6>(nullptr, moxStatusNullPointer)
      .untouched(&position, sizeof position)
      .untouched(&difference, sizeof difference)
      .untouched(&marker, sizeof marker)
      .untouched(state.bytes, sizeof state.bytes)
      .run();
}

TEST(LosslessCode, statisticsCheckInOrderAndCountCategories) {
  const Mox16s difference = -8;
  int32_t counts[256] = {};
  checkOrder("statistics", moxiGetHuffmanStatisticsOne_JPEG_16s_C1, &difference, static_cast<int32_t*>(counts))
      .breaks<0>(nullptr, moxStatusNullPointer)
      .breaks<1>(nullptr, moxStatusNullPointer)
      .untouched(counts, sizeof counts)
      .run();
  int32_t expected[256] = {};
  expected[4] = 1;
  EXPECT_EQ(std::memcmp(counts, expected, sizeof counts), 0);
  std::memset(counts, 0, sizeof counts);
  for (int v = -32768; v < 32768; v++) {
    const Mox16s d = static_cast<Mox16s>(v);
    ASSERT_EQ(moxiGetHuffmanStatisticsOne_JPEG_16s_C1(&d, counts), moxStatusOk);
  }
  EXPECT_EQ(counts[0], 1);
  for (int s = 1; s < 16; s++) EXPECT_EQ(counts[s], 1 << s);
  EXPECT_EQ(counts[16], 1);
  EXPECT_EQ(counts[17], 0);
  counts[1] = INT32_MAX;
  const Mox16s one = 1;
  ASSERT_EQ(moxiGetHuffmanStatisticsOne_JPEG_16s_C1(&one, counts), moxStatusOk);
  EXPECT_EQ(counts[1], INT32_MIN);
}

TEST(LosslessCode, bitsOfDifferences) {
  forEachTarget([](const mox::Target& target) {
    Encoder encoder(flatTable(6));
    // 000000, 000010 11, 000010 00, 001111 111111111111110, 010000 alone: 00 2C 20 FF FF C8 and a bit
    for (const int d : {0, 3, -3, 32766, -32768}) ASSERT_EQ(encoder.one(static_cast<Mox16s>(d)), moxStatusOk);
    EXPECT_EQ(encoder.segment(), (Bytes{0x00, 0x2C, 0x20, 0xFF, 0x00, 0xFF, 0x00, 0xC8})) << target.name;
    EXPECT_EQ(encoder.state.word(2), 1u) << target.name;
  });
}

TEST(LosslessCode, flushPadsWithOnesAndClearsTheState) {
  Encoder encoder(flatTable(5));
  encoder.state.setWord(0, 0xA00000);  // 101 under bit 23
  encoder.state.setWord(2, 3);
  encoder.state.setWord(3, 77);
  EXPECT_EQ(encoder.flush(), moxStatusOk);
  EXPECT_EQ(encoder.segment(), Bytes{0xBF});
  EncoderState fresh;
  EXPECT_EQ(std::memcmp(encoder.state.bytes, fresh.bytes, 1048), 0);
  EXPECT_EQ(encoder.flush(), moxStatusOk);
  EXPECT_EQ(encoder.position, 1) << "without pending bits nothing is written";
}

TEST(LosslessCode, aFullDestinationIsNotReported) {
  forEachTarget([](const mox::Target& target) {
    Encoder encoder(flatTable(5), 2);
    for (int i = 0; i < 3; i++) ASSERT_EQ(encoder.one(100), moxStatusOk) << target.name;  // 12 bits each: 36 in all
    EXPECT_EQ(encoder.position, 2) << target.name;
    EXPECT_EQ(encoder.bytes, (Bytes{0x3E, 0x43})) << target.name;
    EXPECT_EQ(encoder.flush(), moxStatusOk);
    EXPECT_EQ(encoder.position, 2) << target.name;
    EXPECT_EQ(encoder.state.word(2), 0u) << "a flush clears the state all the same";
    for (const int32_t at : {2, 3, INT32_MAX, -1, INT32_MIN}) {
      encoder.position = at;
      encoder.state = EncoderState();
      ASSERT_EQ(encoder.one(32767), moxStatusOk);
      EXPECT_EQ(encoder.position, at) << target.name;
      EXPECT_EQ(encoder.bytes, (Bytes{0x3E, 0x43})) << target.name;
    }
  });
}

// The code has no entry: no value bits follow.
TEST(LosslessCode, aCategoryWithoutACodeWritesNothingAndIsNotReported) {
  forEachTarget([](const mox::Target& target) {
    Encoder encoder{RawTable()};
    for (const int d : {0, 1, -700, -32768}) EXPECT_EQ(encoder.one(static_cast<Mox16s>(d)), moxStatusOk) << target.name;
    EXPECT_EQ(encoder.position, 0) << target.name;
    EXPECT_EQ(encoder.state.word(2), 0u) << target.name;
  });
}

TEST(LosslessCode, everyDifferenceIsRestored) {
  forEachTarget([](const mox::Target& target) {
    Random random(9);
    for (const RawTable& raw : {flatTable(5), randomTable(random, 17, true), fullTable(random)}) {
      RawTable table = raw;
      if (table.count() == 17)
        for (int i = 0; i < 17; i++) table.values[i] = static_cast<Mox8u>((i * 5) % 17);
      Encoder encoder(table, 8 * 65537);
      for (int v = -32768; v < 32768; v++) ASSERT_EQ(encoder.one(static_cast<Mox16s>(v)), moxStatusOk);
      encoder.flush();
      Decoder decoder(table, encoder.segment());
      for (int v = -32768; v < 32768; v++) {
        ASSERT_EQ(decoder.one(), moxStatusOk) << target.name << ", " << v;
        ASSERT_EQ(decoder.difference, v) << target.name;
      }
      EXPECT_EQ(decoder.position, encoder.position) << target.name;
      // The rest is padding.
      EXPECT_LT(decoder.state.word(2), 8u);
    }
  });
}

TEST(LosslessCode, symbolsFrom16OnAre32768WithoutValueBits) {
  forEachTarget([](const mox::Target& target) {
    RawTable table;
    table.bits[7] = 255;
    for (int i = 0; i < 256; i++) table.values[i] = static_cast<Mox8u>(i);
    Decoder decoder(table, {16, 17, 0xFE, 0, 0, 0});
    for (int i = 0; i < 3; i++) {
      decoder.difference = 1;
      EXPECT_EQ(decoder.one(), moxStatusOk) << target.name;
      EXPECT_EQ(decoder.difference, -32768) << target.name;
    }
    EXPECT_EQ(decoder.one(), moxStatusOk);
    EXPECT_EQ(decoder.difference, 0) << target.name;
  });
}

TEST(LosslessCode, bitsThatRunOutLeaveTheDestination) {
  forEachTarget([](const mox::Target& target) {
    Decoder empty(flatTable(5), {});
    EXPECT_EQ(empty.one(), moxStatusOutOfBuffer) << target.name;
    EXPECT_EQ(empty.difference, 77) << target.name;
    Decoder cut(flatTable(5), {0x7F});  // category 15, and three of its bits
    EXPECT_EQ(cut.one(), moxStatusOutOfBuffer) << target.name;
    EXPECT_EQ(cut.difference, 77) << target.name;
    EXPECT_EQ(cut.position, 1) << target.name;
    EXPECT_EQ(cut.state.word(2), 3u) << target.name;
  });
}

TEST(LosslessCode, aPositionOutsideTheSourceHasNothingBehindIt) {
  forEachTarget([](const mox::Target& target) {
    for (const int32_t at : {8, 9, INT32_MAX, -1, INT32_MIN}) {
      Decoder decoder(flatTable(5), Bytes(8, 0));
      decoder.position = at;
      EXPECT_EQ(decoder.one(), moxStatusOutOfBuffer) << target.name;
      EXPECT_EQ(decoder.position, at) << target.name;
      // Held bits suffice if there are enough of them.
      decoder.state.setWord(2, 8);
      EXPECT_EQ(decoder.one(), moxStatusOk) << target.name;
      EXPECT_EQ(decoder.difference, 0) << target.name;
    }
  });
}

TEST(LosslessCode, aMarkerIsANoticeAndTheBitsAheadOfItAreDecoded) {
  forEachTarget([](const mox::Target& target) {
    Decoder decoder(flatTable(5), {0x16, 0x05, 0xFF, 0xFF, 0xD9, 0, 0, 0});  // 00010 11, 00000, 0101 and a marker
    EXPECT_EQ(decoder.one(), moxStatusMarkerMet) << target.name;
    EXPECT_EQ(decoder.difference, 3) << target.name;
    EXPECT_EQ(decoder.marker, 0xD9) << target.name;
    EXPECT_EQ(decoder.position, 5) << target.name;
    EXPECT_EQ(decoder.one(), moxStatusOk) << "00000, which is held";
    EXPECT_EQ(decoder.difference, 0) << target.name;
    EXPECT_EQ(decoder.one(), moxStatusOutOfBuffer) << target.name;
    EXPECT_EQ(decoder.marker, 0xD9) << target.name;
    EXPECT_EQ(decoder.position, 5) << target.name;
  });
}

// ---- Against the definition -----------------------------------------------------------------------------------------

int callsToTry() {
  const char* const wanted = std::getenv("MOX_HUFFMAN_BLOCKS");
  return wanted ? std::atoi(wanted) : 60000;
}

RawTable anyTable(Random& random) {
  switch (random.below(4)) {
    case 0:
      return flatTable(random.between(5, 16));
    case 1:
      return randomTable(random, random.below(256), random.oneIn(2));
    case 2:
      return typicalDC();
    default:
      return fullTable(random);
  }
}

Mox16s anyDifference(Random& random) {
  if (random.oneIn(8)) return random.extreme<Mox16s>();
  return static_cast<Mox16s>(random.any<Mox16s>() >> random.below(16));
}

struct EncoderWorld {
  GuardedMemory memory{4096};
  EncoderState state;
  int32_t position = 0, length = 0;
  Mox8u* dst = nullptr;

  void begin(int size) {
    std::memset(memory.bytes().data(), 0xA5, memory.bytes().size());
    dst = memory.atEnd<Mox8u>(static_cast<size_t>(size));
    length = size;
    state = EncoderState();
  }
  void encode(const mox::LosslessCodeKernels& kernels, Mox16s difference, EncodeTable& table) {
    kernels.encode(difference, dst, length, &position, table.get(), state.get());
  }
};

int encodeStream(const mox::Target& target, Random& random, EncoderWorld& expected, EncoderWorld& actual) {
  const mox::LosslessCodeKernels& definition = *mox::targets().first->kernels->losslessCode;
  EncodeTable table(anyTable(random));
  const int size = random.between(1, 400), start = random.oneIn(10) ? random.between(-5, size + 5) : 0;
  const bool odd = random.oneIn(3);
  const uint32_t low = random.any<uint32_t>(),
                 pending = random.oneIn(10) ? random.any<uint32_t>() : static_cast<uint32_t>(random.below(8));
  const bool clean = !random.oneIn(4);
  for (EncoderWorld* world : {&expected, &actual}) {
    world->begin(size);
    world->position = start;
    if (!odd) continue;
    world->state.setWord(0, clean ? low & (0xFFFFFFFFu << (24 - (pending & 7))) : low);
    world->state.setWord(1, 0x01234567);
    world->state.setWord(2, pending);
  }
  int n = 0;
  for (; n < 300; n++) {
    const Mox16s difference = anyDifference(random);
    expected.encode(definition, difference, table);
    actual.encode(*target.kernels->losslessCode, difference, table);
    EXPECT_EQ(actual.position, expected.position) << target.name << ", call " << n;
    EXPECT_EQ(std::memcmp(actual.state.bytes, expected.state.bytes, 1048), 0) << target.name << ", call " << n;
    const auto x = expected.memory.bytes(), y = actual.memory.bytes();
    EXPECT_EQ(std::memcmp(x.data(), y.data(), x.size()), 0) << target.name << ", call " << n;
    if (testing::Test::HasFailure()) break;
    if (expected.position >= size && random.oneIn(3)) break;
  }
  return n;
}

TEST(LosslessCode, encoderOfEveryTarget) {
  EncoderWorld expected, actual;
  forEachTarget([&](const mox::Target& target) {
    Random random(21);
    for (int done = 0; done < callsToTry() && !testing::Test::HasFailure();)
      done += 1 + encodeStream(target, random, expected, actual);
  });
}

Bytes anySegment(Random& random, const RawTable& table) {
  Bytes segment(static_cast<size_t>(random.between(0, 200)));
  if (random.oneIn(3)) {
    const int stuffing = random.between(2, 100), markers = random.between(2, 100);
    for (size_t i = 0; i < segment.size(); i++) {
      segment[i] = random.any<Mox8u>();
      if (!random.oneIn(stuffing)) continue;
      segment[i] = 0xFF;
      if (i + 1 < segment.size() && !random.oneIn(markers)) segment[++i] = 0;
    }
    return segment;
  }
  Encoder encoder(table, 4000);
  for (int n = random.below(200); n > 0; n--) encoder.one(anyDifference(random));
  encoder.flush();
  segment = encoder.segment();
  if (random.oneIn(2)) segment.insert(segment.end(), {0xFF, static_cast<Mox8u>(0xD0 + random.below(8))});
  for (int n = random.oneIn(2) ? 0 : random.below(4); n > 0 && !segment.empty(); n--)
    segment[static_cast<size_t>(random.below(static_cast<int>(segment.size())))] ^=
        static_cast<Mox8u>(1 << random.below(8));
  return segment;
}

struct DecoderWorld {
  GuardedMemory memory{4096};
  const Mox8u* src = nullptr;
  int32_t length = 0, position = 0, marker = 0;
  Mox16s difference = 77;
  DecoderState state;

  void begin(const Bytes& segment) {
    Mox8u* const bytes = memory.atEnd<Mox8u>(segment.size());
    if (!segment.empty()) std::memcpy(bytes, segment.data(), segment.size());
    src = bytes;
    length = static_cast<int32_t>(segment.size());
    position = marker = 0;
    difference = 77;
    state = DecoderState();
  }
  MoxStatus decode(const mox::LosslessCodeKernels& kernels, DecodeTable& table) {
    return kernels.decode(src, length, &position, &difference, &marker, table.get(), state.get());
  }
};

int decodeStream(const mox::Target& target, Random& random, DecoderWorld& expected, DecoderWorld& actual) {
  const mox::LosslessCodeKernels& definition = *mox::targets().first->kernels->losslessCode;
  const RawTable raw = anyTable(random);
  DecodeTable table(random.oneIn(6) ? anyTable(random) : raw);
  if (random.oneIn(10))
    for (uint8_t& b : table.bytes) b = random.any<uint8_t>();
  const Bytes segment = anySegment(random, raw);
  const bool odd = random.oneIn(4);
  uint32_t words[6];
  for (uint32_t& w : words) w = random.any<uint32_t>();
  if (!random.oneIn(3)) words[2] = static_cast<uint32_t>(random.below(33));
  const int start = random.oneIn(8) ? random.between(-3, static_cast<int>(segment.size()) + 5) : 0;
  const int marker = random.oneIn(10) ? 0xD9 : 0;
  for (DecoderWorld* world : {&expected, &actual}) {
    world->begin(segment);
    world->position = start;
    world->marker = marker;
    if (odd)
      for (int i = 0; i < 6; i++) world->state.setWord(i, words[i]);
  }
  int n = 0;
  for (; n < 300; n++) {
    const MoxStatus wanted = expected.decode(definition, table);
    EXPECT_EQ(actual.decode(*target.kernels->losslessCode, table), wanted) << target.name << ", call " << n;
    EXPECT_EQ(actual.difference, expected.difference) << target.name << ", call " << n;
    EXPECT_EQ(actual.position, expected.position) << target.name << ", call " << n;
    EXPECT_EQ(actual.marker, expected.marker) << target.name << ", call " << n;
    EXPECT_EQ(std::memcmp(actual.state.bytes, expected.state.bytes, 24), 0) << target.name << ", call " << n;
    if (testing::Test::HasFailure()) break;
    if (wanted == moxStatusOutOfBuffer && !random.oneIn(3)) break;
    if (expected.marker && random.oneIn(2)) expected.marker = actual.marker = 0;
  }
  return n;
}

TEST(LosslessCode, decoderOfEveryTarget) {
  DecoderWorld expected, actual;
  forEachTarget([&](const mox::Target& target) {
    Random random(22);
    for (int done = 0; done < callsToTry() && !testing::Test::HasFailure();)
      done += 1 + decodeStream(target, random, expected, actual);
  });
}

}  // namespace
}  // namespace test
