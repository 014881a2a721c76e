// Geometry: sizes of components, blocks and MCUs (T.81 A.1.1, A.2).
#include "jpeg/frame.h"

#include "jpeg/upsampler.h"
#include "support.h"

namespace moxj::jpeg {
namespace {

Frame frameOf(int width, int height, std::vector<FrameComponent> components) {
  Frame frame{.width = width, .height = height, .components = std::move(components)};
  frame.layOut();
  return frame;
}

TEST(Frame, ExampleOfTheStandard) {
  // T.81 A.1.1: 512 x 512, factors 4x1, 2x2, 1x1.
  const Frame frame = frameOf(
      512, 512, {{.horizontal = 4, .vertical = 1}, {.horizontal = 2, .vertical = 2}, {.horizontal = 1, .vertical = 1}});
  const auto& c = frame.components;
  EXPECT_EQ(c[0].width, 512);
  EXPECT_EQ(c[0].height, 256);
  EXPECT_EQ(c[1].width, 256);
  EXPECT_EQ(c[1].height, 512);
  EXPECT_EQ(c[2].width, 128);
  EXPECT_EQ(c[2].height, 256);
  EXPECT_EQ(frame.mcusWide, 16);
  EXPECT_EQ(frame.mcusHigh, 32);
}

TEST(Frame, OddSizesRoundUp) {
  const Frame frame = frameOf(17, 1, {{.horizontal = 2, .vertical = 2}, {}, {}});
  EXPECT_EQ(frame.mcusWide, 2);
  EXPECT_EQ(frame.mcusHigh, 1);
  EXPECT_EQ(frame.components[0].blocksWide, 3);
  EXPECT_EQ(frame.components[0].blocksHigh, 1);
  EXPECT_EQ(frame.components[0].paddedWide, 4);
  EXPECT_EQ(frame.components[0].paddedHigh, 2);
  EXPECT_EQ(frame.components[1].width, 9);
  EXPECT_EQ(frame.components[1].height, 1);
  EXPECT_EQ(frame.components[1].blocksWide, 2);
}

TEST(Frame, LargestSizes) {
  const Frame frame = frameOf(65535, 65535, {{.horizontal = 4, .vertical = 4}, {.horizontal = 3, .vertical = 1}});
  EXPECT_EQ(frame.components[0].width, 65535);
  EXPECT_EQ(frame.components[1].width, 49152);
  EXPECT_EQ(frame.components[1].height, 16384);
  EXPECT_EQ(frame.mcusWide, 2048);
}

TEST(ScanGeometry, InterleavedScansHaveAllBlocksOfTheMcus) {
  const Frame frame = frameOf(17, 9, {{.horizontal = 2, .vertical = 2}, {}, {}});
  const ScanGeometry geometry(frame, {.components = {{0}, {1}, {2}}});
  EXPECT_EQ(geometry.mcusWide, 2);
  EXPECT_EQ(geometry.mcusHigh, 1);
  ASSERT_EQ(geometry.blocks.size(), 6u);
  EXPECT_EQ(geometry.blocks[1].dx, 1);
  EXPECT_EQ(geometry.blocks[2].dy, 1);
  EXPECT_EQ(geometry.blocks[3].across, 2);
  EXPECT_EQ(geometry.blocks[4].component, 1);
  EXPECT_EQ(geometry.blocks[4].across, 1);
}

TEST(ScanGeometry, AScanOfOneComponentHasOnlyBlocksWithSamples) {
  const Frame frame = frameOf(17, 9, {{.horizontal = 2, .vertical = 2}, {}, {}});
  const ScanGeometry geometry(frame, {.components = {{0}}});
  EXPECT_EQ(geometry.mcusWide, 3);
  EXPECT_EQ(geometry.mcusHigh, 2);
  EXPECT_EQ(geometry.blocks.size(), 1u);
}

// Upsampling by repetition takes the input sample whose extent contains the centre of the output sample.
TEST(Upsampler, RepeatsTheNearestSampleForEveryRatio) {
  for (int most = 1; most <= 4; ++most) {
    for (int own = 1; own <= most; ++own) {
      for (int width = 1; width <= 50; ++width) {
        const Frame frame = frameOf(width, 1, {{.horizontal = most}, {.horizontal = own}});
        std::vector<std::uint8_t> samples(frame.components[1].width);
        for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<std::uint8_t>(i);
        Upsampler upsampler(frame, frame.components[1], false);
        const std::uint8_t* row = upsampler.row(samples.data(), nullptr, true);
        for (int x = 0; x < width; ++x) ASSERT_EQ(row[x], (2 * x + 1) * own / (2 * most)) << most << own << width;
      }
    }
  }
}

TEST(Upsampler, RowsAreThoseWhoseExtentHoldsTheCentre) {
  const Frame frame = frameOf(8, 60, {{.vertical = 3}, {.vertical = 2}});
  const Upsampler upsampler(frame, frame.components[1], true);
  EXPECT_FALSE(upsampler.needsRowsAround());
  const int rows[] = {0, 1, 1, 2, 3, 3, 4};
  for (int y = 0; y < 7; ++y) EXPECT_EQ(upsampler.nearRow(y), rows[y]);
}

TEST(Upsampler, SmoothsDoubledRows) {
  const Frame frame = frameOf(3, 8, {{.vertical = 2}, {}});
  Upsampler upsampler(frame, frame.components[1], true);
  ASSERT_TRUE(upsampler.needsRowsAround());
  EXPECT_EQ(upsampler.nearRow(4), 2);
  EXPECT_EQ(upsampler.farRow(4), 1);
  EXPECT_EQ(upsampler.farRow(5), 3);
  const std::uint8_t near[] = {0, 1, 255}, far[] = {0, 3, 0};
  const std::uint8_t* row = upsampler.row(near, far, true);
  EXPECT_EQ(std::vector<int>(row, row + 3), (std::vector<int>{0, 1, 191}));  // (6 + 1) / 4, (765 + 1) / 4
  row = upsampler.row(near, far, false);
  EXPECT_EQ(std::vector<int>(row, row + 3), (std::vector<int>{0, 2, 191}));
}

TEST(Upsampler, NarrowComponentsAreNotSmoothedAcross) {
  const std::uint8_t near[] = {10, 20}, far[] = {90, 90};
  for (const int vertical : {1, 2}) {
    const Frame frame = frameOf(4, 8, {{.horizontal = 2, .vertical = vertical}, {}});
    Upsampler upsampler(frame, frame.components[1], true);
    EXPECT_FALSE(upsampler.needsRowsAround());
    const std::uint8_t* row = upsampler.row(near, far, true);
    EXPECT_EQ(std::vector<int>(row, row + 4), (std::vector<int>{10, 10, 20, 20}));
  }
}

}  // namespace
}  // namespace moxj::jpeg
