/*
 * libmoxj: low-level image-compression functions for JPEG (ITU-T T.81) and JPEG 2000 (ISO/IEC 15444-1).
 *
 * Every function
 *   - checks its arguments in the order that its comment gives, before it touches any data, and returns the
 *     status of the first check that fails; on an error (a negative status) outputs are as they were, unless the
 *     comment says otherwise;
 *   - keeps no state of its own: any function may be called from any thread on distinct data;
 *   - gives the same bits on every processor and for every number of threads.
 *
 * Names. The operation, the standard that it serves, the element types of source and destination (8u: unsigned
 * 8-bit, 16s: signed 16-bit, 16u: unsigned 16-bit, 32s, 32f, 1u: a bit stream) and the layout: C1 one channel,
 * C3 and C4 interleaved pixels, P3 and P4 separate planes, R a region with a row step, I in place.
 *
 * Regions are a pointer to the first pixel, a row step in bytes (at least 1) and a size in pixels (at least 1 by 1).
 * No pointer needs any alignment beyond that of its element type; state objects and specifications need none.
 * Source and destination must not overlap, except in the in-place (I) functions.
 */
#ifndef MOXJ_H
#define MOXJ_H

#include <stdint.h>

#if defined(_WIN32)
#if defined(MOXJ_BUILDING)
#define MOXJ_API __declspec(dllexport)
#elif defined(MOXJ_STATIC)
#define MOXJ_API
#else
#define MOXJ_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define MOXJ_API __attribute__((visibility("default")))
#else
#define MOXJ_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Types ---------------------------------------------------------------------------------------------------- */

typedef uint8_t Mox8u;
typedef int16_t Mox16s;
typedef uint16_t Mox16u;
typedef int32_t Mox32s;
typedef uint32_t Mox32u;
typedef float Mox32f;

/* The only report of every function: 0 success, positive a warning (the work was done), negative an error. */
typedef enum MoxStatus {
  moxStatusOk = 0,
  moxStatusDivByZero = 6,          /* a quantiser step of 0 was met: its reciprocal is 65535 */
  moxStatusMarkerMet = 10,         /* a marker ended the entropy-coded data that was loaded; not an error */
  moxStatusError = -2,             /* a coefficient position outside the 8x8 block */
  moxStatusBadArgument = -5,       /* a scalar argument outside its range */
  moxStatusBadSize = -6,           /* a width, height or length below 1 */
  moxStatusOutOfRange = -7,        /* a magnitude category above 16 */
  moxStatusNullPointer = -8,       /* a required pointer is null, or a Huffman object could not be allocated */
  moxStatusNoMemory = -9,          /* a JPEG 2000 object could not be allocated */
  moxStatusBadStep = -14,          /* a row step below 1 */
  moxStatusContextMismatch = -17,  /* a state object of the wrong kind */
  moxStatusOutOfBuffer = -62,      /* the destination is full, or the source ends too soon */
  moxStatusCoefficientRange = -63, /* a value that the Huffman coder cannot code or decode */
  moxStatusHuffTable = -64,        /* an inconsistent Huffman table, or a symbol without a code */
  moxStatusDecodeFailed = -112,    /* undecodable code-block data */
  moxStatusBadPassNumber = -113,   /* no such coding pass */
  moxStatusNotAttached = -180      /* no code-block attached */
} MoxStatus;

/* Size of a region in pixels. */
typedef struct MoxRoiSize {
  int32_t width;
  int32_t height;
} MoxRoiSize;

/* ---- Version -------------------------------------------------------------------------------------------------- */

typedef struct MoxLibraryVersion {
  int32_t major;
  int32_t minor;
  int32_t majorBuild;
  int32_t build;
  char targetCpu[4]; /* code of the processor variant, zero-filled */
  const char* name;
  const char* version;
  const char* buildDate;
} MoxLibraryVersion;

/* The version record of the function set, a constant: the same pointer on every call, never to be freed. */
MOXJ_API const MoxLibraryVersion* moxjGetLibVersion(void);


