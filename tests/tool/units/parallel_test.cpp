// Tasks on several threads: each runs once.
#include "cli/parallel.h"

#include <gtest/gtest.h>

#include <mutex>
#include <set>

namespace moxj::cli {
namespace {

TEST(Parallel, EveryTaskRunsOnce) {
  for (const std::size_t threads : {1u, 2u, 5u, 40u})
    for (const std::size_t tasks : {0u, 1u, 2u, 7u, 1000u}) {
      std::vector<std::atomic<int>> runs(tasks);
      inParallel(threads, tasks, [&](std::size_t index) { ++runs[index]; });
      for (const std::atomic<int>& count : runs) EXPECT_EQ(count, 1);
    }
}

TEST(Parallel, NoMoreThreadsThanAskedFor) {
  std::mutex mutex;
  std::set<std::thread::id> threads;
  inParallel(3, 100, [&](std::size_t) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const std::lock_guard lock(mutex);
    threads.insert(std::this_thread::get_id());
  });
  EXPECT_LE(threads.size(), 3u);
  EXPECT_TRUE(threads.contains(std::this_thread::get_id()));
}

}  // namespace
}  // namespace moxj::cli
