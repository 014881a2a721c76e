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
  ByteSpan thumbnail;       // a JPEG file of its own, within the data
};

// Whether these are Exif data: a byte-order mark and the number 42.
bool isExif(ByteSpan exif);
ExifFacts factsOf(ByteSpan exif);

// 1 to 8; 1 without Exif data.
int orientationOf(const Metadata* metadata);

// Overwrites the orientation, if there is one.
void setOrientation(std::span<std::uint8_t> exif, int orientation);
// Overwrites the tags that repeat the size of the picture, those that there are.
void setPixelSize(std::span<std::uint8_t> exif, int width, int height);
// Removes the link to the thumbnail, whose bytes stay. False if there is none.
bool unlinkThumbnail(std::span<std::uint8_t> exif);
// The data of a tag of type UNDEFINED in the first directory of a TIFF structure; empty if there is none.
struct TagData {
  std::span<std::uint8_t> bytes;
  bool little = false;  // the byte order
};
TagData dataOf(std::span<std::uint8_t> tiff, unsigned tag);
// As setOrientation(), in an XMP packet, which may repeat it.
void setXmpOrientation(std::span<std::uint8_t> xmp, int orientation);

}  // namespace moxj
