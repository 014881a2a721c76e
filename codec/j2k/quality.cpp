// Planes may differ in depth, so their errors are added up as fractions of full intensity.
#include "j2k/quality.h"

#include <cmath>

namespace moxj::j2k {

namespace {

template <class A, class B>
double rowError(const A* a, int aStep, const B* b, int bStep, int count) {
  double sum = 0;
  for (std::ptrdiff_t x = 0; x < count; ++x) {
    const double difference = static_cast<double>(a[x * aStep]) - static_cast<double>(b[x * bStep]);
    sum += difference * difference;
  }
  return sum;
}

double squaredError(const Plane& a, const Plane& b) {
  double sum = 0;
  for (int y = 0; y < a.height; ++y)
    sum += visitRow(a, y, [&](const auto* first) {
      return visitRow(b, y,
                      [&](const auto* second) { return rowError(first, a.pixelStep, second, b.pixelStep, a.width); });
    });
  return sum;
}

}  // namespace

double psnrOf(const Picture& original, const Picture& decoded) {
  double error = 0, samples = 0;
  for (std::size_t c = 0; c < original.planes.size(); ++c) {
    const Plane& plane = original.planes[c];
    const double peak = std::ldexp(1, plane.bits) - 1;
    error += squaredError(plane, decoded.planes[c]) / (peak * peak);
    samples += static_cast<double>(plane.width) * plane.height;
  }
  return error > 0 ? -10 * std::log10(error / samples) : HUGE_VAL;
}

}  // namespace moxj::j2k
