// Progressive Huffman coding of 8x8 blocks, and the counting of their symbols.
#include "frame/check.h"
#include "kernels/dispatch.h"
#include "kernels/entropy/progenc.h"

using namespace mox;

MoxStatus moxiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(const Mox16s* pSrc, Mox8u* pDst, int32_t dstLen,
                                                     int32_t* pDstCurPos, Mox16s* pLastDC, int32_t Al,
                                                     const MoxEncodeHuffmanSpec* pDCTable,
                                                     MoxEncodeHuffmanState* pState, int32_t flush) {
  if (const MoxStatus bad = Check()
                                .pointers(pDst)
                                .length(dstLen)
                                .pointers(pDstCurPos, pState)
                                .unless(flush)
                                .pointers(pSrc, pLastDC)
                                .argument(isPointTransform(Al))
                                .pointers(pDCTable))
    return bad;
  if (flush) return definition::flushBits(pDst, dstLen, pDstCurPos, pState);
  return definition::encodeDCFirst(pSrc, pDst, dstLen, pDstCurPos, pLastDC, Al, pDCTable, pState);
}

MoxStatus moxiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(const Mox16s* pSrc, Mox8u* pDst, int32_t dstLen,
                                                      int32_t* pDstCurPos, int32_t Al, MoxEncodeHuffmanState* pState,
                                                      int32_t flush) {
  if (const MoxStatus bad = Check()
                                .pointers(pDst)
                                .length(dstLen)
                                .pointers(pDstCurPos, pState)
                                .unless(flush)
                                .pointers(pSrc)
                                .argument(isPointTransform(Al)))
    return bad;
  if (flush) return definition::flushBits(pDst, dstLen, pDstCurPos, pState);
  return definition::encodeDCRefine(pSrc, pDst, dstLen, pDstCurPos, Al, pState);
}

namespace {

template <auto Kernel>
MoxStatus ownmjEncodeAC(const Mox16s* pSrc, Mox8u* pDst, int32_t dstLen, int32_t* pDstCurPos, Band band,
                        const MoxEncodeHuffmanSpec* pACTable, MoxEncodeHuffmanState* pState, int32_t flush) {
  if (const MoxStatus bad = Check()
                                .pointers(pDst)
                                .length(dstLen)
                                .pointers(pDstCurPos, pACTable, pState)
                                .unless(flush)
                                .pointers(pSrc)
                                .argument(isBand(band)))
    return bad;
  if (flush) return definition::flushAC(pDst, dstLen, pDstCurPos, pACTable, pState);
  return (kernels::progEncode().*Kernel)(pSrc, pDst, dstLen, pDstCurPos, band, pACTable, pState);
}

template <auto Kernel>
MoxStatus ownmjCountAC(const Mox16s* pSrc, int32_t* pACFreq, Band band, MoxEncodeHuffmanState* pState, int32_t flush) {
  if (const MoxStatus bad = Check().pointers(pACFreq, pState).unless(flush).pointers(pSrc).argument(isBand(band)))
    return bad;
  if (flush) return definition::flushCounts(pACFreq, pState);
  return (kernels::progEncode().*Kernel)(pSrc, pACFreq, band, pState);
}

}  // namespace

MoxStatus moxiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(const Mox16s* pSrc, Mox8u* pDst, int32_t dstLen,
                                                     int32_t* pDstCurPos, int32_t Ss, int32_t Se, int32_t Al,
                                                     const MoxEncodeHuffmanSpec* pACTable,
                                                     MoxEncodeHuffmanState* pState, int32_t flush) {
  return ownmjEncodeAC<&ProgEncodeKernels::acFirst>(pSrc, pDst, dstLen, pDstCurPos, {Ss, Se, Al}, pACTable, pState,
                                                    flush);
}

MoxStatus moxiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(const Mox16s* pSrc, Mox8u* pDst, int32_t dstLen,
                                                      int32_t* pDstCurPos, int32_t Ss, int32_t Se, int32_t Al,
                                                      const MoxEncodeHuffmanSpec* pACTable,
                                                      MoxEncodeHuffmanState* pState, int32_t flush) {
  return ownmjEncodeAC<&ProgEncodeKernels::acRefine>(pSrc, pDst, dstLen, pDstCurPos, {Ss, Se, Al}, pACTable, pState,
                                                     flush);
}

MoxStatus moxiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(const Mox16s* pSrc, int32_t pDCFreq[256], Mox16s* pLastDC,
                                                          int32_t Al) {
  if (const MoxStatus bad = Check().pointers(pSrc, pDCFreq, pLastDC).argument(isPointTransform(Al))) return bad;
  return definition::countDCFirst(pSrc, pDCFreq, pLastDC, Al);
}

MoxStatus moxiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(const Mox16s* pSrc, int32_t pACFreq[256], int32_t Ss,
                                                          int32_t Se, int32_t Al, MoxEncodeHuffmanState* pState,
                                                          int32_t flush) {
  return ownmjCountAC<&ProgEncodeKernels::countACFirst>(pSrc, pACFreq, {Ss, Se, Al}, pState, flush);
}

MoxStatus moxiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(const Mox16s* pSrc, int32_t pACFreq[256], int32_t Ss,
                                                           int32_t Se, int32_t Al, MoxEncodeHuffmanState* pState,
                                                           int32_t flush) {
  return ownmjCountAC<&ProgEncodeKernels::countACRefine>(pSrc, pACFreq, {Ss, Se, Al}, pState, flush);
}
