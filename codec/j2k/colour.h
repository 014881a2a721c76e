// The colour spaces that a colr box names by number (ISO/IEC 15444-1 Table I.10, ISO/IEC 15444-2 Table M.25).
#pragma once

#include <cstdint>
#include <string>

#include "base/bytes.h"
#include "pictures/picture.h"

namespace moxj::j2k {

enum EnumeratedSpace : std::uint32_t { cmyk = 12, sRgb = 16, greyscale = 17, sYcc = 18 };

// "sRGB", "grey", "sYCC", "colour space 12 (CMYK)"
std::string colourSpaceName(std::uint32_t space);

// Unknown: of no known space.
Colour colourOf(std::uint32_t space);

// Sets the colours of a picture whose channels are in order. `parameters` follow the number in the box. Where number
// and channels do not fit, one or two are grey, more are RGB, and a note of the picture's space says so.
void applyColourSpace(std::uint32_t space, ByteSpan parameters, Picture& picture);
// The same of a picture with an ICC profile, or of unknown colours.
void applyColour(Colour colour, Picture& picture);

}  // namespace moxj::j2k
