// Pictures and files for the tests of the JPEG decoder and encoder.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "base/problem.h"
#include "jpeg/jpeg.h"
#include "jpeg/syntax.h"
#include "pictures/rows.h"

namespace moxj::jpeg {

using File = std::vector<std::uint8_t>;

// Smooth waves, with `noise` added: every block differs from its neighbours.
inline Picture testPicture(int width, int height, int channels, int noise = 20, std::uint32_t seed = 1) {
  Picture picture = Picture::bytes(width, height, channels);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < channels; ++c) {
        seed = seed * 1664525 + 1013904223;
        const int grain = noise == 0 ? 0 : static_cast<int>(seed >> 16) % (2 * noise + 1) - noise;
        const int wave = 128 + (x * (3 + c) + y * (7 - 2 * c)) % 160 - 80;
        picture.row(y)[x * channels + c] = static_cast<std::uint8_t>(std::clamp(wave + grain, 0, 255));
      }
    }
  }
  return picture;
}

inline File bytesOf(const MemoryOutput& output) { return File(output.bytes.begin(), output.bytes.end()); }

inline File fileOf(const Picture& picture, const EncodeOptions& options = {}) {
  MemoryOutput output;
  Work work;
  pushPicture(picture, *encoder(output, options, work));
  return bytesOf(output);
}

inline File losslessFileOf(const Picture& picture, const LosslessOptions& options = {}) {
  MemoryOutput output;
  Work work;
  pushPicture(picture, *losslessEncoder(output, options, work));
  return bytesOf(output);
}

struct Transcoded : Outcome {
  File file;
};

inline Transcoded transcodeFile(const File& file, const TranscodeOptions& options, const Limits& limits = {}) {
  MemoryOutput output;
  Work work(limits);
  Transcoded made;
  static_cast<Outcome&>(made) = transcode(file, options, output, work);
  made.file = bytesOf(output);
  return made;
}

// Puts together a picture from its bands, which must be as rows.h says.
struct Collector : RowSink {
  Picture picture;
  int got = 0, bands = 0, ends = 0;
  void begin(const Picture& layout) override {
    EXPECT_FALSE(picture.hasSamples());
    EXPECT_FALSE(layout.hasSamples());
    picture = layout;
    picture.allocate();
  }
  void rows(const Picture& band) override {
    EXPECT_EQ(ends, 0);
    ASSERT_GT(band.height, 0);
    ASSERT_LE(got + band.height, picture.height);
    ASSERT_EQ(band.planes.size(), picture.planes.size());
    const Picture to = picture.band(got, band.height);
    for (std::size_t i = 0; i < band.planes.size(); ++i) {
      const Plane &plane = band.planes[i], &target = to.planes[i];
      EXPECT_TRUE(band.height % plane.dy == 0 || got + band.height == picture.height);
      ASSERT_EQ(plane.width, target.width);
      ASSERT_EQ(plane.height, target.height);
      ASSERT_EQ(plane.element, target.element);
      for (int y = 0; y < plane.height; ++y) {
        visitRow(plane, y, [&]<class Sample>(const Sample* row) {
          if (plane.pixelStep == 1 && target.pixelStep == 1) {
            std::copy_n(row, plane.width, target.row<Sample>(y));
            return;
          }
          for (std::ptrdiff_t x = 0; x < plane.width; ++x)
            target.row<Sample>(y)[x * target.pixelStep] = row[x * plane.pixelStep];
        });
      }
    }
    got += band.height;
    ++bands;
  }
  void end() override {
    EXPECT_EQ(got, picture.height);
    ++ends;
  }
};

inline void expectSame(const Picture& a, const Picture& b) {
  ASSERT_EQ(a.width, b.width);
  ASSERT_EQ(a.height, b.height);
  EXPECT_EQ(a.colour, b.colour);
  ASSERT_EQ(a.planes.size(), b.planes.size());
  for (std::size_t i = 0; i < a.planes.size(); ++i) {
    ASSERT_EQ(a.planes[i].width, b.planes[i].width);
    ASSERT_EQ(a.planes[i].height, b.planes[i].height);
    ASSERT_EQ(a.planes[i].bits, b.planes[i].bits);
    for (int y = 0; y < a.planes[i].height; ++y) {
      for (int x = 0; x < a.planes[i].width; ++x)
        ASSERT_EQ(a.planes[i].at(x, y), b.planes[i].at(x, y)) << "plane " << i << ": " << x << ", " << y;
    }
  }
}

