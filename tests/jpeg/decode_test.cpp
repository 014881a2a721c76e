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
      Picture flat = Picture::bytes(19, 21, channels);
      std::memset(flat.row(0), value, flat.rowBytes() * 21);
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

int bandsOf(const File& file, const DecodeOptions& options = {}) {
  Collector collector;
  Work work;
  decode(file, options, collector, work);
  return collector.bands;
}

TEST(Decode, RowsComeInBands) {
  for (const int channels : {1, 3}) {
    for (const Sampling sampling : {Sampling::s444, Sampling::s420}) {
      const Picture picture = testPicture(1500, 130, channels);
      const File file = fileOf(picture, {.sampling = sampling, .restart = 1, .restartInRows = true});
      EXPECT_GE(bandsOf(file), 4);
      decodeFile(file);
      for (std::size_t length = file.size() / 8; length < file.size(); length += file.size() / 8 - 1)
        decodeFile(File(file.begin(), file.begin() + length));
    }
  }
}

TEST(Decode, NarrowPicturesComeInFewBands) {
  const File file = fileOf(testPicture(3, 5000, 3));
  EXPECT_LE(bandsOf(file), 3);
  decodeFile(file);
}

// A small picture is one band, whose memory a sink may keep.
TEST(Decode, SmallPicturesAreNotCopied) {
  const File file = fileOf(testPicture(30, 30, 3));
  PictureCollector collector;
  Work work;
  decode(file, {}, collector, work);
  const std::uint64_t used = work.budget.used();
  Collector copier;
  Work other;
  decode(file, {}, copier, other);
  EXPECT_EQ(used, other.budget.used());
  expectSame(collector.picture(), copier.picture);
}

TEST(Decode, MemoryIsLimited) {
  constexpr std::uint64_t kMemory = std::uint64_t{3} << 20;
  const Picture picture = testPicture(1200, 800, 3, 0);
  const auto decodeWith = [](const File& file, const DecodeOptions& options = {}) {
    Collector collector;
    Work work(Limits{.maxMemory = kMemory});
    decode(file, options, collector, work);
    EXPECT_GT(work.budget.used(), 0u);
  };
  decodeWith(fileOf(picture));
  decodeWith(fileOf(picture), {.fastMcu = true});
  decodeWith(fileOf(picture), {.native = true});
  decodeWith(losslessFileOf(picture));  // one byte a sample
  const File progressive = fileOf(picture, {.sampling = Sampling::s444, .progressive = true});
  expectProblem(Kind::limit, "bytes of memory are needed", [&] { decodeWith(progressive); });
  expectProblem(Kind::limit, "bytes of memory are needed", [&] {
    MemoryOutput output;
    Work work(Limits{.maxMemory = kMemory});
    transcode(progressive, {}, output, work);
  });
}

// What the decoder has kept is free for a sink that codes the picture at its end.
TEST(Decode, MemoryOfTheWholePictureIsFreeAtTheEnd) {
  struct Sink : Collector {
    explicit Sink(const Budget& budget) : budget_(budget) {}
    void end() override { atEnd = budget_.used(); }
    std::uint64_t atEnd = 0;
    const Budget& budget_;
  };
  constexpr std::uint64_t kOfStrips = std::uint64_t{256} << 10;
  const Picture picture = testPicture(1200, 800, 3, 0);
  for (const File& file : {fileOf(picture, {.progressive = true}), losslessFileOf(picture)}) {
    Work work;
    Sink sink(work.budget);
    decode(file, {}, sink, work);
    EXPECT_LT(sink.atEnd, kOfStrips);
  }
  Work work;
  PictureCollector collector(&work.budget);
  decode(losslessFileOf(picture), {}, collector, work);
  EXPECT_GE(work.budget.used(), picture.bytes());  // shared
}

// ---- Components as they are coded ---------------------------------------------------------------------------------

// The file with all components but one taken out of the frame and scan headers of a file with one scan per component.
File componentAlone(const File& file, int index) {
  File alone;
  SegmentWalker walker(file);
  int scan = 0;
  while (const auto segment = walker.next()) {
    const std::size_t end = segment->marker == marker::sos ? findScanEnd(file, segment->end) : segment->end;
    File bytes(file.begin() + segment->offset, file.begin() + end);
    walker.seek(end);
    if (marker::isFrameHeader(segment->marker)) {
      bytes[3] = 11;
      bytes[9] = 1;
      std::copy_n(bytes.begin() + 10 + 3 * index, 3, bytes.begin() + 10);
      bytes.resize(13);
      const Frame frame = parseFrame(*segment);
      bytes[5] = static_cast<std::uint8_t>(frame.components[index].height >> 8);
      bytes[6] = static_cast<std::uint8_t>(frame.components[index].height);
      bytes[7] = static_cast<std::uint8_t>(frame.components[index].width >> 8);
      bytes[8] = static_cast<std::uint8_t>(frame.components[index].width);
    }
    if (segment->marker == marker::sos && scan++ != index) continue;
    alone.insert(alone.end(), bytes.begin(), bytes.end());
  }
  return alone;
}

