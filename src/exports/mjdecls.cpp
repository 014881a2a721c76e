// Level shift on the decoder's side: signed values to unsigned samples.
#include "frame/check.h"
#include "frame/rows.h"
#include "kernels/colour/shift.h"
#include "kernels/dispatch.h"

namespace mox {
namespace {

void ownmj_Add128_JPEG_16s8u_C1R(const Mox16s* pSrc, int32_t srcStep, Mox8u* pDst, int32_t dstStep, MoxRoiSize roi) {
  const auto shift = kernels::shift().add128;
  forEachRow(roi, [=](int y) { shift(rowAt(pSrc, srcStep, y), rowAt(pDst, dstStep, y), roi.width); });
}

}  // namespace
}  // namespace mox

using namespace mox;

MoxStatus moxiAdd128_JPEG_16s8u_C1R(const Mox16s* pSrc, int32_t srcStep, Mox8u* pDst, int32_t dstStep,
                                    MoxRoiSize roiSize) {
  if (const MoxStatus bad = Check().pointers(pSrc).steps(srcStep).pointers(pDst).steps(dstStep).size(roiSize))
    return bad;
  ownmj_Add128_JPEG_16s8u_C1R(pSrc, srcStep, pDst, dstStep, roiSize);
  return moxStatusOk;
}
