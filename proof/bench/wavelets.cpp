// Component transforms of 512 x 16 pixels, wavelets of planes of 256 x 256 samples.
#include <memory>

#include "proof/bench.h"
#include "proof/bench/data.h"

namespace moxj::proof {
namespace {

constexpr int kWidth = 512, kHeight = 16;
constexpr double kPixels = double{kWidth} * kHeight;

template <class T>
struct Colours {
  std::vector<T> pixels = centred<T>(picture(kWidth, kHeight, 3)), planes[3];
  T* pointers[3];
  Colours() {
    for (int i = 0; i < 3; i++) planes[i] = centred<T>(picture(kWidth, kHeight, 1)), pointers[i] = planes[i].data();
  }
  static constexpr int kStep = kWidth * static_cast<int>(sizeof(T));
};

template <class T, auto Function>
Run toPlanes() {
  return [c = std::make_shared<Colours<T>>()] {
    return Function(c->pixels.data(), 3 * Colours<T>::kStep, c->pointers, Colours<T>::kStep, {kWidth, kHeight});
  };
}

template <class T, auto Function>
Run toPixels() {
  return [c = std::make_shared<Colours<T>>()] {
    return Function(c->pointers, Colours<T>::kStep, c->pixels.data(), 3 * Colours<T>::kStep, {kWidth, kHeight});
  };
}

constexpr int kSide = 256;
constexpr double kSamples = double{kSide} * kSide;
constexpr MoxRect kPlane = {0, 0, kSide, kSide};

template <class T, auto BufferSize>
struct Plane {
  std::vector<T> samples = centred<T>(picture(kSide, kSide, 1)), bands[4];
  T* pointers[4];
  int32_t steps[4];
  std::vector<Mox8u> buffer;
  Plane() {
    for (int i = 0; i < 4; i++) {
      bands[i] = centred<T>(picture(kSide / 2, kSide / 2, 1));
      pointers[i] = bands[i].data();
      steps[i] = kSide / 2 * static_cast<int32_t>(sizeof(T));
    }
    int32_t size = 0;
    BufferSize(&kPlane, &size);
    buffer.resize(static_cast<size_t>(size));
  }
};

template <class T, auto BufferSize, auto Function>
Run forward() {
  return [p = std::make_shared<Plane<T, BufferSize>>()] {
    return Function(p->samples.data(), 2 * p->steps[0], &kPlane, p->pointers, p->steps, p->buffer.data());
  };
}

template <class T, auto BufferSize, auto Function>
Run inverse() {
  return [p = std::make_shared<Plane<T, BufferSize>>()] {
    return Function(p->pointers, p->steps, p->samples.data(), 2 * p->steps[0], &kPlane, p->buffer.data());
  };
}

// Floats have filters of rows and columns alone, which read four values around the plane.
constexpr int kAround = 4, kWhole = kSide + 2 * kAround;

struct Floats {
  std::vector<Mox32f> whole = centred<Mox32f>(picture(kWhole, kWhole, 1)), low = whole, high = whole;
  static constexpr int kStep = kWhole * 4, kInside = kAround * kWhole + kAround;
};

template <auto Function, bool Columns>
Run forwardLines() {
  return [f = std::make_shared<Floats>()] {
    return Function(f->whole.data() + Floats::kInside, Floats::kStep, f->low.data(), Floats::kStep, f->high.data(),
                    Floats::kStep, {Columns ? kSide : kSide / 2, Columns ? kSide / 2 : kSide}, 0);
  };
}

template <auto Function, bool Columns>
Run inverseLines() {
  return [f = std::make_shared<Floats>()] {
    return Function(f->low.data() + Floats::kInside, Floats::kStep, f->high.data() + Floats::kInside, Floats::kStep,
                    {Columns ? kSide : kSide / 2, Columns ? kSide / 2 : kSide}, f->whole.data(), Floats::kStep, 0);
  };
}

const Workload kWorkloads[] = {
    {"components", "RCT forward, 32 bits", "pixel", kPixels, 24 * kPixels,
     toPlanes<Mox32s, moxiRCTFwd_JPEG2K_32s_C3P3R>},
    {"components", "RCT inverse, 32 bits", "pixel", kPixels, 24 * kPixels,
     toPixels<Mox32s, moxiRCTInv_JPEG2K_32s_P3C3R>},
    {"components", "ICT forward, float", "pixel", kPixels, 24 * kPixels, toPlanes<Mox32f, moxiICTFwd_JPEG2K_32f_C3P3R>},
    {"components", "ICT inverse, float", "pixel", kPixels, 24 * kPixels, toPixels<Mox32f, moxiICTInv_JPEG2K_32f_P3C3R>},
    {"wavelet", "5/3 forward, 16 bits", "sample", kSamples, 4 * kSamples,
     forward<Mox16s, moxiWTGetBufSize_B53_JPEG2K_16s_C1R, moxiWTFwd_B53_JPEG2K_16s_C1R>},
    {"wavelet", "5/3 inverse, 16 bits", "sample", kSamples, 4 * kSamples,
     inverse<Mox16s, moxiWTGetBufSize_B53_JPEG2K_16s_C1R, moxiWTInv_B53_JPEG2K_16s_C1R>},
    {"wavelet", "5/3 forward, 32 bits", "sample", kSamples, 8 * kSamples,
     forward<Mox32s, moxiWTGetBufSize_B53_JPEG2K_32s_C1R, moxiWTFwd_B53_JPEG2K_32s_C1R>},
    {"wavelet", "5/3 inverse, 32 bits", "sample", kSamples, 8 * kSamples,
     inverse<Mox32s, moxiWTGetBufSize_B53_JPEG2K_32s_C1R, moxiWTInv_B53_JPEG2K_32s_C1R>},
    {"wavelet", "9/7 forward, 32 bits", "sample", kSamples, 8 * kSamples,
     forward<Mox32s, moxiWTGetBufSize_D97_JPEG2K_32s_C1R, moxiWTFwd_D97_JPEG2K_32s_C1R>},
    {"wavelet", "9/7 inverse, 32 bits", "sample", kSamples, 8 * kSamples,
     inverse<Mox32s, moxiWTGetBufSize_D97_JPEG2K_32s_C1R, moxiWTInv_D97_JPEG2K_32s_C1R>},
    {"wavelet", "9/7 rows forward, float", "sample", kSamples, 8 * kSamples,
     forwardLines<moxiWTFwdRow_D97_JPEG2K_32f_C1R, false>},
    {"wavelet", "9/7 columns forward, float", "sample", kSamples, 8 * kSamples,
     forwardLines<moxiWTFwdCol_D97_JPEG2K_32f_C1R, true>},
    {"wavelet", "9/7 rows inverse, float", "sample", kSamples, 8 * kSamples,
     inverseLines<moxiWTInvRow_D97_JPEG2K_32f_C1R, false>},
    {"wavelet", "9/7 columns inverse, float", "sample", kSamples, 8 * kSamples,
     inverseLines<moxiWTInvCol_D97_JPEG2K_32f_C1R, true>},
};

}  // namespace

Workloads waveletWorkloads() { return kWorkloads; }

}  // namespace moxj::proof
