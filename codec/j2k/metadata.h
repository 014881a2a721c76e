// Metadata in boxes of JP2 files, colr (Annex I.5.3.3), res (I.5.3.7), xml and uuid boxes (I.7), and comments in COM
// segments of codestreams (A.9.2).
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "base/budget.h"
#include "base/bytes.h"
#include "pictures/metadata.h"
#include "pictures/picture.h"

namespace moxj::j2k {

// What boxes say, without copies of their contents.
struct BoxMetadata {
  struct Block {
    MetadataKind kind = MetadataKind::other;
    const char* name = "";
    ByteSpan bytes;
  };
  struct Comment {
    ByteSpan text;
    bool latin = false;  // Latin-1, otherwise UTF-8
  };
  std::vector<Block> blocks;
  std::vector<Comment> comments;
  double horizontalResolution = 0, verticalResolution = 0;  // samples per metre
  std::vector<std::string> notes;                           // about what is damaged

  // A uuid or xml box, or an ICC profile. Exif, XMP and IPTC have uuid boxes of their own.
  void takeUuid(ByteSpan body);
  void takeXml(ByteSpan body);
  void takeProfile(ByteSpan profile);
  // A COM segment of the main header, if it is text.
  void takeComment(ByteSpan body);
  // A resc (capture) or resd (display) box; the first is preferred.
  void takeResolution(ByteSpan body, bool capture);

  bool has(MetadataKind kind) const {
    return std::ranges::any_of(blocks, [&](const Block& block) { return block.kind == kind; });
  }

  // Charged to the budget; null if there are none.
  std::shared_ptr<const Metadata> metadata(Budget& budget) const;

 private:
  bool captured_ = false;
};

// The colours that a profile is for; unknown without one.
Colour colourOf(const BoxMetadata& metadata);

// Whether a JP2 file has a place for the block; a codestream alone, for a comment.
bool hasPlaceFor(const MetadataBlock& block);
bool hasPlaceInCodestream(const MetadataBlock& block);

// Boxes of a JP2 file, complete. In the jp2h box: resolution. After it: all others.
void writeResolution(Bytes& header, const Metadata* metadata);
void writeMetadata(Bytes& file, const Metadata* metadata);

// A box with these contents.
void writeBox(Bytes& file, const char* type, ByteSpan body);

}  // namespace moxj::j2k
