// Metadata in APPn and COM segments: JFIF, Exif, XMP, ICC profiles (ICC.1 Annex B), IPTC in image resources, comments.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/budget.h"
#include "jpeg/syntax.h"
#include "jpeg/writer.h"
#include "pictures/metadata.h"
#include "pictures/rows.h"

namespace moxj::jpeg {

// The metadata in these segments; null if there are none. Blocks that are damaged are left out, with a note. JFIF and
// Adobe segments and JFIF's thumbnails are no metadata.
std::shared_ptr<const Metadata> metadataOf(const std::vector<MarkerSegment>& segments, Budget& budget,
                                           std::vector<std::string>& notes);

// The same of a file, as far as it can be parsed.
std::shared_ptr<const Metadata> readMetadata(ByteSpan file, Budget& budget, std::vector<std::string>& notes);

// What a segment is.
MetadataKind kindOf(const MarkerSegment& segment);

// The Exif orientation, 1 to 8; 1 if the segments have none.
int orientationOf(const std::vector<MarkerSegment>& segments);
// How transcoding has changed a picture.
struct Change {
  bool upright = false;       // turned as the Exif orientation says
  int width = 0, height = 0;  // another size; 0: the same
};
// The bytes of a segment that describe the picture as it is then: orientation and size in Exif data, orientation in
// XMP. The thumbnail of a picture that was turned is dropped, with a note.
std::vector<std::uint8_t> changedBody(const MarkerSegment& segment, const Change& change,
                                      std::vector<std::string>& notes);
// A JFIF segment that says nothing about the density.
std::vector<std::uint8_t> bodyWithoutDensity(const MarkerSegment& jfif);

// Whether a segment has room for the block, and it stays valid beside a picture that is coded anew.
bool hasPlaceFor(const MetadataBlock& block);

// The segments that follow JFIF. Blocks without a place must not be among them.
void writeMetadata(Writer& writer, const Metadata* metadata);

Density densityOf(const Metadata* metadata);

// The bytes after the EOI marker that follows the segments and scans at `offset`; empty if it cannot be found.
ByteSpan bytesAfterEnd(ByteSpan file, std::size_t offset);
// A note about them; empty if there are none, or only zeros.
std::string noteAfterEnd(ByteSpan bytes);

// Passes a picture on, with metadata and the part that is wanted.
class MetadataSink : public RowSink {
 public:
  explicit MetadataSink(RowSink& next) : next_(next) {}
  void begin(const Picture& layout) override {
    Picture described = layout;
    described.metadata = metadata;
    described.wanted = wanted;
    next_.begin(described);
  }
  void rows(const Picture& band) override { next_.rows(band); }
  void end() override { next_.end(); }
  bool takesWhole() const override { return next_.takesWhole(); }
  int rowsWanted() const override { return next_.rowsWanted(); }

  // Set before begin().
  std::shared_ptr<const Metadata> metadata;
  Region wanted;

 private:
  RowSink& next_;
};

}  // namespace moxj::jpeg
