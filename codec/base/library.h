// Calls of the library that the codec makes in a safe way.
#pragma once

#include <new>
#include <string>

#include "base/problem.h"
#include "moxj.h"

namespace moxj {

[[noreturn, gnu::noinline, gnu::cold]] inline void failWith(MoxStatus status, const char* what) {
  if (status == moxStatusNoMemory) throw std::bad_alloc();
  fail(Kind::internal, std::string(what) + " failed with status " + std::to_string(status));
}

// For calls that can fail only for want of memory, because the codec has checked the arguments.
inline void require(MoxStatus status, const char* what) {
  if (status < 0) [[unlikely]]
    failWith(status, what);
}

// The library splits larger regions among threads, which does not pay for a single row.
inline constexpr int kPixelsOfOneThread = 8192;

}  // namespace moxj
