// Component transforms of three planes in place.
#include "frame/images.h"
#include "kernels/dispatch.h"
#include "kernels/wavelet/rct.h"
#include "moxj.h"

using namespace mox;

MoxStatus moxiRCTFwd_JPEG2K_16s_P3IR(Mox16s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<3, RowLoop::serial>(kernels::rct().rctForward16s, pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiRCTFwd_JPEG2K_32s_P3IR(Mox32s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<3, RowLoop::shared>(kernels::rct().rctForward32s, pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiRCTInv_JPEG2K_16s_P3IR(Mox16s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<3, RowLoop::serial>(kernels::rct().rctInverse16s, pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiRCTInv_JPEG2K_32s_P3IR(Mox32s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<3, RowLoop::shared>(kernels::rct().rctInverse32s, pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiICTFwd_JPEG2K_16s_P3IR(Mox16s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<3, RowLoop::serial>(kernels::rct().ictForward16s, pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiICTFwd_JPEG2K_32s_P3IR(Mox32s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<3, RowLoop::serial>(kernels::rct().ictForward32s, pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiICTFwd_JPEG2K_32f_P3IR(Mox32f* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<3, RowLoop::serial>(kernels::rct().ictForward32f, pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiICTInv_JPEG2K_16s_P3IR(Mox16s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<3, RowLoop::serial>(kernels::rct().ictInverse16s, pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiICTInv_JPEG2K_32s_P3IR(Mox32s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<3, RowLoop::serial>(kernels::rct().ictInverse32s, pSrcDst, srcDstStep, roiSize);
}

MoxStatus moxiICTInv_JPEG2K_32f_P3IR(Mox32f* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize) {
  return planesInPlace<3, RowLoop::serial>(kernels::rct().ictInverse32f, pSrcDst, srcDstStep, roiSize);
}
