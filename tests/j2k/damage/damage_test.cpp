// Decodes ten thousand damaged files. Each must give a complete picture, a partial one or a Problem, in bounded time
// and within the memory limit. Under the sanitizers, this shows that no byte of a file causes an access out of bounds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>

#include "j2k/j2k.h"
#include "j2k/support.h"
#include "support/damage.h"

namespace moxj::j2k {
namespace {

constexpr int kFiles = 10000;
// Damaged sizes cost no more than this.
constexpr Limits kLimits{.maxPixels = 1 << 18, .maxMemory = 1 << 26};

using test::File;
using test::picture;

// A copy with a segment inserted at the end of the main header.
File withSegment(File file, std::initializer_list<std::uint8_t> segment) {
  constexpr std::uint8_t kSot[] = {0xFF, 0x90, 0, 10};
  const auto at = std::search(file.begin(), file.end(), std::begin(kSot), std::end(kSot));
  file.insert(at, segment);
  return file;
}

// A copy with the bytes from `offset` on after the first occurrence of a marker replaced.
File withBytes(File file, std::initializer_list<std::uint8_t> marker, std::ptrdiff_t offset,
               std::initializer_list<std::uint8_t> bytes) {
  const auto at = std::search(file.begin(), file.end(), marker.begin(), marker.end());
  std::copy(bytes.begin(), bytes.end(), at + offset);
  return file;
}

// A copy whose components are all sub-sampled; the grid grows accordingly.
File withSampling(File file, int dx, int dy) {
  constexpr std::uint8_t kSiz[] = {0xFF, 0x51};
  const auto siz = std::search(file.begin(), file.end(), std::begin(kSiz), std::end(kSiz));
  const auto scale = [&](std::ptrdiff_t at, int by) {
    const int value = (siz[at + 2] << 8 | siz[at + 3]) * by;
    siz[at + 2] = static_cast<std::uint8_t>(value >> 8);
    siz[at + 3] = static_cast<std::uint8_t>(value);
  };
  for (const std::ptrdiff_t at : {6, 14, 22, 30}) scale(at, dx);
  for (const std::ptrdiff_t at : {10, 18, 26, 34}) scale(at, dy);
  const int components = siz[38] << 8 | siz[39];
  for (int c = 0; c < components; ++c) {
    siz[41 + 3 * c] = static_cast<std::uint8_t>(dx);
    siz[42 + 3 * c] = static_cast<std::uint8_t>(dy);
  }
  return file;
}

// A JP2 file of a codestream of one component, with all boxes that change what its samples mean.
File withPalette(const File& stream) {
  // clang-format off
  File file = {0, 0, 0, 12, 'j', 'P', ' ', ' ', 13, 10, 0x87, 10,
               0, 0, 0, 20, 'f', 't', 'y', 'p', 'j', 'p', 'x', ' ', 0, 0, 0, 0, 'j', 'p', '2', ' ',
               0, 0, 0, 119, 'j', 'p', '2', 'h',
               0, 0, 0, 12, 'c', 'o', 'l', 'r', 5, 0, 0, 1,
               0, 0, 0, 15, 'c', 'o', 'l', 'r', 1, 0, 0, 0, 0, 0, 16,
               0, 0, 0, 26, 'p', 'c', 'l', 'r', 0, 3, 3, 7, 0x87, 11, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12,
               0, 0, 0, 24, 'c', 'm', 'a', 'p', 0, 0, 1, 0, 0, 0, 1, 1, 0, 0, 1, 2, 0, 0, 0, 0,
               0, 0, 0, 34, 'c', 'd', 'e', 'f', 0, 4, 0, 0, 0, 0, 0, 3, 0, 1, 0, 0, 0, 2, 0, 2, 0, 0, 0, 1,
               0, 3, 0, 1, 0, 0,
               0, 0, 0, 0, 'j', 'p', '2', 'c'};
  // clang-format on
  file.insert(file.end(), stream.begin(), stream.end());
  return file;
}

std::vector<File> originals() {
  std::vector<File> files;
  int number = 0;
  for (const int components : {1, 3, 4}) {
    for (const int modes : {0, int{bypass | termall}, int{reset | causal | segsym}, int{allModes}}) {
      for (const bool lossless : {true, false}) {
        EncodeOptions options;
        options.lossless = lossless;
        if (!lossless) options.goals = {Goals::bitsPerPixel, {12}};
        options.levels = 1 + number % 4;
        options.order = static_cast<Order>(number % 5);
        options.layers = 1 + number % 3;
        options.modes = modes;
        options.blockWidth = options.blockHeight = 8 << number % 3;
        if (number % 2 == 1) options.tileWidth = options.tileHeight = 24;
        options.boxes = number % 3 != 0;
        files.push_back(test::encoded(picture(53, 37, components, number % 4 == 2 ? 12 : 8), options));
        ++number;
      }
    }
  }
  // Features that the encoder does not use: regions of interest, progression changes, packed packet headers.
  for (const std::uint8_t shift : {3, 12, 37}) files.push_back(withSegment(files[8], {0xFF, 0x5E, 0, 5, 0, 0, shift}));
  files.push_back(withSegment(files[9], {0xFF, 0x5F, 0, 16, 0, 0, 0, 2, 2, 3, 1, 1, 0, 0, 3, 33, 4, 2}));
  files.push_back(withSegment(files[10], {0xFF, 0x60, 0, 9, 0, 0, 0, 0, 2, 0x80, 0x55}));
  // Markers without a segment, unknown segments, components that are sub-sampled alike, a wrong count of tile-parts.
  files.push_back(withSegment(withSegment(files[11], {0xFF, 0x30}), {0xFF, 0x6F, 0, 4, 1, 2}));
  files.push_back(withSampling(files[4], 3, 2));
  files.push_back(withBytes(files[7], {0xFF, 0x90, 0, 10}, 11, {9}));
  files.push_back(withBytes(files[13], {0xFF, 0x90, 0, 10}, 6, {0, 0, 0, 20}));
  // A palette with a mapping, a definition of channels, several colour boxes.
  files.push_back(withPalette(files[0]));
  return files;
}

struct Outcomes {
  int whole = 0, partly = 0, refused = 0, limit = 0;
};

void decodeOne(const File& file, const DecodeOptions& options, int threads, Outcomes& outcomes) {
  try {
    Work work(kLimits, {}, threads);
    const Decoded decoded = decode(file, options, work);
    EXPECT_EQ(decoded.complete, decoded.warning.empty());
    ++(decoded.complete ? outcomes.whole : outcomes.partly);
    // Every sample must be readable and within its range.
    for (const Plane& plane : decoded.picture.planes)
      for (int y = 0; y < plane.height; ++y)
        for (int x = 0; x < plane.width; ++x)
          if (plane.at(x, y) < plane.minval() || plane.at(x, y) > plane.maxval)
            FAIL() << "a sample of " << plane.at(x, y);
  } catch (const Problem& problem) {
    EXPECT_NE(std::string(problem.what()), "");
    const bool partly = options.region.given() || options.tile;
    if (liesInFile(problem.kind) || (partly && problem.kind == Kind::badOption)) {
      ++outcomes.refused;
    } else {
      EXPECT_EQ(problem.kind, Kind::limit) << problem.what();
      ++outcomes.limit;
    }
  }
}

TEST(Damage, EveryFileEndsWithAPictureOrAReason) {
  const std::vector<File> files = originals();
  std::mt19937 random(20240607);
  Outcomes outcomes;
  for (int i = 0; i < kFiles; ++i) {
    const File file = ::test::damaged(files[static_cast<std::size_t>(i) % files.size()], random, 0, 260);
    DecodeOptions options{.reduce = i % 5 == 0, .layers = i % 7 == 0 ? 1 : kMaxLayers};
    decodeOne(file, options, 1 + i % 2, outcomes);
    options.components = i % 3 == 0;
    if (i % 11 == 0)
      options.tile = i % 8;
    else
      options.region = {i % 40, i % 31, 1 + i % 50, 1 + i % 30};
    Outcomes ofRegions;
    decodeOne(file, options, 1 + i % 2, ofRegions);
    try {
      Budget budget(kLimits.maxMemory);
      inspect(file, budget);
    } catch (const Problem& problem) {
      EXPECT_TRUE(liesInFile(problem.kind) || problem.kind == Kind::limit || problem.kind == Kind::badOption);
    }
  }
  std::printf("%d files: %d whole, %d in part, %d refused, %d over the limit\n", kFiles, outcomes.whole,
              outcomes.partly, outcomes.refused, outcomes.limit);
  EXPECT_GT(outcomes.partly, kFiles / 5);
  EXPECT_GT(outcomes.refused, kFiles / 50);
}

// The longer a truncated file, the better the picture, until it is complete.
TEST(Damage, TruncatedFilesGiveThePictureSoFar) {
  const Picture original = picture(128, 96, 3, 8);
  EncodeOptions options = test::lossless();
  options.layers = 6;
  options.blockWidth = options.blockHeight = 16;
  const File file = test::encoded(original, options);
  double lastError = 1e30;
  for (const int percent : {10, 25, 50, 75, 100}) {
    const std::size_t size = file.size() * static_cast<std::size_t>(percent) / 100;
    Work work;
    const Decoded decoded = decode({file.data(), size}, {}, work);
    EXPECT_EQ(decoded.complete, percent == 100);
    double error = 0;
    for (std::size_t c = 0; c < 3; ++c)
      for (int y = 0; y < original.height; ++y)
        for (int x = 0; x < original.width; ++x)
          error += std::pow(original.planes[c].at(x, y) - decoded.picture.planes[c].at(x, y), 2);
    EXPECT_LT(error, lastError) << percent;
    lastError = error;
  }
  EXPECT_EQ(lastError, 0);
}

}  // namespace
}  // namespace moxj::j2k
