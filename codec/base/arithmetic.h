// Integer arithmetic.
#pragma once

#include <type_traits>

namespace moxj {

// The quotient of a non-negative number and a positive one, rounded up.
template <class Value, class By>
constexpr std::common_type_t<Value, By> ceilDiv(Value value, By by) {
  return (value + by - 1) / by;
}

}  // namespace moxj
