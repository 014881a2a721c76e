// What `moxj info` prints about PNG, PNM and PGX files.
#pragma once

#include <cstdint>
#include <string>

namespace moxj {

struct PictureInfo {
  std::string format;  // "PNG", "PPM" ...
  std::string kind;    // "RGB, interlaced", "grey, plain" ...
  std::uint64_t width = 0;
  std::uint64_t height = 0;
  int channels = 0;  // in the file, alpha included
  int bits = 0;      // per sample
};

}  // namespace moxj
