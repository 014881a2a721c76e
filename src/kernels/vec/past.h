// Copies past the caches, for results that are larger than they are: an ordinary store fetches the line that it is
// about to overwrite, which is half of the memory traffic of such a result.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {

// Results from this size on: with a source of the same size they fill the part of the last cache that most processors
// have for one core.
inline constexpr int64_t kBytesPastCaches = int64_t{12} << 20;

// A copy whose whole cache lines go past the caches. After the last one pastStored() is due.
template <class V = VMax>
void copyPast(void* dst, const void* src, size_t bytes) {
  constexpr size_t kLine = 64, kStep = static_cast<size_t>(V::kBytes);
  char* to = static_cast<char*>(dst);
  const char* from = static_cast<const char*>(src);
  if constexpr (kHasStorePast) {
    const size_t lead = std::min(bytes, static_cast<size_t>(-reinterpret_cast<uintptr_t>(to) % kLine));
    std::memcpy(to, from, lead);
    to += lead, from += lead, bytes -= lead;
    for (; bytes >= kLine; bytes -= kLine)
      for (size_t i = 0; i < kLine; i += kStep, to += kStep, from += kStep) storePast(to, load<V>(from));
  }
  std::memcpy(to, from, bytes);
}

}  // namespace mox::MOX_TARGET
