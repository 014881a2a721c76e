/*
 * JPEG 2000 with loss (ISO/IEC 15444-1): a colour picture through the irreversible component transform (Annex G),
 * three levels of the 9/7 wavelet (Annex F), quantisation (Annex E) and the code-block coder, and back. Of each block
 * those passes are kept that are worth their bytes.
 */
#include "jpeg2000.h"

enum {
  kStyle = 0x20,     /* segmentation symbols: as in a COD marker segment, Table A.19 */
  kSampleBits = 12,  /* fraction bits of samples and coefficients, see the 9/7 functions */
  kQuantiserBits = 6 /* fraction bits of quantised coefficients, which only distortions see */
};
static const double kStep = 0.5;     /* a quantiser step's error in the picture, in levels */
static const double kWorthBytes = 5; /* squared levels that a byte must gain */

static Mox32s planes[kColours][kHeight][kWidth];
static Mox32f picture[kColours][kHeight][kWidth], decoded[kColours][kHeight][kWidth];

static double rounded(double v) { return v < 0 ? v - 0.5 : v + 0.5; } /* to be truncated */

/*
 * The step of a band with which a coefficient's error is as large in the picture as in any other band: basis functions
 * have norms near 1 at level 0, that grow by 2 with each level; high coefficients have a gain of 2.
 */
static double stepOf(const Band* band) {
  const int highs = (band->subband & 1) + (band->subband >> 1);
  return kStep * (1 << highs) / (1 << band->level);
}

/* The passes of the loaded block that are worth their bytes, and the bytes that they need. */
static int32_t worthyPasses(MoxJ2KEncodeState* state, int32_t passes, int32_t* bytes) {
  int32_t pass, rate, best = 0;
  double gain, bestWorth = 0;
  *bytes = 0;
  for (pass = 0; pass < passes; pass++) {
    must(moxiEncodeGetRate_JPEG2K(state, pass, &rate), "a rate");
    must(moxiEncodeGetDist_JPEG2K(state, pass, &gain), "a distortion");
    if (gain * kStep * kStep - kWorthBytes * rate > bestWorth) {
      bestWorth = gain * kStep * kStep - kWorthBytes * rate;
      best = pass + 1;
      *bytes = rate;
    }
  }
  return best;
}

/* Quantises a block, codes and decodes it, and dequantises it in place. */
static void throughCoder(MoxJ2KEncodeState* state, Mox8u* buffer, Mox32s* first, int width, int height,
                         const Band* band) {
  const double step = stepOf(band) * (1 << kSampleBits);
  Mox32s words[kBlock][kBlock];
  Block block;
  int x, y;
  for (y = 0; y < height; y++)
    for (x = 0; x < width; x++)
      words[y][x] = toWord((Mox32s)(first[y * kWidth + x] / step * (1 << kQuantiserBits))); /* truncates */
  encodeBlock(state, words[0], sizeof words[0], width, height, band->subband, kQuantiserBits, kStyle, &block);

  /* Without bypass or terminations there is one segment, which may end after any pass. */
  block.passes = worthyPasses(state, block.passes, &block.lengths[0]);
  dataLength = block.start + block.lengths[0];

  /* One bit-plane more than there are leaves room for the half step below the last one. */
  must(moxiDecodeCodeBlock_JPEG2K_1u32s_C1R(data + block.start, words[0], sizeof words[0], width, height, band->subband,
                                            block.bitPlanes + 1, block.passes, block.lengths, block.segments,
                                            MOXJ_J2K_OPTIONS(kStyle) | moxJ2KKeepMidpoint, NULL, buffer),
       "the decoding of a block");
  for (y = 0; y < height; y++)
    for (x = 0; x < width; x++) first[y * kWidth + x] = (Mox32s)rounded(toNumber(words[y][x]) / 2.0 * step);
}

static void bandThroughCoder(MoxJ2KEncodeState* state, Mox8u* buffer, int colour, const Band* band) {
  int x, y;
  for (y = 0; y < band->height; y += kBlock)
    for (x = 0; x < band->width; x += kBlock)
      throughCoder(state, buffer, &planes[colour][band->y + y][band->x + x],
                   band->width - x < kBlock ? band->width - x : kBlock,
                   band->height - y < kBlock ? band->height - y : kBlock, band);
}

int main(void) {
  const MoxRect whole = {0, 0, kWidth, kHeight};
  const MoxRoiSize size = {kWidth, kHeight};
  const int32_t step = sizeof decoded[0][0];
  const int samples = kColours * kHeight * kWidth;
  Mox32f* const colours[kColours] = {decoded[0][0], decoded[1][0], decoded[2][0]};
  Band bands[kBands];
  MoxJ2KEncodeState* state;
  Mox8u *lineBuffer, *blockBuffer;
  int32_t lineSize, blockSize;
  double squares = 0;
  int c, i, x, y;

  for (c = 0; c < kColours; c++)
    for (y = 0; y < kHeight; y++)
      for (x = 0; x < kWidth; x++) picture[c][y][x] = (Mox32f)(x + y / 2 + sample(x + 40 * c, y, 7) - 100);
  memcpy(decoded, picture, sizeof decoded);

  must(moxiWTGetBufSize_D97_JPEG2K_32s_C1IR(&whole, &lineSize), "a size");
  must(moxiDecodeGetBufSize_JPEG2K(kBlock, kBlock, &blockSize), "a size");
  must(moxiEncodeInitAlloc_JPEG2K(&state, kBlock, kBlock), "a state");
  lineBuffer = malloc((size_t)lineSize);
  blockBuffer = malloc((size_t)blockSize);
  if (!lineBuffer || !blockBuffer) return EXIT_FAILURE;
  findBands(bands);

  must(moxiICTFwd_JPEG2K_32f_P3IR(colours, step, size), "the component transform");
  for (c = 0; c < kColours; c++) {
    for (y = 0; y < kHeight; y++)
      for (x = 0; x < kWidth; x++) planes[c][y][x] = (Mox32s)rounded(decoded[c][y][x] * (1 << kSampleBits));
    transform(moxiWTFwd_D97_JPEG2K_32s_C1IR, 0, planes[c][0], lineBuffer);
    for (i = 0; i < kBands; i++) bandThroughCoder(state, blockBuffer, c, &bands[i]);
    transform(moxiWTInv_D97_JPEG2K_32s_C1IR, 1, planes[c][0], lineBuffer);
    for (y = 0; y < kHeight; y++)
      for (x = 0; x < kWidth; x++) decoded[c][y][x] = (Mox32f)planes[c][y][x] / (1 << kSampleBits);
  }
  must(moxiICTInv_JPEG2K_32f_P3IR(colours, step, size), "the inverse component transform");

  moxiEncodeFree_JPEG2K(state);
  free(blockBuffer);
  free(lineBuffer);
  for (c = 0; c < kColours; c++)
    for (y = 0; y < kHeight; y++)
      for (x = 0; x < kWidth; x++) {
        const double error = decoded[c][y][x] - picture[c][y][x];
        squares += error * error;
      }
  printf("%d samples in %d bytes, mean squared error %.2f\n", samples, (int)dataLength, squares / samples);
  return squares / samples < 3 && dataLength < samples / 4 ? EXIT_SUCCESS : EXIT_FAILURE;
}
