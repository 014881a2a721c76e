// The picture goes through in strips, so what is to be passed on with it has to be known before its rows. libpng gives
// the chunks before the picture; for those after it, the file is looked through first.
#include "formats/png_metadata.h"

#include <zlib.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "base/bigendian.h"
#include "formats/text.h"
#include "pictures/comments.h"
#include "pictures/exif.h"
#include "pictures/imageresources.h"

namespace moxj::png {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kXmpKey = "XML:com.adobe.xmp", kCommentKey = "Comment", kRawKey = "Raw profile type ";
constexpr std::size_t kMaxKey = 79;
constexpr std::size_t kMaxLateChunk = std::size_t{16} << 20;
constexpr std::size_t kMaxRatio = 64;  // of a compressed text to its chunk
constexpr int kMaxChunks = 200000;     // of a file

ByteSpan bytesOf(std::string_view text) { return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}; }

// ---- Raw profiles --------------------------------------------------------------------------------------------------

// A block as text: a line break, a line with its name, its size and, in lines, two hexadecimal digits for each byte.
std::optional<std::vector<std::uint8_t>> rawProfileOf(std::string_view text) {
  constexpr std::string_view kSpace = " \n\r\t";
  const auto word = [&] {
    const std::size_t begin = std::min(text.find_first_not_of(kSpace), text.size());
    const std::size_t end = std::min(text.find_first_of(kSpace, begin), text.size());
    const std::string_view found = text.substr(begin, end - begin);
    text.remove_prefix(end);
    return found;
  };
  text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
  text.remove_prefix(std::min(text.find('\n'), text.size()));
  const std::string_view number = word();
  std::size_t size = 0;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), size);
  if (error != std::errc() || end != number.data() + number.size() || size > text.size() / 2) return std::nullopt;
  std::vector<std::uint8_t> bytes;
  int digits = 0, value = 0;
  for (const char c : text) {
    if (kSpace.find(c) != kSpace.npos) continue;
    const int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
    if (digit < 0 || bytes.size() == size) return std::nullopt;
    value = value << 4 | digit;
    if (++digits % 2 == 0) bytes.push_back(static_cast<std::uint8_t>(std::exchange(value, 0)));
  }
  if (bytes.size() != size || digits % 2 != 0) return std::nullopt;
  return bytes;
}

std::string rawProfileText(std::string_view name, ByteSpan bytes) {
  constexpr std::size_t kBytesOfLine = 36;
  std::string text = text::format("\n%.*s\n%8zu", static_cast<int>(name.size()), name.data(), bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i % kBytesOfLine == 0) text += '\n';
    text += "0123456789abcdef"[bytes[i] >> 4];
    text += "0123456789abcdef"[bytes[i] & 15];
  }
  return text + '\n';
}

bool startsWith(ByteSpan bytes, std::string_view text) {
  return bytes.size() >= text.size() && std::memcmp(bytes.data(), text.data(), text.size()) == 0;
}

// ---- Reading -------------------------------------------------------------------------------------------------------

struct Chunk {
  std::size_t offset, size;  // of the data
  std::string type;
};

// The next one; none at the end of the file.
std::optional<Chunk> chunkAt(Input& input, std::size_t offset) {
  std::uint8_t head[8];
  if (!input.peekAt(offset, head, sizeof head)) return std::nullopt;
  ByteReader in(head, "a chunk");
  const std::size_t size = in.u32();
  const ByteSpan type = in.take(4);
  return Chunk{offset + sizeof head, size, std::string(type.begin(), type.end())};
}

// The text of a compressed one; none if it is damaged or too long.
std::optional<std::string> inflated(std::string_view data) {
  std::string text(std::min(data.size() * kMaxRatio, kMaxLateChunk), '\0');
  uLongf size = text.size();
  if (uncompress(reinterpret_cast<Bytef*>(text.data()), &size, reinterpret_cast<const Bytef*>(data.data()),
                 data.size()) != Z_OK)
    return std::nullopt;
  text.resize(size);
  return text;
}

