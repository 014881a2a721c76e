// What the colour functions share: their argument checks and their loops over rows, by the layout of the two images.
#pragma once

#include "check.h"
#include "rows.h"

namespace mox {

// The pointers to row `y` of each plane.
template <int Count, class Sample>
struct PlaneRows {
  Sample* rows[Count];

  PlaneRows(Sample* const* planes, int32_t step, int y) {
    for (int i = 0; i < Count; i++) rows[i] = rowAt(planes[i], step, y);
  }
};

// Whether threads share the rows, or the calling thread converts them all.
enum class Rows { shared, serial };

template <Rows How, class Row>
void eachRow(MoxRoiSize roi, const Row& row) {
  if constexpr (How == Rows::shared) {
    forEachRow(roi, row);
  } else {
    for (int y = 0; y < roi.height; y++) row(y);
  }
}

// All pointers, those inside the arrays of planes included, are tested before any step.
template <int Planes, Rows How = Rows::shared, class Pixel>
MoxStatus pixelsToPlanes(void (*convert)(const Pixel*, Mox8u* const*, int), const Pixel* pSrc, int32_t srcStep,
                         Mox8u* const* pDst, int32_t dstStep, MoxRoiSize roi) {
  if (const MoxStatus bad =
          Check().pointers(pSrc, pDst).template planes<Planes>(pDst).steps(srcStep, dstStep).size(roi))
    return bad;
  eachRow<How>(roi, [=](int y) {
    convert(rowAt(pSrc, srcStep, y), PlaneRows<Planes, Mox8u>(pDst, dstStep, y).rows, roi.width);
  });
  return moxStatusOk;
}

template <int Planes, Rows How = Rows::shared, class Pixel>
MoxStatus planesToPixels(void (*convert)(const Mox8u* const*, Pixel*, int), const Mox8u* const* pSrc, int32_t srcStep,
                         Pixel* pDst, int32_t dstStep, MoxRoiSize roi) {
  if (const MoxStatus bad =
          Check().pointers(pSrc, pDst).template planes<Planes>(pSrc).steps(srcStep, dstStep).size(roi))
    return bad;
  eachRow<How>(roi, [=](int y) {
    convert(PlaneRows<Planes, const Mox8u>(pSrc, srcStep, y).rows, rowAt(pDst, dstStep, y), roi.width);
  });
  return moxStatusOk;
}

template <int Planes>
MoxStatus planesToPlanes(void (*convert)(const Mox8u* const*, Mox8u* const*, int), const Mox8u* const* pSrc,
                         int32_t srcStep, Mox8u* const* pDst, int32_t dstStep, MoxRoiSize roi) {
  if (const MoxStatus bad = Check()
                                .pointers(pSrc, pDst)
                                .template planes<Planes>(pSrc)
                                .template planes<Planes>(pDst)
                                .steps(srcStep, dstStep)
                                .size(roi))
    return bad;
  forEachRow(roi, [=](int y) {
    convert(PlaneRows<Planes, const Mox8u>(pSrc, srcStep, y).rows, PlaneRows<Planes, Mox8u>(pDst, dstStep, y).rows,
            roi.width);
  });
  return moxStatusOk;
}

}  // namespace mox
