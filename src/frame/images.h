// What the functions over whole images share: their argument checks and their loops over rows, by the layout of the
// images. All pointers, those inside arrays of planes included, are tested before any step.
#pragma once

#include "frame/check.h"
#include "frame/rows.h"

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
enum class RowLoop { shared, serial };

template <RowLoop Loop, class Row>
void eachRow(MoxRoiSize roi, const Row& row) {
  if constexpr (Loop == RowLoop::shared) {
    forEachRow(roi, row);
  } else {
    for (int y = 0; y < roi.height; y++) row(y);
  }
}

template <int Planes, RowLoop Loop = RowLoop::shared, class Pixel, class Sample>
MoxStatus pixelsToPlanes(void (*convert)(const Pixel*, Sample* const*, int), const Pixel* pSrc, int32_t srcStep,
                         Sample* const* pDst, int32_t dstStep, MoxRoiSize roi) {
  if (const MoxStatus bad =
          Check().pointers(pSrc, pDst).template planes<Planes>(pDst).steps(srcStep, dstStep).size(roi))
    return bad;
  eachRow<Loop>(roi, [=](int y) {
    convert(rowAt(pSrc, srcStep, y), PlaneRows<Planes, Sample>(pDst, dstStep, y).rows, roi.width);
  });
  return moxStatusOk;
}

template <int Planes, RowLoop Loop = RowLoop::shared, class Sample, class Pixel>
MoxStatus planesToPixels(void (*convert)(const Sample* const*, Pixel*, int), const Sample* const* pSrc, int32_t srcStep,
                         Pixel* pDst, int32_t dstStep, MoxRoiSize roi) {
  if (const MoxStatus bad =
          Check().pointers(pSrc, pDst).template planes<Planes>(pSrc).steps(srcStep, dstStep).size(roi))
    return bad;
  eachRow<Loop>(roi, [=](int y) {
    convert(PlaneRows<Planes, const Sample>(pSrc, srcStep, y).rows, rowAt(pDst, dstStep, y), roi.width);
  });
  return moxStatusOk;
}

template <int Planes, class Sample>
MoxStatus planesToPlanes(void (*convert)(const Sample* const*, Sample* const*, int), const Sample* const* pSrc,
                         int32_t srcStep, Sample* const* pDst, int32_t dstStep, MoxRoiSize roi) {
  if (const MoxStatus bad = Check()
                                .pointers(pSrc, pDst)
                                .template planes<Planes>(pSrc)
                                .template planes<Planes>(pDst)
                                .steps(srcStep, dstStep)
                                .size(roi))
    return bad;
  forEachRow(roi, [=](int y) {
    convert(PlaneRows<Planes, const Sample>(pSrc, srcStep, y).rows, PlaneRows<Planes, Sample>(pDst, dstStep, y).rows,
            roi.width);
  });
  return moxStatusOk;
}

template <int Planes, RowLoop Loop, class Sample>
MoxStatus planesInPlace(void (*convert)(Sample* const*, int), Sample* const* pSrcDst, int32_t step, MoxRoiSize roi) {
  if (const MoxStatus bad = Check().pointers(pSrcDst).template planes<Planes>(pSrcDst).steps(step).size(roi))
    return bad;
  eachRow<Loop>(roi, [=](int y) { convert(PlaneRows<Planes, Sample>(pSrcDst, step, y).rows, roi.width); });
  return moxStatusOk;
}

}  // namespace mox
