/* A program that defines the thread count itself: the libraries see its variable, and leave its value alone. */
#include <stdio.h>

#include "moxcore.h"

int32_t threads_omp_of_n_mox = 3;

int main(void) {
  const int32_t before = moxGetNumThreads();
  threads_omp_of_n_mox = 5;
  printf("%d threads, then %d\n", before, moxGetNumThreads());
  return before == 3 && moxGetNumThreads() == 5 ? 0 : 1;
}
