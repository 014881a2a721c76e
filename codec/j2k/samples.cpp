// Loads and stores the rows of a tile, with level shift, fixed point and component transforms.
#include "j2k/samples.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "base/library.h"
#include "j2k/deepwavelet.h"
#include "j2k/wavelet.h"

namespace moxj::j2k {

namespace {

int levelShift(const TileComponent& component) { return component.isSigned ? 0 : 1 << (component.bits - 1); }

// The usual steps are constants for the compiler.
template <class Row>
void withStep(int pixelStep, const Row& row) {
  if (pixelStep == 1) return row(std::integral_constant<std::ptrdiff_t, 1>());
  if (pixelStep == 3) return row(std::integral_constant<std::ptrdiff_t, 3>());
  row(static_cast<std::ptrdiff_t>(pixelStep));
}

template <class From, class To>
void loadRow(const From* from, int pixelStep, int count, int shift, To* to) {
  withStep(pixelStep, [=](auto step) {
    for (int x = 0; x < count; ++x) to[x] = static_cast<To>(static_cast<std::int32_t>(from[x * step]) - shift);
  });
}

template <class To>
void loadRow(const Plane& plane, const Window& window, int y, int count, int shift, To* to) {
  visitRow(plane, window.y + y, [&](const auto* row) {
    loadRow(row + std::ptrdiff_t{window.x} * plane.pixelStep, plane.pixelStep, count, shift, to);
  });
}

template <class To>
void storeRow(const std::int32_t* from, int count, int shift, std::int32_t min, std::int32_t max, int pixelStep,
              To* to) {
  withStep(pixelStep, [=](auto step) {
    for (int x = 0; x < count; ++x)
      to[x * step] = static_cast<To>(std::clamp(from[x], min - shift, max - shift) + shift);
  });
}

// Stores what lies in the plane.
void storeRow(const std::int32_t* from, const TileComponent& component, const Plane& plane, const Window& window, int y,
              int count) {
  const int shift = levelShift(component);
  const int begin = std::max(-window.x, 0), end = std::min(plane.width - window.x, count);
  if (window.y + y < 0 || window.y + y >= plane.height) return;
  visitRow(plane, window.y + y, [&](auto* row) {
    storeRow(from + begin, end - begin, shift, plane.minval(), plane.maxval, plane.pixelStep,
             row + std::ptrdiff_t{window.x + begin} * plane.pixelStep);
  });
}

// Between fixed point and single precision, in place.
void toFixed(float* values, int count, float scale) {
  for (int x = 0; x < count; ++x) {
    const float value = values[x] * scale;
    values[x] = std::bit_cast<float>(static_cast<std::int32_t>(value + std::copysign(0.5f, value)));
  }
}
void toFloat(std::int32_t* values, int count, float scale) {
  for (int x = 0; x < count; ++x) {
    values[x] = std::bit_cast<std::int32_t>(static_cast<float>(values[x]) * scale);
  }
}
// To the nearest integer.
void toWhole(float* values, int count) {
  constexpr float kMaxValue = 1 << 30;
  for (int x = 0; x < count; ++x) {
    const float value = std::clamp(values[x], -kMaxValue, kMaxValue);
    values[x] = std::bit_cast<float>(static_cast<std::int32_t>(value + std::copysign(0.5f, value)));
  }
}

float scaleOf(const TileComponent& component) { return static_cast<float>(1 << fractionBits(component.bits)); }

MoxRoiSize rowOf(const TilePlane& plane, int x) { return {std::min(plane.width() - x, kPixelsOfOneThread), 1}; }

void transformRow(std::span<TilePlane> planes, bool reversible, bool forward, int y) {
  for (int x = 0; x < planes[0].width(); x += kPixelsOfOneThread) {
    const MoxRoiSize size = rowOf(planes[0], x);
    if (reversible) {
      Mox32s* const rows[3] = {planes[0].row(y) + x, planes[1].row(y) + x, planes[2].row(y) + x};
      require((forward ? moxiRCTFwd_JPEG2K_32s_P3IR : moxiRCTInv_JPEG2K_32s_P3IR)(rows, planes[0].step(), size),
              "a component transform");
    } else {
      Mox32f* const rows[3] = {planes[0].floats(y) + x, planes[1].floats(y) + x, planes[2].floats(y) + x};
      require((forward ? moxiICTFwd_JPEG2K_32f_P3IR : moxiICTInv_JPEG2K_32f_P3IR)(rows, planes[0].step(), size),
              "a component transform");
    }
  }
}

// In 64 bits, for samples so deep that the sum of two differences may not fit 32.
void deepInverseRct(std::span<TilePlane> planes, int y) {
  std::int32_t *const a = planes[0].row(y), *const b = planes[1].row(y), *const c = planes[2].row(y);
  const auto stored = [](std::int64_t value) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, INT32_MIN, INT32_MAX));
  };
  for (int x = 0; x < planes[0].width(); ++x) {
    const std::int64_t u = b[x], v = c[x], green = a[x] - ((u + v) >> 2);
    a[x] = stored(v + green);
    b[x] = stored(green);
    c[x] = stored(u + green);
  }
}

