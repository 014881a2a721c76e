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

bool Workers::nested() const { return poolOfThread == this; }

void Workers::run(std::size_t tasks, const Task& task, const Report& report) {
  if (tasks == 0) return;
  const bool inTask = nested();
  const std::size_t wanted = inTask ? 0 : std::min(tasks, static_cast<std::size_t>(count_)) - 1;
  if (wanted > 0 && executor_) return runWithExecutor(tasks, task, report);
  Job job(task, report, 0, tasks);
  const bool published = publish(job, wanted);
  workOn(job, inTask ? numberOfThread : 0);
  if (published) retire(job);
  if (job.failure) std::rethrow_exception(job.failure);
  if (report) report(tasks);
}

bool Workers::publish(Job& job, std::size_t helpers) {
  if (helpers > threads_.size()) startThreads(helpers);
  helpers = std::min(helpers, threads_.size());
  if (helpers == 0) return false;
  {
    const std::lock_guard lock(mutex_);
    jobs_.push_back(&job);
  }
  for (std::size_t i = 0; i < helpers; ++i) called_.notify_one();
  return true;
}

// Waits for the threads that are at work on the job.
void Workers::retire(Job& job) {
  std::unique_lock lock(mutex_);
  std::erase(jobs_, &job);
  left_.wait(lock, [&] { return job.helpers == 0; });
}

bool Workers::Batch::start(std::size_t tasks, Task task) {
  task_ = std::move(task);
  job_.emplace(task_, report_, 0, tasks);
  const bool alone = workers_.executor_ || workers_.nested();
  const std::size_t helpers = alone ? 0 : std::min(tasks, static_cast<std::size_t>(workers_.count_) - 1);
  published_ = workers_.publish(*job_, helpers);
  return published_;
}

void Workers::Batch::finish(Batch* other) {
  if (!job_) return;
  Job& job = *job_;
  if (workers_.executor_ && !workers_.nested() && job.end > 1 && workers_.count_ > 1) {
    const std::size_t loops = std::min(static_cast<std::size_t>(workers_.count_), job.end);
    workers_.executor_(static_cast<int>(loops), [&](int loop) { workers_.workOn(job, loop); });
  }
  const int worker = workers_.nested() ? numberOfThread : 0;
  workers_.workOn(job, worker);
  if (published_) {
    while (other && other->published_ && job.done < job.end && workers_.workOnce(*other->job_, worker)) {
    }
    workers_.retire(job);
  }
  published_ = false;
  const std::exception_ptr failure = job.failure;
  job_.reset();
  if (failure) std::rethrow_exception(failure);
}

void Workers::Batch::abandon() {
  if (!job_) return;
  job_->next = job_->end;
  if (published_) workers_.retire(*job_);
  job_.reset();
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
    auto found = jobs_.end();
    called_.wait(lock, [&] {
      found = std::ranges::find_if(jobs_, [](const Job* job) { return job->next < job->end; });
      return ending_ || found != jobs_.end();
    });
    if (ending_) return;
    Job& job = **found;
    ++job.helpers;
    lock.unlock();
    workOn(job, worker);
    lock.lock();
    if (--job.helpers == 0) left_.notify_one();
  }
}

void Workers::workOn(Job& job, int worker) {
  while (workOnce(job, worker)) {
  }
}

bool Workers::workOnce(Job& job, int worker) {
  const std::size_t index = job.next++;
  if (index >= job.end) return false;
  const AtWork atWork(this, worker);
  const bool reports = job.report && std::this_thread::get_id() == job.caller;
  try {
    job.task(worker, index);
    const std::size_t done = ++job.done;
    if (reports && done < job.end) job.report(done);
  } catch (...) {
    if (job.report) job.next = job.end;
    const std::lock_guard lock(mutex_);
    if (!job.failure) job.failure = std::current_exception();
  }
  return true;
}

}  // namespace moxj
