/*
 * A photograph MCU by MCU (ITU-T T.81 A.2): pixels become level-shifted blocks of 8 x 8 samples and pixels again, in
 * every sampling and from every kind of pixel. A coder has the transform and the Huffman coding in between.
 *
 * usage: mcus [FILE]
 */
#include "photo.h"

typedef MoxStatus (*ToBlocks)(const Mox8u* pixels, int32_t step, Mox16s* const blocks[]);
typedef MoxStatus (*ToPixels)(const Mox16s* const blocks[], Mox8u* pixels, int32_t step);
typedef MoxStatus (*WordsToBlocks)(const Mox16u* words, int32_t step, Mox16s* const blocks[]);
typedef MoxStatus (*BlocksToWords)(const Mox16s* const blocks[], Mox16u* words, int32_t step);

/* The blocks of the largest MCU: four of Y, one of Cb and one of Cr, four of K. */
static Mox16s blocks[10][64];
static Mox16s* const mcu[4] = {blocks[0], blocks[4], blocks[5], blocks[6]};

/* Kinds of bytes: RGB, BGR, YCbCr, CMYK, and YCbCr whose pixels have Cb and Cr in turn. */
typedef enum Kind { rgb, bgr, ycc, cmyk, inTurn } Kind;

typedef struct Case {
  const char* name;
  Kind kind;
  int width, height; /* of the MCU */
  ToBlocks toBlocks;
  ToPixels toPixels;
  double least;
} Case;

static const Case kCases[] = {
    {"BGR 4:4:4", bgr, 8, 8, moxiBGRToYCbCr444LS_MCU_8u16s_C3P3R, moxiYCbCr444ToBGRLS_MCU_16s8u_P3C3R, 40},
    {"BGR 4:2:2", bgr, 16, 8, moxiBGRToYCbCr422LS_MCU_8u16s_C3P3R, moxiYCbCr422ToBGRLS_MCU_16s8u_P3C3R, 24},
    {"BGR 4:2:0", bgr, 16, 16, moxiBGRToYCbCr411LS_MCU_8u16s_C3P3R, moxiYCbCr411ToBGRLS_MCU_16s8u_P3C3R, 22},
    {"RGB 4:4:4", rgb, 8, 8, moxiRGBToYCbCr444LS_MCU_8u16s_C3P3R, moxiYCbCr444ToRGBLS_MCU_16s8u_P3C3R, 40},
    {"YCbCr 4:4:4", ycc, 8, 8, moxiSampleDown444LS_MCU_8u16s_C3P3R, moxiSampleUp444LS_MCU_16s8u_P3C3R, INFINITY},
    {"YCbCr 4:2:2", ycc, 16, 8, moxiSampleDown422LS_MCU_8u16s_C3P3R, moxiSampleUp422LS_MCU_16s8u_P3C3R, 28},
    {"YCbCr 4:2:0", ycc, 16, 16, moxiSampleDown411LS_MCU_8u16s_C3P3R, moxiSampleUp411LS_MCU_16s8u_P3C3R, 26},
    {"YCbCr 4:2:2, packed", inTurn, 16, 8, moxiSplit422LS_MCU_8u16s_C2P3R, moxiJoin422LS_MCU_16s8u_P3C2R, INFINITY},
    {"CMYK 4:4:4", cmyk, 8, 8, moxiCMYKToYCCK444LS_MCU_8u16s_C4P4R, moxiYCCK444ToCMYKLS_MCU_16s8u_P4C4R, 40},
    {"CMYK 4:2:2", cmyk, 16, 8, moxiCMYKToYCCK422LS_MCU_8u16s_C4P4R, moxiYCCK422ToCMYKLS_MCU_16s8u_P4C4R, 24},
    {"CMYK 4:2:0", cmyk, 16, 16, moxiCMYKToYCCK411LS_MCU_8u16s_C4P4R, moxiYCCK411ToCMYKLS_MCU_16s8u_P4C4R, 22},
};

typedef struct WordCase {
  const char* name;
  int greenBits;
  int width, height;
  WordsToBlocks toBlocks;
  BlocksToWords toWords;
  double least;
} WordCase;

