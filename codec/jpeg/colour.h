// Which colours the components stand for, and rows of components as grey or RGB pixels.
#pragma once

#include <cstdint>
#include <vector>

#include "jpeg/frame.h"
#include "jpeg/syntax.h"

namespace moxj::jpeg {

enum class ColourModel { grey, ycbcr, rgb, cmyk, ycck, unknown };

// As JFIF and Adobe's APP14 segment say. Without either, three components are YCbCr unless their identifiers spell
// RGB, and four are CMYK.
ColourModel colourModelOf(const Frame& frame, const Tables& tables);
const char* nameOf(ColourModel model);

// Turns a row of each component into a row of a picture.
class RowPainter {
 public:
  // Four inks become RGB, or stay if they are asked for.
  RowPainter(ColourModel model, int width, bool inks = false);

  int channels() const { return channels_; }
  void paint(const std::uint8_t* const planes[4], std::uint8_t* pixels);

 private:
  ColourModel model_;
  int width_;
  bool inks_;
  int channels_;
  std::vector<std::uint8_t> cmyk_;
};

}  // namespace moxj::jpeg
