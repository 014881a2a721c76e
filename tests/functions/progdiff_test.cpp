// The progressive kernels of every target against the definition, call by call: coefficients, bytes, positions,
// accumulators, counts, runs, held corrections, predictors, markers and statuses. MOX_HUFFMAN_BLOCKS sets the number
// of blocks of each test (default 60000).
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "kernels/entropy/progdec.h"
#include "kernels/entropy/progenc.h"
#include "proof/progressive.h"
#include "support/guarded.h"
#include "support/targets.h"

namespace test {
namespace {

using Bytes = std::vector<uint8_t>;

int blocksToTry() {
  const char* const wanted = std::getenv("MOX_HUFFMAN_BLOCKS");
  return wanted ? std::atoi(wanted) : 60000;
}

mox::Band anyBand(Random& random) {
  const int start = random.oneIn(2) ? random.between(1, 6) : random.between(1, 63);
  return {start, random.oneIn(2) ? 63 : random.between(start, 63),
          random.oneIn(6) ? random.below(14) : random.below(4)};
}

void anyBlock(Random& random, Mox16s* block, int density, int sizes) {
  randomBlock(random, block, random.oneIn(3) ? 0 : density, sizes);
  if (random.oneIn(6)) block[63] = random.any<Mox16s>();
  if (random.oneIn(30)) block[kNatural[random.below(64)]] = -32768;
  if (random.oneIn(40))
    for (int i = 0; i < 64; i++) block[i] = random.extreme<Mox16s>();
}

RawTable anyTable(Random& random) {
  switch (random.below(8)) {
    case 0:
      return typicalAC();
    case 1:
      return randomTable(random, random.below(256), random.oneIn(2));  // some symbols have no code
    case 2:
      return random.oneIn(4) ? RawTable() : byteTable();
    default:
      return fullTable(random);
  }
}

// ---- Encoders -----------------------------------------------------------------------------------------------------

struct EncoderWorld {
  GuardedMemory memory{8192}, blockMemory{128}, countMemory{1024};
  Mox16s* const block = blockMemory.atEnd<Mox16s>(64);
  int32_t* const counts = countMemory.atEnd<int32_t>(256);
  EncoderState state;
  int32_t position = 0, length = 0;
  Mox8u* dst = nullptr;

  void begin(int size, int32_t start) {
    std::memset(memory.bytes().data(), 0xA5, memory.bytes().size());
    std::memset(counts, 0, 1024);
    dst = memory.atEnd<Mox8u>(static_cast<size_t>(size));
    length = size;
    position = start;
    state = EncoderState();
  }
};

void expectSame(EncoderWorld& expected, EncoderWorld& actual, const char* target, int n) {
  ASSERT_EQ(actual.position, expected.position) << target << ", block " << n;
  for (int i = 0; i < 5; i++)
    ASSERT_EQ(actual.state.word(i), expected.state.word(i)) << target << ", block " << n << ", word " << i;
  ASSERT_EQ(std::memcmp(actual.state.bytes, expected.state.bytes, sizeof actual.state.bytes), 0)
      << target << ", block " << n;
  ASSERT_EQ(std::memcmp(actual.counts, expected.counts, 1024), 0) << target << ", block " << n;
  const auto x = expected.memory.bytes(), y = actual.memory.bytes();
  ASSERT_EQ(std::memcmp(x.data(), y.data(), x.size()), 0) << target << ", block " << n;
}

// Runs, held corrections and pending bits, sensible or not.
void anyState(Random& random, EncoderWorld& expected, EncoderWorld& actual) {
  EncoderState state;
  const uint32_t pending = random.oneIn(10) ? random.any<uint32_t>() : static_cast<uint32_t>(random.below(8));
  state.setWord(
      0, random.oneIn(4) ? random.any<uint32_t>() : random.any<uint32_t>() & (0xFFFFFFFFu << (24 - (pending & 7))));
  state.setWord(1, random.any<uint32_t>());
  state.setWord(2, pending);
  state.setWord(3, random.oneIn(4)
                       ? random.any<uint32_t>()
                       : static_cast<uint32_t>(random.oneIn(2) ? random.below(6) : random.between(32700, 32800)));
  state.setWord(4, random.oneIn(8)
                       ? random.any<uint32_t>()
                       : static_cast<uint32_t>(random.oneIn(2) ? random.below(10) : random.between(850, 1030)));
  for (int i = 0; i < 1024; i++) state.bytes[20 + i] = random.any<uint8_t>() & (random.oneIn(500) ? 0xFF : 1);
  expected.state = actual.state = state;
}

void encodeStream(const mox::Target& target, Random& random, int blocks, EncoderWorld& expected, EncoderWorld& actual) {
  const mox::ProgEncodeKernels &plain = *mox::targets().first->kernels->progEncode, &fast = *target.kernels->progEncode;
  EncodeTable table(anyTable(random));
  const int size = random.between(1, random.oneIn(2) ? 300 : 4096), start = random.oneIn(10) ? random.below(size) : 0;
  const mox::Band band = anyBand(random);
  const bool refine = random.oneIn(2), count = random.oneIn(3);
  const int density = random.below(65), sizes = random.oneIn(4) ? random.between(1, 15) : random.between(1, 5);
  expected.begin(size, start);
  actual.begin(size, start);
  if (random.oneIn(4)) anyState(random, expected, actual);
  const auto call = [&](const mox::ProgEncodeKernels& kernels, EncoderWorld& world) {
    if (count)
      return (refine ? kernels.countACRefine : kernels.countACFirst)(actual.block, world.counts, band,
                                                                     world.state.get());
    return (refine ? kernels.acRefine : kernels.acFirst)(actual.block, world.dst, world.length, &world.position, band,
                                                         table.get(), world.state.get());
  };
  for (int n = 0; n < blocks; n++) {
    anyBlock(random, actual.block, density, sizes);
    const MoxStatus wanted = call(plain, expected), got = call(fast, actual);
    ASSERT_EQ(got, wanted) << target.name << ", block " << n;
    expectSame(expected, actual, target.name, n);
    if (testing::Test::HasFatalFailure()) return;
    if (got == moxStatusOutOfBuffer && random.oneIn(2)) return;
  }
}

TEST(ProgressiveDifferential, encoders) {
  const int blocks = blocksToTry() * 2;
  EncoderWorld expected, actual;
  forEachTarget([&](const mox::Target& target) {
    Random random(51);
    for (int done = 0; done < blocks && !testing::Test::HasFatalFailure(); done += 50)
      encodeStream(target, random, 50, expected, actual);
  });
}

// ---- Decoders -----------------------------------------------------------------------------------------------------

struct DecoderWorld {
  GuardedMemory sourceMemory{16384}, blockMemory{128};
  Mox16s* const block = blockMemory.atEnd<Mox16s>(64);
  const Mox8u* src = nullptr;
  int32_t length = 0, position = 0, marker = 0;
  Mox16s lastDC = 0;
  DecoderState state;

