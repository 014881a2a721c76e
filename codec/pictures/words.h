// 16-bit words of the bytes red, green and blue, or of YCbCr: red in the highest 5 bits, green in 6, blue in the lowest
// 5; or each in 5, below a bit that is 0. They have the byte order of the machine.
#pragma once

#include <cstdint>

#include "pictures/picture.h"

namespace moxj {

enum class Words { none, rgb555, rgb565 };

// Row `y` of RGB or YCbCr planes of 8 bits becomes a row of words, at any address. A sample becomes the field whose
// sample is nearest, the larger of two that are equally near; YCbCr does so by the library's functions. Planes of YCbCr
// must have a pixelStep of 1. Returns whether unpackWords() gives the same samples.
bool packWords(const Picture& from, int y, Words words, std::uint8_t* to);

// The other way. A field becomes a sample by repeating its upper bits. Planes of YCbCr must have a pixelStep of 1.
void unpackWords(const std::uint8_t* from, Words words, const Picture& to, int y);

}  // namespace moxj
