// The list of kernels, one line each, for the kernel test and the benchmark.
#pragma once

#include <string>
#include <vector>

#include "kernels/dispatch.h"
#include "support/feed.h"

namespace test {

struct KernelCase {
  // Runs a kernel of the given target on `n` items (pixels, samples or blocks, as named by `item`).
  using Run = void (*)(const mox::Kernels& kernels, Feed& feed, int n);

  const char* name;  // family.kernel
  const char* item;
  int smallest, largest;  // the test runs every n between them
  int timed;              // the n of the benchmark
  Run run;
};

inline std::vector<KernelCase>& kernelCases() {
  static std::vector<KernelCase> cases;
  return cases;
}

struct AddKernelCases {
  AddKernelCases(std::initializer_list<KernelCase> added) {
    kernelCases().insert(kernelCases().end(), added.begin(), added.end());
  }
};

}  // namespace test
