// Descriptions of files, as text for people and as JSON.
#pragma once

#include <cstdint>
#include <string>

namespace moxj::text {

// printf into a string.
[[gnu::format(printf, 1, 2)]] std::string format(const char* pattern, ...);

// "1 layer", "2 layers"
std::string counted(std::uint64_t count, const char* noun);

// One line of a description: a label and what belongs to it.
std::string line(const char* label, const std::string& text);

}  // namespace moxj::text
