// YCbCr goes into JP2 files as it is, sub-sampled or not.
#include <gtest/gtest.h>

#include "formats/convert.h"
#include "j2k/support.h"

namespace moxj::j2k {
namespace {

using test::File;

Picture ycbcr(int dx, int dy) {
  Picture made = Picture::layout(61, 40, 3, 8, Colour::ycbcr);
  for (std::size_t c = 1; c < 3; ++c)
    made.planes[c] = Plane::of((61 + dx - 1) / dx, (40 + dy - 1) / dy, 8, false, dx, dy);
  made.allocate();
  for (std::size_t c = 0; c < 3; ++c)
    for (int y = 0; y < made.planes[c].height; ++y)
      for (int x = 0; x < made.planes[c].width; ++x)
        made.planes[c].row<std::uint8_t>(y)[std::ptrdiff_t{x} * made.planes[c].pixelStep] =
            static_cast<std::uint8_t>(60 + 20 * c + static_cast<unsigned>(x + y));
  return made;
}

File written(const Picture& picture, const char* format) {
  Work work;
  MemoryOutput output;
  std::vector<std::string> notes;
  const Format& to = *formatNamed(format);
  const auto writer = to.create(output, {}, work, notes);
  pushPicture(picture, *fitting(*writer, to.holds({}), notes, work.budget));
  return {output.bytes.begin(), output.bytes.end()};
}

TEST(Jpeg2000YCbCr, StaysAsItIsInBoxes) {
  for (const auto& [dx, dy] : {std::pair(1, 1), std::pair(2, 1), std::pair(2, 2), std::pair(1, 3)}) {
    const Picture original = ycbcr(dx, dy);
    const Picture found = test::decoded(written(original, "jp2"));
    EXPECT_EQ(found.colour, Colour::ycbcr);
    EXPECT_EQ(found.planes[2].dx, dx);
    EXPECT_EQ(found.planes[2].dy, dy);
    EXPECT_TRUE(test::equalSamples(original, found));
  }
}

// The profile of an RGB picture would make other colours of it.
TEST(Jpeg2000YCbCr, HasNoProfile) {
  Picture original = ycbcr(1, 1);
  Metadata metadata;
  const std::uint8_t bytes[128] = {};
  metadata.add(MetadataKind::icc, "", bytes);
  original.metadata = std::make_shared<const Metadata>(metadata);
  const File file = test::encoded(original, test::lossless());
  EXPECT_EQ(test::decoded(file).colour, Colour::ycbcr);
}

// A codestream without boxes would be taken for RGB.
TEST(Jpeg2000YCbCr, BecomesRgbInACodestream) {
  const Picture found = test::decoded(written(ycbcr(2, 2), "j2k"));
  EXPECT_EQ(found.colour, Colour::rgb);
  EXPECT_TRUE(found.uniform());
}

}  // namespace
}  // namespace moxj::j2k
