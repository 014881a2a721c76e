// The thread-count variable of the family, its default, its setter and its getter.
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "moxcore.h"

extern "C" {

int32_t threads_omp_of_n_mox = 0;  // not yet set

void moxSetNumThreads(int32_t count) { threads_omp_of_n_mox = count < 1 ? 1 : count; }

int32_t moxGetNumThreads(void) { return threads_omp_of_n_mox < 1 ? 1 : threads_omp_of_n_mox; }

}  // extern "C"

namespace {

// Parses a whole number and clamps it to the range of the variable; false if `text` is anything else.
bool wholeNumber(const char* text, int32_t& value) {
  char* end = nullptr;
  errno = 0;
  const long parsed = std::strtol(text, &end, 10);
  if (end == text || *end != '\0') return false;
  value = parsed > INT32_MAX ? INT32_MAX : parsed < 1 ? 1 : static_cast<int32_t>(parsed);
  return true;
}

// A program that defines the variable itself has chosen its value: every library then sees the program's definition.
__attribute__((constructor)) void setDefault() {
  if (threads_omp_of_n_mox != 0) return;
  int32_t count = 0;
  const char* const wanted = std::getenv("MOX_NUM_THREADS");
  moxSetNumThreads(wanted && wholeNumber(wanted, count) ? count : 1);
}

}  // namespace
