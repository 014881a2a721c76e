/*
 * The luminance of a photograph as blocks of 8 x 8 samples: level shift, transform and quantisation in place, and
 * Huffman coding without states, by tables in the program's own memory (ITU-T T.81 Annex F). The second part quantises
 * the coefficients of one transform for several qualities.
 *
 * usage: blocks [FILE]
 */
#include "photo.h"

/* The tables of Annex K for luminance: how many codes there are of each length, and their symbols. */
static const Mox8u kDcBits[16] = {0, 1, 5, 1, 1, 1, 1, 1, 1}, kDcValues[12] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};

typedef struct Steps {
  Mox8u raw[64]; /* in zig-zag order */
  Mox16u forward[64], inverse[64];
} Steps;

/* Steps that grow with the frequency, for a quality; quality 0: all are 1. */
static Steps stepsFor(int quality) {
  Steps steps;
  int i;
  for (i = 0; i < 64; i++) steps.raw[i] = (Mox8u)(quality == 0 ? 1 : 10 + i);
  if (quality > 0) must(moxiQuantFwdRawTableInit_JPEG_8u(steps.raw, quality), "the steps of a quality");
  must(moxiQuantFwdTableInit_JPEG_8u16u(steps.raw, steps.forward), "the encoder's table");
  must(moxiQuantInvTableInit_JPEG_8u16u(steps.raw, steps.inverse), "the decoder's table");
  return steps;
}

/* A Huffman table for all pictures: optimal codes of symbols that are all counted once, and those of the picture. */
typedef struct Code {
  MoxEncodeHuffmanSpec* encoder;
  MoxDecodeHuffmanSpec* decoder;
} Code;

static Code codeOf(const Mox8u* bits, const Mox8u* values) {
  Code code;
  int32_t encoderBytes, decoderBytes;
  must(moxiEncodeHuffmanSpecGetBufSize_JPEG_8u(&encoderBytes), "the size of an encoder's code");
  must(moxiDecodeHuffmanSpecGetBufSize_JPEG_8u(&decoderBytes), "the size of a decoder's code");
  code.encoder = room((size_t)encoderBytes);
  code.decoder = room((size_t)decoderBytes);
  must(moxiEncodeHuffmanSpecInit_JPEG_8u(bits, values, code.encoder), "an encoder's code");
  must(moxiDecodeHuffmanSpecInit_JPEG_8u(bits, values, code.decoder), "a decoder's code");
  return code;
}

static void freeCode(const Code* code) {
  free(code->encoder);
  free(code->decoder);
}

static int blocksOf(const Photo* photo) { return photo->width / 8 * (photo->height / 8); }

static size_t placeOf(const Photo* photo, int block) {
  const int wide = photo->width / 8;
  return (size_t)(block / wide) * 8 * photo->width + (size_t)(block % wide) * 8;
}

/* The blocks of the picture, shifted to -128 ... 127 and transformed. */
static Mox16s* transformed(const Photo* photo, const Mox8u* grey, const Steps* steps) {
  const MoxRoiSize size = {8, 8};
  Mox16s* blocks = room((size_t)blocksOf(photo) * 128);
  int i;
  for (i = 0; i < blocksOf(photo); i++) {
    Mox16s* block = blocks + 64 * (size_t)i;
    must(moxiSub128_JPEG_8u16s_C1R(grey + placeOf(photo, i), photo->width, block, 16, size), "the level shift");
    must(moxiDCTQuantFwd8x8_JPEG_16s_C1I(block, steps->forward), "the transform");
  }
  return blocks;
}

static void show(const Photo* photo, const Mox16s* blocks, const Steps* steps, Mox8u* to) {
  const MoxRoiSize size = {8, 8};
  int i;
  for (i = 0; i < blocksOf(photo); i++) {
    Mox16s block[64];
    memcpy(block, blocks + 64 * (size_t)i, sizeof block);
    must(moxiDCTQuantInv8x8_JPEG_16s_C1I(block, steps->inverse), "the inverse transform");
    must(moxiAdd128_JPEG_16s8u_C1R(block, 16, to + placeOf(photo, i), photo->width, size), "the level shift");
  }
}

