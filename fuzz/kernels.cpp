// Runs a kernel of any family on a target, and beside it the scalar definition: all memory must be the same after them,
// and nothing beyond it be touched. The first bytes choose target, kernel, size and layout of the buffers. The others
// become what the kernel's test would draw at random: samples, tables, symbols, damage.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "support/kernel_case.h"

namespace {

using test::Feed;

struct Input {
  const std::uint8_t* data;
  std::size_t left;
  unsigned byte() { return left ? left--, *data++ : 0; }
};

// The first that runs here from a number on; the scalar definition always does.
const mox::Target& targetNumber(unsigned number) {
  const mox::TargetList all = mox::targets();
  const auto count = static_cast<unsigned>(all.count);
  while (!all.first[number % count].runsHere()) ++number;
  return all.first[number % count];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Feed expected, actual;
  Input in{data, size};
  const mox::Target& target = targetNumber(in.byte());
  const auto& cases = test::kernelCases();
  const test::KernelCase& c = cases[in.byte() % cases.size()];
  const int n = c.smallest + static_cast<int>(in.byte() % static_cast<unsigned>(c.largest - c.smallest + 1));
  const unsigned how = in.byte();
  const auto filling = static_cast<test::Filling>(how % 3);
  const Feed::Layout layout{.atEnd = how >= 128, .offset = static_cast<int>(in.byte() % 64)};
  const test::Random random(size, in.data, in.left);
  expected.begin(random, filling, layout);
  c.run(*mox::targets().first->kernels, expected, n);
  actual.begin(random, filling, layout);
  c.run(*target.kernels, actual, n);
  if (Feed::same(expected, actual)) return 0;
  std::fprintf(stderr, "%s of %s, n = %d\n", c.name, target.name, n);
  std::abort();
}
