// Lossless files round trip exactly, for every depth, predictor and layout.
#include "support.h"

namespace moxj::jpeg {
namespace {

// Samples from 0 to `max`, including many extremes.
Picture testSamples(int bits, int planes, int max, std::uint32_t seed) {
  const Colour colour = planes == 3   ? Colour::rgb
                        : planes == 1 ? Colour::grey
                        : planes == 4 ? Colour::cmyk
                                      : Colour::unknown;
  Picture picture = Picture::layout(9, 7, planes, bits, colour);
  picture.allocate();
  for (const Plane& plane : picture.planes) {
    for (int y = 0; y < plane.height; ++y) {
      visitRow(plane, y, [&]<class Sample>(Sample* row) {
        for (int x = 0; x < plane.width; ++x) {
          seed = seed * 1664525 + 1013904223;
          const int kind = static_cast<int>(seed >> 28);
          const int value = kind == 0   ? 0
                            : kind == 1 ? max
                                        : static_cast<int>((seed >> 8) % (static_cast<unsigned>(max) + 1));
          row[std::ptrdiff_t{x} * plane.pixelStep] = static_cast<Sample>(value);
        }
      });
    }
  }
  return picture;
}

void expectEqual(const Picture& a, const Picture& b, int point) {
  EXPECT_EQ(a.colour, b.colour);
  ASSERT_EQ(a.planes.size(), b.planes.size());
  for (std::size_t i = 0; i < a.planes.size(); ++i) {
    ASSERT_EQ(a.planes[i].bits, b.planes[i].bits);
    for (int y = 0; y < a.height; ++y) {
      for (int x = 0; x < a.width; ++x)
        ASSERT_EQ(a.planes[i].at(x, y) >> point << point, b.planes[i].at(x, y)) << i << ": " << x << ", " << y;
    }
  }
}

TEST(Lossless, EveryPrecisionPredictorPointTransformIntervalAndNumberOfComponents) {
  std::uint32_t seed = 1;
  for (int bits = 2; bits <= 16; ++bits) {
    for (int planes = 1; planes <= 4; ++planes) {
      for (int predictor = 0; predictor <= 7; ++predictor) {
        for (int point = 0; point < bits; point += 1 + bits / 4) {
          for (const int rows : {0, 1, 3}) {
            const int max = (1 << bits) - 1;
            const Picture picture =
                testSamples(bits, planes, predictor > 4 && point == 0 ? std::min(max, 32767) : max, ++seed);
            const File file = losslessFileOf(
                picture, {.predictor = predictor, .point = point, .restart = rows, .restartInRows = true});
            SCOPED_TRACE(testing::Message() << bits << " bits, " << planes << " components, predictor " << predictor
                                            << "," << point << ", intervals of " << rows);
            const Decoded decoded = decodeFile(file, {.inks = true, .components = true});
            ASSERT_TRUE(decoded.complete) << decoded.warning;
            expectEqual(picture, decoded.picture, point);
          }
        }
      }
    }
  }
}

TEST(Lossless, BandsOfAnyHeightGiveTheSameFile) {
  for (const int bits : {8, 12}) {
    const Picture picture = testSamples(bits, 3, (1 << bits) - 1, 5);
    for (const int height : {1, 2, 5}) {
      MemoryOutput output;
      Work work;
      const std::unique_ptr<RowSink> sink = losslessEncoder(output, {}, work);
      sink->begin(Picture::layout(9, 7, 3, bits, Colour::rgb));
      for (int y = 0; y < 7; y += height) sink->rows(picture.band(y, std::min(height, 7 - y)));
      sink->end();
      EXPECT_EQ(bytesOf(output), losslessFileOf(picture));
    }
  }
}

// A file whose headers are changed so that its second and third components are sub-sampled. The decoded samples have no
// meaning, but their sizes have.
File subsampled(int bits) {
  File file = losslessFileOf(testSamples(bits, 3, (1 << std::min(bits, 15)) - 1, 9));
  file[Layout(file).body(marker::sof3) + 7] = 0x22;
  for (int i = 0; i < 3; ++i) file[Layout(file).body(marker::sof3) + 6 + 3 * i] = static_cast<std::uint8_t>(i + 1);
  for (int i = 0; i < 3; ++i) file[Layout(file).body(marker::sos) + 1 + 2 * i] = static_cast<std::uint8_t>(i + 1);
  file[Layout(file).body(marker::app14) + 11] = 1;  // YCbCr
  return file;
}

TEST(Lossless, SubsampledComponents) {
  for (const int bits : {8, 12}) {
    const File file = subsampled(bits);
    const Picture native = decodeFile(file, {.native = true}).picture;
    EXPECT_EQ(native.colour, Colour::ycbcr);
    ASSERT_EQ(native.planes.size(), 3u);
    EXPECT_EQ(native.planes[1].width, 5);
    EXPECT_EQ(native.planes[1].height, 4);
    EXPECT_EQ(native.planes[2].dx, 2);
    EXPECT_EQ(native.planes[2].dy, 2);
    const Picture picture = decodeFile(file).picture;
    EXPECT_EQ(picture.colour, bits == 8 ? Colour::rgb : Colour::ycbcr);
    for (int i = 0; bits == 12 && i < 3; ++i) {
      const Plane &whole = picture.planes[static_cast<std::size_t>(i)],
                  &own = native.planes[static_cast<std::size_t>(i)];
      for (int y = 0; y < 7; ++y) {
        for (int x = 0; x < 9; ++x) ASSERT_EQ(whole.at(x, y), own.at(x / own.dx, y / own.dy));
      }
    }
  }
}

TEST(Lossless, InksBecomeRgbUnlessTheyAreWanted) {
  for (const int bits : {6, 8, 12}) {
    const Picture inks = testSamples(bits, 4, (1 << bits) - 1, 3);
    const Picture rgb = decodeFile(losslessFileOf(inks)).picture;
    EXPECT_EQ(rgb.colour, Colour::rgb);
    ASSERT_EQ(rgb.planes.size(), 3u);
    const int max = (1 << bits) - 1;
    for (std::size_t i = 0; i < 3; ++i) {
      for (int y = 0; y < 7; ++y) {
        for (int x = 0; x < 9; ++x)
          ASSERT_EQ(rgb.planes[i].at(x, y), (inks.planes[i].at(x, y) * inks.planes[3].at(x, y) + max / 2) / max);
      }
    }
    EXPECT_TRUE(decodeFile(losslessFileOf(inks), {.inks = true}).picture.inverted);
  }
}

TEST(Lossless, OfTwoComponentsTheFirstIsGrey) {
  for (const int bits : {8, 12}) {
    const Picture two = testSamples(bits, 2, (1 << bits) - 1, 3);
    const Decoded decoded = decodeFile(losslessFileOf(two));
    EXPECT_EQ(decoded.picture.colour, Colour::grey);
    ASSERT_EQ(decoded.picture.planes.size(), 1u);
    EXPECT_EQ(decoded.notes, std::vector<std::string>{"two components of unknown meaning, the first is used as grey"});
    for (int y = 0; y < 7; ++y) {
      for (int x = 0; x < 9; ++x) ASSERT_EQ(decoded.picture.planes[0].at(x, y), two.planes[0].at(x, y));
    }
  }
}

TEST(Lossless, WhatTheProcessDoesNotHave) {
  const auto refused = [](const std::string& words, const Picture& picture) {
    expectProblem(Kind::unsupported, words, [&] { losslessFileOf(picture); });
  };
  refused("samples of 1 bit: ", testSamples(1, 1, 1, 1));
  refused("samples of 17 bits", testSamples(17, 1, 9, 1));
  refused("5 components", testSamples(8, 5, 9, 1));
  Picture opaque = testSamples(8, 4, 9, 1);
  opaque.opacity = Opacity::straight;
  refused("without opacity", opaque);
}

}  // namespace
}  // namespace moxj::jpeg
