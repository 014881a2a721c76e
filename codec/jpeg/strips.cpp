#include "jpeg/strips.h"

#include <algorithm>
#include <cstring>

#include "jpeg/library.h"

namespace moxj::jpeg {

namespace {

constexpr std::uint8_t kEmptySample = 128;

}  // namespace

Strips::Strips(const Frame& frame, ColourModel model, std::span<const Steps> steps, bool smooth)
    : frame_(frame), painter_(model, frame.width), straight_(frame.components.size() == 1) {
  const std::size_t paddedBytes = straight_ ? std::size_t{8} * frame.components[0].paddedWide : 0;
  const std::size_t paddedRows = straight_ ? std::size_t{8} * frame.components[0].paddedHigh : 0;
  picture_ = Picture::make(frame.width, frame.height, painter_.channels(), paddedBytes, paddedRows);
  for (std::size_t i = 0; i < frame.components.size(); ++i) {
    const FrameComponent& c = frame.components[i];
    Strip& strip = strips_.emplace_back(Upsampler(frame, c, smooth), steps[i]);
    strip.height = c.height;
    strip.blockRows = c.vertical;
    if (straight_) {
      strip.step = picture_.step;
      strip.first = picture_.samples;
    } else {
      strip.step = stripStep(8 * c.paddedWide);
      strip.samples.resize(strip.step * (8 * c.vertical + 1));
      strip.first = strip.samples.data() + strip.step;
    }
    if (strip.upsampler.needsRowsAround()) rowsLate_ = 1;
  }
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
  painter_.paint(planes, picture_.row(y));
}

void Strips::finishRow() {
  const bool last = mcuRow_ + 1 == frame_.mcusHigh;
  const int end = last ? frame_.height : (mcuRow_ + 1) * frame_.mcuHeight() - rowsLate_;
  ++mcuRow_;
  if (straight_) {
    for (Strip& strip : strips_) {
      strip.first += strip.step * 8 * strip.blockRows;
      strip.firstBlockRow += strip.blockRows;
    }
    painted_ = end;
    return;
  }
  for (; painted_ < end; ++painted_) paintRow(painted_);
  for (Strip& strip : strips_) {
    std::memcpy(strip.samples.data(), strip.first + strip.step * (8 * strip.blockRows - 1), strip.step);
    strip.firstBlockRow += strip.blockRows;
  }
}

// Behind one empty MCU row, which may still take part in the smoothing of the last one, all rows are the same.
void Strips::finishEmpty() {
  if (mcuRow_ == frame_.mcusHigh) return;
  for (Strip& strip : strips_) std::memset(strip.first, kEmptySample, strip.step * 8 * strip.blockRows);
  finishRow();
  for (; painted_ < frame_.height; ++painted_) {
    std::memcpy(picture_.row(painted_), picture_.row(painted_ - 1), picture_.rowBytes());
  }
  mcuRow_ = frame_.mcusHigh;
}

}  // namespace moxj::jpeg
