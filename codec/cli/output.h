// Writing a finished file.
#pragma once

#include <string>
#include <string_view>

#include "file.h"

namespace moxj {

// Writes a file in whole or not at all: into a temporary file beside the target, which then takes the target's name.
// A symbolic link stays and its target is replaced; a file that is replaced keeps its permissions, and a
// write-protected one stays as it is. What is no regular file (a device, a pipe) is written to directly, "-" stands
// for standard output. Throws Failure (output).
void writeFile(const std::string& path, const Content& content);

// To standard output, which the text of the failure names.
void writeText(std::string_view text);

}  // namespace moxj