  void begin(const Bytes& segment, int32_t start) {
    Mox8u* const bytes = sourceMemory.atEnd<Mox8u>(segment.size());
    if (!segment.empty()) std::memcpy(bytes, segment.data(), segment.size());
    src = bytes;
    length = static_cast<int32_t>(segment.size());
    position = start;
    marker = 0;
    lastDC = 0;
    state = DecoderState();
  }
  MoxStatus decode(const mox::ProgDecodeKernels& kernels, Kind kind, mox::Band band, DecodeTable& table) {
    switch (kind) {
      case Kind::dcFirst:
        return kernels.dcFirst(src, length, &position, block, &lastDC, &marker, band.low, table.get(), state.get());
      case Kind::acFirst:
        return kernels.acFirst(src, length, &position, block, &marker, band, table.get(), state.get());
      default:
        return kernels.acRefine(src, length, &position, block, &marker, band, table.get(), state.get());
    }
  }
};

void expectSame(const DecoderWorld& expected, const DecoderWorld& actual, const char* target, int n) {
  ASSERT_EQ(actual.position, expected.position) << target << ", block " << n;
  ASSERT_EQ(actual.marker, expected.marker) << target << ", block " << n;
  ASSERT_EQ(actual.lastDC, expected.lastDC) << target << ", block " << n;
  for (int i = 0; i < 6; i++)
    ASSERT_EQ(actual.state.word(i), expected.state.word(i)) << target << ", block " << n << ", word " << i;
  for (int k = 0; k < 64; k++)
    ASSERT_EQ(actual.block[kNatural[k]], expected.block[kNatural[k]])
        << target << ", block " << n << ", position " << k;
}

// What the scan's encoder makes of blocks whose earlier scans `known` has, and a marker.
Bytes validSegment(Random& random, Kind kind, mox::Band band, const RawTable& table, std::vector<Mox16s>& known,
                   int count) {
  ScanEncoder encoder({kind, band.start, band.end, band.low}, table, 8000);
  known.assign(static_cast<size_t>(count) * 64, 0);
  const int density = random.below(40), sizes = random.between(1, 6);
  for (int n = 0; n < count; n++) {
    Mox16s block[64];
    randomBlock(random, block, random.oneIn(3) ? 0 : density, sizes);
    if (encoder.block(block)) break;
    for (int k = band.start; kind == Kind::acRefine && k <= band.end; k++) {
      const int value = block[kNatural[k]], magnitude = std::abs(value) >> (band.low + 1) << (band.low + 1);
      known[static_cast<size_t>(n * 64 + kNatural[k])] = static_cast<Mox16s>(value < 0 ? -magnitude : magnitude);
    }
  }
  encoder.flush();
  Bytes segment = encoder.segment();
  segment.insert(segment.end(), {0xFF, static_cast<uint8_t>(0xD0 + random.below(8))});
  return segment;
}

Bytes noiseSegment(Random& random) {
  Bytes segment(static_cast<size_t>(random.between(0, 600)));
  const int stuffing = random.between(2, 200), markers = random.between(2, 200), mask = random.oneIn(4) ? 0x11 : 0xFF;
  for (size_t i = 0; i < segment.size(); i++) {
    segment[i] = static_cast<uint8_t>(random.bits() & static_cast<unsigned>(mask));
    if (!random.oneIn(stuffing)) continue;
    segment[i] = 0xFF;
    if (i + 1 < segment.size() && !random.oneIn(markers)) segment[++i] = 0;
  }
  return segment;
}

void damage(Random& random, Bytes& segment) {
  if (segment.empty()) return;
  const auto anywhere = [&] { return static_cast<size_t>(random.below(static_cast<int>(segment.size()))); };
  for (int n = random.below(4); n > 0; n--) segment[anywhere()] ^= static_cast<uint8_t>(1 << random.below(8));
  if (random.oneIn(3)) segment[anywhere()] = 0xFF;
  if (random.oneIn(3)) segment.resize(anywhere() + 1);
}

int decodeStream(const mox::Target& target, Random& random, DecoderWorld& expected, DecoderWorld& actual) {
  const mox::ProgDecodeKernels &plain = *mox::targets().first->kernels->progDecode, &fast = *target.kernels->progDecode;
  static const Kind kinds[] = {Kind::dcFirst,  Kind::acFirst,  Kind::acFirst,
                               Kind::acRefine, Kind::acRefine, Kind::acRefine};
  const Kind kind = kinds[random.below(6)];
  const mox::Band band = anyBand(random);
  const RawTable raw = random.oneIn(2) ? fullTable(random) : typicalAC();
  DecodeTable table(raw);
  std::vector<Mox16s> known;
  constexpr int kBlocks = 60;
  const bool noise = random.oneIn(4);
  Bytes segment = noise ? noiseSegment(random) : validSegment(random, kind, band, raw, known, kBlocks);
  if (noise) known.assign(kBlocks * 64, 0);
  if (random.oneIn(3)) damage(random, segment);
  if (random.oneIn(8)) table = DecodeTable(anyTable(random));
  if (random.oneIn(30))
    for (uint8_t& b : table.bytes) b = random.any<uint8_t>();
  const int start = random.oneIn(10) ? random.below(static_cast<int>(segment.size()) + 10) : 0;
  const bool otherBlocks = noise || random.oneIn(5);
  const int density = random.below(65);
  expected.begin(segment, start);
  actual.begin(segment, start);
  if (random.oneIn(5)) {
    DecoderState state;
    for (int i = 0; i < 6; i++) state.setWord(i, random.any<uint32_t>());
    if (!random.oneIn(3)) state.setWord(2, static_cast<uint32_t>(random.below(65)));
    if (!random.oneIn(3)) state.setWord(3, static_cast<uint32_t>(random.below(5)));
    expected.state = actual.state = state;
  }
  int n = 0;
  for (; n < kBlocks; n++) {
    if (otherBlocks)
      anyBlock(random, actual.block, density, 15);
    else
      std::memcpy(actual.block, &known[static_cast<size_t>(n) * 64], 128);
    std::memcpy(expected.block, actual.block, 128);
    const MoxStatus wanted = expected.decode(plain, kind, band, table), got = actual.decode(fast, kind, band, table);
    EXPECT_EQ(got, wanted) << target.name << ", block " << n;
    expectSame(expected, actual, target.name, n);
    if (testing::Test::HasFailure()) break;
    if (got == moxStatusOutOfBuffer && !random.oneIn(3)) break;
    if (expected.marker && random.oneIn(2))  // as a caller does after a restart marker
      for (DecoderWorld* world : {&expected, &actual}) {
        world->marker = 0;
        world->state = DecoderState();
      }
    if (noise && random.oneIn(2)) expected.state.setWord(3, 0), actual.state.setWord(3, 0);  // out of a long run
  }
  return n;
}

TEST(ProgressiveDifferential, decoders) {
  const int blocks = blocksToTry() * 3;
  DecoderWorld expected, actual;
  forEachTarget([&](const mox::Target& target) {
    Random random(52);
    for (int done = 0; done < blocks && !testing::Test::HasFailure();)
      done += 1 + decodeStream(target, random, expected, actual);
  });
}

}  // namespace
}  // namespace test
