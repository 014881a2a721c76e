/*
 * JPEG 2000 without loss (ISO/IEC 15444-1): a colour picture through the reversible component transform (Annex G),
 * three levels of the 5/3 wavelet (Annex F) and the code-block coder (Annexes C and D), and back.
 *
 * The code-block style has selective bypass, so that blocks have several codeword segments, some of them raw.
 */
#include "jpeg2000.h"

enum { kStyle = 0x01 }; /* as in a COD marker segment, Table A.19 */

static Mox32s picture[kColours][kHeight][kWidth], planes[kColours][kHeight][kWidth];

typedef struct Coder {
  MoxJ2KEncodeState* encoder;
  Mox8u* decoder; /* its work buffer */
  int32_t passes, segments;
} Coder;

/* Codes a block and decodes it in place. */
static void throughCoder(Coder* coder, Mox32s* first, int width, int height, int subband) {
  const int32_t step = sizeof planes[0][0];
  Block block;
  int x, y;
  for (y = 0; y < height; y++)
    for (x = 0; x < width; x++) first[y * kWidth + x] = toWord(first[y * kWidth + x]);
  encodeBlock(coder->encoder, first, step, width, height, subband, 0, kStyle, &block);
  coder->passes += block.passes;
  coder->segments += block.segments;

  /* The decoder clears the block and leaves its words in the rows of the plane. */
  must(moxiDecodeCodeBlock_JPEG2K_1u32s_C1R(data + block.start, first, step, width, height, subband, block.bitPlanes,
                                            block.passes, block.lengths, block.segments, MOXJ_J2K_OPTIONS(kStyle), NULL,
                                            coder->decoder),
       "the decoding of a block");
  for (y = 0; y < height; y++)
    for (x = 0; x < width; x++) first[y * kWidth + x] = toNumber(first[y * kWidth + x]);
}

static void bandThroughCoder(Coder* coder, int colour, const Band* band) {
  int x, y;
  for (y = 0; y < band->height; y += kBlock)
    for (x = 0; x < band->width; x += kBlock)
      throughCoder(coder, &planes[colour][band->y + y][band->x + x],
                   band->width - x < kBlock ? band->width - x : kBlock,
                   band->height - y < kBlock ? band->height - y : kBlock, band->subband);
}

int main(void) {
  const MoxRect whole = {0, 0, kWidth, kHeight};
  const MoxRoiSize size = {kWidth, kHeight};
  Mox32s* const colours[kColours] = {planes[0][0], planes[1][0], planes[2][0]};
  Band bands[kBands];
  Coder coder = {NULL, NULL, 0, 0};
  Mox8u* lineBuffer;
  int32_t lineSize, blockSize;
  int c, i, x, y;

  for (c = 0; c < kColours; c++)
    for (y = 0; y < kHeight; y++)
      for (x = 0; x < kWidth; x++) picture[c][y][x] = sample(x + 40 * c, y, 255) - 128; /* level-shifted */
  memcpy(planes, picture, sizeof planes);

  must(moxiWTGetBufSize_B53_JPEG2K_32s_C1IR(&whole, &lineSize), "a size");
  must(moxiDecodeGetBufSize_JPEG2K(kBlock, kBlock, &blockSize), "a size");
  must(moxiEncodeInitAlloc_JPEG2K(&coder.encoder, kBlock, kBlock), "a state");
  lineBuffer = malloc((size_t)lineSize);
  coder.decoder = malloc((size_t)blockSize);
  if (!lineBuffer || !coder.decoder) return EXIT_FAILURE;
  findBands(bands);

  must(moxiRCTFwd_JPEG2K_32s_P3IR(colours, sizeof planes[0][0], size), "the component transform");
  for (c = 0; c < kColours; c++) {
    transform(moxiWTFwd_B53_JPEG2K_32s_C1IR, 0, planes[c][0], lineBuffer);
    for (i = 0; i < kBands; i++) bandThroughCoder(&coder, c, &bands[i]);
    transform(moxiWTInv_B53_JPEG2K_32s_C1IR, 1, planes[c][0], lineBuffer);
  }
  must(moxiRCTInv_JPEG2K_32s_P3IR(colours, sizeof planes[0][0], size), "the inverse component transform");

  moxiEncodeFree_JPEG2K(coder.encoder);
  free(coder.decoder);
  free(lineBuffer);
  printf("%d samples in %d bytes, %d passes in %d segments", (int)sizeof picture / 4, (int)dataLength,
         (int)coder.passes, (int)coder.segments);
  if (memcmp(planes, picture, sizeof picture) != 0) return EXIT_FAILURE;
  printf(", and back without a difference\n");
  return dataLength < (int32_t)sizeof picture / 4 ? EXIT_SUCCESS : EXIT_FAILURE;
}
