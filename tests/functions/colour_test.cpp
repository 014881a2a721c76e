// The colour functions: check orders, every column of every width, memory, threads, and the edge cases of each.
#include <gtest/gtest.h>

#include <numeric>

#include "moxcore.h"
#include "support/checks.h"
#include "support/colour.h"
#include "support/targets.h"

namespace test {
namespace {

class Colour : public testing::TestWithParam<ColourFunction> {};
INSTANTIATE_TEST_SUITE_P(all, Colour, testing::ValuesIn(colourFunctions()),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- Every function ----

// The argument for an image: the image itself, or its planes; and these with one of them missing.
using Planes = std::array<uint8_t*, 4>;
std::vector<Planes> withOneMissing(const Image& image) {
  std::vector<Planes> missing;
  for (int i = 0; i < image.layout().planes() && image.layout().planes() > 1; i++) {
    missing.emplace_back();
    std::copy_n(image.planes(), image.layout().planes(), missing.back().begin());
    missing.back()[i] = nullptr;
  }
  return missing;
}

TEST_P(Colour, checksInOrder) {
  const ColourFunction& function = GetParam();
  Random random(1);
  Image src(function.src, {5, 2}, random);
  Image dst(function.dst, {5, 2}, random);
  std::vector<Planes> from = withOneMissing(src), to = withOneMissing(dst);
  auto order =
      checkOrder(function.name, function.call, src.argument(), src.step(), dst.argument(), dst.step(), src.roi());
  order.breaks<0>(nullptr, moxStatusNullPointer).breaks<2>(nullptr, moxStatusNullPointer);
  for (Planes& planes : from) order.breaks<0>(planes.data(), moxStatusNullPointer);
  for (Planes& planes : to) order.breaks<2>(planes.data(), moxStatusNullPointer);
  order.breaksEach<1>({0, -1, INT32_MIN}, moxStatusBadStep)
      .breaksEach<3>({0, -1, INT32_MIN}, moxStatusBadStep)
      .breaksEach<4>({MoxRoiSize{0, 2}, MoxRoiSize{5, 0}, MoxRoiSize{-1, -1}, MoxRoiSize{INT32_MIN, 1}},
                     moxStatusBadSize);
  for (int i = 0; i < function.dst.planes(); i++) order.untouched(dst.planes()[i], 2 * dst.step());
  order.run();
}

// Each row is a multiple of four columns with the weights of groups and up to three with those of the tail. Nothing
// outside the rows is read (the rows end, or begin, at a guard page) or written.
TEST_P(Colour, everyColumnOfEveryWidth) {
  const ColourFunction& function = GetParam();
  forEachTarget([&](const mox::Target& target) {
    Random random(2);
    for (int width = 1; width <= 150; width++) {
      for (const bool atEnd : {true, false}) {
        const int gap = 2 * random.below(9);
        Image src(function.src, {width, 2}, random, gap, atEnd);
        Image dst(function.dst, {width, 2}, random, gap, atEnd);
        ASSERT_EQ(function(src, dst), moxStatusOk);
        ASSERT_EQ(function.difference(src, dst), "") << target.name;
        ASSERT_TRUE(dst.gapsUntouched()) << target.name << ", width " << width;
      }
    }
  });
}

TEST_P(Colour, anyNumberOfThreadsGivesTheSame) {
  const ColourFunction& function = GetParam();
  const int32_t before = threads_omp_of_n_mox;
  for (const MoxRoiSize roi : {MoxRoiSize{203, 41}, MoxRoiSize{1, 8193}, MoxRoiSize{4099, 2}}) {
    Random random(3);
    Image src(function.src, roi, random);
    for (const int32_t threads : {1, 2, 3, 7}) {
      threads_omp_of_n_mox = threads;
      Image dst(function.dst, roi, random);
      ASSERT_EQ(function(src, dst), moxStatusOk);
      ASSERT_EQ(function.difference(src, dst), "") << threads << " threads";
    }
  }
  threads_omp_of_n_mox = before;
}

// ---- Edge cases: one row each ----

struct Row {
  const ColourFunction& function;
  Random random{4};
  Image src, dst;

  Row(const char* name, int width)
      : function(functionNamed(name)), src(function.src, {width, 1}, random), dst(function.dst, {width, 1}, random) {}
  void fill(Triple channels) {
    for (int x = 0; x < src.roi().width; x++)
      for (int c = 0; c < 3; c++) src.set(x, 0, c, channels[c]);
  }
  void convert() { ASSERT_EQ(function(src, dst), moxStatusOk); }
  Triple at(int x) const { return {dst.get(x, 0, 0), dst.get(x, 0, 1), dst.get(x, 0, 2)}; }
};
const char* const kForward = "moxiRGBToYCbCr_JPEG_8u_C3P3R";
const char* const kPlanarForward = "moxiRGBToYCbCr_JPEG_8u_P3R";
const char* const kInverse = "moxiYCbCrToRGB_JPEG_8u_P3C3R";

void greyStaysGrey(const char* name) {
  for (int v = 0; v < 256; v++) {
    Row row(name, 7);
    row.fill({v, v, v});
    row.convert();
    for (int x = 0; x < 7; x++) ASSERT_EQ(row.at(x), (Triple{v, 128, 128})) << "column " << x;
  }
}

TEST(ColourEdges, greyHasNeutralChromaAndKeepsItsYOnGroupsAndTail) {
  forEachTarget([](const mox::Target&) {
    greyStaysGrey(kForward);
    greyStaysGrey(kPlanarForward);
  });
}

TEST(ColourEdges, neutralChromaIsGreyOnGroupsAndTail) {
  forEachTarget([](const mox::Target&) {
    for (int v = 0; v < 256; v++) {
      Row row(kInverse, 7);
      row.fill({v, 128, 128});
      row.convert();
      for (int x = 0; x < 7; x++) ASSERT_EQ(row.at(x), (Triple{v, v, v})) << "column " << x;
    }
  });
}

TEST(ColourEdges, theLargestCrClampsRedAt255) {
  Row row(kInverse, 7);
  row.fill({255, 128, 255});
  row.convert();
  for (int x = 0; x < 7; x++) EXPECT_EQ(row.at(x)[0], 255) << "column " << x;
}

TEST(ColourEdges, chromaThatWouldBe256Is255) {
  Row row(kForward, 7);
  row.fill({0, 0, 255});
  row.convert();
  for (int x = 0; x < 7; x++) EXPECT_EQ(row.at(x)[1], 255) << "column " << x;
  row.fill({255, 0, 0});
  row.convert();
  for (int x = 0; x < 7; x++) EXPECT_EQ(row.at(x)[2], 255) << "column " << x;
}

// A colour whose Y differs between groups and tail: the group's rounding is a little below a half.
TEST(ColourEdges, widthThreeIsAllTailFourAllGroupFiveBoth) {
  const Triple colour{0, 69, 0};
  ASSERT_EQ(kFromPixels.group(colour)[0], 40);
  ASSERT_EQ(kFromPixels.tail(colour)[0], 41);
  const std::vector<std::vector<int>> expected{{41}, {41, 41}, {41, 41, 41}, {40, 40, 40, 40}, {40, 40, 40, 40, 41}};
  forEachTarget([&](const mox::Target& target) {
    for (int width = 1; width <= 5; width++) {
      Row row(kForward, width);
      row.fill(colour);
      row.convert();
      for (int x = 0; x < width; x++)
        ASSERT_EQ(row.at(x)[0], expected[width - 1][x]) << target.name << ", column " << x << " of " << width;
    }
  });
}

// Colours that show one unit less in the rounding of Cr on groups: it is 16 above that of Cb.
TEST(ColourEdges, crRoundsSixteenUnitsAboveCb) {
  int seen = 0;
  for (int g = 0; g < 256; g++) {
    for (int b = 0; b < 256; b++) {
      const int sum = -13720 * g - 2664 * b + 4210688 + 16;
      if (sum % 32768 != 0) continue;
      Row row(kForward, 4);
      row.fill({0, g, b});
      row.convert();
      ASSERT_EQ(row.at(0)[2], sum / 32768) << g << ", " << b;
      seen++;
    }
  }
  EXPECT_GT(seen, 0);
}

void luminanceEqualsY(const char* whole, const char* yAlone) {
  Random random(5);
  Row pixels(whole, 4099);
  Row luminance(yAlone, 4099);
  for (int x = 0; x < 4099; x++) {
    for (int c = 0; c < 3; c++) {
      const int value = random.below(256);
      pixels.src.set(x, 0, c, value), luminance.src.set(x, 0, c, value);
    }
  }
  pixels.convert();
  luminance.convert();
  for (int x = 0; x < 4099; x++) ASSERT_EQ(luminance.dst.get(x, 0, 0), pixels.at(x)[0]) << "column " << x;
}

TEST(ColourEdges, luminanceAloneIsTheYPlaneOfTheWholeConversion) {
  luminanceEqualsY(kForward, "moxiRGBToY_JPEG_8u_C3C1R");
  luminanceEqualsY("moxiBGRToYCbCr_JPEG_8u_C3P3R", "moxiBGRToY_JPEG_8u_C3C1R");
  luminanceEqualsY(kPlanarForward, "moxiRGBToY_JPEG_8u_P3C1R");
}

TEST(ColourEdges, noInkIsWhite) {
  Row there("moxiCMYKToYCCK_JPEG_8u_C4P4R", 7);
  there.fill({0, 0, 0});
  for (int x = 0; x < 7; x++) there.src.set(x, 0, 3, 31 * x);
  there.convert();
  Row back("moxiYCCKToCMYK_JPEG_8u_P4C4R", 7);
  for (int x = 0; x < 7; x++) {
    EXPECT_EQ(there.at(x), (Triple{255, 128, 128})) << "column " << x;
    EXPECT_EQ(there.dst.get(x, 0, 3), 31 * x) << "K, column " << x;
    for (int c = 0; c < 4; c++) back.src.set(x, 0, c, there.dst.get(x, 0, c));
  }
  back.convert();
  for (int x = 0; x < 7; x++) {
    EXPECT_EQ(back.at(x), (Triple{0, 0, 0})) << "column " << x;
    EXPECT_EQ(back.dst.get(x, 0, 3), 31 * x) << "K, column " << x;
  }
}

// ---- Packed words ----

using WordsToYcc = MoxStatus (*)(const Mox16u*, int32_t, Mox8u* const[3], int32_t, MoxRoiSize);
using YccToWords = MoxStatus (*)(const Mox8u* const[3], int32_t, Mox16u*, int32_t, MoxRoiSize);

struct WordFormat {
  const char* name;
  WordsToYcc there;
  YccToWords back;
  unsigned mask;  // the bits of all fields
  Mox16u red, blue;
};
const WordFormat kWordFormats[] = {
    {"RGB555", moxiRGB555ToYCbCr_JPEG_16u8u_C3P3R, moxiYCbCrToRGB555_JPEG_8u16u_P3C3R, 0x7FFF, 0x001F, 0x7C00},
    {"BGR555", moxiBGR555ToYCbCr_JPEG_16u8u_C3P3R, moxiYCbCrToBGR555_JPEG_8u16u_P3C3R, 0x7FFF, 0x7C00, 0x001F},
    {"RGB565", moxiRGB565ToYCbCr_JPEG_16u8u_C3P3R, moxiYCbCrToRGB565_JPEG_8u16u_P3C3R, 0xFFFF, 0x001F, 0xF800},
    {"BGR565", moxiBGR565ToYCbCr_JPEG_16u8u_C3P3R, moxiYCbCrToBGR565_JPEG_8u16u_P3C3R, 0xFFFF, 0xF800, 0x001F},
};

struct WordPlanes {
  std::vector<Mox8u> y, cb, cr;
  Mox8u* planes[3];

  explicit WordPlanes(size_t count) : y(count), cb(count), cr(count), planes{y.data(), cb.data(), cr.data()} {}
};

TEST(ColourWords, theFirstNamedColourIsInTheLowField) {
  for (const WordFormat& format : kWordFormats) {
    const Mox16u words[] = {format.red, format.blue, 0, static_cast<Mox16u>(format.mask)};
    WordPlanes ycc(4);
    ASSERT_EQ(format.there(words, 8, ycc.planes, 4, {4, 1}), moxStatusOk);
    EXPECT_EQ(ycc.cr[0], 255) << format.name << ": red";
    EXPECT_EQ(ycc.cb[1], 255) << format.name << ": blue";
    EXPECT_EQ(ycc.y[2], 0) << format.name << ": black";
    EXPECT_EQ(ycc.y[3], 255) << format.name << ": white";
    EXPECT_EQ(ycc.cb[3], 128) << format.name << ": white";
    EXPECT_EQ(ycc.cr[3], 128) << format.name << ": white";
  }
}

// Bits above the fields are ignored on the way there and 0 on the way back, and every word comes back as it was.
TEST(ColourWords, everyWordComesBackUnchanged) {
  forEachTarget([](const mox::Target& target) {
    for (const WordFormat& format : kWordFormats) {
      std::vector<Mox16u> words(65536), back(65536, 0xA5A5);
      std::iota(words.begin(), words.end(), Mox16u{0});
      WordPlanes ycc(65536);
      for (const MoxRoiSize roi : {MoxRoiSize{65536, 1}, MoxRoiSize{2, 32768}}) {  // groups; tails
        ASSERT_EQ(format.there(words.data(), 2 * roi.width, ycc.planes, roi.width, roi), moxStatusOk);
        ASSERT_EQ(format.back(ycc.planes, roi.width, back.data(), 2 * roi.width, roi), moxStatusOk);
        for (unsigned w = 0; w < 65536; w++) ASSERT_EQ(back[w], w & format.mask) << target.name << ", " << format.name;
      }
    }
  });
}

}  // namespace
}  // namespace test
