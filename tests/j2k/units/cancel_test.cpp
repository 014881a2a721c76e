// Progress within a tile, and work that is cancelled at any call.
#include <gtest/gtest.h>

#include <thread>

#include "j2k/support.h"

namespace moxj::j2k {
namespace {

using test::File;
using test::picture;

struct Seen {
  int calls = 0;
  std::uint64_t done = 0, total = 0;
};

// Calls `work` with a callback that checks what it gets and ends the work at the given call.
Seen watch(const std::function<void(const Progress&)>& work, int last) {
  Seen seen;
  const std::thread::id caller = std::this_thread::get_id();
  work([&](std::uint64_t done, std::uint64_t total) {
    EXPECT_EQ(std::this_thread::get_id(), caller);
    EXPECT_GE(done, seen.done);
    EXPECT_LE(done, total);
    EXPECT_EQ(total, seen.calls > 0 ? seen.total : total);
    seen = {seen.calls + 1, done, total};
    EXPECT_LE(seen.calls, last) << "a call after the one that cancelled";
    return seen.calls < last;
  });
  return seen;
}

// Cancels at calls from the first to the last and returns what was seen without.
Seen cancelEverywhere(const std::function<void(const Progress&)>& work) {
  const Seen whole = watch(work, INT_MAX);
  EXPECT_EQ(whole.done, whole.total);
  // With threads, the number of calls differs from run to run.
  for (int last = 1; last <= whole.calls; last += 1 + whole.calls / 16) {
    try {
      const Seen seen = watch(work, last);
      EXPECT_LT(seen.calls, last);
    } catch (const Problem& problem) {
      EXPECT_EQ(problem.kind, Kind::cancelled) << problem.what();
    }
  }
  return whole;
}

TEST(Jpeg2000Cancel, WithinOneTile) {
  const Picture original = picture(160, 120, 3, 8);
  EncodeOptions options = test::lossless();
  options.blockWidth = options.blockHeight = 16;
  const File file = test::encoded(original, options);
  for (const int threads : {1, 3}) {
    const auto encoding = [&](const Progress& progress) {
      Work work({}, progress, threads);
      test::encoded(original, options, work);
    };
    const auto decoding = [&](const Progress& progress) {
      Work work({}, progress, threads);
      decode(file, {}, work);
    };
    // The fewer tasks the calling thread gets, the fewer reports.
    const int min = threads == 1 ? 100 : 2;
    EXPECT_GE(cancelEverywhere(encoding).calls, min);
    EXPECT_GE(cancelEverywhere(decoding).calls, min);
  }
}

// Tiles, layers and the search for a size, and a size that means lossless.
TEST(Jpeg2000Cancel, TilesAndSizes) {
  const Picture original = picture(160, 120, 3, 8);
  for (const double ratio : {0.0, 1.0, 6.0}) {
    EncodeOptions options;
    options.lossless = ratio == 0;
    if (ratio > 0) options.goals = {Goals::ratio, {ratio}};
    options.layers = 3;
    options.tileWidth = options.tileHeight = 60;
    EXPECT_GE(cancelEverywhere([&](const Progress& progress) {
                Work work({}, progress, 2);
                test::encoded(original, options, work);
              }).calls,
              6);
  }
}

// Of a picture that comes by rows, what follows the last row: choosing and writing.
TEST(Jpeg2000Cancel, TheLastStepsOfRows) {
  const Picture original = picture(160, 120, 3, 8);
  struct Case {
    double ratio;
    int tile, min;
  };
  for (const auto& [ratio, tile, min] : {Case{0, 0, 15}, {6, 0, 30}, {6, 60, 15}}) {
    EncodeOptions options;
    options.blockWidth = options.blockHeight = 16;
    options.lossless = ratio == 0;
    if (ratio > 0) options.goals = {Goals::ratio, {ratio}};
    options.tileWidth = options.tileHeight = tile;
    EXPECT_GE(cancelEverywhere([&](const Progress& progress) {
                MemoryOutput output;
                Work work({}, progress, 2);
                RowEncoder encoder(original, options, work, output);
                encoder.rows(original);
                encoder.finish();
              }).calls,
              min)
        << ratio << ", " << tile;
  }
}

// Many tiles do not report too often.
TEST(Jpeg2000Cancel, ManyTiles) {
  const Picture original = picture(256, 256, 1, 8);
  EncodeOptions options = test::lossless();
  options.tileWidth = options.tileHeight = 8;
  options.blockWidth = options.blockHeight = 4;
  const File file = test::encoded(original, options);
  const Seen seen = watch(
      [&](const Progress& progress) {
        Work work({}, progress);
        decode(file, {}, work);
      },
      INT_MAX);
  EXPECT_EQ(seen.calls, 1024);
}

}  // namespace
}  // namespace moxj::j2k
