// The bodies of the exported wavelet functions: checks in order, then the kernel. A pointer to member selects the table
// of kernels.
#pragma once

#include <algorithm>

#include "frame/check.h"
#include "frame/rows.h"
#include "kernels/dispatch.h"
#include "kernels/wavelet/wt.h"

namespace mox {

// Bytes of the line buffer: the longest line and Margin samples on either side, compared as unsigned numbers; nothing
// where both lines are shorter than Shortest.
template <class T, int Shortest, uint32_t Margin>
constexpr uint32_t wtLineBytes(const MoxRect& roi) {
  if (roi.width < Shortest && roi.height < Shortest) return 0;
  const auto bytes = [](int32_t count) { return uint32_t{sizeof(T)} * (static_cast<uint32_t>(count) + 2 * Margin); };
  return std::max(bytes(roi.width), bytes(roi.height));
}

// The same and a copy of the region, each row a multiple of 32; wraps.
template <class T, int Shortest, uint32_t Margin>
constexpr uint32_t wtPlaneAndLineBytes(const MoxRect& roi) {
  const uint32_t row = (uint32_t{sizeof(T)} * static_cast<uint32_t>(roi.width) + 31) & ~uint32_t{31};
  return row * static_cast<uint32_t>(roi.height) + wtLineBytes<T, Shortest, Margin>(roi);
}

inline MoxStatus wtReport(const MoxRect* pRoi, int32_t* pSize, uint32_t (*bytes)(const MoxRect&)) {
  if (const MoxStatus bad = Check().pointers(pRoi, pSize)) return bad;
  *pSize = static_cast<int32_t>(bytes(*pRoi));
  return moxStatusOk;
}

template <class T>
MoxStatus wtForward(const WtPlaneKernels<T>& kernels, const T* pSrc, int32_t srcStep, const MoxRect* pSrcRoi,
                    T* const* pDst, const int32_t* dstStep, Mox8u* pBuffer) {
  if (const MoxStatus bad = Check()
                                .pointers(pSrc, pDst, dstStep, pSrcRoi, pBuffer)
                                .steps(srcStep)
                                .template planes<4>(pDst)
                                .template stepsOf<4>(dstStep)
                                .size(pSrcRoi))
    return bad;
  kernels.forward(pSrc, srcStep, *pSrcRoi, pDst, dstStep, pBuffer);
  return moxStatusOk;
}

template <class T>
MoxStatus wtInverse(const WtPlaneKernels<T>& kernels, const T* const* pSrc, const int32_t* srcStep, T* pDst,
                    int32_t dstStep, const MoxRect* pDstRoi, Mox8u* pBuffer) {
  if (const MoxStatus bad = Check()
                                .pointers(pSrc, pDst, srcStep, pDstRoi, pBuffer)
                                .steps(dstStep)
                                .template planes<4>(pSrc)
                                .template stepsOf<4>(srcStep)
                                .size(pDstRoi))
    return bad;
  kernels.inverse(pSrc, srcStep, pDst, dstStep, *pDstRoi, pBuffer);
  return moxStatusOk;
}

template <class T>
MoxStatus wtInPlace(typename WtPlaneKernels<T>::InPlace transform, T* pSrcDst, int32_t srcDstStep, const MoxRect* pRoi,
                    Mox8u* pBuffer) {
  if (const MoxStatus bad = Check().pointers(pSrcDst).steps(srcDstStep).pointers(pRoi, pBuffer)) return bad;
  transform(pSrcDst, srcDstStep, *pRoi, pBuffer);
  return moxStatusOk;
}

// The three planes of the one-dimensional functions; height is tested before width.
inline MoxStatus wtBad(const void* a, const void* b, const void* c, int32_t stepA, int32_t stepB, int32_t stepC,
                       MoxRoiSize roi) {
  return Check().pointers(a, b, c).steps(stepA, stepB, stepC).length(roi.height).length(roi.width);
}

template <class T>
MoxStatus wtForwardRows(const WtRowKernels<T>& kernels, const T* pSrc, int32_t srcStep, T* pDstLow, int32_t dstLowStep,
                        T* pDstHigh, int32_t dstHighStep, MoxRoiSize roi, uint32_t phase) {
  if (const MoxStatus bad = wtBad(pSrc, pDstLow, pDstHigh, srcStep, dstLowStep, dstHighStep, roi)) return bad;
  for (int y = 0; y < roi.height; y++)
    kernels.forward(rowAt(pSrc, srcStep, y), rowAt(pDstLow, dstLowStep, y), rowAt(pDstHigh, dstHighStep, y), roi.width,
                    phase != 0);
  return moxStatusOk;
}

template <class T>
MoxStatus wtInverseRows(const WtRowKernels<T>& kernels, const T* pSrcLow, int32_t srcLowStep, const T* pSrcHigh,
                        int32_t srcHighStep, MoxRoiSize roi, T* pDst, int32_t dstStep, uint32_t phase) {
  if (const MoxStatus bad = wtBad(pSrcLow, pSrcHigh, pDst, srcLowStep, srcHighStep, dstStep, roi)) return bad;
  for (int y = 0; y < roi.height; y++)
    kernels.inverse(rowAt(pSrcLow, srcLowStep, y), rowAt(pSrcHigh, srcHighStep, y), rowAt(pDst, dstStep, y), roi.width,
                    phase != 0);
  return moxStatusOk;
}

template <class T>
MoxStatus wtForwardColumns(const WtColumnKernels<T>& kernels, const T* pSrc, int32_t srcStep, T* pDstLow,
                           int32_t dstLowStep, T* pDstHigh, int32_t dstHighStep, MoxRoiSize roi, uint32_t phase) {
  if (const MoxStatus bad = wtBad(pSrc, pDstLow, pDstHigh, srcStep, dstLowStep, dstHighStep, roi)) return bad;
  kernels.forward(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, roi, phase != 0);
  return moxStatusOk;
}

template <class T>
MoxStatus wtInverseColumns(const WtColumnKernels<T>& kernels, const T* pSrcLow, int32_t srcLowStep, const T* pSrcHigh,
                           int32_t srcHighStep, MoxRoiSize roi, T* pDst, int32_t dstStep, uint32_t phase) {
  if (const MoxStatus bad = wtBad(pSrcLow, pSrcHigh, pDst, srcLowStep, srcHighStep, dstStep, roi)) return bad;
  kernels.inverse(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, roi, pDst, dstStep, phase != 0);
  return moxStatusOk;
}

// Lifting steps: any number of rows.
template <class Lift, class... Rows>
MoxStatus wtLift(Lift lift, int32_t width, Rows*... rows) {
  if (const MoxStatus bad = Check().pointers(rows...).length(width)) return bad;
  lift(rows..., width);
  return moxStatusOk;
}

}  // namespace mox
