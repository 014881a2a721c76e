// The library's objects with owners, and the settings of a call as the library takes them.
#pragma once

#include <memory>
#include <new>
#include <string>

#include "cli/console.h"
#include "cli/options.h"
#include "moxcodec.h"

namespace moxj::cli {

template <auto Free>
struct Freeing {
  template <class Object>
  void operator()(Object* object) const {
    Free(object);
  }
};

using CallReport = std::unique_ptr<MoxcReport, Freeing<moxcReportFree>>;
using Description = std::unique_ptr<MoxcDescription, Freeing<moxcDescriptionFree>>;

inline CallReport newCallReport() {
  CallReport report(moxcReportNew());
  if (!report) throw std::bad_alloc();
  return report;
}

// How one call of the library runs: limits, threads and progress. The settings must outlive it.
class Call {
 public:
  // Progress is shown under this name.
  Call(const Settings& settings, Console& console, const std::string& name);
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  const MoxcRun* run() const { return &run_; }

 private:
  Console& console_;
  std::string name_;
  MoxcRun run_ = {};
};

CallError errorOf(MoxcKind kind, const MoxcReport* report);

// Print what a report says about a file: notes and warning, and the error of a call that failed. Return the status.
ExitStatus reportOutcome(Console& console, const std::string& name, const MoxcReport* report);
ExitStatus reportError(Console& console, const std::string& name, const CallError& error, const Settings& settings);
ExitStatus reportCall(Console& console, const std::string& name, MoxcKind kind, const MoxcReport* report,
                      const Settings& settings);

}  // namespace moxj::cli
