/*
 * libmoxj: low-level image-compression functions for JPEG (ITU-T T.81) and JPEG 2000 (ISO/IEC 15444-1).
 *
 * Every function
 *   - checks its arguments in the order that its comment gives, before it touches any data, and returns the status of
 *     the first check that fails. On an error (a negative status) outputs are unchanged, unless the comment says
 *     otherwise;
 *   - keeps no global state: any function may be called from any thread on distinct data;
 *   - gives the same bits on every processor and for any number of threads.
 *
 * Names. The operation, the standard that it serves, the element types of source and destination (8u: unsigned
 * 8-bit, 16s: signed 16-bit, 16u: unsigned 16-bit, 32s: signed 32-bit, 32f: float, 1u: a bit stream) and the layout:
 * C1 one channel, C3 and C4 interleaved pixels, P3 and P4 separate planes, R a region with a row step, I in place.
 *
 * Regions. A pointer to the first pixel, a row step in bytes (at least 1) and a size in pixels (at least 1 by 1). A
 * step need not be a multiple of the element's size: rows of 16- and 32-bit elements may lie at odd addresses. State
 * objects, specifications and work buffers need no alignment. Source and destination must not overlap, except in the
 * in-place (I) functions.
 *
 * Formulas. >> is the arithmetic shift: it rounds down. a..b includes both ends.
 *
 * Threads. These 23 functions share the rows of a large region among threads, by OpenMP, if the library was built with
 * it; all others stay on the calling thread:
 *   colour conversion   the 13 of bytes; the eight of packed words (555, 565) do not
 *   chroma sampling     the four of regions (moxiSample...R)
 *   level shift         moxiSub128_JPEG_8u16s_C1R, moxiAdd128_JPEG_16s8u_C1R
 *   RCT                 the four of 32s (moxiRCT..._JPEG2K_32s_...)
 * A region is large if its width times its height (for sampling: those of the destination), as a signed 32-bit
 * product, is above 8192. The threads asked for are threads_omp_of_n_mox (moxcore.h), which is 1 unless the program or
 * the environment raises it; each takes a contiguous block of rows. Inside a parallel region of the caller, OpenMP
 * decides; by default the rows then stay on the calling thread. A program that has its own threads leaves the count at
 * 1: a waiting thread of OpenMP spins after each call, which with g++'s takes some 8 ms of processor time (none if the
 * environment variable OMP_WAIT_POLICY is passive).
 *
 * Targets. When the library is loaded, it chooses kernels for the instruction sets of the processor. The environment
 * variable MOXJ_TARGET (scalar, sse2, sse41, avx2, avx512 or neon) lowers that choice, for tests and measurements, to a
 * target that is built in and that the processor runs. Any other value leaves the choice as it is, and so does a
 * program with more privileges than its user (set-user-ID). The results are the same bits.
 *
 * fork(). OpenMP's threads do not survive it. In the child of a process that has shared rows before, a call that would
 * share rows hangs (seen with g++'s OpenMP): the child must call exec, or set the count to 1 first. All other
 * functions are unaffected.
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
  moxStatusBadSize = -6,           /* a width, height or length below 1, or a size that is too large */
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

/* A region of a plane: the coordinates of its first sample and its size in samples. */
typedef struct MoxRect {
  int32_t x;
  int32_t y;
  int32_t width;
  int32_t height;
} MoxRect;

/* ---- Version -------------------------------------------------------------------------------------------------- */

/*
 * The version of libmoxj and libmoxcore; the build reads it here. MAJOR rises with a change that breaks programs that
 * were built against an earlier version.
 */
#define MOXJ_VERSION_MAJOR 5
#define MOXJ_VERSION_MINOR 1
#define MOXJ_VERSION_PATCH 0

/* As one number that can be compared, 50100 for 5.1.0, and as a string, "5.1.0". */
#define MOXJ_VERSION (MOXJ_VERSION_MAJOR * 10000 + MOXJ_VERSION_MINOR * 100 + MOXJ_VERSION_PATCH)
#define MOXJ_VERSION_STRING              \
  MOXJ_VERSION_QUOTE(MOXJ_VERSION_MAJOR) \
  "." MOXJ_VERSION_QUOTE(MOXJ_VERSION_MINOR) "." MOXJ_VERSION_QUOTE(MOXJ_VERSION_PATCH)
#define MOXJ_VERSION_QUOTE(number) MOXJ_VERSION_QUOTE_(number)
#define MOXJ_VERSION_QUOTE_(number) #number

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

/*
 * A fixed record that is part of the interface: major 5, minor 1, majorBuild 80, build 195, targetCpu "a6", name
 * "moxja6-5.1.dll", version "v5.1", buildDate "Feb 28 2006", whatever the build, the file or the processor. It names
 * the set of functions and does not describe this library: use the macros above for that. The same pointer on every
 * call, never to be freed.
 */
MOXJ_API const MoxLibraryVersion* moxjGetLibVersion(void);

/* ==== JPEG (ITU-T T.81) ========================================================================================== */

/*
 * Which functions make a codec, in the order of an encoder; a decoder goes back through the right column. Markers and
 * segments, the order of blocks and the padding of pictures to whole MCUs are the caller's.
 *
 *                         encoder                                      decoder
 *   tables                moxiQuantFwdRawTableInit (a quality)         -
 *                         moxiQuantFwdTableInit                        moxiQuantInvTableInit
 *                         moxiEncodeHuffmanSpecInit                    moxiDecodeHuffmanSpecInit
 *   planes: colour        moxiRGBToYCbCr...                            moxiYCbCrToRGB...
 *           sampling      moxiSampleDown...                            moxiSampleUp...
 *   or, MCU by MCU        moxi...ToYCbCr444LS_MCU...                   moxiYCbCr444To...LS_MCU...
 *   DCT                   moxiDCTQuantFwd8x8LS (MCUs: without LS)      moxiDCTQuantInv8x8LS (MCUs: without LS)
 *   baseline              moxiEncodeHuffman8x8_JPEG_16s1u_C1           moxiDecodeHuffman8x8_JPEG_1u16s_C1
 *   progressive, a scan   moxiEncodeHuffman8x8_DCFirst, _DCRefine,     moxiDecodeHuffman8x8_DCFirst, _DCRefine,
 *                         _ACFirst, _ACRefine                          _ACFirst, _ACRefine
 *   lossless, a row       moxiDiffPredFirstRow, moxiDiffPredRow,       moxiDecodeHuffmanOne, then
 *                         then moxiEncodeHuffmanOne                    moxiReconstructPredFirstRow, ...PredRow
 *   optimal tables        moxiGetHuffmanStatistics... over a scan, then moxiEncodeHuffmanRawTableInit
 *
 * A scan, and a restart interval, begins with an initialised coder state and DC predictors of 0. The encoder ends it by
 * a call with flush; then comes a marker. The Direct forms code the same bytes without a state, for callers that keep
 * the bit position themselves.
 */

/* ---- Huffman table specifications and coder states ------------------------------------------------------------ */

/*
 * A specification is a code table in the form that a coder uses. Once built it never changes, and any number of
 * coders and threads may share it. A state belongs to one entropy-coded segment: an encoder's holds the up to 7 bits
 * that do not fill a byte yet, a decoder's the up to 32 bits that were loaded and not used yet. Both hold the
 * end-of-band run of the progressive coders.
 *
 * Objects live in the caller's memory, of at least the size that GetBufSize reports and at any alignment (Init), or in
 * memory that InitAlloc allocates and Free frees. They carry no tag: a coder cannot tell an object of the wrong kind.
 */
typedef struct MoxEncodeHuffmanSpec MoxEncodeHuffmanSpec;
typedef struct MoxDecodeHuffmanSpec MoxDecodeHuffmanSpec;
typedef struct MoxEncodeHuffmanState MoxEncodeHuffmanState;
typedef struct MoxDecodeHuffmanState MoxDecodeHuffmanState;

/*
 * The size of an object in bytes: 1024 and 1644 for the specifications of an encoder and a decoder, 1048 and 24 for
 * their states.
 *   moxStatusNullPointer   pSize is null
 */
MOXJ_API MoxStatus moxiEncodeHuffmanSpecGetBufSize_JPEG_8u(int32_t* pSize);
MOXJ_API MoxStatus moxiDecodeHuffmanSpecGetBufSize_JPEG_8u(int32_t* pSize);
MOXJ_API MoxStatus moxiEncodeHuffmanStateGetBufSize_JPEG_8u(int32_t* pSize);
MOXJ_API MoxStatus moxiDecodeHuffmanStateGetBufSize_JPEG_8u(int32_t* pSize);

/*
 * Builds a specification from the lists of a DHT segment (T.81 B.2.4.2, Annex C): pBits, the number of codes of each
 * length from 1 to 16 (16 bytes); pHuffVal, the symbols in the order of their codes, as many as pBits adds up to (at
 * most 256). A table without codes is valid. A symbol that is listed twice is coded by its later code.
 *   moxStatusNullPointer   a pointer is null
 *   moxStatusHuffTable     more than 256 codes; for an encoder also more codes of a length than exist, or a code that
 *                          is all ones. A decoder's builder takes such lists: the table is useless, but safe to use
 */
MOXJ_API MoxStatus moxiEncodeHuffmanSpecInit_JPEG_8u(
    const Mox8u* pBits, const Mox8u* pHuffVal, MoxEncodeHuffmanSpec* pSpec);
MOXJ_API MoxStatus moxiDecodeHuffmanSpecInit_JPEG_8u(
    const Mox8u* pBits, const Mox8u* pHuffVal, MoxDecodeHuffmanSpec* pSpec);

/*
 * The same in memory that is allocated here. If *ppSpec is set it must be freed, also when the table was refused.
 *   moxStatusNullPointer   a pointer is null, or the allocation failed: *ppSpec is unchanged
 *   moxStatusHuffTable     as above; *ppSpec is set
 */
MOXJ_API MoxStatus moxiEncodeHuffmanSpecInitAlloc_JPEG_8u(
    const Mox8u* pBits, const Mox8u* pHuffVal, MoxEncodeHuffmanSpec** ppSpec);
MOXJ_API MoxStatus moxiDecodeHuffmanSpecInitAlloc_JPEG_8u(
    const Mox8u* pBits, const Mox8u* pHuffVal, MoxDecodeHuffmanSpec** ppSpec);

/*
 * Initialises a state for the beginning of a scan or a restart interval: no bits, no run. An encoder's flush leaves the
 * state like that too.
 *   moxStatusNullPointer   the pointer is null; for InitAlloc also: the allocation failed, *ppState is unchanged
 */
MOXJ_API MoxStatus moxiEncodeHuffmanStateInit_JPEG_8u(MoxEncodeHuffmanState* pState);
MOXJ_API MoxStatus moxiDecodeHuffmanStateInit_JPEG_8u(MoxDecodeHuffmanState* pState);
MOXJ_API MoxStatus moxiEncodeHuffmanStateInitAlloc_JPEG_8u(MoxEncodeHuffmanState** ppState);
MOXJ_API MoxStatus moxiDecodeHuffmanStateInitAlloc_JPEG_8u(MoxDecodeHuffmanState** ppState);

/*
 * Frees what an InitAlloc function allocated.
 *   moxStatusNullPointer   the pointer is null
 */
MOXJ_API MoxStatus moxiEncodeHuffmanSpecFree_JPEG_8u(MoxEncodeHuffmanSpec* pSpec);
MOXJ_API MoxStatus moxiDecodeHuffmanSpecFree_JPEG_8u(MoxDecodeHuffmanSpec* pSpec);
MOXJ_API MoxStatus moxiEncodeHuffmanStateFree_JPEG_8u(MoxEncodeHuffmanState* pState);
MOXJ_API MoxStatus moxiDecodeHuffmanStateFree_JPEG_8u(MoxDecodeHuffmanState* pState);

/* ---- Sequential Huffman coding of 8x8 blocks ------------------------------------------------------------------ */

/*
 * One block of quantised coefficients per call: 64 in natural order, row by row; coded in zig-zag order (T.81 F.1.2,
 * F.2.2). *pLastDC is the DC predictor of the block's component: the caller sets it to 0 at the beginning of a scan or
 * restart interval, the functions update it. The caller writes and parses markers.
 */

/*
 * Appends a block to an entropy-coded segment. *pDstCurPos is the index of the next byte in the destination of dstLen
 * bytes; a byte of 0xFF is followed by a stuffed 0; up to 7 bits stay in the state. Bytes from the final position on
 * are never touched: the destination may be read-only there, or in use by another thread. A block takes at most 512
 * bytes, stuffing included.
 *
 * If flush is not 0, no block is coded, and pSrc, pLastDC and the tables may be null: the pending bits are completed
 * with 1-bits to a byte and written (at most 2 bytes), and the state is initialised. Every marker needs that first.
 *
 * Categories go up to 16 (a difference of more than 15 bits, the coefficient -32768), beyond what T.81 defines.
 *
 *   moxStatusNullPointer    pDst is null
 *   moxStatusBadSize        dstLen below 1
 *   moxStatusNullPointer    pDstCurPos or pState is null
 *   moxStatusOutOfBuffer    flushing: the destination is full; the state is initialised all the same
 *   moxStatusNullPointer    pSrc, pLastDC, pDCTable or pACTable is null
 *   moxStatusHuffTable      a symbol has no code
 *   moxStatusOutOfBuffer    the destination is full, as it also is if *pDstCurPos is negative
 * After either of the last two the segment is lost: bytes of the block have been written, position and state are those
 * after the last code or value that was written whole, *pLastDC is the block's.
 */
MOXJ_API MoxStatus moxiEncodeHuffman8x8_JPEG_16s1u_C1(const Mox16s* pSrc, Mox8u* pDst, int32_t dstLen,
    int32_t* pDstCurPos, Mox16s* pLastDC, const MoxEncodeHuffmanSpec* pDCTable, const MoxEncodeHuffmanSpec* pACTable,
    MoxEncodeHuffmanState* pState, int32_t flush);

