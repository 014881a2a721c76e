// The format of an output.
#pragma once

#include "formats/formats.h"

namespace moxj::api {

// Throws BadArgument if there is none of this name.
const Format& formatOf(const char* name);

}  // namespace moxj::api
