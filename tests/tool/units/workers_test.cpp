// The pool of threads: every task once, in order, whatever is thrown and however few threads there are.
#include "base/workers.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace moxj {
namespace {

TEST(Workers, EveryTaskRunsOnce) {
  for (const int threads : {1, 2, 5}) {
    Workers workers(threads);
    for (const std::size_t tasks : {0u, 1u, 2u, 7u, 1000u}) {
      std::vector<std::atomic<int>> runs(tasks);
      workers.forEach(tasks, [&](int worker, std::size_t index) {
        EXPECT_LT(worker, threads);
        ++runs[index];
      });
      for (const auto& count : runs) EXPECT_EQ(count, 1);
    }
  }
}

// Also with lists so short that the threads are still about to wake up when the list has ended.
TEST(Workers, ThreadsAreUsedAgain) {
  Workers workers(4);
  std::mutex mutex;
  std::set<std::thread::id> threads;
  std::atomic<int> sum = 0;
  for (int list = 0; list < 2000; ++list) {
    workers.forEach(3, [&](int, std::size_t) {
      ++sum;
      const std::lock_guard lock(mutex);
      threads.insert(std::this_thread::get_id());
    });
  }
  EXPECT_EQ(sum, 6000);
  EXPECT_LE(threads.size(), 4u);
}

TEST(Workers, ATaskMayWaitForEarlierOnes) {
  Workers workers(3);
  for (int list = 0; list < 200; ++list) {
    Countdown before;
    before.set(10);
    std::atomic<int> done = 0;
    workers.forEach(11, [&](int, std::size_t index) {
      if (index < 10) {
        ++done;
        before.done();
      } else {
        before.wait();
        EXPECT_EQ(done, 10);
      }
    });
  }
}

TEST(Workers, ExceptionsReachTheCaller) {
  for (const int threads : {1, 3}) {
    Workers workers(threads);
    std::atomic<int> runs = 0;
    const auto work = [&](int, std::size_t index) {
      ++runs;
      if (index == 5) throw std::runtime_error("five");
    };
    EXPECT_THROW(workers.forEach(20, work), std::runtime_error);
    EXPECT_EQ(runs, 20);
    workers.forEach(20, [&](int, std::size_t) { ++runs; });
    EXPECT_EQ(runs, 40);
  }
}

TEST(Workers, TasksWithinATaskStayOnTheirWorker) {
  Workers workers(3);
  std::atomic<int> runs = 0;
  workers.forEach(30, [&](int outer, std::size_t) {
    const std::thread::id thread = std::this_thread::get_id();
    workers.forEach(4, [&](int inner, std::size_t) {
      EXPECT_EQ(inner, outer);
      EXPECT_EQ(std::this_thread::get_id(), thread);
      ++runs;
    });
  });
  EXPECT_EQ(runs, 120);
}

TEST(Batches, EveryTaskRunsOnce) {
  for (const int threads : {1, 2, 5}) {
    Workers workers(threads);
    Workers::Batch first(workers), second(workers);
    for (const std::size_t tasks : {1u, 2u, 7u, 100u}) {
      std::vector<std::atomic<int>> runs(tasks), others(tasks), between(tasks);
      first.start(tasks, [&](int worker, std::size_t index) {
        EXPECT_LT(worker, threads);
        ++runs[index];
      });
      second.start(tasks, [&](int, std::size_t index) { ++others[index]; });
      workers.forEach(tasks, [&](int, std::size_t index) { ++between[index]; });
      second.finish();
      first.finish();
      for (std::size_t i = 0; i < tasks; ++i) EXPECT_EQ(runs[i] + others[i] + between[i], 3);
    }
  }
}

// Without the one that started it.
TEST(Batches, ThreadsBeginAtOnce) {
  Workers workers(2);
  Workers::Batch batch(workers);
  std::atomic<bool> begun = false;
  ASSERT_TRUE(batch.start(1, [&](int, std::size_t) {
    begun = true;
    begun.notify_all();
  }));
  begun.wait(false);
  batch.finish();
}

TEST(Batches, ExceptionsReachTheCaller) {
  for (const int threads : {1, 3}) {
    Workers workers(threads);
    Workers::Batch batch(workers);
    std::atomic<int> runs = 0;
    batch.start(20, [&](int, std::size_t index) {
      ++runs;
      if (index == 5) throw std::runtime_error("five");
    });
    EXPECT_THROW(batch.finish(), std::runtime_error);
    EXPECT_EQ(runs, 20);
    batch.finish();  // there is nothing left
  }
}

TEST(Batches, WithoutThreadsTheTasksRunAtTheEnd) {
  const auto inOrder = [](int tasks, const std::function<void(int)>& task) {
    for (int i = 0; i < tasks; ++i) task(i);
  };
  for (const Executor& executor : {Executor(), Executor(inOrder)}) {
    Workers workers(executor ? 3 : 1, executor);
    Workers::Batch batch(workers), other(workers);
    int runs = 0;
    EXPECT_FALSE(batch.start(5, [&](int, std::size_t) { ++runs; }));
    EXPECT_FALSE(other.start(5, [&](int, std::size_t) { ++runs; }));
    EXPECT_EQ(runs, 0);
    batch.finish(&other);
    EXPECT_EQ(runs, 5);
    other.finish();
    EXPECT_EQ(runs, 10);
  }
}

TEST(Batches, TheEndWaitsForTasksThatRun) {
  for (const int threads : {1, 3}) {
    Workers workers(threads);
    std::atomic<int> begun = 0, ended = 0;
    {
      Workers::Batch batch(workers);
      batch.start(50, [&](int, std::size_t) {
        ++begun;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ++ended;
      });
    }
    EXPECT_EQ(begun, ended);
  }
}

// In a process of its own, which has no room for the stacks of so many threads.
void workWithLittleAddressSpace() {
  const rlimit little = {std::size_t{400} << 20, std::size_t{400} << 20};
  setrlimit(RLIMIT_AS, &little);
  Workers workers(1000);
  std::atomic<int> runs = 0;
  for (int list = 0; list < 3; ++list) workers.forEach(1000, [&](int, std::size_t) { ++runs; });
  std::_Exit(runs == 3000 ? 0 : 1);
}

TEST(Workers, FewerThreadsWhereNoMoreCanBeStarted) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "sanitizers need more address space";
#endif
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(workWithLittleAddressSpace(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace moxj