struct Decoded : Outcome {
  Picture picture;
};

// Decodes a file into a sink that copies its bands and into one that may share them, and checks that both get the same.
inline Decoded decodeFile(const File& file, const DecodeOptions& options = {}, const Limits& limits = {}) {
  Collector copier;
  PictureCollector collector;
  Decoded decoded;
  Outcome copied;
  std::string failure;
  try {
    Work work(limits);
    copied = decode(file, options, copier, work);
  } catch (const Problem& thrown) {
    failure = thrown.what();
  }
  try {
    Work work(limits);
    static_cast<Outcome&>(decoded) = decode(file, options, collector, work);
  } catch (const Problem& thrown) {
    EXPECT_EQ(failure, thrown.what());
    throw;
  }
  EXPECT_EQ(failure, "");
  EXPECT_EQ(copied.complete, decoded.complete);
  EXPECT_EQ(copied.warning, decoded.warning);
  EXPECT_EQ(copied.notes, decoded.notes);
  EXPECT_EQ(copier.ends, 1);
  decoded.picture = collector.picture();
  expectSame(copier.picture, decoded.picture);
  return decoded;
}

// The segments of a file up to its first scan, and the position of the data of that scan.
struct Layout {
  std::vector<MarkerSegment> segments;
  std::size_t dataBegin = 0, dataEnd = 0;

  explicit Layout(const File& file) {
    SegmentWalker walker(file);
    while (const auto segment = walker.next()) {
      segments.push_back(*segment);
      if (segment->marker != marker::sos) continue;
      dataBegin = segment->end;
      dataEnd = findScanEnd(file, dataBegin);
      return;
    }
  }
  const MarkerSegment& find(int code) const {
    for (const MarkerSegment& segment : segments) {
      if (segment.marker == code) return segment;
    }
    ADD_FAILURE() << "no " << markerName(code) << " segment";
    std::abort();
  }
  // Offset of the parameters of a segment in the file.
  std::size_t body(int code) const { return find(code).offset + 4; }
};

inline File without(const File& file, std::size_t begin, std::size_t end) {
  File shorter(file.begin(), file.begin() + begin);
  shorter.insert(shorter.end(), file.begin() + end, file.end());
  return shorter;
}

inline File withInserted(const File& file, std::size_t at, const File& bytes) {
  File longer = file;
  longer.insert(longer.begin() + at, bytes.begin(), bytes.end());
  return longer;
}

// Runs `action` and expects a Problem of this kind and a text that contains `words`.
inline void expectProblem(Kind kind, const std::string& words, const std::function<void()>& action) {
  try {
    action();
    ADD_FAILURE() << "no failure, but expected: " << words;
  } catch (const Problem& problem) {
    EXPECT_EQ(problem.kind, kind) << problem.what();
    EXPECT_NE(std::string(problem.what()).find(words), std::string::npos) << problem.what() << "\nexpected: " << words;
  }
}

inline void expectRefused(const File& file, const std::string& words, Kind kind = Kind::damaged) {
  expectProblem(kind, words, [&] { decodeFile(file); });
}

inline int largestDifference(const Picture& a, const Picture& b, int firstRow = 0, int endRow = 1 << 30) {
  EXPECT_EQ(a.width, b.width);
  EXPECT_EQ(a.height, b.height);
  EXPECT_EQ(a.planes.size(), b.planes.size());
  int largest = 0;
  for (int y = firstRow; y < std::min(a.height, endRow); ++y) {
    for (std::size_t i = 0; i < a.rowBytes(); ++i) largest = std::max(largest, std::abs(a.row(y)[i] - b.row(y)[i]));
  }
  return largest;
}

}  // namespace moxj::jpeg
