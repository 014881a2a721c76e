// The colour functions: check orders, every column of every width, memory, threads, and the edge cases of each.
#include "support/colour.h"

#include <numeric>

#include "moxcore.h"
#include "support/checks.h"
#include "support/targets.h"

namespace test {
namespace {

template <class Function>
class Colour : public testing::Test {};
TYPED_TEST_SUITE(Colour, ColourFunctions, FunctionNames);

// ---- Every function ----

// The argument for an image: the image itself, or its planes with one of them missing.
template <class Layout>
struct Argument {
  Image<Layout>& image;
  std::vector<std::array<typename Layout::Sample*, Layout::kPlanes>> missing;

  explicit Argument(Image<Layout>& given) : image(given) {
    if constexpr (Layout::kPlanes > 1) {
      for (int i = 0; i < Layout::kPlanes; i++) {
        missing.emplace_back();
        std::copy_n(image.argument(), Layout::kPlanes, missing.back().begin());
        missing.back()[i] = nullptr;
      }
    }
  }

  template <size_t Index, class Order>
  void breakPlanes(Order& order) {
    if constexpr (Layout::kPlanes > 1) {
      for (auto& planes : missing) order.template breaks<Index>(planes.data(), moxStatusNullPointer);
    }
  }
};

TYPED_TEST(Colour, checksInOrder) {
  Random random(1);
  Image<typename TypeParam::Src> src({5, 2}, random);
  Image<typename TypeParam::Dst> dst({5, 2}, random);
  Argument from(src);
  Argument to(dst);
  auto order = checkOrder(TypeParam::name(), TypeParam::kFunction, src.argument(), src.step(), dst.argument(),
                          dst.step(), src.roi());
  order.template breaks<0>(nullptr, moxStatusNullPointer).template breaks<2>(nullptr, moxStatusNullPointer);
  from.template breakPlanes<0>(order);
  to.template breakPlanes<2>(order);
  order.template breaksEach<1>({0, -1, INT32_MIN}, moxStatusBadStep)
      .template breaksEach<3>({0, -1, INT32_MIN}, moxStatusBadStep)
      .template breaksEach<4>({MoxRoiSize{0, 2}, MoxRoiSize{5, 0}, MoxRoiSize{-1, -1}, MoxRoiSize{INT32_MIN, 1}},
                              moxStatusBadSize);
  if constexpr (TypeParam::Dst::kPlanes == 1) {
    order.untouched(dst.argument(), 2 * dst.step());
  } else {
    for (int i = 0; i < TypeParam::Dst::kPlanes; i++) order.untouched(dst.argument()[i], 2 * dst.step());
  }
  order.run();
}

template <class Function>
Triple channelsOf(const Image<typename Function::Src>& src, int x, int y) {
  return {src.get(x, y, 0), src.get(x, y, 1), src.get(x, y, 2)};
}

// The first pixel that differs from the promise, or an empty text.
template <class Function>
std::string difference(const Image<typename Function::Src>& src, const Image<typename Function::Dst>& dst) {
  const MoxRoiSize roi = src.roi();
  for (int y = 0; y < roi.height; y++) {
    for (int x = 0; x < roi.width; x++) {
      const Triple read = channelsOf<Function>(src, x, y), expected = Function::expected(read, x, roi.width);
      for (int c = 0; c < Function::Dst::kChannels; c++) {
        const int wanted = c == 3 ? src.get(x, y, 3) : expected[c];
        if (dst.get(x, y, c) == wanted) continue;
        return "column " + std::to_string(x) + " of " + std::to_string(roi.width) + ", channel " + std::to_string(c) +
               ": " + std::to_string(dst.get(x, y, c)) + ", expected " + std::to_string(wanted) + " from " +
               testing::PrintToString(read);
      }
    }
  }
  return {};
}

// Each row is a multiple of four columns with the weights of groups and up to three with those of the tail. Nothing
// outside the rows is read (the rows end, or begin, at a guard page) or written.
TYPED_TEST(Colour, everyColumnOfEveryWidth) {
  forEachTarget([](const mox::Target& target) {
    Random random(2);
    for (int width = 1; width <= 150; width++) {
      for (const bool atEnd : {true, false}) {
        const int gap = 2 * random.below(9);
        const Image<typename TypeParam::Src> src({width, 2}, random, gap, atEnd);
        Image<typename TypeParam::Dst> dst({width, 2}, random, gap, atEnd);
        ASSERT_EQ(TypeParam::call(src, dst), moxStatusOk);
        ASSERT_EQ(difference<TypeParam>(src, dst), "") << target.name;
        ASSERT_TRUE(dst.gapsUntouched()) << target.name << ", width " << width;
      }
    }
  });
}

TYPED_TEST(Colour, anyNumberOfThreadsGivesTheSame) {
  const int32_t before = threads_omp_of_n_mox;
  for (const MoxRoiSize roi : {MoxRoiSize{203, 41}, MoxRoiSize{1, 8193}, MoxRoiSize{4099, 2}}) {
    Random random(3);
    const Image<typename TypeParam::Src> src(roi, random);
    for (const int32_t threads : {1, 2, 3, 7}) {
      threads_omp_of_n_mox = threads;
      const Image<typename TypeParam::Dst> dst(roi, random);
      ASSERT_EQ(TypeParam::call(src, dst), moxStatusOk);
      ASSERT_EQ(difference<TypeParam>(src, dst), "") << threads << " threads";
    }
  }
  threads_omp_of_n_mox = before;
}

// ---- Edge cases: one row each ----

template <auto Function, class Src, class Dst>
struct Row {
  Random random{4};
  Image<Src> src;
  Image<Dst> dst;

