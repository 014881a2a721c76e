// Scans side by side: the coefficients and messages of one thread, from sound and damaged files.
#include "jpeg/scanpipeline.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <thread>

#include "jpeg/codedpicture.h"
#include "jpeg/scanreader.h"
#include "support.h"

namespace moxj::jpeg {
namespace {

constexpr int kWidth = 1033, kHeight = 521;  // neither whole MCUs; large enough for threads

const char* const kSpectral =
    "0 1 2: 0-0, 0, 0; 0: 1-2, 0, 0; 0: 3-9, 0, 0; 0: 10-63, 0, 0; 2: 1-63, 0, 0; 1: 1-63, 0, 0;";
const char* const kBits =
    "0 1 2: 0-0, 0, 3; 0: 1-63, 0, 3; 1: 1-63, 0, 3; 2: 1-63, 0, 3; 0 1 2: 0-0, 3, 2; 0: 1-63, 3, 2;"
    "1: 1-63, 3, 2; 2: 1-63, 3, 2; 0: 1-63, 2, 1; 1: 1-63, 2, 1; 2: 1-63, 2, 1; 0 1 2: 0-0, 2, 1; 0 1 2: 0-0, 1, 0;"
    "0: 1-63, 1, 0; 1: 1-63, 1, 0; 2: 1-63, 1, 0;";
const char* const kSingle =
    "2: 0-0, 0, 1; 0: 0-0, 0, 1; 1: 0-0, 0, 0; 0: 0-0, 1, 0; 0: 1-63, 0, 1; 2: 0-0, 1, 0; 0: 1-20, 1, 0;"
    "1: 1-63, 0, 0; 0: 21-63, 1, 0; 2: 1-63, 0, 0;";

EncodeOptions scans(const char* script, EncodeOptions options = {}) {
  options.script = parseScript(script, "");
  return options;
}

const std::map<std::string, EncodeOptions> kForms = {
    {"default", {.progressive = true}},
    {"4:4:4", {.quality = 95, .sampling = Sampling::s444, .progressive = true}},
    {"4:1:0", {.sampling = Sampling::s410, .progressive = true}},
    {"factors", {.progressive = true, .factors = {{2, 2}, {2, 1}, {1, 2}}}},
    {"more chrominance", {.progressive = true, .factors = {{1, 1}, {2, 2}, {1, 2}}}},
    {"grey", {.grayscale = true, .progressive = true}},
    {"restart", {.restart = 5, .progressive = true}},
    {"restart at each row", {.restart = 1, .restartInRows = true, .progressive = true}},
    {"12 bits", {.progressive = true, .depth = 12}},
    {"DC alone", scans("0 1 2: 0-0, 0, 0;")},
    {"DC alone, refined", scans("0 1 2: 0-0, 0, 1; 0: 0-0, 1, 0; 1 2: 0-0, 1, 0;")},
    {"spectral selection", scans(kSpectral)},
    {"successive approximation", scans(kBits)},
    {"single components", scans(kSingle, {.factors = {{2, 2}, {1, 2}, {2, 1}}})},
    {"unfinished", scans("0 1 2: 0-0, 0, 1; 0: 1-63, 0, 2; 1: 1-5, 0, 1;")},
    {"sequential, single components", scans("0; 2; 1;")},
    {"sequential, pairs", scans("0; 1 2;", {.restart = 3})},
};

Picture pictureFor(const EncodeOptions& options, int width = kWidth, int height = kHeight) {
  Picture picture = testPicture(width, height, 3);
  if (options.depth == 8) return picture;
  Picture deep = Picture::layout(width, height, 3, options.depth, Colour::rgb);
  deep.allocate();
  const int samples = width * 3;
  for (int y = 0; y < height; ++y) {
    const std::uint8_t* const from = picture.row(y);
    std::uint16_t* const to = deep.planes[0].row<std::uint16_t>(y);
    for (int x = 0; x < samples; ++x) to[x] = static_cast<std::uint16_t>(from[x] << 4 | from[x] >> 4);
  }
  return deep;
}

struct Coded {
  std::optional<CodedPicture> picture;
  std::string failure;
};

Coded codedFrom(const File& file, Work& work) {
  Coded coded;
  try {
    coded.picture.emplace(readCoefficients(file, 0, work));
  } catch (const Problem& problem) {
    coded.failure = problem.what();
  }
  return coded;
}

void expectSameCoded(const Coded& expected, const Coded& coded) {
  EXPECT_EQ(expected.failure, coded.failure);
  ASSERT_EQ(expected.picture.has_value(), coded.picture.has_value());
  if (!expected.picture) return;
  const CodedPicture &a = *expected.picture, &b = *coded.picture;
  EXPECT_EQ(a.complete, b.complete);
  EXPECT_EQ(a.warning, b.warning);
  EXPECT_EQ(a.notes, b.notes);
  EXPECT_EQ(a.steps, b.steps);
  EXPECT_EQ(a.model, b.model);
  EXPECT_EQ(a.segments.size(), b.segments.size());
  EXPECT_EQ(a.tail.data(), b.tail.data());
  EXPECT_EQ(a.tail.size(), b.tail.size());
  for (std::size_t i = 0; i < a.frame.components.size(); ++i) {
    const FrameComponent& c = a.frame.components[i];
    for (int y = 0; y < c.paddedHigh; ++y) {
      const int component = static_cast<int>(i);
      const std::size_t bytes = static_cast<std::size_t>(c.paddedWide) * 64 * sizeof(Mox16s);
      ASSERT_EQ(std::memcmp(a.coefficients->block(component, 0, y), b.coefficients->block(component, 0, y), bytes), 0)
          << "component " << i << ", row " << y;
    }
  }
}

// Starts a thread for each task; the caller waits.
void startThreads(int tasks, const std::function<void(int)>& task) {
  std::vector<std::thread> threads;
  for (int i = 0; i < tasks; ++i) threads.emplace_back(task, i);
  for (std::thread& thread : threads) thread.join();
}

void expectSameByAll(const File& file, const Limits& limits = {}) {
  Work alone(limits);
  const Coded expected = codedFrom(file, alone);
  for (const int threads : {2, 3, 8}) {
    SCOPED_TRACE(std::to_string(threads) + " threads");
    Work work(limits, {}, threads);
    const Coded coded = codedFrom(file, work);
    expectSameCoded(expected, coded);
    EXPECT_EQ(work.budget.used(), alone.budget.used());
  }
  SCOPED_TRACE("the caller's threads");
  Work work(limits, {}, 3, startThreads);
  expectSameCoded(expected, codedFrom(file, work));
}

// Only scans in sequence report progress in bytes of the file.
bool inSequence(const File& file) {
  bool bytes = false;
  const auto progress = [&](std::uint64_t, std::uint64_t total) { return bytes |= total == file.size(), true; };
  Work work({}, progress, 2);
  codedFrom(file, work);
  return bytes;
}

TEST(ScansByThreads, GiveTheCoefficientsOfOne) {
  for (const auto& [name, options] : kForms) {
    SCOPED_TRACE(name);
    const File file = fileOf(pictureFor(options), options);
    EXPECT_FALSE(inSequence(file));
    expectSameByAll(file);
  }
}

TEST(ScansByThreads, GiveThePictureOfOne) {
  const Picture picture = testPicture(kWidth, kHeight, 3);
  for (const char* const form : {"default", "single components", "sequential, single components"}) {
    SCOPED_TRACE(form);
    const File file = fileOf(picture, kForms.at(form));
    for (const DecodeOptions& options :
         {DecodeOptions{}, {.region = {100, 30, 200, 100}}, {.reduce = 3}, {.native = true}}) {
      PictureCollector expected, collector;
      Work alone, work({}, {}, 3);
      const Outcome one = decode(file, options, expected, alone);
      const Outcome other = decode(file, options, collector, work);
      EXPECT_TRUE(one.complete);
      EXPECT_EQ(one.complete, other.complete);
      EXPECT_EQ(one.notes, other.notes);
      expectSame(expected.picture(), collector.picture());
    }
  }
}

// The places of markers of scans and of the end.
std::vector<std::size_t> marksOf(const File& file) {
  std::vector<std::size_t> marks;
  SegmentWalker walker(file);
  while (const auto segment = walker.next()) {
    if (segment->marker != marker::sos && segment->marker != marker::eoi) continue;
    marks.push_back(segment->offset);
    if (segment->marker == marker::sos) walker.seek(findScanEnd(file, segment->end));
  }
  return marks;
}

TEST(ScansByThreads, ReportWhatOneReports) {
  const File file = fileOf(testPicture(kWidth, kHeight, 3), kForms.at("default"));
  const std::vector<std::size_t> marks = marksOf(file);
  ASSERT_EQ(marks.size(), 11u);
  const File comment{0xFF, marker::com, 0, 4, 'h', 'i'};
  const File again(file.begin() + static_cast<std::ptrdiff_t>(marks[3]),
                   file.begin() + static_cast<std::ptrdiff_t>(marks[4]));
  File manyScans = file;
  for (int i = 0; i < 3; ++i)
    manyScans.insert(manyScans.begin() + static_cast<std::ptrdiff_t>(marks[10]), file.begin() + marks[9],
                     file.begin() + marks[10]);
  File wrongInterval = file;
  wrongInterval[marks[5] - 1] ^= 0x40;
  const std::map<std::string, File> files = {
      {"without EOI", without(file, marks[10], file.size())},
      {"without the last scan", without(file, marks[9], marks[10])},
      {"without a scan", without(file, marks[4], marks[5])},
      {"without the first scan", without(file, marks[0], marks[1])},
      {"without the first scan of all", without(file, marks[0], marks[6])},
      {"a scan twice", withInserted(file, marks[4], again)},
      {"a scan four times", manyScans},
      {"cut within the last scan", without(file, marks[10] - 1000, file.size())},
      {"a gap in the last scan", without(file, marks[10] - 3000, marks[10] - 2000)},
      {"bytes too many", withInserted(file, marks[7], {0x12, 0x34, 0x56, 0x78})},
      {"fill bytes", withInserted(file, marks[7], {0xFF, 0xFF})},
      {"a restart marker too many", withInserted(file, marks[7], {0xFF, marker::rst0})},
      {"a restart marker within", withInserted(file, marks[10] - 2000, {0xFF, marker::rst0})},
      {"a reserved marker", withInserted(file, marks[10] - 2000, {0xFF, 0x05})},
      {"a comment", withInserted(file, marks[3], comment)},
      {"a comment within", withInserted(file, marks[10] - 2000, comment)},
      {"a restart interval", withInserted(file, marks[8], {0xFF, marker::dri, 0, 4, 0, 9})},
      {"an end within", withInserted(file, marks[4], {0xFF, marker::eoi})},
      {"a second start", withInserted(file, marks[4], {0xFF, marker::soi})},
      {"the last byte of a scan", wrongInterval},
      {"what follows", withInserted(file, file.size(), {1, 2, 3, 4})},
  };
  for (const auto& [name, changed] : files) {
    SCOPED_TRACE(name);
    expectSameByAll(changed);
  }
  EXPECT_TRUE(inSequence(files.at("a gap in the last scan")));
  EXPECT_FALSE(inSequence(files.at("a comment")));
}

TEST(ScansByThreads, DamageIsTheSame) {
  for (const char* const form : {"default", "restart", "successive approximation", "sequential, pairs"}) {
    const File file = fileOf(testPicture(kWidth, kHeight, 3), kForms.at(form));
    std::uint32_t seed = 11;
    const auto random = [&](std::size_t below) {
      seed = seed * 1664525 + 1013904223;
      return (seed >> 8) % below;
    };
    const std::size_t headers = marksOf(file)[0];
    for (int round = 0; round < 12; ++round) {
      SCOPED_TRACE(std::string(form) + ", round " + std::to_string(round));
      File damaged = file;
      for (int i = 0; i <= round % 3; ++i)
        damaged[headers + random(damaged.size() - headers)] = static_cast<std::uint8_t>(random(256));
      if (round % 4 == 3) damaged.resize(headers + random(damaged.size() - headers));
      expectSameByAll(damaged);
    }
  }
}

TEST(ScansByThreads, LimitsAreTheSame) {
  const File file = fileOf(testPicture(kWidth, kHeight, 3), kForms.at("default"));
  constexpr std::uint64_t kCoefficients = std::uint64_t{1040} * 528 * 3;  // bytes of 4:2:0
  expectSameByAll(file, {.maxScans = 9});
  expectSameByAll(file, {.maxScans = 10});
  expectSameByAll(file, {.maxMemory = kCoefficients - 1});
  expectSameByAll(file, {.maxMemory = kCoefficients + 1000});
  Work work({.maxMemory = kCoefficients - 1}, {}, 2);
  EXPECT_NE(codedFrom(file, work).failure, "");
}

// More scans than are decoded side by side.
TEST(ScansByThreads, ManyScansAreTheSame) {
  std::string script = "0 1 2: 0-0, 0, 0;";
  for (const char* const component : {"0", "1"}) {
    for (int k = 1; k < 64; ++k)
      script += std::string(component) + ": " + std::to_string(k) + "-" + std::to_string(k) + ", 0, 0;";
  }
  const File file = fileOf(testPicture(kWidth, kHeight, 3), scans(script.c_str()));
  EXPECT_TRUE(inSequence(file));
  expectSameByAll(file);
}

// Between any two parts. Where the threads are those of the library, the caller may find all the work done.
TEST(ScansByThreads, CanBeCancelled) {
  const File file = fileOf(testPicture(kWidth, kHeight, 3), kForms.at("default"));
  const auto cancelAfter = [&](int calls, const Executor& executor) {
    const std::thread::id caller = std::this_thread::get_id();
    const auto progress = [&](std::uint64_t done, std::uint64_t total) {
      EXPECT_LE(done, total);
      EXPECT_EQ(std::this_thread::get_id(), caller);
      return --calls > 0;
    };
    Work work({}, progress, 3, executor);
    EXPECT_EQ(codedFrom(file, work).failure, "cancelled");
    EXPECT_EQ(calls, 0);
  };
  cancelAfter(1, {});
  for (const int calls : {1, 2, 7}) cancelAfter(calls, startThreads);
}

TEST(ScansByThreads, SmallPicturesAreDecodedByOne) {
  const File file = fileOf(testPicture(512, 512, 3), kForms.at("default"));
  EXPECT_TRUE(inSequence(file));
}

// ---- The order of the parts ----------------------------------------------------------------------------------------

// Of a frame of two components, 2x2 and 1x1, with 8 MCU rows.
struct Pipeline {
  struct Watched {
    std::vector<int> components;
    int rows = 0, rowsOfMcuRow = 1;
    std::atomic<int> done = 0;
  };

