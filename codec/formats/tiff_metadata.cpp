// The tags of Exif that a TIFF file has in its own directory are gathered into Exif data with a directory of their own,
// and put back when a file is written. Their values are not interpreted, so a file that gets Exif data has their byte
// order.
#include "formats/tiff_metadata.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <string>

#include "pictures/exif.h"

namespace moxj::tiff {

namespace {

constexpr double kMetresPerInch = 0.0254, kCentimetresPerMetre = 100;
enum Unit : std::uint64_t { kNoUnit = 1, kInch = 2, kCentimetre = 3 };

constexpr bool isIn(std::span<const std::uint16_t> tags, std::uint16_t tag) {
  return std::ranges::find(tags, tag) != tags.end();
}

// What Exif data take from the first directory of a file, besides their own directories.
bool isExifTag(std::uint16_t tag) {
  constexpr std::uint16_t kTags[] = {kMake,       kModel,         kOrientation,  kSoftware,          kDateTime,
                                     kArtist,     kHostComputer,  kCopyright,    kWhitePoint,        kPrimaries,
                                     kRating,     kRatingPercent, kXpTitle,      kXpComment,         kXpAuthor,
                                     kXpKeywords, kXpSubject,     kDocumentName, kPrintImageMatching};
  return isIn(kTags, tag);
}

// The place and the form of samples, and what is metadata of another kind.
bool isOfTheFile(std::uint16_t tag) {
  struct Range {
    std::uint16_t first, last;
  };
  constexpr Range kRanges[] = {{0, 266},       {273, 273},     {277, 281},     {284, 284},     {288, 293},
                               {297, 301},     {317, 317},     {320, 700},     {32932, 33431}, {33434, 33549},
                               {33723, 33723}, {34016, 34033}, {34377, 34377}, {34665, 34675}, {34732, 34732},
                               {34853, 34853}, {34908, 34911}, {37439, 37439}};
  return std::ranges::any_of(kRanges, [&](const Range& range) { return range.first <= tag && tag <= range.last; });
}

bool isResolution(std::uint16_t tag) { return tag == kXResolution || tag == kYResolution || tag == kResolutionUnit; }

// What only some programs know, with no place in other formats.
bool isPrivate(std::uint16_t tag) { return tag >= 0x8000 && !isExifTag(tag) && !isOfTheFile(tag); }

bool isGeoTiff(std::uint16_t tag) {
  constexpr std::uint16_t kTags[] = {33550, 33920, 33922, 34264, 34735, 34736, 34737, 42112, 42113};
  return isIn(kTags, tag);
}

bool isWanted(std::uint16_t tag) {
  constexpr std::uint16_t kOthers[] = {kImageDescription, kXmp, kIptc, kExifDirectory, kIccProfile, kGpsDirectory};
  return isExifTag(tag) || isResolution(tag) || isPrivate(tag) || isIn(kOthers, tag);
}

// Of the first directory of Exif data. Tags of DNG would make the file one.
bool isWantedOfExif(std::uint16_t tag) {
  const bool dng = tag >= 50706 && tag <= 51200;
  return (!isOfTheFile(tag) && !dng) || tag == kExifDirectory || tag == kGpsDirectory;
}

// ---- Exif ----------------------------------------------------------------------------------------------------------

// Types of BigTIFF alone have no place in Exif data.
bool isClassic(const Entry& entry) { return entry.type < kLong8; }

// The directories of Exif data within a file or Exif data, with these entries of the first one.
Directory exifDirectory(const File& file, const Directory& first, bool (*wanted)(std::uint16_t tag)) {
  Directory exif;
  for (const Entry& entry : first.entries) {
    const bool bad = entry.tag == kOrientation && (file.number(&entry) < 1 || file.number(&entry) > 8);
    if (wanted(entry.tag) && isClassic(entry) && !bad) exif.entries.push_back(entry);
  }
  for (const std::uint16_t tag : {kExifDirectory, kGpsDirectory}) {
    Directory child = file.child(first, tag);
    Directory below = file.child(child, kInteroperabilityDirectory);
    const auto unusable = [](const Entry& entry) {
      return !isClassic(entry) || entry.tag == kInteroperabilityDirectory;
    };
    std::erase_if(child.entries, unusable);
    std::erase_if(below.entries, unusable);
    if (!below.entries.empty()) child.children.push_back({kInteroperabilityDirectory, std::move(below)});
    if (!child.entries.empty()) exif.children.push_back({tag, std::move(child)});
  }
  return exif;
}

// Some writers put the primaries of sRGB into every file.
bool areOfSrgb(const File& file, const Entry& entry) {
  constexpr double kWhite[] = {0.3127, 0.3290}, kColours[] = {0.64, 0.33, 0.30, 0.60, 0.15, 0.06};
  std::span<const double> expected = kColours;
  if (entry.tag == kWhitePoint) expected = kWhite;
  for (std::size_t i = 0; i < expected.size(); ++i)
    if (std::abs(file.rational(&entry, i) - expected[i]) > 0.005) return false;
  return true;
}

bool saysNothing(const File& file, const Directory& exif) {
  return exif.children.empty() && std::ranges::all_of(exif.entries, [&](const Entry& entry) {
           if (entry.tag == kWhitePoint || entry.tag == kPrimaries) return areOfSrgb(file, entry);
           return entry.tag == kOrientation && file.number(&entry) == 1;
         });
}

// ---- Others --------------------------------------------------------------------------------------------------------

// Some writers say that the bytes are numbers of 32 bits; a program of the other byte order has then turned them.
std::vector<std::uint8_t> iptcOf(const Entry& entry) {
  constexpr std::uint8_t kDataSet = 0x1C;
  std::vector<std::uint8_t> bytes = entry.value;
  if (entry.type == kLong && bytes[0] != kDataSet && bytes[3] == kDataSet)
    for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) std::reverse(bytes.data() + i, bytes.data() + i + 4);
  return bytes;
}

std::string textOf(const Entry& entry) {
  std::string text(entry.value.begin(), entry.value.end());
  text.resize(std::min(text.size(), text.find('\0')));
  return text;
}

void takeResolution(const File& file, const Directory& first, Metadata& metadata) {
  const double x = file.rational(first.find(kXResolution)), y = file.rational(first.find(kYResolution));
  const Entry* const given = first.find(kResolutionUnit);
  const std::uint64_t unit = given ? file.number(given) : kInch;
  const double perMetre = unit == kInch ? 1 / kMetresPerInch : unit == kCentimetre ? kCentimetresPerMetre : 1;
  if (!(x > 0 && y > 0) || (unit == kNoUnit && x == y)) return;
  metadata.horizontalResolution = x * perMetre;
  metadata.verticalResolution = y * perMetre;
  metadata.ratioOnly = unit == kNoUnit;
}

// As one block for GeoTIFF and one for all others, so that their loss is noted.
void takePrivate(const Directory& first, Metadata& metadata, Budget& budget) {
  constexpr int kMaxNamed = 8;
  int named = 0;
  MetadataBlock geo = {MetadataKind::other, "GeoTIFF tags", {}}, others = {MetadataKind::other, "TIFF tags", {}};
  for (const Entry& entry : first.entries) {
    if (!isPrivate(entry.tag)) continue;
    budget.charge(1, entry.value.size());
    MetadataBlock& block = isGeoTiff(entry.tag) ? geo : others;
    block.bytes.insert(block.bytes.end(), entry.value.begin(), entry.value.end());
    if (!isGeoTiff(entry.tag) && named++ < kMaxNamed) block.name += ' ' + std::to_string(entry.tag);
  }
  if (named > kMaxNamed) others.name += " ...";
  for (MetadataBlock* const block : {&geo, &others})
    if (!block->bytes.empty()) metadata.blocks.push_back(std::move(*block));
}

bool isWhole(double number) { return std::abs(number - std::round(number)) < 1e-6 * number; }

// In the unit in which both numbers are whole, if there is one.
void addResolution(const Metadata& metadata, const Values& values, Directory& directory) {
  const double x = metadata.horizontalResolution, y = metadata.verticalResolution;
  std::uint64_t unit = kInch;
  double factor = kMetresPerInch, denominator = 10000;
  if (metadata.ratioOnly) {
    unit = kNoUnit;
    factor = 1;
  } else if (isWhole(x * kMetresPerInch) && isWhole(y * kMetresPerInch)) {
    denominator = 1;
  } else if (isWhole(x) && isWhole(y)) {
    unit = kCentimetre;
    factor = 1 / kCentimetresPerMetre;
    denominator = kCentimetresPerMetre;
  }
  const auto numeratorOf = [&](double resolution) {
    return static_cast<std::uint32_t>(std::clamp(std::round(resolution * factor * denominator), 1.0, 4294967295.0));
  };
  const auto divisor = static_cast<std::uint32_t>(denominator);
  directory.entries.push_back(values.rational(kXResolution, numeratorOf(x), divisor));
  directory.entries.push_back(values.rational(kYResolution, numeratorOf(y), divisor));
  directory.entries.push_back(values.number(kResolutionUnit, kShort, unit));
}

}  // namespace

