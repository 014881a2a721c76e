/*
 * Progressive JPEG coding (ITU-T T.81 Annex G) of one component's coefficients in five scans: all DC coefficients
 * without their lowest bit, AC coefficients without theirs in two bands, and the missing bits. Each scan has its own
 * entropy-coded segment and, except for the refinement of DC, its own Huffman table, made from its statistics.
 */
#include <string.h>

#include "example.h"

enum { kBlocks = 200 };

typedef struct Scan {
  int start, end; /* zig-zag positions */
  int high, low;  /* Ah, Al: the lowest bit known before (0: none), and the lowest bit of this scan */
} Scan;

static const Scan scans[] = {{0, 0, 0, 1}, {1, 5, 0, 1}, {6, 63, 0, 1}, {0, 0, 1, 0}, {1, 63, 1, 0}};

static Mox16s blocks[kBlocks][64], decoded[kBlocks][64];
static Mox8u data[kBlocks * 64 * 8];

/* One function for each kind of scan. The flush at the end writes the pending run of empty blocks and fills the last
 * byte. */
static MoxStatus put(const Scan* s, const Mox16s* block, int32_t* position, Mox16s* lastDc,
                     const MoxEncodeHuffmanSpec* code, MoxEncodeHuffmanState* state, int flush) {
  if (s->start == 0 && s->high == 0)
    return moxiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(block, data, sizeof data, position, lastDc, s->low, code, state,
                                                      flush);
  if (s->start == 0)
    return moxiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(block, data, sizeof data, position, s->low, state, flush);
  if (s->high == 0)
    return moxiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(block, data, sizeof data, position, s->start, s->end, s->low,
                                                      code, state, flush);
  return moxiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(block, data, sizeof data, position, s->start, s->end, s->low, code,
                                                     state, flush);
}

/* The same symbols, counted. */
static MoxStatus count(const Scan* s, const Mox16s* block, int32_t* counts, Mox16s* lastDc,
                       MoxEncodeHuffmanState* state, int flush) {
  if (s->start == 0) {
    if (flush || s->high > 0) return moxStatusOk; /* bits of a refinement have no symbols, and DC has no runs */
    return moxiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block, counts, lastDc, s->low);
  }
  if (s->high == 0)
    return moxiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(block, counts, s->start, s->end, s->low, state, flush);
  return moxiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(block, counts, s->start, s->end, s->low, state, flush);
}

/* A scan adds to what the earlier scans left in the block. */
static MoxStatus take(const Scan* s, int32_t length, int32_t* position, Mox16s* block, Mox16s* lastDc, int32_t* marker,
                      const MoxDecodeHuffmanSpec* code, MoxDecodeHuffmanState* state) {
  if (s->start == 0 && s->high == 0)
    return moxiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(data, length, position, block, lastDc, marker, s->low, code,
                                                      state);
  if (s->start == 0)
    return moxiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(data, length, position, block, marker, s->low, state);
  if (s->high == 0)
    return moxiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(data, length, position, block, marker, s->start, s->end, s->low,
                                                      code, state);
  return moxiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(data, length, position, block, marker, s->start, s->end, s->low,
                                                     code, state);
}

static int32_t encodeScan(const Scan* s, Mox8u* bits, Mox8u* values) {
  MoxEncodeHuffmanState* state;
  MoxEncodeHuffmanSpec* code;
  int32_t counts[256] = {0}, position = 0;
  Mox16s lastDc = 0;
  int i;
  must(moxiEncodeHuffmanStateInitAlloc_JPEG_8u(&state), "a state");
  for (i = 0; i < kBlocks; i++) must(count(s, blocks[i], counts, &lastDc, state, 0), "the statistics");
  must(count(s, NULL, counts, &lastDc, state, 1), "the statistics of the last run");
  must(moxiEncodeHuffmanRawTableInit_JPEG_8u(counts, bits, values), "an optimal table");
  must(moxiEncodeHuffmanSpecInitAlloc_JPEG_8u(bits, values, &code), "a code");
  lastDc = 0; /* the flush has initialised the state */
  for (i = 0; i < kBlocks; i++) must(put(s, blocks[i], &position, &lastDc, code, state, 0), "the coding of a block");
  must(put(s, NULL, &position, NULL, code, state, 1), "the end of a scan");
  moxiEncodeHuffmanSpecFree_JPEG_8u(code);
  moxiEncodeHuffmanStateFree_JPEG_8u(state);
  return position;
}

static void decodeScan(const Scan* s, const Mox8u* bits, const Mox8u* values, int32_t length) {
  MoxDecodeHuffmanState* state;
  MoxDecodeHuffmanSpec* code;
  int32_t position = 0, marker = 0;
  Mox16s lastDc = 0;
  int i;
  must(moxiDecodeHuffmanStateInitAlloc_JPEG_8u(&state), "a state");
  must(moxiDecodeHuffmanSpecInitAlloc_JPEG_8u(bits, values, &code), "a code");
  for (i = 0; i < kBlocks; i++)
    must(take(s, length, &position, decoded[i], &lastDc, &marker, code, state), "the decoding of a block");
  moxiDecodeHuffmanSpecFree_JPEG_8u(code);
  moxiDecodeHuffmanStateFree_JPEG_8u(state);
}

int main(void) {
  int i, k;
  size_t scan;
  for (i = 0; i < kBlocks; i++) {
    blocks[i][0] = (Mox16s)(sample(i, 3, 400) - 200);
    /* Natural order; most blocks have few coefficients, every third none. */
    for (k = 1; k < 64 && i % 3 != 0; k += 1 + sample(i, k, 30)) blocks[i][k] = (Mox16s)(sample(k, i, 14) - 7);
  }
  for (scan = 0; scan < sizeof scans / sizeof *scans; scan++) {
    Mox8u bits[16], values[256];
    const int32_t length = encodeScan(&scans[scan], bits, values);
    decodeScan(&scans[scan], bits, values, length);
    printf("scan %d: coefficients %d to %d, bit %d: %d bytes\n", (int)scan + 1, scans[scan].start, scans[scan].end,
           scans[scan].low, (int)length);
  }
  if (memcmp(blocks, decoded, sizeof blocks) != 0) return EXIT_FAILURE;
  printf("all %d blocks are back\n", (int)kBlocks);
  return EXIT_SUCCESS;
}
