/*
 * A photograph through the colour conversions and samplings of JPEG (ITU-T T.81, JFIF), whole pictures at a time: to
 * YCbCr or YCCK and back, from bytes, planes and packed words.
 *
 * usage: colours [FILE]
 */
#include "photo.h"

typedef struct Planes {
  Mox8u* of[4];
} Planes;

static Planes planesFor(const Photo* photo) {
  Planes planes;
  int i;
  for (i = 0; i < 4; i++) planes.of[i] = room(pixelsOf(photo));
  return planes;
}

static void freePlanes(const Planes* planes) {
  int i;
  for (i = 0; i < 4; i++) free(planes->of[i]);
}

static void bytesAndPlanes(const Photo* photo) {
  const MoxRoiSize size = {photo->width, photo->height};
  const int step = photo->width, steps = 3 * step;
  const size_t count = pixelsOf(photo);
  const Planes ycc = planesFor(photo), rgb = planesFor(photo), back = planesFor(photo);
  Mox8u *bgr = room(3 * count), *bgrBack = room(3 * count), *grey = room(count);
  size_t i;
  int c;
  for (i = 0; i < count; i++)
    for (c = 0; c < 3; c++) {
      bgr[3 * i + (size_t)c] = photo->rgb[3 * i + 2 - (size_t)c];
      rgb.of[c][i] = photo->rgb[3 * i + (size_t)c];
    }
  must(moxiBGRToYCbCr_JPEG_8u_C3P3R(bgr, steps, ycc.of, step, size), "BGR to YCbCr");
  must(moxiYCbCrToBGR_JPEG_8u_P3C3R((const Mox8u* const*)ycc.of, step, bgrBack, steps, size), "YCbCr to BGR");
  compare("BGR", bgrBack, bgr, 3 * count, 40);
  must(moxiBGRToY_JPEG_8u_C3C1R(bgr, steps, grey, step, size), "BGR to Y");
  compare("Y of BGR", grey, ycc.of[0], count, INFINITY);

  must(moxiRGBToYCbCr_JPEG_8u_P3R((const Mox8u* const*)rgb.of, step, ycc.of, step, size), "planes to YCbCr");
  must(moxiYCbCrToRGB_JPEG_8u_P3R((const Mox8u* const*)ycc.of, step, back.of, step, size), "YCbCr to planes");
  for (c = 0; c < 3; c++) compare("planes of RGB", back.of[c], rgb.of[c], count, 40);
  must(moxiRGBToY_JPEG_8u_P3C1R((const Mox8u* const*)rgb.of, step, grey, step, size), "planes to Y");
  compare("Y of planes", grey, ycc.of[0], count, INFINITY);
  freePlanes(&ycc), freePlanes(&rgb), freePlanes(&back);
  free(bgr), free(bgrBack), free(grey);
}

/* Words of 5, 6 or 5, and 5 bits, red in the lowest. */
static void words(const Photo* photo, int greenBits) {
  const MoxRoiSize size = {photo->width, photo->height};
  const int step = photo->width, steps = 2 * step, blueAt = 5 + greenBits;
  const size_t count = pixelsOf(photo);
  const Planes ycc = planesFor(photo);
  Mox16u *packed = room(2 * count), *back = room(2 * count);
  Mox8u *before = room(3 * count), *after = room(3 * count);
  size_t i;
  for (i = 0; i < count; i++) {
    const Mox8u* pixel = photo->rgb + 3 * i;
    packed[i] = (Mox16u)(pixel[0] >> 3 | pixel[1] >> (8 - greenBits) << 5 | pixel[2] >> 3 << blueAt);
  }
  if (greenBits == 5) {
    must(moxiRGB555ToYCbCr_JPEG_16u8u_C3P3R(packed, steps, ycc.of, step, size), "RGB555 to YCbCr");
    must(moxiYCbCrToRGB555_JPEG_8u16u_P3C3R((const Mox8u* const*)ycc.of, step, back, steps, size), "YCbCr to RGB555");
  } else {
    must(moxiRGB565ToYCbCr_JPEG_16u8u_C3P3R(packed, steps, ycc.of, step, size), "RGB565 to YCbCr");
    must(moxiYCbCrToRGB565_JPEG_8u16u_P3C3R((const Mox8u* const*)ycc.of, step, back, steps, size), "YCbCr to RGB565");
  }
  for (i = 0; i < count; i++) {
    const Mox16u* word = packed + i;
    Mox8u* to = before + 3 * i;
    int round;
    for (round = 0; round < 2; round++, word = back + i, to = after + 3 * i) {
      to[0] = (Mox8u)((*word & 31) << 3);
      to[1] = (Mox8u)((*word >> 5 & ((1 << greenBits) - 1)) << (8 - greenBits));
      to[2] = (Mox8u)((*word >> blueAt & 31) << 3);
    }
  }
  compare(greenBits == 5 ? "words RGB555" : "words RGB565", after, before, 3 * count, 30);
  freePlanes(&ycc);
  free(packed), free(back), free(before), free(after);
}

