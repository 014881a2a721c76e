// The caller's threads instead of the library's: executors that run tasks one after the other, and in a pool.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <set>
#include <thread>

#include "base/workers.h"
#include "j2k/support.h"

namespace moxj::j2k {
namespace {

using test::File;
using test::picture;

// On the calling thread, in order.
void inOrder(int tasks, const std::function<void(int)>& task) {
  for (int i = 0; i < tasks; ++i) task(i);
}

// On threads of its own, while the caller waits.
void onThreads(int tasks, const std::function<void(int)>& task) {
  std::vector<std::thread> threads;
  for (int i = 0; i < tasks; ++i) threads.emplace_back(task, i);
  for (std::thread& thread : threads) thread.join();
}

// Which forgets all but the first.
void onlyOne(int, const std::function<void(int)>& task) { task(0); }

const std::vector<Executor> kExecutors = {inOrder, onThreads, onlyOne};

TEST(Executors, EveryTaskRunsOnceAndInOrder) {
  for (const Executor& executor : kExecutors) {
    Workers workers(4, executor);
    for (const std::size_t tasks : {0u, 1u, 2u, 7u, 1000u}) {
      std::vector<std::atomic<int>> runs(tasks);
      std::size_t reported = 0;
      const auto report = [&](std::size_t done) {
        EXPECT_GE(done, reported);
        reported = done;
      };
      // Each task waits for the one before.
      std::vector<Countdown> done(tasks);
      for (Countdown& one : done) one.set(1);
      const auto work = [&](int worker, std::size_t index) {
        EXPECT_LT(worker, 4);
        if (index > 0) done[index - 1].wait();
        ++runs[index];
        done[index].done();
      };
      workers.forEach(tasks, work);
      for (const auto& count : runs) EXPECT_EQ(count, 1);
      for (Countdown& one : done) one.set(1);
      workers.forEach(tasks, work, report);
      for (const auto& count : runs) EXPECT_EQ(count, 2);
      EXPECT_EQ(reported, tasks);
    }
  }
}

TEST(Executors, NoThreadsAreStarted) {
  Workers workers(4, inOrder);
  workers.forEach(
      100, [caller = std::this_thread::get_id()](int, std::size_t) { EXPECT_EQ(std::this_thread::get_id(), caller); });
}

TEST(Executors, ExceptionsReachTheCaller) {
  for (const Executor& executor : kExecutors) {
    Workers workers(3, executor);
    std::atomic<int> runs = 0;
    const auto work = [&](int, std::size_t index) {
      ++runs;
      if (index == 5) throw std::runtime_error("five");
    };
    EXPECT_THROW(workers.forEach(20, work), std::runtime_error);
    EXPECT_EQ(runs, 20);
  }
}

// With a report, the list ends soon after an exception, be it of a task or of the report.
TEST(Executors, AReportEndsTheList) {
  for (const Executor& executor : {Executor(), kExecutors[0], kExecutors[1], kExecutors[2]}) {
    Workers workers(3, executor);
    std::atomic<int> runs = 0;
    const auto takeTime = [&] {
      ++runs;
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    };
    EXPECT_THROW(
        workers.forEach(
            3000, [&](int, std::size_t) { takeTime(); }, [](std::size_t) { throw std::runtime_error("stop"); }),
        std::runtime_error);
    EXPECT_LT(runs, 3000);
    runs = 0;
    const auto work = [&](int, std::size_t index) {
      takeTime();
      if (index == 5) throw std::runtime_error("five");
    };
    EXPECT_THROW(workers.forEach(3000, work, [](std::size_t) {}), std::runtime_error);
    EXPECT_LT(runs, 3000);
    runs = 0;
    workers.forEach(100, [&](int, std::size_t) { ++runs; });
    EXPECT_EQ(runs, 100);
  }
}

// An untiled picture shows progress, always from the calling thread, although that one only waits for the executor.
TEST(Executors, TheCodecUsesThem) {
  const Picture original = picture(300, 200, 3, 8);
  EncodeOptions options;
  options.goals = {Goals::ratio, {3}};
  options.blockWidth = options.blockHeight = 16;
  const File expected = test::encoded(original, options);
  for (const Executor& executor : kExecutors) {
    int calls = 0;
    const std::thread::id caller = std::this_thread::get_id();
    const Progress progress = [&](std::uint64_t, std::uint64_t) {
      EXPECT_EQ(std::this_thread::get_id(), caller);
      return ++calls > 0;
    };
    Work work({}, progress, 3, executor);
    EXPECT_EQ(test::encoded(original, options, work), expected);
    EXPECT_GT(calls, 20);
    calls = 0;
    Work reading({}, progress, 3, executor);
    EXPECT_TRUE(test::equalSamples(decode(expected, {}, reading).picture, test::decoded(expected)));
    EXPECT_GT(calls, 20);
  }
}

}  // namespace
}  // namespace moxj::j2k
