// Colour, level shift and sampling of regions of 512 x 16 pixels, which fit the second-level cache and are not so large
// that rows would be shared among threads; MCUs of one row of them.
#include <memory>

#include "proof/bench.h"
#include "proof/bench/data.h"

namespace moxj::proof {
namespace {

constexpr int kWidth = 512, kHeight = 16;
constexpr MoxRoiSize kRegion = {kWidth, kHeight};
constexpr double kPixels = double{kWidth} * kHeight;

// `Planes` planes, or one of interleaved pixels, with `Samples` samples each.
template <class T, int Planes, int Samples>
class Image {
 public:
  Image() {
    const std::vector<Mox8u> samples = picture(kWidth, kHeight, Planes * Samples);
    for (int i = 0; i < Planes; i++) {
      planes_[i].reserve(samples.size() / Planes);
      for (size_t k = static_cast<size_t>(i) * Samples; k < samples.size(); k += Planes * Samples)
        for (int s = 0; s < Samples; s++)
          planes_[i].push_back(static_cast<T>(samples[k + s] * (sizeof(T) == 2 ? 257 : 1)));
      pointers_[i] = planes_[i].data();
    }
  }
  static constexpr int kStep = kWidth * Samples * static_cast<int>(sizeof(T));
  auto argument() {
    if constexpr (Planes == 1) {
      return pointers_[0];
    } else {
      return static_cast<T* const*>(pointers_);
    }
  }

