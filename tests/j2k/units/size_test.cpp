// Requested sizes: never exceeded, and lossless from the size of the lossless file on.
#include <gtest/gtest.h>

#include "j2k/support.h"

namespace moxj::j2k {
namespace {

using test::encoded;
using test::File;
using test::picture;

const std::vector<std::string> kNote = {"the requested size is larger than the lossless file: written without loss"};

Picture drawing(int width, int height) {
  Picture made = Picture::bytes(width, height, 3);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < 3 * width; ++x) made.row(y)[x] = (x / 60 + y / 30) % 2 ? 255 : 0;
  return made;
}

File sized(const Picture& picture, EncodeOptions options, std::uint64_t bytes, std::vector<std::string>& notes) {
  options.goals = {Goals::bitsPerPixel, {(static_cast<double>(bytes) + 0.5) * 8 / picture.width / picture.height}};
  Work work({}, {}, 2);
  return encoded(picture, options, work, &notes);
}

TEST(Jpeg2000Size, FromTheLosslessSizeOnFilesAreLossless) {
  for (const Picture& original : {picture(120, 90, 3, 8), picture(120, 90, 1, 16), drawing(120, 90)}) {
    for (const int layers : {1, 4}) {
      EncodeOptions options;
      options.layers = layers;
      EncodeOptions lossless = options;
      lossless.lossless = true;
      const File exact = encoded(original, lossless);
      std::vector<std::string> notes;
      EXPECT_EQ(sized(original, options, exact.size(), notes), exact);
      EXPECT_EQ(notes, kNote);
      const File smaller = sized(original, options, exact.size() - 1, notes);
      EXPECT_LT(smaller.size(), exact.size());
      EXPECT_EQ(notes, std::vector<std::string>());
      EXPECT_FALSE(test::equalSamples(test::decoded(smaller), original));
    }
  }
}

TEST(Jpeg2000Size, RatioOfOne) {
  const Picture original = picture(150, 100, 3, 8);
  EncodeOptions options;
  options.goals = {Goals::ratio, {1}};
  std::vector<std::string> notes;
  Work work;
  EXPECT_TRUE(test::equalSamples(test::decoded(encoded(original, options, work, &notes)), original));
  EXPECT_EQ(notes, kNote);
  // Noise has no lossless file of that size.
  Picture noise = Picture::bytes(150, 100, 3);
  std::mt19937 random(1);
  for (std::size_t i = 0; i < noise.rowBytes() * 100; ++i) noise.row(0)[i] = static_cast<std::uint8_t>(random());
  EXPECT_LE(encoded(noise, options, work, &notes).size(), noise.bytes());
  EXPECT_EQ(notes, std::vector<std::string>());
}

TEST(Jpeg2000Size, TooSmallForTheHeaders) {
  EncodeOptions options;
  options.goals = {Goals::ratio, {10000}};
  try {
    encoded(picture(100, 100, 3, 8), options);
    FAIL();
  } catch (const Problem& problem) {
    EXPECT_EQ(problem.kind, Kind::limit);
    EXPECT_STREQ(problem.what(), "3 bytes are too few for the headers");
  }
}

}  // namespace
}  // namespace moxj::j2k
