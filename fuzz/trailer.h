// The last four bytes of an input choose what is done with the file before them. So a file keeps its bytes while the
// choice changes, and the choice while the file does.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

#include "formats/formats.h"

namespace fuzz {

inline constexpr std::size_t kTrailer = 4;

class Trailer {
 public:
  Trailer(const std::uint8_t* data, std::size_t size) : file(data, size - std::min(size, kTrailer)) {
    for (std::size_t i = file.size(); i < size; ++i) choices_ = choices_ << 8 | data[i];
  }

  // Of so many in a row, one.
  int upTo(int max) {
    const auto count = static_cast<std::uint32_t>(max) + 1;
    const std::uint32_t choice = choices_ % count;
    choices_ /= count;
    return static_cast<int>(choice);
  }
  bool oneIn(int count) { return upTo(count - 1) == count - 1; }

  const std::span<const std::uint8_t> file;

 private:
  std::uint32_t choices_ = 0;
};

// Most inputs get limits that end an expensive one early.
inline moxj::Limits limitsOf(Trailer& in) {
  if (in.oneIn(8)) return {.maxPixels = 1 << 20, .maxMemory = 1 << 26, .maxScans = 20};
  moxj::Limits limits{.maxPixels = 1 << 14, .maxMemory = 1 << 23, .maxScans = 12};
  if (in.oneIn(4)) limits.maxMemory = 1 << 18;
  return limits;
}

// What one of the formats holds, for which a picture is converted.
inline moxj::Holds heldBy(Trailer& in) {
  const auto formats = moxj::formats();
  return formats[static_cast<std::size_t>(in.upTo(static_cast<int>(formats.size()) - 1))]->holds({});
}

// With an executor, the calling thread does the tasks of two.
struct Job {
  explicit Job(Trailer& in) : Job(limitsOf(in), in.upTo(1)) {}
  explicit Job(const moxj::Limits& limits, bool parted = false)
      : work(limits, {}, parted ? 2 : 1, parted ? moxj::Executor(inTurn) : moxj::Executor()) {}

  static void inTurn(int tasks, const std::function<void(int)>& task) {
    for (int i = 0; i < tasks; ++i) task(i);
  }
  moxj::Work work;
};

}  // namespace fuzz
