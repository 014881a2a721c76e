// Chroma up-sampling, the decoder's side.
#include "frame/check.h"
#include "frame/rows.h"
#include "kernels/colour/sample.h"
#include "kernels/dispatch.h"

namespace mox {
namespace {

// An output row of the regions reads the samples next to its source samples from memory. After the last sample it needs
// a value at an even width only: at an odd one width / 2 is that last sample itself.
void upRowH2V1(const Mox8u* src, Mox8u* dst, int32_t width) {
  kernels::sample().upH2V1(src, src[-1], src[width / 2], dst, width);
}

void upRowH2V2(const Mox8u* near, const Mox8u* far, Mox8u* dst, int32_t width) {
  const int last = width / 2;
  kernels::sample().upH2V2(near, far, definition::columnSum(near[-1], far[-1]),
                           definition::columnSum(near[last], far[last]), dst, width);
}

}  // namespace
}  // namespace mox

using namespace mox;

MoxStatus moxiSampleUpH2V1_JPEG_8u_C1R(const Mox8u* pSrc, int32_t srcStep, MoxRoiSize srcRoiSize, Mox8u* pDst,
                                       int32_t dstStep, MoxRoiSize dstRoiSize) {
  if (const MoxStatus bad = Check().region(pSrc, srcStep, srcRoiSize).region(pDst, dstStep, dstRoiSize)) return bad;
  forEachRow(dstRoiSize, [=](int y) { upRowH2V1(rowAt(pSrc, srcStep, y), rowAt(pDst, dstStep, y), dstRoiSize.width); });
  return moxStatusOk;
}

MoxStatus moxiSampleUpH2V2_JPEG_8u_C1R(const Mox8u* pSrc, int32_t srcStep, MoxRoiSize srcRoiSize, Mox8u* pDst,
                                       int32_t dstStep, MoxRoiSize dstRoiSize) {
  if (const MoxStatus bad = Check().region(pSrc, srcStep, srcRoiSize).region(pDst, dstStep, dstRoiSize)) return bad;
  forEachRow(dstRoiSize, [=](int y) {
    const Mox8u* const near = rowAt(pSrc, srcStep, y / 2);
    upRowH2V2(near, rowAt(near, srcStep, y % 2 ? 1 : -1), rowAt(pDst, dstStep, y), dstRoiSize.width);
  });
  return moxStatusOk;
}

MoxStatus moxiSampleUpRowH2V1_Triangle_JPEG_8u_C1(const Mox8u* pSrc, int32_t srcWidth, Mox8u* pDst) {
  if (const MoxStatus bad = Check().pointers(pSrc, pDst).length(srcWidth)) return bad;
  kernels::sample().upH2V1(pSrc, pSrc[0], pSrc[srcWidth - 1], pDst, 2 * static_cast<ptrdiff_t>(srcWidth));
  return moxStatusOk;
}

MoxStatus moxiSampleUpRowH2V2_Triangle_JPEG_8u_C1(const Mox8u* pSrc1, const Mox8u* pSrc2, int32_t srcWidth,
                                                  Mox8u* pDst) {
  if (const MoxStatus bad = Check().pointers(pSrc1, pSrc2, pDst).length(srcWidth)) return bad;
  const auto sum = [=](int32_t k) { return definition::columnSum(pSrc1[k], pSrc2[k]); };
  kernels::sample().upH2V2(pSrc1, pSrc2, sum(0), sum(srcWidth - 1), pDst, 2 * static_cast<ptrdiff_t>(srcWidth));
  return moxStatusOk;
}