void inverseTransformRow(std::span<TilePlane> planes, const TileComponent& first, int y) {
  if (first.coding.reversible && first.bits > kMaxShallowBits) return deepInverseRct(planes, y);
  transformRow(planes, first.coding.reversible, false, y);
}

// Calls work(y) for every row of the tallest plane.
template <class Work>
void forEachRow(std::span<TilePlane> planes, Workers& workers, const Work& work) {
  constexpr int kRowsOfATask = 64;
  int rows = 0;
  for (const TilePlane& plane : planes) rows = std::max(rows, plane.height());
  workers.forEach(static_cast<std::size_t>(ceilDiv(rows, kRowsOfATask)), [&](int, std::size_t task) {
    const int begin = static_cast<int>(task) * kRowsOfATask;
    for (int y = begin; y < std::min(begin + kRowsOfATask, rows); ++y) work(y);
  });
}

}  // namespace

void loadTile(const Picture& picture, const Tile& tile, std::span<const Window> windows, std::span<TilePlane> planes,
              Workers& workers) {
  const bool reversible = tile.components[0].coding.reversible;
  forEachRow(planes, workers, [&](int y) {
    for (std::size_t c = 0; c < planes.size(); ++c) {
      if (y >= planes[c].height()) continue;
      const int count = planes[c].width(), shift = levelShift(tile.components[c]);
      reversible ? loadRow(picture.planes[c], windows[c], y, count, shift, planes[c].row(y))
                 : loadRow(picture.planes[c], windows[c], y, count, shift, planes[c].floats(y));
    }
    if (tile.style.transform && y < planes[0].height()) transformRow(planes, reversible, true, y);
    if (reversible) return;
    for (std::size_t c = 0; c < planes.size(); ++c)
      if (y < planes[c].height()) toFixed(planes[c].floats(y), planes[c].width(), scaleOf(tile.components[c]));
  });
}

void storeTile(std::span<TilePlane> planes, const Tile& tile, std::span<const Window> windows, const Picture& picture,
               Workers& workers) {
  forEachRow(planes, workers, [&](int y) {
    for (std::size_t c = 0; c < planes.size(); ++c) {
      const TileComponent& component = tile.components[c];
      if (y < planes[c].height() && !component.coding.reversible)
        toFloat(planes[c].row(y), planes[c].width(), 1 / scaleOf(component));
    }
    if (tile.style.transform && y < planes[0].height()) inverseTransformRow(planes, tile.components[0], y);
    for (std::size_t c = 0; c < planes.size(); ++c) {
      if (y >= planes[c].height()) continue;
      const TileComponent& component = tile.components[c];
      if (!component.coding.reversible) toWhole(planes[c].floats(y), planes[c].width());
      storeRow(planes[c].row(y), component, picture.planes[c], windows[c], y, planes[c].width());
    }
  });
}

}  // namespace moxj::j2k
