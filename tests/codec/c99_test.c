/* The header is C99, and a program in C needs nothing else. */
#include <moxcodec.h>
#include <stdio.h>
#include <string.h>

int main(void) {
  unsigned char samples[6 * 4 * 3], back[sizeof samples];
  void* file = NULL;
  size_t length = 0, i;
  MoxcPixels pixels = moxcPixels(moxcRgb, 6, 4, 8, samples, 0), to = moxcPixels(moxcRgb, 6, 4, 8, back, 0);
  MoxcTarget target = moxcMemoryTarget(&file, &length);
  MoxcSource source;
  MoxcReport* report = moxcReportNew();
  MoxcWriteOptions options;
  int failed = 0;
  moxcWriteOptionsInit(&options);
  for (i = 0; i < sizeof samples; i++) samples[i] = (unsigned char)(7 * i);
  if (moxcEncode(&pixels, "png", &options, NULL, 0, &target, NULL, report) != moxcOk) failed = 1;
  source = moxcMemorySource(file, length);
  if (moxcDecodeInto(&source, NULL, &to, NULL, report) != moxcOk) failed = 1;
  if (memcmp(samples, back, sizeof samples) != 0) failed = 1;
  if (failed) fprintf(stderr, "failed: %s\n", moxcReportText(report));
  moxcFree(file);
  moxcReportFree(report);
  return failed;
}
