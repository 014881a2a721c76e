// How a call runs: limits, threads, progress.
#pragma once

#include "moxcodec.h"
#include "pictures/work.h"

namespace moxj::api {

// What is kept of the progress that was reported.
struct LastProgress {
  std::uint64_t done = 0, total = 0;
};

class Run {
 public:
  // Throws Problem (badOption) or BadArgument.
  explicit Run(const MoxcRun* run);
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  // Reports that all is done, unless that was the last report: readers do not know what the writers have left to do.
  // Throws Problem (cancelled). Called before the caller gets the result.
  void complete();

 private:
  LastProgress last_;

 public:
  Work work;
};

}  // namespace moxj::api
