// Limits, threads and progress of a call.
#include "api/run.h"

#include <algorithm>

#include "api/checks.h"
#include "api/structs.h"

namespace moxj::api {

namespace {

constexpr Range<MoxcRun> kRunRanges[] = {{&MoxcRun::threads, "threads", 0, 1024}};
constexpr Range<MoxcLimits> kLimitRanges[] = {{&MoxcLimits::maxScans, "maxScans", 0, INT32_MAX}};

Limits limitsOf(const MoxcLimits* given) {
  const MoxcLimits from = api::given(given, "limits");
  checkRanges(from, kLimitRanges);
  Limits limits;
  if (from.maxPixels) limits.maxPixels = from.maxPixels;
  if (from.maxMemory) limits.maxMemory = from.maxMemory;
  if (from.maxScans) limits.maxScans = from.maxScans;
  return limits;
}

Progress progressOf(const MoxcRun& run, LastProgress& last) {
  if (!run.progress) return {};
  return [call = run.progress, context = run.progressContext, &last](std::uint64_t done, std::uint64_t total) {
    last = {done, total};
    return call(context, done, total) == 0;
  };
}

Executor executorOf(const MoxcRun& run) {
  if (!run.executor) return {};
  using Task = std::function<void(int)>;
  return [call = run.executor, context = run.executorContext](int tasks, const Task& task) {
    call(
        context, tasks, [](void* argument, std::int32_t index) { (*static_cast<const Task*>(argument))(index); },
        const_cast<Task*>(&task));
  };
}

Work workOf(const MoxcRun* run, LastProgress& last) {
  const MoxcRun from = given(run, "run");
  checkRanges(from, kRunRanges);
  return Work(limitsOf(from.limits), progressOf(from, last), from.threads ? from.threads : 1, executorOf(from));
}

}  // namespace

Run::Run(const MoxcRun* run) : work(workOf(run, last_)) {}

void Run::complete() {
  const std::uint64_t total = std::max<std::uint64_t>(last_.total, 1);
  if (last_.done != total) reportProgress(work.progress, total, total);
}

}  // namespace moxj::api
