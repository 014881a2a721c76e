// The threads of a pool sleep until a list of tasks is published, and join it only as long as it has tasks left: so the
// end of a list waits for the threads at work on it, never for one that still has to wake up.
#include "base/workers.h"

#include <algorithm>
#include <new>
#include <system_error>

namespace moxj {

namespace {

// The pool that the current thread works for, and its number there.
thread_local const Workers* poolOfThread = nullptr;
thread_local int numberOfThread = 0;

class AtWork {
 public:
  AtWork(const Workers* pool, int worker) : pool_(poolOfThread), worker_(numberOfThread) {
    poolOfThread = pool;
    numberOfThread = worker;
  }
  ~AtWork() {
    poolOfThread = pool_;
    numberOfThread = worker_;
  }
  AtWork(const AtWork&) = delete;
  AtWork& operator=(const AtWork&) = delete;

 private:
  const Workers* pool_;
  int worker_;
};

}  // namespace

Workers::~Workers() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  called_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void Workers::run(std::size_t tasks, const Task& task) {
  Job job(task, tasks);
  const bool nested = poolOfThread == this;
  const std::size_t wanted = nested || tasks == 0 ? 0 : std::min(tasks, static_cast<std::size_t>(count_)) - 1;
  if (wanted > threads_.size()) startThreads(wanted);
  const std::size_t helpers = std::min(wanted, threads_.size());
  if (helpers == 0) {
    workOn(job, nested ? numberOfThread : 0);
  } else {
    {
      const std::lock_guard lock(mutex_);
      job_ = &job;
    }
    for (std::size_t i = 0; i < helpers; ++i) called_.notify_one();
    workOn(job, 0);
    std::unique_lock lock(mutex_);
    job_ = nullptr;
    left_.wait(lock, [&] { return job.helpers == 0; });
  }
  if (job.failure) std::rethrow_exception(job.failure);
}

void Workers::startThreads(std::size_t wanted) {
  try {
    while (!full_ && threads_.size() < wanted) {
      const int worker = static_cast<int>(threads_.size()) + 1;
      threads_.emplace_back([this, worker] { help(worker); });
    }
  } catch (const std::system_error&) {
    full_ = true;
  } catch (const std::bad_alloc&) {
    full_ = true;
  }
}

void Workers::help(int worker) {
  std::unique_lock lock(mutex_);
  for (;;) {
    called_.wait(lock, [&] { return ending_ || (job_ && job_->next < job_->tasks); });
    if (ending_) return;
    Job& job = *job_;
    ++job.helpers;
    lock.unlock();
    workOn(job, worker);
    lock.lock();
    if (--job.helpers == 0) left_.notify_one();
  }
}

void Workers::workOn(Job& job, int worker) {
  const AtWork atWork(this, worker);
  for (std::size_t index; (index = job.next++) < job.tasks;) {
    try {
      job.task(worker, index);
    } catch (...) {
      const std::lock_guard lock(mutex_);
      if (!job.failure) job.failure = std::current_exception();
    }
  }
}

}  // namespace moxj
