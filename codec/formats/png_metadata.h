// Metadata in chunks of PNG files: iCCP, eXIf, pHYs, tEXt, zTXt and iTXt.
#pragma once

#include <png.h>

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "base/budget.h"
#include "base/input.h"
#include "pictures/metadata.h"

namespace moxj::png {

// Takes what libpng has read; called within libpng, so that an exception must be caught.
void takeMetadata(png_structp png, png_infop info, Metadata& metadata, Budget& budget);

// Takes the texts and the Exif data in chunks after the picture. Nothing is found in a stream.
void takeLateMetadata(Input& input, Metadata& metadata, Budget& budget);

// Whether a PNG file has a place for the block.
bool hasPlaceFor(const MetadataBlock& block);

// Metadata as libpng needs it. Blocks without a place must not be among it.
class MetadataChunks {
 public:
  explicit MetadataChunks(const Metadata& metadata);
  // Called inside Session::protect().
  void set(png_structp png, png_infop info);

 private:
  void addText(const MetadataBlock& block);

  const Metadata& metadata_;
  std::list<std::string> strings_;  // of the texts
  std::vector<png_text> texts_;
};

}  // namespace moxj::png
