// selftest: compares the golden checksums of every function of libmoxj on every target that the processor runs.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/output.h"
#include "cli/target_choice.h"
#include "cli/worker.h"
#include "moxcodec.h"
#include "proof/golden.h"

namespace moxj::cli {

namespace {

using Json = nlohmann::ordered_json;
using Clock = std::chrono::steady_clock;

struct Result {
  std::string target;
  std::string skipped;                   // why it was not run
  std::string problem;                   // what stopped it
  std::vector<std::string> differences;  // functions with another checksum, or without one
  std::size_t functions = 0;
  double seconds = 0;

  bool passed() const { return problem.empty() && differences.empty(); }
};

std::map<std::string, std::string> expectedSums() {
  std::map<std::string, std::string> sums;
  for (const test::Checksum& checksum : test::expectedChecksums())
    sums[checksum.function] = std::to_string(checksum.sum);
  return sums;
}

class Tester {
 public:
  Tester(std::size_t targets, Console& console) : total_(targets * cases_.size()), console_(console) {}

  Result run(const std::string& target) {
    Result result{target, "", "", {}, cases_.size()};
    const Clock::time_point begin = Clock::now();
    try {
      compare(result);
    } catch (const Failure& failure) {
      result.problem = failure.what();
    }
    result.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    return result;
  }

 private:
  void compare(Result& result) {
    std::map<std::string, std::string> left = expected_;
    Worker worker(result.target);
    for (std::size_t i = 0; i < cases_.size(); ++i) {
      console_.progress("selftest", done_++, total_);
      const std::optional<std::string> sum = worker.ask("golden " + std::to_string(i));
      if (!sum) {
        result.problem = worker.ending() + " in " + cases_[i].function;
        return;
      }
      const auto found = left.find(cases_[i].function);
      if (found == left.end() || found->second != *sum) result.differences.emplace_back(cases_[i].function);
      if (found != left.end()) left.erase(found);
    }
    for (const auto& [function, sum] : left) result.differences.push_back(function);
  }

  const std::vector<test::GoldenCase> cases_ = test::goldenCases();
  const std::map<std::string, std::string> expected_ = expectedSums();
  std::size_t done_ = 0, total_;
  Console& console_;
};

std::string listOf(const std::vector<std::string>& words) {
  std::string list;
  for (const std::string& word : words) list += (list.empty() ? "" : ", ") + word;
  return list;
}

std::string outcomeOf(const Result& result) {
  if (!result.skipped.empty()) return "not run: " + result.skipped;
  if (!result.problem.empty()) return "FAILED: " + result.problem;
  const std::string count = std::to_string(result.functions) + " functions";
  if (!result.differences.empty())
    return "FAILED: " + std::to_string(result.differences.size()) + " of " + count +
           " differ: " + listOf(result.differences);
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, " in %.2f s", result.seconds);
  return "ok: " + count + seconds;
}

std::string textOf(const std::vector<Result>& results) {
  constexpr std::size_t kWidth = 8;
  std::string text;
  for (const Result& result : results) {
    std::string name = result.target;
    name.resize(std::max(kWidth, name.size() + 1), ' ');
    text += name + outcomeOf(result) + "\n";
  }
  return text;
}

Json jsonOf(const std::vector<Result>& results) {
  Json targets = Json::array();
  for (const Result& result : results) {
    Json target = {{"target", result.target}, {"ran", result.skipped.empty()}};
    if (!result.skipped.empty()) {
      target["reason"] = result.skipped;
    } else {
      target["passed"] = result.passed();
      target["functions"] = result.functions;
      target["seconds"] = result.seconds;
      target["differences"] = result.differences;
      if (!result.problem.empty()) target["problem"] = result.problem;
    }
    targets.push_back(target);
  }
  return {{"version", moxcVersion()}, {"passed", std::ranges::all_of(results, &Result::passed)}, {"targets", targets}};
}

}  // namespace

ExitStatus runSelftest(const Settings& settings, Console& console) {
  const std::vector<TargetPlan> plans = planTargets(settings.targets);
  const auto runs = [](const TargetPlan& plan) { return plan.reason.empty(); };
  Tester tester(static_cast<std::size_t>(std::ranges::count_if(plans, runs)), console);
  std::vector<Result> results;
  results.reserve(plans.size());
  for (const TargetPlan& plan : plans)
    results.push_back(runs(plan) ? tester.run(plan.name) : Result{plan.name, plan.reason, "", {}});
  console.filesDone(1, 1);
  writeText(settings.json ? jsonOf(results).dump(2) + "\n" : textOf(results));
  return std::ranges::all_of(results, &Result::passed) ? ExitStatus::ok : ExitStatus::failed;
}

}  // namespace moxj::cli
