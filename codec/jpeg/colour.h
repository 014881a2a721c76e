// The colour model of a file, and the conversion of its components to grey or RGB pixels.
#pragma once

#include <cstdint>
#include <vector>

#include "jpeg/frame.h"
#include "jpeg/syntax.h"
#include "pictures/picture.h"

namespace moxj::jpeg {

enum class ColourModel { grey, ycbcr, rgb, cmyk, ycck, unknown };

// From the JFIF and Adobe (APP14) segments. Without either, three components are YCbCr unless their identifiers spell
// RGB, and four are CMYK.
ColourModel colourModelOf(const Frame& frame, const Tables& tables);
const char* nameOf(ColourModel model);

// Converts a row of each component to a row of pixels.
class RowPainter {
 public:
  // Converts CMYK to RGB unless `inks` is set. Of two components of unknown meaning, takes the first as grey unless it
  // is set.
  RowPainter(ColourModel model, int width, bool inks = false);

  int channels() const { return channels_; }
  // Of the pixels, in a picture of this height.
  Picture layout(int height) const;
  void paint(const std::uint8_t* const planes[4], std::uint8_t* pixels);

 private:
  ColourModel model_;
  int width_;
  bool inks_;
  int channels_;
  std::vector<std::uint8_t> cmyk_;
};

}  // namespace moxj::jpeg