/*
 * The same without a state and without a limit. *pDstCurBitPos counts bits: the bits before it in its byte are kept,
 * the bits after the block in the last byte become 0, and no further byte is touched. A symbol that has no code is left
 * out. The destination must have room for the block: 513 bytes at most, from the byte of the position on. To end a
 * segment the caller sets the remaining bits of the last byte to 1.
 *
 * Positions are 32-bit numbers of bits, so that a destination ends at 256 MiB: for a longer one the caller advances
 * pDst by whole bytes and reduces *pDstCurBitPos. If *pDstCurBitPos is negative, nothing is done and moxStatusOk is
 * returned.
 *   moxStatusNullPointer   a pointer is null
 */
MOXJ_API MoxStatus moxiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const Mox16s* pSrc, Mox8u* pDst, int32_t* pDstCurBitPos,
    Mox16s* pLastDC, const MoxEncodeHuffmanSpec* pDCTable, const MoxEncodeHuffmanSpec* pACTable);

/*
 * Adds the symbols of a block to 256 counters each, for moxiEncodeHuffmanRawTableInit_JPEG_8u. The caller clears the
 * counters first; they wrap.
 *   moxStatusNullPointer   a pointer is null
 */
MOXJ_API MoxStatus moxiGetHuffmanStatistics8x8_JPEG_16s_C1(
    const Mox16s* pSrc, int32_t pDCFreq[256], int32_t pACFreq[256], Mox16s* pLastDC);

/*
 * Decodes a block: clears its 64 coefficients, then stores those that are coded. *pSrcCurPos is the index of the next
 * byte to load; bits that were loaded and not used are in the state, which the caller initialises at the beginning of a
 * scan or restart interval. The code of a marker that ends the data is stored in *pMarker, and the position is then
 * after it. Nothing more is loaded until the caller sets *pMarker to 0 again. Fill bytes before a marker are skipped. A
 * position at srcLen or beyond is not an error: only the bits of the state remain.
 *
 * Damaged data: a code that is not in the table counts as symbol 0, after 17 bits have been taken for it; a coefficient
 * up to nine places past the block is stored as the last one.
 *
 *   moxStatusNullPointer   pSrc is null
 *   moxStatusBadArgument   srcLen below 0
 *   moxStatusNullPointer   any other pointer is null
 *   moxStatusBadArgument   *pSrcCurPos below 0
 *   moxStatusOutOfBuffer   bits are needed past the end of the source or a marker
 *   moxStatusError         a coefficient more than nine places past the block
 *   moxStatusMarkerMet     success; this call met the marker
 * After moxStatusOutOfBuffer and moxStatusError the block holds what was decoded, *pLastDC may be the block's, and
 * position, marker and state say how far the data have been used.
 */
MOXJ_API MoxStatus moxiDecodeHuffman8x8_JPEG_1u16s_C1(const Mox8u* pSrc, int32_t srcLen, int32_t* pSrcCurPos,
    Mox16s* pDst, Mox16s* pLastDC, int32_t* pMarker, const MoxDecodeHuffmanSpec* pDCTable,
    const MoxDecodeHuffmanSpec* pACTable, MoxDecodeHuffmanState* pState);

/*
 * The same without a state and without a length: the data must end in a marker, after which nothing is read. Loading
 * begins at byte *pSrcCurBitPos / 8; the bits that were loaded and not used are the *pNumValidBits lowest of
 * *pPrefetchedBits. The caller sets *pPrefetchedBits and *pNumValidBits to 0 at the beginning of a scan or restart
 * interval. On return *pSrcCurBitPos is 8 times the index of the next byte to load; like that of the encoder it ends at
 * 256 MiB.
 *
 * Bits that run out at a symbol end the call with moxStatusOk: before the block's DC symbol nothing changes but the
 * destination, which is cleared, and the marker; before an AC symbol *pNumValidBits becomes 0.
 *
 *   moxStatusNullPointer        pSrc or pSrcCurBitPos is null
 *   moxStatusBadArgument        *pSrcCurBitPos below 0
 *   moxStatusNullPointer        pDst, pLastDC, pMarker, pPrefetchedBits or pNumValidBits is null
 *   moxStatusBadArgument        *pNumValidBits below 0
 *   moxStatusNullPointer        pDCTable or pACTable is null
 *   moxStatusCoefficientRange   a code that is not in the table
 *   moxStatusOutOfBuffer        bits of a value are needed past the marker
 *   moxStatusError              a coefficient more than nine places past the block
 * After the last three *pSrcCurBitPos, *pPrefetchedBits and *pNumValidBits are unchanged.
 */
MOXJ_API MoxStatus moxiDecodeHuffman8x8_Direct_JPEG_1u16s_C1(const Mox8u* pSrc, int32_t* pSrcCurBitPos, Mox16s* pDst,
    Mox16s* pLastDC, int32_t* pMarker, Mox32u* pPrefetchedBits, int32_t* pNumValidBits,
    const MoxDecodeHuffmanSpec* pDCTable, const MoxDecodeHuffmanSpec* pACTable);

/* ---- Progressive Huffman coding of 8x8 blocks ----------------------------------------------------------------- */

/*
 * One block of one scan of a progressive image per call (T.81 Annex G). Blocks are 64 coefficients in natural order,
 * row by row. A scan codes the DC coefficients, or a band of AC coefficients: zig-zag positions Ss (1..63) to Se
 * (Ss..63). A first scan codes values without their Al (0..13) lowest bits; a refining scan codes bit Al of values
 * whose higher bits are known.
 *
 * Encoders. As for the sequential one, *pDstCurPos is the index of the next byte in the destination of dstLen bytes,
 * bytes of 0xFF are stuffed, up to 7 bits stay pending in the state, and bytes from the final position on are never
 * touched. The AC encoders also keep there the end-of-band run (EOBRUN, up to 32767 blocks) and, refining, its
 * correction bits. A call with a flush other than 0 codes no block: it writes what is pending, fills the last byte with
 * 1-bits and initialises the state, also if that fails. Arguments that are checked after the flush may then be null or
 * out of range.
 *
 * After an error that coding a block or flushing gives, the segment is lost: bytes written before stay; position,
 * pending bits and run are those of the last code or value that was written whole.
 */

/*
 * First DC scan (T.81 G.1.2.1): the coefficient shifted right by Al, less *pLastDC. The caller sets *pLastDC, one for
 * each component, to 0 at the beginning of a scan or restart interval.
 *   moxStatusNullPointer        pDst is null
 *   moxStatusBadSize            dstLen below 1
 *   moxStatusNullPointer        pDstCurPos or pState is null
 *       flush: moxStatusOutOfBuffer if the destination is full
 *   moxStatusNullPointer        pSrc or pLastDC is null
 *   moxStatusBadArgument        Al out of range
 *   moxStatusNullPointer        pDCTable is null
 *   moxStatusCoefficientRange   a category above 11; *pLastDC is the block's
 *   moxStatusHuffTable          a category without a code; *pLastDC is the block's
 *   moxStatusOutOfBuffer        the destination is full, as it also is if *pDstCurPos is negative
 */
MOXJ_API MoxStatus moxiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(const Mox16s* pSrc, Mox8u* pDst, int32_t dstLen,
    int32_t* pDstCurPos, Mox16s* pLastDC, int32_t Al, const MoxEncodeHuffmanSpec* pDCTable,
    MoxEncodeHuffmanState* pState, int32_t flush);

/*
 * Refining DC scan (T.81 G.1.2.1): bit Al of the coefficient.
 *   moxStatusNullPointer   pDst is null
 *   moxStatusBadSize       dstLen below 1
 *   moxStatusNullPointer   pDstCurPos or pState is null
 *       flush: moxStatusOutOfBuffer if the destination is full
 *   moxStatusNullPointer   pSrc is null
 *   moxStatusBadArgument   Al out of range
 *   moxStatusOutOfBuffer   the destination is full, as it also is if *pDstCurPos is negative
 */
MOXJ_API MoxStatus moxiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(const Mox16s* pSrc, Mox8u* pDst, int32_t dstLen,
    int32_t* pDstCurPos, int32_t Al, MoxEncodeHuffmanState* pState, int32_t flush);

/*
 * First AC scan (T.81 G.1.2.2): magnitudes shifted right by Al, in categories 1 to 11.
 *   moxStatusNullPointer        pDst is null
 *   moxStatusBadSize            dstLen below 1
 *   moxStatusNullPointer        pDstCurPos, pACTable or pState is null
 *       flush: moxStatusHuffTable or moxStatusOutOfBuffer as below, writing the run
 *   moxStatusNullPointer        pSrc is null
 *   moxStatusBadArgument        Ss, Se or Al out of range
 *   moxStatusCoefficientRange   a category above 11
 *   moxStatusHuffTable          a symbol has no code
 *   moxStatusOutOfBuffer        the destination is full, as it also is if *pDstCurPos is negative
 */
MOXJ_API MoxStatus moxiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(const Mox16s* pSrc, Mox8u* pDst, int32_t dstLen,
    int32_t* pDstCurPos, int32_t Ss, int32_t Se, int32_t Al, const MoxEncodeHuffmanSpec* pACTable,
    MoxEncodeHuffmanState* pState, int32_t flush);

/*
 * Refining AC scan (T.81 G.1.2.3). A run is written before it holds more than 937 + 63 correction bits; the state has
 * room for 1024. The checks of the first AC scan; there is no category.
 */
MOXJ_API MoxStatus moxiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(const Mox16s* pSrc, Mox8u* pDst, int32_t dstLen,
    int32_t* pDstCurPos, int32_t Ss, int32_t Se, int32_t Al, const MoxEncodeHuffmanSpec* pACTable,
    MoxEncodeHuffmanState* pState, int32_t flush);

/*
 * The symbols that the encoders would code for a block, added to 256 counters. The caller clears the counters first;
 * they wrap. The AC forms keep the run and the number of correction bits in an encoder state, one that no encoder uses
 * meanwhile; a flush other than 0 counts the pending run and initialises the state. A refining DC scan has no symbols.
 *
 * DCFirst:
 *   moxStatusNullPointer        pSrc, pDCFreq or pLastDC is null
 *   moxStatusBadArgument        Al out of range
 *   moxStatusCoefficientRange   a category above 11; *pLastDC is the block's
 * ACFirst, ACRefine:
 *   moxStatusNullPointer        pACFreq or pState is null
 *       flush: no further check
 *   moxStatusNullPointer        pSrc is null
 *   moxStatusBadArgument        Ss, Se or Al out of range
 *   moxStatusCoefficientRange   ACFirst: a category above 10, one less than can be coded
 */
MOXJ_API MoxStatus moxiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(
    const Mox16s* pSrc, int32_t pDCFreq[256], Mox16s* pLastDC, int32_t Al);
MOXJ_API MoxStatus moxiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(const Mox16s* pSrc, int32_t pACFreq[256], int32_t Ss,
    int32_t Se, int32_t Al, MoxEncodeHuffmanState* pState, int32_t flush);
MOXJ_API MoxStatus moxiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(const Mox16s* pSrc, int32_t pACFreq[256],
    int32_t Ss, int32_t Se, int32_t Al, MoxEncodeHuffmanState* pState, int32_t flush);

/*
 * Decoders (T.81 G.2). Each adds one scan to a block and never clears it: the caller clears all blocks before the first
 * scan. *pSrcCurPos is the index of the next byte to load. The bits loaded and not used, at most 32, and the
 * end-of-band run are in the state, which the caller initialises at the beginning of each scan and restart interval.
 * The code of a marker that ends the data is stored in *pMarker, the position is then after it, and nothing more is
 * loaded until the caller sets *pMarker to 0. The call that met the marker gives moxStatusMarkerMet if the bits held
 * were enough for its block.
 *
 * An empty source (srcLen 0), which the sequential decoder takes, is an error. After moxStatusOutOfBuffer or
 * moxStatusError the block holds what was decoded so far, and position, marker and state say how far the data have been
 * used.
 */

/*
 * First DC scan: a difference, added to *pLastDC with 16-bit wrap-around; the sum shifted left by Al is stored as
 * coefficient 0.
 *   moxStatusNullPointer   pSrc is null
 *   moxStatusBadSize       srcLen below 1
 *   moxStatusNullPointer   pSrcCurPos, pDst, pLastDC or pMarker is null
 *   moxStatusBadArgument   Al out of range
 *   moxStatusNullPointer   pDCTable or pState is null
 *   moxStatusBadArgument   *pSrcCurPos below 0
 *   moxStatusOutOfBuffer   bits are needed past the end of the source or a marker
 *   moxStatusMarkerMet     success; this call met the marker
 */
MOXJ_API MoxStatus moxiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(const Mox8u* pSrc, int32_t srcLen, int32_t* pSrcCurPos,
    Mox16s* pDst, Mox16s* pLastDC, int32_t* pMarker, int32_t Al, const MoxDecodeHuffmanSpec* pDCTable,
    MoxDecodeHuffmanState* pState);

/*
 * Refining DC scan: one bit, which sets bit Al of coefficient 0. No byte is loaded while the state holds a bit.
 *   moxStatusNullPointer   pSrc is null
 *   moxStatusBadSize       srcLen below 1
 *   moxStatusNullPointer   pSrcCurPos, pDst or pMarker is null
 *   moxStatusBadArgument   Al out of range
 *   moxStatusNullPointer   pState is null
 *   moxStatusBadArgument   *pSrcCurPos below 0
 *   moxStatusOutOfBuffer   a bit is needed past the end of the source or a marker
 *   moxStatusMarkerMet     success; this call met the marker
 */
MOXJ_API MoxStatus moxiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(const Mox8u* pSrc, int32_t srcLen, int32_t* pSrcCurPos,
    Mox16s* pDst, int32_t* pMarker, int32_t Al, MoxDecodeHuffmanState* pState);

/*
 * First AC scan (T.81 G.2.2). Inside an end-of-band run only the run's count in the state changes. In damaged data
 * a coefficient may lie past the band: it is stored where it belongs, up to nine places past the block as coefficient
 * 63, further on not at all (moxStatusError), as in the sequential decoder.
 *   moxStatusNullPointer   pSrc is null
 *   moxStatusBadSize       srcLen below 1
 *   moxStatusNullPointer   pSrcCurPos, pDst or pMarker is null
 *   moxStatusBadArgument   Ss, Se or Al out of range
 *   moxStatusNullPointer   pACTable or pState is null
 *   moxStatusBadArgument   *pSrcCurPos below 0
 *   moxStatusOutOfBuffer   bits are needed past the end of the source or a marker
 *   moxStatusError         a coefficient more than nine places past the block
 *   moxStatusMarkerMet     success; this call met the marker
 */
