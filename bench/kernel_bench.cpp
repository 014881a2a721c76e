// Times every kernel of every target that this machine runs, as family.kernel/target. The kernels and their buffers
// are those of the kernel test: one row or block at a time, everything in the first-level cache. And, as
// function.family: name/target, the calls of exported functions that `moxj bench` times.
#include <benchmark/benchmark.h>

#include "proof/bench.h"
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

// What `moxj bench` times.
void timeWorkload(benchmark::State& state, const moxj::proof::Workload& workload, const mox::Kernels& kernels) {
  mox::kernels::active = &kernels;
  const moxj::proof::Run run = workload.make();
  for ([[maybe_unused]] auto _ : state) run();
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(workload.items));
  state.SetLabel(workload.unit);
}

template <class Timed, class Case>
void add(const std::string& name, const Timed& timed, const Case& what) {
  for (const mox::Target& target : mox::targets())
    if (target.runsHere())
      benchmark::RegisterBenchmark((name + "/" + target.name).c_str(), timed, what, std::cref(*target.kernels));
}

}  // namespace
}  // namespace test

int main(int argc, char** argv) {
  for (const test::KernelCase& c : test::kernelCases()) test::add(c.name, test::time, c);
  for (const moxj::proof::Workload& w : moxj::proof::workloads())
    test::add(std::string("function.") + w.family + ": " + w.name, test::timeWorkload, w);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