/* ---- Huffman table specifications and coder states ------------------------------------------------------------ */


typedef struct MoxEncodeHuffmanSpec MoxEncodeHuffmanSpec;
typedef struct MoxDecodeHuffmanSpec MoxDecodeHuffmanSpec;
typedef struct MoxEncodeHuffmanState MoxEncodeHuffmanState;
typedef struct MoxDecodeHuffmanState MoxDecodeHuffmanState;

MOXJ_API MoxStatus moxiEncodeHuffmanSpecGetBufSize_JPEG_8u(int32_t* pSize);
MOXJ_API MoxStatus moxiEncodeHuffmanSpecInit_JPEG_8u(
    const Mox8u* pBits, const Mox8u* pHuffVal, MoxEncodeHuffmanSpec* pSpec);
MOXJ_API MoxStatus moxiEncodeHuffmanSpecInitAlloc_JPEG_8u(
    const Mox8u* pBits, const Mox8u* pHuffVal, MoxEncodeHuffmanSpec** ppSpec);
MOXJ_API MoxStatus moxiEncodeHuffmanSpecFree_JPEG_8u(MoxEncodeHuffmanSpec* pSpec);
MOXJ_API MoxStatus moxiEncodeHuffmanStateGetBufSize_JPEG_8u(int32_t* pSize);
MOXJ_API MoxStatus moxiEncodeHuffmanStateInit_JPEG_8u(MoxEncodeHuffmanState* pState);
MOXJ_API MoxStatus moxiEncodeHuffmanStateInitAlloc_JPEG_8u(MoxEncodeHuffmanState** ppState);
MOXJ_API MoxStatus moxiEncodeHuffmanStateFree_JPEG_8u(MoxEncodeHuffmanState* pState);
MOXJ_API MoxStatus moxiDecodeHuffmanSpecGetBufSize_JPEG_8u(int32_t* pSize);
MOXJ_API MoxStatus moxiDecodeHuffmanSpecInit_JPEG_8u(
    const Mox8u* pBits, const Mox8u* pHuffVal, MoxDecodeHuffmanSpec* pSpec);
MOXJ_API MoxStatus moxiDecodeHuffmanSpecInitAlloc_JPEG_8u(
    const Mox8u* pBits, const Mox8u* pHuffVal, MoxDecodeHuffmanSpec** ppSpec);
MOXJ_API MoxStatus moxiDecodeHuffmanSpecFree_JPEG_8u(MoxDecodeHuffmanSpec* pSpec);
MOXJ_API MoxStatus moxiDecodeHuffmanStateGetBufSize_JPEG_8u(int32_t* pSize);
MOXJ_API MoxStatus moxiDecodeHuffmanStateInit_JPEG_8u(MoxDecodeHuffmanState* pState);
MOXJ_API MoxStatus moxiDecodeHuffmanStateInitAlloc_JPEG_8u(MoxDecodeHuffmanState** ppState);
MOXJ_API MoxStatus moxiDecodeHuffmanStateFree_JPEG_8u(MoxDecodeHuffmanState* pState);

/* ---- Sequential Huffman coding of 8x8 blocks ------------------------------------------------------------------ */

MOXJ_API MoxStatus moxiEncodeHuffman8x8_JPEG_16s1u_C1(
    const Mox16s* pSrc, Mox8u* pDst, int32_t dstLen, int32_t* pDstCurPos, Mox16s* pLastDC, const
    MoxEncodeHuffmanSpec* pDCTable, const MoxEncodeHuffmanSpec* pACTable, MoxEncodeHuffmanState* pState, int32_t
    flush);
MOXJ_API MoxStatus moxiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(
    const Mox16s* pSrc, Mox8u* pDst, int32_t* pDstCurBitPos, Mox16s* pLastDC, const MoxEncodeHuffmanSpec* pDCTable,
    const MoxEncodeHuffmanSpec* pACTable);
