// Component transforms between interleaved pixels and planes.
#include "frame/images.h"
#include "kernels/dispatch.h"
#include "kernels/wavelet/rct.h"
#include "moxj.h"

using namespace mox;

MoxStatus moxiRCTFwd_JPEG2K_16s_C3P3R(const Mox16s* pSrc, int32_t srcStep, Mox16s* const pDst[3], int32_t dstStep,
                                      MoxRoiSize roiSize) {
  return pixelsToPlanes<3, RowLoop::serial>(kernels::rct().rctForwardC3P3_16s, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiRCTFwd_JPEG2K_32s_C3P3R(const Mox32s* pSrc, int32_t srcStep, Mox32s* const pDst[3], int32_t dstStep,
                                      MoxRoiSize roiSize) {
  return pixelsToPlanes<3, RowLoop::shared>(kernels::rct().rctForwardC3P3_32s, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiICTFwd_JPEG2K_32f_C3P3R(const Mox32f* pSrc, int32_t srcStep, Mox32f* const pDst[3], int32_t dstStep,
                                      MoxRoiSize roiSize) {
  return pixelsToPlanes<3, RowLoop::serial>(kernels::rct().ictForwardC3P3_32f, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiRCTInv_JPEG2K_16s_P3C3R(const Mox16s* const pSrc[3], int32_t srcStep, Mox16s* pDst, int32_t dstStep,
                                      MoxRoiSize roiSize) {
  return planesToPixels<3, RowLoop::serial>(kernels::rct().rctInverseP3C3_16s, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiRCTInv_JPEG2K_32s_P3C3R(const Mox32s* const pSrc[3], int32_t srcStep, Mox32s* pDst, int32_t dstStep,
                                      MoxRoiSize roiSize) {
  return planesToPixels<3, RowLoop::shared>(kernels::rct().rctInverseP3C3_32s, pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiICTInv_JPEG2K_32f_P3C3R(const Mox32f* const pSrc[3], int32_t srcStep, Mox32f* pDst, int32_t dstStep,
                                      MoxRoiSize roiSize) {
  return planesToPixels<3, RowLoop::serial>(kernels::rct().ictInverseP3C3_32f, pSrc, srcStep, pDst, dstStep, roiSize);
}
