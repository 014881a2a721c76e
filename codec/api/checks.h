// Ranges of options.
#pragma once

#include <cstdint>
#include <string>

#include "base/problem.h"

namespace moxj::api {

// Where a whole-number field of an options struct is, what it may be, and how it is named in messages.
template <class Struct>
struct Range {
  std::int32_t Struct::*field;
  const char* name;
  std::int32_t min, max;
};

template <class Struct, std::size_t Count>
void checkRanges(const Struct& values, const Range<Struct> (&ranges)[Count]) {
  for (const Range<Struct>& range : ranges) {
    const std::int32_t value = values.*range.field;
    if (value < range.min || value > range.max)
      failOption(range.name, "is " + std::to_string(value) + ", which is not from " + std::to_string(range.min) +
                                 " to " + std::to_string(range.max));
  }
}

}  // namespace moxj::api
