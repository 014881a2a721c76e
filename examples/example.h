/* What the example programs share. */
#ifndef EXAMPLE_H
#define EXAMPLE_H

#include <moxj.h>
#include <stdio.h>
#include <stdlib.h>

/* Ends the program where a call fails. Statuses above 0 are warnings: a decoder has met the marker after its data. */
static void must(MoxStatus status, const char* what) {
  if (status >= moxStatusOk) return;
  fprintf(stderr, "%s: status %d\n", what, (int)status);
  exit(EXIT_FAILURE);
}

/* A synthetic picture: waves in both directions, samples from 0 to `maximum`. */
static int sample(int x, int y, int maximum) { return (x * x / 7 + 5 * y + (x ^ y) % 9) % (maximum + 1); }

#endif
