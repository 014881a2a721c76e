// Threads, executors, progress and cancelling.
#include <filesystem>
#include <functional>
#include <iterator>
#include <thread>
#include <tuple>
#include <utility>

#include "support.h"

namespace {

using namespace codec;

struct Executions {
  int calls = 0, largest = 0;
};

// Starts a thread for each task, the last one first.
void execute(void* context, int32_t tasks, void (*task)(void*, int32_t), void* argument) {
  Executions& executions = *static_cast<Executions*>(context);
  ++executions.calls;
  executions.largest = std::max(executions.largest, tasks);
  std::vector<std::thread> threads;
  for (int32_t i = tasks; i-- > 0;) threads.emplace_back(task, argument, i);
  for (std::thread& thread : threads) thread.join();
}

TEST(Run, ThreadsGiveTheSameBytes) {
  const Pixels pixels = picture(moxcRgb, 300, 200, 12);
  MoxcWriteOptions tiled;
  moxcWriteOptionsInit(&tiled);
  tiled.tileWidth = tiled.tileHeight = 64;
  MoxcWriteOptions layered;
  moxcWriteOptionsInit(&layered);
  layered.ratio = 8;
  layered.layers = 5;
  for (const MoxcWriteOptions* options : std::initializer_list<const MoxcWriteOptions*>{nullptr, &tiled, &layered}) {
    const Bytes expected = encode(pixels, "jp2", options);
    const Bytes decoded = convert(expected, "ppm");
    for (const int threads : {2, 3, 8}) {
      MoxcRun run = sized<MoxcRun>();
      run.threads = threads;
      EXPECT_EQ(expected, encode(pixels, "jp2", options, &run));
      EXPECT_EQ(decoded, convert(expected, "ppm", nullptr, nullptr, &run));
      Executions executions;
      run.executor = execute;
      run.executorContext = &executions;
      EXPECT_EQ(expected, encode(pixels, "jp2", options, &run));
      EXPECT_EQ(decoded, convert(expected, "ppm", nullptr, nullptr, &run));
      EXPECT_LT(0, executions.calls);
      EXPECT_GE(threads, executions.largest);
    }
  }
}

TEST(Run, ThreadsHaveARange) {
  const Pixels pixels = picture(moxcGrey, 30, 20);
  MoxcRun run = sized<MoxcRun>();
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
  const Report report;
  for (const int threads : {-1, 1025}) {
    run.threads = threads;
    EXPECT_EQ(moxcBadOption, moxcEncode(&pixels.pixels, "jp2", nullptr, nullptr, 0, &target, &run, report));
    EXPECT_STREQ("threads", moxcReportOption(report));
  }
}

std::size_t threadsOfProcess() {
  namespace fs = std::filesystem;
  return static_cast<std::size_t>(std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator()));
}

// Not even for rows so long that the functions of libmoxj would share them among threads that stay.
TEST(Run, StartsNoThreadsUnlessItIsAsked) {
  const std::size_t before = threadsOfProcess();
  const Pixels pixels = picture(moxcRgb, 20000, 20);
  for (const char* const format : {"jpg", "jp2", "png", "ppm"}) {
    const Bytes file = encode(pixels, format);
    for (const MoxcLayout layout : {moxcGrey, moxcBgra, moxcRgb565}) {
      const Pixels to = blank(layout, 20000, 20, layout == moxcRgb565 ? 16 : 8);
      decodeInto(file, to);
    }
    convert(file, "jpg");
    EXPECT_EQ(before, threadsOfProcess()) << format;
  }
}

// ---- Progress -----------------------------------------------------------------------------------------------------

struct Progress {
  int calls = 0, cancelAt = -1;
  std::uint64_t last = 0, total = 0;
  int rounds = 0;  // how often it ran from the start
  std::thread::id thread = std::this_thread::get_id();
};

int progress(void* context, uint64_t done, uint64_t total) {
  Progress& state = *static_cast<Progress*>(context);
  EXPECT_EQ(state.thread, std::this_thread::get_id());
  EXPECT_LE(done, total);
  if (state.calls == 0 || done < state.last) ++state.rounds;
  state.last = done;
  state.total = total;
  return state.calls++ == state.cancelAt ? 7 : 0;
}

// A function of the interface in one of its uses. What it makes is freed again.
struct Call {
  std::string name;
  std::function<MoxcKind(const MoxcRun*, MoxcReport*)> run;
};

struct Inputs {
  Pixels rgb = picture(moxcRgb, 50, 40), deep = picture(moxcRgba, 50, 40, 16);
  Bytes jpeg = encode(rgb, "jpg"), progressive, lossless, jp2 = encode(deep, "jp2"), tiled, png = encode(deep, "png"),
        ppm = encode(rgb, "ppm");
  Inputs() {
    MoxcWriteOptions options;
    moxcWriteOptionsInit(&options);
    options.progressive = 1;
    progressive = encode(rgb, "jpg", &options);
    moxcWriteOptionsInit(&options);
    options.lossless = 1;
    lossless = encode(rgb, "jpg", &options);
    moxcWriteOptionsInit(&options);
    options.tileWidth = options.tileHeight = 20;
    tiled = encode(rgb, "jp2", &options);
  }
};

MoxcKind decodeOnce(const Bytes& file, MoxcLayout layout, const MoxcRun* run, MoxcReport* report) {
  const MoxcSource from = source(file);
  MoxcWanted wanted = sized<MoxcWanted>();
  wanted.layout = layout;
  MoxcPicture* picture = nullptr;
  const MoxcKind kind = moxcDecode(&from, nullptr, &wanted, run, &picture, report);
  EXPECT_EQ(kind == moxcOk, picture != nullptr);
  moxcPictureFree(picture);
  return kind;
}

