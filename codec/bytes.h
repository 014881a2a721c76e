// Memory for files and samples: never filled with zeros that nobody reads, and in huge pages where it is large.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace moxj {

void* takeBytes(std::size_t count);  // throws std::bad_alloc
void giveBytes(void* bytes) noexcept;

// An allocator whose elements stay uninitialised where std::vector would write zeros (resize, sized construction).
template <typename T>
struct Uninitialised {
  using value_type = T;
  Uninitialised() = default;
  template <typename U>
  Uninitialised(const Uninitialised<U>&) noexcept {}

  T* allocate(std::size_t count) { return static_cast<T*>(takeBytes(count * sizeof(T))); }
  void deallocate(T* elements, std::size_t) noexcept { giveBytes(elements); }
  template <typename U, typename... Args>
  void construct(U* place, Args&&... args) {
    if constexpr (sizeof...(Args) == 0) {
      ::new (static_cast<void*>(place)) U;
    } else {
      ::new (static_cast<void*>(place)) U(std::forward<Args>(args)...);
    }
  }
  template <typename U>
  bool operator==(const Uninitialised<U>&) const noexcept {
    return true;
  }
};

// The bytes of a file. resize() leaves the new ones uninitialised.
using Bytes = std::vector<std::uint8_t, Uninitialised<std::uint8_t>>;

}  // namespace moxj
