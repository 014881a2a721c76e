// The colour space of PNG files without a profile: cICP, gAMA and cHRM.
#pragma once

#include <png.h>

#include <memory>

#include "pictures/colourspace/space.h"

namespace moxj::png {

// Null: sRGB, or nothing is said, or an ICC profile says it. Called within libpng, so that an exception must be caught.
std::shared_ptr<const ColourSpace> colourSpaceOf(png_structp png, png_infop info);

// Writes an sRGB chunk. Called inside Session::protect().
void setSrgb(png_structp png, png_infop info);

}  // namespace moxj::png