Metadata metadataOf(const File& file, Budget& budget) {
  const Directory first = file.first(isWanted);
  Metadata metadata;
  const auto add = [&](MetadataKind kind, ByteSpan bytes) {
    budget.charge(1, bytes.size() + sizeof(MetadataBlock));
    metadata.add(kind, "", bytes);
  };
  if (const Entry* const profile = first.find(kIccProfile)) add(MetadataKind::icc, profile->value);
  const Directory exif = exifDirectory(file, first, isExifTag);
  if (!saysNothing(file, exif)) {
    budget.charge(1, serialisedSize(exif, false));
    const Bytes bytes = serialised(exif, file.little(), false);
    add(MetadataKind::exif, {bytes.data(), bytes.size()});
  }
  if (const Entry* const xmp = first.find(kXmp)) add(MetadataKind::xmp, xmp->value);
  if (const Entry* const iptc = first.find(kIptc); iptc && iptc->value.size() >= 4)
    add(MetadataKind::iptc, iptcOf(*iptc));
  if (const Entry* const description = first.find(kImageDescription)) {
    const std::string text = textOf(*description);
    if (!text.empty()) add(MetadataKind::comment, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  }
  takePrivate(first, metadata, budget);
  takeResolution(file, first, metadata);
  return metadata;
}

bool hasPlaceFor(const MetadataBlock& block) {
  return block.kind != MetadataKind::other && block.bytes.size() < UINT32_MAX / 2 && !block.bytes.empty();
}

bool wantsLittle(const Metadata* metadata) {
  const MetadataBlock* const exif = metadata ? metadata->find(MetadataKind::exif) : nullptr;
  const std::optional<File> file = exif ? File::of(exif->span()) : std::nullopt;
  return !file || file->little();
}

void addMetadata(Directory& directory, const Metadata* metadata, bool little) {
  if (!metadata) return;
  const Values values(little);
  std::string text;
  const auto addText = [&](const std::string& more) { text.append(text.empty() ? "" : "\n").append(more); };
  const MetadataBlock* const exif = metadata->find(MetadataKind::exif);
  if (const std::optional<File> file = exif ? File::of(exif->span()) : std::nullopt) {
    Directory found = exifDirectory(*file, file->first(isWantedOfExif), isWantedOfExif);
    for (Entry& entry : found.entries) {
      if (entry.tag == kImageDescription)
        addText(textOf(entry));
      else if (!isOfTheFile(entry.tag) && !(isResolution(entry.tag) && metadata->hasResolution()))
        directory.entries.push_back(std::move(entry));
    }
    for (auto& child : found.children) directory.children.push_back(std::move(child));
  }
  for (const MetadataBlock& block : metadata->blocks) {
    if (block.kind == MetadataKind::icc)
      directory.entries.push_back(Values::bytes(kIccProfile, kUndefined, block.span()));
    if (block.kind == MetadataKind::xmp) directory.entries.push_back(Values::bytes(kXmp, kByte, block.span()));
    if (block.kind == MetadataKind::iptc) directory.entries.push_back(Values::bytes(kIptc, kUndefined, block.span()));
    if (block.kind == MetadataKind::comment) addText({block.bytes.begin(), block.bytes.end()});
  }
  if (!text.empty()) {
    text += '\0';
    directory.entries.push_back(
        Values::bytes(kImageDescription, kAscii, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}));
  }
  if (metadata->hasResolution()) addResolution(*metadata, values, directory);
}

}  // namespace moxj::tiff
