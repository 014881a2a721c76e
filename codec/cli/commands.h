// The entry points of the commands. Each returns the exit status of the process.
#pragma once

#include "cli/console.h"
#include "cli/exit_status.h"
#include "cli/options.h"

namespace moxj::cli {

// encode, decode and transcode, for one file or a batch.
ExitStatus runConversion(const Settings& settings, Console& console);
ExitStatus runInfo(const Settings& settings, Console& console);
ExitStatus runCompare(const Settings& settings, Console& console);
ExitStatus runBench(const Settings& settings, Console& console);
ExitStatus runSelftest(const Settings& settings, Console& console);

}  // namespace moxj::cli
