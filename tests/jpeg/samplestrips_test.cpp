// The samples of the encoder's blocks: conversion, sub-sampling, edges.
#include "jpeg/samplestrips.h"

#include "jpeg/library.h"
#include "support.h"

namespace moxj::jpeg {
namespace {

Frame frameOf(const Picture& picture, int horizontal, int vertical) {
  Frame frame{.width = picture.width, .height = picture.height, .components = {{.id = 1}}};
  if (picture.planes.size() == 3) {
    frame.components[0].horizontal = horizontal;
    frame.components[0].vertical = vertical;
    frame.components.push_back({.id = 2});
    frame.components.push_back({.id = 3});
  }
  frame.layOut();
  return frame;
}

// The components at full size, row by row.
std::vector<File> converted(const Picture& picture, int component) {
  std::vector<File> rows;
  for (int y = 0; y < picture.height; ++y) {
    File planes[3] = {File(picture.width), File(picture.width), File(picture.width)};
    Mox8u* const to[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
    if (picture.planes.size() == 1) {
      planes[0].assign(picture.row(y), picture.row(y) + picture.width);
    } else {
      require(moxiRGBToYCbCr_JPEG_8u_C3P3R(picture.row(y), 3 * picture.width, to, picture.width, {picture.width, 1}),
              "");
    }
    rows.push_back(planes[component]);
  }
  return rows;
}

void checkStrips(const Picture& picture, int horizontal, int vertical) {
  const Frame frame = frameOf(picture, horizontal, vertical);
  Budget budget(1 << 30);
  const ColourModel model = frame.components.size() == 1 ? ColourModel::grey : ColourModel::ycbcr;
  SampleStrips strips(picture, frame, model, budget);
  for (int mcuRow = 0; mcuRow < frame.mcusHigh; ++mcuRow) {
    strips.loadRow(picture, mcuRow * frame.mcuHeight(), mcuRow);
    for (std::size_t i = 0; i < frame.components.size(); ++i) {
      const FrameComponent& c = frame.components[i];
      const std::vector<File> full = converted(picture, static_cast<int>(i));
      const int across = frame.maxHorizontal / c.horizontal, down = frame.maxVertical / c.vertical;
      // The last row and column of a component are repeated beyond it, and so are the last pixels of the picture.
      const auto expected = [&](int x, int y) {
        x = std::min(x, c.width - 1);
        y = std::min(y, c.height - 1);
        double sum = 0;
        for (int dy = 0; dy < down; ++dy) {
          for (int dx = 0; dx < across; ++dx) {
            sum += full[std::min(y * down + dy, picture.height - 1)][std::min(x * across + dx, picture.width - 1)];
          }
        }
        return sum / (across * down);
      };
      for (int blockY = 0; blockY < c.vertical && mcuRow * c.vertical + blockY < c.blocksHigh; ++blockY) {
        for (int blockX = 0; blockX < c.blocksWide; ++blockX) {
          const std::uint8_t* const block = strips.block(static_cast<int>(i), blockX, blockY);
          for (int y = 0; y < 8; ++y) {
            for (int x = 0; x < 8; ++x) {
              const double wanted = expected(8 * blockX + x, 8 * (mcuRow * c.vertical + blockY) + y);
              ASSERT_NEAR(block[y * strips.step(static_cast<int>(i)) + x], wanted, across * down == 1 ? 0 : 0.5)
                  << picture.width << "x" << picture.height << " component " << i << " block " << blockX << ","
                  << blockY << " at " << x << "," << y;
            }
          }
        }
      }
    }
  }
}

TEST(SampleStrips, AreTheConvertedAndAveragedPixels) {
  for (int width = 1; width <= 40; ++width) {
    const int height = 1 + width * 29 % 40;
    const Picture grey = testPicture(width, height, 1, 60, width);
    const Picture colour = testPicture(width, height, 3, 60, width);
    checkStrips(grey, 1, 1);
    checkStrips(colour, 1, 1);
    checkStrips(colour, 2, 1);
    checkStrips(colour, 2, 2);
  }
}

TEST(SampleStrips, WideRowsAreConvertedInPieces) {
  for (const int width : {8191, 8192, 8193, 16387}) checkStrips(testPicture(width, 3, 3, 60), 2, 2);
}

}  // namespace
}  // namespace moxj::jpeg
