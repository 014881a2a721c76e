#include "formats/libraries.h"

#include <png.h>

#include "base/problem.h"
#include "formats/tiff_library.h"
#include "pictures/colourspace/lcms.h"

namespace moxj {

namespace {

std::string tiffVersion() {
#if MOXJ_LIBTIFF
  return tiff::libraryVersion();
#else
  return "";
#endif
}

// Of a library that may be missing.
template <class Ask>
std::string loadedVersion(const Ask& ask) {
  try {
    return ask();
  } catch (const Problem&) {
    return "";
  }
}

}  // namespace

std::span<const UsedLibrary> usedLibraries() {
  static const UsedLibrary libraries[] = {
      {"libpng", "PNG files", png_get_libpng_ver(nullptr)},
      {"libtiff", "reading TIFF files", loadedVersion(tiffVersion)},
      {"lcms2", "colour profiles", loadedVersion(lcmsVersion)},
  };
  return libraries;
}

}  // namespace moxj