TEST(Native, PlanesAreTheComponentsAsTheyAreCoded) {
  const Script script = parseScript("0;1;2;", "script");
  for (const Sampling sampling : {Sampling::s444, Sampling::s422, Sampling::s420}) {
    for (int size = 1; size <= 40; ++size) {
      const Picture picture = testPicture(size, 1 + size * 17 % 40, 3, 20);
      const File file = fileOf(picture, {.quality = 90, .sampling = sampling});
      const File scans = fileOf(picture, {.quality = 90, .sampling = sampling, .script = script});
      const Decoded decoded = decodeFile(file, {.native = true});
      expectSame(decoded.picture, decodeFile(scans, {.native = true}).picture);
      ASSERT_EQ(decoded.picture.planes.size(), 3u);
      EXPECT_EQ(decoded.picture.colour, Colour::ycbcr);
      for (int i = 0; i < 3; ++i) {
        const Plane& plane = decoded.picture.planes[static_cast<std::size_t>(i)];
        EXPECT_EQ(plane.dx, i > 0 && sampling != Sampling::s444 ? 2 : 1);
        EXPECT_EQ(plane.dy, i > 0 && sampling == Sampling::s420 ? 2 : 1);
        const Picture alone = decodeFile(componentAlone(scans, i)).picture;
        ASSERT_EQ(plane.width, alone.width);
        ASSERT_EQ(plane.height, alone.height);
        for (int y = 0; y < plane.height; ++y) {
          for (int x = 0; x < plane.width; ++x) ASSERT_EQ(plane.at(x, y), alone.planes[0].at(x, y));
        }
      }
    }
  }
}

TEST(Native, GreyFilesAndMissingRows) {
  const File grey = fileOf(testPicture(33, 47, 1));
  expectSame(decodeFile(grey, {.native = true}).picture, decodeFile(grey).picture);
  const File file = fileOf(testPicture(48, 96, 3));
  const Layout layout(file);
  const Decoded cut =
      decodeFile(File(file.begin(), file.begin() + (layout.dataBegin + layout.dataEnd) / 2), {.native = true});
  EXPECT_FALSE(cut.complete);
  for (const Plane& plane : cut.picture.planes) EXPECT_EQ(plane.at(0, plane.height - 1), kGreySample);
}

TEST(Native, ComponentsOfFractionalSizeAreUpsampled) {
  File file = fileOf(testPicture(48, 48, 3), {.sampling = Sampling::s444});
  const Layout layout(file);
  file[layout.body(marker::sof0) + 7] = 0x31;
  file[layout.body(marker::sof0) + 10] = 0x21;
  const Decoded decoded = decodeFile(file, {.native = true});
  EXPECT_EQ(decoded.picture.colour, Colour::rgb);
  expectSame(decoded.picture, decodeFile(file).picture);
}

TEST(Native, FourComponentsAreInks) {
  Picture flat = Picture::bytes(48, 48, 3);
  std::memset(flat.row(0), 128, flat.rowBytes() * 48);
  File file = fileOf(flat, {.sampling = Sampling::s444});
  file = withInserted(file, Layout(file).find(marker::sof0).end, {4, 0x11, 0});
  file[Layout(file).body(marker::sof0) - 1] += 3;
  file[Layout(file).body(marker::sof0) + 5] = 4;
  file = withInserted(file, Layout(file).find(marker::sos).end - 3, {4, 0});
  file[Layout(file).body(marker::sos) - 1] += 2;
  file[Layout(file).body(marker::sos)] = 4;
  for (const DecodeOptions& options : {DecodeOptions{.inks = true}, DecodeOptions{.native = true}}) {
    const Picture picture = decodeFile(file, options).picture;
    EXPECT_EQ(picture.colour, Colour::cmyk);
    EXPECT_TRUE(picture.inverted);
    EXPECT_EQ(picture.planes.size(), 4u);
  }
  EXPECT_EQ(decodeFile(file).picture.colour, Colour::rgb);
}

// ---- Damage -------------------------------------------------------------------------------------------------------

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
  Picture flat = Picture::bytes(24, 24, 3);
  std::memset(flat.row(0), 128, flat.rowBytes() * 24);
  File file = fileOf(flat, {.sampling = Sampling::s444});
  const Layout layout(file);
  const std::size_t sos = layout.body(marker::sos), sof = layout.body(marker::sof0);
  file[sos] = file[sof + 5] = 2;
  file[sos - 1] -= 2;
  file[sof - 1] -= 3;
  file = without(file, sos + 5, sos + 7);
  file = without(file, sof + 12, sof + 15);
  const Decoded decoded = decodeFile(file);
  EXPECT_EQ(decoded.picture.planes.size(), 1u);
  ASSERT_FALSE(decoded.notes.empty());
  EXPECT_EQ(decoded.notes[0], "two components of unknown meaning, the first is used as grey");
  EXPECT_EQ(inspect(file).colourModel, "unknown");
}

// Separate scans, made from a file with one scan by giving it a header for the first component only.
TEST(Decode, AComponentCodedTwiceEndsThePicture) {
  Picture flat = Picture::bytes(24, 24, 3);
  std::memset(flat.row(0), 90, flat.rowBytes() * 24);
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
  Picture grey = Picture::bytes(32, 32, 3);
  std::memset(grey.row(0), 200, grey.rowBytes() * 32);
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
