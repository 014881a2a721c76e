// The other libraries that the codec uses.
#pragma once

#include <span>
#include <string>

namespace moxj {

struct UsedLibrary {
  const char* name;
  const char* purpose;
  std::string version;  // of the library in use; empty: it cannot be loaded, or the codec was built without it
};

// Loads those that are loaded when they are needed.
std::span<const UsedLibrary> usedLibraries();

}  // namespace moxj