// ---- Writing -------------------------------------------------------------------------------------------------------

// Of a text. Characters that a keyword must not have make it a plain comment.
std::string keyOf(const MetadataBlock& comment) {
  const std::string& name = comment.name;
  const bool good = !name.empty() && name.size() <= kMaxKey && name.front() != ' ' && name.back() != ' ' &&
                    name.find("  ") == name.npos &&
                    std::ranges::all_of(name, [](char c) { return c >= ' ' && c <= '~'; });
  return good ? name : std::string(kCommentKey);
}

png_uint_32 whole(double number) { return static_cast<png_uint_32>(std::clamp(std::round(number), 1.0, 2147483647.0)); }

}  // namespace

void ChunkReader::add(Metadata& metadata, MetadataKind kind, std::string name, ByteSpan bytes) {
  if (kind != MetadataKind::comment && kind != MetadataKind::other && metadata.find(kind)) return;
  budget_.charge(1, bytes.size() + sizeof(MetadataBlock));
  metadata.add(kind, std::move(name), bytes);
}

void ChunkReader::addExif(Metadata& metadata, ByteSpan exif) {
  if (isExif(exif)) return add(metadata, MetadataKind::exif, "", exif);
  notes_.push_back("Exif data dropped: they are damaged");
}

// False if it is of another kind, or damaged.
bool ChunkReader::addRaw(Metadata& metadata, std::string_view type, std::string_view text) {
  constexpr std::string_view kExifPrefix = "Exif\0\0"sv, kXmpPrefix = "http://ns.adobe.com/xap/1.0/\0"sv;
  if (type != "iptc" && type != "8bim" && type != "exif" && type != "APP1" && type != "xmp") return false;
  budget_.charge(1, text.size());
  const std::optional<std::vector<std::uint8_t>> bytes = rawProfileOf(text);
  budget_.release(text.size());
  if (!bytes) return false;
  const ByteSpan data = *bytes;
  if (isImageResources(data)) {
    const ImageResources resources = imageResourcesOf(data);
    if (!resources.iptc.empty()) add(metadata, MetadataKind::iptc, "", resources.iptc);
  } else if (startsWith(data, kExifPrefix)) {
    addExif(metadata, data.subspan(kExifPrefix.size()));
  } else if (startsWith(data, kXmpPrefix)) {
    add(metadata, MetadataKind::xmp, "", data.subspan(kXmpPrefix.size()));
  } else if (type == "iptc" || type == "xmp") {
    add(metadata, type == "xmp" ? MetadataKind::xmp : MetadataKind::iptc, "", data);
  } else {
    return false;
  }
  return true;
}

// A text in UTF-8.
void ChunkReader::addText(Metadata& metadata, std::string_view key, std::string_view text) {
  const bool raw = key.starts_with(kRawKey);
  if (raw && addRaw(metadata, key.substr(kRawKey.size()), text)) return;
  const MetadataKind kind = key == kXmpKey ? MetadataKind::xmp : raw ? MetadataKind::other : MetadataKind::comment;
  add(metadata, kind, kind == MetadataKind::xmp ? "" : std::string(key), bytesOf(text));
}

