// Component transforms between interleaved pixels and planes.
#include "components.h"
#include "next/moxj_components.h"

using namespace mox;

MoxStatus moxiRCTFwd_JPEG2K_16s_C3P3R(const Mox16s* pSrc, int32_t srcStep, Mox16s* const pDst[3], int32_t dstStep,
                                      MoxRoiSize roiSize) {
  return pixelsToPlanes<&RctKernels::rctForwardC3P3_16s, Rows::serial>(pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiRCTFwd_JPEG2K_32s_C3P3R(const Mox32s* pSrc, int32_t srcStep, Mox32s* const pDst[3], int32_t dstStep,
                                      MoxRoiSize roiSize) {
  return pixelsToPlanes<&RctKernels::rctForwardC3P3_32s, Rows::shared>(pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiICTFwd_JPEG2K_32f_C3P3R(const Mox32f* pSrc, int32_t srcStep, Mox32f* const pDst[3], int32_t dstStep,
                                      MoxRoiSize roiSize) {
  return pixelsToPlanes<&RctKernels::ictForwardC3P3_32f, Rows::serial>(pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiRCTInv_JPEG2K_16s_P3C3R(const Mox16s* const pSrc[3], int32_t srcStep, Mox16s* pDst, int32_t dstStep,
                                      MoxRoiSize roiSize) {
  return planesToPixels<&RctKernels::rctInverseP3C3_16s, Rows::serial>(pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiRCTInv_JPEG2K_32s_P3C3R(const Mox32s* const pSrc[3], int32_t srcStep, Mox32s* pDst, int32_t dstStep,
                                      MoxRoiSize roiSize) {
  return planesToPixels<&RctKernels::rctInverseP3C3_32s, Rows::shared>(pSrc, srcStep, pDst, dstStep, roiSize);
}

MoxStatus moxiICTInv_JPEG2K_32f_P3C3R(const Mox32f* const pSrc[3], int32_t srcStep, Mox32f* pDst, int32_t dstStep,
                                      MoxRoiSize roiSize) {
  return planesToPixels<&RctKernels::ictInverseP3C3_32f, Rows::serial>(pSrc, srcStep, pDst, dstStep, roiSize);
}
