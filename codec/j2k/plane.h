// A component's coefficients, and samples before and after them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "bytes.h"
#include "failure.h"
#include "j2k/params.h"

namespace moxj::j2k {

class Plane {
 public:
  Plane() = default;
  Plane(int width, int height)
      : width_(width),
        height_(height),
        // An odd number of cache lines, so that the rows of a column do not fall into one set of the cache.
        step_(((std::ptrdiff_t{width} * 4 + 63) / 64 | 1) * 64),
        memory_(static_cast<std::size_t>(step_) * static_cast<std::size_t>(height)) {}

  // That a plane takes. Throws Failure (limit) where the library's 32-bit steps do not reach from row to row.
  static std::uint64_t bytes(Coord width, Coord height) {
    constexpr Coord kMostWidth = Coord{1} << 28;
    if (width > kMostWidth) throw Failure(ExitStatus::limit, "a tile of " + std::to_string(width) + " columns");
    return static_cast<std::uint64_t>((width / 16 + 2) * 64) * static_cast<std::uint64_t>(height);
  }

  int width() const { return width_; }
  int height() const { return height_; }
  std::int32_t step() const { return static_cast<std::int32_t>(step_); }  // in bytes
  std::int32_t* row(int y) { return reinterpret_cast<std::int32_t*>(memory_.data() + step_ * y); }
  float* floats(int y) { return reinterpret_cast<float*>(memory_.data() + step_ * y); }

 private:
  int width_ = 0, height_ = 0;
  std::ptrdiff_t step_ = 0;
  Bytes memory_;
};

}  // namespace moxj::j2k
