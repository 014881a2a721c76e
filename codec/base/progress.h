// A callback that reports progress and can cancel the work. It is called at a moderate rate (once per MCU row, for
// example), always from the thread that called the coder.
#pragma once

#include <cstdint>
#include <functional>

#include "base/problem.h"

namespace moxj {

// Returns whether to go on.
using Progress = std::function<bool(std::uint64_t done, std::uint64_t total)>;

[[noreturn]] inline void failCancelled() { fail(Kind::cancelled, "cancelled"); }

// Throws Problem (cancelled) if the callback says so. There may be no callback.
template <class Done, class Total>
void reportProgress(const Progress& progress, Done done, Total total) {
  if (progress && !progress(static_cast<std::uint64_t>(done), static_cast<std::uint64_t>(total))) failCancelled();
}

}  // namespace moxj
