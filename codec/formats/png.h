// PNG files, read and written with libpng.
#pragma once

#include <memory>

#include "formats/formats.h"

namespace moxj::png {

// Grey, RGB and palettes (as RGB), with their opacity, of 8 bits (or fewer, scaled) or 16. Gamma and colour profiles
// are not applied here; profiles travel with the other metadata. A truncated or damaged file gives the picture up to
// that point, an interlaced one the coarse picture.
std::unique_ptr<RowSource> reader(Input& input, Work& work);

// Grey or RGB, with or without opacity, of 8 or 16 bits.
std::unique_ptr<RowSink> writer(Output& output, Work& work, std::vector<std::string>& notes);

Description describe(Input& input, Work& work);

}  // namespace moxj::png