/* Entropy-coded data, and back to coefficients. Returns the number of bytes. */
static size_t code(const Photo* photo, const Mox16s* blocks, Mox16s* back) {
  const int count = blocksOf(photo);
  int32_t counts[256] = {0}, unused[256] = {0}, end = 0, position = 0, marker = 0, valid = 0;
  Mox8u bits[16], values[256];
  Mox8u* data = room((size_t)count * 513 + 2);
  Mox16s last = 0;
  Mox32u prefetched = 0;
  Code dc = codeOf(kDcBits, kDcValues), ac;
  size_t bytes;
  int i;
  for (i = 0; i < count; i++)
    must(moxiGetHuffmanStatistics8x8_JPEG_16s_C1(blocks + 64 * (size_t)i, unused, counts, &last), "the statistics");
  must(moxiEncodeHuffmanRawTableInit_JPEG_8u(counts, bits, values), "an optimal table");
  ac = codeOf(bits, values);
  for (i = 0, last = 0; i < count; i++)
    must(moxiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(blocks + 64 * (size_t)i, data, &end, &last, dc.encoder, ac.encoder),
         "the coding of a block");
  /* The last byte is filled with ones, then comes a marker. */
  bytes = (size_t)(end + 7) / 8;
  if (end % 8) data[bytes - 1] |= (Mox8u)(0xFF >> end % 8);
  data[bytes] = 0xFF;
  data[bytes + 1] = 0xD9;
  for (i = 0, last = 0; i < count; i++)
    must(moxiDecodeHuffman8x8_Direct_JPEG_1u16s_C1(data, &position, back + 64 * (size_t)i, &last, &marker, &prefetched,
                                                   &valid, dc.decoder, ac.decoder),
         "the decoding of a block");
  freeCode(&dc);
  freeCode(&ac);
  free(data);
  return bytes;
}

/* The first block by coders whose states are in the program's memory too. */
static void withStates(const Mox16s* block) {
  int32_t encoderBytes, decoderBytes, position = 0, marker = 0;
  const Mox8u bits[16] = {0, 0, 0, 0, 0, 0, 0, 255, 1};
  Mox8u values[256], data[600];
  Mox16s last = 0, back[64];
  MoxEncodeHuffmanState* encoder;
  MoxDecodeHuffmanState* decoder;
  const Code dc = codeOf(kDcBits, kDcValues);
  Code ac;
  int i;
  for (i = 0; i < 256; i++) values[i] = (Mox8u)i;
  ac = codeOf(bits, values);
  must(moxiEncodeHuffmanStateGetBufSize_JPEG_8u(&encoderBytes), "the size of an encoder's state");
  must(moxiDecodeHuffmanStateGetBufSize_JPEG_8u(&decoderBytes), "the size of a decoder's state");
  encoder = room((size_t)encoderBytes);
  decoder = room((size_t)decoderBytes);
  must(moxiEncodeHuffmanStateInit_JPEG_8u(encoder), "an encoder's state");
  must(moxiDecodeHuffmanStateInit_JPEG_8u(decoder), "a decoder's state");
  must(moxiEncodeHuffman8x8_JPEG_16s1u_C1(block, data, sizeof data, &position, &last, dc.encoder, ac.encoder, encoder,
                                          0),
       "the coding of a block");
  must(moxiEncodeHuffman8x8_JPEG_16s1u_C1(NULL, data, sizeof data, &position, NULL, NULL, NULL, encoder, 1), "the end");
  last = 0;
  i = position;
  position = 0;
  must(moxiDecodeHuffman8x8_JPEG_1u16s_C1(data, i, &position, back, &last, &marker, dc.decoder, ac.decoder, decoder),
       "the decoding of a block");
  if (memcmp(block, back, sizeof back) != 0) failed = 1;
  free(encoder), free(decoder);
  freeCode(&dc);
  freeCode(&ac);
}

int main(int argc, char** argv) {
  const Photo photo = photoOf(argc, argv);
  const size_t count = pixelsOf(&photo), coefficients = (size_t)blocksOf(&photo) * 64;
  const MoxRoiSize size = {photo.width, photo.height};
  const Steps ones = stepsFor(0);
  Mox8u *grey = room(count), *shown = room(count);
  Mox16s *blocks, *quantised = room(2 * coefficients), *back = room(2 * coefficients);
  double least = 0;
  int quality;
  must(moxiRGBToY_JPEG_8u_C3C1R(photo.rgb, 3 * photo.width, grey, photo.width, size), "the luminance");
  blocks = transformed(&photo, grey, &ones);
  withStates(blocks);
  for (quality = 30; quality <= 90; quality += 30) {
    const Steps steps = stepsFor(quality);
    size_t i, bytes;
    char name[40];
    memcpy(quantised, blocks, 2 * coefficients);
    for (i = 0; i < coefficients; i += 64)
      must(moxiQuantFwd8x8_JPEG_16s_C1I(quantised + i, steps.forward), "the quantisation");
    bytes = code(&photo, quantised, back);
    if (memcmp(quantised, back, 2 * coefficients) != 0) failed = 1;
    show(&photo, back, &steps, shown); /* dequantises within the transform */
    for (i = 0; i < coefficients; i += 64)
      must(moxiQuantInv8x8_JPEG_16s_C1I(back + i, steps.inverse), "the dequantisation");
    sprintf(name, "quality %d, %lu bytes", quality, (unsigned long)bytes);
    least = quality / 6.0 + 20;
    compare(name, shown, grey, count, least);
    show(&photo, back, &ones, shown); /* the same coefficients, dequantised before */
    compare(name, shown, grey, count, least);
  }
  free(grey), free(shown), free(blocks), free(quantised), free(back), free(photo.rgb);
  return failed;
}
