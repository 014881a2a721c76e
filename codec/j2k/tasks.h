// Runs a list of tasks on several threads: each thread takes the next task in the order of the list.
#pragma once

#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace moxj::j2k {

// Calls work(worker, index) for each index below `count`; workers are numbered from 0. A task may wait for earlier
// ones. The first exception is rethrown when all workers have finished.
template <class Work>
void forEachTask(std::size_t count, int threads, const Work& work) {
  std::atomic<std::size_t> next = 0;
  std::exception_ptr failure;
  std::mutex mutex;
  const auto run = [&](int worker) {
    for (std::size_t index; (index = next++) < count;) {
      try {
        work(worker, index);
      } catch (...) {
        const std::lock_guard lock(mutex);
        if (!failure) failure = std::current_exception();
      }
    }
  };
  {
    std::vector<std::jthread> others;
    for (int worker = 1; worker < threads && static_cast<std::size_t>(worker) < count; ++worker)
      others.emplace_back(run, worker);
    run(0);
  }
  if (failure) std::rethrow_exception(failure);
}

// A counter that threads can wait on until it reaches 0.
class Countdown {
 public:
  void set(std::size_t count) { left_ = count; }
  void done() {
    if (--left_ == 0) left_.notify_all();
  }
  void wait() const {
    for (std::size_t left; (left = left_) != 0;) left_.wait(left);
  }

 private:
  std::atomic<std::size_t> left_ = 0;
};

}  // namespace moxj::j2k