MOXJ_API MoxStatus moxiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(const Mox8u* pSrc, int32_t srcLen, int32_t* pSrcCurPos,
    Mox16s* pDst, int32_t* pMarker, int32_t Ss, int32_t Se, int32_t Al, const MoxDecodeHuffmanSpec* pACTable,
    MoxDecodeHuffmanState* pState);

/*
 * Refining AC scan (T.81 G.2.3). In damaged data any size but 0 counts as 1, a new coefficient for which the band has
 * no place is dropped, and a run whose correction bits run out stays as it is. The checks of the first AC scan, without
 * moxStatusError.
 */
MOXJ_API MoxStatus moxiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(const Mox8u* pSrc, int32_t srcLen, int32_t* pSrcCurPos,
    Mox16s* pDst, int32_t* pMarker, int32_t Ss, int32_t Se, int32_t Al, const MoxDecodeHuffmanSpec* pACTable,
    MoxDecodeHuffmanState* pState);

/* ---- Optimal Huffman tables ----------------------------------------------------------------------------------- */

/*
 * The table of a DHT segment that codes symbols of the given frequencies in the fewest bits, in codes of at most
 * 16 bits of which none is all ones (T.81 K.2, figures K.1 to K.4). pFreq: one count per symbol; pBits: the number
 * of codes of each length from 1 to 16; pHuffVal: the symbols of frequency above 0, at most 256; no further bytes are
 * written. Frequencies and their sums are clamped to 0..1000000000. Without any frequency above 0 all lengths have 0
 * codes.
 *   moxStatusNullPointer   a pointer is null
 *   moxStatusHuffTable     a code of more than 32 bits before lengths are limited, which needs frequencies that grow
 *                          like the Fibonacci numbers
 */
MOXJ_API MoxStatus moxiEncodeHuffmanRawTableInit_JPEG_8u(const int32_t pFreq[256], Mox8u pBits[16], Mox8u* pHuffVal);

/* ---- Lossless JPEG (T.81 Annex H) ----------------------------------------------------------------------------- */

/*
 * Rows of samples and of differences are plain arrays of `width` signed 16-bit elements, one component each. Samples of
 * more than 15 bits are their 16-bit patterns: all sums are taken modulo 65536. Source and destination rows must not
 * overlap. The caller goes from row to row, keeps the row above (of the source when coding, of the reconstruction when
 * decoding) and shifts the samples by the point transform Pt (T.81 H.1.2.1: right before the prediction, left after the
 * reconstruction). The first-row functions are for the first row of a scan and of every restart interval.
 *
 * Predictors (T.81 table H.1), of Ra to the left, Rb above and Rc above Ra:
 *   1  Ra    2  Rb    3  Rc    4  Ra + Rb - Rc    5  Ra + ((Rb - Rc) >> 1)    6  Rb + ((Ra - Rc) >> 1)
 *   7  (Ra + Rb) >> 1
 * The first column is always predicted by Rb. The halves of 5, 6 and 7 are those of signed values: with samples above
 * 32767 they differ from those of a decoder that takes samples as unsigned (Ra 0x8000 and Rb 0 give 0xC000 by
 * predictor 7). Both directions here predict alike, so that every row is restored exactly.
 *
 * Checks of the four functions on rows, in this order:
 *   moxStatusNullPointer   a pointer is null
 *   moxStatusBadSize       width below 1
 *   moxStatusBadArgument   first rows: P outside 2..16 or Pt below 0; other rows: a predictor outside 1..7
 */

/*
 * Differences of a first row: pSrc[0] - 2^(P - Pt - 1), then each sample minus the one to its left. P is the precision
 * of the samples before the point transform. Pt is not limited by P: the exponent is taken modulo 32, so that from
 * Pt = P on the first sample is predicted by a meaningless power of two.
 */
MOXJ_API MoxStatus moxiDiffPredFirstRow_JPEG_16s_C1(
    const Mox16s* pSrc, Mox16s* pDst, int32_t width, int32_t P, int32_t Pt);

/* Differences of any other row; pPrevRow is the row of samples above. */
MOXJ_API MoxStatus moxiDiffPredRow_JPEG_16s_C1(
    const Mox16s* pSrc, const Mox16s* pPrevRow, Mox16s* pDst, int32_t width, int32_t predictor);

/* Samples of a first row from its differences; P and Pt as above. */
MOXJ_API MoxStatus moxiReconstructPredFirstRow_JPEG_16s_C1(
    const Mox16s* pSrc, Mox16s* pDst, int32_t width, int32_t P, int32_t Pt);

/* Samples of any other row from its differences; pPrevRow is the row of samples above. */
MOXJ_API MoxStatus moxiReconstructPredRow_JPEG_16s_C1(
    const Mox16s* pSrc, const Mox16s* pPrevRow, Mox16s* pDst, int32_t width, int32_t predictor);

/*
 * Appends one difference to an entropy-coded segment (T.81 H.1.2.2): the code of its category, 0 to 16, and the bits of
 * its value, as the sequential encoder codes a DC difference; the difference 32768 (-32768) is category 16, without
 * value bits. pDst, dstLen, pDstCurPos and pState are those of moxiEncodeHuffman8x8_JPEG_16s1u_C1: dstLen bytes in all,
 * *pDstCurPos the index of the next one, bits that do not fill a byte stay in the state, a byte of 0xFF is followed by
 * 0x00, bytes from the final position on are never touched.
 *
 * If flush is not 0, the pending bits are completed with 1-bits to a byte and written, and the state is initialised;
 * pSrc and pTable may be null.
 *
 * A full destination and a category without a code are NOT reported: the call returns moxStatusOk, the bytes that
 * fitted are written, and a code or value that failed leaves no bits in the state; value bits are left out where the
 * code failed. A difference takes at most 8 bytes and a flush 2: with as much room after *pDstCurPos the destination
 * cannot become full.
 *
 *   moxStatusNullPointer   pDst is null
 *   moxStatusBadSize       dstLen below 1
 *   moxStatusNullPointer   pDstCurPos or pState is null
 *   moxStatusNullPointer   without flush: pSrc or pTable is null
 */
MOXJ_API MoxStatus moxiEncodeHuffmanOne_JPEG_16s1u_C1(const Mox16s* pSrc, Mox8u* pDst, int32_t dstLen,
    int32_t* pDstCurPos, const MoxEncodeHuffmanSpec* pTable, MoxEncodeHuffmanState* pState, int32_t flush);

/*
 * Decodes one difference (T.81 H.2.2) as the sequential decoder decodes a DC difference: srcLen, pSrcCurPos, pMarker
 * and pState are those of moxiDecodeHuffman8x8_JPEG_1u16s_C1. Category 16, and any symbol above it, gives -32768 and
 * takes no value bits; a code that is not in the table gives 0. At a position outside 0..srcLen there are no bytes to
 * load.
 *
 *   moxStatusNullPointer   pSrc is null
 *   moxStatusBadArgument   srcLen below 0
 *   moxStatusNullPointer   pSrcCurPos, pDst, pMarker, pTable or pState is null
 *   moxStatusOutOfBuffer   the bits run out; *pDst is unchanged, position, marker and state are where reading stopped
 *   moxStatusMarkerMet     success; this call met the marker
 */
MOXJ_API MoxStatus moxiDecodeHuffmanOne_JPEG_1u16s_C1(const Mox8u* pSrc, int32_t srcLen, int32_t* pSrcCurPos,
    Mox16s* pDst, int32_t* pMarker, const MoxDecodeHuffmanSpec* pTable, MoxDecodeHuffmanState* pState);

/*
 * Counts the category of a difference: adds 1 to one of pFreq[0] to pFreq[16], which the caller clears first and which
 * wrap. pFreq has 256 counters, as the table builder takes them; the others are not touched.
 *   moxStatusNullPointer   pSrc or pFreq is null
 *   moxStatusOutOfRange    a category above 16, which no 16-bit difference has
 */
MOXJ_API MoxStatus moxiGetHuffmanStatisticsOne_JPEG_16s_C1(const Mox16s* pSrc, int32_t pFreq[256]);

/* ---- Quantisation tables and 8x8 quantisation ----------------------------------------------------------------- */

/*
 * Three kinds of table, 64 entries each:
 *   raw       steps 1 to 255 as 8-bit values in the zig-zag order of a DQT segment (T.81 B.2.4.1, A.3.6); 0 is invalid
 *   forward   reciprocals of the steps, about 32768 / step, as 16-bit values in natural (row-major) order
 *   inverse   the steps as 16-bit values in natural order
 *
 * The functions on blocks and the DCT functions take any forward and inverse table, not only those that these functions
 * make: every 16-bit value has its meaning, so that 16-bit steps can be put into an inverse table directly. Blocks are
 * 64 signed 16-bit coefficients in natural order: index 8 * row + column, 0 the DC coefficient.
 *
 * The only check of all five functions: a pointer is null, moxStatusNullPointer.
 */

/*
 * Scales the steps of a raw table in place for a quality, 1 (coarsest) to 100 (every step 1):
 *   percent = quality < 50 ? 5000 / quality : 200 - 2 * quality
 *   step    = (step * percent + 50) / 100, then clamped to 1..255
 * with integer divisions that truncate. 50 leaves the table unchanged (a step of 0 becomes 1). Qualities above 100 and
 * below 0 make every step 1. Quality 0 is not checked for: it divides by zero, which is undefined.
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
 * the lowest bit of a reciprocal is not used. The quantisation inside the DCT functions differs.
 */
MOXJ_API MoxStatus moxiQuantFwd8x8_JPEG_16s_C1I(Mox16s* pSrcDst, const Mox16u* pFwdTable);

/* Dequantises a block in place: the low 16 bits of each coefficient times its step (it wraps, T.81 A.3.4). */
MOXJ_API MoxStatus moxiQuantInv8x8_JPEG_16s_C1I(Mox16s* pSrcDst, const Mox16u* pInvTable);

/* ---- 8x8 DCT with quantisation -------------------------------------------------------------------------------- */

/*
 * The DCT of T.81 A.3.3 and its inverse on blocks of 64 signed 16-bit values in natural order, with the quantisation
 * (T.81 A.3.4) by the tables of the section above: a constant block of samples v has a DC coefficient of 8 v before
 * quantisation. The LS functions take samples from a region of 8 by 8 unsigned pixels, or store them there, with the
 * level shift by 128 (T.81 A.3.1).
 *
 * The transforms work in fixed point. For 8-bit samples results are within 0.75 of the exact transform, with a mean
 * square error of 0.085 (a rounded exact result has 0.5 and 0.083). Far larger values are allowed: they saturate or
 * wrap at defined places. Coefficients before quantisation are always within -2048..2047, samples of the inverse
 * transform within -1024..1023.
 *
 * Forward quantisation: c * r / 32768 to the nearest integer, halves to the even one, for all reciprocals from 0 to
 * 65535. It differs from moxiQuantFwd8x8_JPEG_16s_C1I, which rounds halves up and wraps: the same coefficients and
 * table can give other results there. Dequantisation: as moxiQuantInv8x8_JPEG_16s_C1I.
 *
 * Checks of the functions without LS:
 *   moxStatusNullPointer   a pointer is null
 * Checks of the LS functions, in this order:
 *   moxStatusNullPointer   pSrc or pDst is null
 *   moxStatusBadStep       the step is below 1
 *   moxStatusNullPointer   the table is null
 */

/* Samples to quantised coefficients. pSrc and pDst may be the same block. */
MOXJ_API MoxStatus moxiDCTQuantFwd8x8_JPEG_16s_C1(const Mox16s* pSrc, Mox16s* pDst, const Mox16u* pFwdTable);
MOXJ_API MoxStatus moxiDCTQuantFwd8x8_JPEG_16s_C1I(Mox16s* pSrcDst, const Mox16u* pFwdTable);

/* A region of 8 by 8 pixels, its rows srcStep bytes apart, to quantised coefficients. */
MOXJ_API MoxStatus moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(
    const Mox8u* pSrc, int32_t srcStep, Mox16s* pDst, const Mox16u* pFwdTable);

/* Quantised coefficients to samples, not limited to 8 bits. pSrc and pDst may be the same block. */
MOXJ_API MoxStatus moxiDCTQuantInv8x8_JPEG_16s_C1(const Mox16s* pSrc, Mox16s* pDst, const Mox16u* pInvTable);
MOXJ_API MoxStatus moxiDCTQuantInv8x8_JPEG_16s_C1I(Mox16s* pSrcDst, const Mox16u* pInvTable);

/*
 * Quantised coefficients to a region of 8 by 8 pixels, its rows dstStep bytes apart: samples plus 128, clamped to
 * 0..255. Rows are written from the first to the last; with a step below 8 the later ones overwrite the earlier.
 */
MOXJ_API MoxStatus moxiDCTQuantInv8x8LS_JPEG_16s8u_C1R(
    const Mox16s* pSrc, Mox8u* pDst, int32_t dstStep, const Mox16u* pInvTable);

/* ---- Level shift ---------------------------------------------------------------------------------------------- */

/*
 * The level shift between unsigned 8-bit samples and signed values (T.81 A.3.1) of a region, for coders that
 * transform blocks of 16-bit values. roiSize counts elements, steps count bytes. Rows are shared among threads.
 *
 * Checks, in this order:
 *   moxStatusNullPointer   pSrc is null
 *   moxStatusBadStep       srcStep below 1
 *   moxStatusNullPointer   pDst is null
 *   moxStatusBadStep       dstStep below 1
 *   moxStatusBadSize       width or height below 1
 */

/* dst = src - 128 */
MOXJ_API MoxStatus moxiSub128_JPEG_8u16s_C1R(
    const Mox8u* pSrc, int32_t srcStep, Mox16s* pDst, int32_t dstStep, MoxRoiSize roiSize);

/* dst = src + 128, clamped to 0..255 */
MOXJ_API MoxStatus moxiAdd128_JPEG_16s8u_C1R(
    const Mox16s* pSrc, int32_t srcStep, Mox8u* pDst, int32_t dstStep, MoxRoiSize roiSize);

/* ---- Colour conversion ---------------------------------------------------------------------------------------- */

