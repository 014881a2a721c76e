// All 2^24 colours through every colour function that takes bytes, on columns of groups and on columns of the tail.
#include <gtest/gtest.h>

#include "moxcore.h"
#include "support/colour.h"
#include "support/targets.h"

namespace test {
namespace {

class ColourAll : public testing::TestWithParam<ColourFunction> {};
INSTANTIATE_TEST_SUITE_P(all, ColourAll, testing::ValuesIn(fromByteFunctions()),
                         [](const auto& info) { return std::string(info.param.name); });

// Rows of `width` pixels; the values of the first channel are `step` apart.
void run(const ColourFunction& function, int width, int step) {
  AllColours src(function.src, width);
  AllColours dst(function.dst, width);
  for (int first = 0; first < 256; first += step) {
    src.setFirst(first);
    ASSERT_EQ(function(src, dst), moxStatusOk);
    ASSERT_EQ(function.difference(first, dst), "");
  }
}

TEST_P(ColourAll, onGroupsAndOnTheTail) {
  const int32_t threads = threads_omp_of_n_mox;
  threads_omp_of_n_mox = 1;
  const mox::Kernels* const best = mox::kernels::active;
  forEachTarget([&](const mox::Target& target) {
    SCOPED_TRACE(target.name);
    const int step = target.kernels == best && thorough() ? 1 : 51;
    run(GetParam(), 65536, step);  // all columns belong to groups
    run(GetParam(), 3, step);      // all columns belong to the tail
  });
  threads_omp_of_n_mox = threads;
}

}  // namespace
}  // namespace test
