// Maps kinds of problems to exit statuses, and adds the option to change.
#include "cli/exit_status.h"

#include <new>

namespace moxj {

namespace {

ExitStatus statusOf(Kind kind) {
  switch (kind) {
    case Kind::notThisFormat:
    case Kind::damaged:
    case Kind::unsupported:
    case Kind::input:
    case Kind::badOption:
      return ExitStatus::refused;
    case Kind::limit:
    case Kind::noMemory:
      return ExitStatus::limit;
    case Kind::output:
      return ExitStatus::output;
    case Kind::cancelled:
    case Kind::internal:
      break;
  }
  return ExitStatus::internal;
}

// The text of a problem, with the option that the user can change.
std::string messageOf(const Problem& problem) {
  const std::string text = problem.what();
  switch (problem.setting) {
    case Setting::maxPixels:
      return text + " (--max-pixels)";
    case Setting::maxMemory:
      return text + " (--max-memory)";
    case Setting::maxMemoryOrTiles:
      return text + " (--max-memory, or --tile to need less)";
    case Setting::maxScans:
      return text + " (--max-scans)";
    case Setting::optimize:
      return text + " (use --optimize)";
    case Setting::reduce:
      return "--" + text;  // "reduce 6: ..."
    case Setting::none:
      break;
  }
  return text;
}

}  // namespace

Ending endingOf(const std::exception& exception) {
  if (dynamic_cast<const Misuse*>(&exception)) return {ExitStatus::usage, exception.what()};
  if (dynamic_cast<const std::bad_alloc*>(&exception)) return {ExitStatus::limit, "not enough memory"};
  const Problem* const problem = dynamic_cast<const Problem*>(&exception);
  if (!problem || problem->kind == Kind::internal)
    return {ExitStatus::internal, std::string("internal error: ") + exception.what()};
  const OutputProblem* const named = dynamic_cast<const OutputProblem*>(problem);
  return {statusOf(problem->kind), messageOf(*problem), named ? named->path : ""};
}

}  // namespace moxj
