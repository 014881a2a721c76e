// Directories of TIFF files and of Exif data, which are built alike: what the metadata needs of them. Values stay in
// the byte order of the file. BigTIFF has wider counts and offsets.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/bytes.h"

namespace moxj::tiff {

enum Tag : std::uint16_t {
  kImageWidth = 256,
  kImageLength = 257,
  kBitsPerSample = 258,
  kCompression = 259,
  kPhotometric = 262,
  kDocumentName = 269,
  kImageDescription = 270,
  kMake = 271,
  kModel = 272,
  kStripOffsets = 273,
  kOrientation = 274,
  kSamplesPerPixel = 277,
  kRowsPerStrip = 278,
  kStripByteCounts = 279,
  kXResolution = 282,
  kYResolution = 283,
  kPlanarConfiguration = 284,
  kResolutionUnit = 296,
  kSoftware = 305,
  kDateTime = 306,
  kArtist = 315,
  kHostComputer = 316,
  kWhitePoint = 318,
  kPrimaries = 319,
  kColourMap = 320,
  kInkSet = 332,
  kExtraSamples = 338,
  kSampleFormat = 339,
  kJpegTables = 347,
  kXmp = 700,
  kRating = 18246,
  kRatingPercent = 18249,
  kCopyright = 33432,
  kIptc = 33723,
  kExifDirectory = 34665,
  kIccProfile = 34675,
  kGpsDirectory = 34853,
  kXpTitle = 40091,
  kXpComment = 40092,
  kXpAuthor = 40093,
  kXpKeywords = 40094,
  kXpSubject = 40095,
  kInteroperabilityDirectory = 40965,
  kPrintImageMatching = 50341
};
enum Type : std::uint16_t { kByte = 1, kAscii = 2, kShort = 3, kLong = 4, kRational = 5, kUndefined = 7, kLong8 = 16 };

// Bytes of a value of a type; 0 if it is not known.
int sizeOf(std::uint16_t type);

struct Entry {
  std::uint16_t tag = 0, type = 0;
  std::vector<std::uint8_t> value;

  std::uint64_t count() const { return value.size() / static_cast<std::size_t>(sizeOf(type)); }
};

struct Directory {
  struct Child;

  std::vector<Entry> entries;
  std::vector<Child> children;

  const Entry* find(std::uint16_t tag) const;
};

struct Directory::Child {
  std::uint16_t tag;  // of its offset in the parent
  Directory directory;
};

// ---- Reading -------------------------------------------------------------------------------------------------------

// Every offset comes from the file, so all accesses are checked: what lies beyond its end is left out.
class File {
 public:
  // None unless it begins with a byte-order mark and the number of TIFF or BigTIFF.
  static std::optional<File> of(ByteSpan bytes);

  bool little() const { return little_; }
  // The first directory without its children: the entries that `wanted` names.
  Directory first(bool (*wanted)(std::uint16_t tag)) const;
  // A child of a directory, all of its entries.
  Directory child(const Directory& parent, std::uint16_t tag) const;
  // A whole number of an entry; 0 if there is none.
  std::uint64_t number(const Entry* entry, std::size_t index = 0) const;
  // The quotient of a rational number; 0 if there is none.
  double rational(const Entry* entry, std::size_t index = 0) const;

 private:
  File(ByteSpan bytes, bool little, bool big) : bytes_(bytes), little_(little), big_(big) {}
  std::uint64_t at(ByteSpan bytes, std::uint64_t offset, int size) const;
  Directory read(std::uint64_t offset, bool (*wanted)(std::uint16_t tag)) const;

  ByteSpan bytes_;
  bool little_, big_;
};

// ---- Writing -------------------------------------------------------------------------------------------------------

// Builds the values of entries in a byte order.
class Values {
 public:
  explicit Values(bool little) : little_(little) {}
  Entry numbers(std::uint16_t tag, Type type, const std::vector<std::uint64_t>& numbers) const;
  Entry number(std::uint16_t tag, Type type, std::uint64_t value) const { return numbers(tag, type, {value}); }
  Entry rational(std::uint16_t tag, std::uint32_t numerator, std::uint32_t denominator) const;
  static Entry bytes(std::uint16_t tag, Type type, ByteSpan value);

  void append(Bytes& to, std::uint64_t value, int size) const;

 private:
  bool little_;
};

// Header and directories, the first one at once; entries are sorted. Throws std::bad_alloc.
Bytes serialised(const Directory& first, bool little, bool big);
// The size of it, which does not depend on the values of numbers.
std::uint64_t serialisedSize(const Directory& first, bool big);

}  // namespace moxj::tiff
