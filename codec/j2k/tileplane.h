// The coefficients of a tile-component, or its samples before and after the transform.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/bytes.h"
#include "base/problem.h"
#include "j2k/params.h"

namespace moxj::j2k {

class TilePlane {
 public:
  TilePlane() = default;
  TilePlane(int width, int height)
      : width_(width),
        height_(height),
        // An odd number of cache lines, so that the samples of a column do not all map to the same cache set.
        step_(((std::ptrdiff_t{width} * 4 + 63) / 64 | 1) * 64),
        memory_(static_cast<std::size_t>(step_) * static_cast<std::size_t>(height)) {}

  // The size of a plane. Throws Problem (limit) if its step does not fit the library's 32-bit parameter.
  static std::uint64_t bytes(Coord width, Coord height) {
    constexpr Coord kMaxWidth = Coord{1} << 28;
    if (width > kMaxWidth) fail(Kind::limit, "a tile has too many columns: " + std::to_string(width));
    return static_cast<std::uint64_t>((width / 16 + 2) * 64) * static_cast<std::uint64_t>(height);
  }

  int width() const { return width_; }
  int height() const { return height_; }
  std::int32_t step() const { return static_cast<std::int32_t>(step_); }  // in bytes
  std::int32_t* row(int y) { return reinterpret_cast<std::int32_t*>(memory_.data() + first_ + step_ * y); }
  float* floats(int y) { return reinterpret_cast<float*>(memory_.data() + first_ + step_ * y); }

  // Leaves a part, without moving it.
  void crop(int x, int y, int width, int height) {
    first_ += step_ * y + std::ptrdiff_t{4} * x;
    width_ = width;
    height_ = height;
  }

 private:
  int width_ = 0, height_ = 0;
  std::ptrdiff_t step_ = 0;
  std::ptrdiff_t first_ = 0;  // the byte of the first sample
  Bytes memory_;
};

}  // namespace moxj::j2k
