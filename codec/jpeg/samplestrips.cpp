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

SampleStrips::SampleStrips(const Picture& picture, const Frame& frame) : picture_(picture), frame_(frame) {
  for (const FrameComponent& c : frame.components) {
    Strip& strip = strips_.emplace_back();
    strip.paddedWidth = 8 * c.blocksWide;
    strip.step = stripStep(strip.paddedWidth);
    strip.samples.resize(strip.step * 8 * c.vertical);
  }
  if (frame.maxHorizontal > 1) {
    for (auto& component : chrominance_) {
      for (auto& row : component) row.resize(2 * frame.components[1].width);
    }
  }
}

void SampleStrips::loadRow(int mcuRow) {
  const int top = mcuRow * frame_.mcuHeight();
  const int rows = std::min(frame_.mcuHeight(), frame_.height - top);
  if (frame_.maxHorizontal > 1) {
    loadSubsampled(top, rows);
  } else {
    for (int y = 0; y < rows; ++y) {
      const std::uint8_t* const pixels = picture_.row(top + y);
      if (strips_.size() == 1) {
        loadGrey(pixels, strips_[0].row(y));
      } else {
        loadColour(pixels, strips_[0].row(y), strips_[1].row(y), strips_[2].row(y));
      }
    }
  }
  for (std::size_t i = 0; i < strips_.size(); ++i) {
    const FrameComponent& c = frame_.components[i];
    Strip& strip = strips_[i];
    const int has = std::min(8 * c.vertical, c.height - 8 * c.vertical * mcuRow);
    for (int y = 0; y < has; ++y) padRow(strip.row(y), c.width, strip.paddedWidth);
    for (int y = has; y % 8 != 0; ++y) std::memcpy(strip.row(y), strip.row(has - 1), strip.paddedWidth);
  }
}

void SampleStrips::loadGrey(const std::uint8_t* pixels, std::uint8_t* to) const {
  if (picture_.channels == 1) {
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
void SampleStrips::loadSubsampled(int top, int rows) {
  const int width = frame_.width;
  const int evenWidth = 2 * frame_.components[1].width;
  const int down = frame_.maxVertical;
  for (int y = 0; y < rows; y += down) {
    for (int i = 0; i < down && y + i < rows; ++i) {
      std::uint8_t* const colours[2] = {chrominance_[0][i].data(), chrominance_[1][i].data()};
      loadColour(picture_.row(top + y + i), strips_[0].row(y + i), colours[0], colours[1]);
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
