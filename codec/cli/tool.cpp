// Runs the command of a parsed command line and turns exceptions into messages and exit statuses.
#include "cli/tool.h"

#include <exception>
#include <string_view>

#include "cli/commands.h"
#include "cli/console.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/threads.h"
#include "cli/worker.h"

namespace moxj::cli {

namespace {

ExitStatus run(const Settings& settings, Console& console) {
  defaultThreads();
  oneThreadForRows();
  switch (settings.command) {
    case Command::info:
      return runInfo(settings, console);
    case Command::compare:
      return runCompare(settings, console);
    case Command::selftest:
      return runSelftest(settings, console);
    case Command::bench:
      return runBench(settings, console);
    default:
      return runConversion(settings, console);
  }
}

ExitStatus answerOrRun(int argc, char** argv) {
  const std::variant<Settings, Answer> parsed = parseCommandLine(argc, argv);
  if (const Answer* const answer = std::get_if<Answer>(&parsed)) {
    writeText(answer->text);
    return answer->status;
  }
  const Settings& settings = std::get<Settings>(parsed);
  Console console(settings.quiet);
  return run(settings, console);
}

}  // namespace

int runTool(int argc, char** argv) {
  try {
    if (argc > 1 && std::string_view(argv[1]) == kWorkerWord) return runWorker({argv + 2, argv + argc});
    return static_cast<int>(answerOrRun(argc, argv));
  } catch (const std::exception& exception) {
    const Ending ending = endingOf(exception);
    Console(false).error(ending.file.empty() ? ending.text : ending.file + ": " + ending.text);
    return static_cast<int>(ending.status);
  }
}

}  // namespace moxj::cli
