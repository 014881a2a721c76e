#include "moxj.h"
#include "proof/golden.h"

namespace test {
namespace {

using Region = MoxStatus (*)(const Mox8u*, int32_t, MoxRoiSize, Mox8u*, int32_t, MoxRoiSize);

// Planes with a border on every side, so that up-sampling finds what it reads.
template <Region Function, int SrcWidthOfTwo, int SrcHeightOfTwo>
void region(Digest& digest, Random& random) {
  for (const MoxRoiSize roi :
       {MoxRoiSize{1, 1}, MoxRoiSize{2, 2}, MoxRoiSize{37, 5}, MoxRoiSize{130, 70}, MoxRoiSize{291, 31}}) {
    const MoxRoiSize srcRoi = {(roi.width * SrcWidthOfTwo + 1) / 2, (roi.height * SrcHeightOfTwo + 1) / 2};
    const int srcStep = srcRoi.width + 2;
    const auto src = seeded<Mox8u>(random, static_cast<size_t>(srcStep) * (srcRoi.height + 2));
    std::vector<Mox8u> dst(static_cast<size_t>(roi.width) * roi.height);
    digest.value(Function(src.data() + srcStep + 1, srcStep, srcRoi, dst.data(), roi.width, roi));
    digest.values(dst);
  }
}

constexpr int kWidths[] = {1, 2, 3, 4, 5, 6, 7, 8, 10, 12, 14, 15, 16, 17, 18, 31, 32, 33, 100, 101, 640, 4095};

template <auto Function, int DstWidthOfTwo>
void oneRow(Digest& digest, Random& random) {
  for (const int width : kWidths) {
    const auto src = seeded<Mox8u>(random, width);
    std::vector<Mox8u> dst(width * DstWidthOfTwo / 2);
    digest.value(Function(src.data(), width, dst.data()));
    digest.values(dst);
  }
}

template <auto Function, int DstWidthOfTwo>
void twoRows(Digest& digest, Random& random) {
  for (const int width : kWidths) {
    const auto src1 = seeded<Mox8u>(random, width);
    const auto src2 = seeded<Mox8u>(random, width);
    std::vector<Mox8u> dst(width * DstWidthOfTwo / 2);
    digest.value(Function(src1.data(), src2.data(), width, dst.data()));
    digest.values(dst);
  }
}

const GoldenCase kCases[] = {
    {"moxiSampleDownH2V1_JPEG_8u_C1R", region<moxiSampleDownH2V1_JPEG_8u_C1R, 4, 2>},
    {"moxiSampleDownH2V2_JPEG_8u_C1R", region<moxiSampleDownH2V2_JPEG_8u_C1R, 4, 4>},
    {"moxiSampleUpH2V1_JPEG_8u_C1R", region<moxiSampleUpH2V1_JPEG_8u_C1R, 1, 2>},
    {"moxiSampleUpH2V2_JPEG_8u_C1R", region<moxiSampleUpH2V2_JPEG_8u_C1R, 1, 1>},
    {"moxiSampleDownRowH2V1_Box_JPEG_8u_C1", oneRow<moxiSampleDownRowH2V1_Box_JPEG_8u_C1, 1>},
    {"moxiSampleDownRowH2V2_Box_JPEG_8u_C1", twoRows<moxiSampleDownRowH2V2_Box_JPEG_8u_C1, 1>},
    {"moxiSampleUpRowH2V1_Triangle_JPEG_8u_C1", oneRow<moxiSampleUpRowH2V1_Triangle_JPEG_8u_C1, 4>},
    {"moxiSampleUpRowH2V2_Triangle_JPEG_8u_C1", twoRows<moxiSampleUpRowH2V2_Triangle_JPEG_8u_C1, 4>},
};

}  // namespace

GoldenCases sampleGolden() { return kCases; }

}  // namespace test
