// The whole tool but for its process.
#pragma once

namespace moxj {

// Returns the exit status.
int runTool(int argc, char** argv);

}  // namespace moxj
