// What all steps of one job share: limits, memory, progress and threads.
#pragma once

#include <utility>

#include "base/budget.h"
#include "base/progress.h"
#include "base/workers.h"
#include "pictures/picture.h"

namespace moxj {

// A job is one conversion, description or comparison. Readers report progress while they push rows, and before that if
// they decode the whole picture first; writers only in end(), if they have long work left then. So a conversion in
// strips reports once, and one that collects the whole picture runs from 0 to 100 % twice.
struct Work {
  explicit Work(const Limits& l = {}, Progress p = {}, int threads = 1, Executor executor = {})
      : limits(l), budget(l.maxMemory), progress(std::move(p)), workers(threads, std::move(executor)) {}

  Limits limits;
  Budget budget;
  Progress progress;
  Workers workers;
};

}  // namespace moxj
