// Converts pixels to the samples of each component, one MCU row at a time, in buffers that stay in the cache.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "jpeg/colour.h"
#include "jpeg/frame.h"
#include "pictures/picture.h"

namespace moxj::jpeg {

// The samples at the edges of the picture are repeated up to whole blocks. There are no padding blocks to whole MCUs.
class SampleStrips {
 public:
  // `layout` is that of the rows: grey, RGB, inks, or the components of the frame themselves. `model` is that of the
  // frame.
  SampleStrips(const Picture& layout, const Frame& frame, ColourModel model, Budget& budget);

  // Loads an MCU row, which begins at row `first` of the band and lies within it.
  void loadRow(const Picture& band, int first, int mcuRow);

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

  // How samples of the size of the picture become those of the components.
  enum class Reduction {
    none,         // they are the same
    chrominance,  // 4:2:2 and 4:2:0
    box           // any other whole ratios
  };

  static Reduction reductionOf(const Frame& frame, ColourModel model);
  void allocate(Strip& strip, int width, int rows, Budget& budget);
  void loadPixels(const Picture& band, int first, int rows);
  // A row of a band becomes a row of each strip, at full size.
  void loadRow(const Picture& band, int y, std::vector<Strip>& to, int rowOfStrips) const;
  void loadGrey(const std::uint8_t* pixels, std::uint8_t* to) const;
  // A row of a band becomes a row of each component, at full size.
  void loadColour(const Picture& band, int y, std::uint8_t* const to[4]) const;
  void loadRgb(const std::uint8_t* pixels, std::uint8_t* const to[3]) const;
  void loadYcck(const Picture& band, int y, std::uint8_t* const to[4]) const;
  void splitRgb(const std::uint8_t* pixels, std::uint8_t* const to[3]) const;
  // The first byte of a row of RGB or BGR.
  const std::uint8_t* pixelsOf(const Picture& band, int y) const {
    return bgr_ ? band.planes[2].row<std::uint8_t>(y) : band.row(y);
  }
  void loadSubsampled(const Picture& band, int first, int rows);
  void loadBoxes(const Picture& band, int first, int rows);
  void reduce(std::size_t component, int rows);
  void loadComponents(const Picture& band, int first);
  int rowsOf(const FrameComponent& c) const { return std::min(8 * c.vertical, c.height - 8 * c.vertical * mcuRow_); }

  const Frame frame_;
  const bool colour_;      // the rows are RGB
  const bool ycck_;        // the rows are inks, the components are not
  const bool components_;  // the rows are the components, or have their samples
  const bool rgb_;         // rows and components are RGB
  const Reduction reduction_;
  bool bgr_ = false;  // the rows of this band have blue first
  int mcuRow_ = 0;
  std::vector<Strip> strips_;
  std::vector<Strip> whole_;                     // before a reduction by boxes
  std::vector<std::uint8_t> chrominance_[2][2];  // before that of chrominance: [component][row]
};

}  // namespace moxj::jpeg
