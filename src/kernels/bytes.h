// Memory at any address. Callers' rows may begin anywhere and lie any number of bytes apart, so elements are read and
// written by memcpy, which compiles to one instruction, and rows are addressed in bytes. Offsets are formed in
// ptrdiff_t, which no size overflows.
#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace mox {

template <class T>
[[gnu::always_inline]] inline T get(const void* p) {
  T value;
  std::memcpy(&value, p, sizeof value);
  return value;
}
template <class T>
[[gnu::always_inline]] inline void put(void* p, T value) {
  std::memcpy(p, &value, sizeof value);
}

// The address `bytes` bytes after `first`.
template <class T>
inline T* bytesAfter(T* first, ptrdiff_t bytes) {
  using Byte = std::conditional_t<std::is_const_v<T>, const char, char>;
  return reinterpret_cast<T*>(reinterpret_cast<Byte*>(first) + bytes);
}

// Element `i` of a row that may begin at an odd address.
template <class T>
inline T* element(T* first, ptrdiff_t i) {
  return bytesAfter(first, i * static_cast<ptrdiff_t>(sizeof(T)));
}
template <class T>
[[gnu::always_inline]] inline std::remove_const_t<T> get(T* first, ptrdiff_t i) {
  return get<std::remove_const_t<T>>(element(first, i));
}
template <class T>
[[gnu::always_inline]] inline void put(T* first, ptrdiff_t i, std::type_identity_t<T> value) {
  put<T>(element(first, i), value);
}

}  // namespace mox
