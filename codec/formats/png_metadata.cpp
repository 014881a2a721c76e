// The picture goes through in strips, so what is to be passed on with it has to be known before its rows. libpng gives
// the chunks before the picture; for those after it, the file is looked through first.
#include "formats/png_metadata.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <string_view>

#include "base/bigendian.h"
#include "pictures/exif.h"

namespace moxj::png {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kXmpKey = "XML:com.adobe.xmp", kCommentKey = "Comment", kRawKey = "Raw profile type ";
constexpr std::size_t kMaxKey = 79;
constexpr std::size_t kMaxLateChunk = std::size_t{16} << 20;
constexpr int kMaxChunks = 200000;  // of a file

ByteSpan bytesOf(std::string_view text) { return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}; }

// ---- Latin-1 and UTF-8 ---------------------------------------------------------------------------------------------

std::string utf8Of(std::string_view latin1) {
  std::string text;
  for (const char c : latin1) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x80) text += static_cast<char>(0xC0 | byte >> 6);
    text += static_cast<char>(byte < 0x80 ? byte : 0x80 | (byte & 0x3F));
  }
  return text;
}

// None if the text has other characters. Bytes that are not UTF-8 are taken for Latin-1.
std::optional<std::string> latin1Of(std::string_view text) {
  std::string latin1;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x80) {
      latin1 += text[i];
      continue;
    }
    const std::size_t more = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : 1;
    if (byte < 0xC2 || byte > 0xF4 || i + more >= text.size()) return std::string(text);
    for (std::size_t j = 1; j <= more; ++j)
      if ((text[i + j] & 0xC0) != 0x80) return std::string(text);
    if (byte > 0xC3) return std::nullopt;
    latin1 += static_cast<char>(byte << 6 | (text[++i] & 0x3F));
  }
  return latin1;
}

// ---- Reading -------------------------------------------------------------------------------------------------------

void add(Metadata& metadata, Budget& budget, MetadataKind kind, std::string name, ByteSpan bytes) {
  if (kind != MetadataKind::comment && kind != MetadataKind::other && metadata.find(kind)) return;
  budget.charge(1, bytes.size() + sizeof(MetadataBlock));
  metadata.add(kind, std::move(name), bytes);
}

// A text in UTF-8.
void addText(Metadata& metadata, Budget& budget, std::string_view key, std::string_view text) {
  const MetadataKind kind = key == kXmpKey             ? MetadataKind::xmp
                            : key.starts_with(kRawKey) ? MetadataKind::other
                                                       : MetadataKind::comment;
  add(metadata, budget, kind, kind == MetadataKind::xmp ? "" : std::string(key), bytesOf(text));
}

void addExif(Metadata& metadata, Budget& budget, ByteSpan exif) {
  if (isExif(exif)) add(metadata, budget, MetadataKind::exif, "", exif);
}

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

// Keyword, compression flag and method, language, translated keyword, text; all but the last end with a 0.
void takeInternational(Metadata& metadata, Budget& budget, std::string_view data, std::size_t keyEnd) {
  const std::size_t language = keyEnd + 3;
  const std::size_t languageEnd = data.find('\0', language);
  if (languageEnd == data.npos || data[keyEnd + 1] != 0) return;
  const std::size_t translatedEnd = data.find('\0', languageEnd + 1);
  if (translatedEnd == data.npos) return;
  addText(metadata, budget, data.substr(0, keyEnd), data.substr(translatedEnd + 1));
}

void takeLate(const Chunk& chunk, Input& input, Metadata& metadata, Budget& budget) {
  if (chunk.size > kMaxLateChunk || (chunk.type != "eXIf" && chunk.type != "tEXt" && chunk.type != "iTXt")) return;
  budget.charge(1, chunk.size);
  Bytes bytes(chunk.size);
  if (input.peekAt(chunk.offset, bytes.data(), chunk.size)) {
    const std::string_view data(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const std::size_t keyEnd = std::min(data.find('\0'), data.size());
    const bool hasKey = keyEnd > 0 && keyEnd <= kMaxKey && keyEnd + 3 <= data.size();
    if (chunk.type == "eXIf") addExif(metadata, budget, {bytes.data(), bytes.size()});
    if (chunk.type == "tEXt" && hasKey)
      addText(metadata, budget, utf8Of(data.substr(0, keyEnd)), utf8Of(data.substr(keyEnd + 1)));
    if (chunk.type == "iTXt" && hasKey) takeInternational(metadata, budget, data, keyEnd);
  }
  budget.release(chunk.size);
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

void takeMetadata(png_structp png, png_infop info, Metadata& metadata, Budget& budget) {
  png_charp name = nullptr;
  int compression = 0;
  png_bytep profile = nullptr;
  png_uint_32 size = 0;
  if (png_get_iCCP(png, info, &name, &compression, &profile, &size))
    add(metadata, budget, MetadataKind::icc, "", {profile, size});
  png_unknown_chunkp unknown = nullptr;
  const int unknowns = png_get_unknown_chunks(png, info, &unknown);
  for (int i = 0; i < unknowns; ++i)
    if (std::memcmp(unknown[i].name, "eXIf", 4) == 0) addExif(metadata, budget, {unknown[i].data, unknown[i].size});
  png_uint_32 x = 0, y = 0;
  int unit = 0;
  if (png_get_pHYs(png, info, &x, &y, &unit) && x != 0 && y != 0 && (unit == PNG_RESOLUTION_METER || x != y)) {
    metadata.horizontalResolution = x;
    metadata.verticalResolution = y;
    metadata.ratioOnly = unit != PNG_RESOLUTION_METER;
  }
  png_textp texts = nullptr;
  int count = 0;
  png_get_text(png, info, &texts, &count);
  for (int i = 0; i < count; ++i) {
    const png_text& from = texts[i];
    const bool latin1 = from.compression < PNG_ITXT_COMPRESSION_NONE;
    const std::string_view text(from.text ? from.text : "", latin1 ? from.text_length : from.itxt_length);
    addText(metadata, budget, utf8Of(from.key), latin1 ? utf8Of(text) : std::string(text));
  }
}

void takeLateMetadata(Input& input, Metadata& metadata, Budget& budget) {
  constexpr std::size_t kSignature = 8, kCrc = 4;
  bool late = false;
  std::size_t at = kSignature;
  for (int i = 0; i < kMaxChunks; ++i) {
    const std::optional<Chunk> chunk = chunkAt(input, at);
    if (!chunk || chunk->type == "IEND") return;
    late |= chunk->type == "IDAT";
    if (late) takeLate(*chunk, input, metadata, budget);
    at = chunk->offset + chunk->size + kCrc;
  }
}

bool hasPlaceFor(const MetadataBlock& block) {
  if (block.bytes.size() > INT32_MAX) return false;
  switch (block.kind) {
    case MetadataKind::icc:
    case MetadataKind::exif:
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
    if (block.kind == MetadataKind::xmp || block.kind == MetadataKind::comment) addText(block);
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
    if (block.kind == MetadataKind::exif) png_set_eXIf_1(png, info, size, const_cast<png_bytep>(block.bytes.data()));
  }
  if (metadata_.hasResolution())
    png_set_pHYs(png, info, whole(metadata_.horizontalResolution), whole(metadata_.verticalResolution),
                 metadata_.ratioOnly ? PNG_RESOLUTION_UNKNOWN : PNG_RESOLUTION_METER);
  if (!texts_.empty()) png_set_text(png, info, texts_.data(), static_cast<int>(texts_.size()));
}

}  // namespace moxj::png
