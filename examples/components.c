/*
 * A photograph through the component transforms of JPEG 2000 (ISO/IEC 15444-1, Annex G): the reversible one gives back
 * every sample, the irreversible one nearly so.
 *
 * usage: components [FILE]
 */
#include "photo.h"

/* The transforms of one type of samples: interleaved to planes and back, and in place. */
#define TRANSFORMS(Type, name)                                                                                      \
  typedef MoxStatus (*Split##name)(const Type*, int32_t, Type* const[3], int32_t, MoxRoiSize);                      \
  typedef MoxStatus (*Join##name)(const Type* const[3], int32_t, Type*, int32_t, MoxRoiSize);                       \
  typedef MoxStatus (*InPlace##name)(Type* const[3], int32_t, MoxRoiSize);                                          \
  static void apart##name(const Photo* photo, const char* what, Split##name split, Join##name join, double least) { \
    const size_t count = pixelsOf(photo);                                                                           \
    const MoxRoiSize size = {photo->width, photo->height};                                                          \
    const int32_t step = photo->width * (int32_t)sizeof(Type);                                                      \
    Type* planes[3] = {room(count * sizeof(Type)), room(count * sizeof(Type)), room(count * sizeof(Type))};         \
    Type* pixels = room(3 * count * sizeof(Type));                                                                  \
    Mox8u* back = room(3 * count);                                                                                  \
    size_t i;                                                                                                       \
    for (i = 0; i < 3 * count; i++) pixels[i] = (Type)(photo->rgb[i] - 128);                                        \
    must(split(pixels, 3 * step, planes, step, size), what);                                                        \
    memset(pixels, 0, 3 * count * sizeof(Type));                                                                    \
    must(join((const Type* const*)planes, step, pixels, 3 * step, size), what);                                     \
    for (i = 0; i < 3 * count; i++) back[i] = sampleOf((double)pixels[i]);                                          \
    compare(what, back, photo->rgb, 3 * count, least);                                                              \
    free(planes[0]), free(planes[1]), free(planes[2]), free(pixels), free(back);                                    \
  }                                                                                                                 \
  static void inPlace##name(const Photo* photo, const char* what, InPlace##name forward, InPlace##name inverse,     \
                            double least) {                                                                         \
    const size_t count = pixelsOf(photo);                                                                           \
    const MoxRoiSize size = {photo->width, photo->height};                                                          \
    const int32_t step = photo->width * (int32_t)sizeof(Type);                                                      \
    Type* planes[3] = {room(count * sizeof(Type)), room(count * sizeof(Type)), room(count * sizeof(Type))};         \
    Mox8u* back = room(3 * count);                                                                                  \
    size_t i;                                                                                                       \
    for (i = 0; i < 3 * count; i++) planes[i % 3][i / 3] = (Type)(photo->rgb[i] - 128);                             \
    must(forward(planes, step, size), what);                                                                        \
    must(inverse(planes, step, size), what);                                                                        \
    for (i = 0; i < 3 * count; i++) back[i] = sampleOf((double)planes[i % 3][i / 3]);                               \
    compare(what, back, photo->rgb, 3 * count, least);                                                              \
    free(planes[0]), free(planes[1]), free(planes[2]), free(back);                                                  \
  }

static Mox8u sampleOf(double value) {
  const double sample = floor(value + 128.5);
  return (Mox8u)(sample < 0 ? 0 : sample > 255 ? 255 : sample);
}

TRANSFORMS(Mox16s, 16s)
TRANSFORMS(Mox32s, 32s)
TRANSFORMS(Mox32f, 32f)

int main(int argc, char** argv) {
  const Photo photo = photoOf(argc, argv);
  apart16s(&photo, "reversible, 16 bits", moxiRCTFwd_JPEG2K_16s_C3P3R, moxiRCTInv_JPEG2K_16s_P3C3R, INFINITY);
  inPlace16s(&photo, "reversible, 16 bits, in place", moxiRCTFwd_JPEG2K_16s_P3IR, moxiRCTInv_JPEG2K_16s_P3IR, INFINITY);
  apart32s(&photo, "reversible, 32 bits", moxiRCTFwd_JPEG2K_32s_C3P3R, moxiRCTInv_JPEG2K_32s_P3C3R, INFINITY);
  inPlace32s(&photo, "reversible, 32 bits, in place", moxiRCTFwd_JPEG2K_32s_P3IR, moxiRCTInv_JPEG2K_32s_P3IR, INFINITY);
  inPlace16s(&photo, "irreversible, 16 bits", moxiICTFwd_JPEG2K_16s_P3IR, moxiICTInv_JPEG2K_16s_P3IR, 45);
  inPlace32s(&photo, "irreversible, 32 bits", moxiICTFwd_JPEG2K_32s_P3IR, moxiICTInv_JPEG2K_32s_P3IR, 45);
  apart32f(&photo, "irreversible, single precision", moxiICTFwd_JPEG2K_32f_C3P3R, moxiICTInv_JPEG2K_32f_P3C3R,
           INFINITY);
  inPlace32f(&photo, "irreversible, in place", moxiICTFwd_JPEG2K_32f_P3IR, moxiICTInv_JPEG2K_32f_P3IR, INFINITY);
  free(photo.rgb);
  return failed;
}
