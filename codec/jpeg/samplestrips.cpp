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

SampleStrips::SampleStrips(const Picture& layout, const Frame& frame, Budget& budget)
    : frame_(frame), colour_(layout.colour == Colour::rgb), components_(layout.colour == Colour::ycbcr) {
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
    const std::uint8_t* const pixels = band.row(first + y);
    if (strips_.size() == 1) {
      loadGrey(pixels, strips_[0].row(y));
    } else {
      loadColour(pixels, strips_[0].row(y), strips_[1].row(y), strips_[2].row(y));
    }
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

void SampleStrips::loadColour(const std::uint8_t* pixels, std::uint8_t* luminance, std::uint8_t* blue,
                              std::uint8_t* red) const {
  for (int x = 0; x < frame_.width; x += kPixelsOfOneThread) {
    const MoxRoiSize size{std::min(frame_.width - x, kPixelsOfOneThread), 1};
    const std::uint8_t* const from = pixels + std::ptrdiff_t{3} * x;
    Mox8u* const to[3] = {luminance + x, blue + x, red + x};
    require(moxiRGBToYCbCr_JPEG_8u_C3P3R(from, 3 * size.width, to, size.width, size), "colour conversion");
  }
}

// The chrominance of one or two rows goes through buffers that stay in the first-level cache.
void SampleStrips::loadSubsampled(const Picture& band, int first, int rows) {
  const int width = frame_.width;
  const int evenWidth = 2 * frame_.components[1].width;
  const int down = frame_.maxVertical;
  for (int y = 0; y < rows; y += down) {
    for (int i = 0; i < down && y + i < rows; ++i) {
      std::uint8_t* const colours[2] = {chrominance_[0][i].data(), chrominance_[1][i].data()};
      loadColour(band.row(first + y + i), strips_[0].row(y + i), colours[0], colours[1]);
      for (std::uint8_t* row : colours) padRow(row, width, evenWidth);
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
