// Upsampling, ink conversion and output of lossless samples.
#include "jpeg/lossless.h"

#include <algorithm>

#include "base/problem.h"
#include "jpeg/upsampler.h"

namespace moxj::jpeg {

namespace {

// The rows of a component as bytes, upsampled to the size of the picture.
class ByteRows {
 public:
  ByteRows(const Frame& frame, const FrameComponent& component, const SamplePlane& plane, bool smooth)
      : upsampler_(frame, component, smooth), plane_(plane), width_(component.width), height_(component.height) {
    for (auto& row : rows_) row.resize(static_cast<std::size_t>(plane.step));
  }

  const std::uint8_t* row(int y) {
    const std::uint8_t* const near = load(0, upsampler_.nearRow(y));
    const std::uint8_t* const far = upsampler_.needsRowsAround() ? load(1, upsampler_.farRow(y)) : near;
    return upsampler_.row(near, far, y % 2 == 0);
  }

 private:
  const std::uint8_t* load(int which, int y) {
    const std::uint16_t* const from = plane_.row(std::clamp(y, 0, height_ - 1));
    std::uint8_t* const to = rows_[which].data();
    std::transform(from, from + plane_.step, to,
                   [](std::uint16_t sample) { return static_cast<std::uint8_t>(sample); });
    return to;
  }

  Upsampler upsampler_;
  const SamplePlane& plane_;
  int width_, height_;
  std::vector<std::uint8_t> rows_[2];
};

// Fills a component of an image from a plane, upsampled to the size of the picture by repetition.
void fill(const Frame& frame, const FrameComponent& c, const SamplePlane& plane, const moxj::Component& to) {
  for (int y = 0; y < to.height; ++y) {
    const std::uint16_t* const from = plane.row(std::min(y * c.vertical / frame.maxVertical, c.height - 1));
    for (int x = 0; x < to.width; ++x) {
      const int value = from[std::min(x * c.horizontal / frame.maxHorizontal, c.width - 1)];
      if (to.wide)
        to.numbers(y)[std::ptrdiff_t{x} * to.pixelStep] = value;
      else
        to.bytes(y)[std::ptrdiff_t{x} * to.pixelStep] = static_cast<std::uint8_t>(value);
    }
  }
}

// Multiplies the inks by black, as RowPainter does for bytes.
void dim(std::vector<SamplePlane>& planes, int max) {
  for (int ink = 0; ink < 3; ++ink) {
    for (std::size_t i = 0; i < planes[3].samples.size(); ++i) {
      const std::int64_t product = std::int64_t{planes[ink].samples[i]} * planes[3].samples[i];
      planes[ink].samples[i] = static_cast<std::uint16_t>((product + max / 2) / max);
    }
  }
}

}  // namespace

std::vector<SamplePlane> makePlanes(const Frame& frame, Budget& budget) {
  std::vector<SamplePlane> planes;
  for (const FrameComponent& c : frame.components) {
    SamplePlane& plane = planes.emplace_back();
    plane.step = c.paddedWide;
    budget.charge(static_cast<std::uint64_t>(c.paddedWide) * static_cast<std::uint64_t>(c.paddedHigh),
                  sizeof plane.samples[0]);
    plane.samples.assign(static_cast<std::size_t>(c.paddedWide) * static_cast<std::size_t>(c.paddedHigh),
                         static_cast<std::uint16_t>(1 << (frame.precision - 1)));
  }
  return planes;
}

Picture paintSamples(const Frame& frame, ColourModel model, const std::vector<SamplePlane>& planes,
                     const DecodeOptions& options, RowSink* sink, Budget& budget) {
  constexpr int kBandRows = 16;
  RowPainter painter(model, frame.width, options.inks);
  std::vector<ByteRows> components;
  components.reserve(planes.size());
  for (std::size_t i = 0; i < planes.size(); ++i)
    components.emplace_back(frame, frame.components[i], planes[i], options.smooth);
  const int bandRows = sink ? std::min(kBandRows, frame.height) : frame.height;
  Picture band = Picture::make(frame.width, bandRows, painter.channels(), &budget);
  if (sink) sink->begin(frame.width, frame.height, painter.channels());
  for (int y = 0; y < frame.height; ++y) {
    const std::uint8_t* rows[4] = {};
    for (std::size_t i = 0; i < components.size(); ++i) rows[i] = components[i].row(y);
    painter.paint(rows, band.row(y % bandRows));
    if (!sink || (y % bandRows != bandRows - 1 && y != frame.height - 1)) continue;
    band.height = y % bandRows + 1;
    sink->rows(band);
  }
  return sink ? Picture() : band;
}

Image imageOfSamples(const Frame& frame, ColourModel model, const std::vector<SamplePlane>& planes,
                     const DecodeOptions& options, Budget& budget) {
  const bool inks = options.inks && (model == ColourModel::cmyk || model == ColourModel::unknown);
  if (model == ColourModel::ycck)
    fail(Kind::unsupported, "lossless YCCK of " + std::to_string(frame.precision) + " bits is not supported");
  std::vector<SamplePlane> dimmed;
  if (model == ColourModel::cmyk && !inks) {
    for (const FrameComponent& c : frame.components) {
      if (c.paddedWide != frame.components[0].paddedWide || c.paddedHigh != frame.components[0].paddedHigh)
        fail(Kind::unsupported, "sub-sampled inks of " + std::to_string(frame.precision) + " bits are not supported");
    }
    for (const SamplePlane& plane : planes) budget.charge(plane.samples.size(), sizeof plane.samples[0]);
    dimmed = planes;
    dim(dimmed, (1 << frame.precision) - 1);
  }
  Image image;
  image.width = frame.width;
  image.height = frame.height;
  const int all = static_cast<int>(frame.components.size());
  const int count = inks ? all : model == ColourModel::grey || model == ColourModel::unknown ? 1 : 3;
  image.colour = count == 1                    ? Colour::grey
                 : model == ColourModel::ycbcr ? Colour::ycc
                 : inks                        ? Colour::unknown
                                               : Colour::rgb;
  image.components.assign(static_cast<std::size_t>(count),
                          {.width = frame.width, .height = frame.height, .bits = frame.precision});
  image.allocate(&budget);
  for (std::size_t i = 0; i < image.components.size(); ++i)
    fill(frame, frame.components[i], dimmed.empty() ? planes[i] : dimmed[i], image.components[i]);
  return image;
}

}  // namespace moxj::jpeg
