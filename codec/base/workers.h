// A pool of threads that is made once and used for many lists of tasks, or the caller's own threads.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace moxj {

// Runs task(index) for each index below `tasks`, on any threads and in any order, and returns when all have returned.
using Executor = std::function<void(int tasks, const std::function<void(int index)>& task)>;

// Only one thread at a time may use a pool. The thread that calls forEach() works too, so a pool of one starts no
// threads. Threads are started when there are tasks for them; if one cannot be started, the others do its work. With an
// executor no threads are started: each forEach() hands it at most `count` loops over the tasks that are left.
class Workers {
 public:
  class Batch;

  // Gets the number of tasks that are done.
  using Report = std::function<void(std::size_t done)>;

  explicit Workers(int count, Executor executor = {}) : count_(count), executor_(std::move(executor)) {}
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  int count() const { return count_; }  // at most

  // Calls work(worker, index) for each index below `tasks`; workers are numbered from 0. Tasks are started in the order
  // of their indices, so a task may wait for earlier ones. All tasks run, then the first exception is rethrown. Within
  // a task of the same pool, the tasks run one after the other on the calling worker.
  //
  // `report` is called now and then, always by the calling thread, at last when all tasks are done. With it, no more
  // tasks are started after the first exception, which may also be that of `report`.
  template <class Work>
  void forEach(std::size_t tasks, const Work& work, const Report& report = {}) {
    run(tasks, std::cref(work), report);
  }

 private:
  using Task = std::function<void(int worker, std::size_t index)>;
  struct Job {
    Job(const Task& t, const Report& r, std::size_t first, std::size_t last)
        : task(t), report(r), next(first), end(last), done(first) {}
    const Task& task;
    const Report& report;
    const std::thread::id caller = std::this_thread::get_id();
    std::atomic<std::size_t> next;
    const std::size_t end;
    std::atomic<std::size_t> done;
    int helpers = 0;             // guarded by mutex_
    std::exception_ptr failure;  // guarded by mutex_
  };

  bool nested() const;  // the current thread runs a task of this pool
  void run(std::size_t tasks, const Task& task, const Report& report);
  void runWithExecutor(std::size_t tasks, const Task& task, const Report& report);
  bool publish(Job& job, std::size_t helpers);  // false: there are no threads for it
  void retire(Job& job);
  void startThreads(std::size_t wanted);
  void help(int worker);
  void workOn(Job& job, int worker);
  bool workOnce(Job& job, int worker);  // false: no task is left

  int count_;
  Executor executor_;
  bool full_ = false;  // no more threads can be started
  std::vector<std::thread> threads_;
  std::mutex mutex_;
  std::condition_variable called_, left_;
  std::vector<Job*> jobs_;  // that are published; guarded by mutex_
  bool ending_ = false;
};

// A list of tasks that the threads of a pool begin at once, while the thread that started it does something else. With
// an executor, or without threads, all of them run in finish().
class Workers::Batch {
 public:
  using Task = Workers::Task;

  explicit Batch(Workers& workers) : workers_(workers) {}
  ~Batch() { abandon(); }
  Batch(const Batch&) = delete;
  Batch& operator=(const Batch&) = delete;

  // Tasks are started in the order of their indices. The last list must be finished. False if no thread can begin: all
  // tasks run in finish().
  bool start(std::size_t tasks, Task task);
  // Works on what is left, then on the tasks of `other`, if it is given, until all tasks have ended; rethrows the first
  // exception.
  void finish(Batch* other = nullptr);

 private:
  void abandon();  // starts no more tasks, and waits for those that run

  Workers& workers_;
  Task task_;
  Report report_;  // none
  std::optional<Job> job_;
  bool published_ = false;
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
