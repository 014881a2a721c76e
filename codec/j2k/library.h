// Objects of the library with owners, and its statuses where they can only mean a fault of the codec itself.
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

// Regions of more pixels than this are split among threads by the library.
inline constexpr int kPixelsOfOneThread = 8192;

}  // namespace moxj::j2k
