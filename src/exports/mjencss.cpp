// Chroma down-sampling, the encoder's side.
#include "frame/check.h"
#include "frame/rows.h"
#include "kernels/colour/sample.h"
#include "kernels/dispatch.h"

namespace mox {
namespace {

// The regions round every output alike: with two samples a half up, with four a quarter and more up.
constexpr Bias kPairBias = {1, 1};
constexpr Bias kQuadBias = {3, 3};

// The biases of a box-filtered row of `count` outputs, `first` and one more, alternate from the first output; but a row
// of fewer than eight outputs ends with `first`, so that it starts with the other one if the count is even.
constexpr Bias boxBias(int first, int32_t count) {
  const bool startsWithOther = count < 8 && count % 2 == 0;
  return startsWithOther ? Bias{first + 1, first} : Bias{first, first + 1};
}

}  // namespace
}  // namespace mox

using namespace mox;

MoxStatus moxiSampleDownH2V1_JPEG_8u_C1R(const Mox8u* pSrc, int32_t srcStep, MoxRoiSize srcRoiSize, Mox8u* pDst,
                                         int32_t dstStep, MoxRoiSize dstRoiSize) {
  if (const MoxStatus bad = Check().region(pSrc, srcStep, srcRoiSize).region(pDst, dstStep, dstRoiSize)) return bad;
  const auto down = kernels::sample().downH2V1;
  forEachRow(dstRoiSize,
             [=](int y) { down(rowAt(pSrc, srcStep, y), rowAt(pDst, dstStep, y), dstRoiSize.width, kPairBias); });
  return moxStatusOk;
}

MoxStatus moxiSampleDownH2V2_JPEG_8u_C1R(const Mox8u* pSrc, int32_t srcStep, MoxRoiSize srcRoiSize, Mox8u* pDst,
                                         int32_t dstStep, MoxRoiSize dstRoiSize) {
  if (const MoxStatus bad = Check().region(pSrc, srcStep, srcRoiSize).region(pDst, dstStep, dstRoiSize)) return bad;
  const auto down = kernels::sample().downH2V2;
  forEachRow(dstRoiSize, [=](int y) {
    const Mox8u* const upper = rowAt(pSrc, srcStep, 2 * static_cast<ptrdiff_t>(y));
    down(upper, rowAt(upper, srcStep, 1), rowAt(pDst, dstStep, y), dstRoiSize.width, kQuadBias);
  });
  return moxStatusOk;
}

MoxStatus moxiSampleDownRowH2V1_Box_JPEG_8u_C1(const Mox8u* pSrc, int32_t srcWidth, Mox8u* pDst) {
  if (const MoxStatus bad = Check().pointers(pSrc, pDst).length(srcWidth)) return bad;
  const int32_t count = srcWidth / 2;
  kernels::sample().downH2V1(pSrc, pDst, count, boxBias(0, count));
  return moxStatusOk;
}

MoxStatus moxiSampleDownRowH2V2_Box_JPEG_8u_C1(const Mox8u* pSrc1, const Mox8u* pSrc2, int32_t srcWidth, Mox8u* pDst) {
  if (const MoxStatus bad = Check().pointers(pSrc1, pSrc2, pDst).length(srcWidth)) return bad;
  const int32_t count = srcWidth / 2;
  kernels::sample().downH2V2(pSrc1, pSrc2, pDst, count, boxBias(1, count));
  return moxStatusOk;
}
