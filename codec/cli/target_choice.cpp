#include "cli/target_choice.h"

#include <algorithm>

#include "cli/console.h"
#include "cli/exit_status.h"
#include "proof/targets.h"

namespace moxj::cli {

namespace {

std::string reasonOf(const proof::Target& target) {
  if (!target.builtIn) return "not built in";
  return target.runsHere ? "" : "this processor lacks it";
}

}  // namespace

std::vector<std::string> targetNames() {
  std::vector<std::string> names;
  for (const proof::Target& target : proof::allTargets()) names.push_back(target.name);
  return names;
}

std::vector<TargetPlan> planTargets(const std::vector<std::string>& named) {
  std::vector<TargetPlan> plans;
  for (const proof::Target& target : proof::allTargets()) plans.push_back({target.name, reasonOf(target)});
  for (const std::string& name : named) {
    const auto found = std::ranges::find(plans, name, &TargetPlan::name);
    if (found == plans.end()) throw Misuse("--target: " + quoted(name) + " is no target");
    if (!found->reason.empty()) throw Misuse("--target: " + name + " cannot be run: " + found->reason);
  }
  if (!named.empty())
    for (TargetPlan& plan : plans)
      if (plan.reason.empty() && std::ranges::find(named, plan.name) == named.end()) plan.reason = "not asked for";
  return plans;
}

}  // namespace moxj::cli
