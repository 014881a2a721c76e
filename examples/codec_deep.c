/*
 * A plane of 16 bits as JPEG 2000 in memory: exactly, and at a twentieth of its size.
 */
#include "codec.h"

enum { kWidth = 512, kHeight = 384 };

static uint16_t plane[kHeight][kWidth], decoded[kHeight][kWidth];

static size_t encode(const MoxcPixels* pixels, const MoxcWriteOptions* options, void** file, MoxcReport* report) {
  size_t size = 0;
  const MoxcTarget target = moxcMemoryTarget(file, &size);
  must(moxcEncode(pixels, "jp2", options, NULL, 0, &target, NULL, report), report, "encoding");
  return size;
}

static int largestError(void) {
  int x, y, largest = 0;
  for (y = 0; y < kHeight; y++)
    for (x = 0; x < kWidth; x++)
      if (abs(plane[y][x] - decoded[y][x]) > largest) largest = abs(plane[y][x] - decoded[y][x]);
  return largest;
}

int main(void) {
  const MoxcPixels pixels = moxcPixels(moxcGrey, kWidth, kHeight, 16, plane, 0);
  const MoxcPixels to = moxcPixels(moxcGrey, kWidth, kHeight, 16, decoded, 0);
  MoxcReport* report = moxcReportNew();
  MoxcWriteOptions options;
  MoxcSource source;
  void* file = NULL;
  size_t exact, small;
  int x, y;
  if (!report) return EXIT_FAILURE;
  for (y = 0; y < kHeight; y++)
    for (x = 0; x < kWidth; x++) plane[y][x] = (uint16_t)(100 * y + 3 * x * x / 20 + sample(x, y, 0, 255));

  exact = encode(&pixels, NULL, &file, report);
  source = moxcMemorySource(file, exact);
  must(moxcDecodeInto(&source, NULL, &to, NULL, report), report, "decoding");
  moxcFree(file);
  printf("exact: %u bytes, largest error %d\n", (unsigned)exact, largestError());
  if (largestError() != 0) return EXIT_FAILURE;

  moxcWriteOptionsInit(&options);
  options.ratio = 20;
  small = encode(&pixels, &options, &file, report);
  source = moxcMemorySource(file, small);
  must(moxcDecodeInto(&source, NULL, &to, NULL, report), report, "decoding");
  moxcFree(file);
  printf("a twentieth: %u bytes, largest error %d\n", (unsigned)small, largestError());
  moxcReportFree(report);
  return small <= sizeof plane / 20 ? EXIT_SUCCESS : EXIT_FAILURE;
}
