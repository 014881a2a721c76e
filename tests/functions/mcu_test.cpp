// The functions on one MCU: check orders, the formulas of every pixel format and sampling, edge cases.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "moxj.h"
#include "proof/random.h"
#include "support/checks.h"
#include "support/targets.h"

namespace test {
namespace {

struct Shape {
  int across, down;
  int width() const { return 8 * across; }
  int height() const { return 8 * down; }
  int shared() const { return across * down; }
  // The index of a pixel's value in a plane of luminance.
  int luma(int x, int y) const { return 64 * (y / 8 * across + x / 8) + y % 8 * 8 + x % 8; }
  int chroma(int x, int y) const { return y / down * 8 + x / across; }
};
constexpr Shape k444{1, 1}, k422{2, 1}, k411{2, 2};

// ---- The formulas, written out --------------------------------------------------------------------------------------

struct Colour {
  int r, g, b, k;
};

enum class Format { rgb, bgr, bgr555, bgr565, cmyk, ycc, pairs };

int bytesPerPixel(Format format) {
  return format == Format::cmyk ? 4 : format == Format::rgb || format == Format::bgr || format == Format::ycc ? 3 : 2;
}

uint16_t wordAt(const uint8_t* p) {
  uint16_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

// Pixel x of a row, as red, green, blue and black (or Y, Cb, Cr).
Colour read(Format format, const uint8_t* row, int x) {
  const uint8_t* const p = row + bytesPerPixel(format) * x;
  switch (format) {
    case Format::rgb:
    case Format::ycc:
      return {p[0], p[1], p[2], 0};
    case Format::bgr:
      return {p[2], p[1], p[0], 0};
    case Format::cmyk:
      return {255 - p[0], 255 - p[1], 255 - p[2], p[3]};
    case Format::pairs:
      return {p[0], row[x / 2 * 4 + 1], row[x / 2 * 4 + 3], 0};
    case Format::bgr555: {
      const int w = wordAt(p);
      return {(w >> 10 & 0x1F) << 3, (w >> 5 & 0x1F) << 3, (w & 0x1F) << 3, 0};
    }
    case Format::bgr565: {
      const int w = wordAt(p);
      return {(w >> 11) << 3, (w >> 5 & 0x3F) << 2, (w & 0x1F) << 3, 0};
    }
  }
  return {};
}

void write(Format format, uint8_t* row, int x, Colour c) {
  uint8_t* const p = row + bytesPerPixel(format) * x;
  const auto word = [p](int w) {
    const uint16_t value = static_cast<uint16_t>(w);
    std::memcpy(p, &value, sizeof value);
  };
  const auto bytes = [p](std::initializer_list<int> values) {
    std::transform(values.begin(), values.end(), p, [](int v) { return static_cast<uint8_t>(v); });
  };
  switch (format) {
    case Format::rgb:
    case Format::ycc:
      return bytes({c.r, c.g, c.b});
    case Format::bgr:
      return bytes({c.b, c.g, c.r});
    case Format::cmyk:
      return bytes({255 - c.r, 255 - c.g, 255 - c.b, c.k});
    case Format::bgr555:
      return word((c.r >> 3) << 10 | (c.g >> 3) << 5 | c.b >> 3);
    case Format::bgr565:
      return word((c.r >> 3) << 11 | (c.g >> 2) << 5 | c.b >> 3);
    case Format::pairs:
      p[0] = static_cast<uint8_t>(c.r);
      row[x / 2 * 4 + 1] = static_cast<uint8_t>(c.g);
      row[x / 2 * 4 + 3] = static_cast<uint8_t>(c.b);
  }
}

bool converts(Format format) { return format != Format::ycc && format != Format::pairs; }

int limited(int v) { return std::clamp(v, 0, 255); }

struct Planes {
  std::vector<Mox16s> plane[4];
  explicit Planes(Shape shape, Mox16s value = 0) {
    for (int i = 0; i < 4; i++)
      plane[i].assign(static_cast<size_t>(i == 0 || i == 3 ? 64 * shape.shared() : 64), value);
  }
  bool operator==(const Planes& other) const { return std::equal(plane, plane + 4, other.plane); }
};

// Three sums of 1, 2 or 4 pixels each: the divisor is the number of pixels, its logarithm the further shift.
Planes expectedBlocks(Format format, Shape shape, const uint8_t* pixels, int step) {
  Planes out(shape);
  std::vector<Colour> sums(64, Colour{});
  for (int y = 0; y < shape.height(); y++)
    for (int x = 0; x < shape.width(); x++) {
      const Colour c = read(format, pixels + y * step, x);
      const int luma = converts(format) ? (4899 * c.r + 9617 * c.g + 1868 * c.b - 2088960) >> 14 : c.r - 128;
      out.plane[0][shape.luma(x, y)] = static_cast<Mox16s>(luma);
      out.plane[3][shape.luma(x, y)] = static_cast<Mox16s>(c.k - 128);
      Colour& sum = sums[shape.chroma(x, y)];
      sum = {sum.r + c.r, sum.g + c.g, sum.b + c.b, 0};
    }
  const int n = shape.shared(), log = n == 4 ? 2 : n - 1;
  for (int i = 0; i < 64; i++) {
    const Colour s = sums[i];
    out.plane[1][i] = static_cast<Mox16s>(
        converts(format) ? (-2764 * s.r - 5428 * s.g + 8192 * s.b + 8192 * n) >> (14 + log) : (s.g - 128 * n) >> log);
    out.plane[2][i] = static_cast<Mox16s>(
        converts(format) ? (8192 * s.r - 6860 * s.g - 1332 * s.b + 8192 * n) >> (14 + log) : (s.b - 128 * n) >> log);
  }
  if (format != Format::cmyk) out.plane[3].assign(out.plane[3].size(), 0);
  return out;
}

void expectPixels(Format format, Shape shape, const Planes& in, uint8_t* pixels, int step) {
  for (int y = 0; y < shape.height(); y++)
    for (int x = 0; x < shape.width(); x++) {
      const int luma = in.plane[0][shape.luma(x, y)], cb = in.plane[1][shape.chroma(x, y)],
                cr = in.plane[2][shape.chroma(x, y)];
      Colour c{luma + 128, cb + 128, cr + 128, 0};
      if (converts(format))
        c = {luma + ((11485 * cr + 1052672) >> 13), luma - ((5638 * cb + 11700 * cr - 2088960) >> 14),
             luma + ((14516 * cb + 1052672) >> 13), 0};
      const int black = in.plane[3][shape.luma(x, y)] + 128;
      write(format, pixels + y * step, x, {limited(c.r), limited(c.g), limited(c.b), limited(black)});
    }
}

// ---- The functions --------------------------------------------------------------------------------------------------

template <class Sample>
using Encode = MoxStatus (*)(const Sample*, int32_t, Mox16s* const*);
template <class Sample>
using Decode = MoxStatus (*)(const Mox16s* const*, Sample*, int32_t);

template <class Sample>
struct Pair {
  const char* name;
  Format format;
  Shape shape;
  Encode<Sample> encode;
  Decode<Sample> decode;
  int planes() const { return format == Format::cmyk ? 4 : 3; }
};

const Pair<Mox8u> kBytePairs[] = {
    {"RGB 444", Format::rgb, k444, moxiRGBToYCbCr444LS_MCU_8u16s_C3P3R, moxiYCbCr444ToRGBLS_MCU_16s8u_P3C3R},
    {"RGB 422", Format::rgb, k422, moxiRGBToYCbCr422LS_MCU_8u16s_C3P3R, moxiYCbCr422ToRGBLS_MCU_16s8u_P3C3R},
    {"RGB 411", Format::rgb, k411, moxiRGBToYCbCr411LS_MCU_8u16s_C3P3R, moxiYCbCr411ToRGBLS_MCU_16s8u_P3C3R},
    {"BGR 444", Format::bgr, k444, moxiBGRToYCbCr444LS_MCU_8u16s_C3P3R, moxiYCbCr444ToBGRLS_MCU_16s8u_P3C3R},
    {"BGR 422", Format::bgr, k422, moxiBGRToYCbCr422LS_MCU_8u16s_C3P3R, moxiYCbCr422ToBGRLS_MCU_16s8u_P3C3R},
    {"BGR 411", Format::bgr, k411, moxiBGRToYCbCr411LS_MCU_8u16s_C3P3R, moxiYCbCr411ToBGRLS_MCU_16s8u_P3C3R},
    {"CMYK 444", Format::cmyk, k444, moxiCMYKToYCCK444LS_MCU_8u16s_C4P4R, moxiYCCK444ToCMYKLS_MCU_16s8u_P4C4R},
    {"CMYK 422", Format::cmyk, k422, moxiCMYKToYCCK422LS_MCU_8u16s_C4P4R, moxiYCCK422ToCMYKLS_MCU_16s8u_P4C4R},
    {"CMYK 411", Format::cmyk, k411, moxiCMYKToYCCK411LS_MCU_8u16s_C4P4R, moxiYCCK411ToCMYKLS_MCU_16s8u_P4C4R},
    {"samples 444", Format::ycc, k444, moxiSampleDown444LS_MCU_8u16s_C3P3R, moxiSampleUp444LS_MCU_16s8u_P3C3R},
    {"samples 422", Format::ycc, k422, moxiSampleDown422LS_MCU_8u16s_C3P3R, moxiSampleUp422LS_MCU_16s8u_P3C3R},
    {"samples 411", Format::ycc, k411, moxiSampleDown411LS_MCU_8u16s_C3P3R, moxiSampleUp411LS_MCU_16s8u_P3C3R},
    {"pairs 422", Format::pairs, k422, moxiSplit422LS_MCU_8u16s_C2P3R, moxiJoin422LS_MCU_16s8u_P3C2R},
};

const Pair<Mox16u> kWordPairs[] = {
    {"BGR555 444", Format::bgr555, k444, moxiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R,
     moxiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R},
    {"BGR555 422", Format::bgr555, k422, moxiBGR555ToYCbCr422LS_MCU_16u16s_C3P3R,
     moxiYCbCr422ToBGR555LS_MCU_16s16u_P3C3R},
    {"BGR555 411", Format::bgr555, k411, moxiBGR555ToYCbCr411LS_MCU_16u16s_C3P3R,
     moxiYCbCr411ToBGR555LS_MCU_16s16u_P3C3R},
    {"BGR565 444", Format::bgr565, k444, moxiBGR565ToYCbCr444LS_MCU_16u16s_C3P3R,
     moxiYCbCr444ToBGR565LS_MCU_16s16u_P3C3R},
    {"BGR565 422", Format::bgr565, k422, moxiBGR565ToYCbCr422LS_MCU_16u16s_C3P3R,
     moxiYCbCr422ToBGR565LS_MCU_16s16u_P3C3R},
    {"BGR565 411", Format::bgr565, k411, moxiBGR565ToYCbCr411LS_MCU_16u16s_C3P3R,
     moxiYCbCr411ToBGR565LS_MCU_16s16u_P3C3R},
};

template <class Body>
void forEachPair(const Body& body) {
  for (const auto& pair : kBytePairs) body(pair);
  for (const auto& pair : kWordPairs) body(pair);
}

// Pixels of an MCU, rows `step` bytes apart, and the gaps between them.
template <class Sample>
struct Pixels {
  int step;
  std::vector<Sample> samples;

  Pixels(const Pair<Sample>& pair, int gap)
      : step(bytesPerPixel(pair.format) * pair.shape.width() + gap * static_cast<int>(sizeof(Sample))),
        samples(static_cast<size_t>(step) * pair.shape.height() / sizeof(Sample)) {}
  uint8_t* bytes() { return reinterpret_cast<uint8_t*>(samples.data()); }
};

template <class Sample>
Planes encoded(const Pair<Sample>& pair, Pixels<Sample>& pixels) {
  Planes out(pair.shape);
  Mox16s* planes[4];
  for (int i = 0; i < 4; i++) planes[i] = out.plane[i].data();
  EXPECT_EQ(pair.encode(pixels.samples.data(), pixels.step, planes), moxStatusOk);
  return out;
}

template <class Sample>
void decodeInto(const Pair<Sample>& pair, const Planes& in, Pixels<Sample>& pixels) {
  const Mox16s* planes[4];
  for (int i = 0; i < 4; i++) planes[i] = in.plane[i].data();
  EXPECT_EQ(pair.decode(planes, pixels.samples.data(), pixels.step), moxStatusOk);
}

template <class Sample>
const Pair<Sample>& pairNamed(const Pair<Sample>* pairs, size_t count, const std::string& name) {
  return *std::find_if(pairs, pairs + count, [&](const auto& pair) { return pair.name == name; });
}
const Pair<Mox8u>& bytePair(const char* name) { return pairNamed(kBytePairs, std::size(kBytePairs), name); }
const Pair<Mox16u>& wordPair(const char* name) { return pairNamed(kWordPairs, std::size(kWordPairs), name); }

// ---- Checks ---------------------------------------------------------------------------------------------------------

template <class Plane>
struct PlaneLists {
  Plane good[4];
  Plane bad[4][4];
  explicit PlaneLists(Plane (&planes)[4]) {
    std::copy(planes, planes + 4, good);
    for (int i = 0; i < 4; i++) {
      std::copy(planes, planes + 4, bad[i]);
      bad[i][i] = nullptr;
    }
  }
};

template <class Order, size_t Index, class List>
void breakPlanes(Order& order, const List& lists, int planes, auto first) {
  if (planes == 4) {
    order.template breaksEach<Index>(
        {first, decltype(first)(lists.bad[1]), decltype(first)(lists.bad[2]), decltype(first)(lists.bad[3])},
        moxStatusNullPointer);
  } else {
    order.template breaksEach<Index>({first, decltype(first)(lists.bad[1]), decltype(first)(lists.bad[2])},
                                     moxStatusNullPointer);
  }
}

TEST(Mcu, encodersTestTheStepAheadOfThePlanes) {
  forEachPair([]<class Sample>(const Pair<Sample>& pair) {
    Pixels<Sample> pixels(pair, 0);
    Planes blocks(pair.shape, 77);
    Mox16s* planes[4];
    for (int i = 0; i < 4; i++) planes[i] = blocks.plane[i].data();
    PlaneLists lists(planes);
    using List = Mox16s* const*;
    auto order = checkOrder(pair.name, pair.encode, static_cast<const Sample*>(pixels.samples.data()), pixels.step,
                            List(lists.good));
    order.template breaks<0>(nullptr, moxStatusNullPointer)
        .template breaks<2>(nullptr, moxStatusNullPointer)
        .template breaksEach<1>({0, -1, INT32_MIN}, moxStatusBadStep);
    breakPlanes<decltype(order), 2>(order, lists, pair.planes(), List(lists.bad[0]));
    for (const auto& plane : blocks.plane) order.untouched(plane.data(), plane.size() * sizeof(Mox16s));
    order.run();
  });
}

TEST(Mcu, decodersTestThePlanesAheadOfTheStep) {
  forEachPair([]<class Sample>(const Pair<Sample>& pair) {
    Pixels<Sample> pixels(pair, 0);
    Planes blocks(pair.shape);
    const Mox16s* planes[4];
    for (int i = 0; i < 4; i++) planes[i] = blocks.plane[i].data();
    PlaneLists lists(planes);
    using List = const Mox16s* const*;
    auto order = checkOrder(pair.name, pair.decode, List(lists.good), pixels.samples.data(), pixels.step);
    order.template breaks<0>(nullptr, moxStatusNullPointer).template breaks<1>(nullptr, moxStatusNullPointer);
    breakPlanes<decltype(order), 0>(order, lists, pair.planes(), List(lists.bad[0]));
    order.template breaksEach<2>({0, -1, INT32_MIN}, moxStatusBadStep)
        .untouched(pixels.samples.data(), pixels.samples.size() * sizeof(Sample))
        .run();
  });
}

// The fourth pointer is not read in formats without K.
TEST(Mcu, threeComponentsNeedThreePointers) {
  forEachPair([]<class Sample>(const Pair<Sample>& pair) {
    if (pair.planes() == 4) return;
    Pixels<Sample> pixels(pair, 0);
    Planes blocks(pair.shape);
    Mox16s* const planes[4] = {blocks.plane[0].data(), blocks.plane[1].data(), blocks.plane[2].data(), nullptr};
    EXPECT_EQ(pair.encode(pixels.samples.data(), pixels.step, planes), moxStatusOk) << pair.name;
    EXPECT_EQ(pair.decode(planes, pixels.samples.data(), pixels.step), moxStatusOk) << pair.name;
  });
}

// ---- Values ---------------------------------------------------------------------------------------------------------

TEST(Mcu, blocksFollowTheFormulas) {
  forEachTarget([](const mox::Target& target) {
    Random random(5);
    forEachPair([&]<class Sample>(const Pair<Sample>& pair) {
      for (int n = 0; n < 200; n++) {
        Pixels<Sample> pixels(pair, n % 4);
        fill(random, n % 3 == 0 ? Filling::extreme : Filling::any, pixels.samples.data(), pixels.samples.size());
        const Planes expected = expectedBlocks(pair.format, pair.shape, pixels.bytes(), pixels.step);
        ASSERT_TRUE(encoded(pair, pixels) == expected) << pair.name << " on " << target.name << ", MCU " << n;
      }
    });
  });
}

TEST(Mcu, pixelsFollowTheFormulas) {
  forEachTarget([](const mox::Target& target) {
    Random random(6);
    forEachPair([&]<class Sample>(const Pair<Sample>& pair) {
      for (int n = 0; n < 400; n++) {
        Planes blocks(pair.shape);
        const int bound = n % 4 == 0 ? 128 : n % 4 == 1 ? 1024 : 0;  // as the inverse transform gives them, or any
        for (auto& plane : blocks.plane)
          for (Mox16s& v : plane)
            v = bound        ? static_cast<Mox16s>(random.between(-bound, bound - 1))
                : n % 4 == 2 ? random.any<Mox16s>()
                             : random.extreme<Mox16s>();
        Pixels<Sample> expected(pair, n % 4), actual(pair, n % 4);
        fill(random, Filling::any, expected.samples.data(), expected.samples.size());
        actual = expected;
        expectPixels(pair.format, pair.shape, blocks, expected.bytes(), expected.step);
        decodeInto(pair, blocks, actual);
        ASSERT_EQ(actual.samples, expected.samples) << pair.name << " on " << target.name << ", MCU " << n;
      }
    });
  });
}

// Every chroma value, with the luminance at which a limit of 16 bits in between would show.
TEST(Mcu, chromaOfAnySizeIsExact) {
  forEachTarget([](const mox::Target& target) {
    const Pair<Mox8u>& pair = bytePair("RGB 444");
    for (const int luma : {0, -128, 32767, -32768, -32500, 20000, -20000}) {
      for (int first = -32768; first < 32768; first += 64) {
        Planes blocks(pair.shape, static_cast<Mox16s>(luma));
        for (int i = 0; i < 64; i++) {
          blocks.plane[1][i] = static_cast<Mox16s>(first + i);
          blocks.plane[2][i] = static_cast<Mox16s>(first % 128 ? first + i : -1 - first - i);
        }
        Pixels<Mox8u> expected(pair, 0), actual(pair, 0);
        expectPixels(pair.format, pair.shape, blocks, expected.bytes(), expected.step);
        decodeInto(pair, blocks, actual);
        ASSERT_EQ(actual.samples, expected.samples)
            << target.name << ", luminance " << luma << ", chroma from " << first;
      }
    }
  });
}

TEST(Mcu, whiteAndBlack) {
  forEachTarget([](const mox::Target& target) {
    const Pair<Mox8u>& pair = bytePair("RGB 444");
    for (const int v : {255, 0}) {
      Pixels<Mox8u> pixels(pair, 0);
      std::fill(pixels.samples.begin(), pixels.samples.end(), static_cast<Mox8u>(v));
      const Planes blocks = encoded(pair, pixels);
      for (int i = 0; i < 64; i++) {
        EXPECT_EQ(blocks.plane[0][i], v ? 127 : -128) << target.name;
        EXPECT_EQ(blocks.plane[1][i], 0) << target.name;
        EXPECT_EQ(blocks.plane[2][i], 0) << target.name;
      }
    }
  });
}

TEST(Mcu, blocksOfZeroAreGreyOf128) {
  forEachTarget([](const mox::Target& target) {
    for (const char* name : {"RGB 444", "RGB 422", "BGR 411", "samples 411", "pairs 422"}) {
      const Pair<Mox8u>& pair = bytePair(name);
      Pixels<Mox8u> pixels(pair, 0);
      decodeInto(pair, Planes(pair.shape), pixels);
      EXPECT_EQ(pixels.samples, std::vector<Mox8u>(pixels.samples.size(), 128)) << name << " on " << target.name;
    }
  });
}

TEST(Mcu, twoPixelsThatDifferKeepTheirLuminanceAndShareChroma) {
  forEachTarget([](const mox::Target& target) {
    const Pair<Mox8u>& pair = bytePair("RGB 422");
    Pixels<Mox8u> pixels(pair, 0);
    const Mox8u two[] = {200, 10, 30, 20, 240, 90};
    for (size_t i = 0; i < pixels.samples.size(); i++) pixels.samples[i] = two[i % 6];
    const Planes blocks = encoded(pair, pixels);
    EXPECT_NE(blocks.plane[0][0], blocks.plane[0][1]) << target.name;
    decodeInto(pair, blocks, pixels);
    const Mox8u* const p = pixels.samples.data();
    const int difference = blocks.plane[0][1] - blocks.plane[0][0];
    EXPECT_EQ(p[3] - p[0], difference) << target.name;
    EXPECT_EQ(p[4] - p[1], difference) << target.name;
    EXPECT_EQ(p[5] - p[2], difference) << target.name;
  });
}

TEST(Mcu, meansOfChromaAreRoundedDown) {
  forEachTarget([](const mox::Target& target) {
    for (const char* name : {"samples 422", "samples 411"}) {
      const Pair<Mox8u>& pair = bytePair(name);
      Pixels<Mox8u> pixels(pair, 0);
      for (size_t i = 0; i < pixels.samples.size(); i++) pixels.samples[i] = i / 3 % 2;  // 0 and 1 alternating
      EXPECT_EQ(encoded(pair, pixels).plane[1], std::vector<Mox16s>(64, -128)) << name << " on " << target.name;
    }
  });
}

TEST(Mcu, theLargestWordIsGreyOf248) {
  forEachTarget([](const mox::Target& target) {
    const Pair<Mox16u>& pair = wordPair("BGR555 444");
    for (const Mox16u word : {0x7FFF, 0xFFFF}) {  // the bit above the fields is ignored
      Pixels<Mox16u> pixels(pair, 0);
      std::fill(pixels.samples.begin(), pixels.samples.end(), word);
      const Planes blocks = encoded(pair, pixels);
      EXPECT_EQ(blocks.plane[0], std::vector<Mox16s>(64, 120)) << target.name;
      EXPECT_EQ(blocks.plane[1], std::vector<Mox16s>(64, 0)) << target.name;
    }
  });
}

TEST(Mcu, purestChromaIsNotLimited) {
  forEachTarget([](const mox::Target& target) {
    for (const char* name : {"RGB 444", "RGB 422", "RGB 411"}) {
      const Pair<Mox8u>& pair = bytePair(name);
      Pixels<Mox8u> pixels(pair, 0);
      for (size_t i = 0; i < pixels.samples.size(); i++) pixels.samples[i] = i % 3 == 2 ? 255 : 0;
      EXPECT_EQ(encoded(pair, pixels).plane[1], std::vector<Mox16s>(64, 128)) << name << " on " << target.name;
    }
  });
}

// All reds and greens, every fifth blue: grey levels and primaries among them.
TEST(Mcu, coloursOfTheWholeCube) {
  const int apart = std::getenv("MOX_TEST_SAMPLED") ? 51 : 5;
  forEachTarget([apart](const mox::Target& target) {
    const Pair<Mox8u>& pair = bytePair("RGB 444");
    Pixels<Mox8u> pixels(pair, 0);
    for (int red = 0; red < 256; red++)
      for (int blue = 0; blue < 256; blue += apart)
        for (int green = 0; green < 256; green += 64) {
          for (int i = 0; i < 64; i++) {
            pixels.samples[3 * i] = static_cast<Mox8u>(red);
            pixels.samples[3 * i + 1] = static_cast<Mox8u>(green + i);
            pixels.samples[3 * i + 2] = static_cast<Mox8u>(blue);
          }
          ASSERT_TRUE(encoded(pair, pixels) == expectedBlocks(pair.format, pair.shape, pixels.bytes(), pixels.step))
              << target.name << ", red " << red << ", blue " << blue;
        }
  });
}

}  // namespace
}  // namespace test
