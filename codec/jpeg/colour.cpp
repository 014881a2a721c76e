// Detects the colour model, and converts rows of components to pixels.
#include "jpeg/colour.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "jpeg/library.h"

namespace moxj::jpeg {

namespace {

// Adobe's convention, which nearly all encoders follow: samples are inverted, 255 is no ink. So without ink the paper
// is white, and black ink dims the other colours.
std::uint8_t dimmed(int colour, int black) { return static_cast<std::uint8_t>((colour * black + 127) / 255); }

template <class Sample>  // Sample(x, ink)
void paintInks(int width, std::uint8_t* pixels, Sample sample) {
  for (int x = 0; x < width; ++x) {
    for (int ink = 0; ink < 3; ++ink) pixels[3 * x + ink] = dimmed(sample(x, ink), sample(x, 3));
  }
}

}  // namespace

ColourModel colourModelOf(const Frame& frame, const Tables& tables) {
  const auto& components = frame.components;
  switch (components.size()) {
    case 1:
      return ColourModel::grey;
    case 3:
      if (tables.jfif) return ColourModel::ycbcr;
      if (tables.adobeTransform) return *tables.adobeTransform == 0 ? ColourModel::rgb : ColourModel::ycbcr;
      if (components[0].id == 'R' && components[1].id == 'G' && components[2].id == 'B') return ColourModel::rgb;
      return ColourModel::ycbcr;
    case 4:
      return tables.adobeTransform.value_or(0) == 0 ? ColourModel::cmyk : ColourModel::ycck;
    default:
      return ColourModel::unknown;
  }
}

const char* nameOf(ColourModel model) {
  switch (model) {
    case ColourModel::grey:
      return "grey";
    case ColourModel::ycbcr:
      return "YCbCr";
    case ColourModel::rgb:
      return "RGB";
    case ColourModel::cmyk:
      return "CMYK";
    case ColourModel::ycck:
      return "YCCK";
    case ColourModel::unknown:
      break;
  }
  return "unknown";
}

RowPainter::RowPainter(ColourModel model, int width, bool inks)
    : model_(model),
      width_(width),
      inks_(inks && (model == ColourModel::cmyk || model == ColourModel::ycck)),
      channels_(model == ColourModel::grey      ? 1
                : model == ColourModel::unknown ? (inks ? 2 : 1)
                : inks_                         ? 4
                                                : 3) {
  if (model == ColourModel::ycck) cmyk_.resize(std::size_t{4} * kPixelsOfOneThread);
}

Picture RowPainter::layout(int height) const {
  const Colour colour = channels_ == 1   ? Colour::grey
                        : channels_ == 2 ? Colour::unknown
                        : inks_          ? Colour::cmyk
                                         : Colour::rgb;
  Picture layout = Picture::layout(width_, height, channels_, 8, colour);
  layout.inverted = inks_;
  return layout;
}

void RowPainter::paint(const std::uint8_t* const planes[4], std::uint8_t* pixels) {
  switch (model_) {
    case ColourModel::unknown:
      if (channels_ == 2) {
        for (int x = 0; x < width_; ++x) {
          for (int i = 0; i < 2; ++i) pixels[2 * x + i] = planes[i][x];
        }
        return;
      }
      [[fallthrough]];
    case ColourModel::grey:
      std::memcpy(pixels, planes[0], width_);
      return;
    case ColourModel::rgb:
      for (int x = 0; x < width_; ++x) {
        for (int colour = 0; colour < 3; ++colour) pixels[3 * x + colour] = planes[colour][x];
      }
      return;
    case ColourModel::cmyk:
      if (inks_) {
        for (int x = 0; x < width_; ++x) {
          for (int ink = 0; ink < 4; ++ink) pixels[4 * x + ink] = planes[ink][x];
        }
        return;
      }
      return paintInks(width_, pixels, [&](int x, int ink) { return planes[ink][x]; });
    case ColourModel::ycbcr:
    case ColourModel::ycck:
      break;
  }
  for (int x = 0; x < width_; x += kPixelsOfOneThread) {
    const MoxRoiSize size{std::min(width_ - x, kPixelsOfOneThread), 1};
    std::uint8_t* const to = pixels + std::ptrdiff_t{channels_} * x;
    if (model_ == ColourModel::ycbcr) {
      const Mox8u* const from[3] = {planes[0] + x, planes[1] + x, planes[2] + x};
      require(moxiYCbCrToRGB_JPEG_8u_P3C3R(from, width_, to, 3 * width_, size), "colour conversion");
    } else {
      const Mox8u* const from[4] = {planes[0] + x, planes[1] + x, planes[2] + x, planes[3] + x};
      std::uint8_t* const inks = inks_ ? to : cmyk_.data();
      require(moxiYCCKToCMYK_JPEG_8u_P4C4R(from, width_, inks, 4 * width_, size), "colour conversion");
      if (!inks_) paintInks(size.width, to, [&](int at, int ink) { return cmyk_[4 * at + ink]; });
    }
  }
}

}  // namespace moxj::jpeg
