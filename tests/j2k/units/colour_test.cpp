// Colour spaces and channel definitions of JP2 files, and what becomes of them in formats that do not hold them.
#include <gtest/gtest.h>

#include <algorithm>

#include "formats/convert.h"
#include "j2k/support.h"

namespace moxj::j2k {
namespace {

using test::File;
using test::picture;

File bytesOf(const char* text) { return {text, text + 4}; }

void put32(File& file, std::size_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) file.push_back(static_cast<std::uint8_t>(value >> shift));
}

File box(const char* type, const File& body) {
  File made;
  put32(made, body.size() + 8);
  for (const File& part : {bytesOf(type), body}) made.insert(made.end(), part.begin(), part.end());
  return made;
}

File join(std::initializer_list<File> parts) {
  File whole;
  for (const File& part : parts) whole.insert(whole.end(), part.begin(), part.end());
  return whole;
}

struct Channel {
  std::uint8_t kind, association;
};

// A JP2 file of as many components as there are planes, with a colour space and, if there are any, channels.
File jp2(const Picture& picture, std::uint8_t colourSpace, const std::vector<Channel>& channels = {}) {
  EncodeOptions options = test::lossless();
  options.boxes = false;
  const auto count = static_cast<std::uint8_t>(picture.planes.size());
  File header;
  put32(header, static_cast<std::size_t>(picture.height));
  put32(header, static_cast<std::size_t>(picture.width));
  for (const std::uint8_t byte : {0, int{count}, 7, 7, 0, 0}) header.push_back(byte);
  File definitions;
  if (!channels.empty()) {
    File body = {0, static_cast<std::uint8_t>(channels.size())};
    for (std::size_t i = 0; i < channels.size(); ++i)
      for (const std::uint8_t byte :
           {0, static_cast<int>(i), 0, int{channels[i].kind}, 0, int{channels[i].association}})
        body.push_back(byte);
    definitions = box("cdef", body);
  }
  return join({box("jP  ", {0x0D, 0x0A, 0x87, 0x0A}),
               box("ftyp", join({bytesOf("jp2 "), {0, 0, 0, 0}, bytesOf("jp2 ")})),
               box("jp2h", join({box("ihdr", header), box("colr", {1, 0, 0, 0, 0, 0, colourSpace}), definitions})),
               box("jp2c", test::encoded(picture, options))});
}

// Planes without a meaning, so that no component transform is used.
Picture planes(int count) {
  Picture made = picture(40, 30, count, 8);
  made.colour = Colour::unknown;
  made.opacity = Opacity::none;
  return made;
}

TEST(Jpeg2000Colour, ColourSpaces) {
  const std::tuple<int, int, Colour> kCases[] = {
      {1, 17, Colour::grey}, {1, 16, Colour::grey}, {3, 16, Colour::rgb}, {3, 18, Colour::ycbcr},
      {2, 18, Colour::grey}, {4, 12, Colour::cmyk}, {3, 12, Colour::rgb}, {4, 13, Colour::ycck},
      {3, 14, Colour::lab},  {1, 14, Colour::grey}, {3, 99, Colour::rgb},
  };
  for (const auto& [count, space, colour] : kCases) {
    const Picture found = test::decoded(jp2(planes(count), static_cast<std::uint8_t>(space)));
    EXPECT_EQ(found.colour, colour) << count << " components, colour space " << space;
    EXPECT_EQ(found.opacity, Opacity::none);
    EXPECT_TRUE(test::equalSamples(found, planes(count)));
  }
}

TEST(Jpeg2000Colour, OpacityAndOrder) {
  const Picture original = planes(4);
  const Picture straight = test::decoded(jp2(original, 16, {{1, 0}, {0, 3}, {0, 2}, {0, 1}}));
  EXPECT_EQ(straight.opacity, Opacity::straight);
  EXPECT_EQ(straight.colours(), 3);
  for (const std::size_t i : {0, 1, 2, 3}) EXPECT_EQ(straight.planes[i].at(7, 5), original.planes[3 - i].at(7, 5));
  EXPECT_EQ(test::decoded(jp2(original, 16, {{0, 1}, {0, 2}, {0, 3}, {2, 0}})).opacity, Opacity::premultiplied);
  // The codestream alone, on request.
  const Picture components = test::decoded(jp2(original, 16, {{1, 0}, {0, 3}, {0, 2}, {0, 1}}), {.components = true});
  EXPECT_EQ(components.colour, Colour::unknown);
  EXPECT_EQ(components.opacity, Opacity::none);
  EXPECT_TRUE(test::equalSamples(components, original));
}

TEST(Jpeg2000Colour, PremultipliedOpacityIsWrittenAsSuch) {
  for (const Opacity opacity : {Opacity::straight, Opacity::premultiplied}) {
    Picture original = picture(40, 30, 4, 8);
    original.opacity = opacity;
    EncodeOptions options = test::lossless();
    EXPECT_EQ(test::decoded(test::encoded(original, options)).opacity, opacity);
  }
}

// What becomes of a file in another format: the text of the problem, or nothing.
std::string converted(const File& file, const char* format) {
  Work work;
  Input input = Input::memory(file);
  MemoryOutput output;
  try {
    convert(input, {}, *formatNamed(format), {}, output, work);
    EXPECT_GT(output.bytes.size(), 0u);
    return "";
  } catch (const Problem& problem) {
    EXPECT_EQ(problem.kind, Kind::unsupported);
    EXPECT_EQ(output.bytes.size(), 0u);
    return problem.what();
  }
}

TEST(Jpeg2000Colour, LabIsNotShownAsRgb) {
  for (const char* format : {"png", "ppm", "jp2", "jpg"}) {
    EXPECT_NE(converted(jp2(planes(3), 14), format), "") << format;
    EXPECT_NE(converted(jp2(planes(3), 20), format), "") << format;
    EXPECT_EQ(converted(jp2(planes(3), 16), format), "") << format;
  }
}

// White paper, without ink, is white.
TEST(Jpeg2000Colour, InksAreConvertedAsInks) {
  const Picture inks = planes(4);
  inks.clear();
  Work work;
  const File file = jp2(inks, 12);
  Input input = Input::memory(file);
  Holds holds;
  holds.colours = {Colour::rgb};
  PictureCollector collector;
  read(input, {}, holds, collector, work);
  ASSERT_EQ(collector.picture().planes.size(), 3u);
  for (const Plane& plane : collector.picture().planes) EXPECT_EQ(plane.at(3, 3), 255);
}

}  // namespace
}  // namespace moxj::j2k
