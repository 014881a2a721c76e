// Rows of three-component images, interleaved or in planes, for the component transforms.
#pragma once

#include "check.h"
#include "kernels/dispatch.h"
#include "kernels/rct.h"
#include "rows.h"

namespace mox {

// Whether a function shares out its rows: the 32s members of the RCT do, all others stay on the calling thread.
enum class Rows { shared, serial };

template <Rows How, class Row>
void eachRow(MoxRoiSize roi, const Row& row) {
  if constexpr (How == Rows::shared) {
    forEachRow(roi, row);
  } else {
    for (int y = 0; y < roi.height; y++) row(y);
  }
}

template <class T>
struct PlaneRows {
  T* planes[3];
  PlaneRows(T* const first[3], int32_t step, int y)
      : planes{rowAt(first[0], step, y), rowAt(first[1], step, y), rowAt(first[2], step, y)} {}
};

template <auto Kernel, Rows How, class T>
MoxStatus planesInPlace(T* const pSrcDst[3], int32_t step, MoxRoiSize roi) {
  if (const MoxStatus bad = Check().pointers(pSrcDst).template planes<3>(pSrcDst).steps(step).size(roi)) return bad;
  const auto transform = kernels::rct().*Kernel;
  eachRow<How>(roi, [=](int y) { transform(PlaneRows<T>(pSrcDst, step, y).planes, roi.width); });
  return moxStatusOk;
}

template <auto Kernel, Rows How, class T>
MoxStatus pixelsToPlanes(const T* pSrc, int32_t srcStep, T* const pDst[3], int32_t dstStep, MoxRoiSize roi) {
  if (const MoxStatus bad = Check().pointers(pSrc, pDst).template planes<3>(pDst).steps(srcStep, dstStep).size(roi))
    return bad;
  const auto transform = kernels::rct().*Kernel;
  eachRow<How>(roi,
               [=](int y) { transform(rowAt(pSrc, srcStep, y), PlaneRows<T>(pDst, dstStep, y).planes, roi.width); });
  return moxStatusOk;
}

template <auto Kernel, Rows How, class T>
MoxStatus planesToPixels(const T* const pSrc[3], int32_t srcStep, T* pDst, int32_t dstStep, MoxRoiSize roi) {
  if (const MoxStatus bad = Check().pointers(pSrc, pDst).template planes<3>(pSrc).steps(srcStep, dstStep).size(roi))
    return bad;
  const auto transform = kernels::rct().*Kernel;
  eachRow<How>(roi, [=](int y) {
    transform(PlaneRows<const T>(pSrc, srcStep, y).planes, rowAt(pDst, dstStep, y), roi.width);
  });
  return moxStatusOk;
}

}  // namespace mox
