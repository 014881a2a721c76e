// Tests the order of a function's argument checks: breaks each argument alone, every pair, and all of them from the
// last to the first.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "moxj.h"
#include "support/guarded.h"

namespace test {

// One way to break a call: an argument (counted from 0), its bad value, and the resulting status. Lists of these are in
// the order of the function's checks.
template <class... Args>
struct Breakage {
  std::string what;
  MoxStatus status;
  std::function<void(std::tuple<Args...>&)> apply;
  int group = -1;  // breakages of one group are never tried together
};

template <class... Args>
class CheckOrder {
 public:
  using Function = MoxStatus (*)(Args...);

  CheckOrder(const char* name, Function function, std::tuple<Args...> good)
      : name_(name), function_(function), good_(good) {}

  // Argument Index gets `bad`.
  template <size_t Index, class Value>
  CheckOrder& breaks(Value bad, MoxStatus status) {
    breakages_.push_back({"argument " + std::to_string(Index), status,
                          [bad](std::tuple<Args...>& args) { std::get<Index>(args) = bad; }});
    return *this;
  }

  // Several values of one argument that the same check refuses: each is a separate breakage, and they are not paired
  // with each other.
  template <size_t Index, class Value>
  CheckOrder& breaksEach(std::initializer_list<Value> bad, MoxStatus status) {
    const size_t group = breakages_.size();
    for (const Value value : bad) {
      breaks<Index>(value, status);
      breakages_.back().group = static_cast<int>(group);
    }
    return *this;
  }

  // Any other change of the arguments.
  CheckOrder& breaksBy(const char* what, std::function<void(std::tuple<Args...>&)> apply, MoxStatus status) {
    breakages_.push_back({what, status, std::move(apply)});
    return *this;
  }

  // Memory that a refused call must not change.
  CheckOrder& untouched(const void* memory, size_t bytes) {
    const uint8_t* const first = static_cast<const uint8_t*>(memory);
    watched_.push_back({first, std::vector<uint8_t>(first, first + bytes)});
    return *this;
  }

  void run() {
    for (size_t i = 0; i < breakages_.size(); i++) {
      expect({i});
      for (size_t j = i + 1; j < breakages_.size(); j++)
        if (breakages_[i].group < 0 || breakages_[i].group != breakages_[j].group) expect({i, j});
    }
    // Breaking the arguments from the last to the first gives the statuses in reverse order.
    std::vector<size_t> broken;
    for (size_t i = breakages_.size(); i-- > 0;) {
      broken.insert(broken.begin(), i);
      expect(broken);
    }
    EXPECT_GE(std::apply(function_, good_), 0) << name_ << " with good arguments";
  }

 private:
  struct Watched {
    const uint8_t* memory;
    std::vector<uint8_t> before;
  };

  // The breakages in the order of the checks: the first one determines the status. They are applied from the last, so
  // that the first also wins if two of them set the same argument.
  void expect(const std::vector<size_t>& broken) {
    std::tuple<Args...> args = good_;
    std::string what = name_;
    for (size_t k = broken.size(); k-- > 0;) breakages_[broken[k]].apply(args);
    for (const size_t i : broken) what += ", " + breakages_[i].what;
    EXPECT_EQ(std::apply(function_, args), breakages_[broken[0]].status) << what;
    for (const Watched& w : watched_)
      EXPECT_EQ(std::memcmp(w.memory, w.before.data(), w.before.size()), 0) << what << ": memory was changed";
  }

  std::string name_;
  Function function_;
  std::tuple<Args...> good_;
  std::vector<Breakage<Args...>> breakages_;
  std::vector<Watched> watched_;
};

template <class... Args, class... Good>
CheckOrder<Args...> checkOrder(const char* name, MoxStatus (*function)(Args...), Good... good) {
  return {name, function, std::tuple<Args...>(good...)};
}

}  // namespace test
