/* What the examples of libmoxcodec share. */
#ifndef CODEC_EXAMPLE_H
#define CODEC_EXAMPLE_H

#include <moxcodec.h>
#include <stdio.h>
#include <stdlib.h>

/* Ends the program where a call fails, and prints what a call that succeeded has to tell. */
static inline void must(MoxcKind kind, MoxcReport* report, const char* what) {
  size_t i;
  if (kind != moxcOk) {
    fprintf(stderr, "%s: %s (%s)\n", what, moxcReportText(report), moxcKindName(kind));
    exit(EXIT_FAILURE);
  }
  if (!moxcReportComplete(report)) fprintf(stderr, "%s: %s\n", what, moxcReportWarning(report));
  for (i = 0; i < moxcReportNoteCount(report); i++) printf("%s: %s\n", what, moxcReportNote(report, i));
}

/* A synthetic picture: waves in both directions, samples from 0 to `maximum`. */
static inline int sample(int x, int y, int channel, int maximum) {
  return (x * x / 7 + 5 * y + 40 * channel + (x ^ y) % 9) % 256 * (maximum / 255);
}

#endif
