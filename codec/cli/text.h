// Formatting of text for people.
#pragma once

#include <cstdint>
#include <string>

namespace moxj {

// printf into a string.
[[gnu::format(printf, 1, 2)]] std::string format(const char* pattern, ...);

// "1 layer", "2 layers"
std::string counted(std::uint64_t count, const char* noun);

}  // namespace moxj
