// A walk through the directories of a TIFF structure. Offsets come from the file, so every access is checked; no
// directory is entered twice, so damaged data cannot make the walk endless.
#include "pictures/exif.h"

#include <algorithm>
#include <string_view>

#include "pictures/metadata.h"

namespace moxj {

namespace {

enum Tag : unsigned {
  kImageWidth = 0x0100,
  kImageLength = 0x0101,
  kMake = 0x010F,
  kModel = 0x0110,
  kOrientation = 0x0112,
  kDateTime = 0x0132,
  kThumbnailOffset = 0x0201,
  kThumbnailLength = 0x0202,
  kExifDirectory = 0x8769,
  kDateTimeOriginal = 0x9003,
  kPixelXDimension = 0xA002,
  kPixelYDimension = 0xA003
};
enum Type : unsigned { kAscii = 2, kShort = 3, kLong = 4, kUndefined = 7 };

constexpr std::size_t kHeaderBytes = 8, kEntryBytes = 12;

class Tiff {
 public:
  explicit Tiff(ByteSpan bytes) : bytes_(bytes), little_(bytes.size() > 1 && bytes[0] == 'I') {}

  bool valid() const {
    return bytes_.size() >= kHeaderBytes && bytes_[0] == bytes_[1] && (bytes_[0] == 'I' || bytes_[0] == 'M') &&
           number(2, 2) == 42;
  }
  std::size_t firstDirectory() const { return number(4, 4); }

  // The offset of the entry of a tag in a directory, 0 if there is none.
  std::size_t entry(std::size_t directory, unsigned tag) const {
    const std::size_t count = entriesOf(directory);
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t at = directory + 2 + i * kEntryBytes;
      if (number(at, 2) == tag) return at;
    }
    return 0;
  }
  // Where the offset of the next directory is.
  std::size_t nextLink(std::size_t directory) const { return directory + 2 + entriesOf(directory) * kEntryBytes; }
  std::size_t nextDirectory(std::size_t directory) const { return number(nextLink(directory), 4); }

  // The value of an entry with one whole number, 0 if it is something else.
  std::uint32_t value(std::size_t entry) const {
    if (entry == 0 || number(entry + 4, 4) != 1) return 0;
    const unsigned type = number(entry + 2, 2);
    return type == kShort ? number(entry + 8, 2) : type == kLong ? number(entry + 8, 4) : 0;
  }
  // Printable text, without spaces at its end.
  std::string text(std::size_t entry) const {
    constexpr std::size_t kMaxLength = 64;
    if (entry == 0 || number(entry + 2, 2) != kAscii) return "";
    const std::size_t count = number(entry + 4, 4), at = count <= 4 ? entry + 8 : number(entry + 8, 4);
    if (at > bytes_.size() || count > bytes_.size() - at) return "";
    std::string text;
    for (const std::uint8_t byte : bytes_.subspan(at, std::min(count, kMaxLength))) {
      if (byte == 0) break;
      text += byte >= ' ' && byte <= '~' ? static_cast<char>(byte) : '?';
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
  }
  // The data of an entry of type UNDEFINED.
  ByteSpan undefined(std::size_t entry) const {
    if (entry == 0 || number(entry + 2, 2) != kUndefined) return {};
    const std::size_t count = number(entry + 4, 4);
    return bytes(count <= 4 ? entry + 8 : number(entry + 8, 4), count);
  }
  bool little() const { return little_; }
  // Those that the data have.
  ByteSpan bytes(std::size_t offset, std::size_t size) const {
    return offset <= bytes_.size() && size <= bytes_.size() - offset ? bytes_.subspan(offset, size) : ByteSpan{};
  }

 private:
  // 0 beyond the end.
  std::uint32_t number(std::size_t at, std::size_t size) const {
    if (at > bytes_.size() || size > bytes_.size() - at) return 0;
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < size; ++i) value = value << 8 | bytes_[at + (little_ ? size - 1 - i : i)];
    return value;
  }
  // Those that the data have room for.
  std::size_t entriesOf(std::size_t directory) const {
    if (directory < kHeaderBytes || directory + 2 > bytes_.size()) return 0;
    return std::min<std::size_t>(number(directory, 2), (bytes_.size() - directory - 2) / kEntryBytes);
  }