void ChunkReader::readEarly(png_structp png, png_infop info) {
  png_charp name = nullptr;
  int compression = 0;
  png_bytep profile = nullptr;
  png_uint_32 size = 0;
  if (png_get_iCCP(png, info, &name, &compression, &profile, &size))
    add(early_, MetadataKind::icc, "", {profile, size});
  png_unknown_chunkp unknown = nullptr;
  const int unknowns = png_get_unknown_chunks(png, info, &unknown);
  for (int i = 0; i < unknowns; ++i)
    if (std::memcmp(unknown[i].name, "eXIf", 4) == 0) addExif(early_, {unknown[i].data, unknown[i].size});
  png_uint_32 x = 0, y = 0;
  int unit = 0;
  if (png_get_pHYs(png, info, &x, &y, &unit) && x != 0 && y != 0 && (unit == PNG_RESOLUTION_METER || x != y)) {
    early_.horizontalResolution = x;
    early_.verticalResolution = y;
    early_.ratioOnly = unit != PNG_RESOLUTION_METER;
  }
  png_textp texts = nullptr;
  png_get_text(png, info, &texts, &texts_);
  for (int i = 0; i < texts_; ++i) {
    const png_text& from = texts[i];
    const bool latin1 = from.compression < PNG_ITXT_COMPRESSION_NONE;
    const std::string_view text(from.text ? from.text : "", latin1 ? from.text_length : from.itxt_length);
    addText(early_, utf8Of(from.key), latin1 ? utf8Of(text) : std::string(text));
  }
}

void ChunkReader::noteLate(png_structp png, png_infop info) {
  if (readLate_) return;
  png_textp texts = nullptr;
  int count = 0;
  png_get_text(png, info, &texts, &count);
  png_unknown_chunkp unknown = nullptr;
  bool late = count > texts_;
  for (int i = png_get_unknown_chunks(png, info, &unknown); i-- > 0;)
    late |= (unknown[i].location & PNG_AFTER_IDAT) != 0;
  if (late) notes_.push_back("metadata after the picture dropped: in a stream it comes too late");
}

// Keyword, compression flag and method, language, translated keyword, text; all but the last end with a 0.
void ChunkReader::addInternational(std::string_view data, std::size_t keyEnd) {
  const std::size_t language = keyEnd + 3;
  const std::size_t languageEnd = data.find('\0', language);
  if (languageEnd == data.npos) return;
  const std::size_t translatedEnd = data.find('\0', languageEnd + 1);
  if (translatedEnd == data.npos) return;
  const std::string_view text = data.substr(translatedEnd + 1);
  if (data[keyEnd + 1] == 0) return addText(late_, data.substr(0, keyEnd), text);
  if (const std::optional<std::string> plain = inflated(text)) addText(late_, data.substr(0, keyEnd), *plain);
}

void ChunkReader::addChunk(const std::string& type, std::string_view data) {
  if (type == "eXIf") return addExif(late_, bytesOf(data));
  const std::size_t keyEnd = std::min(data.find('\0'), data.size());
  if (keyEnd == 0 || keyEnd > kMaxKey || keyEnd + 3 > data.size()) return;
  const std::string key = utf8Of(data.substr(0, keyEnd));
  if (type == "tEXt") addText(late_, key, utf8Of(data.substr(keyEnd + 1)));
  if (type == "iTXt") addInternational(data, keyEnd);
  if (type != "zTXt") return;
  if (const std::optional<std::string> text = inflated(data.substr(keyEnd + 2))) addText(late_, key, utf8Of(*text));
}

