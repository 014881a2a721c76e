// The sink that turns pictures.
#include "pictures/turn.h"

#include <gtest/gtest.h>

#include "support.h"

namespace moxj {
namespace {

// Samplings divide the sizes below, so that the last samples are as large as the others.
using test::sampledPicture;
using Samplings = std::initializer_list<std::pair<int, int>>;

Picture turnedPicture(const Picture& picture, int orientation) {
  Budget budget(std::uint64_t{1} << 30);
  PictureCollector collector;
  const std::unique_ptr<RowSink> sink = turning(collector, orientation, budget);
  sink->begin(picture);
  for (int y = 0; y < picture.height; y += 16) sink->rows(picture.band(y, 16));
  sink->end();
  return collector.picture();
}

int pixelAt(const Plane& plane, int x, int y) { return plane.at(x / plane.dx, y / plane.dy); }

// As Exif defines the orientations: which row and column of what is shown the first row and column of the file are.
void expectTurned(const Picture& from, const Picture& to, int orientation) {
  const bool transposed = orientation >= 5;
  ASSERT_EQ(to.width, transposed ? from.height : from.width);
  ASSERT_EQ(to.height, transposed ? from.width : from.height);
  const bool right = orientation == 2 || orientation == 3 || orientation == 6 || orientation == 7;
  const bool bottom = orientation == 3 || orientation == 4 || orientation == 7 || orientation == 8;
  const auto stepOf = [](int size) { return size > 1000 ? 373 : 1; };
  for (std::size_t i = 0; i < from.planes.size(); ++i)
    for (int y = 0; y < to.height; y += stepOf(to.height))
      for (int x = 0; x < to.width; x += stepOf(to.width)) {
        const int column = right ? to.width - 1 - x : x, row = bottom ? to.height - 1 - y : y;
        ASSERT_EQ(pixelAt(to.planes[i], x, y),
                  transposed ? pixelAt(from.planes[i], row, column) : pixelAt(from.planes[i], column, row))
            << "orientation " << orientation << ", plane " << i << ": " << x << ", " << y;
      }
}

TEST(Turning, MovesPixelsAsExifDefines) {
  for (const auto& sampling :
       {Samplings{{1, 1}}, {{1, 1}, {1, 1}, {1, 1}}, {{1, 1}, {2, 2}, {2, 2}}, {{1, 1}, {2, 1}, {1, 4}}, {{4, 2}}})
    for (const int bits : {8, 12})
      for (int orientation = 2; orientation <= 8; ++orientation) {
        const Picture from = sampledPicture(40, 28, sampling, bits);
        expectTurned(from, turnedPicture(from, orientation), orientation);
      }
}

// Bands of a number of rows that the sampling does not divide, and several of them.
TEST(Turning, GivesBandsOfWholeSamples) {
  for (int orientation = 2; orientation <= 8; ++orientation) {
    for (const auto& [width, height] : {std::pair{60000, 48}, {48, 60000}, {320, 480}}) {
      const Picture from = sampledPicture(width, height, {{1, 1}, {2, 4}, {4, 2}}, 8);
      expectTurned(from, turnedPicture(from, orientation), orientation);
    }
  }
}

}  // namespace
}  // namespace moxj
