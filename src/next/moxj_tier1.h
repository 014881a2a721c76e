/*
 * JPEG 2000 tier-1 (ISO/IEC 15444-1, Annexes C and D): the code-block encoder, the one-call code-block decoder and the
 * pass-by-pass decoder. A section of the public header that is not public yet: the functions are built into the library
 * but not exported.
 */
#ifndef MOXJ_TIER1_H
#define MOXJ_TIER1_H

#include "moxj.h"

#ifndef MOXJ_NEXT_API
#if defined(__GNUC__) && !defined(_WIN32)
#define MOXJ_NEXT_API __attribute__((visibility("hidden")))
#else
#define MOXJ_NEXT_API
#endif
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- JPEG 2000 code-blocks ------------------------------------------------------------------------------------ */

/*
 * Coefficients are 32-bit sign-magnitude words: bit 31 the sign, bit p of the magnitude (0 to 30) bit-plane p. A block
 * with K bit-planes is coded from bit-plane K - 1, which has a cleanup pass only, downwards; every further bit-plane has
 * a significance propagation pass, a magnitude refinement pass and a cleanup pass (D.3).
 *
 * subband: 2 horizontally high and vertically low (HL), 3 HH; any other value LL or LH, which share their contexts.
 */

/* Options of the code-block coders. */
enum {
  /* Both: the coding modes of a codestream's code-block style (Table A.19). */
  moxJ2KCausal = 0x1,    /* vertically causal contexts: nothing below a stripe counts as significant in it */
  moxJ2KBypass = 0x2,    /* significance and refinement passes below bit-plane K - 4 are raw bits */
  moxJ2KTermAll = 0x4,   /* every pass is terminated: a codeword segment of its own */
  moxJ2KReset = 0x8,     /* the contexts are reset after every pass */
  moxJ2KSegSymbol = 0x10, /* the segmentation symbol 1010 ends every cleanup pass */
  /* The encoder. */
  moxJ2KExactLast = 0x20, /* the last coded bit-plane reconstructs exactly: its distortions are counted so */
  /* The decoders. */
  moxJ2KFillOnError = 0x10000,      /* one call: after an error, planes not decoded are filled by mid-point */
  moxJ2KKeepDestination = 0x20000,  /* the destination is not cleared first: bits that it holds survive */
  moxJ2KKeepMidpoint = 0x40000,     /* one call: bits below the current bit-plane are not cleared at the end */
  moxJ2KKeepFlags = 0x80000,        /* the state flags of the block attached before are kept */
  moxJ2KCheckTermination = 0x100000 /* terminated MQ segments must end as predictable termination leaves them */
};

/* How a terminated MQ segment ends. Any other value is taken as moxJ2KTermFlush. */
enum {
  moxJ2KTermFlush = 0,      /* the flush procedure of C.2.9 */
  moxJ2KTermShortest = 1,   /* the fewest bytes that, followed by 0xFF bytes, decode to the same decisions */
  moxJ2KTermPredictable = 2 /* predictable termination, D.4.2 */
};

/* ---- Code-block encoder --------------------------------------------------------------------------------------- */

typedef struct MoxJ2KEncodeState MoxJ2KEncodeState;

/*
 * Allocates the state of a code-block encoder for blocks of at most width x height coefficients. One state serves any
 * number of blocks, one after the other.
 *   moxStatusNullPointer   ppState is null
 *   moxStatusBadSize       height or width below 1
 *   moxStatusNoMemory      the state cannot be allocated; *ppState is null then
 */
MOXJ_NEXT_API MoxStatus moxiEncodeInitAlloc_JPEG2K(MoxJ2KEncodeState** ppState, int32_t width, int32_t height);

/*
 * Frees a state of moxiEncodeInitAlloc_JPEG2K, whether or not its tag is intact.
 *   moxStatusNullPointer   pState is null
 */
MOXJ_NEXT_API MoxStatus moxiEncodeFree_JPEG2K(MoxJ2KEncodeState* pState);

