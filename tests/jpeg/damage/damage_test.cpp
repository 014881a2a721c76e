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
constexpr int kMaxScans = 50;

// Samples up to 32767, so that all predictors are allowed.
File losslessFile(int bits, int planes, int predictor, int restart) {
  const Colour colour = planes == 3 ? Colour::rgb : planes == 1 ? Colour::grey : Colour::cmyk;
  Picture picture = Picture::layout(45, 31, planes, bits, colour);
  picture.allocate();
  for (const Plane& plane : picture.planes) {
    for (int y = 0; y < plane.height; ++y) {
      visitRow(plane, y, [&]<class Sample>(Sample* row) {
        for (int x = 0; x < plane.width; ++x)
          row[std::ptrdiff_t{x} * plane.pixelStep] =
              static_cast<Sample>((y * plane.width + x) * 37 % 97 * (std::min(plane.maxval, 32767) / 97));
      });
    }
  }
  return losslessFileOf(picture, {.predictor = predictor, .restart = restart});
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
  // Arithmetic coding, of data that are not, and 12 bits.
  for (const int process : {marker::sof9, marker::sof10}) {
    File arithmetic = fileOf(testPicture(67, 45, 3, 30), {.restart = 3, .progressive = process == marker::sof10});
    arithmetic[Layout(arithmetic).find(process == marker::sof10 ? marker::sof2 : marker::sof0).offset + 1] = process;
    files.push_back(arithmetic);
  }
  for (const bool progressive : {false, true}) {
    File deep = fileOf(testPicture(67, 45, 3, 30), {.restart = 3, .progressive = progressive});
    const std::size_t header = Layout(deep).find(progressive ? marker::sof2 : marker::sof0).offset;
    if (!progressive) deep[header + 1] = marker::sof1;
    deep[header + 4] = 12;
    files.push_back(deep);
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
    const Decoded decoded = decodeFile(file, options, {.maxPixels = kMaxPixels, .maxScans = kMaxScans});
    EXPECT_EQ(decoded.complete, decoded.warning.empty());
    ++(decoded.complete ? outcomes.whole : outcomes.partly);
  } catch (const Problem& problem) {
    EXPECT_NE(std::string(problem.what()), "");
    if (liesInFile(problem.kind)) {
      ++outcomes.refused;
    } else if (problem.kind == Kind::badOption && options.region.given()) {
      ++outcomes.refused;
    } else {
      EXPECT_EQ(problem.kind, Kind::limit) << problem.what();
      ++outcomes.limit;
    }
  }
}

void recodeOne(const File& file, const Geometry& geometry) {
  const Limits limits{.maxPixels = kMaxPixels, .maxScans = kMaxScans};
  using Process = TranscodeOptions::Process;
  try {
    const Transcoded made = transcodeFile(file, {.process = Process::progressive, .geometry = geometry}, limits);
    const Transcoded back = transcodeFile(made.file, {.process = Process::sequential}, limits);
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
    DecodeOptions options{.smooth = i % 3 != 0, .fastMcu = i % 4 == 0, .inks = i % 5 == 0, .native = i % 7 == 0};
    decodeOne(file, options, outcomes);
    options.fastMcu = false;
    options.region = {i % 40, i % 31, 1 + i % 60, 1 + i % 50};
    options.reduce = i % 4;
    Outcomes ofRegions;
    decodeOne(file, options, ofRegions);
    recodeOne(file, {.transform = transformOf(1 + i % 8),
                     .crop = {.x = i % 3 * 13, .y = i % 5 * 7},
                     .trim = i % 7 == 0,
                     .grayscale = i % 11 == 0});
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
