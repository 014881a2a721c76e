// What --version says.
#pragma once

#include <string>

namespace moxj::cli {

// The version in the first line; then the targets of the library and the libraries in use.
std::string versionText();
std::string versionJson();

}  // namespace moxj::cli