/*
 * Takes a code-block into the state, forms its coding passes and counts their distortions. Rows of pSrc lie srcStep bytes
 * apart, in any alignment. The block must not be larger than the size given to moxiEncodeInitAlloc_JPEG2K: that is not
 * tested.
 *
 * magnitudeBits: bit-planes below L = 31 - magnitudeBits are not coded; 31 codes all. Values above 31 act as 31, values
 * below 1 leave no bit-plane to code.
 * termKind: moxJ2KTermFlush, ...; reserved has no effect; options that concern decoders alone have none either.
 *
 * *pNumBitPlanes: the position of the highest magnitude bit of the block plus 1, 0 for a block of zeros;
 * *pNumPasses: the number of coding passes, at most 91: none if no bit-plane from L up holds a bit;
 * *pNumSegments: the number of passes with moxJ2KTermAll; else 1 plus the number of changes between MQ and raw coding
 * from one pass to the next.
 *
 *   moxStatusNullPointer       pState is null
 *   moxStatusContextMismatch   pState is no encoder state
 *   moxStatusNullPointer       pNumBitPlanes, pNumPasses or pNumSegments is null
 *   moxStatusBadSize           height or width below 1
 *   moxStatusNullPointer       pSrc is null
 *   moxStatusBadStep           srcStep below 1
 */
MOXJ_NEXT_API MoxStatus moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R(
    const Mox32s* pSrc, int32_t srcStep, int32_t width, int32_t height, MoxJ2KEncodeState* pState, int32_t subband,
    int32_t magnitudeBits, int32_t termKind, int32_t reserved, int32_t options, int32_t* pNumBitPlanes,
    int32_t* pNumPasses, int32_t* pNumSegments);

/*
 * Delivers the code string of the loaded block, its codeword segments one after the other: at most *pDstLen bytes, from
 * where the last call stopped. *pDstLen becomes the number of bytes written, *pNotFinished 1 while bytes remain and else
 * 0: a buffer that the last byte fills exactly is the last one. The bytes do not depend on the sizes of the buffers.
 *   moxStatusNullPointer       pState is null
 *   moxStatusContextMismatch   pState is no encoder state
 *   moxStatusNullPointer       pDst, pDstLen or pNotFinished is null
 *   moxStatusBadSize           *pDstLen below 1
 */
MOXJ_NEXT_API MoxStatus moxiEncodeStoreBits_JPEG2K_1u(
    Mox8u* pDst, int32_t* pDstLen, MoxJ2KEncodeState* pState, int32_t* pNotFinished);

/*
 * The rate of a coding pass (counted from 0): the number of bytes from the start of the block's code string with which
 * every pass up to and including this one can be decoded. A rate never decreases from pass to pass by more than 1, never
 * exceeds the length of the code string and never ends with a byte of 0xFF, which a decoder supplies by itself. The
 * rates are known from the first call of moxiEncodeStoreBits_JPEG2K_1u for the block on, and 0 before.
 *   moxStatusNullPointer       pState is null
 *   moxStatusContextMismatch   pState is no encoder state
 *   moxStatusNullPointer       pRate is null
 *   moxStatusBadPassNumber     pass negative, or not below the number of passes
 */
MOXJ_NEXT_API MoxStatus moxiEncodeGetRate_JPEG2K(MoxJ2KEncodeState* pState, int32_t pass, int32_t* pRate);

/*
 * The reduction of the squared error by the passes up to and including the given one, in units of the square of the
 * lowest coded bit-plane's step L: the decoder is taken to reconstruct at the middle of the interval.
 * The sum over the passes, in their order, of a whole number times a power of two.
 *   Statuses as for moxiEncodeGetRate_JPEG2K.
 */
MOXJ_NEXT_API MoxStatus moxiEncodeGetDist_JPEG2K(MoxJ2KEncodeState* pState, int32_t pass, double* pDist);

