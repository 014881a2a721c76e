// Every kernel of every target that this machine runs, against the scalar definition.
#include <gtest/gtest.h>

#include <cstdio>

#include "support/kernel_case.h"

namespace test {
namespace {

std::string describe(const KernelCase& c, const mox::Target& target, int n, Filling filling, Feed::Layout layout) {
  return std::string(c.name) + " of " + target.name + ", n = " + std::to_string(n) + ", filling " +
         std::to_string(static_cast<int>(filling)) +
         (layout.atEnd ? ", at the page's end" : ", offset " + std::to_string(layout.offset));
}

// All sizes and fillings, with the buffers at the end of their pages and at changing offsets from the start.
void compare(const KernelCase& c, const mox::Target& target) {
  const mox::Kernels& definition = *mox::targets().first->kernels;
  Feed expected, actual;
  uint64_t seed = 1;
  for (int n = c.smallest; n <= c.largest; n++) {
    for (const Filling filling : {Filling::any, Filling::extreme, Filling::small}) {
      for (const bool atEnd : {true, false}) {
        const Feed::Layout layout{atEnd, n % 64};
        seed++;
        expected.begin(seed, filling, layout);
        c.run(definition, expected, n);
        actual.begin(seed, filling, layout);
        c.run(*target.kernels, actual, n);
        ASSERT_TRUE(Feed::same(expected, actual)) << describe(c, target, n, filling, layout);
      }
    }
  }
}

class KernelTest : public testing::TestWithParam<KernelCase> {};

TEST_P(KernelTest, equalsTheDefinition) {
  for (const mox::Target& target : mox::targets())
    if (target.runsHere()) compare(GetParam(), target);
}

INSTANTIATE_TEST_SUITE_P(all, KernelTest, testing::ValuesIn(kernelCases()), [](const auto& info) {
  std::string name = info.param.name;
  for (char& c : name)
    if (!isalnum(static_cast<unsigned char>(c))) c = '_';
  return name;
});
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(KernelTest);

}  // namespace
}  // namespace test

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  for (const mox::Target& target : mox::targets())
    std::printf("target %-7s %s\n", target.name, target.runsHere() ? "RAN" : "SKIPPED (this processor lacks it)");
  return RUN_ALL_TESTS();
}
