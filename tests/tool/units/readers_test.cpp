// The picture readers on files that end at the last byte of a page: nothing after it may be read.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "base/problem.h"
#include "pictures/compare.h"
#include "pictures/png.h"
#include "pictures/pnm.h"
#include "support/guarded.h"

namespace moxj {
namespace {

Picture gradient(int width, int height, int channels) {
  Picture picture = Picture::make(width, height, channels);
  for (int y = 0; y < height; ++y)
    for (std::size_t i = 0; i < picture.rowBytes(); ++i) picture.row(y)[i] = static_cast<std::uint8_t>(y * 31 + i * 5);
  return picture;
}

std::string fileOf(const Content& content) {
  std::string file(content.head.begin(), content.head.end());
  return file.append(content.body.begin(), content.body.end());
}

bool equal(const Picture& a, const Picture& b) {
  if (a.width != b.width || a.height != b.height || a.channels != b.channels) return false;
  for (int y = 0; y < a.height; ++y)
    if (std::memcmp(a.row(y), b.row(y), a.rowBytes()) != 0) return false;
  return true;
}

// Every beginning of a file, from none of it to all.
template <typename Read>
void readEveryBeginning(const std::string& file, const Picture& picture, const Read& read) {
  test::GuardedMemory memory(file.size());
  int refused = 0, incomplete = 0;
  for (std::size_t length = 3; length <= file.size(); ++length) {
    std::uint8_t* const bytes = memory.atEnd<std::uint8_t>(length);
    std::memcpy(bytes, file.data(), length);
    try {
      const Decoded decoded = read(Source{{bytes, length}, nullptr});
      EXPECT_EQ(decoded.complete, length == file.size());
      EXPECT_EQ(decoded.complete, decoded.warning.empty());
      EXPECT_TRUE(!decoded.complete || equal(decoded.picture, picture));
      incomplete += !decoded.complete;
    } catch (const Problem& problem) {
      EXPECT_TRUE(liesInFile(problem.kind));
      ++refused;
    }
  }
  EXPECT_GT(refused, 0);
  EXPECT_GT(incomplete, 0);
}

TEST(Readers, PnmAtThePagesEnd) {
  const auto read = [](const Source& source) { return readPnm(source, {}); };
  const Picture grey = gradient(7, 5, 1), colour = gradient(5, 4, 3);
  readEveryBeginning(fileOf(writePnm(grey, Format::pgm)), grey, read);
  readEveryBeginning(fileOf(writePnm(colour, Format::pnm)), colour, read);
}

TEST(Readers, PngAtThePagesEnd) {
  const Picture colour = gradient(40, 30, 3);
  readEveryBeginning(fileOf(writePng(colour)), colour, [](const Source& source) { return readPng(source, {}); });
}

TEST(Readers, RawSamplesAreUsedInPlaceAndMayBeWrittenTo) {
  std::string file = "P5 3 2 255\nabcdef";
  const Source source{{reinterpret_cast<std::uint8_t*>(file.data()), file.size()}, nullptr};
  const Decoded decoded = readPnm(source, {});
  EXPECT_EQ(static_cast<void*>(decoded.picture.row(1)), file.data() + 14);
}

TEST(Writers, RowsWithGaps) {
  for (const int channels : {1, 3}) {
    const Picture packed = gradient(9, 6, channels);
    Picture loose = Picture::make(9, 6, channels, nullptr, 64, 8);
    EXPECT_FALSE(loose.packed());
    for (int y = 0; y < 6; ++y) std::memcpy(loose.row(y), packed.row(y), packed.rowBytes());
    for (const Format format : {Format::pnm, Format::ppm})
      EXPECT_EQ(fileOf(writePnm(loose, format)), fileOf(writePnm(packed, format)));
    EXPECT_EQ(fileOf(writePng(loose)), fileOf(writePng(packed)));
    EXPECT_EQ(compare(loose, packed).all.max, 0);
  }
}

}  // namespace
}  // namespace moxj
