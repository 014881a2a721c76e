// Several threads: the same bytes as from one, whatever the form of the file; and no threads for small pictures.
#include <atomic>
#include <map>
#include <memory>
#include <thread>

#include "support.h"

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
    {"restart at each row", {.restart = 1, .restartInRows = true}},
    {"restart across rows", {.restart = 69 * 3 + 1}},
    {"restart after rows", {.restart = 3, .restartInRows = true}},
    {"optimised", {.optimize = true}},
    {"optimised, restart", {.restart = 5, .optimize = true}},
    {"optimised, scans", {.script = parseScript("0; 1 2;", "")}},
    {"progressive", {.progressive = true}},
    {"progressive, restart", {.restart = 50, .progressive = true}},
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