static const WordCase kWordCases[] = {
    {"BGR555 4:4:4", 5, 8, 8, moxiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R, moxiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R, 28},
    {"BGR555 4:2:2", 5, 16, 8, moxiBGR555ToYCbCr422LS_MCU_16u16s_C3P3R, moxiYCbCr422ToBGR555LS_MCU_16s16u_P3C3R, 22},
    {"BGR555 4:2:0", 5, 16, 16, moxiBGR555ToYCbCr411LS_MCU_16u16s_C3P3R, moxiYCbCr411ToBGR555LS_MCU_16s16u_P3C3R, 20},
    {"BGR565 4:4:4", 6, 8, 8, moxiBGR565ToYCbCr444LS_MCU_16u16s_C3P3R, moxiYCbCr444ToBGR565LS_MCU_16s16u_P3C3R, 28},
    {"BGR565 4:2:2", 6, 16, 8, moxiBGR565ToYCbCr422LS_MCU_16u16s_C3P3R, moxiYCbCr422ToBGR565LS_MCU_16s16u_P3C3R, 22},
    {"BGR565 4:2:0", 6, 16, 16, moxiBGR565ToYCbCr411LS_MCU_16u16s_C3P3R, moxiYCbCr411ToBGR565LS_MCU_16s16u_P3C3R, 20},
};

static int bytesOf(Kind kind) { return kind == cmyk ? 4 : kind == inTurn ? 2 : 3; }

/* The photograph as pixels of another kind. */
static Mox8u* pixelsAs(const Photo* photo, Kind kind) {
  const size_t count = pixelsOf(photo);
  const MoxRoiSize size = {photo->width, photo->height};
  Mox8u* planes[3] = {room(count), room(count), room(count)};
  Mox8u* made = room(count * 4);
  size_t i;
  must(moxiRGBToYCbCr_JPEG_8u_C3P3R(photo->rgb, 3 * photo->width, planes, photo->width, size), "RGB to YCbCr");
  for (i = 0; i < count; i++) {
    const Mox8u* from = photo->rgb + 3 * i;
    Mox8u* to = made + i * (size_t)bytesOf(kind);
    int c;
    for (c = 0; c < bytesOf(kind); c++) {
      if (kind == inTurn) to[c] = c == 0 ? planes[0][i] : planes[1 + i % 2][i];
      if (kind == cmyk) to[c] = (Mox8u)(c == 3 ? 40 : 255 - from[c]);
      if (kind == ycc) to[c] = planes[c][i];
      if (kind == rgb) to[c] = from[c];
      if (kind == bgr) to[c] = from[2 - c];
    }
  }
  free(planes[0]), free(planes[1]), free(planes[2]);
  return made;
}

static void run(const Photo* photo, const Case* c) {
  const int bytes = bytesOf(c->kind), step = bytes * photo->width;
  Mox8u *pixels = pixelsAs(photo, c->kind), *back = room(pixelsOf(photo) * 4);
  int x, y;
  for (y = 0; y < photo->height; y += c->height)
    for (x = 0; x < photo->width; x += c->width) {
      const size_t at = (size_t)y * step + (size_t)x * bytes;
      must(c->toBlocks(pixels + at, step, mcu), c->name);
      must(c->toPixels((const Mox16s* const*)mcu, back + at, step), c->name);
    }
  compare(c->name, back, pixels, pixelsOf(photo) * (size_t)bytes, c->least);
  free(pixels), free(back);
}

static void fieldsOf(Mox16u word, int greenBits, Mox8u* to) {
  to[0] = (Mox8u)((word & 31) << 3);
  to[1] = (Mox8u)((word >> 5 & ((1 << greenBits) - 1)) << (8 - greenBits));
  to[2] = (Mox8u)((word >> (5 + greenBits) & 31) << 3);
}

static void runWords(const Photo* photo, const WordCase* c) {
  const size_t count = pixelsOf(photo);
  const int step = 2 * photo->width;
  Mox16u *words = room(2 * count), *back = room(2 * count);
  Mox8u *before = room(3 * count), *after = room(3 * count);
  size_t i;
  int x, y;
  for (i = 0; i < count; i++) {
    const Mox8u* from = photo->rgb + 3 * i;
    words[i] = (Mox16u)(from[2] >> 3 | from[1] >> (8 - c->greenBits) << 5 | from[0] >> 3 << (5 + c->greenBits));
  }
  for (y = 0; y < photo->height; y += c->height)
    for (x = 0; x < photo->width; x += c->width) {
      const size_t at = (size_t)y * photo->width + (size_t)x;
      must(c->toBlocks(words + at, step, mcu), c->name);
      must(c->toWords((const Mox16s* const*)mcu, back + at, step), c->name);
    }
  for (i = 0; i < count; i++) {
    fieldsOf(words[i], c->greenBits, before + 3 * i);
    fieldsOf(back[i], c->greenBits, after + 3 * i);
  }
  compare(c->name, after, before, 3 * count, c->least);
  free(words), free(back), free(before), free(after);
}

int main(int argc, char** argv) {
  const Photo photo = photoOf(argc, argv);
  size_t i;
  for (i = 0; i < sizeof kCases / sizeof *kCases; i++) run(&photo, &kCases[i]);
  for (i = 0; i < sizeof kWordCases / sizeof *kWordCases; i++) runWords(&photo, &kWordCases[i]);
  free(photo.rgb);
  return failed;
}
