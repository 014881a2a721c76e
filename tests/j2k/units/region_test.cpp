// Regions and tiles: exactly the cut of the whole picture, with little memory.
#include <gtest/gtest.h>

#include <random>

#include "base/arithmetic.h"
#include "j2k/componentwindow.h"
#include "j2k/support.h"

namespace moxj::j2k {
namespace {

using test::encoded;
using test::File;

// ---- One component ------------------------------------------------------------------------------------------------

// The structure of a component with an area of its own.
Tile tileOf(const Rect& area, int levels, bool reversible, Budget& budget) {
  Siz siz;
  siz.image = area;
  siz.tileWidth = area.x1;
  siz.tileHeight = area.y1;
  siz.components.resize(1);
  TileParams params;
  params.coding.resize(1);
  params.coding[0].levels = levels;
  params.coding[0].reversible = reversible;
  params.coding[0].blockWidthLog = params.coding[0].blockHeightLog = 2;
  params.quantisation.resize(1);
  params.shift.resize(1);
  return makeTile(siz, params, 0, budget);
}

// A coefficient that depends on its place alone.
std::int32_t coefficientAt(const Band& band, int resolution, Coord x, Coord y) {
  std::uint64_t mixed = static_cast<std::uint64_t>(x * 7919 + y * 104729 + band.orientation * 31 + resolution * 1009);
  for (int i = 0; i < 2; ++i) mixed = (mixed ^ mixed >> 31) * 0x9e3779b97f4a7c15 + 1;
  return static_cast<std::int32_t>((mixed >> 32) % 2000000) - 1000000;
}

void fill(ComponentWindow& window, const TileComponent& component) {
  for (int r = 0; r < window.resolutions(); ++r)
    for (const Band& band : component.resolutions[static_cast<std::size_t>(r)].bands) {
      const BandPlace place = window.placeOf(r, band);
      for (Coord y = place.rect.y0; y < place.rect.y1; ++y)
        for (Coord x = place.rect.x0; x < place.rect.x1; ++x)
          place.plane->row(static_cast<int>(place.y + y - place.rect.y0))[place.x + x - place.rect.x0] =
              coefficientAt(band, r, x, y);
    }
}

TilePlane samplesOf(const TileComponent& component, int resolutions, const Rect& wanted) {
  ComponentWindow window(component, resolutions, wanted);
  window.allocate();
  fill(window, component);
  window.transform();
  return window.takeSamples();
}

TEST(ComponentWindow, SamplesAreThoseOfTheWhole) {
  std::mt19937 random(1);
  const auto between = [&](Coord low, Coord high) {
    return low + static_cast<Coord>(random() % static_cast<unsigned>(high - low + 1));
  };
  for (int round = 0; round < 400; ++round) {
    Budget budget(1 << 24);
    const Coord x0 = between(0, 40), y0 = between(0, 40);
    const Rect area{x0, y0, x0 + between(1, round % 3 == 0 ? 5 : 90), y0 + between(1, round % 4 == 0 ? 5 : 70)};
    const int levels = static_cast<int>(between(0, 5));
    const Tile tile = tileOf(area, levels, round % 2 == 0, budget);
    const TileComponent& component = tile.components[0];
    const int resolutions = levels + 1 - static_cast<int>(between(0, levels));
    const Rect whole = component.resolutions[static_cast<std::size_t>(resolutions) - 1].rect;
    if (whole.empty()) continue;
    TilePlane all = samplesOf(component, resolutions, whole);
    for (int part = 0; part < 10; ++part) {
      const Coord left = between(whole.x0, whole.x1 - 1), top = between(whole.y0, whole.y1 - 1);
      const Rect wanted{left, top, between(left + 1, whole.x1), between(top + 1, whole.y1)};
      TilePlane samples = samplesOf(component, resolutions, wanted);
      ASSERT_EQ(samples.width(), wanted.width());
      ASSERT_EQ(samples.height(), wanted.height());
      for (int y = 0; y < samples.height(); ++y) {
        const auto* const row = samples.row(y);
        const auto* const expected = all.row(static_cast<int>(wanted.y0 - whole.y0) + y) + (wanted.x0 - whole.x0);
        const int same = static_cast<int>(std::mismatch(row, row + samples.width(), expected).first - row);
        ASSERT_EQ(same, samples.width()) << "round " << round << ", part " << part << ", row " << y;
      }
    }
  }
}

// ---- Files --------------------------------------------------------------------------------------------------------

int reducedSize(int size, int reduce) { return (size + (1 << reduce) - 1) >> reduce; }

Region reducedRegion(const Region& region, int reduce) {
  const int x = reducedSize(region.x, reduce), y = reducedSize(region.y, reduce);
  return {x, y, reducedSize(region.x + region.width, reduce) - x, reducedSize(region.y + region.height, reduce) - y};
}

// `part` has the wanted pixels of the whole from (x, y) on, at the sampling of each component.
void expectCut(const Picture& whole, const Region& region, const Decoded& part) {
  Region wanted = part.picture.wanted;
  if (!wanted.given()) wanted = {0, 0, part.picture.width, part.picture.height};
  ASSERT_EQ(wanted.width, region.width);
  ASSERT_EQ(wanted.height, region.height);
  ASSERT_EQ(part.picture.planes.size(), whole.planes.size());
  for (std::size_t i = 0; i < whole.planes.size(); ++i) {
    const Plane &from = whole.planes[i], &plane = part.picture.planes[i];
    const auto at = [](const Plane& p, int x, int y) {
      return p.at(std::min(x / p.dx, p.width - 1), std::min(y / p.dy, p.height - 1));
    };
    for (int y = 0; y < region.height; ++y)
      for (int x = 0; x < region.width; ++x)
        ASSERT_EQ(at(plane, wanted.x + x, wanted.y + y), at(from, region.x + x, region.y + y))
            << "plane " << i << ": " << x << ", " << y;
  }
}

Decoded decodeFile(const File& file, const DecodeOptions& options, int threads = 1) {
  Work work({}, {}, threads);
  return decode(file, options, work);
}

// Waves with noise in planes of any sampling.
Picture sampled(int width, int height, std::initializer_list<std::pair<int, int>> sampling, int bits = 8) {
  Picture picture;
  picture.width = width;
  picture.height = height;
  for (const auto& [dx, dy] : sampling)
    picture.planes.push_back(Plane::of(ceilDiv(width, dx), ceilDiv(height, dy), bits, false, dx, dy));
  picture.colour = Colour::unknown;
  picture.allocate();
  std::mt19937 random(3);
  for (const Plane& plane : picture.planes)
    for (int y = 0; y < plane.height; ++y)
      visitRow(plane, y, [&](auto* row) {
        for (int x = 0; x < plane.width; ++x)
          row[std::ptrdiff_t{x} * plane.pixelStep] = static_cast<std::remove_pointer_t<decltype(row)>>(
              (static_cast<unsigned>(x * 4 + y * 3) + random() % 20) % (1u << bits));
      });
  return picture;
}

void expectRegions(const File& file, int width, int height, int levels, std::mt19937& random, int count) {
  const auto below = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
  for (int reduce = 0; reduce <= std::min(levels, 3); ++reduce) {
    const Picture whole = decodeFile(file, {.reduce = reduce}).picture;
    for (int i = 0; i < count; ++i) {
      Region region{below(width), below(height), 0, 0};
      region.width = 1 + below(width - region.x);
      region.height = 1 + below(height - region.y);
      if (i % 3 == 0) region.width = std::min(region.width, 4), region.height = std::min(region.height, 4);
      SCOPED_TRACE(testing::Message() << region.x << "," << region.y << "," << region.width << "," << region.height
                                      << " reduced " << reduce);
      const Region small = reducedRegion(region, reduce);
      const DecodeOptions options{.reduce = reduce, .region = region};
      if (small.width == 0 || small.height == 0) {
        EXPECT_THROW(decodeFile(file, options), Problem);
        continue;
      }
      const Decoded part = decodeFile(file, options, 1 + i % 2);
      EXPECT_TRUE(part.complete) << part.warning;
      expectCut(whole, small, part);
      if (testing::Test::HasFailure()) return;
    }
  }
}

TEST(Region, IsTheCutOfTheWhole) {
  std::mt19937 random(2);
  int number = 0;
  for (const auto& [width, height] : {std::pair(97, 71), {33, 64}, {5, 120}}) {
    for (const bool lossless : {true, false}) {
      for (const int tile : {0, 32, 41}) {
        for (const int planes : {1, 3}) {
          EncodeOptions options;
          options.lossless = lossless;
          if (!lossless) options.goals = {Goals::bitsPerPixel, {10}};
          options.levels = number % 6;
          options.order = static_cast<Order>(number % 5);
          options.layers = 1 + number % 3;
          options.blockWidth = options.blockHeight = 8 << number % 3;
          options.tileWidth = options.tileHeight = tile;
          options.modes = number % 4 == 3 ? int{bypass | termall | causal} : 0;
          const int bits = number % 5 == 4 ? 12 : 8;
          SCOPED_TRACE(testing::Message() << "file " << number << " of " << width << " x " << height);
          expectRegions(encoded(test::picture(width, height, planes, bits), options), width, height, options.levels,
                        random, 8);
          if (HasFailure()) return;
          ++number;
        }
      }
    }
  }
}

TEST(Region, OfSubsampledComponents) {
  std::mt19937 random(4);
  for (const int tile : {0, 24}) {
    for (const bool lossless : {true, false}) {
      EncodeOptions options;
      options.lossless = lossless;
      if (!lossless) options.goals = {Goals::bitsPerPixel, {12}};
      options.levels = 2;
      options.tileWidth = options.tileHeight = tile;
      const File file = encoded(sampled(75, 58, {{1, 1}, {2, 2}, {3, 1}}), options);
      expectRegions(file, 75, 58, 2, random, 20);
    }
  }
}

// Each component is cut on its own grid.
TEST(Region, OfComponents) {
  EncodeOptions options = test::lossless();
  options.levels = 3;
  const File file = encoded(sampled(75, 58, {{1, 1}, {2, 2}, {3, 1}}), options);
  for (const int reduce : {0, 1, 2}) {
    const Picture whole = decodeFile(file, {.reduce = reduce, .components = true}).picture;
    const Region region{13, 21, 40, 33};
    const Picture part = decodeFile(file, {.reduce = reduce, .components = true, .region = region}).picture;
    for (std::size_t i = 0; i < 3; ++i) {
      const Plane &from = whole.planes[i], &plane = part.planes[i];
      const auto scaled = [&](int at, int by) { return reducedSize((at + by - 1) / by, reduce); };
      const int x0 = scaled(13, from.dx), y0 = scaled(21, from.dy);
      ASSERT_EQ(plane.width, scaled(53, from.dx) - x0);
      ASSERT_EQ(plane.height, scaled(54, from.dy) - y0);
      for (int y = 0; y < plane.height; ++y)
        for (int x = 0; x < plane.width; ++x) ASSERT_EQ(plane.at(x, y), from.at(x0 + x, y0 + y));
    }
  }
  EXPECT_THROW(decodeFile(file, {.components = true, .region = {1, 1, 1, 1}}), Problem);
}

TEST(Region, OfATile) {
  EncodeOptions options = test::lossless();
  options.tileWidth = 40;
  options.tileHeight = 30;
  options.levels = 2;
  const File file = encoded(test::picture(100, 70, 3, 8), options);
  for (const int reduce : {0, 1}) {
    const Picture whole = decodeFile(file, {.reduce = reduce}).picture;
    for (int tile = 0; tile < 9; ++tile) {
      const Region region{tile % 3 * 40, tile / 3 * 30, tile % 3 == 2 ? 20 : 40, tile / 3 == 2 ? 10 : 30};
      const Decoded part = decodeFile(file, {.reduce = reduce, .tile = tile});
      expectCut(whole, reducedRegion(region, reduce), part);
    }
  }
  try {
    decodeFile(file, {.tile = 9});
    FAIL();
  } catch (const Problem& problem) {
    EXPECT_STREQ(problem.what(), "tile 9: the tiles of the picture are 0 to 8");
    EXPECT_EQ(problem.option, "tile");
  }
}

// Memory of the region, not of the picture or its tiles.
TEST(Region, TakesMemoryOfItsSize) {
  const Picture picture = test::picture(1024, 1024, 3, 8);
  for (const int tile : {0, 128}) {
    EncodeOptions options = test::lossless();
    options.tileWidth = options.tileHeight = tile;
    const File file = encoded(picture, options);
    const auto needs = [&](const DecodeOptions& decoding, std::uint64_t maxMemory) {
      Work work({.maxPixels = 70 * 70, .maxMemory = maxMemory});
      EXPECT_TRUE(decode(file, decoding, work).complete);
    };
    needs({.region = {500, 480, 64, 64}}, tile ? 600 << 10 : 900 << 10);
    Work work({.maxMemory = 3 << 20});
    EXPECT_THROW(decode(file, {}, work), Problem);
  }
}

// What only other parts of the picture need is not read.
TEST(Region, DamageElsewhereIsNotMet) {
  const Picture picture = test::picture(128, 128, 1, 8);
  EncodeOptions options = test::lossless();
  options.tileWidth = options.tileHeight = 64;
  File file = encoded(picture, options);
  file.resize(file.size() - file.size() / 6);  // the last tile
  EXPECT_FALSE(decodeFile(file, {}).complete);
  const Decoded part = decodeFile(file, {.region = {0, 0, 128, 64}});
  EXPECT_TRUE(part.complete) << part.warning;
  const Decoded damaged = decodeFile(file, {.region = {60, 60, 10, 10}});
  EXPECT_FALSE(damaged.complete);
  expectCut(decodeFile(file, {}).picture, {60, 60, 10, 10}, damaged);
}

TEST(Region, OutsideAndBeyondThePicture) {
  const File file = encoded(test::picture(50, 40, 1, 8), test::lossless());
  try {
    decodeFile(file, {.region = {50, 0, 1, 1}});
    FAIL();
  } catch (const Problem& problem) {
    EXPECT_STREQ(problem.what(), "region lies outside the picture of 50 x 40 pixels");
    EXPECT_EQ(problem.kind, Kind::badOption);
  }
  const Decoded part = decodeFile(file, {.region = {30, 20, 100, 5}});
  EXPECT_EQ(part.notes, std::vector<std::string>{"the region reaches beyond the picture and becomes 20 x 5 pixels"});
  expectCut(decodeFile(file, {}).picture, {30, 20, 20, 5}, part);
}

}  // namespace
}  // namespace moxj::j2k
