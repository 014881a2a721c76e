// The irreversible 9/7 wavelet of JPEG 2000.
#include "exports/mj2wt.h"

using namespace mox;

MoxStatus moxiWTGetBufSize_D97_JPEG2K_16s_C1IR(const MoxRect* pRoi, int32_t* pSize) {
  return wtReport(pRoi, pSize, wtLineBytes<Mox16s, 2, 4>);
}

MoxStatus moxiWTGetBufSize_D97_JPEG2K_16s_C1R(const MoxRect* pRoi, int32_t* pSize) {
  return wtReport(pRoi, pSize, wtPlaneAndLineBytes<Mox16s, 2, 4>);
}

MoxStatus moxiWTGetBufSize_D97_JPEG2K_32s_C1IR(const MoxRect* pRoi, int32_t* pSize) {
  return wtReport(pRoi, pSize, wtLineBytes<Mox32s, 2, 4>);
}

MoxStatus moxiWTGetBufSize_D97_JPEG2K_32s_C1R(const MoxRect* pRoi, int32_t* pSize) {
  return wtReport(pRoi, pSize, wtPlaneAndLineBytes<Mox32s, 2, 4>);
}

MoxStatus moxiWTFwd_D97_JPEG2K_16s_C1R(const Mox16s* pSrc, int32_t srcStep, const MoxRect* pSrcRoi,
                                       Mox16s* const pDst[4], const int32_t dstStep[4], Mox8u* pBuffer) {
  return wtForward(kernels::wt97().plane16s, pSrc, srcStep, pSrcRoi, pDst, dstStep, pBuffer);
}

MoxStatus moxiWTInv_D97_JPEG2K_16s_C1R(const Mox16s* const pSrc[4], const int32_t srcStep[4], Mox16s* pDst,
                                       int32_t dstStep, const MoxRect* pDstRoi, Mox8u* pBuffer) {
  return wtInverse(kernels::wt97().plane16s, pSrc, srcStep, pDst, dstStep, pDstRoi, pBuffer);
}

MoxStatus moxiWTFwd_D97_JPEG2K_32s_C1R(const Mox32s* pSrc, int32_t srcStep, const MoxRect* pSrcRoi,
                                       Mox32s* const pDst[4], const int32_t dstStep[4], Mox8u* pBuffer) {
  return wtForward(kernels::wt97().plane32s, pSrc, srcStep, pSrcRoi, pDst, dstStep, pBuffer);
}

MoxStatus moxiWTInv_D97_JPEG2K_32s_C1R(const Mox32s* const pSrc[4], const int32_t srcStep[4], Mox32s* pDst,
                                       int32_t dstStep, const MoxRect* pDstRoi, Mox8u* pBuffer) {
  return wtInverse(kernels::wt97().plane32s, pSrc, srcStep, pDst, dstStep, pDstRoi, pBuffer);
}

MoxStatus moxiWTFwd_D97_JPEG2K_16s_C1IR(Mox16s* pSrcDst, int32_t srcDstStep, const MoxRect* pRoi, Mox8u* pBuffer) {
  return wtInPlace(kernels::wt97().plane16s.forwardInPlace, pSrcDst, srcDstStep, pRoi, pBuffer);
}

MoxStatus moxiWTInv_D97_JPEG2K_16s_C1IR(Mox16s* pSrcDst, int32_t srcDstStep, const MoxRect* pRoi, Mox8u* pBuffer) {
  return wtInPlace(kernels::wt97().plane16s.inverseInPlace, pSrcDst, srcDstStep, pRoi, pBuffer);
}

MoxStatus moxiWTFwd_D97_JPEG2K_32s_C1IR(Mox32s* pSrcDst, int32_t srcDstStep, const MoxRect* pRoi, Mox8u* pBuffer) {
  return wtInPlace(kernels::wt97().plane32s.forwardInPlace, pSrcDst, srcDstStep, pRoi, pBuffer);
}

MoxStatus moxiWTInv_D97_JPEG2K_32s_C1IR(Mox32s* pSrcDst, int32_t srcDstStep, const MoxRect* pRoi, Mox8u* pBuffer) {
  return wtInPlace(kernels::wt97().plane32s.inverseInPlace, pSrcDst, srcDstStep, pRoi, pBuffer);
}

MoxStatus moxiWTFwdRow_D97_JPEG2K_16s_C1R(const Mox16s* pSrc, int32_t srcStep, Mox16s* pDstLow, int32_t dstLowStep,
                                          Mox16s* pDstHigh, int32_t dstHighStep, MoxRoiSize dstRoiSize,
                                          uint32_t phase) {
  return wtForwardRows(kernels::wt97().row16s, pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize,
                       phase);
}

MoxStatus moxiWTInvRow_D97_JPEG2K_16s_C1R(const Mox16s* pSrcLow, int32_t srcLowStep, const Mox16s* pSrcHigh,
                                          int32_t srcHighStep, MoxRoiSize srcRoiSize, Mox16s* pDst, int32_t dstStep,
                                          uint32_t phase) {
  return wtInverseRows(kernels::wt97().row16s, pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep,
                       phase);
}

MoxStatus moxiWTFwdRow_D97_JPEG2K_32s_C1R(const Mox32s* pSrc, int32_t srcStep, Mox32s* pDstLow, int32_t dstLowStep,
                                          Mox32s* pDstHigh, int32_t dstHighStep, MoxRoiSize dstRoiSize,
                                          uint32_t phase) {
  return wtForwardRows(kernels::wt97().row32s, pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize,
                       phase);
}

