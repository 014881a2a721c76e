// Plain lifting (F.3.8.1): rows, then columns, each in a buffer of 64-bit integers, where no sum overflows.
#include "j2k/deepwavelet.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace moxj::j2k {

namespace {

// A row or a column. Its first sample has an odd coordinate if `phase` is 1; samples at odd coordinates are those of
// the high band.
class Line {
 public:
  explicit Line(std::size_t longest) : samples_(longest) {}

  // Elements are `step` bytes apart. False if a value does not fit.
  bool inverse(std::uint8_t* first, std::ptrdiff_t step, Coord count, Coord phase) {
    const Coord low = (count + 1 - phase) / 2;
    const auto at = [&](Coord i) -> std::int32_t& { return *reinterpret_cast<std::int32_t*>(first + step * i); };
    for (Coord i = 0; i < low; ++i) sample(2 * i + phase) = at(i);
    for (Coord i = low; i < count; ++i) sample(2 * (i - low) + 1 - phase) = at(i);
    lift(count, phase);
    bool fits = true;
    for (Coord i = 0; i < count; ++i) {
      const std::int64_t value = std::clamp<std::int64_t>(sample(i), INT32_MIN, INT32_MAX);
      fits &= value == sample(i);
      at(i) = static_cast<std::int32_t>(value);
    }
    return fits;
  }

 private:
  std::int64_t& sample(Coord i) { return samples_[static_cast<std::size_t>(i)]; }

  void lift(Coord count, Coord phase) {
    if (count == 1) {
      if (phase == 1) sample(0) >>= 1;
      return;
    }
    // The neighbours of a sample, mirrored at the ends.
    const auto around = [&](Coord i) { return sample(i > 0 ? i - 1 : 1) + sample(i + 1 < count ? i + 1 : count - 2); };
    for (Coord i = phase; i < count; i += 2) sample(i) -= (around(i) + 2) >> 2;
    for (Coord i = 1 - phase; i < count; i += 2) sample(i) += around(i) >> 1;
  }

  std::vector<std::int64_t> samples_;
};

}  // namespace

bool deepInverse(TilePlane& plane, const Rect& rect) {
  if (rect.empty()) return true;
  Line line(static_cast<std::size_t>(std::max(rect.width(), rect.height())));
  bool fits = true;
  for (Coord y = 0; y < rect.height(); ++y)
    fits &= line.inverse(reinterpret_cast<std::uint8_t*>(plane.row(static_cast<int>(y))), 4, rect.width(), rect.x0 & 1);
  for (Coord x = 0; x < rect.width(); ++x)
    fits &= line.inverse(reinterpret_cast<std::uint8_t*>(plane.row(0) + x), plane.step(), rect.height(), rect.y0 & 1);
  return fits;
}

}  // namespace moxj::j2k
