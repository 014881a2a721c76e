/*
 * Baseline JPEG coding (ITU-T T.81 Annex F) of one grey component: forward transform and quantisation, Huffman coding
 * with tables that are optimal for the picture, and back. A file has the segments SOI, DQT, SOF0, DHT and SOS before
 * the coded data, and EOI after it.
 */
#include "example.h"

enum {
  kBlocksWide = 6,
  kBlocksHigh = 4,
  kWidth = 8 * kBlocksWide,
  kHeight = 8 * kBlocksHigh,
  kBlocks = kBlocksWide * kBlocksHigh
};

static Mox8u picture[kHeight][kWidth], decoded[kHeight][kWidth];
static Mox16s coefficients[kBlocks][64];
static Mox8u data[kBlocks * 512 + 2]; /* a block takes at most 512 bytes, the end 2 */

/* A Huffman table in the form of a DHT segment. */
typedef struct Table {
  Mox8u bits[16], values[256];
} Table;

static Table tableFor(const int32_t* counts) {
  Table table;
  must(moxiEncodeHuffmanRawTableInit_JPEG_8u(counts, table.bits, table.values), "an optimal table");
  return table;
}

/* Returns the number of bytes. */
static int32_t encode(const Table* dc, const Table* ac) {
  MoxEncodeHuffmanSpec *dcCode, *acCode;
  MoxEncodeHuffmanState* state;
  Mox16s lastDc = 0; /* DC coefficients are coded as differences from the previous block */
  int32_t position = 0;
  int i;
  must(moxiEncodeHuffmanSpecInitAlloc_JPEG_8u(dc->bits, dc->values, &dcCode), "the DC code");
  must(moxiEncodeHuffmanSpecInitAlloc_JPEG_8u(ac->bits, ac->values, &acCode), "the AC code");
  must(moxiEncodeHuffmanStateInitAlloc_JPEG_8u(&state), "the state");
  for (i = 0; i < kBlocks; i++)
    must(moxiEncodeHuffman8x8_JPEG_16s1u_C1(coefficients[i], data, sizeof data, &position, &lastDc, dcCode, acCode,
                                            state, 0),
         "the coding of a block");
  /* The last byte is filled with ones: a marker begins at a byte. */
  must(moxiEncodeHuffman8x8_JPEG_16s1u_C1(NULL, data, sizeof data, &position, NULL, NULL, NULL, state, 1), "the end");
  moxiEncodeHuffmanStateFree_JPEG_8u(state);
  moxiEncodeHuffmanSpecFree_JPEG_8u(acCode);
  moxiEncodeHuffmanSpecFree_JPEG_8u(dcCode);
  return position;
}

static void decode(const Table* dc, const Table* ac, int32_t length, const Mox16u* steps) {
  MoxDecodeHuffmanSpec *dcCode, *acCode;
  MoxDecodeHuffmanState* state;
  Mox16s block[64], lastDc = 0;
  int32_t position = 0, marker = 0;
  int i;
  must(moxiDecodeHuffmanSpecInitAlloc_JPEG_8u(dc->bits, dc->values, &dcCode), "the DC code");
  must(moxiDecodeHuffmanSpecInitAlloc_JPEG_8u(ac->bits, ac->values, &acCode), "the AC code");
  must(moxiDecodeHuffmanStateInitAlloc_JPEG_8u(&state), "the state");
  for (i = 0; i < kBlocks; i++) {
    must(moxiDecodeHuffman8x8_JPEG_1u16s_C1(data, length, &position, block, &lastDc, &marker, dcCode, acCode, state),
         "the decoding of a block");
    /* Rows of the picture are kWidth bytes apart. */
    must(moxiDCTQuantInv8x8LS_JPEG_16s8u_C1R(block, &decoded[i / kBlocksWide * 8][i % kBlocksWide * 8], kWidth, steps),
         "the inverse transform");
  }
  moxiDecodeHuffmanStateFree_JPEG_8u(state);
  moxiDecodeHuffmanSpecFree_JPEG_8u(acCode);
  moxiDecodeHuffmanSpecFree_JPEG_8u(dcCode);
}

int main(void) {
  int32_t dcCounts[256] = {0}, acCounts[256] = {0}, length;
  Mox8u raw[64]; /* quantiser steps in the zig-zag order of a DQT segment */
  Mox16u reciprocals[64], steps[64];
  Mox16s lastDc = 0;
  Table dc, ac;
  int i, x, y, worst = 0;

  for (y = 0; y < kHeight; y++)
    for (x = 0; x < kWidth; x++) picture[y][x] = (Mox8u)(2 * x + 3 * y + sample(x, y, 15));

  for (i = 0; i < 64; i++) raw[i] = (Mox8u)(8 + i);
  must(moxiQuantFwdRawTableInit_JPEG_8u(raw, 90), "the steps of quality 90");
  must(moxiQuantFwdTableInit_JPEG_8u16u(raw, reciprocals), "the encoder's table");
  must(moxiQuantInvTableInit_JPEG_8u16u(raw, steps), "the decoder's table");

  for (i = 0; i < kBlocks; i++)
    must(moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(&picture[i / kBlocksWide * 8][i % kBlocksWide * 8], kWidth,
                                             coefficients[i], reciprocals),
         "the transform");

  /* First pass: how often each symbol occurs. */
  for (i = 0; i < kBlocks; i++)
    must(moxiGetHuffmanStatistics8x8_JPEG_16s_C1(coefficients[i], dcCounts, acCounts, &lastDc), "the statistics");
  dc = tableFor(dcCounts);
  ac = tableFor(acCounts);

  length = encode(&dc, &ac); /* second pass */
  decode(&dc, &ac, length, steps);

  for (y = 0; y < kHeight; y++)
    for (x = 0; x < kWidth; x++)
      if (abs(picture[y][x] - decoded[y][x]) > worst) worst = abs(picture[y][x] - decoded[y][x]);
  printf("%d samples in %d bytes, largest error %d\n", kWidth * kHeight, (int)length, worst);
  return worst > 16 || length >= kWidth * kHeight ? EXIT_FAILURE : EXIT_SUCCESS;
}
