// Level shift on the encoder's side: unsigned samples to signed values.
#include "frame/check.h"
#include "frame/rows.h"
#include "kernels/colour/shift.h"
#include "kernels/dispatch.h"

namespace mox {
namespace {

void ownmj_Sub128_JPEG_8u16s_C1R(const Mox8u* pSrc, int32_t srcStep, Mox16s* pDst, int32_t dstStep, MoxRoiSize roi) {
  const auto shift = kernels::shift().sub128;
  forEachRow(roi, [=](int y) { shift(rowAt(pSrc, srcStep, y), rowAt(pDst, dstStep, y), roi.width); });
}

}  // namespace
}  // namespace mox

using namespace mox;

MoxStatus moxiSub128_JPEG_8u16s_C1R(const Mox8u* pSrc, int32_t srcStep, Mox16s* pDst, int32_t dstStep,
                                    MoxRoiSize roiSize) {
  if (const MoxStatus bad = Check().pointers(pSrc).steps(srcStep).pointers(pDst).steps(dstStep).size(roiSize))
    return bad;
  ownmj_Sub128_JPEG_8u16s_C1R(pSrc, srcStep, pDst, dstStep, roiSize);
  return moxStatusOk;
}
