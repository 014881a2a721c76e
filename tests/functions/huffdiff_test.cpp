// The block kernels of every target against the definition, call by call: coefficients, bytes, positions,
// accumulators, counts, predictors, markers and statuses. MOX_HUFFMAN_BLOCKS sets the number of blocks of each test
// (default 60000).
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "kernels/entropy/huffdec.h"
#include "kernels/entropy/huffenc.h"
#include "proof/huffman.h"
#include "support/guarded.h"
#include "support/targets.h"

namespace test {
namespace {

int blocksToTry() {
  const char* const wanted = std::getenv("MOX_HUFFMAN_BLOCKS");
  return wanted ? std::atoi(wanted) : 60000;
}

// ---- Encoder ------------------------------------------------------------------------------------------------------

RawTable anyEncoderTable(Random& random) {
  switch (random.below(6)) {
    case 0:
      return typicalAC();
    case 1:
      return typicalDC();
    case 2:
      return randomTable(random, random.below(256), random.oneIn(2));  // some symbols have no code
    case 3:
      return random.oneIn(8) ? RawTable() : fullTable(random);
    default:
      return fullTable(random);
  }
}

void anyBlock(Random& random, Mox16s* block) {
  static const int densities[] = {0, 1, 2, 4, 8, 16, 32, 64};
  static const int sizes[] = {1, 2, 4, 7, 10, 12, 15};
  randomBlock(random, block, densities[random.below(8)], sizes[random.below(7)]);
  if (random.oneIn(4)) block[63] = random.any<Mox16s>();
  if (random.oneIn(20)) block[kNatural[random.below(64)]] = -32768;
  if (random.oneIn(20))
    for (int i = 0; i < 64; i++) block[i] = random.extreme<Mox16s>();
  if (random.oneIn(3)) block[0] = random.oneIn(2) ? random.any<Mox16s>() : random.extreme<Mox16s>();
}

// One encoder: a destination at its page's end, and its state.
struct EncoderWorld {
  GuardedMemory memory{8192}, blockMemory{128};
  EncoderState state;
  int32_t position = 0;
  Mox16s lastDC = 0;

