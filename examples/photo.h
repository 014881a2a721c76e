/*
 * What the examples share that take a photograph: any file that libmoxcodec reads, or a picture of shapes and slopes.
 */
#ifndef PHOTO_H
#define PHOTO_H

#include <math.h>
#include <moxcodec.h>
#include <moxj.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* Ends the program where a call fails. */
static inline void must(MoxStatus status, const char* what) {
  if (status >= moxStatusOk) return;
  fprintf(stderr, "%s: status %d\n", what, (int)status);
  exit(EXIT_FAILURE);
}

static inline void* room(size_t bytes) {
  void* memory = calloc(1, bytes);
  if (!memory) exit(EXIT_FAILURE);
  return memory;
}

/* Red, green and blue, row by row without gaps. */
typedef struct Photo {
  int width, height; /* multiples of 16 */
  Mox8u* rgb;
} Photo;

static inline Photo drawnPhoto(void) {
  Photo photo = {208, 160, NULL};
  int x, y;
  photo.rgb = room((size_t)photo.width * photo.height * 3);
  for (y = 0; y < photo.height; y++)
    for (x = 0; x < photo.width; x++) {
      const int inside = (x - 90) * (x - 90) + (y - 70) * (y - 70) < 3600;
      Mox8u* pixel = photo.rgb + ((size_t)y * photo.width + x) * 3;
      pixel[0] = (Mox8u)(inside ? 200 - x / 3 : 40 + x / 2);
      pixel[1] = (Mox8u)(inside ? 90 + y / 2 : 60 + (x + y) / 4);
      pixel[2] = (Mox8u)(inside ? 60 : 200 - y / 2);
    }
  return photo;
}

/* Of the file that the first argument names, cut to multiples of 16. */
static inline Photo photoOf(int argc, char** argv) {
  MoxcSource source;
  MoxcWanted wanted = {sizeof wanted, moxcRgb, 8};
  MoxcPicture* picture = NULL;
  MoxcPixels pixels = {.structSize = sizeof pixels};
  MoxcReport* report = moxcReportNew();
  Photo photo = {0, 0, NULL};
  int y;
  if (argc < 2) {
    moxcReportFree(report);
    return drawnPhoto();
  }
  source = moxcFileSource(argv[1]);
  if (moxcDecode(&source, NULL, &wanted, NULL, &picture, report) != moxcOk) {
    fprintf(stderr, "%s: %s\n", argv[1], moxcReportText(report));
    exit(EXIT_FAILURE);
  }
  moxcPicturePixels(picture, &pixels);
  photo.width = pixels.width / 16 * 16;
  photo.height = pixels.height / 16 * 16;
  if (photo.width == 0 || photo.height == 0) exit(EXIT_FAILURE);
  photo.rgb = room((size_t)photo.width * photo.height * 3);
  for (y = 0; y < photo.height; y++)
    memcpy(photo.rgb + (size_t)y * photo.width * 3, (const char*)pixels.planes[0].samples + y * pixels.planes[0].step,
           (size_t)photo.width * 3);
  moxcPictureFree(picture);
  moxcReportFree(report);
  return photo;
}

static inline size_t pixelsOf(const Photo* photo) { return (size_t)photo->width * photo->height; }

/* Prints how close samples are to what they should be, and sets `failed` if that is not close enough (in dB). */
static int failed;
static inline void compare(const char* what, const Mox8u* got, const Mox8u* expected, size_t count, double least) {
  double sum = 0, psnr;
  size_t i;
  for (i = 0; i < count; i++) sum += (got[i] - expected[i]) * (got[i] - expected[i]);
  psnr = sum == 0 ? INFINITY : 10 * log10(255.0 * 255.0 * (double)count / sum);
  printf("%-34s %5.1f dB\n", what, psnr);
  if (psnr < least) {
    fprintf(stderr, "%s: %.1f dB, which is less than %.1f\n", what, psnr, least);
    failed = 1;
  }
}

#endif
