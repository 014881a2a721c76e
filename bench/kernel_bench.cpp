// Times every kernel of every target that this machine runs, as family.kernel/target. The kernels and their buffers
// are those of the kernel test: one row or block at a time, everything in the first-level cache.
#include <benchmark/benchmark.h>

#include "support/kernel_case.h"

namespace test {
namespace {

void time(benchmark::State& state, const KernelCase& c, const mox::Kernels& kernels) {
  Feed feed;
  feed.begin(1, Filling::any, {.atEnd = false, .offset = 0});
  c.run(kernels, feed, c.timed);
  for ([[maybe_unused]] auto _ : state) {
    feed.replay();
    c.run(kernels, feed, c.timed);
  }
  state.SetItemsProcessed(state.iterations() * c.timed);
  state.SetLabel(c.item);
}

}  // namespace
}  // namespace test

int main(int argc, char** argv) {
  for (const test::KernelCase& c : test::kernelCases()) {
    for (const mox::Target& target : mox::targets()) {
      if (!target.runsHere()) continue;
      benchmark::RegisterBenchmark((std::string(c.name) + "/" + target.name).c_str(), test::time, c,
                                   std::cref(*target.kernels));
    }
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
