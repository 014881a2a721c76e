// Independent tasks on several threads.
#pragma once

#include <atomic>
#include <cstddef>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

namespace moxj::cli {

// Calls work(index), which must not throw, for each index below `tasks` on up to `threads` threads, the calling one
// included. Where fewer can be started, those do all the work.
template <class Work>
void inParallel(std::size_t threads, std::size_t tasks, const Work& work) {
  std::atomic<std::size_t> next = 0;
  const auto workOn = [&] {
    for (std::size_t index; (index = next++) < tasks;) work(index);
  };
  std::vector<std::thread> helpers;
  try {
    while (helpers.size() + 1 < threads && helpers.size() + 1 < tasks) helpers.emplace_back(workOn);
  } catch (const std::system_error&) {
  } catch (const std::bad_alloc&) {
  }
  workOn();
  for (std::thread& helper : helpers) helper.join();
}

}  // namespace moxj::cli
