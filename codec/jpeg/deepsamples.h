// Converts pixels of more than 8 bits to the samples of each component, one MCU row at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "jpeg/colour.h"
#include "jpeg/frame.h"
#include "pictures/picture.h"

namespace moxj::jpeg {

// Like SampleStrips, for samples of 16-bit elements. Sub-sampling takes the means of boxes of pixels.
class DeepSamples {
 public:
  // `layout` is that of the rows: grey, RGB, or the components of the frame themselves.
  DeepSamples(const Picture& layout, const Frame& frame, ColourModel model, Budget& budget);

  // Loads an MCU row, which begins at row `first` of the band and lies within it.
  void loadRow(const Picture& band, int first, int mcuRow);

  const std::uint16_t* block(int component, int x, int y) const {
    const Strip& strip = strips_[component];
    return strip.samples.data() + strip.step * 8 * y + std::ptrdiff_t{8} * x;
  }
  std::ptrdiff_t step(int component) const { return strips_[component].step; }

 private:
  struct Strip {
    std::ptrdiff_t step = 0;  // samples of a row, up to whole blocks
    std::vector<std::uint16_t> samples;
    std::uint16_t* row(int y) { return samples.data() + step * y; }
  };

  void loadPlane(const Plane& plane, int first, int rows, Strip& to) const;
  void toYcbcr(int rows);
  void toGrey(int rows);
  void reduce(std::size_t component, int rows);
  void pad(std::size_t component);
  int rowsOf(const FrameComponent& c) const;

  const Frame frame_;
  const ColourModel model_;
  const bool colour_;      // the rows are RGB
  const bool components_;  // the rows are the components
  int mcuRow_ = 0;
  std::vector<Strip> whole_;   // the planes of the rows
  std::vector<Strip> strips_;  // of each component
};

}  // namespace moxj::jpeg
