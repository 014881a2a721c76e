// Reading files in whole.
#pragma once

#include <cstdint>
#include <string>

#include "file.h"

namespace moxj {

// A regular file is mapped, so that nothing is copied and only what is used is read; anything else, "-" for standard
// input too, is read to its end, but no more than `most` bytes. Throws Failure: refused where the file cannot be read
// or is empty, limit where it is too long.
Source readFile(const std::string& path, std::uint64_t most);

}  // namespace moxj
