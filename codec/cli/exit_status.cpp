// Maps kinds of failures to exit statuses, and adds the option to change.
#include "cli/exit_status.h"

#include <new>

namespace moxj::cli {

namespace {

std::string adviceOf(MoxcAdvice advice) {
  switch (advice) {
    case moxcAdviceMaxPixels:
      return " (--max-pixels)";
    case moxcAdviceMaxMemory:
      return " (--max-memory)";
    case moxcAdviceMaxMemoryOrTiles:
      return " (--max-memory, or --tile to need less)";
    case moxcAdviceMaxScans:
      return " (--max-scans)";
    case moxcAdviceOptimize:
      return " (use --optimize)";
    case moxcAdviceNone:
    case moxcAdviceOption:
      break;
  }
  return "";
}

// Fields whose options have other names.
struct OtherName {
  std::string_view field, option;
};
constexpr OtherName kOtherNames[] = {
    {"levelsPlus1", "--levels"}, {"blockWidth", "--block"},      {"blockHeight", "--block"},   {"tileWidth", "--tile"},
    {"tileHeight", "--tile"},    {"restartInRows", "--restart"}, {"predictor", "--lossless"},  {"point", "--lossless"},
    {"cropWidth", "--crop"},     {"cropHeight", "--crop"},       {"tilePlus1", "--tile"},      {"regionX", "--region"},
    {"regionY", "--region"},     {"regionWidth", "--region"},    {"regionHeight", "--region"}, {"factors", "--sample"},
    {"qualities", "--quality"},
};

}  // namespace

std::string optionOfField(std::string_view field) {
  for (const OtherName& other : kOtherNames)
    if (other.field == field) return std::string(other.option);
  std::string option = "--";
  for (const char c : field) {
    const bool capital = c >= 'A' && c <= 'Z';
    if (capital) option += '-';
    option += capital ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return option;
}

ExitStatus statusOf(MoxcKind kind) {
  switch (kind) {
    case moxcOk:
      return ExitStatus::ok;
    case moxcNotThisFormat:
    case moxcDamaged:
    case moxcUnsupported:
    case moxcInput:
    case moxcBadOption:
      return ExitStatus::refused;
    case moxcLimit:
    case moxcNoMemory:
      return ExitStatus::limit;
    case moxcOutput:
      return ExitStatus::output;
    case moxcCancelled:
    case moxcBadArgument:
    case moxcInternal:
      break;
  }
  return ExitStatus::internal;
}

std::string messageOf(const CallError& error, const std::string& scansFile) {
  if (statusOf(error.kind) == ExitStatus::internal) return "internal error: " + error.text;
  std::string text = error.text;
  const std::size_t line = text.find(": line ");
  if (error.kind == moxcBadOption && !scansFile.empty() && line != std::string::npos)
    text.replace(0, line, scansFile);
  else if (!error.option.empty() && text.starts_with(error.option))
    text.replace(0, error.option.size(), optionOfField(error.option));
  else if (error.option == "keepExisting")
    text += " (--no-clobber)";
  else if (error.option == "components")
    text += "; --components writes one file for each";
  return text + adviceOf(error.advice);
}

Ending endingOf(const std::exception& exception) {
  if (dynamic_cast<const Misuse*>(&exception)) return {ExitStatus::usage, exception.what()};
  if (dynamic_cast<const std::bad_alloc*>(&exception)) return {ExitStatus::limit, "not enough memory"};
  if (const Failure* const failure = dynamic_cast<const Failure*>(&exception))
    return {failure->status, failure->what(), failure->file};
  return {ExitStatus::internal, std::string("internal error: ") + exception.what()};
}

ExitStatus firstOf(const std::vector<ExitStatus>& statuses) {
  ExitStatus first = ExitStatus::ok;
  for (const ExitStatus status : statuses) {
    if (status == ExitStatus::incomplete) first = status;
    if (status != ExitStatus::ok && status != ExitStatus::incomplete) return status;
  }
  return first;
}

}  // namespace moxj::cli
