// bench: times every family of functions on every target of the processor, and the coding of files.
//
// What is to be measured is measured in several rounds, each time for a short while and on one target after the other,
// so that all of them meet the same disturbances; the median counts.
#include <algorithm>
#include <memory>

#include "cli/bench_results.h"
#include "cli/commands.h"
#include "cli/file_work.h"
#include "cli/output.h"
#include "cli/target_choice.h"
#include "cli/worker.h"
#include "proof/bench.h"

namespace moxj::cli {

namespace {

constexpr int kRounds = 7;
constexpr double kShortest = 1e-4;  // seconds of one measurement
constexpr char kFiles[] = "file";   // the family of these

// A request to a worker, and what came back in each round.
struct Series {
  std::size_t row;
  std::size_t worker;
  std::string what;
  std::size_t index;
  std::vector<double> times = {};  // of a run
  double items = 0;                // of a run
};

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

class Bench {
 public:
  Bench(const Settings& settings, Console& console) : settings_(settings), console_(console) {
    result_.threads = settings.threads.value_or(1);
    for (const TargetPlan& plan : planTargets(settings.targets))
      if (plan.reason.empty()) result_.targets.push_back(plan.name);
    for (const std::string& target : result_.targets)
      workers_.push_back(std::make_unique<Worker>(target, settings.files));
    if (settings.files.empty() || !settings.families.empty()) addFamilies();
    addFiles();
  }

  Measurement run() {
    const double each = settings_.seconds / kRounds / static_cast<double>(series_.size());
    const std::size_t total = kRounds * series_.size();
    std::size_t done = 0;
    for (int round = 0; round < kRounds; ++round)
      for (Series& series : series_) {
        console_.progress("bench", done++, total);
        measure(series, std::max(each, kShortest));
      }
    console_.filesDone(1, 1);
    collect();
    return result_;
  }

 private:
  void addFamilies() {
    const std::vector<proof::Workload> all = proof::workloads();
    for (const std::string& family : settings_.families)
      if (std::ranges::find(all, family, [](const proof::Workload& w) { return std::string(w.family); }) == all.end())
        throw Misuse("--family: " + quoted(family) + " is none of " + families(all));
    for (std::size_t i = 0; i < all.size(); ++i) {
      const proof::Workload& work = all[i];
      if (!settings_.families.empty() && std::ranges::find(settings_.families, work.family) == settings_.families.end())
        continue;
      result_.rows.push_back({work.family, work.name, work.unit, work.bytes / work.items});
      const std::size_t row = result_.rows.size() - 1;
      for (std::size_t w = 0; w < workers_.size(); ++w) series_.push_back({row, w, "time", i, {}, work.items});
      series_.push_back({row, workers_.size() - 1, "copy", i, {}, work.items});
    }
  }

  static std::string families(const std::vector<proof::Workload>& all) {
    std::string list;
    for (std::size_t i = 0; i < all.size(); ++i)
      if (i == 0 || std::string(all[i].family) != all[i - 1].family)
        list += (i == 0 ? "" : ", ") + std::string(all[i].family);
    return list;
  }

  void addFiles() {
    for (std::size_t i = 0; i < settings_.files.size() * kFileWork.size(); ++i) {
      const std::string name = settings_.files[i / kFileWork.size()];
      result_.rows.push_back({kFiles, std::string(kFileWork[i % kFileWork.size()]) + " " + name, "sample"});
      for (std::size_t w = 0; w < workers_.size(); ++w) series_.push_back({result_.rows.size() - 1, w, kFiles, i});
    }
  }

  void measure(Series& series, double seconds) {
    Worker& worker = *workers_[series.worker];
    const std::optional<std::string> answer =
        worker.ask(series.what + " " + std::to_string(series.index) + " " + std::to_string(seconds) + " " +
                   std::to_string(result_.threads));
    const Row& row = result_.rows[series.row];
    const bool isFile = series.what == kFiles;
    const std::string name = isFile ? displayName(settings_.files[series.index / kFileWork.size()], true)
                                    : row.family + ": " + row.name + " on " + worker.target();
    if (!answer) throw Failure(ExitStatus::internal, name + ": the process " + worker.ending());
    if (answer->starts_with("error ")) throw Failure(ExitStatus::refused, answer->substr(6), name);
    std::size_t end = 0;
    series.times.push_back(std::stod(*answer, &end));
    if (end < answer->size()) series.items = std::stod(answer->substr(end));
  }

  void collect() {
    for (const Series& series : series_) {
      const double time = median(series.times) / series.items;
      if (series.what == "copy")
        result_.rows[series.row].copy = time;
      else
        result_.rows[series.row].times.push_back({result_.targets[series.worker], time});
    }
  }

  const Settings& settings_;
  Console& console_;
  Measurement result_;
  std::vector<std::unique_ptr<Worker>> workers_;
  std::vector<Series> series_;
};

}  // namespace

ExitStatus runBench(const Settings& settings, Console& console) {
  std::optional<Measurement> before;
  if (!settings.comparedWith.empty()) before = readMeasurement(settings.comparedWith);
  const int threads = settings.threads.value_or(1);
  if (before && before->threads != threads)
    throw Failure(ExitStatus::refused,
                  "is of --threads " + std::to_string(before->threads) + ", not " + std::to_string(threads),
                  displayName(settings.comparedWith, true));
  const Measurement after = Bench(settings, console).run();
  writeText(settings.json ? jsonOf(after) : tableOf(after));
  if (!before) return ExitStatus::ok;
  const std::vector<Change> changes = slowerThan(*before, after, settings.threshold);
  const std::string text = textOf(changes, settings.threshold);
  if (!settings.json)
    writeText("\n" + text);
  else if (!changes.empty())
    console.error(std::to_string(changes.size()) +
                  " times are longer by more than the threshold; without --json they are listed");
  return changes.empty() ? ExitStatus::ok : ExitStatus::failed;
}

}  // namespace moxj::cli
