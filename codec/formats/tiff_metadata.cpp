// The tags of Exif that a TIFF file has in its own directory are gathered into Exif data with a directory of their own,
// and put back when a file is written. Their values are not interpreted, so a file that gets Exif data has their byte
// order.
#include "formats/tiff_metadata.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "pictures/exif.h"

namespace moxj::tiff {

namespace {

constexpr double kMetresPerInch = 0.0254, kCentimetresPerMetre = 100;
enum Unit : std::uint64_t { kNoUnit = 1, kInch = 2, kCentimetre = 3 };

// What Exif data take from the first directory, besides their own directories.
constexpr std::uint16_t kExifTags[] = {kMake,     kModel,  kOrientation,  kSoftware,
                                       kDateTime, kArtist, kHostComputer, kCopyright};

bool isExifTag(std::uint16_t tag) { return std::ranges::find(kExifTags, tag) != std::end(kExifTags); }

bool isWanted(std::uint16_t tag) {
  constexpr std::uint16_t kOthers[] = {kImageDescription, kXResolution, kYResolution, kResolutionUnit, kXmp, kIptc,
                                       kExifDirectory,    kIccProfile,  kGpsDirectory};
  return isExifTag(tag) || std::ranges::find(kOthers, tag) != std::end(kOthers);
}

// ---- Exif ----------------------------------------------------------------------------------------------------------

// Types of BigTIFF alone have no place in Exif data.
bool isClassic(const Entry& entry) { return entry.type < kLong8; }

// The directories of Exif data within a file or Exif data.
Directory exifDirectory(const File& file, const Directory& first) {
  Directory exif;
  for (const Entry& entry : first.entries) {
    const bool bad = entry.tag == kOrientation && (file.number(&entry) < 1 || file.number(&entry) > 8);
    if (isExifTag(entry.tag) && isClassic(entry) && !bad) exif.entries.push_back(entry);
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

bool saysNothing(const File& file, const Directory& exif) {
  return exif.children.empty() && std::ranges::all_of(exif.entries, [&](const Entry& entry) {
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
  const Directory exif = exifDirectory(file, first);
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
  std::string comments;
  for (const MetadataBlock& block : metadata->blocks) {
    if (block.kind == MetadataKind::icc)
      directory.entries.push_back(Values::bytes(kIccProfile, kUndefined, block.span()));
    if (block.kind == MetadataKind::xmp) directory.entries.push_back(Values::bytes(kXmp, kByte, block.span()));
    if (block.kind == MetadataKind::iptc) directory.entries.push_back(Values::bytes(kIptc, kUndefined, block.span()));
    if (block.kind == MetadataKind::comment)
      comments.append(comments.empty() ? "" : "\n").append(block.bytes.begin(), block.bytes.end());
  }
  if (!comments.empty()) {
    comments += '\0';
    directory.entries.push_back(Values::bytes(
        kImageDescription, kAscii, {reinterpret_cast<const std::uint8_t*>(comments.data()), comments.size()}));
  }
  if (metadata->hasResolution()) addResolution(*metadata, values, directory);
  const MetadataBlock* const exif = metadata->find(MetadataKind::exif);
  if (const std::optional<File> file = exif ? File::of(exif->span()) : std::nullopt) {
    Directory found = exifDirectory(*file, file->first(isWanted));
    for (Entry& entry : found.entries) directory.entries.push_back(std::move(entry));
    for (auto& child : found.children) directory.children.push_back(std::move(child));
  }
}

}  // namespace moxj::tiff