MoxStatus moxiWTInvRow_D97_JPEG2K_32s_C1R(const Mox32s* pSrcLow, int32_t srcLowStep, const Mox32s* pSrcHigh,
                                          int32_t srcHighStep, MoxRoiSize srcRoiSize, Mox32s* pDst, int32_t dstStep,
                                          uint32_t phase) {
  return wtInverseRows(kernels::wt97().row32s, pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep,
                       phase);
}

MoxStatus moxiWTFwdRow_D97_JPEG2K_32f_C1R(const Mox32f* pSrc, int32_t srcStep, Mox32f* pDstLow, int32_t dstLowStep,
                                          Mox32f* pDstHigh, int32_t dstHighStep, MoxRoiSize dstRoiSize,
                                          uint32_t phase) {
  return wtForwardRows(kernels::wt97().row32f, pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize,
                       phase);
}

MoxStatus moxiWTInvRow_D97_JPEG2K_32f_C1R(const Mox32f* pSrcLow, int32_t srcLowStep, const Mox32f* pSrcHigh,
                                          int32_t srcHighStep, MoxRoiSize srcRoiSize, Mox32f* pDst, int32_t dstStep,
                                          uint32_t phase) {
  return wtInverseRows(kernels::wt97().row32f, pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep,
                       phase);
}

MoxStatus moxiWTFwdCol_D97_JPEG2K_32f_C1R(const Mox32f* pSrc, int32_t srcStep, Mox32f* pDstLow, int32_t dstLowStep,
                                          Mox32f* pDstHigh, int32_t dstHighStep, MoxRoiSize dstRoiSize,
                                          uint32_t phase) {
  return wtForwardColumns(kernels::wt97().column32f, pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep,
                          dstRoiSize, phase);
}

MoxStatus moxiWTInvCol_D97_JPEG2K_32f_C1R(const Mox32f* pSrcLow, int32_t srcLowStep, const Mox32f* pSrcHigh,
                                          int32_t srcHighStep, MoxRoiSize srcRoiSize, Mox32f* pDst, int32_t dstStep,
                                          uint32_t phase) {
  return wtInverseColumns(kernels::wt97().column32f, pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst,
                          dstStep, phase);
}

MoxStatus moxiWTFwdColLift_D97_JPEG2K_16s_C1(const Mox16s* pSrc0, const Mox16s* pSrc1, const Mox16s* pSrc2,
                                             Mox16s* pLowPrev, Mox16s* pDstEven, Mox16s* pHighPrev, Mox16s* pOddPrev,
                                             Mox16s* pDstOdd, int32_t width) {
  return wtLift(kernels::wt97().lift16s.forward, width, pSrc0, pSrc1, pSrc2, pLowPrev, pDstEven, pHighPrev, pOddPrev,
                pDstOdd);
}

MoxStatus moxiWTInvColLift_D97_JPEG2K_16s_C1(const Mox16s* pSrc0, const Mox16s* pSrc1, const Mox16s* pSrc2,
                                             Mox16s* pDstEven, Mox16s* pEvenPrev, const Mox16s* pEvenLast,
                                             Mox16s* pDstOdd, Mox16s* pOddPrev, int32_t width) {
  return wtLift(kernels::wt97().lift16s.inverse, width, pSrc0, pSrc1, pSrc2, pDstEven, pEvenPrev, pEvenLast, pDstOdd,
                pOddPrev);
}

MoxStatus moxiWTFwdColLift_D97_JPEG2K_32s_C1(const Mox32s* pSrc0, const Mox32s* pSrc1, const Mox32s* pSrc2,
                                             Mox32s* pLowPrev, Mox32s* pDstEven, Mox32s* pHighPrev, Mox32s* pOddPrev,
                                             Mox32s* pDstOdd, int32_t width) {
  return wtLift(kernels::wt97().lift32s.forward, width, pSrc0, pSrc1, pSrc2, pLowPrev, pDstEven, pHighPrev, pOddPrev,
                pDstOdd);
}

MoxStatus moxiWTInvColLift_D97_JPEG2K_32s_C1(const Mox32s* pSrc0, const Mox32s* pSrc1, const Mox32s* pSrc2,
                                             Mox32s* pDstEven, Mox32s* pEvenPrev, const Mox32s* pEvenLast,
                                             Mox32s* pDstOdd, Mox32s* pOddPrev, int32_t width) {
  return wtLift(kernels::wt97().lift32s.inverse, width, pSrc0, pSrc1, pSrc2, pDstEven, pEvenPrev, pEvenLast, pDstOdd,
                pOddPrev);
}

MoxStatus moxiWTFwdColLift_D97_JPEG2K_32f_C1(const Mox32f* pSrc0, const Mox32f* pSrc1, const Mox32f* pSrc2,
                                             Mox32f* pLowPrev, Mox32f* pDstEven, Mox32f* pHighPrev, Mox32f* pOddPrev,
                                             Mox32f* pDstOdd, int32_t width) {
  return wtLift(kernels::wt97().lift32f.forward, width, pSrc0, pSrc1, pSrc2, pLowPrev, pDstEven, pHighPrev, pOddPrev,
                pDstOdd);
}

MoxStatus moxiWTInvColLift_D97_JPEG2K_32f_C1(const Mox32f* pSrc0, const Mox32f* pSrc1, const Mox32f* pSrc2,
                                             Mox32f* pDstEven, Mox32f* pEvenPrev, const Mox32f* pEvenLast,
                                             Mox32f* pDstOdd, Mox32f* pOddPrev, int32_t width) {
  return wtLift(kernels::wt97().lift32f.inverse, width, pSrc0, pSrc1, pSrc2, pDstEven, pEvenPrev, pEvenLast, pDstOdd,
                pOddPrev);
}
