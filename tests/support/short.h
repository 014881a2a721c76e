// Lists of cases that are thinned where tests should be short.
#pragma once

#include <cstdlib>

namespace test {

// How far apart the cases are that run: all of them, or one of so many with MOX_TEST_SHORT.
inline int strideOf(int cases) { return std::getenv("MOX_TEST_SHORT") ? cases : 1; }

}  // namespace test