  void begin(int size, int32_t startPosition) {
    std::memset(memory.bytes().data(), 0xA5, memory.bytes().size());
    position = startPosition;
    dst = memory.atEnd<Mox8u>(static_cast<size_t>(size));
    length = size;
  }
  MoxStatus encode(const mox::HuffEncodeKernels& kernels, const Mox16s* block, EncodeTable& dc, EncodeTable& ac) {
    return kernels.block(block, dst, length, &position, &lastDC, dc.get(), ac.get(), state.get());
  }
  Mox8u* dst = nullptr;
  int length = 0;
};

void expectSame(EncoderWorld& expected, EncoderWorld& actual, const char* target, int n) {
  ASSERT_EQ(actual.position, expected.position) << target << ", block " << n;
  ASSERT_EQ(actual.lastDC, expected.lastDC) << target << ", block " << n;
  for (int i = 0; i < 5; i++)
    ASSERT_EQ(actual.state.word(i), expected.state.word(i)) << target << ", block " << n << ", word " << i;
  const auto x = expected.memory.bytes(), y = actual.memory.bytes();
  ASSERT_EQ(std::memcmp(x.data(), y.data(), x.size()), 0) << target << ", block " << n;
}

void encodeStream(const mox::Target& target, Random& random, int blocks, EncoderWorld& expected, EncoderWorld& actual) {
  const mox::HuffEncodeKernels& definition = *mox::targets().first->kernels->huffEncode;
  EncodeTable dc(anyEncoderTable(random)), ac(anyEncoderTable(random));
  const int size = random.between(1, random.oneIn(2) ? 300 : 4096);
  const int start = random.oneIn(10) ? random.below(size) : 0;
  expected.begin(size, start);
  actual.begin(size, start);
  if (random.oneIn(3)) {  // pending bits, sensible or not
    const uint32_t low = random.any<uint32_t>(),
                   pending = random.oneIn(10) ? random.any<uint32_t>() : static_cast<uint32_t>(random.below(8));
    const bool clean = !random.oneIn(4);
    for (EncoderWorld* world : {&expected, &actual}) {
      world->state.setWord(0, clean ? low & (0xFFFFFFFFu << (24 - (pending & 7))) : low);
      world->state.setWord(1, 0x01234567);
      world->state.setWord(2, pending);
    }
  }
  for (int n = 0; n < blocks; n++) {
    Mox16s* const block = actual.blockMemory.atEnd<Mox16s>(64);
    anyBlock(random, block);
    const MoxStatus wanted = expected.encode(definition, block, dc, ac);
    const MoxStatus got = actual.encode(*target.kernels->huffEncode, block, dc, ac);
    ASSERT_EQ(got, wanted) << target.name << ", block " << n;
    expectSame(expected, actual, target.name, n);
    if (testing::Test::HasFatalFailure()) return;
    if (got == moxStatusOutOfBuffer && random.oneIn(2)) return;
  }
}

TEST(HuffmanDifferential, encoder) {
  const int blocks = blocksToTry();
  EncoderWorld expected, actual;
  forEachTarget([&](const mox::Target& target) {
    Random random(11);
    for (int done = 0; done < blocks && !testing::Test::HasFatalFailure(); done += 50)
      encodeStream(target, random, 50, expected, actual);
  });
}

void encodeDirectStream(const mox::Target& target, Random& random, int blocks, EncoderWorld& expected,
                        EncoderWorld& actual) {
  const mox::HuffEncodeKernels& definition = *mox::targets().first->kernels->huffEncode;
  EncodeTable dc(anyEncoderTable(random)), ac(anyEncoderTable(random));
  expected.begin(8192, random.below(64));
  actual.begin(8192, expected.position);
  for (int n = 0; n < blocks; n++) {
    Mox16s* const block = actual.blockMemory.atEnd<Mox16s>(64);
    anyBlock(random, block);
    const int32_t position = expected.position;
    const Mox16s lastDC = expected.lastDC;
    definition.direct(block, expected.dst, &expected.position, &expected.lastDC, dc.get(), ac.get());
    // The destination ends with the last byte that the definition writes.
    const int written = (expected.position + 7) / 8;
    actual.dst = actual.memory.atEnd<Mox8u>(static_cast<size_t>(written));
    std::memcpy(actual.dst, expected.dst, static_cast<size_t>(position / 8));
    const bool partial = position % 8 != 0;
    Mox8u before = 0xA5;
    if (partial) {
      before = static_cast<Mox8u>(expected.dst[position / 8] | random.any<Mox8u>() >> position % 8);
      actual.dst[position / 8] = before;
    }
    actual.position = position;
    actual.lastDC = lastDC;
    target.kernels->huffEncode->direct(block, actual.dst, &actual.position, &actual.lastDC, dc.get(), ac.get());
    ASSERT_EQ(actual.position, expected.position) << target.name << ", block " << n;
    ASSERT_EQ(actual.lastDC, expected.lastDC) << target.name << ", block " << n;
    ASSERT_EQ(std::memcmp(expected.dst, actual.dst, static_cast<size_t>(written)), 0) << target.name << ", block " << n;
    if (written > 7000) return;
  }
}

TEST(HuffmanDifferential, directEncoder) {
  const int blocks = blocksToTry() / 2;
  EncoderWorld expected, actual;
  forEachTarget([&](const mox::Target& target) {
    Random random(12);
    for (int done = 0; done < blocks && !testing::Test::HasFatalFailure(); done += 50)
      encodeDirectStream(target, random, 50, expected, actual);
  });
}

TEST(HuffmanDifferential, statistics) {
  const int blocks = blocksToTry() / 2;
  GuardedMemory countsMemory(2048), blockMemory(128);
  int32_t* const counts = countsMemory.atEnd<int32_t>(512);
  Mox16s* const block = blockMemory.atEnd<Mox16s>(64);
  forEachTarget([&](const mox::Target& target) {
    Random random(13);
    std::vector<int32_t> expected(512);
    std::memset(counts, 0, 2048);
    Mox16s expectedDC = 0, lastDC = 0;
    for (int n = 0; n < blocks; n++) {
      anyBlock(random, block);
      mox::targets().first->kernels->huffEncode->statistics(block, expected.data(), expected.data() + 256, &expectedDC);
      target.kernels->huffEncode->statistics(block, counts, counts + 256, &lastDC);
      ASSERT_EQ(lastDC, expectedDC) << target.name << ", block " << n;
      ASSERT_EQ(std::memcmp(counts, expected.data(), 2048), 0) << target.name << ", block " << n;
    }
  });
}

// ---- Decoder ------------------------------------------------------------------------------------------------------

using Bytes = std::vector<Mox8u>;

// Codes of at most 8 bits before values of up to 15 bits: a reader with a look-ahead runs out of these soonest.
RawTable longValues() {
  RawTable raw;
  raw.bits[7] = 32;
  for (int i = 0; i < 32; i++) raw.values[i] = static_cast<Mox8u>(i % 16 + i / 16 * 16);
  return raw;
}

// A segment of real blocks, ended by a marker. `full`: the last position of each holds a value.
Bytes validSegment(Random& random, const RawTable& dcRaw, const RawTable& acRaw, bool full = false) {
  EncodeTable dc(dcRaw), ac(acRaw);
  EncoderState state;
  Bytes segment(6000);
  int32_t position = 0;
  Mox16s lastDC = 0, block[64];
  const int density = random.below(40), sizes = random.between(1, 10), count = random.between(1, 40);
  const auto call = [&](int flush) {
    return moxiEncodeHuffman8x8_JPEG_16s1u_C1(block, segment.data(), 5900, &position, &lastDC, dc.get(), ac.get(),
                                              state.get(), flush);
  };
  for (int n = 0; n < count; n++) {
    randomBlock(random, block, density, sizes);
    for (int i = 1; full && i < 64; i++)
      if (block[kNatural[i - 1]] == 0 || i >= 60 || !random.oneIn(3))
        block[kNatural[i]] = static_cast<Mox16s>(random.between(8192, 32767) * (random.oneIn(2) ? 1 : -1));
    if (random.oneIn(10)) block[0] = random.any<Mox16s>() / 16;
    if (call(0)) break;
  }
  call(1);
  segment.resize(static_cast<size_t>(position));
  segment.insert(segment.end(), {0xFF, static_cast<Mox8u>(0xD0 + random.below(8))});
  return segment;
}

// Noise, with 0xFF as often as requested and occasional markers.
Bytes noiseSegment(Random& random) {
  Bytes segment(static_cast<size_t>(random.between(0, 600)));
  const int stuffing = random.between(2, 200), markers = random.between(2, 200), mask = random.oneIn(4) ? 0x11 : 0xFF;
  for (size_t i = 0; i < segment.size(); i++) {
    segment[i] = static_cast<Mox8u>(random.bits() & static_cast<unsigned>(mask));
    if (!random.oneIn(stuffing)) continue;
    segment[i] = 0xFF;
    if (i + 1 < segment.size() && !random.oneIn(markers)) segment[++i] = 0;
  }
  return segment;
}

void damage(Random& random, Bytes& segment) {
  if (segment.empty()) return;
  for (int n = random.below(4); n > 0; n--)
    segment[static_cast<size_t>(random.below(static_cast<int>(segment.size())))] ^=
        static_cast<Mox8u>(1 << random.below(8));
  if (random.oneIn(3)) segment[static_cast<size_t>(random.below(static_cast<int>(segment.size())))] = 0xFF;
  if (random.oneIn(3)) segment.resize(static_cast<size_t>(random.below(static_cast<int>(segment.size()) + 1)));
}

// Tables: for the segment, for any other, over-full ones, and objects of noise.
void anyDecoderTable(Random& random, DecodeTable& table) {
  RawTable raw;
  switch (random.below(4)) {
    case 0:
      raw = fullTable(random);
      break;
    case 1: {  // any counts: over-full
      int left = 256;
      for (Mox8u& b : raw.bits)
        left -= b = static_cast<Mox8u>(random.oneIn(2) ? 0 : random.below(std::min(left, 255) + 1));
      fill(random, Filling::any, raw.values, 256);
      break;
    }
    case 2:
      raw = randomTable(random, random.below(256), random.oneIn(2));
      break;
    default:
      if (random.oneIn(2)) {
        for (uint8_t& b : table.bytes) b = random.any<uint8_t>();
        return;
      }
      raw = typicalAC();
  }
  table = DecodeTable(raw);
}

struct Scene {
  DecodeTable dc{RawTable()}, ac{RawTable()};
  Bytes segment;
};

Scene anyScene(Random& random) {
  Scene scene;
  const RawTable dc = random.oneIn(2) ? typicalDC() : fullTable(random),
                 ac = random.oneIn(2) ? typicalAC() : fullTable(random);
  scene.dc = DecodeTable(dc);
  scene.ac = DecodeTable(ac);
  scene.segment = random.oneIn(4) ? noiseSegment(random) : validSegment(random, dc, ac);
  if (random.oneIn(6)) {
    scene.ac = DecodeTable(longValues());
    scene.segment = validSegment(random, dc, longValues(), true);
  }
  if (random.oneIn(3)) damage(random, scene.segment);
  if (random.oneIn(8)) anyDecoderTable(random, scene.dc);
  if (random.oneIn(8)) anyDecoderTable(random, scene.ac);
  return scene;
}

struct DecoderWorld {
  GuardedMemory sourceMemory{8192}, blockMemory{128};
  Mox16s* const block = blockMemory.atEnd<Mox16s>(64);
  const Mox8u* src = nullptr;
  int32_t length = 0, position = 0, marker = 0, count = 0;
  Mox32u bits = 0;
  Mox16s lastDC = 0;
  DecoderState state;

