// The file of --scans.
#pragma once

#include <string>

#include "cli/options.h"

namespace moxj::cli {

// The text of the scan script. Throws Failure if it cannot be read or breaks the rules that hold for every picture, so
// that nothing has been done then.
std::string readScript(const Settings& settings);

}  // namespace moxj::cli
