// Progressive Huffman decoding of 8x8 blocks. Unlike the sequential decoder these refuse an empty source, as a size.
#include "frame/check.h"
#include "kernels/dispatch.h"
#include "kernels/entropy/progdec.h"

using namespace mox;

MoxStatus moxiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(const Mox8u* pSrc, int32_t srcLen, int32_t* pSrcCurPos,
                                                     Mox16s* pDst, Mox16s* pLastDC, int32_t* pMarker, int32_t Al,
                                                     const MoxDecodeHuffmanSpec* pDCTable,
                                                     MoxDecodeHuffmanState* pState) {
  if (const MoxStatus bad = Check()
                                .pointers(pSrc)
                                .length(srcLen)
                                .pointers(pSrcCurPos, pDst, pLastDC, pMarker)
                                .argument(isPointTransform(Al))
                                .pointers(pDCTable, pState)
                                .atLeast(pSrcCurPos, 0, moxStatusBadArgument))
    return bad;
  return kernels::progDecode().dcFirst(pSrc, srcLen, pSrcCurPos, pDst, pLastDC, pMarker, Al, pDCTable, pState);
}

MoxStatus moxiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(const Mox8u* pSrc, int32_t srcLen, int32_t* pSrcCurPos,
                                                      Mox16s* pDst, int32_t* pMarker, int32_t Al,
                                                      MoxDecodeHuffmanState* pState) {
  if (const MoxStatus bad = Check()
                                .pointers(pSrc)
                                .length(srcLen)
                                .pointers(pSrcCurPos, pDst, pMarker)
                                .argument(isPointTransform(Al))
                                .pointers(pState)
                                .atLeast(pSrcCurPos, 0, moxStatusBadArgument))
    return bad;
  return definition::decodeDCRefine(pSrc, srcLen, pSrcCurPos, pDst, pMarker, Al, pState);
}

namespace {

template <auto Kernel>
MoxStatus ownmjDecodeAC(const Mox8u* pSrc, int32_t srcLen, int32_t* pSrcCurPos, Mox16s* pDst, int32_t* pMarker,
                        Band band, const MoxDecodeHuffmanSpec* pACTable, MoxDecodeHuffmanState* pState) {
  if (const MoxStatus bad = Check()
                                .pointers(pSrc)
                                .length(srcLen)
                                .pointers(pSrcCurPos, pDst, pMarker)
                                .argument(isBand(band))
                                .pointers(pACTable, pState)
                                .atLeast(pSrcCurPos, 0, moxStatusBadArgument))
    return bad;
  return (kernels::progDecode().*Kernel)(pSrc, srcLen, pSrcCurPos, pDst, pMarker, band, pACTable, pState);
}

}  // namespace

MoxStatus moxiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(const Mox8u* pSrc, int32_t srcLen, int32_t* pSrcCurPos,
                                                     Mox16s* pDst, int32_t* pMarker, int32_t Ss, int32_t Se, int32_t Al,
                                                     const MoxDecodeHuffmanSpec* pACTable,
                                                     MoxDecodeHuffmanState* pState) {
  return ownmjDecodeAC<&ProgDecodeKernels::acFirst>(pSrc, srcLen, pSrcCurPos, pDst, pMarker, {Ss, Se, Al}, pACTable,
                                                    pState);
}

MoxStatus moxiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(const Mox8u* pSrc, int32_t srcLen, int32_t* pSrcCurPos,
                                                      Mox16s* pDst, int32_t* pMarker, int32_t Ss, int32_t Se,
                                                      int32_t Al, const MoxDecodeHuffmanSpec* pACTable,
                                                      MoxDecodeHuffmanState* pState) {
  return ownmjDecodeAC<&ProgDecodeKernels::acRefine>(pSrc, srcLen, pSrcCurPos, pDst, pMarker, {Ss, Se, Al}, pACTable,
                                                     pState);
}