/*
 * The length in bytes of a codeword segment (counted from 0): known from the first call of
 * moxiEncodeStoreBits_JPEG2K_1u for the block on, and 0 before. The lengths add up to the code string's.
 *   Statuses as for moxiEncodeGetRate_JPEG2K, with the number of segments in place of the number of passes.
 */
MOXJ_NEXT_API MoxStatus moxiEncodeGetTermPassLen_JPEG2K(MoxJ2KEncodeState* pState, int32_t segment, int32_t* pLength);

/* ---- Code-block decoders -------------------------------------------------------------------------------------- */

typedef struct MoxJ2KDecodeState MoxJ2KDecodeState;

/*
 * The size in bytes of the work buffer of moxiDecodeCodeBlock_JPEG2K_1u32s_C1R:
 * R * (floor((height + 1) / 2) + 2) + 388 with R = 4 * width + 8 rounded up to a multiple of 32.
 *   moxStatusBadSize       height or width below 1
 *   moxStatusNullPointer   pSize is null
 *   moxStatusBadSize       the size exceeds 2^31 - 1
 */
MOXJ_NEXT_API MoxStatus moxiDecodeGetBufSize_JPEG2K(int32_t width, int32_t height, int32_t* pSize);

/*
 * Decodes a code-block of width x height coefficients from its first numPasses coding passes. The codeword segments lie
 * one after the other in pSrc; pSegmentLengths gives the length of each in bytes (a negative one counts as 0). pBuffer
 * is a work buffer of the reported size, in any alignment, as are the rows of pDst, dstStep bytes apart.
 *
 * A coefficient that is significant gets its sign and its decoded bits; bits below the bit-plane at which decoding
 * stopped are cleared at the end, unless moxJ2KKeepMidpoint keeps the half step below the last decoded bit.
 * numBitPlanes is K. It is not tested: below 1 nothing is decoded; bit-planes above 30 are decoded but have no bit in the
 * words.
 *
 * Data that cannot be decoded (a failed check of moxJ2KCheckTermination, a wrong segmentation symbol) ends decoding with
 * moxStatusDecodeFailed: *pCurBitPlane (pCurBitPlane may be null) is then the bit-plane p at which it happened, and is
 * left alone otherwise. The destination holds what was decoded; with moxJ2KFillOnError every coefficient with a bit from
 * p up is cut off below p and gets bit p set, every other becomes 0.
 *
 *   moxStatusNullPointer   pSrc or pBuffer is null
 *   moxStatusBadSize       height or width below 1
 *   moxStatusNullPointer   pSegmentLengths or pDst is null
 *   moxStatusBadStep       dstStep below 1
 *   moxStatusDecodeFailed  see above; the destination has been written
 */
MOXJ_NEXT_API MoxStatus moxiDecodeCodeBlock_JPEG2K_1u32s_C1R(
    const Mox8u* pSrc, Mox32s* pDst, int32_t dstStep, int32_t width, int32_t height, int32_t subband,
    int32_t numBitPlanes, int32_t numPasses, const int32_t* pSegmentLengths, int32_t numSegments, int32_t options,
    int32_t* pCurBitPlane, Mox8u* pBuffer);

/*
 * The pass-by-pass decoder. Once: moxiDecodeCBProgrGetStateSize_JPEG2K and moxiDecodeCBProgrInit_JPEG2K on memory of the
 * caller's in any alignment, or moxiDecodeCBProgrInitAlloc_JPEG2K. For every code-block: Attach, SetPassCounter with the
 * number of passes to decode, then one Step for every codeword segment in the order of the code string (with
 * moxJ2KTermAll: for every pass). GetPassCounter and GetCurBitPlaneNum at any time. A state must not be moved in memory.
 */

/*
 * The size in bytes of a decoder state for blocks of at most width x height coefficients: as
 * moxiDecodeGetBufSize_JPEG2K, with the same statuses.
 */
MOXJ_NEXT_API MoxStatus moxiDecodeCBProgrGetStateSize_JPEG2K(int32_t width, int32_t height, int32_t* pSize);

