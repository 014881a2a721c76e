// What the row functions of libmoxj call of OpenMP, for a program that divides its work itself: all rows on the calling
// thread. So OpenMP's runtime, whose loading takes a tenth of the time of a run with a small picture, is not needed.
extern "C" {
void GOMP_parallel(void (*rows)(void*), void* region, unsigned threads, unsigned flags);
int omp_get_num_threads();
int omp_get_thread_num();

[[gnu::visibility("hidden")]] void GOMP_parallel(void (*rows)(void*), void* region, unsigned, unsigned) {
  rows(region);
}
[[gnu::visibility("hidden")]] int omp_get_num_threads() { return 1; }
[[gnu::visibility("hidden")]] int omp_get_thread_num() { return 0; }
}
