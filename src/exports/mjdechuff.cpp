// Sequential Huffman decoding of 8x8 blocks.
#include "frame/check.h"
#include "kernels/dispatch.h"
#include "kernels/entropy/huffdec.h"

using namespace mox;

MoxStatus moxiDecodeHuffman8x8_JPEG_1u16s_C1(const Mox8u* pSrc, int32_t srcLen, int32_t* pSrcCurPos, Mox16s* pDst,
                                             Mox16s* pLastDC, int32_t* pMarker, const MoxDecodeHuffmanSpec* pDCTable,
                                             const MoxDecodeHuffmanSpec* pACTable, MoxDecodeHuffmanState* pState) {
  if (const MoxStatus bad = Check()
                                .pointers(pSrc)
                                .argument(srcLen >= 0)
                                .pointers(pSrcCurPos, pDst, pLastDC, pMarker, pDCTable, pACTable, pState)
                                .atLeast(pSrcCurPos, 0, moxStatusBadArgument))
    return bad;
  return kernels::huffDecode().block(pSrc, srcLen, pSrcCurPos, pDst, pLastDC, pMarker, pDCTable, pACTable, pState);
}

MoxStatus moxiDecodeHuffman8x8_Direct_JPEG_1u16s_C1(const Mox8u* pSrc, int32_t* pSrcCurBitPos, Mox16s* pDst,
                                                    Mox16s* pLastDC, int32_t* pMarker, Mox32u* pPrefetchedBits,
                                                    int32_t* pNumValidBits, const MoxDecodeHuffmanSpec* pDCTable,
                                                    const MoxDecodeHuffmanSpec* pACTable) {
  if (const MoxStatus bad = Check()
                                .pointers(pSrc, pSrcCurBitPos)
                                .atLeast(pSrcCurBitPos, 0, moxStatusBadArgument)
                                .pointers(pDst, pLastDC, pMarker, pPrefetchedBits, pNumValidBits)
                                .atLeast(pNumValidBits, 0, moxStatusBadArgument)
                                .pointers(pDCTable, pACTable))
    return bad;
  return kernels::huffDecode().direct(pSrc, pSrcCurBitPos, pDst, pLastDC, pMarker, pPrefetchedBits, pNumValidBits,
                                      pDCTable, pACTable);
}
