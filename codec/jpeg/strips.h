// From coefficients to pixels, one MCU row at a time in buffers that stay in the cache.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "jpeg/colour.h"
#include "jpeg/frame.h"
#include "jpeg/tables.h"
#include "jpeg/upsampler.h"
#include "moxj.h"
#include "pictures/picture.h"

namespace moxj::jpeg {

// Each component has a strip that holds the samples of one MCU row and the row above them. Where a triangle filter
// looks one row further down, the last row of an MCU row is painted with the next one. A lone component is decoded
// straight into the picture.
class Strips {
 public:
  // `steps` are those of each component.
  Strips(const Frame& frame, ColourModel model, std::span<const Steps> steps, bool smooth);

  // A block of the current MCU row; (x, y) in blocks of the whole component.
  void put(int component, int x, int y, const Mox16s* coefficients) {
    Strip& strip = strips_[component];
    std::uint8_t* const to =
        strip.first + (std::ptrdiff_t{y} - strip.firstBlockRow) * strip.step * 8 + std::ptrdiff_t{8} * x;
    moxiDCTQuantInv8x8LS_JPEG_16s8u_C1R(coefficients, to, static_cast<std::int32_t>(strip.step), strip.steps.data());
  }

  // All blocks of the current MCU row are there.
  void finishRow();

  // There are no more blocks: the rest of the picture is as if they were empty.
  void finishEmpty();

  int mcuRow() const { return mcuRow_; }
  const Picture& picture() const { return picture_; }

 private:
  struct Strip {
    Strip(const Upsampler& toPicture, const Steps& ofComponent) : upsampler(toPicture), steps(ofComponent) {}

    Upsampler upsampler;
    Steps steps;
    int height = 0;         // of the component
    int blockRows = 0;      // in an MCU row
    int firstBlockRow = 0;  // of the current MCU row
    std::ptrdiff_t step = 0;
    std::uint8_t* first = nullptr;  // the MCU row's first sample; the row above is in front of it
    std::vector<std::uint8_t> samples;
  };

  const std::uint8_t* rowOf(const Strip& strip, int y) const;
  void paintRow(int y);

  Frame frame_;
  std::vector<Strip> strips_;
  RowPainter painter_;
  Picture picture_;
  bool straight_;     // into the picture
  int rowsLate_ = 0;  // painted with the next MCU row
  int mcuRow_ = 0;
  int painted_ = 0;  // rows of the picture
};

}  // namespace moxj::jpeg
