// The index of further pictures (the multi-picture format, CIPA DC-007): an APP2 segment of the first picture says
// where the others are, which follow it in the file.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "jpeg/syntax.h"

namespace moxj::jpeg {

// Whether a segment is one, with its prefix.
bool isMultiPictureIndex(const MarkerSegment& segment);

// Corrects the index in a picture that was coded again: the others follow it as before, in the bytes `tail` of the file
// that the segments are from, and their offsets count from the index. Where there is none, or it is damaged, nothing
// changes.
void moveFurtherPictures(std::span<std::uint8_t> picture, const std::vector<MarkerSegment>& oldSegments, ByteSpan tail);

}  // namespace moxj::jpeg
