// Packet orders and code-block modes as text.
#pragma once

#include <string>

#include "j2k/params.h"

namespace moxj::j2k {

std::string orderName(Order order);
std::string modeNames(int modes);  // "bypass, reset", or "none"

}  // namespace moxj::j2k
