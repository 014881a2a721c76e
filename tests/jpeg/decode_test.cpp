// The decoder on complete, truncated and damaged files.
#include "support.h"

namespace moxj::jpeg {
namespace {

constexpr int kGreySample = 128;

bool isGrey(const Picture& picture, int firstRow, int endRow) {
  for (int y = firstRow; y < endRow; ++y) {
    for (std::size_t i = 0; i < picture.rowBytes(); ++i) {
      if (picture.row(y)[i] != kGreySample) return false;
    }
  }
  return true;
}

TEST(Decode, FlatPicturesComeBackExactly) {
  for (const int value : {0, 1, 77, 128, 254, 255}) {
    for (const int channels : {1, 3}) {
      Picture flat = Picture::make(19, 21, channels);
      std::memset(flat.samples, value, flat.rowBytes() * 21);
      for (const Sampling sampling : {Sampling::s444, Sampling::s422, Sampling::s420}) {
        const Decoded decoded = decodeFile(fileOf(flat, {.quality = 100, .sampling = sampling}));
        EXPECT_TRUE(decoded.complete);
        EXPECT_EQ(largestDifference(decoded.picture, flat), 0) << value << " " << channels;
      }
    }
  }
}

TEST(Decode, RestartIntervalsDoNotChangeThePicture) {
  const Picture picture = testPicture(75, 83, 3);
  for (const Sampling sampling : {Sampling::s444, Sampling::s422, Sampling::s420}) {
    const Picture plain = decodeFile(fileOf(picture, {.sampling = sampling})).picture;
    for (const int interval : {1, 2, 3, 5, 7, 100}) {
      for (const bool rows : {false, true}) {
        const EncodeOptions options{.sampling = sampling, .restart = interval, .restartInRows = rows};
        const Decoded decoded = decodeFile(fileOf(picture, options));
        EXPECT_TRUE(decoded.complete) << decoded.warning;
        EXPECT_EQ(largestDifference(decoded.picture, plain), 0) << interval << rows;
      }
    }
  }
}

// decodeFile() compares with the whole picture.
TEST(Decode, RowsGoToASinkInBands) {
  for (const int channels : {1, 3}) {
    for (const Sampling sampling : {Sampling::s444, Sampling::s420}) {
      const Picture picture = testPicture(1500, 130, channels);
      const File file = fileOf(picture, {.sampling = sampling, .restart = 1, .restartInRows = true});
      Collector collector;
      decodeInto(collector, file, {});
      EXPECT_GE(collector.bands, 4);
      decodeFile(file);
      for (std::size_t length = file.size() / 8; length < file.size(); length += file.size() / 8 - 1)
        decodeFile(File(file.begin(), file.begin() + length));
    }
  }
}

TEST(Decode, NarrowPicturesGoToASinkInFewBands) {
  const File file = fileOf(testPicture(3, 5000, 3));
  Collector collector;
  decodeInto(collector, file, {});
  EXPECT_LE(collector.bands, 3);
  decodeFile(file);
}

TEST(Decode, MissingEndMarkerIsOnlyNoted) {
  File file = fileOf(testPicture(40, 24, 3));
  file.resize(file.size() - 2);
  const Decoded decoded = decodeFile(file);
  EXPECT_TRUE(decoded.complete);
  ASSERT_EQ(decoded.notes.size(), 1u);
  EXPECT_EQ(decoded.notes[0], "the file has no EOI marker");
}

// Smooth pictures have at least two bytes in each MCU row, so every truncation by more than a byte is noticed.
TEST(Decode, EveryTruncationGivesTheRowsThatAreThere) {
  for (const int channels : {1, 3}) {
    const File file = fileOf(testPicture(48, 64, channels), {.restart = channels == 1 ? 0 : 2});
    const Layout layout(file);
    const Picture whole = decodeFile(file).picture;
    std::size_t withPicture = 0;
    for (std::size_t size = 0; size < file.size() - 3; ++size) {
      const File cut(file.begin(), file.begin() + size);
      try {
        const Decoded decoded = decodeFile(cut);
        ++withPicture;
        EXPECT_FALSE(decoded.complete) << size;
        EXPECT_NE(decoded.warning.find("the file ends within the picture"), std::string::npos) << decoded.warning;
        // Rows far above the point of truncation are correct, those far below it are grey.
        const double part = double(size - layout.dataBegin) / double(layout.dataEnd - layout.dataBegin);
        const int right = static_cast<int>(64 * part) - 40;
        EXPECT_EQ(largestDifference(decoded.picture, whole, 0, right), 0) << size;
        EXPECT_TRUE(isGrey(decoded.picture, std::min(64, static_cast<int>(64 * part) + 40), 64)) << size;
      } catch (const Problem& problem) {
        EXPECT_TRUE(liesInFile(problem.kind));
        EXPECT_LT(size, layout.dataBegin + 100);
      }
    }
    EXPECT_GT(withPicture, (layout.dataEnd - layout.dataBegin) * 8 / 10);
  }
}

TEST(Decode, ANoteOfTheRowWhereDataEnds) {
  const File file = fileOf(testPicture(48, 64, 3));
  const Layout layout(file);
  const Decoded decoded =
      decodeFile(without(file, layout.dataBegin + (layout.dataEnd - layout.dataBegin) / 2, layout.dataEnd));
  EXPECT_FALSE(decoded.complete);
  EXPECT_TRUE(decoded.warning.starts_with("the picture's data ends early (in MCU row 2 of 4)") ||
              decoded.warning.starts_with("the picture's data ends early (in MCU row 3 of 4)"))
      << decoded.warning;
}

// One restart interval per MCU row of 16 pixel rows. Grey pictures are not interpolated across MCU rows.
class ResyncTest : public testing::Test {
 protected:
  static constexpr int kRows = 24;
  File file_ = fileOf(testPicture(40, 8 * kRows, 1), {.restart = 1, .restartInRows = true});
  Layout layout_{file_};
  Picture whole_ = decodeFile(file_).picture;
  std::vector<std::size_t> markers_ = [&] {
    std::vector<std::size_t> found;
    for (std::size_t at = findMarker(file_, layout_.dataBegin); at < layout_.dataEnd; at = findMarker(file_, at + 2)) {
      found.push_back(at);
    }
    return found;
  }();

