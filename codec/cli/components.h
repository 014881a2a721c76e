// decode --components: each component or ink in a file of its own.
#pragma once

#include "cli/console.h"
#include "cli/options.h"
#include "cli/plan.h"

namespace moxj::cli {

// All files are written before the first gets its name: none is there if one cannot be written. Throws Failure.
ExitStatus convertComponents(const Job& job, const Settings& settings, Console& console);

}  // namespace moxj::cli
