// The samples of two groups and of one more row are kept: so a row finds those of the row above, and no row is
// overwritten while it is needed.
#include "jpeg/stripgroups.h"

#include <algorithm>
#include <cstring>

#include "jpeg/library.h"
#include "jpeg/painter.h"

namespace moxj::jpeg {

namespace {

constexpr std::uint8_t kEmptySample = 128;

}  // namespace

class StripGroups::Taken {
 public:
  explicit Taken(StripGroups& groups) : groups_(groups) {
    const std::lock_guard lock(groups_.mutex_);
    tools_ = groups_.free_.back();
    groups_.free_.pop_back();
  }
  ~Taken() {
    const std::lock_guard lock(groups_.mutex_);
    groups_.free_.push_back(tools_);
  }
  Taken(const Taken&) = delete;
  Taken& operator=(const Taken&) = delete;
  Tools* operator->() const { return tools_; }

 private:
  StripGroups& groups_;
  Tools* tools_;
};

StripGroups::StripGroups(const Frame& whole, const View& view, ColourModel model, std::span<const Steps> steps,
                         const DecodeOptions& options, RowSink& sink, int rowsOfGroup, Work& work)
    : frame_(view.frame),
      sink_(sink),
      rowsOfGroup_(rowsOfGroup),
      rowsKept_(2 * rowsOfGroup + 1),
      straight_(frame_.components.size() == 1),
      transformed_(static_cast<std::size_t>(rowsKept_)) {
  Tools tools{{}, RowPainter(model, frame_.width, options.inks)};
  for (std::size_t i = 0; i < frame_.components.size(); ++i) {
    const FrameComponent& c = frame_.components[i];
    tools.upsamplers.emplace_back(frame_, c, options.smooth);
    Strip& strip = strips_.emplace_back(BlockInverse(steps[i], view.blocks[i]));
    strip.blocksWide = (view.endColumn - view.firstColumn) * whole.components[i].horizontal;
    strip.blocksHigh = whole.components[i].vertical;
    strip.height = c.height;
    strip.rows = frame_.unit * c.vertical;
    strip.around = tools.upsamplers.back().needsRowsAround();
    strip.step = straight_ ? frame_.unit * c.paddedWide : stripStep(frame_.unit * c.paddedWide);
    if (strip.around) rowsLate_ = 1;
  }
  for (int i = 0; i < std::min(work.workers.count(), 2 * rowsOfGroup); ++i) tools_.push_back(tools);
  for (Tools& one : tools_) free_.push_back(&one);
  for (std::atomic<int>& row : transformed_) row = -1;
  allocate(work.budget);
  sink_.begin(tools.painter.layout(frame_.height));
}

void StripGroups::allocate(Budget& budget) {
  for (Strip& strip : strips_) {
    if (straight_) continue;
    const std::size_t bytes = static_cast<std::size_t>(strip.step) * static_cast<std::size_t>(strip.rows * rowsKept_);
    budget.charge(1, bytes);
    strip.samples.resize(bytes);
  }
  const RowPainter& painter = tools_.front().painter;
  const std::size_t rowBytes =
      straight_ ? static_cast<std::size_t>(strips_[0].step)
                : static_cast<std::size_t>(painter.channels()) * static_cast<std::size_t>(frame_.width);
  const int rows = rowsOfGroup_ * frame_.mcuHeight() + rowsLate_;
  for (Group& group : groups_) {
    group.band = painter.layout(std::min(frame_.height, rows));
    group.band.allocate(&budget, rowBytes, static_cast<std::size_t>(rows));
  }
  if (straight_) strips_[0].step = groups_[0].band.planes[0].step;
}

int StripGroups::begin(int count) {
  const int place = next_;
  next_ = 1 - next_;
  Group& group = groups_[static_cast<std::size_t>(place)];
  group.row = mcuRow_;
  group.count = count;
  group.top = endOf(mcuRow_ - 1);
  mcuRow_ += count;
  return place;
}

void StripGroups::rewind(int row) {
  mcuRow_ = row;
  for (std::atomic<int>& transformed : transformed_)
    if (transformed >= row) transformed = -1;
}

int StripGroups::endOf(int row) const {
  if (row < 0) return 0;
  return row + 1 == frame_.mcusHigh ? frame_.height : (row + 1) * frame_.mcuHeight() - rowsLate_;
}

std::uint8_t* StripGroups::samplesOf(const Group& group, const Strip& strip, int row) const {
  if (straight_) return group.band.row((row - group.row) * strip.rows);
  return const_cast<std::uint8_t*>(strip.samples.data()) + strip.step * strip.rows * (row % rowsKept_);
}

// The first and the last row are repeated beyond the edges.
const std::uint8_t* StripGroups::rowOf(const Strip& strip, int y) const {
  const int within = std::clamp(y, 0, strip.height - 1);
  return strip.samples.data() +
         strip.step * (std::ptrdiff_t{within / strip.rows % rowsKept_} * strip.rows + within % strip.rows);
}

void StripGroups::transformed(int row) {
  std::atomic<int>& place = transformed_[static_cast<std::size_t>(row % rowsKept_)];
  place = row;
  place.notify_all();
}

void StripGroups::awaitTransformed(int row) {
  const std::atomic<int>& place = transformed_[static_cast<std::size_t>(row % rowsKept_)];
  for (int there; (there = place) != row;) place.wait(there);
}

void StripGroups::paintRows(const Group& group, int row) {
  if (row > 0 && rowsLate_ > 0) awaitTransformed(row - 1);
  const Taken tools(*this);
  for (int y = endOf(row - 1); y < endOf(row); ++y) {
    const std::uint8_t* planes[4] = {};
    for (std::size_t i = 0; i < strips_.size(); ++i) {
      const Strip& strip = strips_[i];
      Upsampler& upsampler = tools->upsamplers[i];
      const std::uint8_t* const near = rowOf(strip, upsampler.nearRow(y));
      planes[i] = upsampler.row(near, strip.around ? rowOf(strip, upsampler.farRow(y)) : near, y % 2 == 0);
    }
    tools->painter.paint(planes, group.band.row(y - group.top));
  }
}

void StripGroups::push(int place) {
  const Group& group = groups_[static_cast<std::size_t>(place)];
  const int rows = endOf(group.row + group.count - 1) - group.top;
  if (rows > 0) sink_.rows(bandOf(group.band, rows, frame_.height));
}

// Paints the missing rows: one empty MCU row, which may take part in the interpolation of the last one before it, and
// then copies of its last row.
void StripGroups::finish() {
  if (mcuRow_ == frame_.mcusHigh) return;
  const int place = begin(1);
  const Group& group = groups_[static_cast<std::size_t>(place)];
  const int row = group.row;
  for (const Strip& strip : strips_)
    std::memset(samplesOf(group, strip, row), kEmptySample, static_cast<std::size_t>(strip.step) * strip.rows);
  transformed(row);
  if (!straight_) paintRows(group, row);
  push(place);
  const int painted = endOf(row) - group.top;
  const Picture& band = groups_[static_cast<std::size_t>(1 - place)].band;
  for (int y = 0; y < band.height; ++y) std::memcpy(band.row(y), group.band.row(painted - 1), band.rowBytes());
  for (int y = endOf(row); y < frame_.height; y += band.height)
    sink_.rows(bandOf(band, std::min(band.height, frame_.height - y), frame_.height));
  mcuRow_ = frame_.mcusHigh;
}

}  // namespace moxj::jpeg