  explicit Row(int width) : src({width, 1}, random), dst({width, 1}, random) {}
  void fill(Triple channels) {
    for (int x = 0; x < src.roi().width; x++)
      for (int c = 0; c < 3; c++) src.set(x, 0, c, channels[c]);
  }
  void convert() {
    ASSERT_EQ(Function(src.argument(), src.step(), dst.argument(), dst.step(), src.roi()), moxStatusOk);
  }
  Triple at(int x) const { return {dst.get(x, 0, 0), dst.get(x, 0, 1), dst.get(x, 0, 2)}; }
};
using ForwardRow = Row<moxiRGBToYCbCr_JPEG_8u_C3P3R, Rgb24, Planar<3>>;
using PlanarForwardRow = Row<moxiRGBToYCbCr_JPEG_8u_P3R, Planar<3>, Planar<3>>;
using InverseRow = Row<moxiYCbCrToRGB_JPEG_8u_P3C3R, Planar<3>, Rgb24>;

template <class AnyRow>
void greyStaysGrey() {
  for (int v = 0; v < 256; v++) {
    AnyRow row(7);
    row.fill({v, v, v});
    row.convert();
    for (int x = 0; x < 7; x++) ASSERT_EQ(row.at(x), (Triple{v, 128, 128})) << "column " << x;
  }
}

TEST(ColourEdges, greyHasNeutralChromaAndKeepsItsYOnGroupsAndTail) {
  forEachTarget([](const mox::Target&) {
    greyStaysGrey<ForwardRow>();
    greyStaysGrey<PlanarForwardRow>();
  });
}

TEST(ColourEdges, neutralChromaIsGreyOnGroupsAndTail) {
  forEachTarget([](const mox::Target&) {
    for (int v = 0; v < 256; v++) {
      InverseRow row(7);
      row.fill({v, 128, 128});
      row.convert();
      for (int x = 0; x < 7; x++) ASSERT_EQ(row.at(x), (Triple{v, v, v})) << "column " << x;
    }
  });
}

TEST(ColourEdges, theLargestCrClampsRedAt255) {
  InverseRow row(7);
  row.fill({255, 128, 255});
  row.convert();
  for (int x = 0; x < 7; x++) EXPECT_EQ(row.at(x)[0], 255) << "column " << x;
}

TEST(ColourEdges, chromaThatWouldBe256Is255) {
  ForwardRow row(7);
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
  ASSERT_EQ(FromPixels::group(colour)[0], 40);
  ASSERT_EQ(FromPixels::tail(colour)[0], 41);
  const std::vector<std::vector<int>> expected{{41}, {41, 41}, {41, 41, 41}, {40, 40, 40, 40}, {40, 40, 40, 40, 41}};
  forEachTarget([&](const mox::Target& target) {
    for (int width = 1; width <= 5; width++) {
      ForwardRow row(width);
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
      ForwardRow row(4);
      row.fill({0, g, b});
      row.convert();
      ASSERT_EQ(row.at(0)[2], sum / 32768) << g << ", " << b;
      seen++;
    }
  }
  EXPECT_GT(seen, 0);
}

template <class Pixels, class Luminance>
void luminanceEqualsY() {
  Random random(5);
  Pixels pixels(4099);
  Luminance luminance(4099);
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
  using Grey = Interleaved<0>;
  luminanceEqualsY<ForwardRow, Row<moxiRGBToY_JPEG_8u_C3C1R, Rgb24, Grey>>();
  luminanceEqualsY<Row<moxiBGRToYCbCr_JPEG_8u_C3P3R, Bgr24, Planar<3>>, Row<moxiBGRToY_JPEG_8u_C3C1R, Bgr24, Grey>>();
  luminanceEqualsY<PlanarForwardRow, Row<moxiRGBToY_JPEG_8u_P3C1R, Planar<3>, Grey>>();
}

TEST(ColourEdges, noInkIsWhite) {
  Row<moxiCMYKToYCCK_JPEG_8u_C4P4R, Cmyk32, Planar<4>> there(7);
  there.fill({0, 0, 0});
  for (int x = 0; x < 7; x++) there.src.set(x, 0, 3, 31 * x);
  there.convert();
  Row<moxiYCCKToCMYK_JPEG_8u_P4C4R, Planar<4>, Cmyk32> back(7);
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
