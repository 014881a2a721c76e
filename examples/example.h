/* What the example programs share. */
#ifndef EXAMPLE_H
#define EXAMPLE_H

#include <moxj.h>
#include <stdio.h>
#include <stdlib.h>

/* Ends the program where a call fails. Statuses above 0 are notices: a decoder has met the marker behind its data. */
static void must(MoxStatus status, const char* what) {
  if (status >= moxStatusOk) return;
  fprintf(stderr, "%s: status %d\n", what, (int)status);
  exit(EXIT_FAILURE);
}

/* A picture of the example's own: waves in both directions. */
static int sample(int x, int y, int most) { return (x * x / 7 + 5 * y + (x ^ y) % 9) % (most + 1); }

#endif
