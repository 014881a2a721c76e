// Reads and writes PNG files with libpng.
#pragma once

#include "base/file.h"
#include "base/progress.h"
#include "pictures/describe.h"
#include "pictures/image.h"
#include "pictures/picture.h"

namespace moxj {

// Grey of any depth becomes 8-bit grey, RGB and palettes become 8-bit RGB. 16-bit samples are reduced and transparency
// is dropped, with notes. Gamma and colour profiles are not applied. A truncated or damaged file gives the picture up
// to that point.
Decoded readPng(const Source& source, const Limits& limits, const Progress& progress = {});

Content writePng(const Picture& picture, const Progress& progress = {});

// Keeps 16-bit samples and opacity.
DecodedImage readPngImage(const Source& source, const Limits& limits, const Progress& progress = {});

// Writes 8 or 16 bits per sample; other depths are scaled up. The last of 2 or 4 components is opacity.
Content writePngImage(const Image& image, std::vector<std::string>& notes, const Progress& progress = {});

PictureInfo describePng(const Source& source);

}  // namespace moxj
