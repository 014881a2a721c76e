// What the tool asks of the library and what it makes of the answers.
#include "cli/library.h"

#include "cli/threads.h"

namespace moxj::cli {

Call::Call(const Settings& settings, Console& console, const std::string& name) : console_(console), name_(name) {
  run_.structSize = sizeof run_;
  run_.limits = &settings.limits;
  run_.threads = settings.threads.value_or(defaultThreads());
  if (!console.showsProgress()) return;
  run_.progress = [](void* context, std::uint64_t done, std::uint64_t total) {
    const Call& call = *static_cast<const Call*>(context);
    call.console_.progress(call.name_, done, total);
    return 0;
  };
  run_.progressContext = this;
}

CallError errorOf(MoxcKind kind, const MoxcReport* report) {
  return {kind, moxcReportText(report), moxcReportAdvice(report), moxcReportOption(report)};
}

ExitStatus reportOutcome(Console& console, const std::string& name, const MoxcReport* report) {
  for (std::size_t i = 0; i < moxcReportNoteCount(report); ++i) console.fileNote(name, moxcReportNote(report, i));
  if (moxcReportComplete(report)) return ExitStatus::ok;
  console.fileWarning(name, moxcReportWarning(report));
  return ExitStatus::incomplete;
}

ExitStatus reportError(Console& console, const std::string& name, const CallError& error, const Settings& settings) {
  console.fileError(name, messageOf(error, displayName(settings.scansFile, true)));
  return statusOf(error.kind);
}

ExitStatus reportCall(Console& console, const std::string& name, MoxcKind kind, const MoxcReport* report,
                      const Settings& settings) {
  const ExitStatus status = reportOutcome(console, name, report);
  if (kind == moxcOk) return status;
  const std::string output = moxcReportPath(report);
  return reportError(console, output.empty() ? name : displayName(output, false), errorOf(kind, report), settings);
}

}  // namespace moxj::cli
