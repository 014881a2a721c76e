// Upsamples the rows of a component to the size of the picture.
#pragma once

#include <cstdint>
#include <vector>

#include "jpeg/frame.h"

namespace moxj::jpeg {

// JFIF centres each sample of a sub-sampled component among the pixels that it covers.
//
// If `smooth` is set, ratios of 2 in one or both directions are interpolated with a triangle filter (3/4 of the nearer
// and 1/4 of the farther sample). For all other ratios, including fractional ones like 3:2, samples are repeated. A
// component of one or two columns is not interpolated across, and then not down either unless its ratio across is 1.
class Upsampler {
 public:
  Upsampler(const Frame& frame, const FrameComponent& component, bool smooth);

  bool needsRowsAround() const { return method_ == Method::triangleH1V2 || method_ == Method::triangleH2V2; }

  int nearRow(int y) const { return (2 * y + 1) * vertical_ / (2 * maxVertical_); }
  // Only if needsRowsAround(). May be -1 or one past the last row.
  int farRow(int y) const { return y / 2 + (y % 2 == 0 ? -1 : 1); }

  // The output row for `near` (and `far`, if needsRowsAround()): either `near` itself or a buffer of this object.
  const std::uint8_t* row(const std::uint8_t* near, const std::uint8_t* far, bool upper);

 private:
  enum class Method { copy, triangleH2V1, triangleH1V2, triangleH2V2, repeat };

  Method method_ = Method::copy;
  int width_ = 0, outputWidth_ = 0;
  int horizontal_ = 1, maxHorizontal_ = 1, vertical_ = 1, maxVertical_ = 1;
  std::vector<std::uint8_t> row_;
};

}  // namespace moxj::jpeg
