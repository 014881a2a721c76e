// Calls of the library that the codec makes in a safe way.
#pragma once

#include <new>
#include <string>

#include "base/problem.h"
#include "moxj.h"

namespace moxj {

// For calls that cannot fail but for want of memory, because the codec has checked the arguments.
inline void require(MoxStatus status, const char* what) {
  if (status == moxStatusNoMemory) [[unlikely]]
    throw std::bad_alloc();
  if (status < 0) [[unlikely]]
    fail(Kind::internal, std::string(what) + " failed with status " + std::to_string(status));
}

// The library splits larger regions among threads, which does not pay for a single row.
inline constexpr int kPixelsOfOneThread = 8192;

}  // namespace moxj
