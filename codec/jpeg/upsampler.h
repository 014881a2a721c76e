// Brings a component's rows to the size of the picture.
#pragma once

#include <cstdint>
#include <vector>

#include "jpeg/frame.h"

namespace moxj::jpeg {

// Which rows and samples of a component an output row is made from. JFIF centres the samples of a sub-sampled
// component among those that they stand for.
//
// Ratios of 2 in one direction or in both are smoothed, on demand, with a triangle filter (3/4 of the nearer and 1/4
// of the farther sample); samples of all other ratios, fractional ones like 3:2 included, are repeated. A component
// of one or two columns is not smoothed across; nor is it then in the other direction, but where that is the only
// one.
class Upsampler {
 public:
  Upsampler(const Frame& frame, const FrameComponent& component, bool smooth);

  bool needsRowsAround() const { return method_ == Method::triangleH1V2 || method_ == Method::triangleH2V2; }

  int nearRow(int y) const { return (2 * y + 1) * vertical_ / (2 * mostVertical_); }
  // For those that need the rows around: may be -1 or one past the last.
  int farRow(int y) const { return y / 2 + (y % 2 == 0 ? -1 : 1); }

  // The output row that belongs to `near` (and `far`, if needsRowsAround): `near` itself or a row of this object.
  const std::uint8_t* row(const std::uint8_t* near, const std::uint8_t* far, bool upper);

 private:
  enum class Method { copy, triangleH2V1, triangleH1V2, triangleH2V2, repeat };

  Method method_ = Method::copy;
  int width_ = 0, outputWidth_ = 0;
  int horizontal_ = 1, mostHorizontal_ = 1, vertical_ = 1, mostVertical_ = 1;
  std::vector<std::uint8_t> row_;
};

}  // namespace moxj::jpeg
