#include "support/checks.h"

#include <cstring>

namespace test {

void AnyCheckOrder::addValue(size_t index, size_t offset, const void* value, size_t bytes, MoxStatus status) {
  const uint8_t* const first = static_cast<const uint8_t*>(value);
  breakages_.push_back({"argument " + std::to_string(index), status, offset, {first, first + bytes}, nullptr});
}

void AnyCheckOrder::addChange(const char* what, std::function<void(void*)> apply, MoxStatus status) {
  breakages_.push_back({what, status, 0, {}, std::move(apply)});
}

void AnyCheckOrder::groupFrom(size_t first) {
  for (size_t i = first; i < breakages_.size(); i++) breakages_[i].group = static_cast<int>(first);
}

void AnyCheckOrder::watch(const void* memory, size_t bytes) {
  const uint8_t* const first = static_cast<const uint8_t*>(memory);
  watched_.push_back({first, std::vector<uint8_t>(first, first + bytes)});
}

void AnyCheckOrder::breakArguments(void* arguments, const std::vector<size_t>& broken) const {
  for (size_t k = broken.size(); k-- > 0;) {
    const Breakage& b = breakages_[broken[k]];
    if (b.apply)
      b.apply(arguments);
    else
      std::memcpy(static_cast<uint8_t*>(arguments) + b.offset, b.value.data(), b.value.size());
  }
}

void AnyCheckOrder::run() {
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
  EXPECT_GE(call({}), 0) << name_ << " with good arguments";
}

// The first of the breakages, which are in the order of the checks, determines the status.
void AnyCheckOrder::expect(const std::vector<size_t>& broken) const {
  std::string what = name_;
  for (const size_t i : broken) what += ", " + breakages_[i].what;
  EXPECT_EQ(call(broken), breakages_[broken[0]].status) << what;
  for (const Watched& w : watched_)
    EXPECT_EQ(std::memcmp(w.memory, w.before.data(), w.before.size()), 0) << what << ": memory was changed";
}

}  // namespace test
