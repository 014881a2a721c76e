// RGB to luminance.
#include "frame/images.h"
#include "kernels/colour/ycc.h"
#include "kernels/dispatch.h"

using namespace mox;

namespace {

MoxStatus pixelsToPlane(void (*convert)(const Mox8u*, Mox8u*, int), const Mox8u* pSrc, int32_t srcStep, Mox8u* pDst,
                        int32_t dstStep, MoxRoiSize roi) {
  if (const MoxStatus bad = Check().pointers(pSrc, pDst).steps(srcStep, dstStep).size(roi)) return bad;
  forEachRow(roi, [=](int y) { convert(rowAt(pSrc, srcStep, y), rowAt(pDst, dstStep, y), roi.width); });
  return moxStatusOk;
}

}  // namespace

MoxStatus moxiRGBToY_JPEG_8u_P3C1R(const Mox8u* const pSrc[3], int32_t srcStep, Mox8u* pDst, int32_t dstStep,
                                   MoxRoiSize roiSize) {
  return planesToPixels<3>(kernels::ycc().lumaOfRgbPlanes, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiRGBToY_JPEG_8u_C3C1R(const Mox8u* pSrc, int32_t srcStep, Mox8u* pDst, int32_t dstStep,
                                   MoxRoiSize roiSize) {
  return pixelsToPlane(kernels::ycc().lumaOfRgb, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiBGRToY_JPEG_8u_C3C1R(const Mox8u* pSrc, int32_t srcStep, Mox8u* pDst, int32_t dstStep,
                                   MoxRoiSize roiSize) {
  return pixelsToPlane(kernels::ycc().lumaOfBgr, pSrc, srcStep, pDst, dstStep, roiSize);
}
