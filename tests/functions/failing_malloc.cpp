#include "support/failing_malloc.h"

#include <cstddef>

namespace test {
bool FailingMalloc::active = false;
}

extern "C" {
void* __real_malloc(size_t length);
void* __wrap_malloc(size_t length);
void* __wrap_malloc(size_t length) { return test::FailingMalloc::active ? nullptr : __real_malloc(length); }
}