  Pipeline(const std::vector<std::vector<int>>& components, int mcuRowsOfPart) : pipeline(mcuRowsOfPart) {
    frame.process = marker::sof2;
    frame.width = 16;
    frame.height = kMcuRows * 16;
    frame.components = {{.id = 1, .horizontal = 2, .vertical = 2}, {.id = 2}};
    frame.layOut();
    for (const std::vector<int>& some : components) add(some);
  }

  void add(const std::vector<int>& components) {
    ScanPipeline::Scan scan;
    for (const int component : components) scan.header.components.push_back({component, 0, 0});
    scan.header.spectralEnd = 0;
    scan.reader = std::make_shared<ScanReader>(frame, scan.header, Tables{}, ByteSpan());
    scan.rowsOfMcuRow = components.size() == 1 && components[0] == 0 ? 2 : 1;
    scan.rows = kMcuRows * scan.rowsOfMcuRow;
    const std::size_t index = watched.size();
    watched.push_back(std::make_unique<Watched>());
    watched.back()->components = components;
    watched.back()->rows = scan.rows;
    watched.back()->rowsOfMcuRow = scan.rowsOfMcuRow;
    scan.readRow = [this, index] { read(index); };
    pipeline.add(std::move(scan));
  }

  // All scans before it with the same components have decoded this MCU row.
  void read(std::size_t index) {
    Watched& own = *watched[index];
    const int mcuRow = own.done / own.rowsOfMcuRow;
    for (std::size_t i = 0; i < index; ++i) {
      const Watched& earlier = *watched[i];
      const bool common = std::ranges::any_of(own.components, [&](int component) {
        return std::ranges::find(earlier.components, component) != earlier.components.end();
      });
      if (common && earlier.done < (mcuRow + 1) * earlier.rowsOfMcuRow) ++tooEarly;
    }
    if (static_cast<int>(index) == failing && own.done == 5) throw std::bad_alloc();
    ++own.done;
  }

