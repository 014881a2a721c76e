// Memory between two inaccessible pages: a read or write past its end (or before its start) faults.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

namespace test {

class GuardedMemory {
 public:
  explicit GuardedMemory(size_t bytes) : page_(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
    size_ = bytes == 0 ? page_ : (bytes + page_ - 1) / page_ * page_;
    void* const map = mmap(nullptr, size_ + 2 * page_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (map == MAP_FAILED) std::abort();
    first_ = static_cast<uint8_t*>(map) + page_;
    if (mprotect(first_, size_, PROT_READ | PROT_WRITE) != 0) std::abort();
  }
  ~GuardedMemory() { munmap(first_ - page_, size_ + 2 * page_); }
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
