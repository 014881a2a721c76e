#include "support/failing_malloc.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace test {
bool FailingMalloc::active = false;
int FailingMalloc::successes = 0;
const void* WatchedFree::watched = nullptr;
bool WatchedFree::freed = false;
uint32_t WatchedFree::firstWord = 0;
}  // namespace test

extern "C" {
void* __real_malloc(size_t length);
void* __wrap_malloc(size_t length);
void* __wrap_malloc(size_t length) {
  using test::FailingMalloc;
  return FailingMalloc::active && FailingMalloc::successes-- <= 0 ? nullptr : __real_malloc(length);
}

void __real_free(void* block);
void __wrap_free(void* block);
void __wrap_free(void* block) {
  using test::WatchedFree;
  constexpr uintptr_t kAlignmentSlack = 64;  // the library's blocks start this close to the heap's, or closer
  if (block && WatchedFree::watched &&
      reinterpret_cast<uintptr_t>(WatchedFree::watched) - reinterpret_cast<uintptr_t>(block) <= kAlignmentSlack) {
    std::memcpy(&WatchedFree::firstWord, WatchedFree::watched, sizeof WatchedFree::firstWord);
    WatchedFree::freed = true;
    WatchedFree::watched = nullptr;
  }
  __real_free(block);
}
}
