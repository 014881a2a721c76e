// The sample at (x, y) of the result comes from (x, y), or from (y, x) if the picture is transposed, counted from the
// right or from the bottom if it is mirrored. The result is made in bands of few rows: a transposed band takes a few
// samples of every row, which are neighbours in memory.
#include "pictures/turn.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace moxj {

namespace {

struct Turn {
  bool transposed, fromRight, fromBottom;  // mirrored before it is transposed

  explicit Turn(int orientation)
      : transposed(orientation >= 5),
        fromRight(orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8),
        fromBottom(orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7) {}
};

Picture turnedLayout(const Picture& layout, const Turn& turn) {
  Picture made = layout;
  made.owner = nullptr;
  for (Plane& plane : made.planes) plane.samples = nullptr;
  if (!turn.transposed) return made;
  std::swap(made.width, made.height);
  for (Plane& plane : made.planes) {
    std::swap(plane.width, plane.height);
    std::swap(plane.dx, plane.dy);
  }
  return made;
}

// Elements of `size` bytes: the pixels of interleaved samples, or the samples of one plane.
struct Grid {
  std::uint8_t* first;
  std::ptrdiff_t step, pixelStep;  // bytes
  int width, height;
  std::size_t size;
};

Grid gridOf(const Plane& plane) {
  const int size = sizeOf(plane.element);
  return {plane.samples, plane.step,   std::ptrdiff_t{plane.pixelStep} * size,
          plane.width,   plane.height, static_cast<std::size_t>(size)};
}

Grid pixelsOf(const Picture& picture) {
  Grid grid = gridOf(picture.planes[0]);
  grid.size *= picture.planes.size();
  return grid;
}

// Rows `top` and following of the result. `size` 0: that of the grid.
template <std::size_t size>
void turnRows(const Grid& from, const Grid& to, int top, const Turn& turn) {
  const std::size_t bytes = size == 0 ? from.size : size;
  const std::ptrdiff_t across = turn.fromRight ? -from.pixelStep : from.pixelStep;
  const std::ptrdiff_t down = turn.fromBottom ? -from.step : from.step;
  const std::uint8_t* const origin = from.first + (turn.fromRight ? (from.width - 1) * from.pixelStep : 0) +
                                     (turn.fromBottom ? (from.height - 1) * from.step : 0);
  if (turn.transposed) {
    for (std::ptrdiff_t x = 0; x < to.width; ++x)
      for (std::ptrdiff_t y = 0; y < to.height; ++y)
        std::memcpy(to.first + y * to.step + x * to.pixelStep, origin + (top + y) * across + x * down, bytes);
    return;
  }
  for (std::ptrdiff_t y = 0; y < to.height; ++y)
    for (std::ptrdiff_t x = 0; x < to.width; ++x)
      std::memcpy(to.first + y * to.step + x * to.pixelStep, origin + (top + y) * down + x * across, bytes);
}

void turnGrid(const Grid& from, const Grid& to, int top, const Turn& turn) {
  switch (from.size) {
    case 1:
      return turnRows<1>(from, to, top, turn);
    case 2:
      return turnRows<2>(from, to, top, turn);
    case 3:
      return turnRows<3>(from, to, top, turn);
    case 4:
      return turnRows<4>(from, to, top, turn);
    case 6:
      return turnRows<6>(from, to, top, turn);
    default:
      return turnRows<0>(from, to, top, turn);
  }
}

void turnBand(const Picture& from, const Picture& to, int top, const Turn& turn) {
  if (from.interleaved() && to.interleaved()) return turnGrid(pixelsOf(from), pixelsOf(to), top, turn);
  for (std::size_t i = 0; i < to.planes.size(); ++i)
    turnGrid(gridOf(from.planes[i]), gridOf(to.planes[i]), top / to.planes[i].dy, turn);
}

class TurningSink : public RowSink {
 public:
  TurningSink(RowSink& next, int orientation, Budget& budget)
      : next_(next), turn_(orientation), budget_(budget), collector_(&budget) {}

  void begin(const Picture& layout) override {
    made_ = turnedLayout(layout, turn_);
    bandRows_ = rowsOfBand(made_);
    if (collects()) collector_.begin(layout);
    next_.begin(made_);
  }

  void rows(const Picture& band) override {
    if (collects()) return collector_.rows(band);
    for (int y = 0; y < band.height; y += bandRows_) give(band, y, std::min(bandRows_, band.height - y));
  }

  void end() override {
    if (collects()) {
      const Picture& picture = collector_.picture();
      for (int y = 0; y < made_.height; y += bandRows_) give(picture, y, std::min(bandRows_, made_.height - y));
    }
    next_.end();
  }
  bool takesWhole() const override { return collects(); }

 private:
  bool collects() const { return turn_.transposed || turn_.fromBottom; }

  void give(const Picture& from, int top, int count) {
    if (!buffer_.hasSamples()) {
      buffer_ = made_.band(0, bandRows_);
      buffer_.allocate(&budget_);
    }
    const Picture band = buffer_.band(0, count);
    turnBand(from, band, top, turn_);
    next_.rows(band);
  }

  RowSink& next_;
  const Turn turn_;
  Budget& budget_;
  PictureCollector collector_;
  Picture made_;  // its layout
  Picture buffer_;
  int bandRows_ = 1;
};

}  // namespace

std::unique_ptr<RowSink> turning(RowSink& next, int orientation, Budget& budget) {
  return std::make_unique<TurningSink>(next, orientation, budget);
}

}  // namespace moxj
