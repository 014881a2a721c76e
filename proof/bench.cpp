#include "proof/bench.h"

#include <cstring>
#include <memory>

namespace moxj::proof {

std::vector<Workload> workloads() {
  std::vector<Workload> all;
  for (const Workloads some :
       {colourWorkloads(), blockWorkloads(), entropyWorkloads(), waveletWorkloads(), codeBlockWorkloads()})
    all.insert(all.end(), some.begin(), some.end());
  return all;
}

Run copyOf(double bytes) {
  struct Buffers {
    std::vector<char> from, to;
  };
  const auto count = static_cast<size_t>(bytes / 2);
  const auto buffers = std::make_shared<Buffers>(Buffers{std::vector<char>(count, 1), std::vector<char>(count, 2)});
  return [buffers] {
    std::memcpy(buffers->to.data(), buffers->from.data(), buffers->to.size());
    __asm__ volatile("" : : "r"(buffers->to.data()) : "memory");  // it must not be left out
    return moxStatusOk;
  };
}

}  // namespace moxj::proof
