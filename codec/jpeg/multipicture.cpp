// The index is a TIFF structure with one entry of 16 bytes for each picture: attributes, size, offset, dependencies.
// The first picture has the offset 0.
#include "jpeg/multipicture.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>

#include "base/problem.h"
#include "jpeg/markers.h"
#include "pictures/exif.h"

namespace moxj::jpeg {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kPrefix = "MPF\0"sv;
constexpr unsigned kEntriesTag = 0xB002;
constexpr std::size_t kEntryBytes = 16, kSizeAt = 4, kOffsetAt = 8;

// A number of 32 bits in the byte order of the index.
class Field {
 public:
  Field(std::span<std::uint8_t> entry, std::size_t at, bool little) : bytes_(entry.subspan(at, 4)), little_(little) {}

  std::uint32_t value() const {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = value << 8 | bytes_[place(3 - i)];
    return value;
  }
  // Nothing changes if there is no room.
  void set(std::size_t value) {
    if (value > std::numeric_limits<std::uint32_t>::max()) return;
    for (int i = 0; i < 4; ++i) bytes_[place(i)] = static_cast<std::uint8_t>(value >> 8 * i);
  }

 private:
  // Of the byte with these bits, from the lowest.
  std::size_t place(int byte) const { return static_cast<std::size_t>(little_ ? byte : 3 - byte); }
  std::span<std::uint8_t> bytes_;
  bool little_;
};

// The offset of the structure in the file; none without an index.
std::optional<std::size_t> indexIn(ByteSpan file) {
  try {
    SegmentWalker walker(file);
    for (auto segment = walker.next(); segment && segment->marker != marker::sos; segment = walker.next())
      if (isMultiPictureIndex(*segment)) return segment->end - segment->body.size() + kPrefix.size();
  } catch (const Problem&) {
  }
  return std::nullopt;
}

}  // namespace

bool isMultiPictureIndex(const MarkerSegment& segment) {
  return segment.marker == marker::app0 + 2 && segment.body.size() >= kPrefix.size() &&
         std::memcmp(segment.body.data(), kPrefix.data(), kPrefix.size()) == 0;
}

void moveFurtherPictures(std::span<std::uint8_t> picture, const std::vector<MarkerSegment>& oldSegments,
                         ByteSpan tail) {
  const auto old = std::ranges::find_if(oldSegments, isMultiPictureIndex);
  const std::optional<std::size_t> index = indexIn(picture);
  if (old == oldSegments.end() || !index) return;
  const ByteSpan oldBytes = old->body.subspan(kPrefix.size());
  const auto oldTail = static_cast<std::size_t>(tail.data() - oldBytes.data());  // its offset as the index counts
  const TagData entries = dataOf(picture.subspan(*index, oldBytes.size()), kEntriesTag);
  for (std::size_t at = 0; at + kEntryBytes <= entries.bytes.size(); at += kEntryBytes) {
    const std::span<std::uint8_t> entry = entries.bytes.subspan(at, kEntryBytes);
    Field offset(entry, kOffsetAt, entries.little), size(entry, kSizeAt, entries.little);
    if (offset.value() == 0)
      size.set(picture.size());
    else if (offset.value() >= oldTail)
      offset.set(offset.value() - oldTail + picture.size() - *index);
  }
}

}  // namespace moxj::jpeg
