// info: prints the structure of files as text or JSON.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

#include "cli/commands.h"
#include "cli/input.h"
#include "cli/library.h"
#include "cli/output.h"

namespace moxj::cli {

namespace {

using Json = nlohmann::json;

// With a newline at the end.
std::string lines(const char* text) {
  std::string result = text;
  if (!result.ends_with('\n')) result += '\n';
  return result;
}

// Text or JSON; nothing if the file is refused, which is reported.
std::optional<std::string> describe(const std::string& path, const Settings& settings, Console& console,
                                    ExitStatus& status) {
  const std::string name = displayName(path, true);
  try {
    const Input input(path);
    const CallReport report = newCallReport();
    MoxcDescription* found = nullptr;
    const MoxcKind kind = moxcDescribe(input.source(), nullptr, &found, report.get());
    const Description description(found);
    input.check();
    status = reportCall(console, name, kind, report.get(), settings);
    if (kind != moxcOk) return std::nullopt;
    return lines(settings.json ? moxcDescriptionJson(found) : moxcDescriptionText(found));
  } catch (const std::exception& exception) {
    const Ending ending = endingOf(exception);
    console.fileError(name, ending.text);
    status = ending.status;
    return std::nullopt;
  }
}

// The same object with the name of the file as its first member, as an item of a list. The text is not parsed: the
// destructors of a parsed object allocate, and would end the process where memory is short. A file name need not be
// valid UTF-8.
std::string named(const std::string& path, std::string_view json) {
  constexpr std::string_view kOpened = "{\n";
  std::string item = "  {\n    \"file\": " + Json(path).dump(-1, ' ', false, Json::error_handler_t::replace);
  if (!json.starts_with(kOpened)) return item + "\n  }";
  json.remove_prefix(kOpened.size());
  json.remove_suffix(1);
  item += ",\n";
  for (const char c : json) {
    if (item.back() == '\n') item += "  ";
    item += c;
  }
  return item;
}

ExitStatus describeAll(const Settings& settings, Console& console) {
  std::vector<ExitStatus> statuses;
  std::string list;
  bool first = true;
  for (const std::string& path : settings.files) {
    const std::optional<std::string> text = describe(path, settings, console, statuses.emplace_back());
    if (!text) continue;
    if (settings.json)
      list += (first ? "\n" : ",\n") + named(path, *text);
    else
      writeText((first ? "" : "\n") + ("file: " + displayName(path, true)) + "\n" + *text);
    first = false;
  }
  if (settings.json) writeText(first ? "[]\n" : "[" + list + "\n]\n");
  return firstOf(statuses);
}

}  // namespace

ExitStatus runInfo(const Settings& settings, Console& console) {
  if (settings.files.size() > 1) {
    if (std::ranges::count(settings.files, "-") > 1) throw Misuse("standard input can be only one of the files");
    return describeAll(settings, console);
  }
  ExitStatus status = ExitStatus::ok;
  if (const std::optional<std::string> text = describe(settings.files[0], settings, console, status)) writeText(*text);
  return status;
}

}  // namespace moxj::cli
