#include "proof/targets.h"

#include "kernels/choice.h"

namespace moxj::proof {

std::vector<Target> allTargets() {
  const mox::cpu::Processor here = mox::cpu::ask();
  std::vector<Target> all;
  for (const char* const name : {"scalar", "sse2", "sse41", "avx2", "avx512", "neon"}) {
    Target target{name, false, false};
    for (const mox::choice::Rule& rule : mox::choice::kRules)
      if (target.name == rule.name) target = {name, true, rule.runsOn(here)};
    all.push_back(target);
  }
  return all;
}

std::string activeTarget() {
  return mox::choice::kRules[mox::choice::choose(mox::cpu::ask(), mox::choice::wanted())].name;
}

std::string bestTarget() { return mox::choice::kRules[mox::choice::choose(mox::cpu::ask(), nullptr)].name; }

}  // namespace moxj::proof
