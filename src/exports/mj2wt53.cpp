// The reversible 5/3 wavelet of JPEG 2000.
#include "exports/mj2wt.h"

using namespace mox;

MoxStatus moxiWTGetBufSize_B53_JPEG2K_16s_C1IR(const MoxRect* pRoi, int32_t* pSize) {
  return wtReport(pRoi, pSize, wtLineBytes<Mox16s, 3, 2>);
}

MoxStatus moxiWTGetBufSize_B53_JPEG2K_16s_C1R(const MoxRect* pRoi, int32_t* pSize) {
  return wtReport(pRoi, pSize, wtPlaneAndLineBytes<Mox16s, 3, 2>);
}

MoxStatus moxiWTGetBufSize_B53_JPEG2K_32s_C1IR(const MoxRect* pRoi, int32_t* pSize) {
  return wtReport(pRoi, pSize, wtLineBytes<Mox32s, 3, 2>);
}

MoxStatus moxiWTGetBufSize_B53_JPEG2K_32s_C1R(const MoxRect* pRoi, int32_t* pSize) {
  return wtReport(pRoi, pSize, wtPlaneAndLineBytes<Mox32s, 3, 2>);
}

MoxStatus moxiWTFwd_B53_JPEG2K_16s_C1R(const Mox16s* pSrc, int32_t srcStep, const MoxRect* pSrcRoi,
                                       Mox16s* const pDst[4], const int32_t dstStep[4], Mox8u* pBuffer) {
  return wtForward(kernels::wt53().plane16s, pSrc, srcStep, pSrcRoi, pDst, dstStep, pBuffer);
}

MoxStatus moxiWTInv_B53_JPEG2K_16s_C1R(const Mox16s* const pSrc[4], const int32_t srcStep[4], Mox16s* pDst,
                                       int32_t dstStep, const MoxRect* pDstRoi, Mox8u* pBuffer) {
  return wtInverse(kernels::wt53().plane16s, pSrc, srcStep, pDst, dstStep, pDstRoi, pBuffer);
}

MoxStatus moxiWTFwd_B53_JPEG2K_32s_C1R(const Mox32s* pSrc, int32_t srcStep, const MoxRect* pSrcRoi,
                                       Mox32s* const pDst[4], const int32_t dstStep[4], Mox8u* pBuffer) {
  return wtForward(kernels::wt53().plane32s, pSrc, srcStep, pSrcRoi, pDst, dstStep, pBuffer);
}

MoxStatus moxiWTInv_B53_JPEG2K_32s_C1R(const Mox32s* const pSrc[4], const int32_t srcStep[4], Mox32s* pDst,
                                       int32_t dstStep, const MoxRect* pDstRoi, Mox8u* pBuffer) {
  return wtInverse(kernels::wt53().plane32s, pSrc, srcStep, pDst, dstStep, pDstRoi, pBuffer);
}

MoxStatus moxiWTFwd_B53_JPEG2K_16s_C1IR(Mox16s* pSrcDst, int32_t srcDstStep, const MoxRect* pRoi, Mox8u* pBuffer) {
  return wtInPlace(kernels::wt53().plane16s.forwardInPlace, pSrcDst, srcDstStep, pRoi, pBuffer);
}

MoxStatus moxiWTInv_B53_JPEG2K_16s_C1IR(Mox16s* pSrcDst, int32_t srcDstStep, const MoxRect* pRoi, Mox8u* pBuffer) {
  return wtInPlace(kernels::wt53().plane16s.inverseInPlace, pSrcDst, srcDstStep, pRoi, pBuffer);
}

MoxStatus moxiWTFwd_B53_JPEG2K_32s_C1IR(Mox32s* pSrcDst, int32_t srcDstStep, const MoxRect* pRoi, Mox8u* pBuffer) {
  return wtInPlace(kernels::wt53().plane32s.forwardInPlace, pSrcDst, srcDstStep, pRoi, pBuffer);
}

MoxStatus moxiWTInv_B53_JPEG2K_32s_C1IR(Mox32s* pSrcDst, int32_t srcDstStep, const MoxRect* pRoi, Mox8u* pBuffer) {
  return wtInPlace(kernels::wt53().plane32s.inverseInPlace, pSrcDst, srcDstStep, pRoi, pBuffer);
}

MoxStatus moxiWTFwdRow_B53_JPEG2K_16s_C1R(const Mox16s* pSrc, int32_t srcStep, Mox16s* pDstLow, int32_t dstLowStep,
                                          Mox16s* pDstHigh, int32_t dstHighStep, MoxRoiSize dstRoiSize,
                                          uint32_t phase) {
  return wtForwardRows(kernels::wt53().row16s, pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize,
                       phase);
}

MoxStatus moxiWTInvRow_B53_JPEG2K_16s_C1R(const Mox16s* pSrcLow, int32_t srcLowStep, const Mox16s* pSrcHigh,
                                          int32_t srcHighStep, MoxRoiSize srcRoiSize, Mox16s* pDst, int32_t dstStep,
                                          uint32_t phase) {
  return wtInverseRows(kernels::wt53().row16s, pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep,
                       phase);
}