/*
 * Regions of RGB pixels to YCbCr (JFIF) and of CMYK pixels to YCCK, and back. Planes are in the order Y, Cb, Cr (, K);
 * R, G, B; C, M, Y, K. All planes of an array share one row step. Pixels that are not planes:
 *
 *   RGB, BGR, CMYK   3 or 4 bytes in the order of the name
 *   RGB555           a 16-bit word: red in bits 0..4, green in 5..9, blue in 10..14
 *   BGR555           a 16-bit word: blue in bits 0..4, green in 5..9, red in 10..14
 *   RGB565           a 16-bit word: red in bits 0..4, green in 5..10, blue in 11..15
 *   BGR565           a 16-bit word: blue in bits 0..4, green in 5..10, red in 11..15
 *
 * Words have the byte order of the machine. Bit 15 of a 555 word is ignored when read and 0 when written. A field v
 * becomes a sample by repeating its upper bits: v << 3 | v >> 2 (5 bits), v << 2 | v >> 4 (6 bits). A sample becomes
 * the field whose sample is nearest, the larger of two that are equally near.
 *
 * Each row is cut into groups of four columns from its start; the up to three columns left are its tail. Groups and
 * tails have different weights, and the same colour can give results that differ by 1. Grey stays grey exactly. Each
 * result is clamped to 0..255.
 *
 * To YCbCr, bytes:
 *   groups     Y  = (9798 R + 19235 G + 3736 B + 16266) >> 15     from RGB or BGR pixels (C3)
 *              Y  = (19595 R + 38470 G + 7471 B + 32768) >> 16    from planes, and from CMYK
 *              Cb = (-5529 R - 10855 G + 16384 B + 4210688) >> 15
 *              Cr = (16384 R - 13720 G - 2664 B + 4210704) >> 15
 *   tails      Y  = (19595 R + 38470 G + 7471 B + 32768) >> 16
 *              Cb = (-11059 R - 21709 G + 32768 B + 8421375) >> 16
 *              Cr = (32768 R - 27439 G - 5329 B + 8421375) >> 16
 * To YCbCr, words, all columns:
 *              Y  = (4899 R + 9617 G + 1868 B + 8192) >> 14
 *              Cb = (-2764 R - 5428 G + 8192 B + 2105344) >> 14
 *              Cr = (8192 R - 6860 G - 1332 B + 2105344) >> 14
 * From YCbCr, bytes and words:
 *   groups     R  = Y + ((22970 Cr - 2932015) >> 14)
 *              G  = Y - ((5638 Cb + 11700 Cr - 2211182) >> 14)
 *              B  = Y + ((29032 Cb - 3708561) >> 14)
 *   tails      R  = Y + ((91881 (Cr - 128) + 32768) >> 16)
 *              G  = Y + ((-22554 (Cb - 128) - 46802 (Cr - 128) + 32768) >> 16)
 *              B  = Y + ((116130 (Cb - 128) + 32768) >> 16)
 * CMYK: 255 - C, 255 - M and 255 - Y take the places of R, G and B, both ways; K is copied.
 *
 * Checks, in this order:
 *   moxStatusNullPointer   pSrc or pDst is null
 *   moxStatusNullPointer   a plane pointer in pSrc or pDst is null
 *   moxStatusBadStep       srcStep or dstStep below 1
 *   moxStatusBadSize       width or height below 1
 *
 * Rows are shared among threads, but not those of the packed words.
 */

/* To Y, Cb, Cr: from interleaved pixels, from planes, from packed words. */
MOXJ_API MoxStatus moxiRGBToYCbCr_JPEG_8u_C3P3R(
    const Mox8u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiBGRToYCbCr_JPEG_8u_C3P3R(
    const Mox8u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiRGBToYCbCr_JPEG_8u_P3R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiRGB555ToYCbCr_JPEG_16u8u_C3P3R(
    const Mox16u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiBGR555ToYCbCr_JPEG_16u8u_C3P3R(
    const Mox16u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiRGB565ToYCbCr_JPEG_16u8u_C3P3R(
    const Mox16u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiBGR565ToYCbCr_JPEG_16u8u_C3P3R(
    const Mox16u* pSrc, int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);

/* To Y alone: the Y of the functions above. */
MOXJ_API MoxStatus moxiRGBToY_JPEG_8u_C3C1R(
    const Mox8u* pSrc, int32_t srcStep, Mox8u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiBGRToY_JPEG_8u_C3C1R(
    const Mox8u* pSrc, int32_t srcStep, Mox8u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiRGBToY_JPEG_8u_P3C1R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox8u* pDst, int32_t dstStep, MoxRoiSize roiSize);

/* To Y, Cb, Cr, K. */
MOXJ_API MoxStatus moxiCMYKToYCCK_JPEG_8u_C4P4R(
    const Mox8u* pSrc, int32_t srcStep, Mox8u* const pDst[4], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiCMYKToYCCK_JPEG_8u_P4R(
    const Mox8u* const pSrc[4], int32_t srcStep, Mox8u* const pDst[4], int32_t dstStep, MoxRoiSize roiSize);

/* From Y, Cb, Cr: to interleaved pixels, to planes, to packed words. */
MOXJ_API MoxStatus moxiYCbCrToRGB_JPEG_8u_P3C3R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox8u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiYCbCrToBGR_JPEG_8u_P3C3R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox8u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiYCbCrToRGB_JPEG_8u_P3R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox8u* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiYCbCrToRGB555_JPEG_8u16u_P3C3R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox16u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiYCbCrToBGR555_JPEG_8u16u_P3C3R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox16u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiYCbCrToRGB565_JPEG_8u16u_P3C3R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox16u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiYCbCrToBGR565_JPEG_8u16u_P3C3R(
    const Mox8u* const pSrc[3], int32_t srcStep, Mox16u* pDst, int32_t dstStep, MoxRoiSize roiSize);

/* From Y, Cb, Cr, K. */
MOXJ_API MoxStatus moxiYCCKToCMYK_JPEG_8u_P4C4R(
    const Mox8u* const pSrc[4], int32_t srcStep, Mox8u* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiYCCKToCMYK_JPEG_8u_P4R(
    const Mox8u* const pSrc[4], int32_t srcStep, Mox8u* const pDst[4], int32_t dstStep, MoxRoiSize roiSize);

/* ---- Chroma sampling ------------------------------------------------------------------------------------------ */

/*
 * Down- and up-sampling of one plane of 8-bit samples by two horizontally (H2V1) or by two in both directions
 * (H2V2), as JPEG coders do with chroma. T.81 A.1 gives the relation of the sizes and leaves the filters open;
 * here chroma samples lie midway between luma samples (JFIF).
 *
 * There are two families, and they round differently:
 *   - regions (..._C1R) have rows and steps, read their border from memory, and share their rows among threads;
 *   - rows (...Row..._C1) make one output row, need no border, and alternate the rounding of down-sampled samples.
 *
 * Regions. The size of the destination determines all work. The size of the source is checked but limits nothing: the
 * caller ensures that the source holds what the destination needs. For a destination of W x H that is
 *
 *   DownH2V1   2 W columns, H rows
 *   DownH2V2   2 W columns, 2 H rows
 *   UpH2V1     ceil(W / 2) columns, H rows; also the sample before each row and, if W is even, the one after it
 *   UpH2V2     ceil(W / 2) columns, ceil(H / 2) rows; the samples beside them as for UpH2V1; also the row above
 *              and, if H is even, the row below, with the samples beside these rows
 *
 * pSrc points to the first of these columns and rows. Beside them usually lies the rest of the plane; at its edges the
 * caller has allocated room and filled it, usually with copies of the outermost samples. Nothing else is read.
 *
 * Checks of the regions, in this order:
 *   moxStatusNullPointer   pSrc is null
 *   moxStatusBadStep       srcStep below 1
 *   moxStatusBadSize       width or height of srcRoiSize below 1
 *   moxStatusNullPointer   pDst is null
 *   moxStatusBadStep       dstStep below 1
 *   moxStatusBadSize       width or height of dstRoiSize below 1
 * Checks of the rows, in this order:
 *   moxStatusNullPointer   a pointer is null
 *   moxStatusBadSize       srcWidth below 1
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
 * For row i the nearer source row is floor(i / 2); the farther one is the row above that if i is even, the row
 * below if i is odd. An odd width ends with d[2k].
 */
MOXJ_API MoxStatus moxiSampleUpH2V2_JPEG_8u_C1R(
    const Mox8u* pSrc, int32_t srcStep, MoxRoiSize srcRoiSize, Mox8u* pDst, int32_t dstStep, MoxRoiSize dstRoiSize);

/*
 * Box filters that write srcWidth / 2 samples:
 *   H2V1: d[k] = (s[2k] + s[2k+1] + bias) >> 1, the bias alternating between 0 and 1;
 *   H2V2: d[k] = (a[2k] + a[2k+1] + b[2k] + b[2k+1] + bias) >> 2, the bias alternating between 1 and 2; a is pSrc1,
 *         the upper row.
 * From 16 samples on, d[0] takes the lower bias. Shorter rows end with the lower bias, so that d[0] takes the upper
 * one where the number of outputs is even (srcWidth 4, 8 and 12). The addresses of the rows make no difference.
 *
 * The last sample of an odd srcWidth is neither read nor used; srcWidth 1 writes nothing.
 */
MOXJ_API MoxStatus moxiSampleDownRowH2V1_Box_JPEG_8u_C1(const Mox8u* pSrc, int32_t srcWidth, Mox8u* pDst);
MOXJ_API MoxStatus moxiSampleDownRowH2V2_Box_JPEG_8u_C1(
    const Mox8u* pSrc1, const Mox8u* pSrc2, int32_t srcWidth, Mox8u* pDst);

/*
 * The triangle filters of the regions, writing 2 srcWidth samples; in place of the samples before the first and after
 * the last they take the first and the last again. pSrc1 is the nearer row, pSrc2 the farther one. A constant row stays
 * constant. srcWidth 1 is allowed: the only sample is its own neighbour on both sides.
 */
MOXJ_API MoxStatus moxiSampleUpRowH2V1_Triangle_JPEG_8u_C1(const Mox8u* pSrc, int32_t srcWidth, Mox8u* pDst);
MOXJ_API MoxStatus moxiSampleUpRowH2V2_Triangle_JPEG_8u_C1(
    const Mox8u* pSrc1, const Mox8u* pSrc2, int32_t srcWidth, Mox8u* pDst);

/* ---- MCU-level colour, sampling and level shift --------------------------------------------------------------- */

/*
 * One minimum coded unit (T.81 A.2) in one pass: on the encoder's side its pixels become the level-shifted 8x8 blocks
 * that the forward DCT takes, on the decoder's side the blocks of the inverse DCT become its pixels. A block is 64
 * signed 16-bit values (sample - 128) in natural order.
 *
 *   name   pixels    blocks of Y (and K)                             blocks of Cb and Cr
 *   444    8 x 8     1                                               1 each, a value per pixel
 *   422    16 x 8    2: left, right                                  1 each, a value per two pixels of a row
 *   411    16 x 16   4: top left, top right, bottom left and right   1 each, a value per square of four pixels
 *
 * The MCU is an array of pointers, one per component (Y, Cb, Cr, and K of CMYK). The blocks of Y are consecutive in
 * memory from the first pointer on, 64 values each, and those of K, which is not sub-sampled, from the fourth on.
 * Pixels are interleaved bytes in the order of the name, or the 16-bit words BGR555 and BGR565 of the colour
 * conversions. pSrc and pDst point to the top left pixel, rows are srcStep or dstStep bytes apart. Nothing but these
 * pixels and blocks is touched.
 *
 * Encoder's side:
 *   Y  = (4899 R + 9617 G + 1868 B - 2088960) >> 14
 *   Cb = (-2764 R - 5428 G + 8192 B + 8192 n) >> (14 + log2 n)
 *   Cr = (8192 R - 6860 G - 1332 B + 8192 n) >> (14 + log2 n)
 * where R, G and B of chroma are sums over the n pixels that share it (1, 2 or 4). These are the weights of the packed
 * words above. Chroma is centred on 0 and not limited: the purest blue and red give 128. Fields of words become
 * samples by a shift (the low bits are 0: the word 0x7FFF is grey of 248), not as in the colour conversions. 255 - C,
 * 255 - M and 255 - Y take the places of R, G and B; K becomes K - 128.
 *
 * Decoder's side, for blocks of any 16-bit values, in sums without a limit, each result then clamped to 0..255:
 *   R = Y + ((11485 Cr + 1052672) >> 13)
 *   G = Y - ((5638 Cb + 11700 Cr - 2088960) >> 14)
 *   B = Y + ((14516 Cb + 1052672) >> 13)
 * Chroma is repeated for the pixels that share it. Words take the upper bits of the clamped samples; bit 15 of BGR555
 * is 0. C, M and Y are 255 minus R, G and B; K is K + 128 clamped to 0..255.
 *
 * Checks on the encoder's side, in this order:
 *   moxStatusNullPointer   pSrc or pDstMCU is null
 *   moxStatusBadStep       srcStep below 1
 *   moxStatusNullPointer   a pointer in pDstMCU is null
 * Checks on the decoder's side, in this order:
 *   moxStatusNullPointer   pSrcMCU or pDst is null
 *   moxStatusNullPointer   a pointer in pSrcMCU is null
 *   moxStatusBadStep       dstStep below 1
 *
 * All run on the calling thread; a caller parallelises over MCUs.
 */

/* Pixels to blocks. */
MOXJ_API MoxStatus moxiRGBToYCbCr444LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]);
MOXJ_API MoxStatus moxiRGBToYCbCr422LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]);
MOXJ_API MoxStatus moxiRGBToYCbCr411LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]);
MOXJ_API MoxStatus moxiBGRToYCbCr444LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]);
MOXJ_API MoxStatus moxiBGRToYCbCr422LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]);
MOXJ_API MoxStatus moxiBGRToYCbCr411LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]);
MOXJ_API MoxStatus moxiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R(
    const Mox16u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]);
MOXJ_API MoxStatus moxiBGR555ToYCbCr422LS_MCU_16u16s_C3P3R(
    const Mox16u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]);
MOXJ_API MoxStatus moxiBGR555ToYCbCr411LS_MCU_16u16s_C3P3R(
    const Mox16u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]);
