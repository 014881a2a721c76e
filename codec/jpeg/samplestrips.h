// Converts pixels to the samples of each component, one MCU row at a time, in buffers that stay in the cache.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "jpeg/frame.h"
#include "pictures/picture.h"

namespace moxj::jpeg {

// The samples at the edges of the picture are repeated up to whole blocks. There are no padding blocks to whole MCUs.
class SampleStrips {
 public:
  // The frame has one component, or three with 4:4:4, 4:2:2 or 4:2:0 sampling.
  SampleStrips(const Picture& picture, const Frame& frame);

  void loadRow(int mcuRow);

  // The first sample of a block in the loaded MCU row. `x` counts the blocks of the whole row, `y` those of the MCU
  // row.
  const std::uint8_t* block(int component, int x, int y) const {
    const Strip& strip = strips_[component];
    return strip.samples.data() + strip.step * 8 * y + std::ptrdiff_t{8} * x;
  }
  int step(int component) const { return static_cast<int>(strips_[component].step); }

 private:
  struct Strip {
    int paddedWidth = 0;
    std::ptrdiff_t step = 0;
    std::vector<std::uint8_t> samples;
    std::uint8_t* row(int y) { return samples.data() + step * y; }
  };

  void loadGrey(const std::uint8_t* pixels, std::uint8_t* to) const;
  void loadColour(const std::uint8_t* pixels, std::uint8_t* luminance, std::uint8_t* blue, std::uint8_t* red) const;
  void loadSubsampled(int y, int rows);

  const Picture picture_;
  const Frame frame_;
  std::vector<Strip> strips_;
  std::vector<std::uint8_t> chrominance_[2][2];  // before sub-sampling: [component][row]
};

}  // namespace moxj::jpeg
