// Comparison at every depth: PSNR and maximum against their definitions, SSIM against a direct one.
#include "pictures/compare.h"

#include <cmath>

#include "base/problem.h"
#include "pictures/support.h"

namespace moxj {
namespace {

using test::filled;

Picture layout(Colour colour, int planes, int bits, int width = 15, int height = 14) {
  Picture picture = Picture::layout(width, height, planes, bits, colour);
  if (planes % 2 == 0 && colour != Colour::cmyk) picture.opacity = Opacity::straight;
  return picture;
}

// The mean over all windows, each of which is computed by itself.
double ssim(const Plane& a, const Plane& b, double peak) {
  const int taps = 11;
  double weights[taps], total = 0;
  for (int i = 0; i < taps; ++i) total += weights[i] = std::exp(-(i - 5) * (i - 5) / (2 * 1.5 * 1.5));
  const double c1 = 0.01 * peak * 0.01 * peak, c2 = 0.03 * peak * 0.03 * peak;
  double sum = 0;
  int windows = 0;
  for (int top = 0; top + taps <= a.height; ++top) {
    for (int left = 0; left + taps <= a.width; ++left, ++windows) {
      double ma = 0, mb = 0, aa = 0, bb = 0, ab = 0;
      for (int y = 0; y < taps; ++y) {
        for (int x = 0; x < taps; ++x) {
          const double weight = weights[y] * weights[x] / (total * total);
          const double p = a.at(left + x, top + y), q = b.at(left + x, top + y);
          ma += weight * p;
          mb += weight * q;
          aa += weight * p * p;
          bb += weight * q * q;
          ab += weight * p * q;
        }
      }
      sum += (2 * ma * mb + c1) * (2 * (ab - ma * mb) + c2) /
             ((ma * ma + mb * mb + c1) * (aa - ma * ma + bb - mb * mb + c2));
    }
  }
  return sum / windows;
}

TEST(Compare, EveryDepthAsDefined) {
  for (const int bits : {8, 9, 12, 16, 20, 31}) {
    for (const int planes : {1, 2, 3, 4}) {
      const Picture a = filled(layout(planes < 3 ? Colour::grey : Colour::rgb, planes, bits), 1);
      const Picture b = filled(layout(planes < 3 ? Colour::grey : Colour::rgb, planes, bits), 2);
      Work work;
      const Comparison comparison = compare(a, b, work);
      EXPECT_EQ(comparison.bits, bits);
      ASSERT_EQ(comparison.channels.size(), a.planes.size());
      EXPECT_EQ(comparison.names.back(), planes % 2 == 0 ? "opacity" : planes == 1 ? "grey" : "blue");
      double all = 0;
      for (std::size_t i = 0; i < a.planes.size(); ++i) {
        double squares = 0;
        std::int64_t max = 0;
        for (int y = 0; y < a.height; ++y) {
          for (int x = 0; x < a.width; ++x) {
            const std::int64_t distance = std::abs(std::int64_t{a.planes[i].at(x, y)} - b.planes[i].at(x, y));
            max = std::max(max, distance);
            squares += static_cast<double>(distance) * static_cast<double>(distance);
          }
        }
        const double peak = a.planes[0].maxval, mean = squares / (a.width * a.height);
        const Difference& found = comparison.channels[i];
        EXPECT_EQ(found.max, max);
        EXPECT_NEAR(found.meanSquare, mean, mean * 1e-12);
        EXPECT_NEAR(found.psnr, 10 * std::log10(peak * peak / mean), 1e-9);
        EXPECT_NEAR(found.ssim, ssim(a.planes[i], b.planes[i], peak), 1e-9);
        all += mean / static_cast<double>(a.planes.size());
      }
      EXPECT_NEAR(comparison.all.meanSquare, all, all * 1e-12);
    }
  }
}

TEST(Compare, SeesTheLowestBitOf16AndOpacity) {
  const Picture a = filled(layout(Colour::rgb, 4, 16)), b = filled(layout(Colour::rgb, 4, 16));
  Work work;
  EXPECT_TRUE(std::isinf(compare(a, b, work).all.psnr));
  test::set(b.planes[3], 2, 2, a.planes[3].at(2, 2) ^ 1);
  const Comparison comparison = compare(a, b, work);
  EXPECT_EQ(comparison.channels[3].max, 1u);
  EXPECT_LT(comparison.channels[3].ssim, 1);
  EXPECT_EQ(comparison.channels[2].max, 0u);
  EXPECT_EQ(comparison.channels[2].ssim, 1);
}

TEST(Compare, TheShallowerPictureIsScaledToTheDepthOfTheOther) {
  const Picture a = filled(layout(Colour::grey, 1, 8)), b = filled(layout(Colour::grey, 1, 16));
  for (int y = 0; y < a.height; ++y)
    for (int x = 0; x < a.width; ++x) test::set(b.planes[0], x, y, 257 * a.planes[0].at(x, y));
  test::set(b.planes[0], 1, 1, b.planes[0].at(1, 1) ^ 4);
  Work work;
  EXPECT_EQ(compare(a, b, work).all.max, 4u);
  EXPECT_EQ(compare(b, a, work).bits, 16);
  // Less than 8 bits are compared as 8.
  const Picture shallow = filled(layout(Colour::grey, 1, 4));
  EXPECT_EQ(compare(shallow, shallow, work).bits, 8);
}

TEST(Compare, GreyBesideColourAndOpaqueBesideOpacity) {
  const Picture grey = filled(layout(Colour::grey, 1, 8)), rgba = filled(layout(Colour::rgb, 4, 8));
  for (int y = 0; y < grey.height; ++y)
    for (int x = 0; x < grey.width; ++x)
      for (std::size_t i = 0; i < 4; ++i)
        test::set(rgba.planes[i], x, y, i == 3 ? 255 - (x == 7) : grey.planes[0].at(x, y));
  Work work;
  for (const Comparison& comparison : {compare(grey, rgba, work), compare(rgba, grey, work)}) {
    EXPECT_EQ(comparison.names, (std::vector<std::string>{"red", "green", "blue", "opacity"}));
    EXPECT_EQ(comparison.channels[0].max, 0u);
    EXPECT_EQ(comparison.channels[1].max, 0u);
    EXPECT_EQ(comparison.channels[3].max, 1u);
  }
}

TEST(Compare, PlanesAndInks) {
  Work work;
  const Picture inks = filled(layout(Colour::cmyk, 4, 8));
  EXPECT_EQ(compare(inks, inks, work).names, (std::vector<std::string>{"cyan", "magenta", "yellow", "black"}));
  const Picture five = filled(Picture::layout(15, 14, 5, 8, Colour::unknown));
  EXPECT_EQ(compare(five, five, work).names.back(), "plane 4");
  const Picture six = filled(Picture::layout(15, 14, 6, 8, Colour::unknown));
  EXPECT_THROW(compare(five, six, work), Problem);
}

TEST(Compare, PlanesThatColoursDoNotExplainCountToo) {
  Work work;
  for (const Colour colour : {Colour::rgb, Colour::unknown, Colour::grey}) {
    const Picture five = filled(Picture::layout(15, 14, 5, 8, colour));
    const Picture other = filled(Picture::layout(15, 14, 5, 8, colour));
    test::set(other.planes[4], 3, 2, five.planes[4].at(3, 2) ^ 1);
    EXPECT_EQ(compare(five, other, work).all.max, 1u);
    EXPECT_EQ(compare(five, filled(Picture::layout(15, 14, 5, 8, Colour::unknown)), work).channels.size(), 5u);
    EXPECT_THROW(compare(five, filled(layout(Colour::rgb, 3, 8, 15, 14)), work), Problem);
    EXPECT_THROW(compare(filled(layout(Colour::grey, 1, 8, 15, 14)), five, work), Problem);
  }
}

TEST(Compare, PicturesOfOtherSizesAreRefused) {
  const std::pair<int, int> sizes[] = {{2, 3}, {3, 3}, {2, 2}};
  for (const auto& [width, height] : sizes) {
    Work work;
    try {
      compare(filled(layout(Colour::grey, 1, 8, 3, 2)), filled(layout(Colour::grey, 1, 8, width, height)), work);
      ADD_FAILURE();
    } catch (const Problem& problem) {
      EXPECT_EQ(problem.kind, Kind::badOption);
      EXPECT_EQ(problem.what(),
                std::to_string(width) + " x " + std::to_string(height) + " pixels, but the first picture has 3 x 2");
    }
  }
}

TEST(Compare, SmallPicturesAndRowsWithGaps) {
  for (const auto& [width, height] : {std::pair(1, 1), std::pair(3, 20), std::pair(20, 3)}) {
    const Picture a = filled(layout(Colour::rgb, 3, 8, width, height), 1),
                  b = filled(layout(Colour::rgb, 3, 8, width, height), 2);
    Picture loose = layout(Colour::rgb, 3, 8, width, height);
    loose.allocate(nullptr, 100, 30);
    for (std::size_t i = 0; i < 3; ++i)
      for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) test::set(loose.planes[i], x, y, a.planes[i].at(x, y));
    Work work;
    const Comparison expected = compare(a, b, work), found = compare(loose, b, work);
    EXPECT_EQ(expected.all.meanSquare, found.all.meanSquare);
    EXPECT_EQ(expected.all.ssim, found.all.ssim);
    EXPECT_TRUE(std::isfinite(found.all.ssim));
  }
}

TEST(Compare, CancelledAtEveryReport) {
  const Picture a = filled(layout(Colour::rgb, 3, 8, 20, 100), 1), b = filled(layout(Colour::rgb, 3, 8, 20, 100), 2);
  EXPECT_GT(test::cancelAtEveryCall([&](Work& work) { compare(a, b, work); }), 12);
}

TEST(Compare, MemoryIsCharged) {
  const Picture a = filled(layout(Colour::grey, 1, 16)), b = filled(layout(Colour::grey, 1, 8));
  Work work({.maxMemory = 100});
  EXPECT_THROW(compare(a, b, work), Problem);
}

}  // namespace
}  // namespace moxj
