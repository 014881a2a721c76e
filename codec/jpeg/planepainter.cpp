// The planes of the components, one MCU row at a time.
#include "jpeg/planepainter.h"

#include <algorithm>
#include <cstring>

#include "jpeg/library.h"

namespace moxj::jpeg {

namespace {

constexpr std::uint8_t kEmptySample = 128;

}  // namespace

bool PlanePainter::canPaint(const Frame& frame, ColourModel model) {
  return (model == ColourModel::grey || model == ColourModel::ycbcr || model == ColourModel::rgb) &&
         frame.wholeRatios();
}

PlanePainter::PlanePainter(const View& view, ColourModel model, std::span<const Steps> steps, RowSink& sink,
                           Budget& budget)
    : frame_(view.frame), sink_(sink) {
  const Frame& frame = frame_;
  layout_.width = frame.width;
  layout_.height = frame.height;
  layout_.colour = model == ColourModel::grey    ? Colour::grey
                   : model == ColourModel::ycbcr ? Colour::ycbcr
                                                 : Colour::rgb;
  for (std::size_t i = 0; i < frame.components.size(); ++i) {
    const FrameComponent& c = frame.components[i];
    layout_.planes.push_back(
        Plane::of(c.width, c.height, 8, false, frame.maxHorizontal / c.horizontal, frame.maxVertical / c.vertical));
    Strip& strip = strips_.emplace_back(BlockInverse(steps[i], view.blocks[i]));
    strip.rows = frame.unit * c.vertical;
    strip.step = stripStep(frame.unit * c.paddedWide);
    const std::size_t size = static_cast<std::size_t>(strip.step) * static_cast<std::size_t>(strip.rows);
    budget.charge(1, size);
    strip.samples.resize(size);
    strip.first = strip.samples.data();
  }
  sink.begin(layout_);
}

void PlanePainter::finishRow() {
  Picture band = layout_;
  const int top = mcuRow_ * frame_.mcuHeight();
  band.height = std::min(frame_.mcuHeight(), frame_.height - top);
  for (std::size_t i = 0; i < strips_.size(); ++i) {
    const FrameComponent& c = frame_.components[i];
    Strip& strip = strips_[i];
    Plane& plane = band.planes[i];
    plane.height = std::min(strip.rows, c.height - strip.rows * mcuRow_);
    plane.step = strip.step;
    plane.samples = strip.first;
    strip.firstRow += strip.rows;
  }
  ++mcuRow_;
  sink_.rows(band);
}

// Missing rows are empty.
void PlanePainter::finish() {
  if (mcuRow_ == frame_.mcusHigh) return;
  for (Strip& strip : strips_) std::memset(strip.first, kEmptySample, strip.samples.size());
  while (mcuRow_ < frame_.mcusHigh) finishRow();
}

}  // namespace moxj::jpeg
