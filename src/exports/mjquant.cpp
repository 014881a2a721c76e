// Quantisation tables and the quantisation of single blocks.
#include "frame/check.h"
#include "kernels/bytes.h"
#include "kernels/dct/quant.h"
#include "kernels/dispatch.h"
#include "kernels/entropy/zigzag.h"

namespace mox {
namespace {

// The percentage that the steps of a table are scaled by. A quality of 0 has none: the header forbids it. From 100 on
// every step is 1.
int32_t scaleOfQuality(int32_t quality) {
  if (quality < 50) return 5000 / quality;
  return quality < 100 ? 200 - 2 * quality : 0;
}

Mox8u scaledStep(Mox8u step, int32_t scale) {
  const int32_t scaled = (step * scale + 50) / 100;
  return static_cast<Mox8u>(scaled > 255 ? 255 : scaled < 1 ? 1 : scaled);
}

}  // namespace
}  // namespace mox

using namespace mox;

MoxStatus moxiQuantFwdRawTableInit_JPEG_8u(Mox8u* pRawTable, int32_t quality) {
  if (const MoxStatus bad = Check().pointers(pRawTable)) return bad;
  const int32_t scale = scaleOfQuality(quality);
  for (int k = 0; k < 64; k++) pRawTable[k] = scaledStep(pRawTable[k], scale);
  return moxStatusOk;
}

// Tables of 16-bit elements may begin at odd addresses.

MoxStatus moxiQuantFwdTableInit_JPEG_8u16u(const Mox8u* pRawTable, Mox16u* pFwdTable) {
  if (const MoxStatus bad = Check().pointers(pRawTable, pFwdTable)) return bad;
  MoxStatus status = moxStatusOk;
  for (int i = 0; i < 64; i++) {
    const Mox8u step = pRawTable[kZigZag.index[i]];
    if (step == 0) status = moxStatusDivByZero;
    put(pFwdTable, i, definition::reciprocal(step));
  }
  return status;
}

MoxStatus moxiQuantInvTableInit_JPEG_8u16u(const Mox8u* pRawTable, Mox16u* pInvTable) {
  if (const MoxStatus bad = Check().pointers(pInvTable).pointers(pRawTable)) return bad;
  for (int i = 0; i < 64; i++) put(pInvTable, i, pRawTable[kZigZag.index[i]]);
  return moxStatusOk;
}

MoxStatus moxiQuantFwd8x8_JPEG_16s_C1I(Mox16s* pSrcDst, const Mox16u* pFwdTable) {
  if (const MoxStatus bad = Check().pointers(pSrcDst, pFwdTable)) return bad;
  kernels::quant().forward(pSrcDst, pFwdTable);
  return moxStatusOk;
}

MoxStatus moxiQuantInv8x8_JPEG_16s_C1I(Mox16s* pSrcDst, const Mox16u* pInvTable) {
  if (const MoxStatus bad = Check().pointers(pSrcDst, pInvTable)) return bad;
  kernels::quant().inverse(pSrcDst, pInvTable);
  return moxStatusOk;
}
