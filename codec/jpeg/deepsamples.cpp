// Planes, colour conversion, down-sampling and padding of one MCU row.
#include "jpeg/deepsamples.h"

#include <algorithm>
#include <cstring>

namespace moxj::jpeg {

namespace {

// ITU-R BT.601 as in JFIF, with 16 fractional bits.
constexpr int kBits = 16, kHalf = 1 << (kBits - 1);

int luminance(int red, int green, int blue) { return (19595 * red + 38470 * green + 7471 * blue + kHalf) >> kBits; }

}  // namespace

DeepSamples::DeepSamples(const Picture& layout, const Frame& frame, ColourModel model, Budget& budget)
    : frame_(frame), model_(model), colour_(layout.colour == Colour::rgb), components_(layout.colour == Colour::ycbcr) {
  const auto add = [&](std::vector<Strip>& strips, int width, int rows) {
    Strip& strip = strips.emplace_back();
    strip.step = width;
    const std::size_t size = static_cast<std::size_t>(width) * static_cast<std::size_t>(rows);
    budget.charge(size, sizeof strip.samples[0]);
    strip.samples.resize(size);
  };
  for (const FrameComponent& c : frame.components) add(strips_, 8 * c.paddedWide, 8 * c.vertical);
  if (components_) return;
  for (std::size_t i = 0; i < layout.planes.size(); ++i)
    add(whole_, frame.mcusWide * frame.mcuWidth(), frame.mcuHeight());
}

int DeepSamples::rowsOf(const FrameComponent& c) const {
  return std::min(8 * c.vertical, c.height - 8 * c.vertical * mcuRow_);
}

void DeepSamples::loadRow(const Picture& band, int first, int mcuRow) {
  mcuRow_ = mcuRow;
  if (components_) {
    for (std::size_t i = 0; i < strips_.size(); ++i) {
      const Plane& plane = band.planes[i];
      loadPlane(plane, first / plane.dy, rowsOf(frame_.components[i]), strips_[i]);
    }
  } else {
    const int rows = std::min(frame_.mcuHeight(), frame_.height - mcuRow_ * frame_.mcuHeight());
    for (std::size_t i = 0; i < whole_.size(); ++i) loadPlane(band.planes[i], first, rows, whole_[i]);
    if (colour_ && model_ == ColourModel::ycbcr) toYcbcr(rows);
    if (colour_ && model_ == ColourModel::grey) toGrey(rows);
    for (std::size_t i = 0; i < strips_.size(); ++i) reduce(i, rows);
  }
  for (std::size_t i = 0; i < strips_.size(); ++i) pad(i);
}

// The last sample of each row is repeated.
void DeepSamples::loadPlane(const Plane& plane, int first, int rows, Strip& to) const {
  for (int y = 0; y < rows; ++y) {
    const std::uint16_t* const from = plane.row<std::uint16_t>(first + y);
    std::uint16_t* const row = to.row(y);
    for (int x = 0; x < plane.width; ++x) row[x] = from[std::ptrdiff_t{x} * plane.pixelStep];
    std::fill(row + plane.width, row + to.step, row[plane.width - 1]);
  }
}

void DeepSamples::toYcbcr(int rows) {
  const int max = (1 << frame_.precision) - 1;
  // Rounded to nearest, halves downwards, so that the largest value stays in range.
  const int middle = (1 << (frame_.precision - 1 + kBits)) + kHalf - 1;
  for (std::size_t at = 0; at < static_cast<std::size_t>(whole_[0].step) * static_cast<std::size_t>(rows); ++at) {
    std::uint16_t &first = whole_[0].samples[at], &second = whole_[1].samples[at], &third = whole_[2].samples[at];
    const int red = first, green = second, blue = third;
    first = static_cast<std::uint16_t>(luminance(red, green, blue));
    second =
        static_cast<std::uint16_t>(std::clamp((-11059 * red - 21709 * green + 32768 * blue + middle) >> kBits, 0, max));
    third =
        static_cast<std::uint16_t>(std::clamp((32768 * red - 27439 * green - 5329 * blue + middle) >> kBits, 0, max));
  }
}

void DeepSamples::toGrey(int rows) {
  for (std::size_t at = 0; at < static_cast<std::size_t>(whole_[0].step) * static_cast<std::size_t>(rows); ++at)
    whole_[0].samples[at] =
        static_cast<std::uint16_t>(luminance(whole_[0].samples[at], whole_[1].samples[at], whole_[2].samples[at]));
}

void DeepSamples::reduce(std::size_t component, int rows) {
  const FrameComponent& c = frame_.components[component];
  const int across = frame_.maxHorizontal / c.horizontal, down = frame_.maxVertical / c.vertical;
  for (int y = 0; y < rowsOf(c); ++y) {
    std::uint16_t* const to = strips_[component].row(y);
    for (int x = 0; x < c.width; ++x) {
      int sum = across * down / 2;
      for (int dy = 0; dy < down; ++dy) {
        const std::uint16_t* const from = whole_[component].row(std::min(y * down + dy, rows - 1));
        for (int dx = 0; dx < across; ++dx) sum += from[x * across + dx];
      }
      to[x] = static_cast<std::uint16_t>(sum / (across * down));
    }
  }
}

// Up to whole blocks.
void DeepSamples::pad(std::size_t component) {
  const FrameComponent& c = frame_.components[component];
  Strip& strip = strips_[component];
  const int rows = rowsOf(c);
  for (int y = 0; y < rows; ++y)
    std::fill(strip.row(y) + c.width, strip.row(y) + strip.step, strip.row(y)[c.width - 1]);
  for (int y = rows; y < 8 * c.vertical; ++y)
    std::memcpy(strip.row(y), strip.row(rows - 1), static_cast<std::size_t>(strip.step) * sizeof strip.samples[0]);
}

}  // namespace moxj::jpeg
