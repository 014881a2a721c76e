// PGX files: one component of up to 31 bits, with or without sign, as the conformance files of JPEG 2000 have them.
#pragma once

#include "file.h"
#include "pictures/describe.h"
#include "pictures/image.h"

namespace moxj {

// A file that ends early gives the rows so far.
DecodedImage readPgx(const Source& source, const Limits& limits);

Content writePgx(const Component& component);

PictureInfo describePgx(const Source& source);

}  // namespace moxj
