// The tool without main(), so that tests can call it.
#pragma once

namespace moxj::cli {

// Returns the exit status.
int runTool(int argc, char** argv);

}  // namespace moxj::cli
