// Colour conversion, down-sampling and padding of one MCU row.
#include "jpeg/samplestrips.h"

#include <algorithm>
#include <cstring>

#include "jpeg/library.h"

namespace moxj::jpeg {

namespace {

void padRow(std::uint8_t* row, int width, int paddedWidth) {
  std::memset(row + width, row[width - 1], paddedWidth - width);
}

}  // namespace

SampleStrips::SampleStrips(const Picture& layout, const Frame& frame, ColourModel model, Budget& budget)
    : frame_(frame),
      colour_(layout.colour == Colour::rgb),
      ycck_(model == ColourModel::ycck),
      components_(layout.colour == Colour::ycbcr || model == ColourModel::cmyk) {
  for (const FrameComponent& c : frame.components) {
    Strip& strip = strips_.emplace_back();
    strip.paddedWidth = 8 * c.blocksWide;
    strip.step = stripStep(strip.paddedWidth);
    const std::size_t size = static_cast<std::size_t>(strip.step) * 8 * static_cast<std::size_t>(c.vertical);
    budget.charge(1, size);
    strip.samples.resize(size);
  }
  if (frame.maxHorizontal > 1 && !components_) {
    const std::size_t width = 2 * static_cast<std::size_t>(frame.components[1].width);
    budget.charge(4, width);
    for (auto& component : chrominance_) {
      for (auto& row : component) row.resize(width);
    }
  }
}

void SampleStrips::loadRow(const Picture& band, int first) {
  if (components_) {
    loadComponents(band, first);
  } else {
    loadPixels(band, first, std::min(frame_.mcuHeight(), frame_.height - mcuRow_ * frame_.mcuHeight()));
  }
  for (std::size_t i = 0; i < strips_.size(); ++i) {
    const FrameComponent& c = frame_.components[i];
    Strip& strip = strips_[i];
    const int has = rowsOf(c);
    for (int y = 0; y < has; ++y) padRow(strip.row(y), c.width, strip.paddedWidth);
    for (int y = has; y % 8 != 0; ++y) std::memcpy(strip.row(y), strip.row(has - 1), strip.paddedWidth);
  }
  ++mcuRow_;
}

void SampleStrips::loadPixels(const Picture& band, int first, int rows) {
  if (frame_.maxHorizontal > 1) return loadSubsampled(band, first, rows);
  for (int y = 0; y < rows; ++y) {
    if (strips_.size() == 1) {
      loadGrey(band.row(first + y), strips_[0].row(y));
      continue;
    }
    std::uint8_t* to[4] = {};
    for (std::size_t i = 0; i < strips_.size(); ++i) to[i] = strips_[i].row(y);
    loadColour(band, first + y, to);
  }
}

void SampleStrips::loadComponents(const Picture& band, int first) {
  for (std::size_t i = 0; i < strips_.size(); ++i) {
    const FrameComponent& c = frame_.components[i];
    const Plane& plane = band.planes[i];
    const int rows = rowsOf(c);
    for (int y = 0; y < rows; ++y) {
      const std::uint8_t* const from = plane.row<std::uint8_t>(first / plane.dy + y);
      std::uint8_t* const to = strips_[i].row(y);
      if (plane.pixelStep == 1) {
        std::memcpy(to, from, static_cast<std::size_t>(c.width));
      } else {
        for (int x = 0; x < c.width; ++x) to[x] = from[std::ptrdiff_t{x} * plane.pixelStep];
      }
    }
  }
}

void SampleStrips::loadGrey(const std::uint8_t* pixels, std::uint8_t* to) const {
  if (!colour_) {
    std::memcpy(to, pixels, frame_.width);
    return;
  }
  for (int x = 0; x < frame_.width; x += kPixelsOfOneThread) {
    const MoxRoiSize size{std::min(frame_.width - x, kPixelsOfOneThread), 1};
    const std::uint8_t* const from = pixels + std::ptrdiff_t{3} * x;
    require(moxiRGBToY_JPEG_8u_C3C1R(from, 3 * size.width, to + x, size.width, size), "colour conversion");
  }
}

void SampleStrips::loadColour(const Picture& band, int y, std::uint8_t* const to[4]) const {
  ycck_ ? loadYcck(band, y, to) : loadRgb(band.row(y), to);
}

void SampleStrips::loadRgb(const std::uint8_t* pixels, std::uint8_t* const to[3]) const {
  for (int x = 0; x < frame_.width; x += kPixelsOfOneThread) {
    const MoxRoiSize size{std::min(frame_.width - x, kPixelsOfOneThread), 1};
    const std::uint8_t* const from = pixels + std::ptrdiff_t{3} * x;
    Mox8u* const at[3] = {to[0] + x, to[1] + x, to[2] + x};
    require(moxiRGBToYCbCr_JPEG_8u_C3P3R(from, 3 * size.width, at, size.width, size), "colour conversion");
  }
}

// Inks come interleaved, or as planes without gaps.
void SampleStrips::loadYcck(const Picture& band, int y, std::uint8_t* const to[4]) const {
  const bool interleaved = band.interleaved();
  for (int x = 0; x < frame_.width; x += kPixelsOfOneThread) {
    const MoxRoiSize size{std::min(frame_.width - x, kPixelsOfOneThread), 1};
    Mox8u* const at[4] = {to[0] + x, to[1] + x, to[2] + x, to[3] + x};
    if (interleaved) {
      const Mox8u* const from = band.row(y) + std::ptrdiff_t{4} * x;
      require(moxiCMYKToYCCK_JPEG_8u_C4P4R(from, 4 * size.width, at, size.width, size), "colour conversion");
    } else {
      const auto row = [&](std::size_t i) { return band.planes[i].row<Mox8u>(y) + x; };
      const Mox8u* const from[4] = {row(0), row(1), row(2), row(3)};
      require(moxiCMYKToYCCK_JPEG_8u_P4R(from, size.width, at, size.width, size), "colour conversion");
    }
  }
}

// The chrominance of one or two rows goes through buffers that stay in the first-level cache. K has the size of Y.
void SampleStrips::loadSubsampled(const Picture& band, int first, int rows) {
  const int width = frame_.width;
  const int evenWidth = 2 * frame_.components[1].width;
  const int down = frame_.maxVertical;
  for (int y = 0; y < rows; y += down) {
    for (int i = 0; i < down && y + i < rows; ++i) {
      std::uint8_t* const to[4] = {strips_[0].row(y + i), chrominance_[0][i].data(), chrominance_[1][i].data(),
                                   ycck_ ? strips_[3].row(y + i) : nullptr};
      loadColour(band, first + y + i, to);
      for (int colour = 1; colour < 3; ++colour) padRow(to[colour], width, evenWidth);
    }
    const int lower = y + down <= rows ? down - 1 : 0;
    for (int i = 0; i < 2; ++i) {
      const std::uint8_t* const upperRow = chrominance_[i][0].data();
      std::uint8_t* const to = strips_[i + 1].row(y / down);
      require(down == 1 ? moxiSampleDownRowH2V1_Box_JPEG_8u_C1(upperRow, evenWidth, to)
                        : moxiSampleDownRowH2V2_Box_JPEG_8u_C1(upperRow, chrominance_[i][lower].data(), evenWidth, to),
              "down-sampling");
    }
  }
}

}  // namespace moxj::jpeg
