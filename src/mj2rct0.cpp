// Component transforms of three planes in place.
#include "components.h"
#include "next/moxj_components.h"

using namespace mox;

MoxStatus moxiRCTFwd_JPEG2K_16s_P3IR(Mox16s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<&RctKernels::rctForward16s, Rows::serial>(pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiRCTFwd_JPEG2K_32s_P3IR(Mox32s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<&RctKernels::rctForward32s, Rows::shared>(pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiRCTInv_JPEG2K_16s_P3IR(Mox16s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<&RctKernels::rctInverse16s, Rows::serial>(pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiRCTInv_JPEG2K_32s_P3IR(Mox32s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<&RctKernels::rctInverse32s, Rows::shared>(pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiICTFwd_JPEG2K_16s_P3IR(Mox16s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<&RctKernels::ictForward16s, Rows::serial>(pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiICTFwd_JPEG2K_32s_P3IR(Mox32s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<&RctKernels::ictForward32s, Rows::serial>(pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiICTFwd_JPEG2K_32f_P3IR(Mox32f* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<&RctKernels::ictForward32f, Rows::serial>(pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiICTInv_JPEG2K_16s_P3IR(Mox16s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<&RctKernels::ictInverse16s, Rows::serial>(pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiICTInv_JPEG2K_32s_P3IR(Mox32s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<&RctKernels::ictInverse32s, Rows::serial>(pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiICTInv_JPEG2K_32f_P3IR(Mox32f* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<&RctKernels::ictInverse32f, Rows::serial>(pSrcDst, srcDstStep, roiSize);
}
