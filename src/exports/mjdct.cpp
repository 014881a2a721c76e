// The 8x8 DCT fused with quantisation and level shift.
#include "frame/check.h"
#include "kernels/dct/dct.h"
#include "kernels/dispatch.h"

using namespace mox;

MoxStatus moxiDCTQuantFwd8x8_JPEG_16s_C1(const Mox16s* pSrc, Mox16s* pDst, const Mox16u* pFwdTable) {
  if (const MoxStatus bad = Check().pointers(pSrc, pDst, pFwdTable)) return bad;
  kernels::dct().forward(pSrc, pDst, pFwdTable);
  return moxStatusOk;
}

MoxStatus moxiDCTQuantFwd8x8_JPEG_16s_C1I(Mox16s* pSrcDst, const Mox16u* pFwdTable) {
  if (const MoxStatus bad = Check().pointers(pSrcDst, pFwdTable)) return bad;
  kernels::dct().forward(pSrcDst, pSrcDst, pFwdTable);
  return moxStatusOk;
}

MoxStatus moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(const Mox8u* pSrc, int32_t srcStep, Mox16s* pDst,
                                              const Mox16u* pFwdTable) {
  if (const MoxStatus bad = Check().pointers(pSrc, pDst).steps(srcStep).pointers(pFwdTable)) return bad;
  kernels::dct().forwardShifted(pSrc, srcStep, pDst, pFwdTable);
  return moxStatusOk;
}

MoxStatus moxiDCTQuantInv8x8_JPEG_16s_C1(const Mox16s* pSrc, Mox16s* pDst, const Mox16u* pInvTable) {
  if (const MoxStatus bad = Check().pointers(pSrc, pDst, pInvTable)) return bad;
  kernels::dct().inverse(pSrc, pDst, pInvTable);
  return moxStatusOk;
}

MoxStatus moxiDCTQuantInv8x8_JPEG_16s_C1I(Mox16s* pSrcDst, const Mox16u* pInvTable) {
  if (const MoxStatus bad = Check().pointers(pSrcDst, pInvTable)) return bad;
  kernels::dct().inverse(pSrcDst, pSrcDst, pInvTable);
  return moxStatusOk;
}

MoxStatus moxiDCTQuantInv8x8LS_JPEG_16s8u_C1R(const Mox16s* pSrc, Mox8u* pDst, int32_t dstStep,
                                              const Mox16u* pInvTable) {
  if (const MoxStatus bad = Check().pointers(pSrc, pDst).steps(dstStep).pointers(pInvTable)) return bad;
  kernels::dct().inverseShifted(pSrc, pDst, dstStep, pInvTable);
  return moxStatusOk;
}
