// The threads of a pool sleep until a list of tasks is published, and join it only as long as it has tasks left: so the
// end of a list waits for the threads at work on it, never for one that still has to wake up.
#include "base/workers.h"

#include <algorithm>
#include <new>
#include <system_error>

#include "base/arithmetic.h"

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

void Workers::run(std::size_t tasks, const Task& task, const Report& report) {
  if (tasks == 0) return;
  const bool nested = poolOfThread == this;
  const std::size_t wanted = nested ? 0 : std::min(tasks, static_cast<std::size_t>(count_)) - 1;
  if (wanted > 0 && executor_) return runWithExecutor(tasks, task, report);
  if (wanted > threads_.size()) startThreads(wanted);
  const std::size_t helpers = std::min(wanted, threads_.size());
  Job job(task, report, 0, tasks);
  if (helpers == 0)
    workOn(job, nested ? numberOfThread : 0);
  else
    runWithThreads(job, helpers);
  if (job.failure) std::rethrow_exception(job.failure);
  if (report) report(tasks);
}

void Workers::runWithThreads(Job& job, std::size_t helpers) {
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

// The calling thread may only wait for the executor, so it could not report progress before the end: with a report, the
// executor gets the tasks in several parts. What it leaves undone is done by the calling thread.
void Workers::runWithExecutor(std::size_t tasks, const Task& task, const Report& report) {
  constexpr std::size_t kParts = 64, kTasksOfALoop = 4;
  const auto loops = static_cast<std::size_t>(count_);
  const std::size_t part = report ? std::max(ceilDiv(tasks, kParts), loops * kTasksOfALoop) : tasks;
  for (std::size_t first = 0; first < tasks; first += part) {
    const std::size_t end = std::min(first + part, tasks);
    Job job(task, report, first, end);
    executor_(static_cast<int>(std::min(loops, end - first)), [&](int loop) { workOn(job, loop); });
    workOn(job, 0);
    if (job.failure) std::rethrow_exception(job.failure);
    if (report) report(end);
  }
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
    called_.wait(lock, [&] { return ending_ || (job_ && job_->next < job_->end); });
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
  const bool reports = job.report && std::this_thread::get_id() == job.caller;
  for (std::size_t index; (index = job.next++) < job.end;) {
    try {
      job.task(worker, index);
      const std::size_t done = ++job.done;
      if (reports && done < job.end) job.report(done);
    } catch (...) {
      if (job.report) job.next = job.end;
      const std::lock_guard lock(mutex_);
      if (!job.failure) job.failure = std::current_exception();
    }
  }
}

}  // namespace moxj
