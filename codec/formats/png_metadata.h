// Metadata in chunks of PNG files: iCCP, eXIf, pHYs, tEXt, zTXt and iTXt. IPTC data are in a text
// "Raw profile type iptc", in which other programs have Exif data and XMP too.
#pragma once

#include <png.h>

#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/budget.h"
#include "base/input.h"
#include "pictures/metadata.h"

namespace moxj::png {

// Gathers the metadata of a file. Exif data that are damaged are left out, with a note.
class ChunkReader {
 public:
  ChunkReader(Budget& budget, std::vector<std::string>& notes) : budget_(budget), notes_(notes) {}

  // The texts and the Exif data in chunks after the picture, unless the file comes as a stream.
  void readLate(Input& input);
  // What libpng has read before the picture; called within libpng, so that an exception must be caught.
  void readEarly(png_structp png, png_infop info);
  // When all is read, called within libpng: a note about chunks that came too late, in a stream.
  void noteLate(png_structp png, png_infop info);
  // Once: what comes before the picture, then what comes after it.
  std::shared_ptr<const Metadata> take();

 private:
  void add(Metadata& metadata, MetadataKind kind, std::string name, ByteSpan bytes);
  void addText(Metadata& metadata, std::string_view key, std::string_view text);
  bool addRaw(Metadata& metadata, std::string_view type, std::string_view text);
  void addExif(Metadata& metadata, ByteSpan exif);
  void addChunk(const std::string& type, std::string_view data);
  void addInternational(std::string_view data, std::size_t keyEnd);

  Budget& budget_;
  std::vector<std::string>& notes_;
  Metadata early_, late_;
  bool readLate_ = false;  // the file could be read there
  int texts_ = 0;          // before the picture
};

// Whether a PNG file has a place for the block.
bool hasPlaceFor(const MetadataBlock& block);

// Metadata as libpng needs it. Blocks without a place must not be among it.
class MetadataChunks {
 public:
  explicit MetadataChunks(const Metadata& metadata);
  // Called inside Session::protect().
  void set(png_structp png, png_infop info);
  // After the header and before the rows; likewise.
  void writeExif(png_structp png);

 private:
  void addText(const MetadataBlock& block);
  void addIptc(const MetadataBlock& block);

  const Metadata& metadata_;
  std::list<std::string> strings_;  // of the texts
  std::vector<png_text> texts_;
};

}  // namespace moxj::png
