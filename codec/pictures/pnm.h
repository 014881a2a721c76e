// The Netpbm formats PGM and PPM, plain (P2, P3) and raw (P5, P6).
#pragma once

#include "file.h"
#include "pictures/describe.h"
#include "pictures/format.h"
#include "pictures/picture.h"

namespace moxj {

// Samples with a maximum value other than 255 are scaled, 16-bit ones with a note. Raw samples of 8 bits are used
// where they lie in the source. A file that ends early gives the rows so far, the others black. Only the first
// picture of a file is read.
Decoded readPnm(const Source& source, const Limits& limits);

// Raw PGM or PPM: as the format says (a grey picture may become a PPM, a colour picture never a PGM), or, for pnm, as
// the picture has it.
Content writePnm(const Picture& picture, Format format);

PictureInfo describePnm(const Source& source);

}  // namespace moxj
