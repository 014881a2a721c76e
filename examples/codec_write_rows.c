/*
 * Writes a JPEG file from rows as they are made: the picture is never in memory as a whole.
 *
 * usage: codec_write_rows OUT.jpg
 */
#include "codec.h"

enum { kWidth = 640, kHeight = 480 };

int main(int argc, char** argv) {
  unsigned char row[kWidth * 3];
  MoxcPixels layout = moxcPixels(moxcRgb, kWidth, kHeight, 8, NULL, 0);
  const MoxcPixels one = moxcPixels(moxcRgb, kWidth, 1, 8, row, 0);
  MoxcTarget target;
  MoxcWriteOptions options;
  MoxcEncoder* encoder = NULL;
  MoxcReport* report = moxcReportNew();
  int x, y, c;
  if (argc != 2 || !report) return EXIT_FAILURE;

  target = moxcFileTarget(argv[1]);
  moxcWriteOptionsInit(&options);
  options.quality = 90;
  options.sample = moxcSample444;
  must(moxcEncoderOpen(&layout, "jpg", &options, NULL, 0, &target, NULL, &encoder, report), report, argv[1]);
  for (y = 0; y < kHeight; y++) {
    for (x = 0; x < kWidth; x++)
      for (c = 0; c < 3; c++) row[3 * x + c] = (unsigned char)sample(x, y, c, 255);
    must(moxcEncoderRows(encoder, &one, report), report, argv[1]);
  }
  must(moxcEncoderFinish(encoder, report), report, argv[1]); /* now the file is there */
  moxcEncoderFree(encoder);
  moxcReportFree(report);
  printf("%s: %d x %d pixels\n", argv[1], kWidth, kHeight);
  return EXIT_SUCCESS;
}
