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
 *
 * Threads. The functions whose comment says that they share their rows do so through OpenMP when width times height
 * of the region (for sampling: of the destination), as a signed 32-bit product, is above 8192: they ask for as many
 * threads as threads_omp_of_n_mox (moxcore.h) says at that moment. All others stay on the calling thread.
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

/*
 * The level shift between unsigned 8-bit samples and signed values (T.81 A.3.1) of a region, for coders that
 * transform blocks of 16-bit values. roiSize counts elements, steps count bytes. Rows are shared among threads.
 *
 * Checks, in this order: pSrc (moxStatusNullPointer), srcStep (moxStatusBadStep), pDst (moxStatusNullPointer),
 * dstStep (moxStatusBadStep), width, then height (moxStatusBadSize).
 */

/* dst = src - 128 */
MOXJ_API MoxStatus moxiSub128_JPEG_8u16s_C1R(
    const Mox8u* pSrc, int32_t srcStep, Mox16s* pDst, int32_t dstStep, MoxRoiSize roiSize);

/* dst = src + 128, held to 0 .. 255 */
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

/*
 * Down- and up-sampling of one plane of 8-bit samples by two horizontally (H2V1) or by two in both directions
 * (H2V2), as JPEG coders do with chroma. T.81 A.1 gives the relation of the sizes and leaves the filters open;
 * these take the chroma samples to lie midway between luma samples (JFIF).
 *
 * There are two families, and they round differently:
 *   - regions (..._C1R) go by rows and steps, find the border in memory, and share their rows among threads;
 *   - rows (...Row..._C1) make one output row, need no border, and alternate the rounding of down-sampled samples.
 *
 * Regions. The size of the destination says all that is done. The source's size is checked but limits nothing: the
 * caller sees to it that the source holds what the destination needs, W x H being the destination's size.
 *
 *   DownH2V1   2 W columns, H rows
 *   DownH2V2   2 W columns, 2 H rows
 *   UpH2V1     ceil(W / 2) columns, H rows; also the sample before each row and, at an even W, the one behind it
 *   UpH2V2     ceil(W / 2) columns, ceil(H / 2) rows; the samples beside them as for UpH2V1; also the row above
 *              and, at an even H, the row below, with the samples beside these rows
 *
 * pSrc points to the first of these columns and rows. What lies beside them is ordinarily the rest of the plane; at
 * its edges the caller has made room there and copied the outermost samples (or whatever the decoder is to see)
 * into it. Nothing else is read.
 *
 * Checks of the regions, in this order: pSrc (moxStatusNullPointer), srcStep (moxStatusBadStep), width, then height
 * of srcRoiSize (moxStatusBadSize), pDst (moxStatusNullPointer), dstStep (moxStatusBadStep), width, then height of
 * dstRoiSize (moxStatusBadSize).
 *
 * Checks of the rows, in this order: all pointers (moxStatusNullPointer), srcWidth (moxStatusBadSize).
 *
 * Below, s is a source row, d a row of the destination, k counts from 0.
 */

/* d[k] = (s[2k] + s[2k+1] + 1) >> 1; row i is made from source row i. */
MOXJ_API MoxStatus moxiSampleDownH2V1_JPEG_8u_C1R(
    const Mox8u* pSrc, int32_t srcStep, MoxRoiSize srcRoiSize, Mox8u* pDst, int32_t dstStep, MoxRoiSize dstRoiSize);

/*
 * d[k] = (a[2k] + a[2k+1] + b[2k] + b[2k+1] + 3) >> 2; row i is made from source rows a = 2i and b = 2i + 1. The
 * bias of 3 rounds up from a quarter on.
 */
MOXJ_API MoxStatus moxiSampleDownH2V2_JPEG_8u_C1R(
    const Mox8u* pSrc, int32_t srcStep, MoxRoiSize srcRoiSize, Mox8u* pDst, int32_t dstStep, MoxRoiSize dstRoiSize);

/*
 * The triangle filter: three parts of the nearer sample and one of the farther,
 *   d[2k]   = (3 s[k] + s[k-1] + 1) >> 2
 *   d[2k+1] = (3 s[k] + s[k+1] + 2) >> 2;
 * row i is made from source row i. An odd width ends with d[2k].
 */
MOXJ_API MoxStatus moxiSampleUpH2V1_JPEG_8u_C1R(
    const Mox8u* pSrc, int32_t srcStep, MoxRoiSize srcRoiSize, Mox8u* pDst, int32_t dstStep, MoxRoiSize dstRoiSize);

/*
 * The triangle filter in both directions: of the column sums c[k] = 3 near[k] + far[k],
 *   d[2k]   = (3 c[k] + c[k-1] + 8) >> 4
 *   d[2k+1] = (3 c[k] + c[k+1] + 7) >> 4.
 * For row i the nearer source row is floor(i / 2); the farther one is the row above that for an even i, the row
 * below for an odd i. An odd width ends with d[2k].
 */
MOXJ_API MoxStatus moxiSampleUpH2V2_JPEG_8u_C1R(
    const Mox8u* pSrc, int32_t srcStep, MoxRoiSize srcRoiSize, Mox8u* pDst, int32_t dstStep, MoxRoiSize dstRoiSize);

/*
 * Box filters that write srcWidth / 2 samples:
 *   H2V1: d[k] = (s[2k] + s[2k+1] + bias) >> 1, the biases 0 and 1 by turns;
 *   H2V2: d[k] = (a[2k] + a[2k+1] + b[2k] + b[2k+1] + bias) >> 2, the biases 1 and 2 by turns; a is pSrc1, the
 *         upper row.
 * From 16 samples on, d[0] takes the lower bias. Shorter rows end with the lower bias, so that d[0] takes the upper
 * one where the number of outputs is even (srcWidth 4, 8 and 12). The addresses of the rows make no difference.
 *
 * The last sample of an odd srcWidth is neither read nor used; srcWidth 1 writes nothing.
 */
MOXJ_API MoxStatus moxiSampleDownRowH2V1_Box_JPEG_8u_C1(const Mox8u* pSrc, int32_t srcWidth, Mox8u* pDst);
MOXJ_API MoxStatus moxiSampleDownRowH2V2_Box_JPEG_8u_C1(
    const Mox8u* pSrc1, const Mox8u* pSrc2, int32_t srcWidth, Mox8u* pDst);

/*
 * The triangle filters of the regions, writing 2 srcWidth samples; in place of the sample before the first and the
 * one behind the last they take the first and the last again. pSrc1 is the nearer row, pSrc2 the farther one. A
 * constant row stays constant. srcWidth 1 is allowed: the only sample is its own neighbour on both sides.
 */
MOXJ_API MoxStatus moxiSampleUpRowH2V1_Triangle_JPEG_8u_C1(const Mox8u* pSrc, int32_t srcWidth, Mox8u* pDst);
MOXJ_API MoxStatus moxiSampleUpRowH2V2_Triangle_JPEG_8u_C1(
    const Mox8u* pSrc1, const Mox8u* pSrc2, int32_t srcWidth, Mox8u* pDst);

#ifdef __cplusplus
}
#endif

#endif
