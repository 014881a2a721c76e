// What a file says beside its pixels: profiles and descriptions, as blocks of bytes that are not interpreted.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/bytes.h"

namespace moxj {

enum class MetadataKind {
  icc,      // an ICC profile
  exif,     // a TIFF structure, without the prefix "Exif\0\0"
  xmp,      // an XMP packet
  iptc,     // IPTC IIM data sets, as in an image resource block
  comment,  // text
  other     // a segment or box that the codec does not know; `name` says which
};

struct MetadataBlock {
  MetadataKind kind = MetadataKind::other;
  std::string name;  // of `other`: "APP13", "uuid" ...; of a comment: its keyword, if it has one
  std::vector<std::uint8_t> bytes;
};

struct Metadata {
  std::vector<MetadataBlock> blocks;  // in the order of the file
  // Samples per metre; 0: not known.
  double horizontalResolution = 0, verticalResolution = 0;

  bool empty() const { return blocks.empty() && horizontalResolution == 0 && verticalResolution == 0; }
  // The first block of a kind, or null.
  const MetadataBlock* find(MetadataKind kind) const {
    for (const MetadataBlock& block : blocks)
      if (block.kind == kind) return &block;
    return nullptr;
  }
};

}  // namespace moxj
