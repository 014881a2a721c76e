#include "support/failing_malloc.h"

#include <cstddef>

namespace test {
bool FailingMalloc::active = false;
int FailingMalloc::successes = 0;
}  // namespace test

extern "C" {
void* __real_malloc(size_t length);
void* __wrap_malloc(size_t length);
void* __wrap_malloc(size_t length) {
  using test::FailingMalloc;
  return FailingMalloc::active && FailingMalloc::successes-- <= 0 ? nullptr : __real_malloc(length);
}
}
