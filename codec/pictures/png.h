// PNG files.
#pragma once

#include "file.h"
#include "pictures/describe.h"
#include "pictures/image.h"
#include "pictures/picture.h"
#include "progress.h"

namespace moxj {

// Grey of any depth becomes 8-bit grey, RGB and palettes 8-bit RGB; 16-bit samples and transparency are dropped with
// a note. Gamma and colour profiles are not applied. A file that ends early or is damaged gives what came before.
Decoded readPng(const Source& source, const Limits& limits, const Progress& progress = {});

Content writePng(const Picture& picture, const Progress& progress = {});

// With 16-bit samples and opacity as the file has them.
DecodedImage readPngImage(const Source& source, const Limits& limits, const Progress& progress = {});

// Of 8 or 16 bits, to which fewer are scaled; 2 and 4 components have the last as opacity.
Content writePngImage(const Image& image, std::vector<std::string>& notes, const Progress& progress = {});

PictureInfo describePng(const Source& source);

}  // namespace moxj
