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

SampleStrips::Reduction SampleStrips::reductionOf(const Frame& frame, ColourModel model) {
  if (frame.maxHorizontal == 1 && frame.maxVertical == 1) return Reduction::none;
  const auto& c = frame.components;
  const auto has = [&](std::size_t component, int horizontal, int vertical) {
    return component >= c.size() || (c[component].horizontal == horizontal && c[component].vertical == vertical);
  };
  const bool known = model == ColourModel::ycbcr || model == ColourModel::ycck;
  const bool common = frame.maxHorizontal == 2 && frame.maxVertical <= 2 && has(0, 2, frame.maxVertical) &&
                      has(1, 1, 1) && has(2, 1, 1) && has(3, 2, frame.maxVertical);
  return known && common ? Reduction::chrominance : Reduction::box;
}

void SampleStrips::allocate(Strip& strip, int width, int rows, Budget& budget) {
  strip.paddedWidth = width;
  strip.step = stripStep(width);
  const std::size_t size = static_cast<std::size_t>(strip.step) * static_cast<std::size_t>(rows);
  budget.charge(1, size);
  strip.samples.resize(size);
}

SampleStrips::SampleStrips(const Picture& layout, const Frame& frame, ColourModel model, Budget& budget)
    : frame_(frame),
      colour_(layout.colour == Colour::rgb),
      ycck_(model == ColourModel::ycck),
      components_(layout.colour == Colour::ycbcr || model == ColourModel::cmyk),
      rgb_(model == ColourModel::rgb),
      reduction_(components_ ? Reduction::none : reductionOf(frame, model)) {
  for (const FrameComponent& c : frame.components)
    allocate(strips_.emplace_back(), 8 * c.blocksWide, 8 * c.vertical, budget);
  if (reduction_ == Reduction::box) {
    for (std::size_t i = 0; i < strips_.size(); ++i)
      allocate(whole_.emplace_back(), frame.mcusWide * frame.mcuWidth(), frame.mcuHeight(), budget);
  }
  if (reduction_ == Reduction::chrominance) {
    const std::size_t width = 2 * static_cast<std::size_t>(frame.components[1].width);
    budget.charge(4, width);
    for (auto& component : chrominance_) {
      for (auto& row : component) row.resize(width);
    }
  }
}

void SampleStrips::loadRow(const Picture& band, int first, int mcuRow) {
  mcuRow_ = mcuRow;
  bgr_ = band.interleavedBgr();
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
}

void SampleStrips::loadPixels(const Picture& band, int first, int rows) {
  if (reduction_ == Reduction::chrominance) return loadSubsampled(band, first, rows);
  if (reduction_ == Reduction::box) return loadBoxes(band, first, rows);
  for (int y = 0; y < rows; ++y) loadRow(band, first + y, strips_, y);
}

void SampleStrips::loadRow(const Picture& band, int y, std::vector<Strip>& to, int rowOfStrips) const {
  if (to.size() == 1) return loadGrey(pixelsOf(band, y), to[0].row(rowOfStrips));
  std::uint8_t* rows[4] = {};
  for (std::size_t i = 0; i < to.size(); ++i) rows[i] = to[i].row(rowOfStrips);
  loadColour(band, y, rows);
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
    const auto convert = bgr_ ? moxiBGRToY_JPEG_8u_C3C1R : moxiRGBToY_JPEG_8u_C3C1R;
    require(convert(from, 3 * size.width, to + x, size.width, size), "colour conversion");
  }
}

void SampleStrips::loadColour(const Picture& band, int y, std::uint8_t* const to[4]) const {
  if (ycck_) return loadYcck(band, y, to);
  rgb_ ? splitRgb(pixelsOf(band, y), to) : loadRgb(pixelsOf(band, y), to);
}

void SampleStrips::loadRgb(const std::uint8_t* pixels, std::uint8_t* const to[3]) const {
  for (int x = 0; x < frame_.width; x += kPixelsOfOneThread) {
    const MoxRoiSize size{std::min(frame_.width - x, kPixelsOfOneThread), 1};
    const std::uint8_t* const from = pixels + std::ptrdiff_t{3} * x;
    Mox8u* const at[3] = {to[0] + x, to[1] + x, to[2] + x};
    const auto convert = bgr_ ? moxiBGRToYCbCr_JPEG_8u_C3P3R : moxiRGBToYCbCr_JPEG_8u_C3P3R;
    require(convert(from, 3 * size.width, at, size.width, size), "colour conversion");
  }
}

void SampleStrips::splitRgb(const std::uint8_t* pixels, std::uint8_t* const to[3]) const {
  for (int x = 0; x < frame_.width; ++x) {
    for (int colour = 0; colour < 3; ++colour) to[colour][x] = pixels[3 * x + (bgr_ ? 2 - colour : colour)];
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

// Each sample is the mean of a box of pixels.
void SampleStrips::loadBoxes(const Picture& band, int first, int rows) {
  for (int y = 0; y < rows; ++y) {
    loadRow(band, first + y, whole_, y);
    for (Strip& strip : whole_) padRow(strip.row(y), frame_.width, strip.paddedWidth);
  }
  for (std::size_t i = 0; i < strips_.size(); ++i) reduce(i, rows);
}

void SampleStrips::reduce(std::size_t component, int rows) {
  const FrameComponent& c = frame_.components[component];
  const int across = frame_.maxHorizontal / c.horizontal, down = frame_.maxVertical / c.vertical;
  const int pixels = across * c.width;
  const auto row = [&](int y) { return whole_[component].row(std::min(y, rows - 1)); };
  for (int y = 0; y < rowsOf(c); ++y) {
    std::uint8_t* const to = strips_[component].row(y);
    if (across == 1 && down == 1) {
      std::memcpy(to, row(y), static_cast<std::size_t>(c.width));
    } else if (across == 2 && down == 1) {
      require(moxiSampleDownRowH2V1_Box_JPEG_8u_C1(row(y), pixels, to), "down-sampling");
    } else if (across == 2 && down == 2) {
      require(moxiSampleDownRowH2V2_Box_JPEG_8u_C1(row(2 * y), row(2 * y + 1), pixels, to), "down-sampling");
    } else {
      for (int x = 0; x < c.width; ++x) {
        int sum = across * down / 2;
        for (int dy = 0; dy < down; ++dy) {
          for (int dx = 0; dx < across; ++dx) sum += row(down * y + dy)[across * x + dx];
        }
        to[x] = static_cast<std::uint8_t>(sum / (across * down));
      }
    }
  }
}

}  // namespace moxj::jpeg
