// Inputs of the interface.
#pragma once

#include "base/input.h"
#include "moxcodec.h"

namespace moxj::api {

// Throws BadArgument, or Problem (input).
Input inputOf(const MoxcSource* source);

}  // namespace moxj::api
