// The entry points of the commands. Each returns the exit status of the process.
#pragma once

#include "cli/exit_status.h"
#include "cli/options.h"
#include "cli/report.h"

namespace moxj {

// encode, decode and transcode, for one file or a batch.
ExitStatus runConversion(const Settings& settings, Report& report);
ExitStatus runInfo(const Settings& settings, Report& report);
ExitStatus runCompare(const Settings& settings, Report& report);

}  // namespace moxj