MOXJ_API MoxStatus moxiBGR565ToYCbCr444LS_MCU_16u16s_C3P3R(
    const Mox16u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]);
MOXJ_API MoxStatus moxiBGR565ToYCbCr422LS_MCU_16u16s_C3P3R(
    const Mox16u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]);
MOXJ_API MoxStatus moxiBGR565ToYCbCr411LS_MCU_16u16s_C3P3R(
    const Mox16u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]);
MOXJ_API MoxStatus moxiCMYKToYCCK444LS_MCU_8u16s_C4P4R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[4]);
MOXJ_API MoxStatus moxiCMYKToYCCK422LS_MCU_8u16s_C4P4R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[4]);
MOXJ_API MoxStatus moxiCMYKToYCCK411LS_MCU_8u16s_C4P4R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[4]);

/*
 * Pixels that are Y, Cb, Cr already: Y - 128, and for chroma the mean of the n values that share it, rounded down: (the
 * sum - 128 n) >> log2 n. Chroma of 0 and 1 gives -128.
 */
MOXJ_API MoxStatus moxiSampleDown444LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]);
MOXJ_API MoxStatus moxiSampleDown422LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]);
MOXJ_API MoxStatus moxiSampleDown411LS_MCU_8u16s_C3P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]);

/* Pixels that are 4:2:2 already, 16 x 8 of them: for every two of a row the bytes Y0, Cb, Y1, Cr. All minus 128. */
MOXJ_API MoxStatus moxiSplit422LS_MCU_8u16s_C2P3R(const Mox8u* pSrc, int32_t srcStep, Mox16s* const pDstMCU[3]);

/* Blocks to pixels. */
MOXJ_API MoxStatus moxiYCbCr444ToRGBLS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep);
MOXJ_API MoxStatus moxiYCbCr422ToRGBLS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep);
MOXJ_API MoxStatus moxiYCbCr411ToRGBLS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep);
MOXJ_API MoxStatus moxiYCbCr444ToBGRLS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep);
MOXJ_API MoxStatus moxiYCbCr422ToBGRLS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep);
MOXJ_API MoxStatus moxiYCbCr411ToBGRLS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep);
MOXJ_API MoxStatus moxiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R(
    const Mox16s* const pSrcMCU[3], Mox16u* pDst, int32_t dstStep);
MOXJ_API MoxStatus moxiYCbCr422ToBGR555LS_MCU_16s16u_P3C3R(
    const Mox16s* const pSrcMCU[3], Mox16u* pDst, int32_t dstStep);
MOXJ_API MoxStatus moxiYCbCr411ToBGR555LS_MCU_16s16u_P3C3R(
    const Mox16s* const pSrcMCU[3], Mox16u* pDst, int32_t dstStep);
MOXJ_API MoxStatus moxiYCbCr444ToBGR565LS_MCU_16s16u_P3C3R(
    const Mox16s* const pSrcMCU[3], Mox16u* pDst, int32_t dstStep);
MOXJ_API MoxStatus moxiYCbCr422ToBGR565LS_MCU_16s16u_P3C3R(
    const Mox16s* const pSrcMCU[3], Mox16u* pDst, int32_t dstStep);
MOXJ_API MoxStatus moxiYCbCr411ToBGR565LS_MCU_16s16u_P3C3R(
    const Mox16s* const pSrcMCU[3], Mox16u* pDst, int32_t dstStep);
MOXJ_API MoxStatus moxiYCCK444ToCMYKLS_MCU_16s8u_P4C4R(const Mox16s* const pSrcMCU[4], Mox8u* pDst, int32_t dstStep);
MOXJ_API MoxStatus moxiYCCK422ToCMYKLS_MCU_16s8u_P4C4R(const Mox16s* const pSrcMCU[4], Mox8u* pDst, int32_t dstStep);
MOXJ_API MoxStatus moxiYCCK411ToCMYKLS_MCU_16s8u_P4C4R(const Mox16s* const pSrcMCU[4], Mox8u* pDst, int32_t dstStep);

/* To pixels of Y, Cb and Cr: each plus 128, clamped to 0..255, chroma repeated. */
MOXJ_API MoxStatus moxiSampleUp444LS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep);
MOXJ_API MoxStatus moxiSampleUp422LS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep);
MOXJ_API MoxStatus moxiSampleUp411LS_MCU_16s8u_P3C3R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep);

/* To 4:2:2 pixels, Y0, Cb, Y1, Cr: each plus 128, clamped to 0..255. */
MOXJ_API MoxStatus moxiJoin422LS_MCU_16s8u_P3C2R(const Mox16s* const pSrcMCU[3], Mox8u* pDst, int32_t dstStep);

/* ==== JPEG 2000 (ISO/IEC 15444-1) ================================================================================ */

/*
 * Which functions make a codec, in the order of an encoder; a decoder goes back from the bottom to the top.
 *
 *                           without loss                             with loss
 *   colour, three planes    moxiRCTFwd_JPEG2K_32s_P3IR, ...Inv...    moxiICTFwd_JPEG2K_32f_P3IR, ...Inv...
 *   wavelet, each level     moxiWTFwd_B53_JPEG2K_32s_C1IR, Inv       moxiWTFwd_D97_JPEG2K_32s_C1IR, Inv, on values with
 *                                                                    8 to 12 fraction bits
 *   code-blocks, encoder    moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R, moxiEncodeStoreBits_JPEG2K_1u, then the queries
 *   code-blocks, decoder    moxiDecodeCodeBlock_JPEG2K_1u32s_C1R
 *
 * Each further level transforms the region that the low band of the level before fills; its coordinates are
 * (x + 1) >> 1 and (y + 1) >> 1. The caller does the level shift (Annex G.1), the quantisation (Annex E), the
 * conversion between numbers and the code-blocks' words of sign and magnitude, packets (Annex B) and markers (Annex A).
 *
 * The other members: 16s takes half the memory, for samples whose sums fit 16 bits; C1R writes the four bands to
 * separate planes; Row and Col leave the extension of edges to the caller; ColLift is for codecs that stream rows. The
 * 9/7 members differ in the last bits of their results.
 *
 * Easily missed, each explained below:
 *   - the options of a code-block's style byte: MOXJ_J2K_OPTIONS; subbands are not numbered as in a
 *     codestream: moxJ2KSubbandHL;
 *   - with moxJ2KBypass a segment of raw bits may end in 0xFF, which a packet must not: moxiEncodeStoreBits_JPEG2K_1u;
 *   - the half step below the last bit-plane needs numBitPlanes + 1: moxiDecodeCodeBlock_JPEG2K_1u32s_C1R;
 *   - segment lengths are trusted by the decoders.
 * To use several processors, parallelise over code-blocks, each thread with its own state or buffer, and over
 * components and tiles for the wavelets: of all these functions only the 32s RCT shares rows among threads.
 */

/* ---- JPEG 2000 code-blocks ------------------------------------------------------------------------------------ */

/*
 * Coefficients are 32-bit sign-magnitude words: bit 31 the sign, bit p of the magnitude (0..30) bit-plane p.
 *
 * Passes (Annex D.3) are counted from 0. A block with K bit-planes is coded from bit-plane K - 1, which has a cleanup
 * pass only (pass 0), downwards. Bit-plane K - 2 - i has the passes 3i + 1 (significance propagation), 3i + 2
 * (magnitude refinement) and 3i + 3 (cleanup), so that N bit-planes have 3N - 2 passes.
 *
 * Passes are grouped into codeword segments. The last pass of a block always ends one. Of the others:
 *   moxJ2KTermAll          every pass ends a segment
 *   else, moxJ2KBypass     pass 9 does, and every later pass p but those with p % 3 == 1: 9, 11, 12, 14, 15, ...
 *   else                   none
 * With moxJ2KBypass the passes p >= 10 with p % 3 != 0 are raw bits, all others are MQ-coded.
 */

/* The subband of a block. The numbers are not those of a codestream's order, which is LL, HL, LH, HH. */
enum {
  moxJ2KSubbandLL = 0,
  moxJ2KSubbandLH = 1, /* horizontally low, vertically high: below LL; as LL to the coders */
  moxJ2KSubbandHL = 2, /* horizontally high, vertically low: to the right of LL */
  moxJ2KSubbandHH = 3  /* any other value is as LL */
};

/* Options of the code-block coders. */
enum {
  /* Both. The numbers are not those of a codestream's style byte: see MOXJ_J2K_OPTIONS. */
  moxJ2KCausal = 0x1,     /* vertically causal contexts: nothing below a stripe counts as significant in it */
  moxJ2KBypass = 0x2,     /* significance and refinement passes below bit-plane K - 4 are raw bits */
  moxJ2KTermAll = 0x4,    /* every pass is terminated: each is a codeword segment */
  moxJ2KReset = 0x8,      /* the contexts are reset after every pass */
  moxJ2KSegSymbol = 0x10, /* the segmentation symbol 1010 ends every cleanup pass */
  /* The encoder. */
  moxJ2KExactLast = 0x20, /* distortions: the last coded bit-plane is taken to reconstruct exactly */
  /* The decoders. */
  moxJ2KFillOnError = 0x10000,      /* one call: after an error, planes not decoded are filled by mid-point */
  moxJ2KKeepDestination = 0x20000,  /* the destination is not cleared first: its bits above the block's survive */
  moxJ2KKeepMidpoint = 0x40000,     /* one call: bits below the current bit-plane are not cleared at the end */
  moxJ2KKeepFlags = 0x80000,        /* what is significant in the block before, of the same size, stays significant */
  moxJ2KCheckTermination = 0x100000 /* terminated MQ segments must end as predictable termination leaves them */
};

/* How a terminated MQ segment ends. Any other value is taken as moxJ2KTermFlush. */
enum {
  moxJ2KTermFlush = 0,      /* the flush procedure of C.2.9 */
  moxJ2KTermShortest = 1,   /* the fewest bytes that, followed by 0xFF bytes, decode to the same decisions */
  moxJ2KTermPredictable = 2 /* predictable termination, D.4.2 */
};

/*
 * From the code-block style byte of a codestream (Table A.19) to the options of the coders, and to the encoder's
 * termKind. The encoder ignores moxJ2KCheckTermination. The argument is evaluated several times.
 *
 *   style byte                            option
 *   0x01 selective bypass                 moxJ2KBypass
 *   0x02 reset of context probabilities   moxJ2KReset
 *   0x04 termination on each pass         moxJ2KTermAll
 *   0x08 vertically causal context        moxJ2KCausal
 *   0x10 predictable termination          moxJ2KCheckTermination; encoder: termKind moxJ2KTermPredictable
 *   0x20 segmentation symbols             moxJ2KSegSymbol
 */
#define MOXJ_J2K_OPTIONS(style)                                                                     \
  (((0x01 & (style)) << 1) | ((0x02 & (style)) << 2) | (0x04 & (style)) | ((0x08 & (style)) >> 3) | \
      ((0x10 & (style)) << 16) | ((0x20 & (style)) >> 1))
#define MOXJ_J2K_TERM_KIND(style) ((0x10 & (style)) ? moxJ2KTermPredictable : moxJ2KTermFlush)

/* ---- Code-block encoder --------------------------------------------------------------------------------------- */

typedef struct MoxJ2KEncodeState MoxJ2KEncodeState;

/*
 * Allocates the state of a code-block encoder for blocks of at most width x height coefficients. One state serves any
 * number of blocks, one after the other.
 *   moxStatusNullPointer   ppState is null
 *   moxStatusBadSize       height or width below 1
 *   moxStatusNoMemory      the allocation failed; *ppState is null
 */
MOXJ_API MoxStatus moxiEncodeInitAlloc_JPEG2K(MoxJ2KEncodeState** ppState, int32_t width, int32_t height);

/*
 * Frees a state of moxiEncodeInitAlloc_JPEG2K, whether or not its tag is intact.
 *   moxStatusNullPointer   pState is null
 */
MOXJ_API MoxStatus moxiEncodeFree_JPEG2K(MoxJ2KEncodeState* pState);

/*
 * Takes a code-block into the state, forms its coding passes and computes their distortions. Rows of pSrc lie srcStep
 * bytes apart, in any alignment. A block that is wider or higher than the state was allocated for is refused.
 *
 * magnitudeBits    bit-planes below L = 31 - magnitudeBits are not coded; 31 codes all. Values above 31 act as 31,
 *                  values below 1 leave no bit-plane to code. A caller that quantises with fraction bits sets L to
 *                  their number: the distortions then take the bits below L into account
 * termKind         moxJ2KTermFlush, ...
 * reserved         has no effect
 * options          those of the decoders have no effect
 *
 * *pNumBitPlanes   the position of the highest magnitude bit of the block plus 1, counted from bit 0, 0 for a block of
 *                  zeros. The number of coded bit-planes, which a packet header needs, is *pNumBitPlanes - L
 * *pNumPasses      the number of coding passes, at most 91; 0 if no bit-plane from L up holds a bit
 * *pNumSegments    the number of codeword segments; for a block without passes 1 (0 with moxJ2KTermAll), of length 0
 *
 *   moxStatusNullPointer       pState is null
 *   moxStatusContextMismatch   pState is not an encoder state
 *   moxStatusNullPointer       pNumBitPlanes, pNumPasses or pNumSegments is null
 *   moxStatusBadSize           height or width below 1, or above that of moxiEncodeInitAlloc_JPEG2K
 *   moxStatusNullPointer       pSrc is null
 *   moxStatusBadStep           srcStep below 1
 */
MOXJ_API MoxStatus moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R(const Mox32s* pSrc, int32_t srcStep, int32_t width,
    int32_t height, MoxJ2KEncodeState* pState, int32_t subband, int32_t magnitudeBits, int32_t termKind,
    int32_t reserved, int32_t options, int32_t* pNumBitPlanes, int32_t* pNumPasses, int32_t* pNumSegments);

