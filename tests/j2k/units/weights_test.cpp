// Which coefficients a region needs, and how visible the bands are.
#include <gtest/gtest.h>

#include "j2k/roi.h"
#include "j2k/support.h"
#include "j2k/visual.h"
#include "j2k/wavelet.h"
#include "j2k/writeparams.h"

namespace moxj::j2k {
namespace {

// Coefficients outside change no sample of the region; those at the edges inside do.
TEST(Jpeg2000Region, NeedsTheseCoefficients) {
  constexpr int kWidth = 90, kHeight = 50;
  for (const bool reversible : {true, false}) {
    EncodeOptions options;
    options.lossless = reversible;
    options.levels = 3;
    const Picture layout = Picture::layout(kWidth, kHeight, 1, 8, Colour::grey);
    const Siz siz = sizOf(layout, options);
    Budget budget(1 << 28);
    const Tile tile = makeTile(siz, paramsFor(layout, options), 0, budget);
    const TileComponent& component = tile.components[0];
    const InterestRegion region = {33, 18, 21, 11};
    const std::vector<Rect> needed = coefficientsOf(region, siz.components[0], component);
    std::vector<std::uint8_t> changing(needed.size());
    for (const Resolution& resolution : component.resolutions)
      for (const Band& band : resolution.bands)
        for (Coord y = band.rect.y0; y < band.rect.y1; ++y)
          for (Coord x = band.rect.x0; x < band.rect.x1; ++x) {
            TilePlane plane(kWidth, kHeight);
            for (int row = 0; row < kHeight; ++row) std::fill_n(plane.row(row), kWidth, 0);
            plane.row(static_cast<int>(y - band.rect.y0 + band.planeY))[x - band.rect.x0 + band.planeX] = 1 << 24;
            transformInverse(plane, component, 4);
            bool changes = false;
            for (int row = region.y; row < region.y + region.height; ++row)
              for (int column = region.x; column < region.x + region.width; ++column)
                changes |= plane.row(row)[column] != 0;
            const Rect& rect = needed[static_cast<std::size_t>(band.index)];
            const bool inside = x >= rect.x0 && x < rect.x1 && y >= rect.y0 && y < rect.y1;
            EXPECT_TRUE(inside || !changes) << band.index << ": " << x << ", " << y;
            changing[static_cast<std::size_t>(band.index)] |= changes;
          }
    for (const std::uint8_t changes : changing) EXPECT_TRUE(changes);
    // No more than what the reach of the filters explains.
    EXPECT_LE(needed.back().width(), region.width / 2 + 6);
  }
}

TEST(Jpeg2000Visual, EachDirectionHasItsSubSampling) {
  const ComponentSize wide{.dx = 2, .dy = 1}, whole;
  const auto weightOf = [](Orientation orientation, const ComponentSize& size) {
    return visualWeight(Vision::luminance, orientation, 1, size);
  };
  EXPECT_GT(weightOf(hl, wide), weightOf(hl, whole));
  EXPECT_EQ(weightOf(lh, wide), weightOf(lh, whole));
}

TEST(Jpeg2000Visual, FineAndColouredDetailsWeighLess) {
  const ComponentSize whole, half{.dx = 2, .dy = 2};
  for (const Orientation orientation : {hl, lh, hh}) {
    double last = 0;
    for (int levels = 1; levels <= 8; ++levels) {
      const double weight = visualWeight(Vision::luminance, orientation, levels, whole);
      EXPECT_GE(weight, last);
      EXPECT_LE(weight, 1);
      EXPECT_LE(visualWeight(Vision::chroma, orientation, levels, whole), weight);
      EXPECT_EQ(visualWeight(Vision::luminance, orientation, levels, half),
                visualWeight(Vision::luminance, orientation, levels + 1, whole));
      last = weight;
    }
    EXPECT_EQ(last, 1);
  }
  EXPECT_EQ(visualWeight(Vision::chroma, ll, 5, whole), 1);
  // 22.5 cycles per degree: 0.409 of the greatest sensitivity.
  EXPECT_NEAR(visualWeight(Vision::luminance, hl, 1, whole), 0.409 * 0.409, 0.001);
  EXPECT_LT(visualWeight(Vision::luminance, hh, 1, whole), visualWeight(Vision::luminance, hl, 1, whole));
}

}  // namespace
}  // namespace moxj::j2k