  void begin(const Bytes& segment) {
    Mox8u* const bytes = sourceMemory.atEnd<Mox8u>(segment.size());
    if (!segment.empty()) std::memcpy(bytes, segment.data(), segment.size());
    src = bytes;
    length = static_cast<int32_t>(segment.size());
    position = marker = count = 0;
    bits = 0;
    lastDC = 0;
    state = DecoderState();
  }
  MoxStatus decode(const mox::HuffDecodeKernels& kernels, Scene& scene) {
    std::memset(block, 0x55, 128);
    return kernels.block(src, length, &position, block, &lastDC, &marker, scene.dc.get(), scene.ac.get(), state.get());
  }
  MoxStatus decodeDirect(const mox::HuffDecodeKernels& kernels, Scene& scene) {
    std::memset(block, 0x55, 128);
    return kernels.direct(src, &position, block, &lastDC, &marker, &bits, &count, scene.dc.get(), scene.ac.get());
  }
};

void expectSame(const DecoderWorld& expected, const DecoderWorld& actual, const char* target, int n) {
  ASSERT_EQ(std::memcmp(actual.block, expected.block, 128), 0) << target << ", block " << n;
  ASSERT_EQ(actual.position, expected.position) << target << ", block " << n;
  ASSERT_EQ(actual.marker, expected.marker) << target << ", block " << n;
  ASSERT_EQ(actual.lastDC, expected.lastDC) << target << ", block " << n;
  ASSERT_EQ(actual.bits, expected.bits) << target << ", block " << n;
  ASSERT_EQ(actual.count, expected.count) << target << ", block " << n;
  for (int i = 0; i < 6; i++)
    ASSERT_EQ(actual.state.word(i), expected.state.word(i)) << target << ", block " << n << ", word " << i;
}

int decodeStream(const mox::Target& target, Random& random, DecoderWorld& expected, DecoderWorld& actual) {
  const mox::HuffDecodeKernels& definition = *mox::targets().first->kernels->huffDecode;
  Scene scene = anyScene(random);
  expected.begin(scene.segment);
  actual.begin(scene.segment);
  const bool odd = random.oneIn(5);
  const uint32_t words[6] = {random.any<uint32_t>(),
                             random.any<uint32_t>(),
                             random.oneIn(3) ? random.any<uint32_t>() : static_cast<uint32_t>(random.below(33)),
                             random.any<uint32_t>(),
                             random.any<uint32_t>(),
                             random.any<uint32_t>()};
  const int start = random.oneIn(10) ? random.below(static_cast<int>(scene.segment.size()) + 10) : 0;
  for (DecoderWorld* world : {&expected, &actual}) {
    world->position = start;
    if (odd)
      for (int i = 0; i < 6; i++) world->state.setWord(i, words[i]);
  }
  int n = 0;
  for (; n < 60; n++) {
    const MoxStatus wanted = expected.decode(definition, scene);
    const MoxStatus got = actual.decode(*target.kernels->huffDecode, scene);
    EXPECT_EQ(got, wanted) << target.name << ", block " << n;
    expectSame(expected, actual, target.name, n);
    if (testing::Test::HasFailure()) break;
    if (got == moxStatusOutOfBuffer && !random.oneIn(3)) break;
    if (expected.marker && random.oneIn(2)) {  // as a caller does after a restart marker
      for (DecoderWorld* world : {&expected, &actual}) {
        world->marker = 0;
        world->state = DecoderState();
      }
    }
  }
  return n;
}

TEST(HuffmanDifferential, decoder) {
  const int blocks = blocksToTry();
  DecoderWorld expected, actual;
  forEachTarget([&](const mox::Target& target) {
    Random random(14);
    for (int done = 0; done < blocks && !testing::Test::HasFailure();)
      done += 1 + decodeStream(target, random, expected, actual);
  });
}

int decodeDirectStream(const mox::Target& target, Random& random, DecoderWorld& expected, DecoderWorld& actual) {
  const mox::HuffDecodeKernels& definition = *mox::targets().first->kernels->huffDecode;
  Scene scene = anyScene(random);
  // The data must end in a marker; nothing past it may be read.
  Bytes& segment = scene.segment;
  if (!segment.empty() && segment.back() == 0xFF) segment.pop_back();
  segment.insert(segment.end(), {0xFF, 0xD9});
  expected.begin(segment);
  actual.begin(segment);
  int n = 0;
  for (; n < 60; n++) {
    const MoxStatus wanted = expected.decodeDirect(definition, scene);
    const MoxStatus got = actual.decodeDirect(*target.kernels->huffDecode, scene);
    EXPECT_EQ(got, wanted) << target.name << ", block " << n;
    expectSame(expected, actual, target.name, n);
    if (testing::Test::HasFailure() || expected.position / 8 >= expected.length) break;
    if (expected.marker && (random.oneIn(2) || expected.marker == 0xD9)) break;
    for (DecoderWorld* world : {&expected, &actual}) world->marker = 0;
  }
  return n;
}

TEST(HuffmanDifferential, directDecoder) {
  const int blocks = blocksToTry() / 2;
  DecoderWorld expected, actual;
  forEachTarget([&](const mox::Target& target) {
    Random random(15);
    for (int done = 0; done < blocks && !testing::Test::HasFailure();)
      done += 1 + decodeDirectStream(target, random, expected, actual);
  });
}

}  // namespace
}  // namespace test
