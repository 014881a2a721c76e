// Reads whole files.
#pragma once

#include <cstdint>
#include <string>

#include "base/file.h"

namespace moxj {

// A regular file is mapped: nothing is copied, and only the pages in use are read. Anything else, including "-" for
// standard input, is read to its end, but at most `maxBytes`. Throws Problem: input if the file cannot be read,
// notThisFormat if it is empty, limit if it is too long.
Source readFile(const std::string& path, std::uint64_t maxBytes);

}  // namespace moxj
