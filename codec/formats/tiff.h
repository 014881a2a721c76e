// TIFF files: libtiff reads them, loaded when the first one comes; they are written without it.
#pragma once

#include <memory>

#include "formats/formats.h"

namespace moxj::tiff {

// Strips and tiles of 1 to 16 bits, with any compression that libtiff has; JPEG by the codec's own decoder. Grey,
// RGB, palettes, inks and YCbCr (as RGB), with their opacity, and samples without a meaning. What cannot be decoded is
// black.
std::unique_ptr<RowSource> reader(Input& input, const ReadOptions& options, Work& work);

// Uncompressed strips of 8 or 16 bits, in the order that the rows have: nothing is kept.
std::unique_ptr<RowSink> writer(Output& output, Work& work);

Description describe(Input& input, Work& work);

}  // namespace moxj::tiff
