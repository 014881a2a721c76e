// What `moxj bench` and scripts/bench time: calls of every family of functions on data as of a photograph.
#pragma once

#include <functional>
#include <span>
#include <vector>

#include "moxj.h"

namespace moxj::proof {

// Does the work once, on buffers of its own.
using Run = std::function<MoxStatus()>;

struct Workload {
  const char* family;
  const char* name;
  const char* unit;  // of items: "pixel", "sample"
  double items;      // of one run
  double bytes;      // that one run reads and writes: what the same work costs as a copy
  Run (*make)();
};

using Workloads = std::span<const Workload>;
Workloads colourWorkloads();
Workloads blockWorkloads();
Workloads entropyWorkloads();
Workloads waveletWorkloads();
Workloads codeBlockWorkloads();

// All of them. No run divides its rows among threads.
std::vector<Workload> workloads();

// Copies half of `bytes`, which reads and writes as many.
Run copyOf(double bytes);

}  // namespace moxj::proof
