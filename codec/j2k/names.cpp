// The names that the standard and other codecs use, in upper and lower case respectively.
#include "j2k/names.h"

#include <string_view>

namespace moxj::j2k {

std::string orderName(Order order) {
  constexpr std::string_view kOrders[] = {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"};
  return std::string(kOrders[static_cast<std::size_t>(order)]);
}

std::string modeNames(int modes) {
  struct ModeName {
    int mode;
    std::string_view name;
  };
  constexpr ModeName kModes[] = {{bypass, "bypass"},
                                 {reset, "reset"},
                                 {termall, "termall"},
                                 {causal, "causal"},
                                 {pterm, "pterm"},
                                 {segsym, "segsym"},
                                 {kHighThroughput, "high-throughput"},
                                 {kMixedBlocks, "mixed"}};
  std::string names;
  for (const ModeName& mode : kModes)
    if (modes & mode.mode) names.append(names.empty() ? "" : ", ").append(mode.name);
  return names.empty() ? "none" : names;
}

}  // namespace moxj::j2k
