// Whether the library has chosen the target that the environment and the processor ask for. To be run with several
// values of MOXJ_TARGET.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "kernels/dispatch.h"
#include "proof/targets.h"

int main() {
  const char* const wanted = std::getenv("MOXJ_TARGET");
  std::string best, lowered;
  for (const mox::Target& target : mox::targets()) {
    if (!target.runsHere()) continue;
    best = target.name;
    if (wanted && best == wanted) lowered = best;
  }
  const std::string expected = lowered.empty() ? best : lowered;
  std::string active;
  for (const mox::Target& target : mox::targets())
    if (target.kernels == mox::kernels::active) active = target.name;

  const std::string reported = moxj::proof::activeTarget();
  std::printf("%s: expected %s, active %s, reported %s, best %s\n", wanted ? wanted : "(none)", expected.c_str(),
              active.c_str(), reported.c_str(), moxj::proof::bestTarget().c_str());
  return active == expected && reported == expected && moxj::proof::bestTarget() == best ? 0 : 1;
}