MOXJ_API MoxStatus moxiGetHuffmanStatistics8x8_JPEG_16s_C1(
    const Mox16s* pSrc, int32_t pDCFreq[256], int32_t pACFreq[256], Mox16s* pLastDC);
MOXJ_API MoxStatus moxiDecodeHuffman8x8_JPEG_1u16s_C1(
    const Mox8u* pSrc, int32_t srcLen, int32_t* pSrcCurPos, Mox16s* pDst, Mox16s* pLastDC, int32_t* pMarker, const
    MoxDecodeHuffmanSpec* pDCTable, const MoxDecodeHuffmanSpec* pACTable, MoxDecodeHuffmanState* pState);
MOXJ_API MoxStatus moxiDecodeHuffman8x8_Direct_JPEG_1u16s_C1(
    const Mox8u* pSrc, int32_t* pSrcCurBitPos, Mox16s* pDst, Mox16s* pLastDC, int32_t* pMarker, Mox32u*
    pPrefetchedBits, int32_t* pNumValidBits, const MoxDecodeHuffmanSpec* pDCTable, const MoxDecodeHuffmanSpec*
    pACTable);

/* ---- Quantisation tables and 8x8 quantisation ----------------------------------------------------------------- */

MOXJ_API MoxStatus moxiQuantFwdRawTableInit_JPEG_8u(Mox8u* pRawTable, int32_t quality);
MOXJ_API MoxStatus moxiQuantFwdTableInit_JPEG_8u16u(const Mox8u* pRawTable, Mox16u* pFwdTable);
MOXJ_API MoxStatus moxiQuantInvTableInit_JPEG_8u16u(const Mox8u* pRawTable, Mox16u* pInvTable);
MOXJ_API MoxStatus moxiQuantFwd8x8_JPEG_16s_C1I(Mox16s* pSrcDst, const Mox16u* pFwdTable);
MOXJ_API MoxStatus moxiQuantInv8x8_JPEG_16s_C1I(Mox16s* pSrcDst, const Mox16u* pInvTable);

/* ---- 8x8 DCT with quantisation -------------------------------------------------------------------------------- */

MOXJ_API MoxStatus moxiDCTQuantFwd8x8_JPEG_16s_C1(const Mox16s* pSrc, Mox16s* pDst, const Mox16u* pFwdTable);
MOXJ_API MoxStatus moxiDCTQuantFwd8x8_JPEG_16s_C1I(Mox16s* pSrcDst, const Mox16u* pFwdTable);
MOXJ_API MoxStatus moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(
    const Mox8u* pSrc, int32_t srcStep, Mox16s* pDst, const Mox16u* pFwdTable);
MOXJ_API MoxStatus moxiDCTQuantInv8x8_JPEG_16s_C1(const Mox16s* pSrc, Mox16s* pDst, const Mox16u* pInvTable);
MOXJ_API MoxStatus moxiDCTQuantInv8x8_JPEG_16s_C1I(Mox16s* pSrcDst, const Mox16u* pInvTable);
MOXJ_API MoxStatus moxiDCTQuantInv8x8LS_JPEG_16s8u_C1R(
    const Mox16s* pSrc, Mox8u* pDst, int32_t dstStep, const Mox16u* pInvTable);

/* ---- Level shift ---------------------------------------------------------------------------------------------- */

