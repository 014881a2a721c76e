// Scaling of samples from one range to another, rounded: (value * newMax + oldMax / 2) / oldMax.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "pictures/picture.h"

namespace moxj {

// Samples above the maximum value (or below the minimum of signed ones) count as that.
class Scale {
 public:
  Scale(const Plane& from, const Plane& to)
      : fromMin_(from.minval()),
        toMin_(to.minval()),
        fromRange_(rangeOf(from)),
        toRange_(rangeOf(to)),
        reciprocal_((kOne + fromRange_ - 1) / fromRange_),
        same_(from.element == to.element && fromMin_ == toMin_ && fromRange_ == toRange_) {
    if (from.element == Element::u8 && !same_) makeTable();
  }

  // Whether samples can be copied.
  bool same() const { return same_; }

  // Calls work(map), where map(sample) is the scaled sample, for samples of type From that become samples of type To.
  // Most samples take a table or a multiplication by the reciprocal instead of a division.
  template <class From, class To, class Work>
  void visit(const Work& work) const {
    if constexpr (std::is_same_v<From, To>) {
      if (same_) return work([](From value) { return value; });
    }
    if constexpr (sizeof(From) == 1) {
      work([table = table_.data()](From value) { return static_cast<To>(table[value]); });
    } else if (fromRange_ == toRange_) {
      work([this](From value) { return static_cast<To>(offset(value) + toMin_); });
    } else if (fromRange_ <= kMaxReciprocal && toRange_ <= kMaxReciprocal) {
      const std::int64_t min = fromMin_;
      const std::uint64_t range = fromRange_, half = range / 2, toRange = toRange_, factor = reciprocal_;
      const std::int32_t toMin = toMin_;
      work([=](From value) {
        const auto from =
            static_cast<std::uint64_t>(std::clamp<std::int64_t>(value - min, 0, static_cast<std::int64_t>(range)));
        return static_cast<To>(static_cast<std::int32_t>((from * toRange + half) * factor >> kOneBits) + toMin);
      });
    } else {
      work([this](From value) { return static_cast<To>(scaled(value)); });
    }
  }

 private:
  // The quotient by the reciprocal is exact: dividend and divisor have at most 32 and 16 bits.
  static constexpr int kOneBits = 48;
  static constexpr std::uint64_t kOne = std::uint64_t{1} << kOneBits;
  static constexpr std::uint64_t kMaxReciprocal = 65535;

  static std::uint64_t rangeOf(const Plane& plane) {
    return static_cast<std::uint64_t>(std::int64_t{plane.maxval} - plane.minval());
  }
  std::int64_t offset(std::int64_t value) const {
    return std::clamp<std::int64_t>(value - fromMin_, 0, static_cast<std::int64_t>(fromRange_));
  }
  std::int32_t scaled(std::int64_t value) const {
    const auto from = static_cast<std::uint64_t>(offset(value));
    return static_cast<std::int32_t>((from * toRange_ + fromRange_ / 2) / fromRange_) + toMin_;
  }
  void makeTable() {
    table_.resize(256);
    for (int value = 0; value < 256; ++value) table_[static_cast<std::size_t>(value)] = scaled(value);
  }

  std::int32_t fromMin_, toMin_;
  std::uint64_t fromRange_, toRange_;
  std::uint64_t reciprocal_;
  bool same_;
  std::vector<std::int32_t> table_;
};

}  // namespace moxj
