/*
 * The core of JPEG 2000 (ISO/IEC 15444-1) for a grey picture, without loss: one level of the reversible 5/3 wavelet
 * (Annex F), and each of its four subbands coded as a code-block by bit-planes (Annexes C and D) and decoded back. A
 * codestream would put the code strings into packets (Annex B).
 */
#include <string.h>

#include "example.h"

enum { kSize = 64, kHalf = kSize / 2 };

static Mox32s picture[kSize][kSize], plane[kSize][kSize];
static Mox8u data[kHalf * kHalf * 8]; /* a code-block's code string: more than it can take */

/* Wavelet coefficients are numbers; code-blocks are made of signs and magnitudes. */
static Mox32s signMagnitude(Mox32s value) { return value < 0 ? (Mox32s)((Mox32u)-value | 0x80000000u) : value; }
static Mox32s number(Mox32s word) {
  const Mox32s magnitude = (Mox32s)((Mox32u)word & 0x7FFFFFFFu);
  return word < 0 ? -magnitude : magnitude;
}

/* Codes a block and puts what a decoder makes of it in its place. Returns the number of bytes. */
static int32_t throughCoder(MoxJ2KEncodeState* state, Mox8u* buffer, Mox32s* block, int subband) {
  Mox32s words[kHalf][kHalf];
  int32_t planes, passes, segments, more, length = sizeof data;
  int x, y;
  for (y = 0; y < kHalf; y++)
    for (x = 0; x < kHalf; x++) words[y][x] = signMagnitude(block[y * kSize + x]);
  must(moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R(words[0], sizeof words[0], kHalf, kHalf, state, subband, 31,
                                              moxJ2KTermFlush, 0, 0, &planes, &passes, &segments),
       "the coding of a block");
  must(moxiEncodeStoreBits_JPEG2K_1u(data, &length, state, &more), "the code string");
  if (more) exit(EXIT_FAILURE);

  memset(words, 0, sizeof words);
  must(moxiDecodeCodeBlock_JPEG2K_1u32s_C1R(data, words[0], sizeof words[0], kHalf, kHalf, subband, planes, passes,
                                            &length, segments, 0, NULL, buffer),
       "the decoding of a block");
  for (y = 0; y < kHalf; y++)
    for (x = 0; x < kHalf; x++) block[y * kSize + x] = number(words[y][x]);
  printf("subband %d: %d bit-planes in %d passes, %d bytes\n", subband, (int)planes, (int)passes, (int)length);
  return length;
}

int main(void) {
  const MoxRect whole = {0, 0, kSize, kSize};
  MoxJ2KEncodeState* state;
  Mox8u *waveletBuffer, *blockBuffer;
  int32_t waveletSize, blockSize, bytes = 0;
  int x, y, subband;

  for (y = 0; y < kSize; y++)
    for (x = 0; x < kSize; x++) picture[y][x] = 2 * x + y + sample(x, y, 7) - 128; /* level-shifted */
  memcpy(plane, picture, sizeof plane);

  must(moxiWTGetBufSize_B53_JPEG2K_32s_C1IR(&whole, &waveletSize), "a size");
  must(moxiDecodeGetBufSize_JPEG2K(kHalf, kHalf, &blockSize), "a size");
  waveletBuffer = malloc((size_t)waveletSize);
  blockBuffer = malloc((size_t)blockSize);
  if (!waveletBuffer || !blockBuffer) return EXIT_FAILURE;
  must(moxiEncodeInitAlloc_JPEG2K(&state, kHalf, kHalf), "a state");

  must(moxiWTFwd_B53_JPEG2K_32s_C1IR(plane[0], sizeof plane[0], &whole, waveletBuffer), "the wavelet transform");
  /* 0 LL: top left, 1 LH: bottom left, 2 HL: top right, 3 HH: bottom right. */
  for (subband = 0; subband < 4; subband++)
    bytes += throughCoder(state, blockBuffer, &plane[subband & 1 ? kHalf : 0][subband & 2 ? kHalf : 0], subband);
  must(moxiWTInv_B53_JPEG2K_32s_C1IR(plane[0], sizeof plane[0], &whole, waveletBuffer), "the inverse transform");

  moxiEncodeFree_JPEG2K(state);
  free(blockBuffer);
  free(waveletBuffer);
  if (memcmp(plane, picture, sizeof plane) != 0) return EXIT_FAILURE;
  printf("%d samples in %d bytes, and back without a difference\n", kSize * kSize, (int)bytes);
  return bytes < kSize * kSize ? EXIT_SUCCESS : EXIT_FAILURE;
}