/*
 * Makes a decoder state of the caller's memory; no block is attached to it.
 *   moxStatusNullPointer   pState is null
 */
MOXJ_NEXT_API MoxStatus moxiDecodeCBProgrInit_JPEG2K(MoxJ2KDecodeState* pState);

/*
 * Allocates a decoder state for blocks of at most width x height coefficients.
 *   moxStatusNullPointer   ppState is null
 *   moxStatusBadSize       height or width below 1
 *   moxStatusNoMemory      the state cannot be allocated; *ppState is null then
 */
MOXJ_NEXT_API MoxStatus moxiDecodeCBProgrInitAlloc_JPEG2K(MoxJ2KDecodeState** ppState, int32_t width, int32_t height);

/*
 * Frees a state of moxiDecodeCBProgrInitAlloc_JPEG2K.
 *   moxStatusNullPointer       pState is null
 *   moxStatusContextMismatch   pState is no decoder state; nothing is freed
 */
MOXJ_NEXT_API MoxStatus moxiDecodeCBProgrFree_JPEG2K(MoxJ2KDecodeState* pState);

/*
 * Attaches a code-block: the destination, to which every Step adds, is cleared (but for moxJ2KKeepDestination), the pass
 * counter becomes 0, the current bit-plane numBitPlanes - 1, an earlier failure is forgotten. The state keeps pDst until
 * the next Attach. Between Steps a significant coefficient holds its decoded bits and a one just below the last of them.
 *   moxStatusNullPointer       pState is null
 *   moxStatusContextMismatch   pState is no decoder state
 *   moxStatusNullPointer       pDst is null
 *   moxStatusBadStep           dstStep below 1
 *   moxStatusBadSize           height or width below 1
 */
MOXJ_NEXT_API MoxStatus moxiDecodeCBProgrAttach_JPEG2K_32s_C1R(
    Mox32s* pDst, int32_t dstStep, int32_t width, int32_t height, MoxJ2KDecodeState* pState, int32_t subband,
    int32_t numBitPlanes, int32_t options);

/*
 * Decodes the passes of the next codeword segment, length bytes at pSegment (a length below 1: none; past its end a
 * segment reads as 0xFF), or those of them that the pass counter still allows. Does nothing once the counter is below 1
 * or the current bit-plane negative.
 *   moxStatusNullPointer       pSegment or pState is null
 *   moxStatusContextMismatch   pState is no decoder state
 *   moxStatusNotAttached       no block is attached
 *   moxStatusDecodeFailed      the segment cannot be decoded, or an earlier one could not: only Attach clears that. The
 *                              destination keeps what was decoded. The failed pass counts as done with moxJ2KTermAll
 *                              and is left in the pass counter without
 */
MOXJ_NEXT_API MoxStatus moxiDecodeCBProgrStep_JPEG2K(const Mox8u* pSegment, int32_t length, MoxJ2KDecodeState* pState);

/*
 * The number of passes that are still to be decoded.
 *   moxStatusNullPointer       pState or pCount is null
 *   moxStatusContextMismatch   pState is no decoder state
 */
MOXJ_NEXT_API MoxStatus moxiDecodeCBProgrGetPassCounter_JPEG2K(MoxJ2KDecodeState* pState, int32_t* pCount);

/*
 * Sets the number of passes to decode.
 *   moxStatusNullPointer       pState is null
 *   moxStatusContextMismatch   pState is no decoder state
 */
MOXJ_NEXT_API MoxStatus moxiDecodeCBProgrSetPassCounter_JPEG2K(int32_t count, MoxJ2KDecodeState* pState);

/*
 * The bit-plane of the pass that comes next, or of the last one if none is left to decode.
 *   moxStatusNullPointer       pState is null
 *   moxStatusContextMismatch   pState is no decoder state
 *   moxStatusNullPointer       pBitPlane is null
 */
MOXJ_NEXT_API MoxStatus moxiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(MoxJ2KDecodeState* pState, int32_t* pBitPlane);

#ifdef __cplusplus
}
#endif

#endif
