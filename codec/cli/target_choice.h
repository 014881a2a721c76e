// Which targets a command runs on, and why not on the others.
#pragma once

#include <string>
#include <vector>

namespace moxj::cli {

struct TargetPlan {
  std::string name;
  std::string reason;  // why it is not run; empty: it is
};

// The names of all targets, in the library of this processor's architecture or not.
std::vector<std::string> targetNames();

// All targets, or those named. Throws Misuse if one of these cannot be run.
std::vector<TargetPlan> planTargets(const std::vector<std::string>& named);

}  // namespace moxj::cli
