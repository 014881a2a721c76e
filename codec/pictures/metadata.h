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

  ByteSpan span() const { return bytes; }
};

struct Metadata {
  std::vector<MetadataBlock> blocks;  // in the order of the file
  // Samples per metre; 0: not known.
  double horizontalResolution = 0, verticalResolution = 0;
  bool ratioOnly = false;  // the two resolutions have no unit: only their ratio is known

  bool hasResolution() const { return horizontalResolution > 0 && verticalResolution > 0; }
  bool empty() const { return blocks.empty() && !hasResolution(); }
  // The first block of a kind, or null.
  const MetadataBlock* find(MetadataKind kind) const {
    for (const MetadataBlock& block : blocks)
      if (block.kind == kind) return &block;
    return nullptr;
  }
  void add(MetadataKind kind, std::string name, ByteSpan bytes) {
    blocks.push_back({kind, std::move(name), {bytes.begin(), bytes.end()}});
  }
};

// A set of kinds, and of the resolution, which is no block.
class MetadataSet {
 public:
  constexpr MetadataSet() = default;
  static constexpr MetadataSet all() { return MetadataSet(~0u); }

  constexpr MetadataSet with(MetadataKind kind) const { return MetadataSet(bits_ | bit(kind)); }
  constexpr MetadataSet without(MetadataKind kind) const { return MetadataSet(bits_ & ~bit(kind)); }
  constexpr MetadataSet withResolution() const { return MetadataSet(bits_ | kResolution); }
  constexpr MetadataSet withoutResolution() const { return MetadataSet(bits_ & ~kResolution); }
  constexpr bool has(MetadataKind kind) const { return (bits_ & bit(kind)) != 0; }
  constexpr bool hasResolution() const { return (bits_ & kResolution) != 0; }
  constexpr bool empty() const { return bits_ == 0; }

 private:
  static constexpr unsigned kResolution = 1u << 31;
  constexpr explicit MetadataSet(unsigned bits) : bits_(bits) {}
  static constexpr unsigned bit(MetadataKind kind) { return 1u << static_cast<int>(kind); }
  unsigned bits_ = 0;
};

// "ICC profile", "XMP packet", "APP11 segment" ...
std::string nameOf(const MetadataBlock& block);

}  // namespace moxj