MoxStatus moxiWTFwdRow_B53_JPEG2K_32s_C1R(const Mox32s* pSrc, int32_t srcStep, Mox32s* pDstLow, int32_t dstLowStep,
                                          Mox32s* pDstHigh, int32_t dstHighStep, MoxRoiSize dstRoiSize,
                                          uint32_t phase) {
  return wtForwardRows(kernels::wt53().row32s, pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize,
                       phase);
}

MoxStatus moxiWTInvRow_B53_JPEG2K_32s_C1R(const Mox32s* pSrcLow, int32_t srcLowStep, const Mox32s* pSrcHigh,
                                          int32_t srcHighStep, MoxRoiSize srcRoiSize, Mox32s* pDst, int32_t dstStep,
                                          uint32_t phase) {
  return wtInverseRows(kernels::wt53().row32s, pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep,
                       phase);
}

MoxStatus moxiWTFwdCol_B53_JPEG2K_16s_C1R(const Mox16s* pSrc, int32_t srcStep, Mox16s* pDstLow, int32_t dstLowStep,
                                          Mox16s* pDstHigh, int32_t dstHighStep, MoxRoiSize dstRoiSize,
                                          uint32_t phase) {
  return wtForwardColumns(kernels::wt53().column16s, pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep,
                          dstRoiSize, phase);
}

MoxStatus moxiWTInvCol_B53_JPEG2K_16s_C1R(const Mox16s* pSrcLow, int32_t srcLowStep, const Mox16s* pSrcHigh,
                                          int32_t srcHighStep, MoxRoiSize srcRoiSize, Mox16s* pDst, int32_t dstStep,
                                          uint32_t phase) {
  return wtInverseColumns(kernels::wt53().column16s, pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst,
                          dstStep, phase);
}

MoxStatus moxiWTFwdCol_B53_JPEG2K_32s_C1R(const Mox32s* pSrc, int32_t srcStep, Mox32s* pDstLow, int32_t dstLowStep,
                                          Mox32s* pDstHigh, int32_t dstHighStep, MoxRoiSize dstRoiSize,
                                          uint32_t phase) {
  return wtForwardColumns(kernels::wt53().column32s, pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep,
                          dstRoiSize, phase);
}

MoxStatus moxiWTInvCol_B53_JPEG2K_32s_C1R(const Mox32s* pSrcLow, int32_t srcLowStep, const Mox32s* pSrcHigh,
                                          int32_t srcHighStep, MoxRoiSize srcRoiSize, Mox32s* pDst, int32_t dstStep,
                                          uint32_t phase) {
  return wtInverseColumns(kernels::wt53().column32s, pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst,
                          dstStep, phase);
}

MoxStatus moxiWTFwdColLift_B53_JPEG2K_16s_C1(const Mox16s* pSrc0, const Mox16s* pSrc1, const Mox16s* pSrc2,
                                             Mox16s* pDstLow, const Mox16s* pSrcHighPrev, Mox16s* pDstHigh,
                                             int32_t width) {
  return wtLift(kernels::wt53().lift16s.forward, width, pSrc0, pSrc1, pSrc2, pDstLow, pSrcHighPrev, pDstHigh);
}

MoxStatus moxiWTInvColLift_B53_JPEG2K_16s_C1(const Mox16s* pSrcLow, const Mox16s* pSrcHighPrev, const Mox16s* pSrcHigh,
                                             const Mox16s* pSrcEvenPrev, Mox16s* pDstOdd, Mox16s* pDstEven,
                                             int32_t width) {
  return wtLift(kernels::wt53().lift16s.inverse, width, pSrcLow, pSrcHighPrev, pSrcHigh, pSrcEvenPrev, pDstOdd,
                pDstEven);
}

MoxStatus moxiWTFwdColLift_B53_JPEG2K_32s_C1(const Mox32s* pSrc0, const Mox32s* pSrc1, const Mox32s* pSrc2,
                                             Mox32s* pDstLow, const Mox32s* pSrcHighPrev, Mox32s* pDstHigh,
                                             int32_t width) {
  return wtLift(kernels::wt53().lift32s.forward, width, pSrc0, pSrc1, pSrc2, pDstLow, pSrcHighPrev, pDstHigh);
}

MoxStatus moxiWTInvColLift_B53_JPEG2K_32s_C1(const Mox32s* pSrcLow, const Mox32s* pSrcHighPrev, const Mox32s* pSrcHigh,
                                             const Mox32s* pSrcEvenPrev, Mox32s* pDstOdd, Mox32s* pDstEven,
                                             int32_t width) {
  return wtLift(kernels::wt53().lift32s.inverse, width, pSrcLow, pSrcHighPrev, pSrcHigh, pSrcEvenPrev, pDstOdd,
                pDstEven);
}
