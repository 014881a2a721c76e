// Maps pixels of a colour space to sRGB: by a profile, or by the definition of the space.
#pragma once

#include <array>
#include <memory>

#include "pictures/colourspace/lcms.h"
#include "pictures/colourspace/space.h"

namespace moxj {

// Pixels come and go interleaved, in samples of 8 or 16 bits that use their full range. Opacity is copied. Threads may
// share a map.
class PixelMap {
 public:
  virtual ~PixelMap() = default;
  virtual void run(const void* from, void* to, int width) const = 0;
};

// Of an ICC profile; null if it cannot be used for these colours. Throws Problem as ColourTransform::from().
std::unique_ptr<PixelMap> mapOf(ByteSpan profile, const ColourTransform::Layout& layout, Budget& budget);

// The depths of the colours in the file, of which the samples of a layout were made.
using FileBits = std::array<int, 3>;

// Of a space without a profile: calibrated, lab, eSrgb or video.
std::unique_ptr<PixelMap> mapOf(const ColourSpace& space, const FileBits& bits, const ColourTransform::Layout& layout,
                                Budget& budget);

}  // namespace moxj
