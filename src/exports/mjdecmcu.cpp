// Level-shifted blocks of one MCU to its pixels.
#include "frame/check.h"
#include "kernels/colour/mcu.h"
#include "kernels/dispatch.h"

namespace mox {
namespace {

// The planes are tested before the step, unlike on the encoder's side.
template <int Planes, class Pixel>
MoxStatus ownmjBlocksToPixels(void (*convert)(const Mox16s* const[], Pixel*, int32_t), const Mox16s* const* pSrc,
                              Pixel* pDst, int32_t dstStep) {
  if (const MoxStatus bad = Check().pointers(pSrc, pDst).template planes<Planes>(pSrc).steps(dstStep)) return bad;
  convert(pSrc, pDst, dstStep);
  return moxStatusOk;
}

}  // namespace
}  // namespace mox

using namespace mox;

MoxStatus moxiYCbCr444ToRGBLS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<3>(kernels::mcuDecode().rgb[mcu444], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiYCbCr422ToRGBLS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<3>(kernels::mcuDecode().rgb[mcu422], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiYCbCr411ToRGBLS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<3>(kernels::mcuDecode().rgb[mcu411], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiYCbCr444ToBGRLS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<3>(kernels::mcuDecode().bgr[mcu444], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiYCbCr422ToBGRLS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<3>(kernels::mcuDecode().bgr[mcu422], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiYCbCr411ToBGRLS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<3>(kernels::mcuDecode().bgr[mcu411], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R(const Mox16s* const pSrcMCU[3], Mox16u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<3>(kernels::mcuDecode().bgr555[mcu444], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiYCbCr422ToBGR555LS_MCU_16s16u_P3C3R(const Mox16s* const pSrcMCU[3], Mox16u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<3>(kernels::mcuDecode().bgr555[mcu422], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiYCbCr411ToBGR555LS_MCU_16s16u_P3C3R(const Mox16s* const pSrcMCU[3], Mox16u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<3>(kernels::mcuDecode().bgr555[mcu411], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiYCbCr444ToBGR565LS_MCU_16s16u_P3C3R(const Mox16s* const pSrcMCU[3], Mox16u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<3>(kernels::mcuDecode().bgr565[mcu444], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiYCbCr422ToBGR565LS_MCU_16s16u_P3C3R(const Mox16s* const pSrcMCU[3], Mox16u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<3>(kernels::mcuDecode().bgr565[mcu422], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiYCbCr411ToBGR565LS_MCU_16s16u_P3C3R(const Mox16s* const pSrcMCU[3], Mox16u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<3>(kernels::mcuDecode().bgr565[mcu411], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiYCCK444ToCMYKLS_MCU_16s8u_P4C4R(const Mox16s* const pSrcMCU[4], Mox8u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<4>(kernels::mcuDecode().cmyk[mcu444], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiYCCK422ToCMYKLS_MCU_16s8u_P4C4R(const Mox16s* const pSrcMCU[4], Mox8u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<4>(kernels::mcuDecode().cmyk[mcu422], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiYCCK411ToCMYKLS_MCU_16s8u_P4C4R(const Mox16s* const pSrcMCU[4], Mox8u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<4>(kernels::mcuDecode().cmyk[mcu411], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiSampleUp444LS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<3>(kernels::mcuDecode().sampleUp[mcu444], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiSampleUp422LS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<3>(kernels::mcuDecode().sampleUp[mcu422], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiSampleUp411LS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<3>(kernels::mcuDecode().sampleUp[mcu411], pSrcMCU, pDst, dstStep);
}

MoxStatus moxiJoin422LS_MCU_16s8u_P3C2R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep) {
  return ownmjBlocksToPixels<3>(kernels::mcuDecode().join422, pSrcMCU, pDst, dstStep);
}
