// Copies rows between pictures of the road and the caller's pixels.
#pragma once

#include "api/pixels.h"

namespace moxj::api {

// The rows of a band to pixels of the same number of rows. The picture must have what the layout of the pixels needs:
// the colour model and, of words, 8 bits or YCbCr of 8 bits without sub-sampling. Samples become opaque where the
// picture has no opacity; inks become 0 for no ink.
void copyRows(const Picture& from, const MoxcPixels& to);

// The other way: to a picture that layoutOf() describes, or of words to planes of YCbCr. Throws BadArgument for samples
// beyond the maximum value.
void copyRows(const MoxcPixels& from, const Picture& to);

// Throws BadArgument for samples beyond the maximum value.
void checkSamples(const MoxcPixels& pixels);

// Whether the bytes of a band are what the pixels describe: then the pixels of the band need no copy.
bool sameBytes(const Picture& band, const MoxcPixels& pixels);
// These pixels.
MoxcPixels pixelsOf(const Picture& band, const MoxcPixels& shape);

}  // namespace moxj::api
