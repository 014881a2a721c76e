#include <array>

#include "moxj.h"
#include "proof/golden.h"

namespace test {
namespace {

// Tails of every length, and a region above the size from which threads share the rows.
constexpr MoxRoiSize kRegions[] = {{1, 1}, {2, 3}, {3, 2}, {4, 1}, {37, 5}, {203, 41}};

// One image of `Planes` planes, or of one interleaved plane with `Samples` samples a pixel.
template <class Sample, int Planes, int Samples>
class Image {
 public:
  Image(MoxRoiSize roi, Random& random) : step_(roi.width * Samples * static_cast<int>(sizeof(Sample))) {
    for (int i = 0; i < Planes; i++) {
      planes_[i] = seeded<Sample>(random, static_cast<size_t>(roi.width) * roi.height * Samples);
      pointers_[i] = planes_[i].data();
    }
  }

  int step() const { return step_; }
  auto pointer() {
    if constexpr (Planes == 1) {
      return pointers_[0];
    } else {
      return pointers_.data();
    }
  }
  void digest(Digest& digest) const {
    for (const auto& plane : planes_) digest.values(plane);
  }

 private:
  int step_;
  std::array<std::vector<Sample>, Planes> planes_;
  std::array<Sample*, Planes> pointers_;
};

template <class Src, class Dst, auto Function>
void converted(Digest& digest, Random& random) {
  for (const MoxRoiSize roi : kRegions) {
    Src src(roi, random);
    Dst dst(roi, random);
    digest.value(Function(src.pointer(), src.step(), dst.pointer(), dst.step(), roi));
    dst.digest(digest);
  }
}

using Plane = Image<Mox8u, 1, 1>;
using Planes3 = Image<Mox8u, 3, 1>;
using Planes4 = Image<Mox8u, 4, 1>;
using Pixels3 = Image<Mox8u, 1, 3>;
using Pixels4 = Image<Mox8u, 1, 4>;
using Words = Image<Mox16u, 1, 1>;

#define GOLDEN(function, src, dst) \
  { #function, converted < src, dst, function> }

const GoldenCase kCases[] = {
    GOLDEN(moxiRGBToYCbCr_JPEG_8u_P3R, Planes3, Planes3),
    GOLDEN(moxiRGBToYCbCr_JPEG_8u_C3P3R, Pixels3, Planes3),
    GOLDEN(moxiBGRToYCbCr_JPEG_8u_C3P3R, Pixels3, Planes3),
    GOLDEN(moxiRGB555ToYCbCr_JPEG_16u8u_C3P3R, Words, Planes3),
    GOLDEN(moxiBGR555ToYCbCr_JPEG_16u8u_C3P3R, Words, Planes3),
    GOLDEN(moxiRGB565ToYCbCr_JPEG_16u8u_C3P3R, Words, Planes3),
    GOLDEN(moxiBGR565ToYCbCr_JPEG_16u8u_C3P3R, Words, Planes3),
    GOLDEN(moxiRGBToY_JPEG_8u_P3C1R, Planes3, Plane),
    GOLDEN(moxiRGBToY_JPEG_8u_C3C1R, Pixels3, Plane),
    GOLDEN(moxiBGRToY_JPEG_8u_C3C1R, Pixels3, Plane),
    GOLDEN(moxiCMYKToYCCK_JPEG_8u_P4R, Planes4, Planes4),
    GOLDEN(moxiCMYKToYCCK_JPEG_8u_C4P4R, Pixels4, Planes4),
    GOLDEN(moxiYCbCrToRGB_JPEG_8u_P3R, Planes3, Planes3),
    GOLDEN(moxiYCbCrToRGB_JPEG_8u_P3C3R, Planes3, Pixels3),
    GOLDEN(moxiYCbCrToBGR_JPEG_8u_P3C3R, Planes3, Pixels3),
    GOLDEN(moxiYCbCrToRGB555_JPEG_8u16u_P3C3R, Planes3, Words),
    GOLDEN(moxiYCbCrToBGR555_JPEG_8u16u_P3C3R, Planes3, Words),
    GOLDEN(moxiYCbCrToRGB565_JPEG_8u16u_P3C3R, Planes3, Words),
    GOLDEN(moxiYCbCrToBGR565_JPEG_8u16u_P3C3R, Planes3, Words),
    GOLDEN(moxiYCCKToCMYK_JPEG_8u_P4R, Planes4, Planes4),
    GOLDEN(moxiYCCKToCMYK_JPEG_8u_P4C4R, Planes4, Pixels4),
};

#undef GOLDEN

}  // namespace

GoldenCases colourGolden() { return kCases; }

}  // namespace test