/* Inks: black is what cyan, magenta and yellow have in common. */
static void inks(const Photo* photo) {
  const MoxRoiSize size = {photo->width, photo->height};
  const int step = photo->width;
  const size_t count = pixelsOf(photo);
  const Planes cmyk = planesFor(photo), ycck = planesFor(photo), back = planesFor(photo), other = planesFor(photo);
  Mox8u* packed = room(4 * count);
  size_t i;
  int c;
  for (i = 0; i < count; i++) {
    const Mox8u* pixel = photo->rgb + 3 * i;
    int black = 255;
    for (c = 0; c < 3; c++) black = 255 - pixel[c] < black ? 255 - pixel[c] : black;
    for (c = 0; c < 4; c++) {
      cmyk.of[c][i] = (Mox8u)(c == 3 ? black : 255 - pixel[c] - black);
      packed[4 * i + (size_t)c] = cmyk.of[c][i];
    }
  }
  must(moxiCMYKToYCCK_JPEG_8u_P4R((const Mox8u* const*)cmyk.of, step, ycck.of, step, size), "CMYK to YCCK");
  must(moxiYCCKToCMYK_JPEG_8u_P4R((const Mox8u* const*)ycck.of, step, back.of, step, size), "YCCK to CMYK");
  must(moxiCMYKToYCCK_JPEG_8u_C4P4R(packed, 4 * step, other.of, step, size), "packed CMYK to YCCK");
  for (c = 0; c < 4; c++) {
    compare("planes of CMYK", back.of[c], cmyk.of[c], count, 38);
    compare("packed CMYK", other.of[c], ycck.of[c], count, INFINITY);
  }
  freePlanes(&cmyk), freePlanes(&ycck), freePlanes(&back), freePlanes(&other);
  free(packed);
}

/* Fills the margin of one sample around a plane with the outermost samples: up-sampling reads it. */
static void fillMargin(Mox8u* plane, int step, MoxRoiSize size) {
  int y;
  for (y = 0; y < size.height; y++) {
    plane[y * step - 1] = plane[y * step];
    plane[y * step + size.width] = plane[y * step + size.width - 1];
  }
  memcpy(plane - step - 1, plane - 1, (size_t)step);
  memcpy(plane + size.height * step - 1, plane + (size.height - 1) * step - 1, (size_t)step);
}

/* Cb of the photograph, with half as many columns, and with half as many rows too. */
static void sampling(const Photo* photo) {
  const MoxRoiSize size = {photo->width, photo->height}, half = {photo->width / 2, photo->height},
                   quarter = {photo->width / 2, photo->height / 2};
  const int step = photo->width, smallStep = half.width + 2;
  const size_t count = pixelsOf(photo);
  const Planes ycc = planesFor(photo);
  Mox8u *memory = room((size_t)smallStep * (size_t)(half.height + 2)), *small = memory + smallStep + 1;
  Mox8u* back = room(count);
  must(moxiBGRToYCbCr_JPEG_8u_C3P3R(photo->rgb, 3 * step, ycc.of, step, size), "to YCbCr");
  must(moxiSampleDownH2V1_JPEG_8u_C1R(ycc.of[1], step, size, small, smallStep, half), "4:2:2");
  fillMargin(small, smallStep, half);
  must(moxiSampleUpH2V1_JPEG_8u_C1R(small, smallStep, half, back, step, size), "from 4:2:2");
  compare("Cb in 4:2:2", back, ycc.of[1], count, 28);
  must(moxiSampleDownH2V2_JPEG_8u_C1R(ycc.of[1], step, size, small, smallStep, quarter), "4:2:0");
  fillMargin(small, smallStep, quarter);
  must(moxiSampleUpH2V2_JPEG_8u_C1R(small, smallStep, quarter, back, step, size), "from 4:2:0");
  compare("Cb in 4:2:0", back, ycc.of[1], count, 26);
  freePlanes(&ycc);
  free(memory);
  free(back);
}

int main(int argc, char** argv) {
  const Photo photo = photoOf(argc, argv);
  bytesAndPlanes(&photo);
  words(&photo, 5);
  words(&photo, 6);
  inks(&photo);
  sampling(&photo);
  free(photo.rgb);
  return failed;
}
