// Simulates allocation failures and observes frees: the test program is linked so that the library's calls of malloc
// and free come here first.
#pragma once

#include <cstdint>

namespace test {

// While an object of this class exists, malloc fails for the library, after `after` successful calls.
class FailingMalloc {
 public:
  explicit FailingMalloc(int after = 0) { active = true, successes = after; }
  ~FailingMalloc() { active = false; }
  static bool active;
  static int successes;
};

// Records the first word of a block of the library's allocator at the moment the block is freed.
class WatchedFree {
 public:
  explicit WatchedFree(const void* block) { watched = block, freed = false; }
  ~WatchedFree() { watched = nullptr; }
  static const void* watched;
  static bool freed;
  static uint32_t firstWord;
};

}  // namespace test
