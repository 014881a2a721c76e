// The memory limit of the coder (--max-memory). Everything that grows with the sizes in a file's headers is charged
// before it is allocated.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "failure.h"

namespace moxj::j2k {

class Budget {
 public:
  // `advice` tells the user, in a failure, which options help.
  explicit Budget(std::uint64_t limit, const char* advice = "--max-memory") : limit_(limit), advice_(advice) {}

  // Throws Failure (limit).
  void charge(std::uint64_t count, std::uint64_t size) {
    std::uint64_t bytes = 0, sum = 0;
    if (__builtin_mul_overflow(count, size, &bytes) || __builtin_add_overflow(used_, bytes, &sum)) sum = UINT64_MAX;
    if (sum > limit_)
      throw Failure(ExitStatus::limit, "at least " + std::to_string(sum) +
                                           " bytes of memory are needed, the limit is " + std::to_string(limit_) +
                                           " (" + advice_ + ")");
    used_ = sum;
  }
  std::uint64_t used() const { return used_; }
  void restore(std::uint64_t used) { used_ = used; }  // to an earlier used()

 private:
  std::uint64_t limit_;
  const char* advice_;
  std::uint64_t used_ = 0;
};

}  // namespace moxj::j2k
