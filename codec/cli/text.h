// Text for people.
#pragma once

#include <string>

namespace moxj {

// As printf would have it.
[[gnu::format(printf, 1, 2)]] std::string format(const char* pattern, ...);

}  // namespace moxj
