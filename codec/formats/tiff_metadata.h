// Metadata in TIFF files: profiles and packets in tags, the resolution, and Exif data, whose first directory is that of
// the file.
#pragma once

#include "base/budget.h"
#include "formats/tiff_directory.h"
#include "pictures/metadata.h"

namespace moxj::tiff {

// Of the first picture of a file.
Metadata metadataOf(const File& file, Budget& budget);

// Whether a TIFF file has a place for the block.
bool hasPlaceFor(const MetadataBlock& block);

// The byte order that the metadata asks for: that of the Exif data.
bool wantsLittle(const Metadata* metadata);
// Adds the metadata, which may be null, to the directory of a file of that byte order.
void addMetadata(Directory& directory, const Metadata* metadata, bool little);

}  // namespace moxj::tiff