  ByteSpan bytes_;
  bool little_;
};

// The directory of the thumbnail, which follows the first; 0 if there is none.
std::size_t thumbnailDirectory(const Tiff& tiff) {
  const std::size_t first = tiff.firstDirectory(), second = tiff.nextDirectory(first);
  return second != first ? second : 0;
}

ByteSpan thumbnailIn(const Tiff& tiff) {
  const std::size_t directory = thumbnailDirectory(tiff);
  return tiff.bytes(tiff.value(tiff.entry(directory, kThumbnailOffset)),
                    tiff.value(tiff.entry(directory, kThumbnailLength)));
}

// Writes a number over the value of an entry, if the entry has room for it.
void setValue(std::span<std::uint8_t> exif, const Tiff& tiff, std::size_t entry, std::uint32_t value) {
  if (tiff.value(entry) == 0) return;
  const std::size_t size = exif[entry + (tiff.little() ? 2 : 3)] == kLong ? 4 : 2;
  if (size == 2 && value > UINT16_MAX) return;
  for (std::size_t i = 0; i < size; ++i)
    exif[entry + 8 + (tiff.little() ? i : size - 1 - i)] = static_cast<std::uint8_t>(value >> 8 * i);
}

std::size_t orientationEntry(const Tiff& tiff) {
  const std::size_t entry = tiff.valid() ? tiff.entry(tiff.firstDirectory(), kOrientation) : 0;
  const std::uint32_t value = tiff.value(entry);
  return value >= 1 && value <= 8 ? entry : 0;
}

}  // namespace

bool isExif(ByteSpan exif) { return Tiff(exif).valid(); }

ExifFacts factsOf(ByteSpan exif) {
  ExifFacts facts;
  const Tiff tiff(exif);
  if (!tiff.valid()) return facts;
  const std::size_t first = tiff.firstDirectory();
  if (const std::size_t entry = orientationEntry(tiff)) facts.orientation = static_cast<int>(tiff.value(entry));
  facts.make = tiff.text(tiff.entry(first, kMake));
  facts.model = tiff.text(tiff.entry(first, kModel));
  const std::size_t details = tiff.value(tiff.entry(first, kExifDirectory));
  facts.date = tiff.text(tiff.entry(details, kDateTimeOriginal));
  if (facts.date.empty()) facts.date = tiff.text(tiff.entry(first, kDateTime));
  facts.thumbnail = thumbnailIn(tiff);
  return facts;
}

int orientationOf(const Metadata* metadata) {
  const MetadataBlock* const exif = metadata ? metadata->find(MetadataKind::exif) : nullptr;
  return exif ? factsOf(exif->bytes).orientation : 1;
}

void setOrientation(std::span<std::uint8_t> exif, int orientation) {
  const Tiff tiff(exif);
  if (const std::size_t entry = orientationEntry(tiff))
    setValue(exif, tiff, entry, static_cast<std::uint32_t>(orientation));
}

void setPixelSize(std::span<std::uint8_t> exif, int width, int height) {
  const Tiff tiff(exif);
  if (!tiff.valid()) return;
  const std::size_t first = tiff.firstDirectory(), details = tiff.value(tiff.entry(first, kExifDirectory));
  for (const std::size_t entry : {tiff.entry(first, kImageWidth), tiff.entry(details, kPixelXDimension)})
    setValue(exif, tiff, entry, static_cast<std::uint32_t>(width));
  for (const std::size_t entry : {tiff.entry(first, kImageLength), tiff.entry(details, kPixelYDimension)})
    setValue(exif, tiff, entry, static_cast<std::uint32_t>(height));
}

bool unlinkThumbnail(std::span<std::uint8_t> exif) {
  const Tiff tiff(exif);
  if (!tiff.valid() || thumbnailIn(tiff).empty()) return false;
  std::ranges::fill(exif.subspan(tiff.nextLink(tiff.firstDirectory()), 4), std::uint8_t{0});
  return true;
}

TagData dataOf(std::span<std::uint8_t> bytes, unsigned tag) {
  const Tiff tiff(bytes);
  const std::size_t entry = tiff.valid() ? tiff.entry(tiff.firstDirectory(), tag) : 0;
  const ByteSpan data = tiff.undefined(entry);
  if (data.empty()) return {};
  return {bytes.subspan(static_cast<std::size_t>(data.data() - bytes.data()), data.size()), tiff.little()};
}

// As an attribute, tiff:Orientation="6", or as an element, <tiff:Orientation>6</tiff:Orientation>.
void setXmpOrientation(std::span<std::uint8_t> xmp, int orientation) {
  constexpr std::string_view kName = "tiff:Orientation";
  const std::string_view text(reinterpret_cast<const char*>(xmp.data()), xmp.size());
  for (std::size_t at = text.find(kName); at != text.npos; at = text.find(kName, at + 1)) {
    std::size_t digit = at + kName.size();
    if (text.substr(digit).starts_with("=\"") || text.substr(digit).starts_with("='")) ++digit;
    ++digit;
    if (digit < text.size() && text[digit] >= '1' && text[digit] <= '8')
      xmp[digit] = static_cast<std::uint8_t>('0' + orientation);
  }
}

}  // namespace moxj