/*
 * Delivers the code string of the loaded block, its codeword segments one after the other: at most *pDstLen bytes,
 * from where the last call stopped. *pDstLen becomes the number of bytes written, *pNotFinished 1 while bytes remain
 * and else 0: a buffer that the last byte fills exactly is the last one. The length of the string is not known before.
 * The bytes do not depend on the sizes of the buffers.
 *
 * Raw segments (moxJ2KBypass) may end in a byte of 0xFF, MQ segments never do. In a packet that byte could form a
 * marker with the byte after it, so that a packet writer must look at the last byte of every raw segment (lengths from
 * moxiEncodeGetTermPassLen_JPEG2K). If it is 0xFF:
 *   - drop it: decoders read 0xFF past the end of a segment, so nothing is lost;
 *   - move the rest of the string down by one byte;
 *   - write a segment length that is one less;
 *   - count one byte less in the rates of all later passes. The rate of the pass that ends the segment is one less
 *     already, which is why a string must be cut at the segment lengths and not at the rates.
 *
 *   moxStatusNullPointer       pState is null
 *   moxStatusContextMismatch   pState is not an encoder state
 *   moxStatusNullPointer       pDst, pDstLen or pNotFinished is null
 *   moxStatusBadSize           *pDstLen below 1
 */
MOXJ_API MoxStatus moxiEncodeStoreBits_JPEG2K_1u(
    Mox8u* pDst, int32_t* pDstLen, MoxJ2KEncodeState* pState, int32_t* pNotFinished);

/*
 * The rate of a coding pass: a number of bytes from the start of the block's code string with which every pass up to
 * and including this one can be decoded. It never decreases from pass to pass by more than 1, never exceeds the length
 * of the code string and never ends with a byte of 0xFF, as a decoder supplies such bytes. The rates are known from
 * the first call of moxiEncodeStoreBits_JPEG2K_1u for the block on, and 0 before.
 *
 * It is an upper bound. The shortest string that decodes to the same words is 0 to 3 bytes shorter, rarely 4: 1.8 bytes
 * on average for blocks of any size, 2.0 with moxJ2KSegSymbol (over 10000 passes of blocks from 4 x 4 to 64 x 64). That
 * is what cutting a block by its rates costs: 0.2 % of 1000 bytes, a tenth of 20. One byte less suffices for 9 of 10
 * passes; in the others the last decisions come out wrong.
 *
 *   moxStatusNullPointer       pState is null
 *   moxStatusContextMismatch   pState is not an encoder state
 *   moxStatusNullPointer       pRate is null
 *   moxStatusBadPassNumber     pass negative, or not below the number of passes
 */
MOXJ_API MoxStatus moxiEncodeGetRate_JPEG2K(MoxJ2KEncodeState* pState, int32_t pass, int32_t* pRate);

/*
 * The reduction of the squared error by the passes up to and including the given one, in units of the square of the
 * lowest coded bit-plane's step 2^L; the decoder is taken to reconstruct at the middle of the interval. Known from
 * moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R on.
 *
 * The bits of a coefficient below the pass's bit-plane count, six of them, rounded down. That makes the sums 1.2 % too
 * small on average, at most 2 % in blocks of 64 x 64 and 5 % in blocks of 4 x 4 (measured; 0.4 % if there are no bits
 * below L).
 *   Statuses as for moxiEncodeGetRate_JPEG2K, with pDist.
 */
MOXJ_API MoxStatus moxiEncodeGetDist_JPEG2K(MoxJ2KEncodeState* pState, int32_t pass, double* pDist);

/*
 * The length in bytes of a codeword segment (counted from 0): known from the first call of
 * moxiEncodeStoreBits_JPEG2K_1u for the block on, and 0 before. The lengths add up to the length of the code string.
 *   Statuses as for moxiEncodeGetRate_JPEG2K, with pLength, and the number of segments instead of passes.
 */
MOXJ_API MoxStatus moxiEncodeGetTermPassLen_JPEG2K(MoxJ2KEncodeState* pState, int32_t segment, int32_t* pLength);

/* ---- Code-block decoders -------------------------------------------------------------------------------------- */

/*
 * One call decodes a block whose segments are all there, back to back. The pass-by-pass decoder takes one segment at a
 * time, at any address, and reports its position after each, so that a block can be decoded as its data arrive.
 * Both do the same work and give the same words.
 */

typedef struct MoxJ2KDecodeState MoxJ2KDecodeState;

/*
 * The size in bytes of the work buffer of moxiDecodeCodeBlock_JPEG2K_1u32s_C1R:
 * R * (floor((height + 1) / 2) + 2) + 388 with R = 4 * width + 8 rounded up to a multiple of 32.
 *   moxStatusBadSize       height or width below 1
 *   moxStatusNullPointer   pSize is null
 *   moxStatusBadSize       the size exceeds 2^31 - 1
 */
MOXJ_API MoxStatus moxiDecodeGetBufSize_JPEG2K(int32_t width, int32_t height, int32_t* pSize);

/*
 * Decodes a code-block of width x height coefficients from its first numPasses coding passes. The destination is
 * cleared first (unless moxJ2KKeepDestination). pBuffer is a work buffer of the reported size, in any alignment, as
 * are the rows of pDst, dstStep bytes apart, which may lie inside a larger plane.
 *
 * The codeword segments lie one after the other in pSrc; pSegmentLengths gives the length of each in bytes (a negative
 * one counts as 0). Lengths are trusted: pSrc must hold their sum, so that a reader of damaged files clamps them
 * first. No bytes after a segment are needed: past its end a segment reads as 0xFF. pSrc and pSegmentLengths must not
 * be null even if there are no segments. With fewer segments than numPasses needs, those that are there are decoded,
 * and the status is moxStatusOk; segments that are not needed, and passes below bit-plane 0, are ignored. numPasses 0
 * only clears the destination.
 *
 * numBitPlanes is K: the first bit-plane is stored as bit K - 1, each coefficient that is significant with its sign and
 * its decoded bits. Of the encoder's *pNumBitPlanes, P:
 *   K = P           the words that went into the encoder, down to the bit-plane at which decoding stopped
 *   K = P - L       bit-plane L as bit 0; from a packet header K is this: Mb (equation E-2) minus
 *                   the number of zero bit-planes
 *   K = P - L + 1   as before, doubled: bit 0 has room for the half step below the last bit-plane, for the
 *                   reconstruction of irreversible coefficients at mid-point (E.1.1.2, r = 1/2); needs
 *                   moxJ2KKeepMidpoint
 * Without moxJ2KKeepMidpoint bits below the bit-plane at which decoding stopped are cleared at the end; with it the bit
 * below the last decoded one of each significant coefficient is 1. K is not tested: below 1 nothing is decoded;
 * bit-planes above 30 are decoded but have no bit in the words, so that the half step needs K <= 31.
 *
 * Data that cannot be decoded (a failed check of moxJ2KCheckTermination, a wrong segmentation symbol) ends decoding
 * with moxStatusDecodeFailed: *pCurBitPlane (pCurBitPlane may be null) is then the bit-plane p at which it happened,
 * and is unchanged otherwise. The destination holds what was decoded; with moxJ2KFillOnError every coefficient with a
 * bit from p up is cut off below p and gets bit p set, every other becomes 0.
 *
 * moxJ2KCheckTermination checks the end of these passes, and there the segmentation symbol is not checked:
 *   moxJ2KTermAll         every MQ-coded pass
 *   else, moxJ2KBypass    the cleanup passes from bit-plane K - 4 (0 if that is negative) down
 *   else                  the cleanup pass of bit-plane 0; none with a K that leaves bit-plane 0 to the half step
 *
 *   moxStatusNullPointer   pSrc or pBuffer is null
 *   moxStatusBadSize       height or width below 1
 *   moxStatusNullPointer   pSegmentLengths or pDst is null
 *   moxStatusBadStep       dstStep below 1
 *   moxStatusDecodeFailed  see above; the destination has been written
 */
MOXJ_API MoxStatus moxiDecodeCodeBlock_JPEG2K_1u32s_C1R(const Mox8u* pSrc, Mox32s* pDst, int32_t dstStep, int32_t width,
    int32_t height, int32_t subband, int32_t numBitPlanes, int32_t numPasses, const int32_t* pSegmentLengths,
    int32_t numSegments, int32_t options, int32_t* pCurBitPlane, Mox8u* pBuffer);

/*
 * The pass-by-pass decoder. Once: moxiDecodeCBProgrGetStateSize_JPEG2K and moxiDecodeCBProgrInit_JPEG2K on the
 * caller's memory in any alignment, or moxiDecodeCBProgrInitAlloc_JPEG2K. For every code-block: Attach, SetPassCounter
 * with the number of passes to decode, then one Step for every codeword segment in the order of the code string (with
 * moxJ2KTermAll: for every pass). GetPassCounter and GetCurBitPlaneNum at any time. A state must not be moved in
 * memory.
 */

/*
 * The size in bytes of a decoder state for blocks of at most width x height coefficients: as
 * moxiDecodeGetBufSize_JPEG2K, with the same statuses.
 */
MOXJ_API MoxStatus moxiDecodeCBProgrGetStateSize_JPEG2K(int32_t width, int32_t height, int32_t* pSize);

/*
 * Makes a decoder state in the caller's memory; no block is attached to it.
 *   moxStatusNullPointer   pState is null
 */
MOXJ_API MoxStatus moxiDecodeCBProgrInit_JPEG2K(MoxJ2KDecodeState* pState);

/*
 * Allocates a decoder state for blocks of at most width x height coefficients.
 *   moxStatusNullPointer   ppState is null
 *   moxStatusBadSize       height or width below 1
 *   moxStatusNoMemory      the allocation failed; *ppState is null
 */
MOXJ_API MoxStatus moxiDecodeCBProgrInitAlloc_JPEG2K(MoxJ2KDecodeState** ppState, int32_t width, int32_t height);

/*
 * Frees a state of moxiDecodeCBProgrInitAlloc_JPEG2K.
 *   moxStatusNullPointer       pState is null
 *   moxStatusContextMismatch   pState is not a decoder state; nothing is freed
 */
MOXJ_API MoxStatus moxiDecodeCBProgrFree_JPEG2K(MoxJ2KDecodeState* pState);

/*
 * Attaches a code-block: the destination, to which every Step adds, is cleared (unless moxJ2KKeepDestination), the pass
 * counter becomes 0, the current bit-plane numBitPlanes - 1, an earlier failure is forgotten. numBitPlanes is that of
 * the one-call decoder. The state keeps pDst until the next Attach.
 *
 * A state of moxiDecodeCBProgrInitAlloc_JPEG2K refuses a block that is wider or higher than it was allocated for. For
 * one of moxiDecodeCBProgrInit_JPEG2K the caller ensures that the memory has the size that is reported for the block.
 *
 * Between Steps a significant coefficient holds its decoded bits and a one just below the last of them: what the
 * one-call decoder leaves with moxJ2KKeepMidpoint.
 *   moxStatusNullPointer       pState is null
 *   moxStatusContextMismatch   pState is not a decoder state
 *   moxStatusNullPointer       pDst is null
 *   moxStatusBadStep           dstStep below 1
 *   moxStatusBadSize           height or width below 1, or above that of InitAlloc
 */
MOXJ_API MoxStatus moxiDecodeCBProgrAttach_JPEG2K_32s_C1R(Mox32s* pDst, int32_t dstStep, int32_t width, int32_t height,
    MoxJ2KDecodeState* pState, int32_t subband, int32_t numBitPlanes, int32_t options);

/*
 * Decodes the passes of the next codeword segment, length bytes at pSegment (below 1: none; past its end a segment
 * reads as 0xFF), or those of them that the pass counter still allows. A segment cannot be continued: a caller with
 * parts of one joins them first. Does nothing once the counter is below 1 or the current bit-plane negative.
 *   moxStatusNullPointer       pSegment or pState is null
 *   moxStatusContextMismatch   pState is not a decoder state
 *   moxStatusNotAttached       no block is attached
 *   moxStatusDecodeFailed      the segment cannot be decoded, or an earlier one could not: only Attach clears that. The
 *                              destination keeps what was decoded. The failed pass counts as done with moxJ2KTermAll
 *                              and stays in the pass counter without
 */
MOXJ_API MoxStatus moxiDecodeCBProgrStep_JPEG2K(const Mox8u* pSegment, int32_t length, MoxJ2KDecodeState* pState);

/*
 * The number of passes that are still to be decoded.
 *   moxStatusNullPointer       pState or pCount is null
 *   moxStatusContextMismatch   pState is not a decoder state
 */
MOXJ_API MoxStatus moxiDecodeCBProgrGetPassCounter_JPEG2K(MoxJ2KDecodeState* pState, int32_t* pCount);

/*
 * Sets the number of passes to decode.
 *   moxStatusNullPointer       pState is null
 *   moxStatusContextMismatch   pState is not a decoder state
 */
MOXJ_API MoxStatus moxiDecodeCBProgrSetPassCounter_JPEG2K(int32_t count, MoxJ2KDecodeState* pState);

/*
 * The bit-plane of the pass that comes next, or of the last one if none is left to decode.
 *   moxStatusNullPointer       pState is null
 *   moxStatusContextMismatch   pState is not a decoder state
 *   moxStatusNullPointer       pBitPlane is null
 */
MOXJ_API MoxStatus moxiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(MoxJ2KDecodeState* pState, int32_t* pBitPlane);

/* ---- JPEG 2000 component transforms (ISO/IEC 15444-1, Annex G) ------------------------------------------------ */

/*
 * The transforms of the first three components of a tile, without the level shift. Plane or channel 0, 1, 2 are R, G,
 * B on one side and Y and the two chroma components on the other.
 *
 *   RCT   Y = (R + 2G + B) >> 2, U = B - G, V = R - G
 *         G = Y - ((U + V) >> 2), R = V + G, B = U + G
 *         exactly reversible; sums in 32 bits, wrapping. The 16s members keep the low 16 bits of each result:
 *         reversible as long as the differences fit 16 bits.
 *
 *   ICT   16s, 32s: sums in 32 bits, wrapping; 16s keeps the low 16 bits of each result
 *         Y  = (4899 R + 9617 G + 1868 B + 8192) >> 14        R = Y + ((22970 Cr + 8192) >> 14)
 *         Cb = (-2765 R - 5427 G + 8192 B + 8192) >> 14       G = Y + ((-5638 Cb - 11700 Cr + 8192) >> 14)
 *         Cr = (8192 R - 6860 G - 1332 B + 8192) >> 14        B = Y + ((29032 Cb + 8192) >> 14)
 *         Magnitudes up to 131071 forward and 73969 back do not wrap: samples of 8 bits have room for 9 fraction bits.
 *
 *   ICT   32f: single precision, each product and each sum rounded, from left to right
 *         Y  = 0.299 R + 0.587 G + 0.114 B                    R = Y + 1.402 Cr
 *         Cb = -0.16875 R - 0.33126 G + 0.5 B                 G = Y - 0.34413 Cb - 0.71414 Cr
 *         Cr = 0.5 R - 0.41869 G - 0.08131 B                  B = Y + 1.772 Cb
 *
 * C3P3R, P3C3R: pSrc or pDst is an interleaved image, the other an array of three planes that share one row step.
 * P3IR: three planes in place. The 32s members of the RCT share rows among threads.
 *
 * Checks, in this order:
 *   moxStatusNullPointer   an image or array pointer is null
 *   moxStatusNullPointer   a plane pointer is null
 *   moxStatusBadStep       a step below 1
 *   moxStatusBadSize       width or height below 1
 */

