// How a call runs: limits, threads, progress.
#pragma once

#include "moxcodec.h"
#include "pictures/work.h"

namespace moxj::api {

// Throws Problem (badOption) or BadArgument.
Work workOf(const MoxcRun* run);

}  // namespace moxj::api
