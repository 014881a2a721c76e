// Triangle filters from the library, and repetition for all other ratios.
#include "jpeg/upsampler.h"

#include "jpeg/library.h"

namespace moxj::jpeg {

namespace {

template <int Times>
void repeat(const std::uint8_t* from, int width, std::uint8_t* to) {
  for (int x = 0; x < width; ++x) {
    for (int i = 0; i < Times; ++i) to[Times * x + i] = from[x];
  }
}

// The bias alternates between rows, so that halves are not always rounded in the same direction.
void triangleDown(const std::uint8_t* near, const std::uint8_t* far, int width, int bias, std::uint8_t* to) {
  for (int x = 0; x < width; ++x) to[x] = static_cast<std::uint8_t>((3 * near[x] + far[x] + bias) >> 2);
}

}  // namespace

Upsampler::Upsampler(const Frame& frame, const FrameComponent& component, bool smooth)
    : width_(component.width),
      outputWidth_(frame.width),
      horizontal_(component.horizontal),
      maxHorizontal_(frame.maxHorizontal),
      vertical_(component.vertical),
      maxVertical_(frame.maxVertical) {
  const bool doubleWidth = maxHorizontal_ == 2 * horizontal_;
  const bool doubleHeight = maxVertical_ == 2 * vertical_;
  const bool fullWidth = maxHorizontal_ == horizontal_;
  const bool fullHeight = maxVertical_ == vertical_;
  const bool wideEnough = width_ > 2;
  if (smooth && doubleWidth && fullHeight && wideEnough) {
    method_ = Method::triangleH2V1;
  } else if (smooth && doubleWidth && doubleHeight && wideEnough) {
    method_ = Method::triangleH2V2;
  } else if (smooth && fullWidth && doubleHeight) {
    method_ = Method::triangleH1V2;
  } else {
    method_ = fullWidth ? Method::copy : Method::repeat;
  }
  if (method_ != Method::copy) row_.resize(outputWidth_ + maxHorizontal_);
}

const std::uint8_t* Upsampler::row(const std::uint8_t* near, const std::uint8_t* far, bool upper) {
  std::uint8_t* const to = row_.data();
  switch (method_) {
    case Method::copy:
      return near;
    case Method::triangleH2V1:
      require(moxiSampleUpRowH2V1_Triangle_JPEG_8u_C1(near, width_, to), "up-sampling");
      return to;
    case Method::triangleH2V2:
      require(moxiSampleUpRowH2V2_Triangle_JPEG_8u_C1(near, far, width_, to), "up-sampling");
      return to;
    case Method::triangleH1V2:
      triangleDown(near, far, width_, upper ? 1 : 2, to);
      return to;
    case Method::repeat:
      break;
  }
  const int times = maxHorizontal_ % horizontal_ == 0 ? maxHorizontal_ / horizontal_ : 0;
  if (times == 2) {
    repeat<2>(near, width_, to);
  } else if (times == 3) {
    repeat<3>(near, width_, to);
  } else if (times == 4) {
    repeat<4>(near, width_, to);
  } else {
    for (int x = 0; x < outputWidth_; ++x) to[x] = near[(2 * x + 1) * horizontal_ / (2 * maxHorizontal_)];
  }
  return to;
}

}  // namespace moxj::jpeg
