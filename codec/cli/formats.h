// The formats that the library knows, for the command line.
#pragma once

#include <string>
#include <vector>

#include "moxcodec.h"

namespace moxj::cli {

// By the library's name.
MoxcFormat formatOf(const std::string& name);

// "jpg, jp2 or j2k": the compressed formats, which `encode` writes, or those of plain samples, which `decode` writes.
std::string formatNames(bool coded);
std::vector<std::string> formatNameList(bool coded);

// "JPEG, JPEG 2000, PNG ... or PGX": what is read.
std::string formatLabels();

}  // namespace moxj::cli
