// PGX files: one component of up to 16 bits, signed or unsigned. The format of the JPEG 2000 conformance files.
#pragma once

#include "base/file.h"
#include "pictures/describe.h"
#include "pictures/image.h"

namespace moxj {

// A truncated file gives the complete rows; the others are black.
DecodedImage readPgx(const Source& source, const Limits& limits);

Content writePgx(const Component& component);

PictureInfo describePgx(const Source& source);

}  // namespace moxj
