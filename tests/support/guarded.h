// Memory between two inaccessible pages: a read or write past its end (or before its start) faults.
#pragma once

#if defined(_WIN32)
#define NOMINMAX
#include <windows.h>
#undef far
#undef near
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

namespace test {

// Whole pages of the system: reserved without access, opened, given back.
namespace pages {
#if defined(_WIN32)
inline size_t size() { return 4096; }
inline void* reserve(size_t bytes) { return VirtualAlloc(nullptr, bytes, MEM_RESERVE, PAGE_NOACCESS); }
inline bool open(void* first, size_t bytes) { return VirtualAlloc(first, bytes, MEM_COMMIT, PAGE_READWRITE) == first; }
inline void release(void* first, size_t) { VirtualFree(first, 0, MEM_RELEASE); }
#else
inline size_t size() { return static_cast<size_t>(sysconf(_SC_PAGESIZE)); }
inline void* reserve(size_t bytes) {
  void* const map = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return map == MAP_FAILED ? nullptr : map;
}
inline bool open(void* first, size_t bytes) { return mprotect(first, bytes, PROT_READ | PROT_WRITE) == 0; }
inline void release(void* first, size_t bytes) { munmap(first, bytes); }
#endif
}  // namespace pages

class GuardedMemory {
 public:
  explicit GuardedMemory(size_t bytes) : page_(pages::size()) {
    size_ = bytes == 0 ? page_ : (bytes + page_ - 1) / page_ * page_;
    void* const reserved = pages::reserve(size_ + 2 * page_);
    if (!reserved) std::abort();
    first_ = static_cast<uint8_t*>(reserved) + page_;
    if (!pages::open(first_, size_)) std::abort();
  }
  ~GuardedMemory() { pages::release(first_ - page_, size_ + 2 * page_); }
  GuardedMemory(const GuardedMemory&) = delete;
  GuardedMemory& operator=(const GuardedMemory&) = delete;

  std::span<uint8_t> bytes() { return {first_, size_}; }

  // `count` elements that end just before the guard page; with `start`, that begin just after the one before them.
  template <class T>
  T* atEnd(size_t count) {
    return reinterpret_cast<T*>(first_ + size_ - count * sizeof(T));
  }
  template <class T>
  T* atStart() {
    return reinterpret_cast<T*>(first_);
  }

 private:
  size_t page_, size_;
  uint8_t* first_;
};

}  // namespace test
