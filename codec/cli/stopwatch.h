// How long a piece of work takes, on one thread or on several at once.
#pragma once

#include <functional>

#include "proof/bench.h"

namespace moxj::cli {

class Stopwatch {
 public:
  // `make` gives each thread a run with buffers of its own. They are made when they are needed first.
  explicit Stopwatch(std::function<proof::Run()> make) : make_(std::move(make)) {}

  // Nanoseconds per run, over about so many seconds. One thread: of its processor time, because other programs may
  // share the processor. Several: of elapsed time, in which all of them run; what each run takes of it. Throws
  // std::runtime_error if a run fails.
  double measure(double seconds, int threads);
  // The same of a run that has threads of its own: elapsed time.
  double measureElapsed(double seconds);

 private:
  double measureOne(double seconds, double (*clock)());
  double measureMany(double seconds, int threads);
  void prepare(int threads);

  std::function<proof::Run()> make_;
  std::vector<proof::Run> runs_;
  long batch_ = 0;  // runs between two looks at the clock
};

}  // namespace moxj::cli
