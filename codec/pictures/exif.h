// Exif data: a TIFF structure of tags. Some are looked up, and the orientation can be changed in place.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "base/bytes.h"

namespace moxj {

struct Metadata;

// What the data say; everything that cannot be read is empty or 0.
struct ExifFacts {
  int orientation = 1;      // 1 to 8 as in TIFF 6.0: 1 is upright
  std::string make, model;  // of the camera
  std::string date;         // when the picture was taken: "2024:05:17 10:20:30"
  std::uint32_t thumbnailBytes = 0;
};

// Whether these are Exif data: a byte-order mark and the number 42.
bool isExif(ByteSpan exif);
ExifFacts factsOf(ByteSpan exif);

// 1 to 8; 1 without Exif data.
int orientationOf(const Metadata* metadata);

// Overwrites the orientation, if there is one.
void setOrientation(std::span<std::uint8_t> exif, int orientation);
// The same in an XMP packet, which may repeat it.
void setXmpOrientation(std::span<std::uint8_t> xmp, int orientation);

}  // namespace moxj
