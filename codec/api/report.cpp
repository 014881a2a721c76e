// What is reported of an exception. Reporting never fails: without memory for its own text, a report has a fixed one.
#include "api/report.h"

#include <new>
#include <utility>

namespace {

constexpr const char* kNoMemory = "not enough memory";

struct KindName {
  MoxcKind kind;
  const char* name;
};
constexpr KindName kKindNames[] = {
    {moxcOk, "ok"},
    {moxcNotThisFormat, "not this format"},
    {moxcDamaged, "damaged"},
    {moxcUnsupported, "unsupported"},
    {moxcInput, "unreadable input"},
    {moxcBadOption, "bad option"},
    {moxcLimit, "limit exceeded"},
    {moxcNoMemory, "no memory"},
    {moxcOutput, "unwritable output"},
    {moxcCancelled, "cancelled"},
    {moxcBadArgument, "bad argument"},
    {moxcInternal, "internal error"},
};

}  // namespace

void MoxcReport::clear() noexcept {
  kind = moxcOk;
  advice = moxcAdviceNone;
  text = "";
  ownText.clear();
  option.clear();
  path.clear();
  outcome.complete = true;
  outcome.warning.clear();
  outcome.notes.clear();
}

namespace moxj::api {

namespace {

MoxcKind kindOf(Kind kind) {
  switch (kind) {
    case Kind::notThisFormat:
      return moxcNotThisFormat;
    case Kind::damaged:
      return moxcDamaged;
    case Kind::unsupported:
      return moxcUnsupported;
    case Kind::input:
      return moxcInput;
    case Kind::badOption:
      return moxcBadOption;
    case Kind::limit:
      return moxcLimit;
    case Kind::noMemory:
      return moxcNoMemory;
    case Kind::output:
      return moxcOutput;
    case Kind::cancelled:
      return moxcCancelled;
    case Kind::internal:
      break;
  }
  return moxcInternal;
}

MoxcAdvice adviceOf(Setting setting) {
  switch (setting) {
    case Setting::none:
      return moxcAdviceNone;
    case Setting::maxPixels:
      return moxcAdviceMaxPixels;
    case Setting::maxMemory:
      return moxcAdviceMaxMemory;
    case Setting::maxMemoryOrTiles:
      return moxcAdviceMaxMemoryOrTiles;
    case Setting::maxScans:
      return moxcAdviceMaxScans;
    case Setting::optimize:
      return moxcAdviceOptimize;
    case Setting::option:
      return moxcAdviceOption;
  }
  return moxcAdviceNone;
}

void fill(MoxcReport* report, MoxcKind kind, const char* text, MoxcAdvice advice = moxcAdviceNone,
          const std::string& option = {}, const std::string& path = {}) noexcept {
  if (!report) return;
  report->kind = kind;
  report->advice = advice;
  try {
    report->ownText = text;
    report->text = report->ownText.c_str();
    report->option = option;
    report->path = path;
  } catch (...) {
    report->text = kind == moxcNoMemory ? kNoMemory : "not enough memory for the text of this error";
  }
}

}  // namespace

MoxcKind reportException(MoxcReport* report) noexcept {
  MoxcKind kind = moxcInternal;
  try {
    throw;
  } catch (const Problem& problem) {
    kind = kindOf(problem.kind);
    fill(report, kind, problem.what(), adviceOf(problem.setting), problem.option, problem.path);
  } catch (const BadArgument& mistake) {
    kind = moxcBadArgument;
    fill(report, kind, mistake.what());
  } catch (const std::bad_alloc&) {
    kind = moxcNoMemory;
    fill(report, kind, kNoMemory);
  } catch (const std::exception& exception) {
    fill(report, kind, exception.what());
  } catch (...) {
    fill(report, kind, "an exception of unknown type");
  }
  return kind;
}

void reportOutcome(MoxcReport* report, Outcome&& outcome) noexcept {
  if (report) report->outcome = std::move(outcome);
}

}  // namespace moxj::api

using moxj::api::reportException;

const char* moxcKindName(MoxcKind kind) {
  for (const KindName& entry : kKindNames)
    if (entry.kind == kind) return entry.name;
  return "unknown";
}

MoxcReport* moxcReportNew(void) { return new (std::nothrow) MoxcReport; }

void moxcReportFree(MoxcReport* report) { delete report; }

MoxcKind moxcReportKind(const MoxcReport* report) { return report ? report->kind : moxcOk; }

const char* moxcReportText(const MoxcReport* report) { return report ? report->text : ""; }

MoxcAdvice moxcReportAdvice(const MoxcReport* report) { return report ? report->advice : moxcAdviceNone; }

const char* moxcReportOption(const MoxcReport* report) { return report ? report->option.c_str() : ""; }

const char* moxcReportPath(const MoxcReport* report) { return report ? report->path.c_str() : ""; }

int moxcReportComplete(const MoxcReport* report) { return !report || report->outcome.complete; }

const char* moxcReportWarning(const MoxcReport* report) { return report ? report->outcome.warning.c_str() : ""; }

size_t moxcReportNoteCount(const MoxcReport* report) { return report ? report->outcome.notes.size() : 0; }

const char* moxcReportNote(const MoxcReport* report, size_t index) {
  return index < moxcReportNoteCount(report) ? report->outcome.notes[index].c_str() : "";
}
