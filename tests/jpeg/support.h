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

namespace moxj::jpeg {

using File = std::vector<std::uint8_t>;

// Smooth waves, with `noise` added: every block differs from its neighbours.
inline Picture testPicture(int width, int height, int channels, int noise = 20, std::uint32_t seed = 1) {
  Picture picture = Picture::make(width, height, channels);
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

inline File fileOf(const Picture& picture, const EncodeOptions& options = {}) {
  const Bytes bytes = encode(picture, options);
  return File(bytes.begin(), bytes.end());
}

// Puts together a picture from its bands.
struct Collector : RowSink {
  Picture picture;
  int got = 0, bands = 0;
  void begin(int width, int height, int channels) override { picture = Picture::make(width, height, channels); }
  void rows(const Picture& band) override {
    EXPECT_GT(band.height, 0);
    EXPECT_LE(got + band.height, picture.height);
    for (int y = 0; y < band.height; ++y) std::memcpy(picture.row(got++), band.row(y), picture.rowBytes());
    ++bands;
  }
};

// Decodes a file as a whole and row by row, and checks that both agree in everything.
inline Decoded decodeFile(const File& file, const DecodeOptions& options = {}, const Limits& limits = {}) {
  Collector collector;
  Decoded inRows, whole;
  std::string failure;
  try {
    inRows = decodeInto(collector, file, limits, {}, options);
  } catch (const Problem& thrown) {
    failure = thrown.what();
  }
  try {
    whole = decode(file, limits, {}, options);
  } catch (const Problem& thrown) {
    EXPECT_EQ(failure, thrown.what());
    throw;
  }
  EXPECT_EQ(failure, "");
  EXPECT_EQ(inRows.picture.samples, nullptr);
  EXPECT_EQ(inRows.complete, whole.complete);
  EXPECT_EQ(inRows.warning, whole.warning);
  EXPECT_EQ(inRows.notes, whole.notes);
  EXPECT_EQ(collector.got, whole.picture.height);
  for (int y = 0; y < whole.picture.height; ++y) {
    EXPECT_EQ(std::memcmp(collector.picture.row(y), whole.picture.row(y), whole.picture.rowBytes()), 0) << y;
  }
  return whole;
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
  EXPECT_EQ(a.channels, b.channels);
  int largest = 0;
  for (int y = firstRow; y < std::min(a.height, endRow); ++y) {
    for (std::size_t i = 0; i < a.rowBytes(); ++i) largest = std::max(largest, std::abs(a.row(y)[i] - b.row(y)[i]));
  }
  return largest;
}

}  // namespace moxj::jpeg
