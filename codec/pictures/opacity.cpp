#include "pictures/opacity.h"

#include <algorithm>

namespace moxj {

namespace {

std::int64_t divided(std::int64_t sample, std::int64_t opacity, std::int64_t opaque, std::int64_t max) {
  return opacity <= 0 ? 0 : std::clamp<std::int64_t>((sample * opaque + opacity / 2) / opacity, 0, max);
}

// The planes may differ in depth and in size.
void divideRow(const Plane& plane, int y, const Plane& opacity) {
  const int opacityY = std::min(y * plane.dy / opacity.dy, opacity.height - 1);
  visitRow(plane, y, [&]<class Type>(Type* sample) {
    visitRow(opacity, opacityY, [&](const auto* alpha) {
      for (int x = 0; x < plane.width; ++x, sample += plane.pixelStep) {
        const int at = plane.dx == opacity.dx ? x : x * plane.dx / opacity.dx;
        const auto value = alpha[std::min(at, opacity.width - 1) * std::ptrdiff_t{opacity.pixelStep}];
        *sample = static_cast<Type>(divided(*sample, value, opacity.maxval, plane.maxval));
      }
    });
  });
}

}  // namespace

void divideByOpacity(const Picture& band) {
  const Plane& opacity = band.planes.back();
  for (std::size_t i = 0; i + 1 < band.planes.size(); ++i)
    for (int y = 0; y < band.planes[i].height; ++y) divideRow(band.planes[i], y, opacity);
}

}  // namespace moxj
