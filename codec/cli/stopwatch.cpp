#include "cli/stopwatch.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <exception>
#include <stdexcept>
#include <string>
#include <thread>

namespace moxj::cli {

namespace {

constexpr double kBatch = 5e-5;  // seconds; a look at the clock may take a microsecond in a virtual machine

double processorTime() {
  timespec time = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

double elapsedTime() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void runMany(const proof::Run& run, long count) {
  for (long i = 0; i < count; ++i)
    if (const MoxStatus status = run(); status < 0)
      throw std::runtime_error("a call fails with status " + std::to_string(static_cast<int>(status)));
}

}  // namespace

void Stopwatch::prepare(int threads) {
  while (runs_.size() < static_cast<std::size_t>(threads)) {
    runs_.push_back(make_());
    runMany(runs_.back(), 1);
  }
  for (batch_ = std::max(batch_, 1L);; batch_ *= 2) {
    const double begin = processorTime();
    runMany(runs_[0], batch_);
    if (processorTime() - begin >= kBatch / 2) return;
  }
}

double Stopwatch::measureOne(double seconds, double (*clock)()) {
  const double begin = clock();
  long count = 0;
  for (double now = begin; now - begin < seconds || count == 0; now = clock(), count += batch_)
    runMany(runs_[0], batch_);
  return (clock() - begin) / static_cast<double>(count) * 1e9;
}

namespace {

// Threads that wait for `begun` and work until `ended`. They are joined however the block is left, also when one of
// them cannot be started.
class Helpers {
 public:
  ~Helpers() { join(); }
  template <class Work>
  void start(const Work& work) {
    threads_.emplace_back([this, work] {
      ++ready_;
      while (!begun) std::this_thread::yield();
      work();
    });
  }
  void begin() {
    while (ready_ < threads_.size()) std::this_thread::yield();
    begun = true;
  }
  void join() {
    ended = begun = true;
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
  }

  std::atomic<bool> begun = false, ended = false;

 private:
  std::atomic<std::size_t> ready_ = 0;
  std::vector<std::thread> threads_;
};

}  // namespace

double Stopwatch::measureMany(double seconds, int threads) {
  std::atomic<bool> failed = false;
  std::atomic<long> count = 0;
  std::vector<std::exception_ptr> failures(static_cast<std::size_t>(threads));
  Helpers helpers;
  for (std::size_t i = 0; i < failures.size(); ++i)
    helpers.start([&, i] {
      try {
        while (!helpers.ended) {
          runMany(runs_[i], batch_);
          if (!helpers.ended) count += batch_;
        }
      } catch (...) {
        failures[i] = std::current_exception();
        failed = true;
      }
    });
  helpers.begin();
  const double begin = elapsedTime();
  // A run may take longer than the time that is given.
  do std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  while (count == 0 && !failed);
  helpers.ended = true;
  const double time = elapsedTime() - begin;
  const long done = count;
  helpers.join();
  for (const std::exception_ptr& failure : failures)
    if (failure) std::rethrow_exception(failure);
  return time / static_cast<double>(done) * 1e9;
}

double Stopwatch::measure(double seconds, int threads) {
  prepare(threads);
  return threads == 1 ? measureOne(seconds, processorTime) : measureMany(seconds, threads);
}

double Stopwatch::measureElapsed(double seconds) {
  prepare(1);
  return measureOne(seconds, elapsedTime);
}

}  // namespace moxj::cli
