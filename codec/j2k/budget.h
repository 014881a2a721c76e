// The memory that a coder may take (--max-memory). What grows with the sizes that a file claims is counted before it
// is taken.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "failure.h"

namespace moxj::j2k {

class Budget {
 public:
  explicit Budget(std::uint64_t most) : most_(most) {}

  // Throws Failure (limit).
  void take(std::uint64_t count, std::uint64_t size) {
    std::uint64_t bytes = 0, sum = 0;
    if (__builtin_mul_overflow(count, size, &bytes) || __builtin_add_overflow(taken_, bytes, &sum) || sum > most_)
      throw Failure(ExitStatus::limit,
                    "more memory is needed than the limit of " + std::to_string(most_) + " bytes (--max-memory)");
    taken_ = sum;
  }
  std::uint64_t taken() const { return taken_; }
  void giveBack(std::uint64_t to) { taken_ = to; }  // what was taken() earlier

 private:
  std::uint64_t most_;
  std::uint64_t taken_ = 0;
};

}  // namespace moxj::j2k
