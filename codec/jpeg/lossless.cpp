// Upsampling, ink conversion and output of lossless samples.
#include "jpeg/lossless.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "base/problem.h"
#include "jpeg/painter.h"
#include "jpeg/upsampler.h"

namespace moxj::jpeg {

namespace {

constexpr int kBandRows = 16;

bool ofFullSize(const Picture& samples) {
  return std::ranges::all_of(samples.planes, [&](const Plane& plane) {
    return plane.width == samples.width && plane.height == samples.height;
  });
}

// Whether the components go to the sink as they are, and what they then mean.
std::optional<Colour> asCoded(const Frame& frame, ColourModel model, const Picture& samples,
                              const DecodeOptions& options) {
  const bool native = options.native && frame.wholeRatios();
  const bool inks = options.inks || options.native;
  if (!ofFullSize(samples) && !(native && samples.planes.size() != 4)) return std::nullopt;
  switch (model) {
    case ColourModel::grey:
      return Colour::grey;
    case ColourModel::rgb:
      return Colour::rgb;
    case ColourModel::ycbcr:
      if (native || frame.precision != 8) return Colour::ycbcr;
      return std::nullopt;
    case ColourModel::cmyk:
      if (inks) return Colour::cmyk;
      return std::nullopt;
    case ColourModel::unknown:
      if (options.components) return Colour::unknown;
      return std::nullopt;
    case ColourModel::ycck:
      break;
  }
  return std::nullopt;
}

// Gives rows to a sink that `fill(y, band, rowOfBand)` computes.
template <class Fill>
void pushRows(const Picture& layout, RowSink& sink, Work& work, Fill fill) {
  Picture band = layout;
  band.height = std::min(kBandRows, layout.height);
  for (Plane& plane : band.planes) plane.height = band.height;
  band.allocate(&work.budget);
  sink.begin(layout);
  for (int first = 0; first < layout.height; first += kBandRows) {
    const int rows = std::min(kBandRows, layout.height - first);
    for (int y = 0; y < rows; ++y) fill(first + y, band, y);
    sink.rows(bandOf(band, rows, layout.height));
    reportProgress(work.progress, first + rows, layout.height);
  }
}

// The rows of a component of 8 bits, upsampled to the size of the picture.
class ByteRows {
 public:
  ByteRows(const Frame& frame, const FrameComponent& component, const Plane& plane, bool smooth)
      : upsampler_(frame, component, smooth), plane_(plane) {
    for (auto& row : rows_) row.resize(static_cast<std::size_t>(plane.width));
  }

  const std::uint8_t* row(int y) {
    const std::uint8_t* const near = load(0, upsampler_.nearRow(y));
    const std::uint8_t* const far = upsampler_.needsRowsAround() ? load(1, upsampler_.farRow(y)) : near;
    return upsampler_.row(near, far, y % 2 == 0);
  }

 private:
  const std::uint8_t* load(int which, int y) {
    const std::uint8_t* const from = plane_.row<std::uint8_t>(std::clamp(y, 0, plane_.height - 1));
    if (plane_.pixelStep == 1) return from;
    std::uint8_t* const to = rows_[which].data();
    for (int x = 0; x < plane_.width; ++x) to[x] = from[std::ptrdiff_t{x} * plane_.pixelStep];
    return to;
  }

  Upsampler upsampler_;
  const Plane& plane_;
  std::vector<std::uint8_t> rows_[2];
};

void pushBytes(const Frame& frame, ColourModel model, const Picture& samples, const DecodeOptions& options,
               RowSink& sink, Work& work) {
  RowPainter painter(model, frame.width, model != ColourModel::unknown && (options.inks || options.native));
  work.budget.charge(3 * samples.planes.size(), static_cast<std::uint64_t>(frame.width));  // of the components
  std::vector<ByteRows> components;
  components.reserve(samples.planes.size());
  for (std::size_t i = 0; i < samples.planes.size(); ++i)
    components.emplace_back(frame, frame.components[i], samples.planes[i], options.smooth);
  pushRows(painter.layout(frame.height), sink, work, [&](int y, const Picture& band, int rowOfBand) {
    const std::uint8_t* rows[4] = {};
    for (std::size_t i = 0; i < components.size(); ++i) rows[i] = components[i].row(y);
    painter.paint(rows, band.row(rowOfBand));
  });
}

// The samples of a component at the size of the picture, by repetition.
class Repeated {
 public:
  Repeated(const Frame& frame, const FrameComponent& component, const Plane& plane)
      : frame_(frame), component_(component), plane_(plane) {}

  template <class Put>  // Put(x, value)
  void row(int y, Put put) const {
    const FrameComponent& c = component_;
    visitRow(plane_, std::min(y * c.vertical / frame_.maxVertical, c.height - 1), [&](const auto* from) {
      for (int x = 0; x < frame_.width; ++x)
        put(x, from[std::ptrdiff_t{std::min(x * c.horizontal / frame_.maxHorizontal, c.width - 1)} * plane_.pixelStep]);
    });
  }

