// transcode: re-encodes one JPEG file as another.
#pragma once

#include "cli/options.h"
#include "cli/plan.h"
#include "cli/report.h"

namespace moxj {

// Throws Problem.
ExitStatus transcodeFile(const Job& job, const Settings& settings, Report& report);

}  // namespace moxj
