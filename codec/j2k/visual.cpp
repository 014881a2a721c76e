// The contrast sensitivity of Mannos and Sakrison, A(f) = 2.6 (0.0192 + 0.114 f) exp(-(0.114 f)^1.1) with f in cycles
// per degree, divided by its maximum and 1 below the frequency of that. A picture is taken to be seen at 60 pixels per
// degree: a screen of 1080 rows from three times its height. The frequency of a band is that of its centre: in the
// direction of a high-pass filter 3/4 of the highest frequency of its level, otherwise 0. The eye resolves differences
// of colour half as finely, so that chroma has the sensitivity of luminance at twice the frequency.
#include "j2k/visual.h"

#include <algorithm>
#include <cmath>

namespace moxj::j2k {

namespace {

constexpr double kPixelsPerDegree = 60, kCentre = 0.75;

double sensitivity(double frequency) {
  const double f = 0.114 * frequency;
  return 2.6 * (0.0192 + f) * std::exp(-std::pow(f, 1.1));
}

// Where the sensitivity is greatest.
double peak() {
  static const double found = [] {
    double best = 0;
    for (double f = 0; f < kPixelsPerDegree; f += 1.0 / 64)
      if (sensitivity(f) > sensitivity(best)) best = f;
    return best;
  }();
  return found;
}

}  // namespace

double visualWeight(Vision vision, Orientation orientation, int levels, const ComponentSize& size) {
  if (levels == 0 || orientation == ll) return 1;
  const double highest = std::ldexp(kPixelsPerDegree / 2, 1 - levels);
  const double x = orientation & hl ? kCentre * highest / size.dx : 0;
  const double y = orientation & lh ? kCentre * highest / size.dy : 0;
  const double frequency = std::hypot(x, y) * (vision == Vision::chroma ? 2 : 1);
  const double weight = sensitivity(std::max(frequency, peak())) / sensitivity(peak());
  return weight * weight;
}

}  // namespace moxj::j2k