 private:
  std::vector<T> planes_[Planes];
  T* pointers_[Planes];
};

template <class Src, class Dst, auto Function>
Run region() {
  struct Images {
    Src src;
    Dst dst;
  };
  return [images = std::make_shared<Images>()] {
    return Function(images->src.argument(), Src::kStep, images->dst.argument(), Dst::kStep, kRegion);
  };
}

using Grey = Image<Mox8u, 1, 1>;
using Shifted = Image<Mox16s, 1, 1>;
using Pixels = Image<Mox8u, 1, 3>;
using Inks = Image<Mox8u, 1, 4>;
using Words = Image<Mox16u, 1, 1>;
using Planes = Image<Mox8u, 3, 1>;
using InkPlanes = Image<Mox8u, 4, 1>;

// Sampling from a region of a size to that of another, with a border that up-sampling reads.
template <auto Function, int SrcWidth, int SrcHeight, int DstWidth, int DstHeight>
Run sampling() {
  struct Planes {
    std::vector<Mox8u> src = picture(SrcWidth + 2, SrcHeight + 2, 1), dst = std::vector<Mox8u>(DstWidth * DstHeight);
  };
  return [planes = std::make_shared<Planes>()] {
    return Function(planes->src.data() + SrcWidth + 3, SrcWidth + 2, MoxRoiSize{SrcWidth, SrcHeight},
                    planes->dst.data(), DstWidth, MoxRoiSize{DstWidth, DstHeight});
  };
}

// Rows one after the other, to rows of double width.
template <auto Function>
Run oneRow() {
  struct Rows {
    std::vector<Mox8u> src = picture(kWidth / 2, kHeight, 1), dst = std::vector<Mox8u>(kWidth * kHeight);
  };
  return [rows = std::make_shared<Rows>()] {
    MoxStatus status = moxStatusOk;
    for (int y = 0; y < kHeight && status >= 0; y++)
      status = Function(rows->src.data() + y * kWidth / 2, kWidth / 2, rows->dst.data() + y * kWidth);
    return status;
  };
}

template <auto Function>
Run twoRows() {
  struct Rows {
    std::vector<Mox8u> src = picture(kWidth / 2, kHeight + 1, 1), dst = std::vector<Mox8u>(kWidth * kHeight);
  };
  return [rows = std::make_shared<Rows>()] {
    MoxStatus status = moxStatusOk;
    for (int y = 0; y < kHeight && status >= 0; y++) {
      const Mox8u* const src = rows->src.data() + y * kWidth / 2;
      status = Function(src, src + kWidth / 2, kWidth / 2, rows->dst.data() + y * kWidth);
    }
    return status;
  };
}

// A row of MCUs of 16 x 16 pixels: four blocks of luma, one of each chroma.
constexpr int kMcus = kWidth / 16;
constexpr double kMcuBytes = kPixels * 3 + kMcus * 6 * 128.0;

struct Mcus {
  std::vector<Mox8u> pixels = picture(kWidth, kHeight, 3);
  std::vector<Mox16s> blocks = centred<Mox16s>(picture(64 * 6, kMcus, 1));
  Mox16s* at[3] = {};
  Mox8u* place(int mcu) {
    Mox16s* const first = blocks.data() + mcu * 6 * 64;
    at[0] = first, at[1] = first + 4 * 64, at[2] = first + 5 * 64;
    return pixels.data() + mcu * 16 * 3;
  }
};

template <auto Function, bool Forward>
Run mcus() {
  return [all = std::make_shared<Mcus>()] {
    MoxStatus status = moxStatusOk;
    for (int mcu = 0; mcu < kMcus && status >= 0; mcu++) {
      Mox8u* const pixels = all->place(mcu);
      if constexpr (Forward)
        status = Function(pixels, kWidth * 3, all->at);
      else
        status = Function(all->at, pixels, kWidth * 3);
    }
    return status;
  };
}

const Workload kWorkloads[] = {
    {"colour", "RGB to YCbCr", "pixel", kPixels, 6 * kPixels, region<Pixels, Planes, moxiRGBToYCbCr_JPEG_8u_C3P3R>},
    {"colour", "RGB to grey", "pixel", kPixels, 4 * kPixels, region<Pixels, Grey, moxiRGBToY_JPEG_8u_C3C1R>},
    {"colour", "YCbCr to RGB", "pixel", kPixels, 6 * kPixels, region<Planes, Pixels, moxiYCbCrToRGB_JPEG_8u_P3C3R>},
    {"colour", "CMYK to YCCK", "pixel", kPixels, 8 * kPixels, region<Inks, InkPlanes, moxiCMYKToYCCK_JPEG_8u_C4P4R>},
    {"colour", "YCCK to CMYK", "pixel", kPixels, 8 * kPixels, region<InkPlanes, Inks, moxiYCCKToCMYK_JPEG_8u_P4C4R>},
    {"colour", "RGB 565 to YCbCr", "pixel", kPixels, 5 * kPixels,
     region<Words, Planes, moxiRGB565ToYCbCr_JPEG_16u8u_C3P3R>},
    {"colour", "YCbCr to RGB 565", "pixel", kPixels, 5 * kPixels,
     region<Planes, Words, moxiYCbCrToRGB565_JPEG_8u16u_P3C3R>},
    {"shift", "minus 128", "sample", kPixels, 3 * kPixels, region<Grey, Shifted, moxiSub128_JPEG_8u16s_C1R>},
    {"shift", "plus 128", "sample", kPixels, 3 * kPixels, region<Shifted, Grey, moxiAdd128_JPEG_16s8u_C1R>},
    {"sampling", "down, half width", "sample", kPixels, 1.5 * kPixels,
     sampling<moxiSampleDownH2V1_JPEG_8u_C1R, kWidth, kHeight, kWidth / 2, kHeight>},
    {"sampling", "down, half width and height", "sample", kPixels, 1.25 * kPixels,
     sampling<moxiSampleDownH2V2_JPEG_8u_C1R, kWidth, kHeight, kWidth / 2, kHeight / 2>},
    {"sampling", "up, double width", "sample", kPixels, 1.5 * kPixels, oneRow<moxiSampleUpRowH2V1_Triangle_JPEG_8u_C1>},
    {"sampling", "up, double width and height", "sample", kPixels, 2 * kPixels,
     twoRows<moxiSampleUpRowH2V2_Triangle_JPEG_8u_C1>},
    {"mcu", "RGB to blocks, 4:2:0", "pixel", kPixels, kMcuBytes, mcus<moxiRGBToYCbCr411LS_MCU_8u16s_C3P3R, true>},
    {"mcu", "blocks to RGB, 4:2:0", "pixel", kPixels, kMcuBytes, mcus<moxiYCbCr411ToRGBLS_MCU_16s8u_P3C3R, false>},
};

}  // namespace

Workloads colourWorkloads() { return kWorkloads; }

}  // namespace moxj::proof
