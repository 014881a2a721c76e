// Structs of the interface that begin with their own size. A new field goes to the end of its struct, beyond the size
// that the struct had before (not into padding), and its zero means "not given".
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>

#include "api/report.h"

namespace moxj::api {

// The sizes of the structs in the first version of the interface: what every program has. A struct that is not named
// here has its present size.
template <class Struct>
inline constexpr std::size_t kFirstSize = sizeof(Struct);

// The number in a caller's enumeration, which may be none of its values: C allows any, C++ does not even load them.
template <class Enum>
int numberOf(const Enum& value) {
  static_assert(sizeof(Enum) == sizeof(int));
  int number;
  std::memcpy(&number, &value, sizeof number);
  return number;
}

// A copy of the caller's struct; the fields that the caller does not know are 0. `from` may be null: then all are.
template <class Struct>
Struct given(const Struct* from, const char* name) {
  Struct copy;
  std::memset(&copy, 0, sizeof copy);
  copy.structSize = sizeof copy;
  if (!from) return copy;
  const std::size_t size = from->structSize;
  if (size < kFirstSize<Struct>) throw BadArgument(std::string("the structSize of ") + name + " is too small");
  const auto* const bytes = reinterpret_cast<const unsigned char*>(from);
  std::memcpy(static_cast<void*>(&copy), bytes, std::min(size, sizeof copy));
  if (size > sizeof copy &&
      std::any_of(bytes + sizeof copy, bytes + size, [](unsigned char byte) { return byte != 0; }))
    fail(Kind::badOption, std::string("a field of ") + name + " is not known to this version of the library");
  copy.structSize = sizeof copy;
  return copy;
}

// The same of a struct that must be there.
template <class Struct>
Struct needed(const Struct* from, const char* name) {
  need(from, name);
  return given(from, name);
}

// Fills the caller's struct as far as the caller knows it, and with zeros beyond what the library knows.
template <class Struct>
void give(Struct value, Struct* to, const char* name) {
  need(to, name);
  const std::size_t size = to->structSize;
  if (size < kFirstSize<Struct>) throw BadArgument(std::string("the structSize of ") + name + " is too small");
  value.structSize = size;
  auto* const bytes = reinterpret_cast<unsigned char*>(to);
  std::memcpy(bytes, &value, std::min(size, sizeof value));
  if (size > sizeof value) std::memset(bytes + sizeof value, 0, size - sizeof value);
}

}  // namespace moxj::api
