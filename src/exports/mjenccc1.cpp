// CMYK to YCCK.
#include "frame/images.h"
#include "kernels/colour/ycc.h"
#include "kernels/dispatch.h"

using namespace mox;

MoxStatus moxiCMYKToYCCK_JPEG_8u_P4R(const Mox8u* const pSrc[4], int32_t srcStep, Mox8u* const pDst[4], int32_t dstStep,
                                     MoxRoiSize roiSize) {
  return planesToPlanes<4>(kernels::ycc().cmykPlanes, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiCMYKToYCCK_JPEG_8u_C4P4R(const Mox8u* pSrc, int32_t srcStep, Mox8u* const pDst[4], int32_t dstStep,
                                       MoxRoiSize roiSize) {
  return pixelsToPlanes<4>(kernels::ycc().cmyk, pSrc, srcStep, pDst, dstStep, roiSize);
}