  // The MCU rows that differ from the complete picture. Grey ones are listed as negative numbers.
  std::vector<int> differing(const File& file) {
    const Decoded decoded = decodeFile(file);
    EXPECT_FALSE(decoded.complete);
    EXPECT_FALSE(decoded.warning.empty());
    warning_ = decoded.warning;
    std::vector<int> rows;
    for (int row = 0; row < kRows; ++row) {
      if (largestDifference(decoded.picture, whole_, 8 * row, 8 * row + 8) == 0) continue;
      rows.push_back(isGrey(decoded.picture, 8 * row, 8 * row + 8) ? -row : row);
    }
    return rows;
  }
  std::string warning_;
};

TEST_F(ResyncTest, HasAMarkerForEachRowButTheFirst) { EXPECT_EQ(markers_.size(), kRows - 1u); }

TEST_F(ResyncTest, DamageStaysWithinItsInterval) {
  File damaged = file_;
  for (std::size_t at = markers_[3] + 12; at < markers_[4] - 4; ++at) damaged[at] = 0x55;
  const std::vector<int> rows = differing(damaged);
  EXPECT_EQ(rows, std::vector<int>{4});
}

TEST_F(ResyncTest, ALostIntervalIsGrey) {
  EXPECT_EQ(differing(without(file_, markers_[3], markers_[4])), std::vector<int>{-4});
  EXPECT_TRUE(warning_.starts_with("restart marker out of sequence (in MCU row 5 of 24)")) << warning_;
  EXPECT_EQ(differing(without(file_, markers_[3], markers_[5])), (std::vector<int>{-4, -5}));
}

TEST_F(ResyncTest, AnEmptiedIntervalIsGrey) {
  EXPECT_EQ(differing(without(file_, markers_[3] + 2, markers_[4])), std::vector<int>{-4});
  EXPECT_TRUE(warning_.starts_with("data is missing")) << warning_;
}

TEST_F(ResyncTest, ADamagedMarkerCostsItsInterval) {
  File damaged = file_;
  damaged[markers_[3]] = 0x11;  // joins the data of two intervals
  EXPECT_EQ(differing(damaged), std::vector<int>{-4});
  damaged = file_;
  damaged[markers_[3] + 1] = 0x22;  // a reserved marker
  EXPECT_EQ(differing(damaged), std::vector<int>{-4});
}

TEST_F(ResyncTest, AWrongNumberIsTakenAsItStands) {
  File damaged = file_;
  damaged[markers_[3] + 1] ^= 4;
  EXPECT_EQ(differing(damaged), std::vector<int>{});
}

TEST_F(ResyncTest, ARepeatedIntervalIsPassedOver) {
  const File copy(file_.begin() + markers_[3], file_.begin() + markers_[4]);
  EXPECT_EQ(differing(withInserted(file_, markers_[4], copy)), std::vector<int>{});
}

TEST_F(ResyncTest, StrayBytesBeforeAMarkerArePassedOver) {
  EXPECT_EQ(differing(withInserted(file_, markers_[3], {0x12, 0x34, 0x56, 0x78, 0x9A})), std::vector<int>{});
  EXPECT_TRUE(warning_.starts_with("extra data before a marker")) << warning_;
  const Decoded filled = decodeFile(withInserted(file_, markers_[3], {0, 0, 0xFF, 0xFF}));
  EXPECT_TRUE(filled.complete) << filled.warning;
}

TEST_F(ResyncTest, WithoutIntervalsTheRestIsGrey) {
  File plain = fileOf(testPicture(40, 8 * kRows, 1));
  const Layout layout(plain);
  plain[layout.dataBegin + 700] = 0xFF;
  plain[layout.dataBegin + 701] = 0xD3;
  const std::vector<int> rows = differing(plain);
  ASSERT_GT(rows.size(), 2u);
  for (std::size_t i = 1; i < rows.size(); ++i) EXPECT_EQ(rows[i], -(kRows - static_cast<int>(rows.size() - i)));
}

TEST(Decode, TwoComponentsShowTheFirst) {
  // A file of three components whose third is removed from the headers. The data of each MCU is then misread, but in a
  // flat picture all blocks are the same.
  Picture flat = Picture::make(24, 24, 3);
  std::memset(flat.samples, 128, flat.rowBytes() * 24);
  File file = fileOf(flat, {.sampling = Sampling::s444});
  const Layout layout(file);
  const std::size_t sos = layout.body(marker::sos), sof = layout.body(marker::sof0);
  file[sos] = file[sof + 5] = 2;
  file[sos - 1] -= 2;
  file[sof - 1] -= 3;
  file = without(file, sos + 5, sos + 7);
  file = without(file, sof + 12, sof + 15);
  const Decoded decoded = decodeFile(file);
  EXPECT_EQ(decoded.picture.channels, 1);
  ASSERT_FALSE(decoded.notes.empty());
  EXPECT_EQ(decoded.notes[0], "two components of unknown meaning, the first is used as grey");
  EXPECT_EQ(inspect(file).colourModel, "unknown");
}

// Separate scans, made from a file with one scan by giving it a header for the first component only.
TEST(Decode, AComponentCodedTwiceEndsThePicture) {
  Picture flat = Picture::make(24, 24, 3);
  std::memset(flat.samples, 90, flat.rowBytes() * 24);
  const File file = fileOf(flat, {.sampling = Sampling::s444});
  const Layout layout(file);
  File first(file.begin(), file.begin() + layout.find(marker::sos).offset);
  const File grey = fileOf(flat, {.grayscale = true});
  const Layout greyLayout(grey);
  const File scan(grey.begin() + greyLayout.find(marker::sos).offset, grey.begin() + greyLayout.dataEnd);
  for (int times = 0; times < 2; ++times) first.insert(first.end(), scan.begin(), scan.end());
  const Decoded decoded = decodeFile(first);
  EXPECT_FALSE(decoded.complete);
  EXPECT_EQ(decoded.warning, "a component is coded in more than one scan");
  EXPECT_LE(largestDifference(decoded.picture, flat), 1);
}

TEST(Decode, OrderOfComponentsInTheScanIsFree) {
  // A picture of one grey: the DC differences of all MCUs but the first are 0, in any order of components.
  Picture grey = Picture::make(32, 32, 3);
  std::memset(grey.samples, 200, grey.rowBytes() * 32);
  File file = fileOf(grey, {.sampling = Sampling::s444});
  const Layout layout(file);
  File reordered = file;
  std::swap(reordered[layout.body(marker::sos) + 3], reordered[layout.body(marker::sos) + 5]);
  EXPECT_EQ(largestDifference(decodeFile(reordered).picture, decodeFile(file).picture), 0);
}

TEST(Decode, ColourModelsFollowTheirSegments) {
  const File file = fileOf(testPicture(24, 16, 3), {.sampling = Sampling::s444});
  const Layout layout(file);
  const MarkerSegment& jfif = layout.find(marker::app0);
  const File bare = without(file, jfif.offset, jfif.end);
  const auto adobe = [](std::uint8_t transform) {
    return File{0xFF, 0xEE, 0, 14, 'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, transform};
  };
  const auto lettered = [&](const char* ids) {
    File changed = bare;
    const Layout bareLayout(bare);
    for (int i = 0; i < 3; ++i) {
      changed[bareLayout.body(marker::sof0) + 6 + 3 * i] = changed[bareLayout.body(marker::sos) + 1 + 2 * i] =
          static_cast<std::uint8_t>(ids[i]);
    }
    return changed;
  };
  EXPECT_EQ(inspect(file).colourModel, "YCbCr");
  EXPECT_EQ(inspect(bare).colourModel, "YCbCr");
  EXPECT_EQ(inspect(withInserted(bare, 2, adobe(0))).colourModel, "RGB");
  EXPECT_EQ(inspect(withInserted(bare, 2, adobe(1))).colourModel, "YCbCr");
  EXPECT_EQ(inspect(withInserted(file, 2, adobe(0))).colourModel, "YCbCr");  // JFIF takes precedence
  EXPECT_EQ(inspect(lettered("RGB")).colourModel, "RGB");
  EXPECT_EQ(inspect(lettered("rgb")).colourModel, "YCbCr");
  const Picture ycbcr = decodeFile(bare).picture;
  const Picture rgb = decodeFile(lettered("RGB")).picture;
  EXPECT_GT(largestDifference(ycbcr, rgb), 50);
  EXPECT_EQ(largestDifference(rgb, decodeFile(withInserted(bare, 2, adobe(0))).picture), 0);
}

}  // namespace
}  // namespace moxj::jpeg
