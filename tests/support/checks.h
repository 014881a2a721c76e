// Tests the order of a function's argument checks: breaks each argument alone, every pair, and all of them from the
// last to the first.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "moxj.h"
#include "support/guarded.h"

namespace test {

// One way to break a call: an argument (counted from 0), its bad value, and the resulting status. Lists of these are in
// the order of the function's checks.
struct Breakage {
  std::string what;
  MoxStatus status;
  size_t offset;                     // of the argument in the tuple of all
  std::vector<uint8_t> value;        // its bytes
  std::function<void(void*)> apply;  // instead, where there is one
  int group = -1;                    // breakages of one group are never tried together
};

// What does not depend on the function's type, compiled once (support/checks.cpp).
class AnyCheckOrder {
 public:
  virtual ~AnyCheckOrder() = default;
  void run();

 protected:
  explicit AnyCheckOrder(const char* name) : name_(name) {}

  void addValue(size_t index, size_t offset, const void* value, size_t bytes, MoxStatus status);
  void addChange(const char* what, std::function<void(void*)> apply, MoxStatus status);
  void groupFrom(size_t first);
  size_t count() const { return breakages_.size(); }
  void watch(const void* memory, size_t bytes);

  // Applies breakages from the last to the first, so that the first also wins if two of them set the same argument.
  void breakArguments(void* arguments, const std::vector<size_t>& broken) const;
  virtual MoxStatus call(const std::vector<size_t>& broken) const = 0;

 private:
  struct Watched {
    const uint8_t* memory;
    std::vector<uint8_t> before;
  };

  void expect(const std::vector<size_t>& broken) const;

  std::string name_;
  std::vector<Breakage> breakages_;
  std::vector<Watched> watched_;
};

template <class... Args>
class CheckOrder : public AnyCheckOrder {
 public:
  using Function = MoxStatus (*)(Args...);
  using Arguments = std::tuple<Args...>;
  static_assert((std::is_trivially_copyable_v<Args> && ...));

  CheckOrder(const char* name, Function function, Arguments good)
      : AnyCheckOrder(name), function_(function), good_(good) {}

  // Argument Index gets `bad`.
  template <size_t Index, class Value>
  CheckOrder& breaks(Value bad, MoxStatus status) {
    const std::tuple_element_t<Index, Arguments> value = bad;
    const size_t offset =
        reinterpret_cast<const char*>(&std::get<Index>(good_)) - reinterpret_cast<const char*>(&good_);
    addValue(Index, offset, &value, sizeof value, status);
    return *this;
  }

  // Several values of one argument that the same check refuses: each is a separate breakage, and they are not paired
  // with each other.
  template <size_t Index, class Value>
  CheckOrder& breaksEach(std::initializer_list<Value> bad, MoxStatus status) {
    const size_t first = count();
    for (const Value value : bad) breaks<Index>(value, status);
    groupFrom(first);
    return *this;
  }

  // Any other change of the arguments.
  template <class Change>
  CheckOrder& breaksBy(const char* what, Change change, MoxStatus status) {
    addChange(
        what, [change](void* arguments) { change(*static_cast<Arguments*>(arguments)); }, status);
    return *this;
  }

  // Memory that a refused call must not change.
  CheckOrder& untouched(const void* memory, size_t bytes) {
    watch(memory, bytes);
    return *this;
  }

 private:
  MoxStatus call(const std::vector<size_t>& broken) const override {
    Arguments arguments = good_;
    breakArguments(&arguments, broken);
    return std::apply(function_, arguments);
  }

  Function function_;
  Arguments good_;
};

template <class... Args, class... Good>
CheckOrder<Args...> checkOrder(const char* name, MoxStatus (*function)(Args...), Good... good) {
  return {name, function, std::tuple<Args...>(good...)};
}

}  // namespace test
