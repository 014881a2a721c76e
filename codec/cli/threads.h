// How many threads the tool uses where its options give no number.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <thread>

#include "cli/limits.h"
#include "moxcore.h"

namespace moxj::cli {

// One for each processor that the process may use, or what the environment says. The tool divides its work itself, in
// larger parts than the rows that the functions of libmoxj share: their count stays 1 (oneThreadForRows).
inline int defaultThreads() {
  static const int count = [] {
    const int wanted = std::getenv("MOX_NUM_THREADS") ? moxGetNumThreads() : 0;
    return std::clamp(wanted > 0 ? wanted : static_cast<int>(std::thread::hardware_concurrency()), 1, kMaxThreads);
  }();
  return count;
}

// To be called after defaultThreads(), and before any work.
inline void oneThreadForRows() { moxSetNumThreads(1); }

}  // namespace moxj::cli
