// The version of the library, and of those that it uses.
#include "formats/libraries.h"
#include "moxcodec.h"
#include "moxj.h"

const char* moxcVersion(void) { return MOXJ_VERSION_STRING; }

int moxcLibrary(size_t index, MoxcLibrary* library) {
  try {
    const std::span<const moxj::UsedLibrary> all = moxj::usedLibraries();
    if (!library || index >= all.size()) return 0;
    const moxj::UsedLibrary& used = all[index];
    *library = {used.name, used.purpose, used.version.empty() ? nullptr : used.version.c_str()};
    return 1;
  } catch (...) {
    return 0;
  }
}
