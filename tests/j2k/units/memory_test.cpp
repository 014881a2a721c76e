// What a picture costs: two bytes for samples of 9 to 16 bits, and everything is charged before it is allocated.
#include <gtest/gtest.h>

#include "formats/formats.h"
#include "j2k/support.h"

namespace moxj::j2k {
namespace {

using test::decoded;
using test::encoded;
using test::equalSamples;
using test::File;
using test::picture;

const EncodeOptions kLossless = test::lossless();

TEST(Jpeg2000Memory, ElementsAreAsSmallAsTheDepthAllows) {
  for (const auto& [bits, isSigned, element] :
       {std::tuple(1, false, Element::u8), std::tuple(8, false, Element::u8), std::tuple(9, false, Element::u16),
        std::tuple(16, false, Element::u16), std::tuple(8, true, Element::i16), std::tuple(16, true, Element::i16)}) {
    for (const int planes : {1, 3}) {
      const Picture original = picture(61, 40, planes, bits, isSigned);
      const Picture found = decoded(encoded(original, kLossless));
      EXPECT_TRUE(equalSamples(original, found)) << bits;
      for (const Plane& plane : found.planes) EXPECT_EQ(plane.element, element) << bits;
    }
  }
}

Kind kindWith(std::uint64_t maxMemory, const File& file) {
  try {
    Work work({.maxMemory = maxMemory});
    decode(file, {}, work);
    return Kind::internal;
  } catch (const Problem& problem) {
    EXPECT_EQ(problem.setting, Setting::maxMemory);
    return problem.kind;
  }
}

TEST(Jpeg2000Memory, DecodingHasALimit) {
  const File file = encoded(picture(256, 256, 1, 8), kLossless);
  Work work({.maxMemory = 1 << 20});
  EXPECT_NO_THROW(decode(file, {}, work));
  EXPECT_EQ(kindWith(1 << 18, file), Kind::limit);
}

// What stays charged is the picture.
TEST(Jpeg2000Memory, TheWorkIsGivenBack) {
  for (const int tile : {0, 50}) {
    const Picture original = picture(130, 90, 3, 8);
    EncodeOptions options = kLossless;
    options.tileWidth = options.tileHeight = tile;
    const File file = encoded(original, options);
    Work work;
    const Decoded found = decode(file, {}, work);
    EXPECT_GE(work.budget.used(), original.bytes());
    EXPECT_LE(work.budget.used(), 2 * original.bytes());
  }
}

// A picture that is too large for one tile can be written in several.
TEST(Jpeg2000Memory, TilesAreTheWayOut) {
  const Picture original = picture(512, 512, 3, 8);
  const std::uint64_t limit = 3 << 20;
  EncodeOptions options = kLossless;
  try {
    Work work({.maxMemory = limit});
    encoded(original, options, work);
    FAIL();
  } catch (const Problem& problem) {
    EXPECT_EQ(problem.kind, Kind::limit);
    EXPECT_EQ(problem.setting, Setting::maxMemoryOrTiles);
    EXPECT_TRUE(std::string(problem.what()).starts_with("at least ")) << problem.what();
  }
  options.tileWidth = options.tileHeight = 128;
  Work work({.maxMemory = limit});
  EXPECT_TRUE(equalSamples(original, decoded(encoded(original, options, work))));
}

// The writer frees the rows that it collected as soon as they are in the planes of the tile.
TEST(Jpeg2000Memory, TheWriterFreesItsRows) {
  Work work;
  MemoryOutput output;
  std::vector<std::string> notes;
  const auto writer = formatNamed("jp2")->create(output, {}, work, notes);
  const Picture original = picture(512, 300, 3, 8);
  writer->begin(original);
  for (int y = 0; y < original.height; y += 100) writer->rows(original.band(y, 100));
  const std::uint64_t collected = work.budget.used();
  EXPECT_GE(collected, original.bytes());
  writer->end();
  EXPECT_TRUE(equalSamples(original, decoded({output.bytes.begin(), output.bytes.end()})));
  EXPECT_LT(work.budget.used(), collected + output.bytes.size());
}

}  // namespace
}  // namespace moxj::j2k
