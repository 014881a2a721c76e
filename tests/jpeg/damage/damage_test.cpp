// Decodes ten thousand damaged files. Each must give a complete picture, a partial one or a Problem, in bounded time.
// Under the sanitizers, this shows that no byte of a file causes an access out of bounds.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <random>

#include "support.h"
#include "support/damage.h"

namespace moxj::jpeg {
namespace {

constexpr int kFiles = 10000;
constexpr std::uint64_t kMaxPixels = 1 << 20;  // damaged sizes cost no more than this

// An image with samples up to 32767, so that all predictors are allowed.
File losslessFile(int bits, int components, int predictor, int restart) {
  Image image;
  image.width = 45;
  image.height = 31;
  const moxj::Component one{.width = 45, .height = 31, .bits = bits};
  image.components.assign(static_cast<std::size_t>(components), one);
  image.colour = components == 3 ? Colour::rgb : components == 1 ? Colour::grey : Colour::unknown;
  image.allocate();
  for (const moxj::Component& c : image.components) {
    for (int i = 0; i < c.width * c.height; ++i) {
      const int value = i * 37 % 97 * (std::min(c.maxValue(), 32767) / 97), x = i % c.width, y = i / c.width;
      if (c.wide)
        c.numbers(y)[std::ptrdiff_t{x} * c.pixelStep] = value;
      else
        c.bytes(y)[std::ptrdiff_t{x} * c.pixelStep] = static_cast<std::uint8_t>(value);
    }
  }
  std::vector<std::string> notes;
  const Bytes bytes = encodeLossless(image, {.predictor = predictor, .restart = restart}, notes);
  return File(bytes.begin(), bytes.end());
}

std::vector<File> originals() {
  std::vector<File> files;
  for (const int channels : {1, 3}) {
    for (const Sampling sampling : {Sampling::s444, Sampling::s422, Sampling::s420}) {
      for (const int restart : {0, 3}) {
        files.push_back(
            fileOf(testPicture(67, 45, channels, 30), {.quality = 85, .sampling = sampling, .restart = restart}));
      }
    }
  }
  // Progressive files, and files with other tables.
  for (const int channels : {1, 3}) {
    for (const int restart : {0, 3}) {
      files.push_back(fileOf(testPicture(67, 45, channels, 30), {.restart = restart, .progressive = true}));
    }
    files.push_back(fileOf(testPicture(67, 45, channels, 30), {.quality = 95, .restart = 2, .optimize = true}));
  }
  for (const int bits : {8, 12, 16}) {
    for (const int components : {1, 3, 4}) {
      files.push_back(losslessFile(bits, components, 1 + (bits + components) % 7, bits == 8 ? 0 : 45));
    }
  }
  // The same coded data with other frame headers: more factors, four components, separate scans.
  File copy = fileOf(testPicture(67, 45, 3, 30), {.quality = 85, .restart = 3});
  const Layout layout(copy);
  for (const int factors : {0x12, 0x41, 0x14, 0x32}) {
    copy[layout.body(marker::sof0) + 7] = static_cast<std::uint8_t>(factors);
    files.push_back(copy);
  }
  copy = withInserted(copy, layout.find(marker::sof0).end, {4, 0x11, 0});
  copy[layout.body(marker::sof0) - 1] += 3;
  copy[layout.body(marker::sof0) + 5] = 4;
  files.push_back(copy);
  return files;
}

struct Outcomes {
  int whole = 0, partly = 0, refused = 0, limit = 0;
};

void decodeOne(const File& file, const DecodeOptions& options, Outcomes& outcomes) {
  try {
    const Decoded decoded = decodeFile(file, options, {.maxPixels = kMaxPixels});
    EXPECT_EQ(decoded.complete, decoded.warning.empty());
    ++(decoded.complete ? outcomes.whole : outcomes.partly);
    // Every sample must be readable.
    std::uint8_t all = 0;
    for (int y = 0; y < decoded.picture.height; ++y) {
      for (std::size_t i = 0; i < decoded.picture.rowBytes(); ++i) all |= decoded.picture.row(y)[i];
    }
    [[maybe_unused]] static volatile std::uint8_t sink;
    sink = all;
  } catch (const Problem& problem) {
    EXPECT_NE(std::string(problem.what()), "");
    if (liesInFile(problem.kind)) {
      ++outcomes.refused;
    } else {
      EXPECT_EQ(problem.kind, Kind::limit) << problem.what();
      ++outcomes.limit;
    }
  }
}

// Images and coefficients, which use the same code as decode(): without a check of the results.
void recodeOne(const File& file) {
  const Limits limits{.maxPixels = kMaxPixels};
  const DecodeOptions options{.maxScans = 50};
  try {
    decodeImage(file, limits, {}, options);
  } catch (const Problem& problem) {
    EXPECT_NE(std::string(problem.what()), "");
  }
  try {
    const Transcoded made = transcode(file, {.process = TranscodeOptions::Process::progressive}, limits, {}, options);
    const Transcoded back = transcode(made.file, {.process = TranscodeOptions::Process::sequential}, limits);
    EXPECT_TRUE(back.complete) << back.warning;
  } catch (const Problem& problem) {
    EXPECT_NE(std::string(problem.what()), "");
  }
}

TEST(Damage, EveryFileEndsWithAPictureOrAReason) {
  const std::vector<File> files = originals();
  std::mt19937 random(20240607);
  Outcomes outcomes;
  for (int i = 0; i < kFiles; ++i) {
    const File file = test::damaged(files[i % files.size()], random, 2, 640);
    decodeOne(file, {.smooth = i % 3 != 0, .fastMcu = i % 4 == 0, .inks = i % 5 == 0, .maxScans = 50}, outcomes);
    recodeOne(file);
    try {
      inspect(file);
    } catch (const Problem& problem) {
      EXPECT_TRUE(liesInFile(problem.kind));
    }
  }
  std::printf("%d files: %d whole, %d in part, %d refused, %d over the limit\n", kFiles, outcomes.whole,
              outcomes.partly, outcomes.refused, outcomes.limit);
  EXPECT_GT(outcomes.partly, kFiles / 4);
  EXPECT_GT(outcomes.refused, kFiles / 20);
}

}  // namespace
}  // namespace moxj::jpeg
