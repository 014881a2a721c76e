/* Declarations that will join moxj.h with the JPEG 2000 functions; not exported yet. */
#ifndef MOXJ_NEXT_COMPONENTS_H
#define MOXJ_NEXT_COMPONENTS_H

#include "moxj.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- JPEG 2000 component transforms (ISO/IEC 15444-1, Annex G) ------------------------------------------------ */

/*
 * The transforms of the first three components of a tile, without the level shift, which is the caller's. Colour side:
 * R, G, B; other side: Y and the two chroma components (RCT: B - G, then R - G; ICT: Cb, then Cr).
 *
 *   RCT   Y = (R + 2G + B) >> 2; exactly reversible; sums in 32 bits, wrapping. The 16s members keep the low 16 bits:
 *         reversible as long as the differences fit.
 *   ICT   16s and 32s: weights and rounding with 14 fraction bits, sums in 32 bits, nothing saturates. 32f: single
 *         precision, products summed from left to right, the same bits on every processor.
 *
 * C3P3R, P3C3R: pSrc or pDst is an interleaved image, the other an array of three planes that share one row step.
 * P3IR: three planes in place. Steps are in bytes; rows need no alignment.
 * The 32s members of the RCT share out their rows among threads above 8192 pixels (see moxcore.h).
 *
 * Tested in this order: an image or array pointer, then a plane pointer null: moxStatusNullPointer; a step below 1
 * (source, then destination): moxStatusBadStep; width or height below 1: moxStatusBadSize.
 */
MoxStatus moxiRCTFwd_JPEG2K_16s_C3P3R(
    const Mox16s* pSrc, int32_t srcStep, Mox16s* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MoxStatus moxiRCTFwd_JPEG2K_32s_C3P3R(
    const Mox32s* pSrc, int32_t srcStep, Mox32s* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MoxStatus moxiICTFwd_JPEG2K_32f_C3P3R(
    const Mox32f* pSrc, int32_t srcStep, Mox32f* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MoxStatus moxiRCTInv_JPEG2K_16s_P3C3R(
    const Mox16s* const pSrc[3], int32_t srcStep, Mox16s* pDst, int32_t dstStep, MoxRoiSize roiSize);
MoxStatus moxiRCTInv_JPEG2K_32s_P3C3R(
    const Mox32s* const pSrc[3], int32_t srcStep, Mox32s* pDst, int32_t dstStep, MoxRoiSize roiSize);
MoxStatus moxiICTInv_JPEG2K_32f_P3C3R(
    const Mox32f* const pSrc[3], int32_t srcStep, Mox32f* pDst, int32_t dstStep, MoxRoiSize roiSize);
MoxStatus moxiRCTFwd_JPEG2K_16s_P3IR(Mox16s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MoxStatus moxiRCTFwd_JPEG2K_32s_P3IR(Mox32s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MoxStatus moxiRCTInv_JPEG2K_16s_P3IR(Mox16s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MoxStatus moxiRCTInv_JPEG2K_32s_P3IR(Mox32s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MoxStatus moxiICTFwd_JPEG2K_16s_P3IR(Mox16s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MoxStatus moxiICTFwd_JPEG2K_32s_P3IR(Mox32s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MoxStatus moxiICTFwd_JPEG2K_32f_P3IR(Mox32f* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MoxStatus moxiICTInv_JPEG2K_16s_P3IR(Mox16s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MoxStatus moxiICTInv_JPEG2K_32s_P3IR(Mox32s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MoxStatus moxiICTInv_JPEG2K_32f_P3IR(Mox32f* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);

#ifdef __cplusplus
}
#endif

#endif
