// YCbCr to RGB planes.
#include "frame/images.h"
#include "kernels/colour/rgb.h"
#include "kernels/dispatch.h"

using namespace mox;

MoxStatus moxiYCbCrToRGB_JPEG_8u_P3R(const Mox8u* const pSrc[3], int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep,
                                     MoxRoiSize roiSize) {
  return planesToPlanes<3>(kernels::rgb().rgbPlanes, pSrc, srcStep, pDst, dstStep, roiSize);
}
