// Damages files as storage and transport do.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace test {

// A copy that is truncated, has an extra or a missing byte, or wrong bits: in the headers (`headerBytes` bytes from
// `headerStart` on) or anywhere.
inline std::vector<std::uint8_t> damaged(const std::vector<std::uint8_t>& original, std::mt19937& random,
                                         std::size_t headerStart, std::size_t headerBytes) {
  const auto below = [&](std::size_t count) { return static_cast<std::size_t>(random() % count); };
  const auto flip = [&](std::uint8_t& byte) { byte ^= static_cast<std::uint8_t>(1 << below(8)); };
  std::vector<std::uint8_t> file = original;
  switch (below(4)) {
    case 0:
      file.resize(below(file.size()));
      break;
    case 1: {
      const bool more = below(2) == 0;
      const auto at = file.begin() + static_cast<std::ptrdiff_t>(below(file.size()));
      if (more)
        file.insert(at, static_cast<std::uint8_t>(random()));
      else
        file.erase(at);
      break;
    }
    case 2:
      for (std::size_t flips = 1 + below(3); flips > 0; --flips)
        flip(file[headerStart + below(headerBytes) % (file.size() - headerStart)]);
      break;
    default:
      for (std::size_t flips = 1 + below(20); flips > 0; --flips) flip(file[below(file.size())]);
  }
  return file;
}

}  // namespace test
