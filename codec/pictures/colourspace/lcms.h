// The functions of lcms2 that the codec uses. The library is loaded when the first profile is read.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/budget.h"
#include "base/bytes.h"
#include "pictures/picture.h"

namespace moxj {

// "2.14". Throws Problem (unsupported) if lcms2 cannot be loaded.
std::string lcmsVersion();

// An RGB profile of three curves and a matrix.
struct MatrixProfile {
  std::array<std::vector<float>, 3> light;           // of each sample: 256 or 65536 values
  std::array<std::array<double, 3>, 3> colorants{};  // XYZ of red, green and blue, relative to D50
};

// None if the profile is of another kind, is not usable for RGB, or its black is not black. `bits`: 8 or 16. Throws
// Problem like ColourTransform::from().
std::optional<MatrixProfile> matrixProfileOf(ByteSpan profile, int bits, Budget& budget);

// The way of pixels from a profile to sRGB: with the relative colorimetric intent and black-point compensation, so that
// white and black stay what they are. Grey profiles lead to grey with the curve of sRGB.
class ColourTransform {
 public:
  // Samples of 8 or 16 bits, which use their full range; the result has the same depth. Opacity is copied.
  struct Layout {
    Colour from = Colour::rgb;  // grey, rgb or cmyk (0 is no ink)
    int bits = 8;
    bool opacity = false;
  };

  // Null if lcms2 does not accept the profile for these colours. The memory that the profile asks for is bounded by the
  // budget and charged to it. Throws Problem: unsupported if lcms2 cannot be loaded, limit.
  static std::unique_ptr<ColourTransform> from(ByteSpan profile, const Layout& layout, Budget& budget);

  ~ColourTransform();
  // Interleaved pixels. Threads may share a transform.
  void run(const void* from, void* to, int width) const;

 private:
  struct State;
  explicit ColourTransform(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace moxj
