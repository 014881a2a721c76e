// Checks statuses of the library that can only mean a bug in the codec.
#pragma once

#include <memory>
#include <new>
#include <stdexcept>
#include <string>

#include "moxj.h"

namespace moxj::j2k {

inline void require(MoxStatus status, const char* what) {
  if (status == moxStatusNoMemory) throw std::bad_alloc();
  if (status < 0) [[unlikely]]
    throw std::logic_error(std::string(what) + " failed with status " + std::to_string(status));
}

// The library splits larger regions among threads.
inline constexpr int kPixelsOfOneThread = 8192;

}  // namespace moxj::j2k