/* Forward, interleaved to planes. */
MOXJ_API MoxStatus moxiRCTFwd_JPEG2K_16s_C3P3R(
    const Mox16s* pSrc, int32_t srcStep, Mox16s* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiRCTFwd_JPEG2K_32s_C3P3R(
    const Mox32s* pSrc, int32_t srcStep, Mox32s* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiICTFwd_JPEG2K_32f_C3P3R(
    const Mox32f* pSrc, int32_t srcStep, Mox32f* const pDst[3], int32_t dstStep, MoxRoiSize roiSize);

/* Inverse, planes to interleaved. */
MOXJ_API MoxStatus moxiRCTInv_JPEG2K_16s_P3C3R(
    const Mox16s* const pSrc[3], int32_t srcStep, Mox16s* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiRCTInv_JPEG2K_32s_P3C3R(
    const Mox32s* const pSrc[3], int32_t srcStep, Mox32s* pDst, int32_t dstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiICTInv_JPEG2K_32f_P3C3R(
    const Mox32f* const pSrc[3], int32_t srcStep, Mox32f* pDst, int32_t dstStep, MoxRoiSize roiSize);

/* Planes in place. */
MOXJ_API MoxStatus moxiRCTFwd_JPEG2K_16s_P3IR(Mox16s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiRCTFwd_JPEG2K_32s_P3IR(Mox32s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiRCTInv_JPEG2K_16s_P3IR(Mox16s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiRCTInv_JPEG2K_32s_P3IR(Mox32s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiICTFwd_JPEG2K_16s_P3IR(Mox16s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiICTFwd_JPEG2K_32s_P3IR(Mox32s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiICTFwd_JPEG2K_32f_P3IR(Mox32f* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiICTInv_JPEG2K_16s_P3IR(Mox16s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiICTInv_JPEG2K_32s_P3IR(Mox32s* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);
MOXJ_API MoxStatus moxiICTInv_JPEG2K_32f_P3IR(Mox32f* const pSrcDst[3], int32_t srcDstStep, MoxRoiSize roiSize);

/* ---- JPEG 2000 reversible 5/3 wavelet (ISO/IEC 15444-1, Annex F) ------------------------------------------------ */

/*
 * One decomposition level. Samples at even coordinates become low-pass coefficients (L), those at odd ones high-pass
 * coefficients (H):
 *   H = x(odd) - ((x(odd - 1) + x(odd + 1)) >> 1), then L = x(even) + ((H(left) + H(right) + 2) >> 2),
 * and back, exactly: x(even) = L - ((H(left) + H(right) + 2) >> 2), then x(odd) = H + ((x(odd - 1) + x(odd + 1)) >> 1).
 * 32s: all sums wrap at 32 bits. 16s: sums have as many bits as they need, each H, L and x keeps its low 16 bits.
 *
 * Two-dimensional functions (C1IR in place, C1R out of place): forward columns, then rows; inverse rows, then columns.
 * Edges are mirrored without repeating the edge sample. A line of 2 samples e (at the even coordinate) and o gives
 * H = o - e and L = e + ((H + 1) >> 1); a line of one sample at an odd coordinate is doubled, and halved toward zero by
 * the inverse.
 *
 * The region: pSrc, pDst or pSrcDst points to its first sample whatever x and y are; only their lowest bits matter, as
 * the parities of the coordinates of the first column and row (0 even, 1 odd).
 *
 * In place, low rows are above high rows and low columns left of high columns (Mallat order). Of n samples whose first
 * is even (n + 1) / 2 become low ones, else n / 2.
 *
 * Out of place, the subbands are four planes: 0 low both ways (LL), 1 horizontally low and vertically high (LH), 2
 * horizontally high and vertically low (HL), 3 high both ways (HH). Columns and rows are split at (n + 1) / 2 whatever
 * the parity: with an odd coordinate and an odd size the last column (row) of the low planes is the first high one. The
 * inverse reads them so.
 */

/*
 * The size in bytes of the work buffer of the functions with the same ending and element type, for a region; s is the
 * size of an element.
 *   C1IR   0 if width and height are below 3, else the larger of s (height + 4) and s (width + 4), as unsigned numbers
 *   C1R    the same, plus height times s width rounded up to a multiple of 32
 * Width and height are not tested. A pBuffer must not be null even if its size is 0.
 *
 * 32-bit sums wrap: a region whose true size does not fit is reported too small, or negative (32s_C1R: 40001 x 40001
 * needs 6401600052 bytes and reports 2106632756, 46341 x 23171 needs 4295532676 and reports 565380). Such a region must
 * be split into tiles, or copied to the destination and transformed there in place, which needs one line.
 *   moxStatusNullPointer   pRoi or pSize is null
 */
MOXJ_API MoxStatus moxiWTGetBufSize_B53_JPEG2K_16s_C1IR(const MoxRect* pRoi, int32_t* pSize);
MOXJ_API MoxStatus moxiWTGetBufSize_B53_JPEG2K_16s_C1R(const MoxRect* pRoi, int32_t* pSize);
MOXJ_API MoxStatus moxiWTGetBufSize_B53_JPEG2K_32s_C1IR(const MoxRect* pRoi, int32_t* pSize);
MOXJ_API MoxStatus moxiWTGetBufSize_B53_JPEG2K_32s_C1R(const MoxRect* pRoi, int32_t* pSize);

/*
 * Out of place. Checks, in this order:
 *   moxStatusNullPointer   pSrc, pDst, the array of steps, the region or pBuffer is null
 *   moxStatusBadStep       the single step is below 1
 *   moxStatusNullPointer   one of the four planes is null
 *   moxStatusBadStep       one of their four steps is below 1
 *   moxStatusBadSize       width or height below 1
 */
MOXJ_API MoxStatus moxiWTFwd_B53_JPEG2K_16s_C1R(const Mox16s* pSrc, int32_t srcStep, const MoxRect* pSrcRoi,
    Mox16s* const pDst[4], const int32_t dstStep[4], Mox8u* pBuffer);
MOXJ_API MoxStatus moxiWTInv_B53_JPEG2K_16s_C1R(const Mox16s* const pSrc[4], const int32_t srcStep[4], Mox16s* pDst,
    int32_t dstStep, const MoxRect* pDstRoi, Mox8u* pBuffer);
MOXJ_API MoxStatus moxiWTFwd_B53_JPEG2K_32s_C1R(const Mox32s* pSrc, int32_t srcStep, const MoxRect* pSrcRoi,
    Mox32s* const pDst[4], const int32_t dstStep[4], Mox8u* pBuffer);
MOXJ_API MoxStatus moxiWTInv_B53_JPEG2K_32s_C1R(const Mox32s* const pSrc[4], const int32_t srcStep[4], Mox32s* pDst,
    int32_t dstStep, const MoxRect* pDstRoi, Mox8u* pBuffer);

/*
 * In place. Checks, in this order:
 *   moxStatusNullPointer   pSrcDst is null
 *   moxStatusBadStep       srcDstStep below 1
 *   moxStatusNullPointer   pRoi or pBuffer is null
 * The size is not tested, and never an error: a width below 1 counts as 1 for the rows (their first samples are doubled
 * or halved if x is odd) and leaves the columns alone, a height below 1 as 1 for the columns and leaves the rows alone.
 */
MOXJ_API MoxStatus moxiWTFwd_B53_JPEG2K_16s_C1IR(
    Mox16s* pSrcDst, int32_t srcDstStep, const MoxRect* pRoi, Mox8u* pBuffer);
MOXJ_API MoxStatus moxiWTInv_B53_JPEG2K_16s_C1IR(
    Mox16s* pSrcDst, int32_t srcDstStep, const MoxRect* pRoi, Mox8u* pBuffer);
MOXJ_API MoxStatus moxiWTFwd_B53_JPEG2K_32s_C1IR(
    Mox32s* pSrcDst, int32_t srcDstStep, const MoxRect* pRoi, Mox8u* pBuffer);
MOXJ_API MoxStatus moxiWTInv_B53_JPEG2K_32s_C1IR(
    Mox32s* pSrcDst, int32_t srcDstStep, const MoxRect* pRoi, Mox8u* pBuffer);

/*
 * Rows (Row) or columns (Col) that are not extended: the samples, coefficients or rows around the region are read, so
 * that a strip can be transformed with its true neighbours or with the caller's own extension. The size is that of each
 * band: w = width (columns: height) coefficients of each kind come from, or give, 2w samples. phase 0: the first sample
 * is at an even coordinate; anything else: at an odd one. What is read, by index along the transform:
 *   forward   phase 0: x(-2) to x(2w)               else x(-1) to x(2w + 1)
 *   inverse   phase 0: L(0) to L(w), H(-1) to H(w)  else L(-1) to L(w - 1), H(-1) to H(w)
 * A line of odd length takes one pair more: its last coefficient or sample is surplus, and needs room.
 *
 * Checks, in this order:
 *   moxStatusNullPointer   a plane is null
 *   moxStatusBadStep       a step below 1
 *   moxStatusBadSize       height or width below 1
 */
MOXJ_API MoxStatus moxiWTFwdRow_B53_JPEG2K_16s_C1R(const Mox16s* pSrc, int32_t srcStep, Mox16s* pDstLow,
    int32_t dstLowStep, Mox16s* pDstHigh, int32_t dstHighStep, MoxRoiSize dstRoiSize, uint32_t phase);
MOXJ_API MoxStatus moxiWTInvRow_B53_JPEG2K_16s_C1R(const Mox16s* pSrcLow, int32_t srcLowStep, const Mox16s* pSrcHigh,
    int32_t srcHighStep, MoxRoiSize srcRoiSize, Mox16s* pDst, int32_t dstStep, uint32_t phase);
MOXJ_API MoxStatus moxiWTFwdRow_B53_JPEG2K_32s_C1R(const Mox32s* pSrc, int32_t srcStep, Mox32s* pDstLow,
    int32_t dstLowStep, Mox32s* pDstHigh, int32_t dstHighStep, MoxRoiSize dstRoiSize, uint32_t phase);
MOXJ_API MoxStatus moxiWTInvRow_B53_JPEG2K_32s_C1R(const Mox32s* pSrcLow, int32_t srcLowStep, const Mox32s* pSrcHigh,
    int32_t srcHighStep, MoxRoiSize srcRoiSize, Mox32s* pDst, int32_t dstStep, uint32_t phase);
MOXJ_API MoxStatus moxiWTFwdCol_B53_JPEG2K_16s_C1R(const Mox16s* pSrc, int32_t srcStep, Mox16s* pDstLow,
    int32_t dstLowStep, Mox16s* pDstHigh, int32_t dstHighStep, MoxRoiSize dstRoiSize, uint32_t phase);
MOXJ_API MoxStatus moxiWTInvCol_B53_JPEG2K_16s_C1R(const Mox16s* pSrcLow, int32_t srcLowStep, const Mox16s* pSrcHigh,
    int32_t srcHighStep, MoxRoiSize srcRoiSize, Mox16s* pDst, int32_t dstStep, uint32_t phase);
MOXJ_API MoxStatus moxiWTFwdCol_B53_JPEG2K_32s_C1R(const Mox32s* pSrc, int32_t srcStep, Mox32s* pDstLow,
    int32_t dstLowStep, Mox32s* pDstHigh, int32_t dstHighStep, MoxRoiSize dstRoiSize, uint32_t phase);
MOXJ_API MoxStatus moxiWTInvCol_B53_JPEG2K_32s_C1R(const Mox32s* pSrcLow, int32_t srcLowStep, const Mox32s* pSrcHigh,
    int32_t srcHighStep, MoxRoiSize srcRoiSize, Mox32s* pDst, int32_t dstStep, uint32_t phase);

/*
 * One lifting step down the columns, on rows of `width` elements, for codecs that stream rows. Forward: from x(2k),
 * x(2k + 1), x(2k + 2) and H(k - 1) the rows H(k) and L(k). Inverse: from L(k), H(k - 1), H(k) and x(2k - 2) the rows
 * x(2k - 1) and x(2k). At the ends the caller passes mirrored rows. Rows may be the same or overlap: columns are then
 * processed from the first to the last, and everything is read before anything is written (first the odd row or H).
 *   moxStatusNullPointer   a row is null
 *   moxStatusBadSize       width below 1
 */
MOXJ_API MoxStatus moxiWTFwdColLift_B53_JPEG2K_16s_C1(const Mox16s* pSrc0, const Mox16s* pSrc1, const Mox16s* pSrc2,
    Mox16s* pDstLow, const Mox16s* pSrcHighPrev, Mox16s* pDstHigh, int32_t width);
MOXJ_API MoxStatus moxiWTInvColLift_B53_JPEG2K_16s_C1(const Mox16s* pSrcLow, const Mox16s* pSrcHighPrev,
    const Mox16s* pSrcHigh, const Mox16s* pSrcEvenPrev, Mox16s* pDstOdd, Mox16s* pDstEven, int32_t width);
MOXJ_API MoxStatus moxiWTFwdColLift_B53_JPEG2K_32s_C1(const Mox32s* pSrc0, const Mox32s* pSrc1, const Mox32s* pSrc2,
    Mox32s* pDstLow, const Mox32s* pSrcHighPrev, Mox32s* pDstHigh, int32_t width);
MOXJ_API MoxStatus moxiWTInvColLift_B53_JPEG2K_32s_C1(const Mox32s* pSrcLow, const Mox32s* pSrcHighPrev,
    const Mox32s* pSrcHigh, const Mox32s* pSrcEvenPrev, Mox32s* pDstOdd, Mox32s* pDstEven, int32_t width);

/* ---- JPEG 2000 irreversible 9/7 wavelet (ISO/IEC 15444-1, Annex F) ---------------------------------------------- */

/*
 * Lifting with the neighbours on either side of a sample, in this order (F.4.8):
 *   o += alpha (e + e'),  e += beta (o + o'),  o += gamma (e + e'),  e += delta (o + o');  L = e / K,  H = o K,
 * and back (F.3.8): e = L K, o = H / K, then the same products subtracted, delta first. The gain is 1 for L and 2 for
 * H, as the standard has it, so that the subband gains of Table E.1 apply.
 *
 * Regions, parities, the order of the passes, the layouts and the checks are those of the 5/3 functions. Lines of 2 to
 * 4 samples are mirrored as often as it takes; a lone sample is treated as by the 5/3 functions.
 *
 * The constants are those of Table F.4, in three precisions:
 *
 *                alpha         beta          gamma        delta        K            1/K
 *   Table F.4    -1.586134342  -0.052980118  0.882911075  0.443506852  1.230174105  0.812893066
 *   14 bits      -25987        -868          14466        7266         20155        13318
 *   16 bits      -103949       -3472         57862        -            80621        53274
 *   single, hex  BFCB0673      BD5901AE      3F620676     3EE31355     3F9D7658     3F5019C3
 *
 * Division by K is multiplication by the constant 1/K; delta / K = 0.360523644 is a separate constant where delta and
 * the scaling of low coefficients are one step: 23627 with 16 bits, 3EB8968E in single precision.
 *
 * The members' arithmetics:
 *   16s C1R, C1IR          14 fraction bits, each product (c (a + b) + 8192) >> 14, every result cut to its low 16 bits
 *   32s C1R, C1IR          single precision on integers. Two integers that a step adds are added first, wrapping; back
 *                          e = K L - delta ((H + H') / K). After each of the two passes results are truncated toward
 *                          zero; above 2^31 they become 2147483647, below -2^31 they become -2^31, and 2^31 itself
 *                          gives -2^31
 *   16s, 32s Row, ColLift  16 fraction bits, products of 64 bits, + 32768 and >> 16. Delta and scaling are one step:
 *                          L = 1/K e + delta/K (o + o'), and back e = K L - delta/K (H + H'). 16s results saturate
 *                          after every step, 32s ones wrap
 *   32f Row, Col           single precision, each operation rounded; back e = K L - delta (H / K + H' / K)
 *   32f ColLift            the same, but back e = K L - delta/K (H + H')
 * Forward and inverse are not exact inverses of each other. All give the same bits on every processor.
 *
 * Fraction bits. Two-dimensional members round each pass to integers, so that samples need fraction bits: shift them
 * left by F before the first level, and right, rounding, after the last one. Samples of 8 bits, 512 x 512, 5 levels
 * there and back, worst of a random, a smooth, a chequered and a constant picture:
 *
 *   F                       0      1      2      3      4      5      6      8      10     12
 *   32s  rms error, levels  9.4    4.9    2.5    1.3    0.63   0.32   0.16   0.039  0.0098 0.0024
 *   16s  rms error, levels  2.8    1.4    0.71   0.36   0.19   0.094  wraps
 *
 * 32s members need 8 to 12 (up to 5 some samples are wrong by 1 even after rounding), and samples of up to 16 bits have
 * room for 12; 16s members take samples of 8 bits with 4 or 5. The quantiser's step is scaled by 2^F too.
 */

/*
 * Work buffers as for the 5/3 functions, but of lines of n + 8 samples: C1IR 0 if width and height are below 2, else
 * the larger of s (height + 8) and s (width + 8).
 *   moxStatusNullPointer   pRoi or pSize is null
 */
MOXJ_API MoxStatus moxiWTGetBufSize_D97_JPEG2K_16s_C1IR(const MoxRect* pRoi, int32_t* pSize);
MOXJ_API MoxStatus moxiWTGetBufSize_D97_JPEG2K_16s_C1R(const MoxRect* pRoi, int32_t* pSize);
MOXJ_API MoxStatus moxiWTGetBufSize_D97_JPEG2K_32s_C1IR(const MoxRect* pRoi, int32_t* pSize);
MOXJ_API MoxStatus moxiWTGetBufSize_D97_JPEG2K_32s_C1R(const MoxRect* pRoi, int32_t* pSize);

/* Out of place and in place: the arguments and checks of the 5/3 functions. */
MOXJ_API MoxStatus moxiWTFwd_D97_JPEG2K_16s_C1R(const Mox16s* pSrc, int32_t srcStep, const MoxRect* pSrcRoi,
    Mox16s* const pDst[4], const int32_t dstStep[4], Mox8u* pBuffer);
MOXJ_API MoxStatus moxiWTInv_D97_JPEG2K_16s_C1R(const Mox16s* const pSrc[4], const int32_t srcStep[4], Mox16s* pDst,
    int32_t dstStep, const MoxRect* pDstRoi, Mox8u* pBuffer);
MOXJ_API MoxStatus moxiWTFwd_D97_JPEG2K_32s_C1R(const Mox32s* pSrc, int32_t srcStep, const MoxRect* pSrcRoi,
    Mox32s* const pDst[4], const int32_t dstStep[4], Mox8u* pBuffer);
MOXJ_API MoxStatus moxiWTInv_D97_JPEG2K_32s_C1R(const Mox32s* const pSrc[4], const int32_t srcStep[4], Mox32s* pDst,
    int32_t dstStep, const MoxRect* pDstRoi, Mox8u* pBuffer);
MOXJ_API MoxStatus moxiWTFwd_D97_JPEG2K_16s_C1IR(
    Mox16s* pSrcDst, int32_t srcDstStep, const MoxRect* pRoi, Mox8u* pBuffer);
MOXJ_API MoxStatus moxiWTInv_D97_JPEG2K_16s_C1IR(
    Mox16s* pSrcDst, int32_t srcDstStep, const MoxRect* pRoi, Mox8u* pBuffer);
MOXJ_API MoxStatus moxiWTFwd_D97_JPEG2K_32s_C1IR(
    Mox32s* pSrcDst, int32_t srcDstStep, const MoxRect* pRoi, Mox8u* pBuffer);
MOXJ_API MoxStatus moxiWTInv_D97_JPEG2K_32s_C1IR(
    Mox32s* pSrcDst, int32_t srcDstStep, const MoxRect* pRoi, Mox8u* pBuffer);

/*
 * Rows and columns that are not extended, with the arguments and checks of the 5/3 functions. What is read:
 *   forward   phase 0: x(-4) to x(2w + 2)                   else x(-3) to x(2w + 3)
 *   inverse   phase 0: L(-1) to L(w + 1), H(-2) to H(w + 1)  else L(-2) to L(w), H(-2) to H(w + 1)
 *
 * Bands of one coefficient (w = 1) go through the filters as wholes, summed from the centre outwards: L from 9 samples,
 * H from 7. Weights at distances 0, 1, 2, ... from the centre:
 *   L, 16 bits            39515  17489  -5126  -1105  1753
 *   L, single, hex        3F1A5ADE  3E88A26A  BDA03385  BC8A269F  3CDB2036
 *   H, 16 bits            73078  -38750  0  5982
 *   H, single, hex        3F8EBB2C  BF175D96  BD6BB2C3  3DBAECB1
 * Back, a sample at an even coordinate comes from 7 coefficients, one at an odd coordinate from 9, by the weights of
 * the other band (H, L), with the sign of every other one changed; with 16 bits -3771 takes the place of the 0.
 */
MOXJ_API MoxStatus moxiWTFwdRow_D97_JPEG2K_16s_C1R(const Mox16s* pSrc, int32_t srcStep, Mox16s* pDstLow,
    int32_t dstLowStep, Mox16s* pDstHigh, int32_t dstHighStep, MoxRoiSize dstRoiSize, uint32_t phase);
MOXJ_API MoxStatus moxiWTInvRow_D97_JPEG2K_16s_C1R(const Mox16s* pSrcLow, int32_t srcLowStep, const Mox16s* pSrcHigh,
    int32_t srcHighStep, MoxRoiSize srcRoiSize, Mox16s* pDst, int32_t dstStep, uint32_t phase);
MOXJ_API MoxStatus moxiWTFwdRow_D97_JPEG2K_32s_C1R(const Mox32s* pSrc, int32_t srcStep, Mox32s* pDstLow,
    int32_t dstLowStep, Mox32s* pDstHigh, int32_t dstHighStep, MoxRoiSize dstRoiSize, uint32_t phase);
MOXJ_API MoxStatus moxiWTInvRow_D97_JPEG2K_32s_C1R(const Mox32s* pSrcLow, int32_t srcLowStep, const Mox32s* pSrcHigh,
    int32_t srcHighStep, MoxRoiSize srcRoiSize, Mox32s* pDst, int32_t dstStep, uint32_t phase);
MOXJ_API MoxStatus moxiWTFwdRow_D97_JPEG2K_32f_C1R(const Mox32f* pSrc, int32_t srcStep, Mox32f* pDstLow,
    int32_t dstLowStep, Mox32f* pDstHigh, int32_t dstHighStep, MoxRoiSize dstRoiSize, uint32_t phase);
MOXJ_API MoxStatus moxiWTInvRow_D97_JPEG2K_32f_C1R(const Mox32f* pSrcLow, int32_t srcLowStep, const Mox32f* pSrcHigh,
    int32_t srcHighStep, MoxRoiSize srcRoiSize, Mox32f* pDst, int32_t dstStep, uint32_t phase);
MOXJ_API MoxStatus moxiWTFwdCol_D97_JPEG2K_32f_C1R(const Mox32f* pSrc, int32_t srcStep, Mox32f* pDstLow,
    int32_t dstLowStep, Mox32f* pDstHigh, int32_t dstHighStep, MoxRoiSize dstRoiSize, uint32_t phase);
MOXJ_API MoxStatus moxiWTInvCol_D97_JPEG2K_32f_C1R(const Mox32f* pSrcLow, int32_t srcLowStep, const Mox32f* pSrcHigh,
    int32_t srcHighStep, MoxRoiSize srcRoiSize, Mox32f* pDst, int32_t dstStep, uint32_t phase);

/*
 * One step of a pipeline down the columns, on eight rows of `width` elements. Rows enter two at a time and leave,
 * finished, two at a time; between the calls the caller rotates its row buffers, and at the ends it feeds mirrored
 * rows. Forward, A, B and G being the rows after the alpha, beta and gamma step:
 *   pSrc0, pSrc1, pSrc2    x(2k), x(2k + 1), x(2k + 2)
 *   pDstOdd                receives A(2k + 1)
 *   pDstEven               receives B(2k)
 *   pOddPrev               A(2k - 1), becomes G(2k - 1)
 *   pLowPrev               B(2k - 2), becomes the low row L(k - 1)
 *   pHighPrev              G(2k - 3), becomes the high row H(k - 2)
 * To fill the pipeline it starts at k = -2, with rows of any content for those that nothing has computed yet: L(0)
 * leaves at k = 1, H(0) at k = 2. Inverse, the delayed rows in the reverse order; D, C and E being the rows after
 * delta, gamma and beta are undone:
 *   pSrc0, pSrc1, pSrc2    H(k - 1), L(k), H(k)
 *   pDstEven               receives D(2k)
 *   pEvenPrev              D(2k - 2), becomes E(2k - 2), which is the finished row x(2k - 2)
 *   pEvenLast              x(2k - 4), only read
 *   pDstOdd                receives C(2k - 1)
 *   pOddPrev               C(2k - 3), becomes the finished row x(2k - 3)
 * It starts at k = -1: x(0) leaves at k = 1, x(1) at k = 2.
 * Rows may be the same or overlap, as for the 5/3 steps. Checks, in this order:
 *   moxStatusNullPointer   a row is null
 *   moxStatusBadSize       width below 1
 */
MOXJ_API MoxStatus moxiWTFwdColLift_D97_JPEG2K_16s_C1(const Mox16s* pSrc0, const Mox16s* pSrc1, const Mox16s* pSrc2,
    Mox16s* pLowPrev, Mox16s* pDstEven, Mox16s* pHighPrev, Mox16s* pOddPrev, Mox16s* pDstOdd, int32_t width);
MOXJ_API MoxStatus moxiWTInvColLift_D97_JPEG2K_16s_C1(const Mox16s* pSrc0, const Mox16s* pSrc1, const Mox16s* pSrc2,
    Mox16s* pDstEven, Mox16s* pEvenPrev, const Mox16s* pEvenLast, Mox16s* pDstOdd, Mox16s* pOddPrev, int32_t width);
MOXJ_API MoxStatus moxiWTFwdColLift_D97_JPEG2K_32s_C1(const Mox32s* pSrc0, const Mox32s* pSrc1, const Mox32s* pSrc2,
    Mox32s* pLowPrev, Mox32s* pDstEven, Mox32s* pHighPrev, Mox32s* pOddPrev, Mox32s* pDstOdd, int32_t width);
MOXJ_API MoxStatus moxiWTInvColLift_D97_JPEG2K_32s_C1(const Mox32s* pSrc0, const Mox32s* pSrc1, const Mox32s* pSrc2,
    Mox32s* pDstEven, Mox32s* pEvenPrev, const Mox32s* pEvenLast, Mox32s* pDstOdd, Mox32s* pOddPrev, int32_t width);
MOXJ_API MoxStatus moxiWTFwdColLift_D97_JPEG2K_32f_C1(const Mox32f* pSrc0, const Mox32f* pSrc1, const Mox32f* pSrc2,
    Mox32f* pLowPrev, Mox32f* pDstEven, Mox32f* pHighPrev, Mox32f* pOddPrev, Mox32f* pDstOdd, int32_t width);
MOXJ_API MoxStatus moxiWTInvColLift_D97_JPEG2K_32f_C1(const Mox32f* pSrc0, const Mox32f* pSrc1, const Mox32f* pSrc2,
    Mox32f* pDstEven, Mox32f* pEvenPrev, const Mox32f* pEvenLast, Mox32f* pDstOdd, Mox32f* pOddPrev, int32_t width);

#ifdef __cplusplus
}
#endif

#endif
