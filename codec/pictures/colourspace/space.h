// Colour spaces that a file names itself, without an ICC profile.
#pragma once

#include <array>
#include <string>

namespace moxj {

struct Chromaticity {
  double x = 0, y = 0;
};

inline constexpr std::array<Chromaticity, 3> kSrgbPrimaries = {{{0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}}};
inline constexpr Chromaticity kD65 = {0.3127, 0.3290}, kD50 = {0.3457, 0.3585};

// Light of a sample x from 0 to 1: (a x + b)^g from x = d on, below it c x.
struct Curve {
  double g = 1, a = 1, b = 0, c = 0, d = 0;
};

constexpr Curve powerOf(double gamma) { return {gamma, 1, 0, 0, 0}; }
inline constexpr Curve kSrgbCurve = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
inline constexpr Curve kBt709Curve = {1 / 0.45, 1 / 1.099, 0.099 / 1.099, 1 / 4.5, 0.081};
inline constexpr Curve kRommCurve = {1.8, 1, 0, 1.0 / 16, 1.0 / 32};

// Lab of a sample s of n bits: L = range (s - offset) / (2^n - 1), and likewise a and b.
struct LabScale {
  double range = 100, offset = 0;
};

// Not all pictures of a space can be shown without its conversion to sRGB: their colour model is then `lab` or
// `special`, and no format holds it.
struct ColourSpace {
  enum class Kind {
    srgb,        // known to be that
    calibrated,  // RGB or grey, with primaries and a curve
    lab,         // CIELab
    eSrgb,       // e-sRGB: RGB with an offset and less contrast, for colours beyond sRGB
    video,       // YCbCr with black at 16 and white at 235 of 255
    unusable     // a space that cannot be converted
  };
  Kind kind = Kind::srgb;
  std::string name;  // "e-sRGB"
  std::string note;  // of one that is not converted to sRGB; may be empty

  // calibrated
  Chromaticity white = kD65;
  std::array<Chromaticity, 3> primaries = kSrgbPrimaries;
  Curve curve = kSrgbCurve;
  // lab; the white is that of the illuminant
  std::array<LabScale, 3> lab = {};
  // video: the weights of red and blue in Y
  double redWeight = 0.299, blueWeight = 0.114;
};

}  // namespace moxj
