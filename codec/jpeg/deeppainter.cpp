// Whole components, and their interpolation.
#include "jpeg/deeppainter.h"

#include <algorithm>
#include <cstddef>

#include "jpeg/deepdct.h"
#include "jpeg/lossless.h"
#include "jpeg/upsampler.h"

namespace moxj::jpeg {

namespace {

// One row of a component at the size of the picture, by the filters of Upsampler.
class DeepUpsampler {
 public:
  DeepUpsampler(const Frame& frame, const FrameComponent& c, const Plane& plane, bool smooth)
      : component_(c), plane_(plane), maxHorizontal_(frame.maxHorizontal), maxVertical_(frame.maxVertical) {
    const bool doubleWidth = maxHorizontal_ == 2 * c.horizontal, doubleHeight = maxVertical_ == 2 * c.vertical;
    const bool fullWidth = maxHorizontal_ == c.horizontal, fullHeight = maxVertical_ == c.vertical;
    across_ = smooth && doubleWidth && (fullHeight || doubleHeight) && c.width > 2;
    down_ = smooth && doubleHeight && (fullWidth || across_);
    sums_.resize(static_cast<std::size_t>(c.width));
  }

  void row(int y, const Plane& to) {
    load(y);
    std::uint16_t* const pixels = to.row<std::uint16_t>(y);
    const int last = component_.width - 1, vertical = down_ ? 4 : 1;
    // Halves are rounded up and down in turn, from row to row or from sample to sample.
    const int upBias = across_ ? (down_ ? 8 : 1) : y % 2 == 0 ? 1 : 2, downBias = down_ ? 7 : 2;
    for (int x = 0; x < to.width; ++x) {
      int value = 0;
      if (across_) {
        const int near = x / 2, far = x % 2 == 0 ? near - 1 : near + 1;
        const int sum = 3 * sums_[near] + sums_[std::clamp(far, 0, last)];
        value = (sum + (x % 2 == 0 ? upBias : downBias)) / (4 * vertical);
      } else {
        const int sum = sums_[(2 * x + 1) * component_.horizontal / (2 * maxHorizontal_)];
        value = down_ ? (sum + upBias) / 4 : sum;
      }
      pixels[std::ptrdiff_t{x} * to.pixelStep] = static_cast<std::uint16_t>(value);
    }
  }

 private:
  // Samples, or three times the samples of a row and those of the other neighbour.
  void load(int y) {
    const int near = (2 * y + 1) * component_.vertical / (2 * maxVertical_);
    const int far = std::clamp(y % 2 == 0 ? near - 1 : near + 1, 0, component_.height - 1);
    const std::uint16_t *const nearRow = plane_.row<std::uint16_t>(near), *const farRow =
                                                                              plane_.row<std::uint16_t>(far);
    for (int x = 0; x < component_.width; ++x) {
      const std::ptrdiff_t at = std::ptrdiff_t{x} * plane_.pixelStep;
      sums_[x] = down_ ? 3 * nearRow[at] + farRow[at] : nearRow[at];
    }
  }

  const FrameComponent& component_;
  const Plane& plane_;
  const int maxHorizontal_, maxVertical_;
  bool across_ = false, down_ = false;
  std::vector<int> sums_;
};

}  // namespace

DeepPainter::DeepPainter(const View& view, ColourModel model, std::span<const Steps> steps,
                         const DecodeOptions& options, RowSink& sink, Work& work)
    : frame_(view.frame),
      blocks_(view.blocks),
      model_(model),
      steps_(steps.begin(), steps.end()),
      options_(options),
      sink_(sink),
      work_(work),
      charged_(work.budget.used()),
      samples_(makeSamples(view.frame, work.budget)) {
  charged_ = work.budget.used() - charged_;
}

// A sink may have kept the samples.
DeepPainter::~DeepPainter() {
  if (samples_.owner.use_count() == 1) work_.budget.release(charged_);
}

void DeepPainter::put(int component, int x, int y, const Mox16s* coefficients) {
  const Plane& plane = samples_.planes[component];
  const BlockSize& size = blocks_[component];
  const int left = size.width * x, top = size.height * y;
  const int width = std::min(size.width, plane.width - left), height = std::min(size.height, plane.height - top);
  if (width <= 0 || height <= 0) return;  // a padding block
  std::uint16_t block[64];
  if (size == BlockSize())
    invertDeep(coefficients, steps_[component], frame_.precision, block, 8);
  else
    invertScaled(coefficients, steps_[component], size, frame_.precision, block, 8);
  for (int row = 0; row < height; ++row) {
    std::uint16_t* const to = plane.row<std::uint16_t>(top + row) + std::ptrdiff_t{left} * plane.pixelStep;
    for (int column = 0; column < width; ++column)
      to[std::ptrdiff_t{column} * plane.pixelStep] = block[8 * row + column];
  }
}

void DeepPainter::finish() {
  const bool native = options_.native && frame_.wholeRatios() && frame_.components.size() != 4;
  const bool sampled = std::ranges::any_of(frame_.components, [&](const FrameComponent& c) {
    return c.horizontal != frame_.maxHorizontal || c.vertical != frame_.maxVertical;
  });
  if (!native && sampled) enlarge();
  pushSamples(frame_, model_, samples_, options_, sink_, work_);
}

void DeepPainter::enlarge() {
  Frame frame = frame_;
  for (FrameComponent& c : frame.components) {
    c.horizontal = frame.maxHorizontal;
    c.vertical = frame.maxVertical;
  }
  frame.layOut();
  const std::uint64_t before = work_.budget.used();
  const Picture enlarged = makeSamples(frame, work_.budget);
  for (std::size_t i = 0; i < samples_.planes.size(); ++i) {
    work_.budget.charge(static_cast<std::uint64_t>(frame_.components[i].width), sizeof(int));
    DeepUpsampler upsampler(frame_, frame_.components[i], samples_.planes[i], options_.smooth);
    for (int y = 0; y < frame.height; ++y) upsampler.row(y, enlarged.planes[i]);
  }
  work_.budget.release(charged_);
  charged_ = work_.budget.used() + charged_ - before;
  samples_ = enlarged;
  frame_ = frame;
}

}  // namespace moxj::jpeg
