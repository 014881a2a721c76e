// A pool of threads that is made once and used for many lists of tasks.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace moxj {

// Only one thread at a time may use a pool. The thread that calls forEach() works too, so a pool of one starts no
// threads. Threads are started when there are tasks for them; if one cannot be started, the others do its work.
class Workers {
 public:
  explicit Workers(int count) : count_(count) {}
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  int count() const { return count_; }  // at most

  // Calls work(worker, index) for each index below `tasks`; workers are numbered from 0. Tasks are started in the order
  // of their indices, so a task may wait for earlier ones. All tasks run, then the first exception is rethrown. Within
  // a task of the same pool, the tasks run one after the other on the calling worker.
  template <class Work>
  void forEach(std::size_t tasks, const Work& work) {
    run(tasks, std::cref(work));
  }

 private:
  using Task = std::function<void(int worker, std::size_t index)>;
  struct Job {
    Job(const Task& t, std::size_t count) : task(t), tasks(count) {}
    const Task& task;
    std::size_t tasks;
    std::atomic<std::size_t> next = 0;
    int helpers = 0;             // guarded by mutex_
    std::exception_ptr failure;  // guarded by mutex_
  };

  void run(std::size_t tasks, const Task& task);
  void startThreads(std::size_t wanted);
  void help(int worker);
  void workOn(Job& job, int worker);

  int count_;
  bool full_ = false;  // no more threads can be started
  std::vector<std::thread> threads_;
  std::mutex mutex_;
  std::condition_variable called_, left_;
  Job* job_ = nullptr;
  bool ending_ = false;
};

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

}  // namespace moxj
