// Formatting of text for people.
#pragma once

#include <string>

namespace moxj::cli {

// printf into a string.
[[gnu::format(printf, 1, 2)]] std::string format(const char* pattern, ...);

}  // namespace moxj::cli
