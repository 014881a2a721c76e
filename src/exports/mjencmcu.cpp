// Pixels of one MCU to level-shifted blocks.
#include "frame/check.h"
#include "kernels/colour/mcu.h"
#include "kernels/dispatch.h"

namespace mox {
namespace {

// The step is tested before the planes, unlike on the decoder's side.
template <int Planes, class Pixel>
MoxStatus ownmjPixelsToBlocks(void (*convert)(const Pixel*, int32_t, Mox16s* const[]), const Pixel* pSrc,
                              int32_t srcStep, Mox16s* const* pDst) {
  if (const MoxStatus bad = Check().pointers(pSrc, pDst).steps(srcStep).template planes<Planes>(pDst)) return bad;
  convert(pSrc, srcStep, pDst);
  return moxStatusOk;
}

}  // namespace
}  // namespace mox

using namespace mox;

MoxStatus moxiRGBToYCbCr444LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]) {
  return ownmjPixelsToBlocks<3>(kernels::mcuEncode().rgb[mcu444], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiRGBToYCbCr422LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]) {
  return ownmjPixelsToBlocks<3>(kernels::mcuEncode().rgb[mcu422], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiRGBToYCbCr411LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]) {
  return ownmjPixelsToBlocks<3>(kernels::mcuEncode().rgb[mcu411], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiBGRToYCbCr444LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]) {
  return ownmjPixelsToBlocks<3>(kernels::mcuEncode().bgr[mcu444], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiBGRToYCbCr422LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]) {
  return ownmjPixelsToBlocks<3>(kernels::mcuEncode().bgr[mcu422], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiBGRToYCbCr411LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]) {
  return ownmjPixelsToBlocks<3>(kernels::mcuEncode().bgr[mcu411], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R(const Mox16u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]) {
  return ownmjPixelsToBlocks<3>(kernels::mcuEncode().bgr555[mcu444], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiBGR555ToYCbCr422LS_MCU_16u16s_C3P3R(const Mox16u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]) {
  return ownmjPixelsToBlocks<3>(kernels::mcuEncode().bgr555[mcu422], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiBGR555ToYCbCr411LS_MCU_16u16s_C3P3R(const Mox16u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]) {
  return ownmjPixelsToBlocks<3>(kernels::mcuEncode().bgr555[mcu411], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiBGR565ToYCbCr444LS_MCU_16u16s_C3P3R(const Mox16u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]) {
  return ownmjPixelsToBlocks<3>(kernels::mcuEncode().bgr565[mcu444], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiBGR565ToYCbCr422LS_MCU_16u16s_C3P3R(const Mox16u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]) {
  return ownmjPixelsToBlocks<3>(kernels::mcuEncode().bgr565[mcu422], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiBGR565ToYCbCr411LS_MCU_16u16s_C3P3R(const Mox16u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]) {
  return ownmjPixelsToBlocks<3>(kernels::mcuEncode().bgr565[mcu411], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiCMYKToYCCK444LS_MCU_8u16s_C4P4R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[4]) {
  return ownmjPixelsToBlocks<4>(kernels::mcuEncode().cmyk[mcu444], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiCMYKToYCCK422LS_MCU_8u16s_C4P4R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[4]) {
  return ownmjPixelsToBlocks<4>(kernels::mcuEncode().cmyk[mcu422], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiCMYKToYCCK411LS_MCU_8u16s_C4P4R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[4]) {
  return ownmjPixelsToBlocks<4>(kernels::mcuEncode().cmyk[mcu411], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiSampleDown444LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]) {
  return ownmjPixelsToBlocks<3>(kernels::mcuEncode().sampleDown[mcu444], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiSampleDown422LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]) {
  return ownmjPixelsToBlocks<3>(kernels::mcuEncode().sampleDown[mcu422], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiSampleDown411LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]) {
  return ownmjPixelsToBlocks<3>(kernels::mcuEncode().sampleDown[mcu411], pSrc, srcStep, pDstMCU);
}

MoxStatus moxiSplit422LS_MCU_8u16s_C2P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]) {
  return ownmjPixelsToBlocks<3>(kernels::mcuEncode().split422, pSrc, srcStep, pDstMCU);
}
