// Whole-tile transforms go over all rows of a level before the next. Here each level collects a strip of its input rows
// with a margin above and below: the filters reach 4 rows, so that the coefficients of the strip are those of the whole
// tile, and only the coefficients of the margin are computed twice. The low rows are the input of the next level.
#include "j2k/striptransform.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "j2k/wavelet.h"

namespace moxj::j2k {

namespace {

constexpr Coord kStrip = 64, kMargin = 4;  // both even: a strip begins with a low row wherever its level does

Coord strip(Coord height) { return std::min(height, kStrip + 2 * kMargin); }

}  // namespace

class StripTransform::Level {
 public:
  // Gets a row of low or of high coefficients, the low half of the columns first.
  using Use = std::function<void(bool high, Coord row, const std::int32_t* coefficients)>;

  Level(const Rect& rect, bool reversible, Use use)
      : rect_(rect),
        reversible_(reversible),
        use_(std::move(use)),
        rows_(static_cast<int>(rect.width()), static_cast<int>(strip(rect.height()))),
        work_(static_cast<int>(rect.width()), static_cast<int>(strip(rect.height()))) {}

  void put(const std::int32_t* row) {
    std::memcpy(rows_.row(static_cast<int>(end_ - begin_)), row, rowBytes());
    ++end_;
    const bool last = end_ == rect_.height();
    if (!last && end_ < done_ + kStrip + kMargin) return;
    transform(last ? end_ : end_ - kMargin);
    if (!last) keepMargin();
  }

 private:
  std::size_t rowBytes() const { return static_cast<std::size_t>(rect_.width()) * 4; }

  // Gives the coefficients of the rows from done_ up to `end`.
  void transform(Coord end) {
    const int count = static_cast<int>(end_ - begin_);
    for (int y = 0; y < count; ++y) std::memcpy(work_.row(y), rows_.row(y), rowBytes());
    const Rect region = {rect_.x0, rect_.y0 + begin_, rect_.x1, rect_.y0 + end_};
    transformLevel(work_, region, reversible_);
    // Rows at even coordinates are low. They come first, and those of the margin before those of the strip.
    const Coord y0 = region.y0, lows = (region.y1 + 1) / 2 - (y0 + 1) / 2;
    const Coord from = rect_.y0 + done_, to = rect_.y0 + end, top = rect_.y0;
    for (Coord y = from; y < to; ++y) {
      const bool high = y % 2 != 0;
      const Coord at = high ? lows + y / 2 - y0 / 2 : (y + 1) / 2 - (y0 + 1) / 2;
      const Coord row = high ? y / 2 - top / 2 : (y + 1) / 2 - (top + 1) / 2;
      use_(high, row, work_.row(static_cast<int>(at)));
    }
    done_ = end;
  }

  void keepMargin() {
    const Coord begin = std::max(done_ - kMargin, Coord{0});
    for (Coord y = begin; y < end_; ++y)
      std::memcpy(rows_.row(static_cast<int>(y - begin)), rows_.row(static_cast<int>(y - begin_)), rowBytes());
    begin_ = begin;
  }

  Rect rect_;
  bool reversible_;
  Use use_;
  TilePlane rows_, work_;
  Coord begin_ = 0, end_ = 0;  // of the rows that are kept, counted from the top
  Coord done_ = 0;             // rows whose coefficients have been given
};

StripTransform::StripTransform(const TileComponent& component, BandRow use)
    : component_(component), use_(std::move(use)), levels_(component.resolutions.size()) {
  for (std::size_t r = 1; r < levels_.size(); ++r) {
    const Rect& rect = component.resolutions[r].rect;
    if (rect.empty()) continue;
    levels_[r] = std::make_unique<Level>(
        rect, component.coding.reversible,
        [this, r](bool high, Coord row, const std::int32_t* c) { transformed(static_cast<int>(r), row, high, c); });
  }
}

StripTransform::~StripTransform() = default;

std::uint64_t StripTransform::bytes(const TileComponent& component) {
  std::uint64_t bytes = 0;
  for (std::size_t r = 1; r < component.resolutions.size(); ++r) {
    const Rect& rect = component.resolutions[r].rect;
    bytes += 2 * TilePlane::bytes(rect.width(), strip(rect.height()));
  }
  return bytes;
}

void StripTransform::put(const std::int32_t* samples) {
  if (levels_.size() > 1)
    levels_.back()->put(samples);
  else
    use_(component_.resolutions[0].bands[0], rows_, samples);
  ++rows_;
}

void StripTransform::transformed(int resolution, Coord row, bool high, const std::int32_t* coefficients) {
  const auto r = static_cast<std::size_t>(resolution);
  const Resolution& lower = component_.resolutions[r - 1];
  const std::vector<Band>& bands = component_.resolutions[r].bands;  // HL, LH, HH
  const std::int32_t* const right = coefficients + lower.rect.width();
  const auto use = [&](const Band& band, const std::int32_t* from) {
    if (band.rect.width() > 0) use_(band, row, from);
  };
  if (high) {
    use(bands[1], coefficients);
    use(bands[2], right);
    return;
  }
  use(bands[0], right);
  if (lower.rect.empty()) return;
  if (resolution > 1)
    levels_[r - 1]->put(coefficients);
  else
    use(lower.bands[0], coefficients);
}

}  // namespace moxj::j2k
