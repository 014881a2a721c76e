#include "jpeg/strips.h"

#include <algorithm>
#include <cstring>

#include "jpeg/library.h"

namespace moxj::jpeg {

namespace {

constexpr std::uint8_t kEmptySample = 128;
// Of a band: few calls of the sink, and still within the cache.
constexpr std::size_t kBandBytes = std::size_t{32} << 10;

}  // namespace

Strips::Strips(const Frame& frame, ColourModel model, std::span<const Steps> steps, const DecodeOptions& options,
               RowSink* sink)
    : frame_(frame), painter_(model, frame.width, options.inks), sink_(sink), straight_(frame.components.size() == 1) {
  for (std::size_t i = 0; i < frame.components.size(); ++i) {
    const FrameComponent& c = frame.components[i];
    Strip& strip = strips_.emplace_back(Upsampler(frame, c, options.smooth), steps[i]);
    strip.height = c.height;
    strip.blockRows = c.vertical;
    if (strip.upsampler.needsRowsAround()) rowsLate_ = 1;
    if (straight_) continue;
    strip.step = stripStep(8 * c.paddedWide);
    strip.samples.resize(strip.step * (8 * c.vertical + 1));
    strip.first = strip.samples.data() + strip.step;
  }
  takeMemory();
}

void Strips::takeMemory() {
  const std::size_t rowBytes =
      straight_ ? std::size_t{8} * frame_.components[0].paddedWide : std::size_t(painter_.channels()) * frame_.width;
  const int all = frame_.mcuHeight() * frame_.mcusHigh;
  bandRows_ = all;
  if (sink_) {
    const int enough = std::max(static_cast<int>(kBandBytes / rowBytes), frame_.mcuHeight() + rowsLate_);
    bandRows_ = std::min(all, enough);
    sink_->begin(frame_.width, frame_.height, painter_.channels());
  }
  band_ = Picture::make(frame_.width, std::min(frame_.height, bandRows_), painter_.channels(), rowBytes, bandRows_);
  if (!straight_) return;
  strips_[0].step = band_.step;
  strips_[0].first = band_.samples;
}

// The rows above the first and below the last repeat these.
const std::uint8_t* Strips::rowOf(const Strip& strip, int y) const {
  return strip.first + strip.step * (std::clamp(y, 0, strip.height - 1) - 8 * strip.firstBlockRow);
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
    strip.firstBlockRow += strip.blockRows;
    if (straight_) continue;
    std::memcpy(strip.samples.data(), strip.first + strip.step * (8 * strip.blockRows - 1), strip.step);
  }
  lastRow_ = paintedRow(painted_ - 1);
  makeRoom(frame_.mcuHeight() + rowsLate_);
  if (straight_ && !last) strips_[0].first = paintedRow(painted_);
}

// Hands the band over where the rows to come would not fit into it.
void Strips::makeRoom(int rows) {
  if (sink_ && painted_ - bandBegin_ + rows > bandRows_) flush();
}

void Strips::flush() {
  Picture ready = band_;
  ready.height = painted_ - bandBegin_;
  if (ready.height > 0) sink_->rows(ready);
  bandBegin_ = painted_;
}

// Behind one empty MCU row, which may still take part in the smoothing of the last one, all rows are the same.
void Strips::finish() {
  if (mcuRow_ < frame_.mcusHigh) {
    for (Strip& strip : strips_) std::memset(strip.first, kEmptySample, strip.step * 8 * strip.blockRows);
    finishRow();
    const std::vector<std::uint8_t> empty(lastRow_, lastRow_ + band_.rowBytes());
    for (; painted_ < frame_.height; ++painted_) {
      makeRoom(1);
      std::memcpy(paintedRow(painted_), empty.data(), empty.size());
    }
    mcuRow_ = frame_.mcusHigh;
  }
  if (sink_) flush();
}

}  // namespace moxj::jpeg
