// info: prints the structure of files as text or JSON.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

#include "cli/commands.h"
#include "cli/input.h"
#include "cli/library.h"
#include "cli/output.h"

namespace moxj::cli {

namespace {

using Json = nlohmann::ordered_json;

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

// The same object with the name of the file as its first member.
Json named(const std::string& path, const std::string& json) {
  Json object = {{"file", path}};
  object.update(Json::parse(json));
  return object;
}

ExitStatus describeAll(const Settings& settings, Console& console) {
  std::vector<ExitStatus> statuses;
  Json list = Json::array();
  bool first = true;
  for (const std::string& path : settings.files) {
    const std::optional<std::string> text = describe(path, settings, console, statuses.emplace_back());
    if (!text) continue;
    if (settings.json)
      list.push_back(named(path, *text));
    else
      writeText((first ? "" : "\n") + ("file: " + displayName(path, true)) + "\n" + *text);
    first = false;
  }
  // A file name need not be valid UTF-8.
  if (settings.json) writeText(list.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
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
