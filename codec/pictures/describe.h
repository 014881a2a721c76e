// What `moxj info` tells of a picture file that is not JPEG.
#pragma once

#include <cstdint>
#include <string>

namespace moxj {

struct PictureInfo {
  std::string format;  // "PNG", "PPM" ...
  std::string kind;    // "RGB, interlaced", "grey, plain" ...
  std::uint64_t width = 0;
  std::uint64_t height = 0;
  int channels = 0;  // as the file has them, alpha included
  int bits = 0;      // a sample
};

}  // namespace moxj
