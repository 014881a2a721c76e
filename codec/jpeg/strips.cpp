// Upsampling and painting of one MCU row, and the band that goes to a sink.
#include "jpeg/strips.h"

#include <algorithm>
#include <cstring>

#include "jpeg/library.h"

namespace moxj::jpeg {

namespace {

constexpr std::uint8_t kEmptySample = 128;
// Size of a band: large enough for few calls of the sink, small enough for the cache.
constexpr std::size_t kBandBytes = std::size_t{32} << 10;

}  // namespace

Strips::Strips(const View& view, ColourModel model, std::span<const Steps> steps, const DecodeOptions& options,
               RowSink& sink, Budget& budget)
    : frame_(view.frame),
      painter_(model, frame_.width, options.inks),
      sink_(sink),
      straight_(frame_.components.size() == 1) {
  for (std::size_t i = 0; i < frame_.components.size(); ++i) {
    const FrameComponent& c = frame_.components[i];
    Strip& strip = strips_.emplace_back(Upsampler(frame_, c, options.smooth), BlockInverse(steps[i], view.blocks[i]));
    strip.height = c.height;
    strip.rows = frame_.unit * c.vertical;
    if (strip.upsampler.needsRowsAround()) rowsLate_ = 1;
    if (straight_) continue;
    strip.step = stripStep(frame_.unit * c.paddedWide);
    const std::size_t size = strip.step * (strip.rows + 1);
    budget.charge(1, size);
    strip.samples.resize(size);
    strip.first = strip.samples.data() + strip.step;
  }
  allocateBand(budget);
}

void Strips::allocateBand(Budget& budget) {
  const std::size_t rowBytes = straight_ ? static_cast<std::size_t>(frame_.unit * frame_.components[0].paddedWide)
                                         : std::size_t(painter_.channels()) * frame_.width;
  const int all = frame_.mcuHeight() * frame_.mcusHigh;
  const int enough = std::max(static_cast<int>(kBandBytes / rowBytes), frame_.mcuHeight() + rowsLate_);
  bandRows_ = std::min(all, enough);
  band_ = painter_.layout(std::min(frame_.height, bandRows_));
  band_.allocate(&budget, rowBytes, static_cast<std::size_t>(bandRows_));
  sink_.begin(painter_.layout(frame_.height));
  if (!straight_) return;
  strips_[0].step = band_.planes[0].step;
  strips_[0].first = band_.row(0);
}

// The first and the last row are repeated beyond the edges.
const std::uint8_t* Strips::rowOf(const Strip& strip, int y) const {
  return strip.first + strip.step * (std::clamp(y, 0, strip.height - 1) - strip.firstRow);
}

void Strips::paintRow(int y) {
  const std::uint8_t* planes[4] = {};
  for (std::size_t i = 0; i < strips_.size(); ++i) {
    Strip& strip = strips_[i];
    const std::uint8_t* const near = rowOf(strip, strip.upsampler.nearRow(y));
    const bool around = strip.upsampler.needsRowsAround();
    planes[i] = strip.upsampler.row(near, around ? rowOf(strip, strip.upsampler.farRow(y)) : near, y % 2 == 0);
  }
  painter_.paint(planes, paintedRow(y));
}

void Strips::finishRow() {
  const bool last = mcuRow_ + 1 == frame_.mcusHigh;
  const int end = last ? frame_.height : (mcuRow_ + 1) * frame_.mcuHeight() - rowsLate_;
  ++mcuRow_;
  if (straight_) painted_ = end;
  for (; painted_ < end; ++painted_) paintRow(painted_);
  for (Strip& strip : strips_) {
    strip.firstRow += strip.rows;
    if (straight_) continue;
    std::memcpy(strip.samples.data(), strip.first + strip.step * (strip.rows - 1), strip.step);
  }
  lastRow_ = paintedRow(painted_ - 1);
  makeRoom(frame_.mcuHeight() + rowsLate_);
  if (straight_ && !last) strips_[0].first = paintedRow(painted_);
}

// Passes the band to the sink if `rows` more rows would not fit into it.
void Strips::makeRoom(int rows) {
  if (painted_ - bandBegin_ + rows > bandRows_) flush();
}

void Strips::flush() {
  const int rows = painted_ - bandBegin_;
  if (rows > 0) sink_.rows(bandOf(band_, rows, frame_.height));
  bandBegin_ = painted_;
}

// Paints the missing rows: one empty MCU row, which may take part in the interpolation of the last one before it, and
// then copies of its last row.
void Strips::finish() {
  if (mcuRow_ < frame_.mcusHigh) {
    for (Strip& strip : strips_) std::memset(strip.first, kEmptySample, strip.step * strip.rows);
    finishRow();
    const std::vector<std::uint8_t> empty(lastRow_, lastRow_ + band_.rowBytes());
    for (; painted_ < frame_.height; ++painted_) {
      makeRoom(1);
      std::memcpy(paintedRow(painted_), empty.data(), empty.size());
    }
    mcuRow_ = frame_.mcusHigh;
  }
  flush();
}

}  // namespace moxj::jpeg
