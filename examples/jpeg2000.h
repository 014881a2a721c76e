/*
 * What both JPEG 2000 examples share: the bands of an in-place wavelet, and code-blocks to and from a list that stands
 * for the packets of a codestream (ISO/IEC 15444-1, Annex B).
 */
#ifndef JPEG2000_H
#define JPEG2000_H

#include <string.h>

#include "example.h"

enum { kWidth = 150, kHeight = 101, kLevels = 3, kBands = 3 * kLevels + 1, kBlock = 32, kColours = 3 };

/* ---- Bands ---- */

/* A band's place in the plane after all levels. It is high in none, one or both directions. */
typedef struct Band {
  int x, y, width, height;
  int subband, level;
} Band;

/* Of n samples from an even coordinate on, the first (n + 1) / 2 places receive the low ones. */
static void findBands(Band bands[kBands]) {
  int level, width = kWidth, height = kHeight;
  for (level = 1; level <= kLevels; level++) {
    const int low = (width + 1) / 2, top = (height + 1) / 2;
    const Band hl = {low, 0, width - low, top, moxJ2KSubbandHL, level};
    const Band lh = {0, top, low, height - top, moxJ2KSubbandLH, level};
    const Band hh = {low, top, width - low, height - top, moxJ2KSubbandHH, level};
    *bands++ = hl;
    *bands++ = lh;
    *bands++ = hh;
    width = low;
    height = top;
  }
  {
    const Band ll = {0, 0, width, height, moxJ2KSubbandLL, kLevels};
    *bands = ll;
  }
}

/* One direction of a wavelet over all levels. Each level transforms what the one before left in the low band. */
typedef MoxStatus (*Level)(Mox32s* plane, int32_t step, const MoxRect* region, Mox8u* buffer);

static void transform(Level oneLevel, int inverse, Mox32s* plane, Mox8u* buffer) {
  MoxRect regions[kLevels];
  int i;
  for (i = 0; i < kLevels; i++) {
    const MoxRect whole = {0, 0, kWidth, kHeight}, above = i > 0 ? regions[i - 1] : whole;
    regions[i] = above;
    if (i > 0) {
      regions[i].width = (above.width + 1) / 2;
      regions[i].height = (above.height + 1) / 2;
    }
  }
  for (i = 0; i < kLevels; i++)
    must(oneLevel(plane, kWidth * sizeof *plane, &regions[inverse ? kLevels - 1 - i : i], buffer), "a wavelet level");
}

/* ---- Code-blocks ---- */

/* What packet headers tell of a block, and where its bytes are. */
typedef struct Block {
  int32_t bitPlanes, passes, segments;
  int32_t lengths[91]; /* of its codeword segments: no block has more passes */
  int32_t start;
} Block;

static Mox8u data[1 << 20];
static int32_t dataLength;

/* Transforms make numbers; code-blocks consist of signs and magnitudes. */
static Mox32s toWord(Mox32s number) { return number < 0 ? (Mox32s)((Mox32u)-number | 0x80000000u) : number; }
static Mox32s toNumber(Mox32s word) {
  const Mox32s magnitude = (Mox32s)((Mox32u)word & 0x7FFFFFFFu);
  return word < 0 ? -magnitude : magnitude;
}

/* Codes all passes of a block, down to the bit-plane `lowest`, and appends its code string to `data`. */
static void encodeBlock(MoxJ2KEncodeState* state, const Mox32s* words, int32_t step, int width, int height, int subband,
                        int lowest, int style, Block* block) {
  int32_t length = (int32_t)sizeof data - dataLength, notFinished, from, i;
  block->start = dataLength;
  must(moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R(words, step, width, height, state, subband, 31 - lowest,
                                              MOXJ_J2K_TERM_KIND(style), 0, MOXJ_J2K_OPTIONS(style), &block->bitPlanes,
                                              &block->passes, &block->segments),
       "the coding of a block");
  block->bitPlanes -= lowest; /* those that are coded */
  if (block->passes == 0) block->bitPlanes = block->segments = 0;
  must(moxiEncodeStoreBits_JPEG2K_1u(data + dataLength, &length, state, &notFinished), "the code string");
  if (notFinished) exit(EXIT_FAILURE);

  /* A raw segment may end in 0xFF, which a packet must not contain there. Decoders supply that byte themselves. */
  from = dataLength;
  for (i = 0; i < block->segments; i++) {
    must(moxiEncodeGetTermPassLen_JPEG2K(state, i, &length), "the length of a segment");
    block->lengths[i] = length > 0 && data[from + length - 1] == 0xFF ? length - 1 : length;
    memmove(data + dataLength, data + from, (size_t)block->lengths[i]);
    dataLength += block->lengths[i];
    from += length;
  }
}

#endif
