// Several threads: the same bytes as from one, whatever the form of the file; and no threads for small pictures.
#include <atomic>
#include <map>
#include <memory>
#include <thread>

#include "jpeg/intervalpainter.h"
#include "support.h"
#include "support/short.h"

namespace moxj::jpeg {
namespace {

constexpr int kWidth = 1096, kHeight = 531;  // neither whole MCUs; large enough for threads

// On threads of its own, while the caller waits. Counts the calls.
struct Counted {
  std::shared_ptr<std::atomic<int>> calls = std::make_shared<std::atomic<int>>(0);
  void operator()(int tasks, const std::function<void(int)>& task) const {
    ++*calls;
    std::vector<std::thread> threads;
    for (int i = 0; i < tasks; ++i) threads.emplace_back(task, i);
    for (std::thread& thread : threads) thread.join();
  }
};

const std::map<std::string, EncodeOptions> kForms = {
    {"4:2:0", {}},
    {"4:4:4", {.quality = 95, .sampling = Sampling::s444}},
    {"4:2:2", {.sampling = Sampling::s422}},
    {"4:4:0", {.sampling = Sampling::s440}},
    {"4:1:1", {.sampling = Sampling::s411}},
    {"4:1:0", {.sampling = Sampling::s410}},
    {"factors", {.factors = {{2, 2}, {2, 1}, {1, 2}}}},
    {"grey", {.quality = 100, .grayscale = true}},
    {"RGB", {.rgb = true}},
    {"MCU by MCU", {.fastMcu = true}},
    {"restart at each MCU", {.restart = 1}},
    {"restart within rows", {.restart = 7}},
    {"restart in parts of rows", {.restart = 23}},
    {"restart at each row", {.restart = 1, .restartInRows = true}},
    {"restart across rows", {.restart = 69 * 3 + 1}},
    {"restart after rows", {.restart = 3, .restartInRows = true}},
    {"optimised", {.optimize = true}},
    {"optimised, restart", {.restart = 5, .optimize = true}},
    {"optimised, scans", {.script = parseScript("0; 1 2;", "")}},
    {"progressive", {.progressive = true}},
    {"progressive, restart", {.restart = 50, .progressive = true}},
    {"progressive, 4:4:4", {.quality = 95, .sampling = Sampling::s444, .progressive = true}},
    {"progressive, grey", {.grayscale = true, .progressive = true}},
    {"optimised, grey", {.grayscale = true, .optimize = true}},
    {"optimised, restart across rows", {.restart = 69 * 2 + 5, .optimize = true}},
    {"optimised, restart at each MCU", {.restart = 1, .optimize = true}},
    {"coarse", {.quality = 1}},
};

// With bands of `rows` rows, or as many as the encoder wants.
File fileFrom(const Picture& picture, const EncodeOptions& options, int rows, Work& work) {
  MemoryOutput output;
  const std::unique_ptr<RowSink> sink = encoder(output, options, work);
  if (rows == 0) {
    pushPicture(picture, *sink);
    return bytesOf(output);
  }
  Picture layout = picture;
  for (Plane& plane : layout.planes) plane.samples = nullptr;
  layout.owner = nullptr;
  sink->begin(layout);
  for (int y = 0; y < picture.height; y += rows) {
    // A copy that is gone when the band has been taken.
    const Picture band = picture.band(y, rows);
    Picture copy = band;
    copy.allocate();
    for (int row = 0; row < band.height; ++row) std::memcpy(copy.row(row), band.row(row), band.rowBytes());
    sink->rows(copy);
    copy.clear();
  }
  sink->end();
  return bytesOf(output);
}

TEST(Threads, EncodersWriteTheSameBytes) {
  const Picture picture = testPicture(kWidth, kHeight, 3);
  for (const auto& [name, options] : kForms) {
    SCOPED_TRACE(name);
    const File expected = fileOf(picture, options);
    for (const int threads : {2, 3, 7}) {
      for (const int rows : {0, 1, 50, 200}) {
        Work work({}, {}, threads);
        EXPECT_EQ(fileFrom(picture, options, rows, work), expected) << threads << " threads, bands of " << rows;
      }
    }
  }
}

// The scans of a progressive file are coded side by side where there is room for them and as much again.
TEST(Threads, ScansSideBySideCountAsMemory) {
  struct Watching : MemoryOutput {
    explicit Watching(const Budget& watched) : budget(watched) {}
    void write(ByteSpan first, ByteSpan second) override {
      most = std::max(most, budget.used());
      MemoryOutput::write(first, second);
    }
    const Budget& budget;
    std::uint64_t most = 0;
  };
  const Picture picture = testPicture(kWidth, kHeight, 3);
  const File expected = fileOf(picture, {.quality = 100, .progressive = true});
  constexpr std::uint64_t kCoefficients = std::uint64_t{kWidth} * kHeight * 3;  // bytes of 4:2:0, without padding
  for (const auto& [limit, sideBySide] : {std::pair(std::uint64_t{1} << 30, true), {3 * kCoefficients, false}}) {
    Limits limits;
    limits.maxMemory = limit;
    Work work(limits, {}, 3);
    Watching output(work.budget);
    const std::unique_ptr<RowSink> sink = encoder(output, {.quality = 100, .progressive = true}, work);
    pushPicture(picture, *sink);
    EXPECT_EQ(bytesOf(output), expected);
    EXPECT_EQ(output.most - work.budget.used() >= kCoefficients, sideBySide) << output.most;
  }
}

TEST(Threads, EncodersUseTheCallersThreads) {
  const Picture picture = testPicture(kWidth, kHeight, 3);
  const File expected = fileOf(picture);
  for (const int rows : {0, 16}) {
    const Counted executor;
    Work work({}, {}, 3, executor);
    EXPECT_EQ(fileFrom(picture, {}, rows, work), expected);
    EXPECT_GT(*executor.calls, 0);
  }
}

TEST(Threads, SmallPicturesAreCodedByOne) {
  const Picture picture = testPicture(512, 512, 3);
  for (const EncodeOptions& options : {EncodeOptions{}, EncodeOptions{.optimize = true}}) {
    const Counted executor;
    Work work({}, {}, 8, executor);
    fileFrom(picture, options, 0, work);
    EXPECT_EQ(*executor.calls, 0);
  }
}

// ---- Reading -------------------------------------------------------------------------------------------------------

struct Result {
  Decoded decoded;
  std::string failure;
  int bands = 0;
};

Result resultOf(const File& file, const DecodeOptions& options, Work& work) {
  Result result;
  Collector collector;
  try {
    static_cast<Outcome&>(result.decoded) = decode(file, options, collector, work);
    result.decoded.picture = collector.picture;
  } catch (const Problem& problem) {
    result.failure = problem.what();
  }
  result.bands = collector.bands;
  return result;
}

void expectSameResult(const Result& a, const Result& b) {
  EXPECT_EQ(a.failure, b.failure);
  EXPECT_EQ(a.decoded.complete, b.decoded.complete);
  EXPECT_EQ(a.decoded.warning, b.decoded.warning);
  EXPECT_EQ(a.decoded.notes, b.decoded.notes);
  const Picture &one = a.decoded.picture, &other = b.decoded.picture;
  ASSERT_EQ(one.planes.size(), other.planes.size());
  ASSERT_EQ(one.width, other.width);
  ASSERT_EQ(one.height, other.height);
  if (!one.interleaved()) return expectSame(one, other);
  for (int y = 0; y < one.height; ++y) ASSERT_EQ(std::memcmp(one.row(y), other.row(y), one.rowBytes()), 0) << y;
}

// As by one thread, with the library's threads and the caller's.
void expectSameByAll(const File& file, const DecodeOptions& options = {}) {
  Work alone;
  const Result expected = resultOf(file, options, alone);
  for (const int threads : {2, 3, 7}) {
    SCOPED_TRACE(std::to_string(threads) + " threads");
    Work work({}, {}, threads);
    expectSameResult(expected, resultOf(file, options, work));
  }
  SCOPED_TRACE("the caller's threads");
  Work work({}, {}, 3, Counted());
  expectSameResult(expected, resultOf(file, options, work));
}

TEST(Threads, DecodersGiveTheSamePicture) {
  const Picture picture = testPicture(kWidth, kHeight, 3);
  for (const auto& [name, options] : kForms) {
    SCOPED_TRACE(name);
    expectSameByAll(fileOf(picture, options));
  }
}

TEST(Threads, DecodersGiveTheSameParts) {
  const Picture picture = testPicture(2 * kWidth, kHeight * 5 / 4, 3);
  const std::map<std::string, DecodeOptions> views = {
      {"repeated", {.smooth = false}},
      {"MCU by MCU", {.fastMcu = true}},
      {"planes", {.native = true}},
      {"halves", {.reduce = 1}},
      {"region", {.region = {333, 100, 1700, 444}}},
      {"region above", {.region = {0, 0, 700, 400}}},
      {"region below", {.region = {0, 300, 0, 0}}},
      {"half of a region", {.region = {17, 19, 2000, 600}, .reduce = 1}},
  };
  for (const char* const form :
       {"4:2:0", "4:4:0", "grey", "factors", "progressive", "restart within rows", "restart at each row"}) {
    const File file = fileOf(picture, kForms.at(form));
    for (const auto& [name, options] : views) {
      SCOPED_TRACE(std::string(form) + ", " + name);
      expectSameByAll(file, options);
    }
  }
}

TEST(Threads, DamageIsTheSame) {
  const Picture picture = testPicture(kWidth, kHeight, 3);
  for (const char* const form : {"4:2:0", "grey", "restart within rows", "restart at each row", "restart across rows",
                                 "restart after rows", "progressive", "optimised"}) {
    const File file = fileOf(picture, kForms.at(form));
    std::uint32_t seed = 7;
    const auto random = [&](std::size_t below) {
      seed = seed * 1664525 + 1013904223;
      return (seed >> 8) % below;
    };
    for (int round = 0; round < 16; round += ::test::strideOf(2)) {
      SCOPED_TRACE(std::string(form) + ", round " + std::to_string(round));
      File damaged = file;
      if (round % 3 == 0) damaged.resize(random(file.size()));
      const std::size_t headers = 700;
      for (int i = 0; i < round % 5 && damaged.size() > headers + 1; ++i)
        damaged[headers + random(damaged.size() - headers)] = static_cast<std::uint8_t>(random(256));
      if (round % 7 == 4) {
        const auto at = damaged.begin() + static_cast<std::ptrdiff_t>(headers + random(damaged.size() / 2));
        damaged.erase(at, at + static_cast<std::ptrdiff_t>(random(damaged.size() / 3)));
      }
      expectSameByAll(damaged);
    }
  }
}

// Rows with intervals of their own are decoded by any thread, unless a marker or an interval is wrong.
TEST(Threads, RestartIntervalsAreTheSame) {
  const Picture picture = testPicture(kWidth, kHeight, 3);
  for (const char* const form : {"restart at each row", "restart after rows"}) {
    const File file = fileOf(picture, kForms.at(form));
    std::vector<std::size_t> markers;
    for (std::size_t at = Layout(file).dataBegin; (at = findMarker(file, at)) + 4 < file.size(); at += 2)
      markers.push_back(at);
    ASSERT_GE(markers.size(), 10u);
    for (const std::size_t number : {std::size_t{0}, markers.size() - 2}) {
      SCOPED_TRACE(std::string(form) + ", marker " + std::to_string(number));
      const std::size_t at = markers[number], next = markers[number + 1];
      File other = file, reserved = file, first = file;
      other[at + 1] ^= 3;
      reserved[at + 1] = 0x05;
      std::swap(first[next - 1], first[next - 2]);
      std::fill(first.begin() + at + 2, first.begin() + at + 12, std::uint8_t{0xFE});
      expectSameByAll(other);
      expectSameByAll(reserved);
      expectSameByAll(first);
      expectSameByAll(without(file, at, at + 2));
      expectSameByAll(without(file, at, next));
      expectSameByAll(without(file, next - 3, next));
      expectSameByAll(withInserted(file, at, {0x12, 0x34}));
      expectSameByAll(withInserted(file, at, {0xFF, 0xFF}));
      expectSameByAll(withInserted(file, at, {0xFF, marker::rst0}));
      expectSameByAll(withInserted(file, at, {0xFF, marker::com, 0, 2}));
      expectSameByAll(without(file, next - 3, file.size()));
    }
  }
}

TEST(Threads, RowsThatBeginWithIntervals) {
  Frame frame;
  frame.mcusWide = 12;
  for (const auto& [interval, rows] : {std::pair{0, 0}, {1, 1}, {6, 1}, {12, 1}, {24, 2}, {60, 5}, {5, 0}, {18, 0}})
    EXPECT_EQ(IntervalPainter::rowsOfTask(frame, interval), rows) << interval;
}

TEST(Threads, SmallPicturesAreDecodedByOne) {
  const File file = fileOf(testPicture(512, 512, 3));
  const Counted executor;
  Work work({}, {}, 8, executor);
  resultOf(file, {}, work);
  EXPECT_EQ(*executor.calls, 0);
}

TEST(Threads, DecodersUseTheCallersThreads) {
  const Picture picture = testPicture(kWidth, kHeight, 3);
  for (const char* const form : {"4:2:0", "progressive"}) {
    const Counted executor;
    Work work({}, {}, 3, executor);
    resultOf(fileOf(picture, kForms.at(form)), {}, work);
    EXPECT_GT(*executor.calls, 0) << form;
  }
}

// Between any two groups of rows.
TEST(Threads, DecodersCanBeCancelled) {
  const Picture picture = testPicture(kWidth, kHeight, 3);
  for (const char* const form : {"4:2:0", "progressive"}) {
    const File file = fileOf(picture, kForms.at(form));
    for (int calls = 1; calls < 3; ++calls) {
      int left = calls;
      const std::thread::id caller = std::this_thread::get_id();
      Work work(
          {},
          [&](std::uint64_t done, std::uint64_t total) {
            EXPECT_LE(done, total);
            EXPECT_EQ(std::this_thread::get_id(), caller);
            return --left > 0;
          },
          3);
      EXPECT_EQ(resultOf(file, {}, work).failure, "cancelled");
      EXPECT_EQ(left, 0);
    }
  }
}

TEST(Threads, SinksThatFailEndTheWork) {
  struct Full : Collector {
    void rows(const Picture&) override { fail(Kind::output, "full"); }
  };
  const Picture picture = testPicture(kWidth, kHeight, 3);
  for (const char* const form : {"4:2:0", "progressive"}) {
    const File file = fileOf(picture, kForms.at(form));
    Full sink;
    Work work({}, {}, 3);
    EXPECT_THROW(decode(file, {}, sink, work), Problem) << form;
  }
}

// From file to file: reader and writer share the threads.
TEST(Threads, ReaderAndWriterShareThem) {
  const Picture picture = testPicture(kWidth, kHeight, 3);
  const File file = fileOf(picture, {.quality = 95});
  const auto codedAgain = [&](Work& work) {
    MemoryOutput output;
    const std::unique_ptr<RowSink> writer = encoder(output, {}, work);
    decode(file, {}, *writer, work);
    return bytesOf(output);
  };
  Work alone;
  const File expected = codedAgain(alone);
  for (const int threads : {2, 3, 7}) {
    Work work({}, {}, threads);
    EXPECT_EQ(codedAgain(work), expected) << threads;
  }
  Work work({}, {}, 3, Counted());
  EXPECT_EQ(codedAgain(work), expected);
}

// What cannot be coded is reported as by one thread, and what is under way when the output fails ends.
TEST(Threads, FailuresReachTheCaller) {
  struct Full : Output {
    std::size_t room = 20000;
    void write(ByteSpan first, ByteSpan second) override {
      if (first.size() + second.size() > room) fail(Kind::output, "full");
      room -= first.size() + second.size();
    }
  };
  const Picture picture = testPicture(kWidth, kHeight, 3);
  for (const int rows : {1, 531}) {
    Full output;
    Work work({}, {}, 3);
    const std::unique_ptr<RowSink> sink = encoder(output, {.quality = 100}, work);
    Picture layout = picture;
    for (Plane& plane : layout.planes) plane.samples = nullptr;
    layout.owner = nullptr;
    sink->begin(layout);
    try {
      for (int y = 0; y < picture.height; y += rows) sink->rows(picture.band(y, rows));
      sink->end();
      ADD_FAILURE();
    } catch (const Problem& problem) {
      EXPECT_STREQ(problem.what(), "full");
    }
  }
}

}  // namespace
}  // namespace moxj::jpeg
