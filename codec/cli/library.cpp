// What the tool asks of the library and what it makes of the answers.
#include "cli/library.h"

#include <algorithm>

#include "cli/limits.h"
#include "moxcore.h"

namespace moxj::cli {

Call::Call(const Settings& settings, Console& console, const std::string& name) : console_(console), name_(name) {
  run_.structSize = sizeof run_;
  run_.limits = &settings.limits;
  run_.threads = std::clamp(settings.threads.value_or(moxGetNumThreads()), 1, kMaxThreads);
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

ExitStatus reportCall(Console& console, const std::string& name, MoxcKind kind, const MoxcReport* report,
                      const Settings& settings) {
  for (std::size_t i = 0; i < moxcReportNoteCount(report); ++i) console.fileNote(name, moxcReportNote(report, i));
  if (!moxcReportComplete(report)) console.fileWarning(name, moxcReportWarning(report));
  if (kind != moxcOk) {
    console.fileError(name, messageOf(errorOf(kind, report), displayName(settings.scansFile, true)));
    return statusOf(kind);
  }
  return moxcReportComplete(report) ? ExitStatus::ok : ExitStatus::incomplete;
}

}  // namespace moxj::cli
