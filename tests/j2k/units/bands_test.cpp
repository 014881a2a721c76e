// A picture that does not fit into memory is decoded band by band, to the same samples.
#include <gtest/gtest.h>

#include "j2k/bands.h"
#include "j2k/support.h"

namespace moxj::j2k {
namespace {

using test::encoded;
using test::equalSamples;
using test::File;
using test::lossless;
using test::picture;

struct Read {
  Picture picture;
  Outcome outcome;
  int bands = 0;
};

// Counts the bands.
class Collector : public PictureCollector {
 public:
  void rows(const Picture& band) override {
    ++bands;
    PictureCollector::rows(band);
  }
  int bands = 0;
};

Read readWith(std::uint64_t maxMemory, const File& file, const DecodeOptions& options = {}) {
  Work work({.maxMemory = maxMemory}, {}, 2);
  Collector collector;
  Read read;
  if (std::optional<Outcome> outcome = decodeInBands(collector, file, options, work)) {
    read.outcome = std::move(*outcome);
  } else {
    Decoded decoded = decode(file, options, work);
    pushPicture(decoded.picture, collector);
    read.outcome = std::move(static_cast<Outcome&>(decoded));
  }
  read.picture = collector.picture();
  read.bands = collector.bands;
  return read;
}

void expectSame(const File& file, std::uint64_t memory, const DecodeOptions& options = {}) {
  const Read whole = readWith(std::uint64_t{1} << 30, file, options), parts = readWith(memory, file, options);
  EXPECT_EQ(whole.bands, 1);
  EXPECT_GT(parts.bands, 1);
  EXPECT_TRUE(parts.outcome.complete) << parts.outcome.warning;
  EXPECT_TRUE(equalSamples(whole.picture, parts.picture));
  EXPECT_EQ(whole.picture.colour, parts.picture.colour);
}

EncodeOptions lossy() {
  EncodeOptions options;
  options.goals = {Goals::ratio, {5}};
  return options;
}

TEST(Jpeg2000Bands, OneTile) {
  const Picture original = picture(300, 1300, 3, 8);
  for (const EncodeOptions& options : {lossless(), lossy()}) {
    const File file = encoded(original, options);
    expectSame(file, 7 << 20);
    expectSame(file, 2 << 20, {.reduce = 1});
    expectSame(file, 7 << 20, {.components = true});
  }
}

TEST(Jpeg2000Bands, RowsOfTiles) {
  const Picture original = picture(300, 700, 3, 8);
  for (EncodeOptions options : {lossless(), lossy()})
    for (const int tile : {64, 100, 301}) {
      options.tileWidth = options.tileHeight = tile;
      expectSame(encoded(original, options), 5 << 20);
    }
}

TEST(Jpeg2000Bands, SubsampledComponents) {
  Picture original = picture(300, 1300, 3, 8);
  original.planes[1] = original.planes[2] = Plane::of(150, 650, 8, false, 2, 2);
  original.colour = Colour::unknown;
  original.allocate();
  original.clear();
  for (const Plane& plane : original.planes)
    for (int y = 0; y < plane.height; ++y)
      for (int x = 0; x < plane.width; ++x) plane.row<std::uint8_t>(y)[x] = static_cast<std::uint8_t>(x * 3 + y * 5);
  for (const int tile : {0, 64, 75}) {
    EncodeOptions options = lossless();
    options.tileWidth = options.tileHeight = tile;
    expectSame(encoded(original, options), 3 << 20, {.components = true});
  }
}

// What is missing is black, and said.
TEST(Jpeg2000Bands, ACutFile) {
  EncodeOptions options = lossless();
  options.tileWidth = options.tileHeight = 100;
  const Picture original = picture(300, 700, 3, 8);
  File file = encoded(original, options);
  file.resize(file.size() / 2);
  const Read whole = readWith(std::uint64_t{1} << 30, file), parts = readWith(5 << 20, file);
  EXPECT_GT(parts.bands, 1);
  EXPECT_FALSE(whole.outcome.complete);
  EXPECT_FALSE(parts.outcome.complete);
  EXPECT_TRUE(equalSamples(whole.picture, parts.picture));
}

}  // namespace
}  // namespace moxj::j2k