MOXJ_API MoxStatus moxiSub128_JPEG_8u16s_C1R(
    const Mox8u* pSrc, int32_t srcStep, Mox16s* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiAdd128_JPEG_16s8u_C1R(
    const Mox16s* pSrc, int32_t srcStep, Mox8u* pDst, int32_t dstStep, MoxRoiSize roiSize);

/* ---- Colour conversion ---------------------------------------------------------------------------------------- */

MOXJ_API MoxStatus moxiBGR555ToYCbCr_JPEG_16u8u_C3P3R(
    const Mox16u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiBGR565ToYCbCr_JPEG_16u8u_C3P3R(
    const Mox16u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiBGRToYCbCr_JPEG_8u_C3P3R(
    const Mox8u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiBGRToY_JPEG_8u_C3C1R(
    const Mox8u* pSrc, int32_t srcStep, Mox8u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiCMYKToYCCK_JPEG_8u_C4P4R(
    const Mox8u* pSrc, int32_t srcStep, Mox8u* const pDst[4], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiCMYKToYCCK_JPEG_8u_P4R(
    const Mox8u* const pSrc[4], int32_t srcStep, Mox8u* const pDst[4], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiRGB555ToYCbCr_JPEG_16u8u_C3P3R(
    const Mox16u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiRGB565ToYCbCr_JPEG_16u8u_C3P3R(
    const Mox16u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiRGBToYCbCr_JPEG_8u_C3P3R(
    const Mox8u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiRGBToYCbCr_JPEG_8u_P3R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiRGBToY_JPEG_8u_C3C1R(
    const Mox8u* pSrc, int32_t srcStep, Mox8u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiRGBToY_JPEG_8u_P3C1R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox8u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiYCCKToCMYK_JPEG_8u_P4C4R(
    const Mox8u* const pSrc[4], int32_t srcStep, Mox8u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiYCCKToCMYK_JPEG_8u_P4R(
    const Mox8u* const pSrc[4], int32_t srcStep, Mox8u* const pDst[4], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiYCbCrToBGR555_JPEG_8u16u_P3C3R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox16u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiYCbCrToBGR565_JPEG_8u16u_P3C3R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox16u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiYCbCrToBGR_JPEG_8u_P3C3R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox8u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiYCbCrToRGB555_JPEG_8u16u_P3C3R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox16u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiYCbCrToRGB565_JPEG_8u16u_P3C3R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox16u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiYCbCrToRGB_JPEG_8u_P3C3R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox8u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiYCbCrToRGB_JPEG_8u_P3R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);

/* ---- Chroma sampling ------------------------------------------------------------------------------------------ */

MOXJ_API MoxStatus moxiSampleDownH2V1_JPEG_8u_C1R(
    const Mox8u* pSrc, int32_t srcStep, MoxRoiSize srcRoiSize, Mox8u* pDst, int32_t dstStep, MoxRoiSize dstRoiSize);
MOXJ_API MoxStatus moxiSampleDownH2V2_JPEG_8u_C1R(
    const Mox8u* pSrc, int32_t srcStep, MoxRoiSize srcRoiSize, Mox8u* pDst, int32_t dstStep, MoxRoiSize dstRoiSize);
MOXJ_API MoxStatus moxiSampleUpH2V1_JPEG_8u_C1R(
    const Mox8u* pSrc, int32_t srcStep, MoxRoiSize srcRoiSize, Mox8u* pDst, int32_t dstStep, MoxRoiSize dstRoiSize);
MOXJ_API MoxStatus moxiSampleUpH2V2_JPEG_8u_C1R(
    const Mox8u* pSrc, int32_t srcStep, MoxRoiSize srcRoiSize, Mox8u* pDst, int32_t dstStep, MoxRoiSize dstRoiSize);
MOXJ_API MoxStatus moxiSampleDownRowH2V1_Box_JPEG_8u_C1(const Mox8u* pSrc, int32_t srcWidth, Mox8u* pDst);
MOXJ_API MoxStatus moxiSampleDownRowH2V2_Box_JPEG_8u_C1(
    const Mox8u* pSrc1, const Mox8u* pSrc2, int32_t srcWidth, Mox8u* pDst);
MOXJ_API MoxStatus moxiSampleUpRowH2V1_Triangle_JPEG_8u_C1(const Mox8u* pSrc, int32_t srcWidth, Mox8u* pDst);
MOXJ_API MoxStatus moxiSampleUpRowH2V2_Triangle_JPEG_8u_C1(
    const Mox8u* pSrc1, const Mox8u* pSrc2, int32_t srcWidth, Mox8u* pDst);

#ifdef __cplusplus
}
#endif

#endif
