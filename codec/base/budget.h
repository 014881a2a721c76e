// The memory limit of a job. What grows with the sizes in a file's headers is charged before it is allocated.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "base/problem.h"

namespace moxj {

class Budget {
 public:
  // `advice` is what a failure recommends to change.
  explicit Budget(std::uint64_t limit, Setting advice = Setting::maxMemory) : limit_(limit), advice_(advice) {}

  // Throws Problem (limit).
  void charge(std::uint64_t count, std::uint64_t size) {
    std::uint64_t bytes = 0, sum = 0;
    if (__builtin_mul_overflow(count, size, &bytes) || __builtin_add_overflow(used_, bytes, &sum)) sum = UINT64_MAX;
    if (sum > limit_)
      fail(Kind::limit,
           "at least " + std::to_string(sum) + " bytes of memory are needed, the limit is " + std::to_string(limit_),
           advice_);
    used_ = sum;
  }
  std::uint64_t used() const { return used_; }
  std::uint64_t limit() const { return limit_; }
  std::uint64_t left() const { return limit_ - used_; }
  void restore(std::uint64_t used) { used_ = used; }  // to an earlier used()
  // Of what was charged and has been freed.
  void release(std::uint64_t bytes) { used_ -= std::min(bytes, used_); }

 private:
  std::uint64_t limit_;
  Setting advice_;
  std::uint64_t used_ = 0;
};

}  // namespace moxj
