/*
 * Lossless JPEG coding (ITU-T T.81 Annex H) of a 12-bit grey picture: each sample is predicted from its neighbours,
 * and the difference is coded as a category and value bits.
 */
#include <string.h>

#include "example.h"

enum { kWidth = 61, kHeight = 40, kBits = 12, kPoint = 0, kPredictor = 7 };

static Mox16s picture[kHeight][kWidth], differences[kHeight][kWidth], decoded[kHeight][kWidth];
/* A difference takes at most 8 bytes and the end 2. The encoder does not report a full destination. */
static Mox8u data[kWidth * kHeight * 8 + 2];

static void predict(void) {
  int y;
  /* The first sample is predicted by half of the range, the rest of the first row by its left neighbours. */
  must(moxiDiffPredFirstRow_JPEG_16s_C1(picture[0], differences[0], kWidth, kBits, kPoint), "the first row");
  for (y = 1; y < kHeight; y++)
    must(moxiDiffPredRow_JPEG_16s_C1(picture[y], picture[y - 1], differences[y], kWidth, kPredictor), "a row");
}

static int32_t encode(Mox8u* bits, Mox8u* values) {
  MoxEncodeHuffmanSpec* code;
  MoxEncodeHuffmanState* state;
  int32_t counts[256] = {0}, position = 0;
  int x, y;
  for (y = 0; y < kHeight; y++)
    for (x = 0; x < kWidth; x++)
      must(moxiGetHuffmanStatisticsOne_JPEG_16s_C1(&differences[y][x], counts), "the statistics");
  must(moxiEncodeHuffmanRawTableInit_JPEG_8u(counts, bits, values), "an optimal table");
  must(moxiEncodeHuffmanSpecInitAlloc_JPEG_8u(bits, values, &code), "the code");
  must(moxiEncodeHuffmanStateInitAlloc_JPEG_8u(&state), "the state");
  for (y = 0; y < kHeight; y++)
    for (x = 0; x < kWidth; x++)
      must(moxiEncodeHuffmanOne_JPEG_16s1u_C1(&differences[y][x], data, sizeof data, &position, code, state, 0),
           "a difference");
  must(moxiEncodeHuffmanOne_JPEG_16s1u_C1(NULL, data, sizeof data, &position, NULL, state, 1), "the end");
  moxiEncodeHuffmanStateFree_JPEG_8u(state);
  moxiEncodeHuffmanSpecFree_JPEG_8u(code);
  return position;
}

static void decode(const Mox8u* bits, const Mox8u* values, int32_t length) {
  MoxDecodeHuffmanSpec* code;
  MoxDecodeHuffmanState* state;
  Mox16s row[kWidth];
  int32_t position = 0, marker = 0;
  int x, y;
  must(moxiDecodeHuffmanSpecInitAlloc_JPEG_8u(bits, values, &code), "the code");
  must(moxiDecodeHuffmanStateInitAlloc_JPEG_8u(&state), "the state");
  for (y = 0; y < kHeight; y++) {
    for (x = 0; x < kWidth; x++)
      must(moxiDecodeHuffmanOne_JPEG_1u16s_C1(data, length, &position, &row[x], &marker, code, state), "a difference");
    if (y == 0)
      must(moxiReconstructPredFirstRow_JPEG_16s_C1(row, decoded[0], kWidth, kBits, kPoint), "the first row");
    else
      must(moxiReconstructPredRow_JPEG_16s_C1(row, decoded[y - 1], decoded[y], kWidth, kPredictor), "a row");
  }
  moxiDecodeHuffmanStateFree_JPEG_8u(state);
  moxiDecodeHuffmanSpecFree_JPEG_8u(code);
}

int main(void) {
  Mox8u bits[16], values[256];
  int32_t length;
  int x, y;
  for (y = 0; y < kHeight; y++)
    for (x = 0; x < kWidth; x++) picture[y][x] = (Mox16s)(50 * x + 20 * y + sample(x, y, 40));
  predict();
  length = encode(bits, values);
  decode(bits, values, length);
  if (memcmp(picture, decoded, sizeof picture) != 0) return EXIT_FAILURE;
  printf("%d samples of %d bits in %d bytes, and back without a difference\n", kWidth * kHeight, kBits, (int)length);
  return length * 8 < kWidth * kHeight * kBits ? EXIT_SUCCESS : EXIT_FAILURE;
}
