// Sequential Huffman coding of 8x8 blocks, and the counting of their symbols.
#include "frame/check.h"
#include "kernels/dispatch.h"
#include "kernels/entropy/huffenc.h"

using namespace mox;

MoxStatus moxiEncodeHuffman8x8_JPEG_16s1u_C1(const Mox16s* pSrc, Mox8u* pDst, int32_t dstLen, int32_t* pDstCurPos,
                                             Mox16s* pLastDC, const MoxEncodeHuffmanSpec* pDCTable,
                                             const MoxEncodeHuffmanSpec* pACTable, MoxEncodeHuffmanState* pState,
                                             int32_t flush) {
  // Two chains: a block takes fewer instructions than with one that skips its last links.
  if (const MoxStatus bad = Check().pointers(pDst).length(dstLen).pointers(pDstCurPos, pState)) return bad;
  if (flush) [[unlikely]]
    return definition::flushBits(pDst, dstLen, pDstCurPos, pState);
  if (const MoxStatus bad = Check().pointers(pSrc, pLastDC, pDCTable, pACTable)) return bad;
  return kernels::huffEncode().block(pSrc, pDst, dstLen, pDstCurPos, pLastDC, pDCTable, pACTable, pState);
}

MoxStatus moxiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const Mox16s* pSrc, Mox8u* pDst, int32_t* pDstCurBitPos,
                                                    Mox16s* pLastDC, const MoxEncodeHuffmanSpec* pDCTable,
                                                    const MoxEncodeHuffmanSpec* pACTable) {
  if (const MoxStatus bad = Check().pointers(pSrc, pDst, pDstCurBitPos, pLastDC, pDCTable, pACTable)) return bad;
  kernels::huffEncode().direct(pSrc, pDst, pDstCurBitPos, pLastDC, pDCTable, pACTable);
  return moxStatusOk;
}

MoxStatus moxiGetHuffmanStatistics8x8_JPEG_16s_C1(const Mox16s* pSrc, int32_t pDCFreq[256], int32_t pACFreq[256],
                                                  Mox16s* pLastDC) {
  if (const MoxStatus bad = Check().pointers(pSrc, pDCFreq, pACFreq, pLastDC)) return bad;
  kernels::huffEncode().statistics(pSrc, pDCFreq, pACFreq, pLastDC);
  return moxStatusOk;
}
