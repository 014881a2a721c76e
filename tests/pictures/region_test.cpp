// The sink that cuts pictures.
#include <gtest/gtest.h>

#include "base/problem.h"
#include "pictures/region.h"
#include "support.h"

namespace moxj {
namespace {

using test::sampledPicture;

Picture cutOf(const Picture& picture, const Region& region, int bandRows) {
  Budget budget(1 << 20);
  PictureCollector collector;
  const std::unique_ptr<RowSink> sink = cutting(collector, region, budget);
  sink->begin(picture);
  for (int y = 0; y < picture.height; y += bandRows) sink->rows(picture.band(y, bandRows));
  sink->end();
  return collector.picture();
}

int sampleAt(const Plane& plane, int x, int y) {
  return plane.at(std::min(x / plane.dx, plane.width - 1), std::min(y / plane.dy, plane.height - 1));
}

void expectCut(const Picture& whole, const Region& region, const Picture& part) {
  ASSERT_EQ(part.width, region.width);
  ASSERT_EQ(part.height, region.height);
  for (std::size_t i = 0; i < whole.planes.size(); ++i)
    for (int y = 0; y < region.height; ++y)
      for (int x = 0; x < region.width; ++x)
        ASSERT_EQ(sampleAt(part.planes[i], x, y), sampleAt(whole.planes[i], region.x + x, region.y + y))
            << "plane " << i << ": " << x << ", " << y;
}

TEST(Cutting, GivesTheSamePixels) {
  const Region regions[] = {{0, 0, 41, 29}, {0, 0, 1, 1},   {40, 28, 1, 1},  {4, 6, 20, 11},
                            {3, 7, 17, 12}, {12, 0, 3, 29}, {24, 12, 17, 17}};
  for (const int bits : {8, 12, 20}) {
    for (const auto& sampling : {std::initializer_list<std::pair<int, int>>{{1, 1}},
                                 {{1, 1}, {1, 1}, {1, 1}},
                                 {{1, 1}, {2, 2}, {2, 2}},
                                 {{1, 1}, {3, 1}, {1, 4}},
                                 {{4, 4}}}) {
      const Picture whole = sampledPicture(41, 29, sampling, bits);
      for (const Region& region : regions)
        for (const int rows : {4, 12, 29}) {
          SCOPED_TRACE(testing::Message() << region.x << "," << region.y << " bands of " << rows);
          expectCut(whole, region, cutOf(whole, region, rows));
        }
    }
  }
}

TEST(Cutting, KeepsSubsamplingWherePossible) {
  const Picture whole = sampledPicture(40, 30, {{1, 1}, {2, 2}}, 8);
  EXPECT_EQ(cutOf(whole, {4, 6, 11, 9}, 30).planes[1].dx, 2);
  EXPECT_EQ(cutOf(whole, {4, 6, 11, 9}, 30).planes[1].width, 6);
  EXPECT_EQ(cutOf(whole, {5, 6, 11, 9}, 30).planes[1].dx, 1);
  EXPECT_EQ(cutOf(whole, {4, 7, 11, 9}, 30).planes[1].width, 11);
}

TEST(Cutting, RegionsAreClipped) {
  std::vector<std::string> notes;
  const Region all = clipped({.x = 3, .y = 4}, 10, 20, notes);
  EXPECT_EQ(std::tuple(all.x, all.y, all.width, all.height), std::tuple(3, 4, 7, 16));
  EXPECT_TRUE(notes.empty());
  const Region part = clipped({8, 0, INT32_MAX, 20}, 10, 20, notes);
  EXPECT_EQ(std::tuple(part.x, part.y, part.width, part.height), std::tuple(8, 0, 2, 20));
  EXPECT_EQ(notes, std::vector<std::string>{"the region reaches beyond the picture and becomes 2 x 20 pixels"});
  EXPECT_THROW(clipped({10, 0, 1, 1}, 10, 20, notes), Problem);
  EXPECT_THROW(clipped({0, 20, 1, 1}, 10, 20, notes), Problem);
}

}  // namespace
}  // namespace moxj