  static constexpr int kMcuRows = 8;
  Frame frame;
  ScanPipeline pipeline;
  std::vector<std::unique_ptr<Watched>> watched;
  std::atomic<int> tooEarly = 0;
  int failing = -1;
};

TEST(ScansByThreads, FollowThoseOfTheSameComponents) {
  for (const int threads : {1, 2, 3, 8}) {
    for (const int mcuRowsOfPart : {1, 3, 8, 20}) {
      SCOPED_TRACE(std::to_string(threads) + " threads, " + std::to_string(mcuRowsOfPart) + " rows");
      Pipeline test({{0, 1}, {0}, {1}, {0}, {1, 0}, {1}, {0}}, mcuRowsOfPart);
      Workers workers(threads);
      std::size_t reported = 0, total = 0;
      EXPECT_TRUE(test.pipeline.run(workers, [&](std::size_t done, std::size_t of) { reported = done, total = of; }));
      EXPECT_EQ(test.tooEarly, 0);
      EXPECT_EQ(reported, total);
      for (const auto& scan : test.watched) EXPECT_EQ(scan->done, scan->rows);
    }
  }
}

TEST(ScansByThreads, EndWithTheFirstFailure) {
  for (const int threads : {1, 2, 8}) {
    Pipeline test({{0, 1}, {0}, {0}}, 1);
    test.failing = 1;
    Workers workers(threads);
    EXPECT_FALSE(test.pipeline.run(workers, [](std::size_t, std::size_t) {}));
    EXPECT_EQ(test.watched[1]->done, 5);
    EXPECT_LT(test.watched[2]->done, 5);
  }
}

}  // namespace
}  // namespace moxj::jpeg
