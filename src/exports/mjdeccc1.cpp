// YCCK to CMYK.
#include "frame/images.h"
#include "kernels/colour/rgb.h"
#include "kernels/dispatch.h"

using namespace mox;

MoxStatus moxiYCCKToCMYK_JPEG_8u_P4R(const Mox8u* const pSrc[4], int32_t srcStep, Mox8u* const pDst[4], int32_t dstStep,
                                     MoxRoiSize roiSize) {
  return planesToPlanes<4>(kernels::rgb().cmykPlanes, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiYCCKToCMYK_JPEG_8u_P4C4R(const Mox8u* const pSrc[4], int32_t srcStep, Mox8u* pDst, int32_t dstStep,
                                       MoxRoiSize roiSize) {
  return planesToPixels<4>(kernels::rgb().cmyk, pSrc, srcStep, pDst, dstStep, roiSize);
}
