// RGB, BGR and packed words to YCbCr planes.
#include "frame/images.h"
#include "kernels/colour/ycc.h"
#include "kernels/dispatch.h"

using namespace mox;

MoxStatus moxiRGBToYCbCr_JPEG_8u_P3R(const Mox8u* const pSrc[3], int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep,
                                     MoxRoiSize roiSize) {
  return planesToPlanes<3>(kernels::ycc().rgbPlanes, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiRGBToYCbCr_JPEG_8u_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep,
                                       MoxRoiSize roiSize) {
  return pixelsToPlanes<3>(kernels::ycc().rgb, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiBGRToYCbCr_JPEG_8u_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep,
                                       MoxRoiSize roiSize) {
  return pixelsToPlanes<3>(kernels::ycc().bgr, pSrc, srcStep, pDst, dstStep, roiSize);
}

// The rows of packed words stay on the calling thread.

MoxStatus moxiRGB555ToYCbCr_JPEG_16u8u_C3P3R(const Mox16u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep,
                                             MoxRoiSize roiSize) {
  return pixelsToPlanes<3, RowLoop::serial>(kernels::ycc().rgb555, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiBGR555ToYCbCr_JPEG_16u8u_C3P3R(const Mox16u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep,
                                             MoxRoiSize roiSize) {
  return pixelsToPlanes<3, RowLoop::serial>(kernels::ycc().bgr555, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiRGB565ToYCbCr_JPEG_16u8u_C3P3R(const Mox16u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep,
                                             MoxRoiSize roiSize) {
  return pixelsToPlanes<3, RowLoop::serial>(kernels::ycc().rgb565, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiBGR565ToYCbCr_JPEG_16u8u_C3P3R(const Mox16u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep,
                                             MoxRoiSize roiSize) {
  return pixelsToPlanes<3, RowLoop::serial>(kernels::ycc().bgr565, pSrc, srcStep, pDst, dstStep, roiSize);
}
