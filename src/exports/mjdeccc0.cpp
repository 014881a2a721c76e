// YCbCr planes to RGB and BGR pixels and packed words.
#include "frame/images.h"
#include "kernels/colour/rgb.h"
#include "kernels/dispatch.h"

using namespace mox;

MoxStatus moxiYCbCrToRGB_JPEG_8u_P3C3R(const Mox8u* const pSrc[3], int32_t srcStep, Mox8u* pDst, int32_t dstStep,
                                       MoxRoiSize roiSize) {
  return planesToPixels<3>(kernels::rgb().rgb, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiYCbCrToBGR_JPEG_8u_P3C3R(const Mox8u* const pSrc[3], int32_t srcStep, Mox8u* pDst, int32_t dstStep,
                                       MoxRoiSize roiSize) {
  return planesToPixels<3>(kernels::rgb().bgr, pSrc, srcStep, pDst, dstStep, roiSize);
}

// The rows of packed words stay on the calling thread.

MoxStatus moxiYCbCrToRGB555_JPEG_8u16u_P3C3R(const Mox8u* const pSrc[3], int32_t srcStep, Mox16u* pDst, int32_t dstStep,
                                             MoxRoiSize roiSize) {
  return planesToPixels<3, RowLoop::serial>(kernels::rgb().rgb555, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiYCbCrToBGR555_JPEG_8u16u_P3C3R(const Mox8u* const pSrc[3], int32_t srcStep, Mox16u* pDst, int32_t dstStep,
                                             MoxRoiSize roiSize) {
  return planesToPixels<3, RowLoop::serial>(kernels::rgb().bgr555, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiYCbCrToRGB565_JPEG_8u16u_P3C3R(const Mox8u* const pSrc[3], int32_t srcStep, Mox16u* pDst, int32_t dstStep,
                                             MoxRoiSize roiSize) {
  return planesToPixels<3, RowLoop::serial>(kernels::rgb().rgb565, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiYCbCrToBGR565_JPEG_8u16u_P3C3R(const Mox8u* const pSrc[3], int32_t srcStep, Mox16u* pDst, int32_t dstStep,
                                             MoxRoiSize roiSize) {
  return planesToPixels<3, RowLoop::serial>(kernels::rgb().bgr565, pSrc, srcStep, pDst, dstStep, roiSize);
}
