/*
 * Codes a JPEG file again without loss, as a progressive file without comments: smaller, and every pixel the same.
 *
 * usage: codec_recode IN.jpg OUT.jpg
 */
#include "codec.h"

int main(int argc, char** argv) {
  MoxcSource source, result;
  MoxcTarget target;
  MoxcTranscodeOptions options;
  MoxcComparison comparison = {.structSize = sizeof comparison};
  MoxcReport* report = moxcReportNew();
  if (argc != 3 || !report) return EXIT_FAILURE;

  source = moxcFileSource(argv[1]);
  target = moxcFileTarget(argv[2]);
  moxcTranscodeOptionsInit(&options);
  options.progressive = 1;
  options.strip = 1;
  must(moxcTranscode(&source, &options, &target, NULL, report), report, argv[1]);

  result = moxcFileSource(argv[2]);
  must(moxcCompare(&source, &result, NULL, &comparison, report, report), report, argv[2]);
  printf("%s: largest difference %u in %d channels\n", argv[2], (unsigned)comparison.all.max, (int)comparison.channels);
  moxcReportFree(report);
  return comparison.all.max == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
