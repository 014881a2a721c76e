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

/*
 * Three kinds of table, 64 entries each:
 *   raw       steps 1 to 255 as 8-bit values in the zig-zag order of a DQT segment (T.81 B.2.4.1, A.3.6); 0 is no step
 *   forward   reciprocals of the steps, about 32768 / step, as 16-bit values in natural (row-major) order
 *   inverse   the steps as 16-bit values in natural order
 *
 * The functions on blocks and the DCT functions take any forward and inverse table, not only those that these functions
 * make: every 16-bit value has its meaning, so that 16-bit steps can be put into an inverse table directly. Blocks are
 * 64 signed 16-bit coefficients in natural order: index 8 * row + column, 0 the DC coefficient.
 *
 * Checks of all five functions: any pointer null, moxStatusNullPointer; there are no others.
 */

/*
 * Scales the steps of a raw table in place for a quality, 1 (coarsest) to 100 (every step 1):
 *   percent = quality < 50 ? 5000 / quality : 200 - 2 * quality
 *   step    = (step * percent + 50) / 100, then limited to 1..255
 * with integer divisions that truncate. 50 leaves the table as it is (a step of 0 becomes 1). Qualities above 100 and
 * below 0 make every step 1. Quality 0 is not checked for: the division by it is undefined.
 */
MOXJ_API MoxStatus moxiQuantFwdRawTableInit_JPEG_8u(Mox8u* pRawTable, int32_t quality);

/*
 * Makes a forward table of a raw table. With D = 2^31 / step (truncated; 16 fraction bits) and b the lowest bit of its
 * integer part, the reciprocal is (D + 2 b + 32767) >> 16: a fraction of one half goes down to an even integer, an odd
 * integer goes up from 32767 / 65536 on. A step of 1 gives 32768, 2 gives 16384, 3 gives 10923, 255 gives 129.
 *
 * A step of 0 gives 65535 and, once the whole table is made, the warning moxStatusDivByZero.
 */
MOXJ_API MoxStatus moxiQuantFwdTableInit_JPEG_8u16u(const Mox8u* pRawTable, Mox16u* pFwdTable);

/* Makes an inverse table of a raw table. Steps of 0 stay 0. */
MOXJ_API MoxStatus moxiQuantInvTableInit_JPEG_8u16u(const Mox8u* pRawTable, Mox16u* pInvTable);

/*
 * Quantises a block in place, c by its reciprocal r:
 *   d = (8 c * (r >> 1)) >> 16, with 8 c in 16 bits
 *   c = (d + 1) >> 1
 * so that halves go up (24 by a step of 16 gives 2, -24 gives -1), coefficients of magnitude 4096 and above wrap, and
 * the lowest bit of a reciprocal is not used. The quantisation inside the DCT functions is another one.
 */
MOXJ_API MoxStatus moxiQuantFwd8x8_JPEG_16s_C1I(Mox16s* pSrcDst, const Mox16u* pFwdTable);

/* Dequantises a block in place: the low 16 bits of each coefficient times its step (it wraps, T.81 A.3.4). */
MOXJ_API MoxStatus moxiQuantInv8x8_JPEG_16s_C1I(Mox16s* pSrcDst, const Mox16u* pInvTable);

/* ---- 8x8 DCT with quantisation -------------------------------------------------------------------------------- */

/*
 * The DCT of T.81 A.3.3 and its inverse on blocks of 64 signed 16-bit values in natural order, with the quantisation
 * (T.81 A.3.4) by the tables of the section above: a constant block of samples v has a DC coefficient of 8 v ahead of
 * its quantisation. The LS functions take samples from a region of 8 by 8 unsigned pixels, and put them there, with the
 * level shift by 128 (T.81 A.3.1).
 *
 * The transforms are fixed-point ones, and their results are the same on every processor. For 8-bit samples results are
 * within 0.75 of the exact transform, with a mean square error of 0.085 (a rounded exact result has 0.5 and 0.083). Far
 * larger values are allowed: they saturate or wrap at defined places. Coefficients ahead of quantisation are always
 * within -2048 and 2047, samples of the inverse transform within -1024 and 1023.
 *
 * Forward quantisation: c * r / 32768 to the nearest integer, halves to the even one, for all reciprocals from 0 to
 * 65535. It differs from moxiQuantFwd8x8_JPEG_16s_C1I, which rounds halves up and wraps: the same coefficients and table
 * can give other results there.
 * Dequantisation: as moxiQuantInv8x8_JPEG_16s_C1I.
 *
 * Checks of the functions without LS: any pointer null, moxStatusNullPointer.
 * Checks of the LS functions, in this order: source or destination null (moxStatusNullPointer), step below 1
 * (moxStatusBadStep), table null (moxStatusNullPointer).
 */

/* Samples to quantised coefficients. pSrc and pDst may be the same block. */
MOXJ_API MoxStatus moxiDCTQuantFwd8x8_JPEG_16s_C1(const Mox16s* pSrc, Mox16s* pDst, const Mox16u* pFwdTable);
MOXJ_API MoxStatus moxiDCTQuantFwd8x8_JPEG_16s_C1I(Mox16s* pSrcDst, const Mox16u* pFwdTable);

/* A region of 8 by 8 pixels, its rows srcStep bytes apart, to quantised coefficients. */
MOXJ_API MoxStatus moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(
    const Mox8u* pSrc, int32_t srcStep, Mox16s* pDst, const Mox16u* pFwdTable);

/* Quantised coefficients to samples, without a limit to 8 bits. pSrc and pDst may be the same block. */
MOXJ_API MoxStatus moxiDCTQuantInv8x8_JPEG_16s_C1(const Mox16s* pSrc, Mox16s* pDst, const Mox16u* pInvTable);
MOXJ_API MoxStatus moxiDCTQuantInv8x8_JPEG_16s_C1I(Mox16s* pSrcDst, const Mox16u* pInvTable);

/*
 * Quantised coefficients to a region of 8 by 8 pixels, its rows dstStep bytes apart: samples plus 128, limited to 0..255.
 * Rows are written from the first to the last, so that with a step below 8 the later ones remain.
 */
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
