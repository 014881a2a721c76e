// Lossless JPEG (T.81 Annex H): prediction of rows, and Huffman coding of single differences.
#include "frame/check.h"
#include "kernels/dispatch.h"
#include "kernels/entropy/lossless.h"
#include "kernels/entropy/losslesscode.h"

namespace mox {
namespace {

bool ownmjPrecision(int32_t p, int32_t pt) { return p >= 2 && p <= 16 && pt >= 0; }

bool ownmjPredictor(int32_t predictor) { return predictor >= 1 && predictor <= 7; }

}  // namespace
}  // namespace mox

using namespace mox;

MoxStatus moxiDiffPredFirstRow_JPEG_16s_C1(const Mox16s* pSrc, Mox16s* pDst, int32_t width, int32_t P, int32_t Pt) {
  if (const MoxStatus bad = Check().pointers(pSrc, pDst).length(width).argument(ownmjPrecision(P, Pt))) return bad;
  kernels::lossless().differFirst(pSrc, pDst, width, definition::losslessOrigin(P, Pt));
  return moxStatusOk;
}

MoxStatus moxiDiffPredRow_JPEG_16s_C1(const Mox16s* pSrc, const Mox16s* pPrevRow, Mox16s* pDst, int32_t width,
                                      int32_t predictor) {
  if (const MoxStatus bad = Check().pointers(pSrc, pPrevRow, pDst).length(width).argument(ownmjPredictor(predictor)))
    return bad;
  kernels::lossless().differ(pSrc, pPrevRow, pDst, width, predictor);
  return moxStatusOk;
}

MoxStatus moxiReconstructPredFirstRow_JPEG_16s_C1(const Mox16s* pSrc, Mox16s* pDst, int32_t width, int32_t P,
                                                  int32_t Pt) {
  if (const MoxStatus bad = Check().pointers(pSrc, pDst).length(width).argument(ownmjPrecision(P, Pt))) return bad;
  kernels::lossless().rebuildFirst(pSrc, pDst, width, definition::losslessOrigin(P, Pt));
  return moxStatusOk;
}

MoxStatus moxiReconstructPredRow_JPEG_16s_C1(const Mox16s* pSrc, const Mox16s* pPrevRow, Mox16s* pDst, int32_t width,
                                             int32_t predictor) {
  if (const MoxStatus bad = Check().pointers(pSrc, pPrevRow, pDst).length(width).argument(ownmjPredictor(predictor)))
    return bad;
  kernels::lossless().rebuild(pSrc, pPrevRow, pDst, width, predictor);
  return moxStatusOk;
}

MoxStatus moxiEncodeHuffmanOne_JPEG_16s1u_C1(const Mox16s* pSrc, Mox8u* pDst, int32_t dstLen, int32_t* pDstCurPos,
                                             const MoxEncodeHuffmanSpec* pTable, MoxEncodeHuffmanState* pState,
                                             int32_t flush) {
  if (const MoxStatus bad =
          Check().pointers(pDst).length(dstLen).pointers(pDstCurPos, pState).unless(flush).pointers(pSrc, pTable))
    return bad;
  if (flush) {
    definition::flushBits(pDst, dstLen, pDstCurPos, pState);
  } else {
    kernels::losslessCode().encode(get<Mox16s>(pSrc), pDst, dstLen, pDstCurPos, pTable, pState);
  }
  return moxStatusOk;
}

MoxStatus moxiDecodeHuffmanOne_JPEG_1u16s_C1(const Mox8u* pSrc, int32_t srcLen, int32_t* pSrcCurPos, Mox16s* pDst,
                                             int32_t* pMarker, const MoxDecodeHuffmanSpec* pTable,
                                             MoxDecodeHuffmanState* pState) {
  if (const MoxStatus bad =
          Check().pointers(pSrc).argument(srcLen >= 0).pointers(pSrcCurPos, pDst, pMarker, pTable, pState))
    return bad;
  return kernels::losslessCode().decode(pSrc, srcLen, pSrcCurPos, pDst, pMarker, pTable, pState);
}

MoxStatus moxiGetHuffmanStatisticsOne_JPEG_16s_C1(const Mox16s* pSrc, int32_t pFreq[256]) {
  if (const MoxStatus bad = Check().pointers(pSrc, pFreq)) return bad;
  const int size = category(get<Mox16s>(pSrc));
  if (size > definition::kLargestCategory) return moxStatusOutOfRange;  // never with 16 bits
  return definition::SymbolCounter::add(pFreq, size);
}
