/*
 * Reads a JPEG file, or any other, into RGB of 8 bits in memory of the program's own, and finds its mean colour.
 *
 * usage: codec_read IN
 */
#include "codec.h"

int main(int argc, char** argv) {
  MoxcSource source;
  MoxcDescription* description = NULL;
  MoxcFacts facts = {.structSize = sizeof facts};
  MoxcPixels pixels;
  MoxcReport* report = moxcReportNew();
  unsigned char* rgb;
  double sums[3] = {0, 0, 0};
  size_t i, count;
  if (argc != 2 || !report) return EXIT_FAILURE;

  source = moxcFileSource(argv[1]);
  must(moxcDescribe(&source, NULL, &description, report), report, argv[1]);
  must(moxcDescriptionFacts(description, &facts), NULL, argv[1]);
  if (facts.width > 100000 || facts.height > 100000) return EXIT_FAILURE; /* facts may be any numbers */

  count = (size_t)facts.width * (size_t)facts.height;
  rgb = malloc(3 * count);
  if (!rgb) return EXIT_FAILURE;
  pixels = moxcPixels(moxcRgb, (int32_t)facts.width, (int32_t)facts.height, 8, rgb, 0);
  must(moxcDecodeInto(&source, NULL, &pixels, NULL, report), report, argv[1]);

  for (i = 0; i < 3 * count; i++) sums[i % 3] += rgb[i];
  printf("%s: %s, %d x %d pixels, mean colour %.1f, %.1f, %.1f\n", argv[1], facts.format, (int)facts.width,
         (int)facts.height, sums[0] / (double)count, sums[1] / (double)count, sums[2] / (double)count);
  free(rgb);
  moxcDescriptionFree(description);
  moxcReportFree(report);
  return EXIT_SUCCESS;
}