void ChunkReader::readLate(Input& input) {
  constexpr std::size_t kSignature = 8, kCrc = 4;
  constexpr std::string_view kTypes[] = {"eXIf", "tEXt", "iTXt", "zTXt"};
  bool late = false;
  std::size_t at = kSignature;
  for (int i = 0; i < kMaxChunks; ++i) {
    const std::optional<Chunk> chunk = chunkAt(input, at);
    if (!chunk) return;
    readLate_ = true;
    if (chunk->type == "IEND") return;
    late |= chunk->type == "IDAT";
    at = chunk->offset + chunk->size + kCrc;
    if (!late || chunk->size > kMaxLateChunk || std::ranges::find(kTypes, chunk->type) == std::end(kTypes)) continue;
    const std::uint64_t before = budget_.used();
    budget_.charge(chunk->type == "zTXt" || chunk->type == "iTXt" ? 1 + kMaxRatio : 1, chunk->size);
    Bytes bytes(chunk->size);
    const bool read = input.peekAt(chunk->offset, bytes.data(), chunk->size);
    budget_.restore(before);
    if (read) addChunk(chunk->type, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
}

// Of what may stand only once, that before the picture counts.
std::shared_ptr<const Metadata> ChunkReader::take() {
  for (MetadataBlock& block : late_.blocks)
    if (block.kind == MetadataKind::comment || block.kind == MetadataKind::other || !early_.find(block.kind))
      early_.blocks.push_back(std::move(block));
  if (early_.empty()) return nullptr;
  return std::make_shared<const Metadata>(std::move(early_));
}

bool hasPlaceFor(const MetadataBlock& block) {
  if (block.bytes.size() > INT32_MAX) return false;
  switch (block.kind) {
    case MetadataKind::icc:
    case MetadataKind::exif:
    case MetadataKind::iptc:
    case MetadataKind::comment:
      return true;
    case MetadataKind::xmp:  // in UTF-8 alone
      return std::ranges::find(block.bytes, 0) == block.bytes.end();
    default:
      return false;
  }
}

MetadataChunks::MetadataChunks(const Metadata& metadata) : metadata_(metadata) {
  for (const MetadataBlock& block : metadata.blocks)
    if (block.kind == MetadataKind::xmp || block.kind == MetadataKind::comment)
      addText(block);
    else if (block.kind == MetadataKind::iptc)
      addIptc(block);
}

// As other programs write it, with a name that they know.
void MetadataChunks::addIptc(const MetadataBlock& block) {
  png_text& made = texts_.emplace_back();
  std::memset(&made, 0, sizeof made);
  made.compression = PNG_TEXT_COMPRESSION_zTXt;
  made.key = strings_.emplace_back(std::string(kRawKey) + "iptc").data();
  made.text = strings_.emplace_back(rawProfileText("iptc", block.span())).data();
  made.text_length = strings_.back().size();
}

void MetadataChunks::addText(const MetadataBlock& block) {
  const bool xmp = block.kind == MetadataKind::xmp;
  std::string text(block.bytes.begin(), block.bytes.end());
  text.resize(std::min(text.size(), text.find('\0')));
  const std::optional<std::string> latin1 = xmp ? std::nullopt : latin1Of(text);
  png_text& made = texts_.emplace_back();
  std::memset(&made, 0, sizeof made);
  made.compression = latin1 ? PNG_TEXT_COMPRESSION_NONE : PNG_ITXT_COMPRESSION_NONE;
  made.key = strings_.emplace_back(xmp ? kXmpKey : keyOf(block)).data();
  made.text = strings_.emplace_back(latin1 ? *latin1 : text).data();
  made.text_length = latin1 ? strings_.back().size() : 0;
  made.itxt_length = latin1 ? 0 : strings_.back().size();
  static char empty[] = "";
  made.lang = made.lang_key = empty;
}

void MetadataChunks::set(png_structp png, png_infop info) {
  png_set_benign_errors(png, 1);  // a profile that libpng does not accept is left out
  for (const MetadataBlock& block : metadata_.blocks) {
    const auto size = static_cast<png_uint_32>(block.bytes.size());
    if (block.kind == MetadataKind::icc)
      png_set_iCCP(png, info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, block.bytes.data(), size);
  }
  if (metadata_.hasResolution())
    png_set_pHYs(png, info, whole(metadata_.horizontalResolution), whole(metadata_.verticalResolution),
                 metadata_.ratioOnly ? PNG_RESOLUTION_UNKNOWN : PNG_RESOLUTION_METER);
  if (!texts_.empty()) png_set_text(png, info, texts_.data(), static_cast<int>(texts_.size()));
}

// libpng's own function for Exif data writes them after the picture, where readers of streams cannot use them.
void MetadataChunks::writeExif(png_structp png) {
  static constexpr png_byte kType[] = "eXIf";
  if (const MetadataBlock* const exif = metadata_.find(MetadataKind::exif))
    png_write_chunk(png, kType, exif->bytes.data(), exif->bytes.size());
}

}  // namespace moxj::png