 private:
  const Frame& frame_;
  const FrameComponent& component_;
  const Plane& plane_;
};

// Components of any depth, without a conversion of colours.
void pushRepeated(const Frame& frame, const Picture& samples, Colour colour, std::size_t count, RowSink& sink,
                  Work& work) {
  Picture layout = Picture::layout(frame.width, frame.height, static_cast<int>(count), frame.precision, colour);
  layout.inverted = colour == Colour::cmyk;
  pushRows(layout, sink, work, [&](int y, const Picture& band, int rowOfBand) {
    for (std::size_t i = 0; i < count; ++i) {
      const Plane& to = band.planes[i];
      visitRow(to, rowOfBand, [&](auto* pixels) {
        Repeated(frame, frame.components[i], samples.planes[i]).row(y, [&](int x, auto value) {
          pixels[std::ptrdiff_t{x} * to.pixelStep] = static_cast<std::remove_pointer_t<decltype(pixels)>>(value);
        });
      });
    }
  });
}

// Multiplies the inks by black, as RowPainter does for bytes.
void pushDimmed(const Frame& frame, const Picture& samples, RowSink& sink, Work& work) {
  for (const FrameComponent& c : frame.components) {
    if (c.paddedWide != frame.components[0].paddedWide || c.paddedHigh != frame.components[0].paddedHigh)
      fail(Kind::unsupported, "sub-sampled inks of " + std::to_string(frame.precision) + " bits are not supported");
  }
  const std::int64_t max = (1 << frame.precision) - 1;
  const Picture layout = Picture::layout(frame.width, frame.height, 3, frame.precision, Colour::rgb);
  pushRows(layout, sink, work, [&](int y, const Picture& band, int rowOfBand) {
    const Plane& black = samples.planes[3];
    for (std::size_t i = 0; i < 3; ++i) {
      const Plane &ink = samples.planes[i], &to = band.planes[i];
      visitRow(to, rowOfBand, [&](auto* pixels) {
        using Sample = std::remove_pointer_t<decltype(pixels)>;
        const Sample *const inks = ink.row<Sample>(y), *const blacks = black.row<Sample>(y);
        for (int x = 0; x < frame.width; ++x) {
          const std::int64_t product =
              std::int64_t{inks[std::ptrdiff_t{x} * ink.pixelStep]} * blacks[std::ptrdiff_t{x} * black.pixelStep];
          pixels[std::ptrdiff_t{x} * to.pixelStep] = static_cast<Sample>((product + max / 2) / max);
        }
      });
    }
  });
}

void pushDeep(const Frame& frame, ColourModel model, const Picture& samples, const DecodeOptions& options,
              RowSink& sink, Work& work) {
  const std::size_t count = samples.planes.size();
  const bool inks = options.inks || options.native;
  switch (model) {
    case ColourModel::ycck:
      fail(Kind::unsupported, "YCCK of " + std::to_string(frame.precision) + " bits is not supported");
    case ColourModel::cmyk:
      return inks ? pushRepeated(frame, samples, Colour::cmyk, count, sink, work)
                  : pushDimmed(frame, samples, sink, work);
    case ColourModel::unknown:
      return options.components ? pushRepeated(frame, samples, Colour::unknown, count, sink, work)
                                : pushRepeated(frame, samples, Colour::grey, 1, sink, work);
    case ColourModel::grey:
      return pushRepeated(frame, samples, Colour::grey, 1, sink, work);
    case ColourModel::rgb:
      return pushRepeated(frame, samples, Colour::rgb, count, sink, work);
    case ColourModel::ycbcr:
      return pushRepeated(frame, samples, Colour::ycbcr, count, sink, work);
  }
}

}  // namespace

Picture makeSamples(const Frame& frame, Budget& budget) {
  Picture samples;
  samples.width = frame.width;
  samples.height = frame.height;
  for (const FrameComponent& c : frame.components) {
    const int dx = frame.maxHorizontal / c.horizontal, dy = frame.maxVertical / c.vertical;
    samples.planes.push_back(Plane::of(c.width, c.height, frame.precision, false, dx, dy));
  }
  samples.allocate(&budget);
  for (const Plane& plane : samples.planes) {
    for (int y = 0; y < plane.height; ++y) {
      visitRow(plane, y, [&](auto* row) {
        for (int x = 0; x < plane.width; ++x)
          row[std::ptrdiff_t{x} * plane.pixelStep] =
              static_cast<std::remove_pointer_t<decltype(row)>>(1 << (frame.precision - 1));
      });
    }
  }
  return samples;
}

void pushSamples(const Frame& frame, ColourModel model, const Picture& samples, const DecodeOptions& options,
                 RowSink& sink, Work& work) {
  if (const std::optional<Colour> colour = asCoded(frame, model, samples, options)) {
    Picture picture = samples;
    picture.colour = *colour;
    picture.inverted = *colour == Colour::cmyk;
    sink.begin(layoutOf(picture));
    return pushBands(picture, sink, work.progress);
  }
  const bool bothComponents = options.components && frame.components.size() == 2;
  if (frame.precision == 8 && !bothComponents) return pushBytes(frame, model, samples, options, sink, work);
  pushDeep(frame, model, samples, options, sink, work);
}

}  // namespace moxj::jpeg
