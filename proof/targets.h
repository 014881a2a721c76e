// The targets of the library, and which of them is in use. No function of libmoxj tells: this applies the library's own
// rule, so it is true of a library of the same build in the same environment.
#pragma once

#include <string>
#include <vector>

namespace moxj::proof {

struct Target {
  std::string name;
  bool builtIn;
  bool runsHere;  // built in, and this processor can execute it
};

// All targets that there are, from the scalar definition to the best of each architecture.
std::vector<Target> allTargets();

// The environment variable that chooses one.
inline constexpr char kTargetVariable[] = "MOXJ_TARGET";

// The one in use in this process, and the one that would be without the environment.
std::string activeTarget();
std::string bestTarget();

}  // namespace moxj::proof
