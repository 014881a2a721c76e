// encode, decode and transcode: convert pictures from one format to another, one file or a batch.
#include <algorithm>
#include <atomic>
#include <exception>
#include <filesystem>

#include "cli/commands.h"
#include "cli/components.h"
#include "cli/input.h"
#include "cli/library.h"
#include "cli/limits.h"
#include "cli/output.h"
#include "cli/parallel.h"
#include "cli/plan.h"
#include "cli/script.h"
#include "cli/threads.h"

namespace moxj::cli {

namespace {

MoxcKind convertTo(const MoxcTarget& target, const Input& input, const Job& job, const Settings& settings,
                   const Call& call, MoxcReport* report) {
  if (settings.command == Command::transcode)
    return moxcTranscode(input.source(), &settings.transcoding, &target, call.run(), report);
  return moxcConvert(input.source(), &settings.reading, job.format, &settings.writing, &target, call.run(), report);
}

ExitStatus convertFile(const Job& job, const Settings& settings, Console& console) {
  if (settings.reading.components) return convertComponents(job, settings, console);
  const std::string name = displayName(job.input, true);
  const Input input(job.input);
  OutputTarget output(job.output, settings.existing);
  const Call call(settings, console, name);
  const CallReport report = newCallReport();
  const MoxcKind kind = convertTo(output.target(), input, job, settings, call, report.get());
  output.check();
  input.check();
  if (kind == moxcOk) output.finish();
  return reportCall(console, name, kind, report.get(), settings);
}

// Reports a failure under the name of the file that caused it.
ExitStatus convert(const Job& job, const Settings& settings, Console& console) {
  try {
    return convertFile(job, settings, console);
  } catch (const std::exception& exception) {
    const Ending ending = endingOf(exception);
    console.fileError(ending.file.empty() ? displayName(job.input, true) : ending.file, ending.text);
    return ending.status;
  }
}

void makeDirectory(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (error) throw Failure(ExitStatus::output, "cannot be created: " + error.message(), displayName(path, false));
}

ExitStatus convertAll(const std::vector<Job>& jobs, Settings& settings, Console& console) {
  makeDirectory(*settings.outputDirectory);
  std::vector<ExitStatus> statuses(jobs.size());
  std::atomic<std::size_t> done = 0;
  const std::size_t wanted = static_cast<std::size_t>(settings.jobs.value_or(defaultThreads()));
  const std::size_t workers = std::min({wanted, jobs.size(), std::size_t{kMaxJobs}});
  // The processors are busy with other files: one thread per picture.
  if (workers > 1 && !settings.threads) settings.threads = 1;
  inParallel(workers, jobs.size(), [&](std::size_t job) {
    statuses[job] = convert(jobs[job], settings, console);
    console.filesDone(++done, jobs.size());
  });
  return firstOf(statuses);
}

// The lists and texts that the options of the library point to.
void setLists(Settings& settings) {
  MoxcWriteOptions& writing = settings.writing;
  const auto countOf = [](const auto& list) { return static_cast<std::int32_t>(list.size()); };
  writing.ratios = settings.ratios.data();
  writing.ratioCount = countOf(settings.ratios);
  writing.bpps = settings.bpps.data();
  writing.bppCount = countOf(settings.bpps);
  writing.psnrs = settings.psnrs.data();
  writing.psnrCount = countOf(settings.psnrs);
  writing.precincts = settings.precincts.data();
  writing.precinctCount = countOf(settings.precincts);
  writing.comment = settings.comment.c_str();
}

}  // namespace

ExitStatus runConversion(const Settings& given, Console& console) {
  const std::vector<Job> jobs = planOf(given);
  Settings settings = given;
  setLists(settings);
  if (!settings.factors.empty()) settings.writing.factors = settings.factors.c_str();
  if (!settings.qualities.empty()) settings.writing.qualities = settings.qualities.c_str();
  std::string script;
  if (!settings.scansFile.empty()) {
    script = readScript(settings);
    settings.writing.scans = settings.transcoding.scans = script.c_str();
  }
  return settings.outputDirectory ? convertAll(jobs, settings, console) : convert(jobs[0], settings, console);
}

}  // namespace moxj::cli