std::vector<Call> calls(const Inputs& in) {
  std::vector<Call> all;
  const auto add = [&](const std::string& name, auto run) { all.push_back({name, run}); };
  const std::pair<const char*, const Bytes*> files[] = {{"jpg", &in.jpeg},
                                                        {"progressive", &in.progressive},
                                                        {"lossless", &in.lossless},
                                                        {"jp2", &in.jp2},
                                                        {"tiled", &in.tiled},
                                                        {"png", &in.png},
                                                        {"ppm", &in.ppm}};
  for (const auto& [name, file] : files) {
    for (const MoxcLayout layout : {static_cast<MoxcLayout>(0), moxcBgra, moxcRgb565})
      add(std::string("decode ") + name, [file = file, layout](const MoxcRun* run, MoxcReport* report) {
        return decodeOnce(*file, layout, run, report);
      });
    for (const char* const format : {"jpg", "jp2", "png", "ppm"})
      add(std::string("convert ") + name + " to " + format, [=, file = file](const MoxcRun* run, MoxcReport* report) {
        return toMemory([&](const MoxcTarget& target) {
          const MoxcSource from = source(*file);
          return moxcConvert(&from, nullptr, format, nullptr, &target, run, report);
        });
      });
    add(std::string("compare ") + name, [&in, file = file](const MoxcRun* run, MoxcReport* report) {
      const MoxcSource a = source(*file), b = source(in.png);
      MoxcComparison comparison = sized<MoxcComparison>();
      return moxcCompare(&a, &b, run, &comparison, report, report);
    });
  }
  MoxcWriteOptions plain, optimize, lossless, layered;
  for (MoxcWriteOptions* options : {&plain, &optimize, &lossless, &layered}) moxcWriteOptionsInit(options);
  optimize.optimize = 1;
  lossless.lossless = 1;
  layered.ratio = 3;
  layered.layers = 3;
  const std::tuple<const char*, const char*, MoxcWriteOptions> writes[] = {
      {"baseline", "jpg", plain},  {"optimised", "jpg", optimize}, {"lossless", "jpg", lossless}, {"jp2", "jp2", plain},
      {"layered", "jp2", layered}, {"png", "png", plain},          {"ppm", "ppm", plain}};
  for (const auto& [name, format, options] : writes)
    add(std::string("encode ") + name,
        [&in, format = format, options = options](const MoxcRun* run, MoxcReport* report) {
          return toMemory([&](const MoxcTarget& target) {
            return moxcEncode(&in.rgb.pixels, format, &options, nullptr, 0, &target, run, report);
          });
        });
  for (const Bytes* const file : {&in.jpeg, &in.progressive})
    add("transcode", [file](const MoxcRun* run, MoxcReport* report) {
      return toMemory([&](const MoxcTarget& target) {
        const MoxcSource from = source(*file);
        return moxcTranscode(&from, nullptr, &target, run, report);
      });
    });
  add("planes", [&in](const MoxcRun* run, MoxcReport* report) {
    struct Outputs {
      void* bytes[4] = {};
      std::size_t counts[4] = {};
    } outputs;
    const MoxcSource from = source(in.jp2);
    const auto open = [](void* context, int32_t index, int32_t, MoxcTarget* target) {
      Outputs& outputs = *static_cast<Outputs*>(context);
      *target = moxcMemoryTarget(&outputs.bytes[index], &outputs.counts[index]);
      return 0;
    };
    const MoxcKind kind = moxcConvertPlanes(&from, nullptr, "pgx", open, &outputs, run, report);
    for (void* bytes : outputs.bytes) moxcFree(bytes);
    return kind;
  });
  return all;
}

TEST(Progress, ReachesItsEnd) {
  const Inputs inputs;
  for (const Call& call : calls(inputs)) {
    for (const int threads : {1, 2}) {
      SCOPED_TRACE(call.name);
      Progress state;
      MoxcRun run = sized<MoxcRun>();
      run.threads = threads;
      run.progress = progress;
      run.progressContext = &state;
      const Report report;
      EXPECT_EQ(moxcOk, call.run(&run, report)) << report.text();
      EXPECT_LT(0, state.calls);
      EXPECT_EQ(state.total, state.last);
      EXPECT_GE(4, state.rounds);
    }
  }
}

// Cancelled at any of its calls, nothing is left behind (the sanitizers see to that) and no other call follows.
TEST(Progress, CancelsAtEveryCall) {
  const Inputs inputs;
  for (const Call& call : calls(inputs)) {
    SCOPED_TRACE(call.name);
    for (int at = 0;; ++at) {
      Progress state;
      state.cancelAt = at;
      MoxcRun run = sized<MoxcRun>();
      run.progress = progress;
      run.progressContext = &state;
      const Report report;
      const MoxcKind kind = call.run(&run, report);
      if (state.calls <= at) {
        EXPECT_EQ(moxcOk, kind);
        break;
      }
      EXPECT_EQ(moxcCancelled, kind) << at;
      EXPECT_EQ("cancelled", report.text());
      EXPECT_EQ(at + 1, state.calls);
    }
  }
}

TEST(Progress, CancelsWithThreads) {
  const Inputs inputs;
  for (const Call& call : calls(inputs)) {
    SCOPED_TRACE(call.name);
    for (const int at : {0, 1, 5}) {
      Progress state;
      state.cancelAt = at;
      MoxcRun run = sized<MoxcRun>();
      run.threads = 3;
      run.progress = progress;
      run.progressContext = &state;
      const MoxcKind kind = call.run(&run, nullptr);
      EXPECT_EQ(state.calls > at ? moxcCancelled : moxcOk, kind);
    }
  }
}

}  // namespace
