// Segments are at most 65535 bytes long, so a profile or image resources may come in parts.
#include "jpeg/metadata.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "base/bigendian.h"
#include "base/problem.h"
#include "jpeg/markers.h"
#include "pictures/comments.h"
#include "pictures/exif.h"
#include "pictures/imageresources.h"
#include "pictures/metadata_fit.h"

namespace moxj::jpeg {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kJfif = "JFIF\0"sv, kJfxx = "JFXX\0"sv, kAdobe = "Adobe"sv, kExif = "Exif\0\0"sv,
                           kXmp = "http://ns.adobe.com/xap/1.0/\0"sv, kIcc = "ICC_PROFILE\0"sv,
                           kResources = "Photoshop 3.0\0"sv, kMultiPicture = "MPF\0"sv;
constexpr std::uint8_t kApp1 = marker::app0 + 1, kApp2 = marker::app0 + 2, kApp13 = marker::app0 + 13;
constexpr std::size_t kMaxBody = 65533;
constexpr std::size_t kMaxIccPart = kMaxBody - kIcc.size() - 2;
constexpr std::size_t kDensityAt = 7, kDensityBytes = 5;  // in the JFIF segment: unit, x, y
constexpr double kMetresPerInch = 0.0254, kMetresPerCentimetre = 0.01;

bool startsWith(ByteSpan bytes, std::string_view text) {
  return bytes.size() >= text.size() && std::memcmp(bytes.data(), text.data(), text.size()) == 0;
}

bool isSegment(const MarkerSegment& segment, int marker, std::string_view text) {
  return segment.marker == marker && startsWith(segment.body, text);
}

ByteSpan bytesOf(std::string_view text) { return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}; }

// ---- Reading -------------------------------------------------------------------------------------------------------

class Collector {
 public:
  Collector(Budget& budget, std::vector<std::string>& notes) : budget_(budget), notes_(notes) {}

  std::shared_ptr<const Metadata> collect(const std::vector<MarkerSegment>& segments) {
    for (const MarkerSegment& segment : segments) take(segment);
    joinProfile();
    readResources();
    if (made_.empty()) return nullptr;
    return std::make_shared<const Metadata>(std::move(made_));
  }

 private:
  void take(const MarkerSegment& segment) {
    const ByteSpan body = segment.body;
    if (segment.marker == marker::app0 && startsWith(body, kJfif)) return takeDensity(body);
    if (segment.marker == marker::app0 && startsWith(body, kJfxx)) return;
    if (segment.marker == marker::app14 && startsWith(body, kAdobe)) return;
    if (isSegment(segment, kApp1, kExif)) return takeExif(body.subspan(kExif.size()));
    if (isSegment(segment, kApp1, kXmp)) return takeOnce(MetadataKind::xmp, body.subspan(kXmp.size()));
    if (isSegment(segment, kApp2, kIcc)) return profile_.push_back(body.subspan(kIcc.size()));
    if (isSegment(segment, kApp13, kResources)) return resources_.push_back(body.subspan(kResources.size()));
    if (segment.marker == marker::com) return add(MetadataKind::comment, "", body);
    add(MetadataKind::other, markerName(segment.marker), body);
  }

  void add(MetadataKind kind, std::string name, ByteSpan bytes) {
    budget_.charge(1, bytes.size() + sizeof(MetadataBlock));
    made_.add(kind, std::move(name), bytes);
  }
  void takeOnce(MetadataKind kind, ByteSpan bytes) {
    if (made_.find(kind)) return note("a second " + nameOf({kind, "", {}}) + " dropped");
    add(kind, "", bytes);
  }
  void takeExif(ByteSpan exif) {
    if (!isExif(exif)) return note("Exif data dropped: they are damaged");
    takeOnce(MetadataKind::exif, exif);
  }

  // Density 1:1 without a unit says nothing.
  void takeDensity(ByteSpan body) {
    if (body.size() < 12 || made_.hasResolution()) return;
    const int unit = body[7], x = body[8] << 8 | body[9], y = body[10] << 8 | body[11];
    if (x == 0 || y == 0 || unit > 2 || (unit == 0 && x == y)) return;
    const double metres = unit == 1 ? kMetresPerInch : unit == 2 ? kMetresPerCentimetre : 1;
    made_.horizontalResolution = x / metres;
    made_.verticalResolution = y / metres;
    made_.ratioOnly = unit == 0;
  }

  // Each part begins with its number, from 1, and their count.
  void joinProfile() {
    if (profile_.empty()) return;
    const std::size_t count = profile_.size();
    std::array<ByteSpan, 256> parts{};
    std::size_t bytes = 0;
    for (const ByteSpan part : profile_) {
      if (part.size() < 2 || part[0] == 0 || part[1] != count || !parts[part[0]].empty())
        return note("ICC profile dropped: its parts do not fit together");
      parts[part[0]] = part;
      bytes += part.size() - 2;
    }
    budget_.charge(1, bytes + sizeof(MetadataBlock));
    MetadataBlock& block = made_.blocks.emplace_back();
    block.kind = MetadataKind::icc;
    block.bytes.reserve(bytes);
    for (std::size_t i = 1; i <= count; ++i) {
      if (parts[i].empty()) {
        made_.blocks.pop_back();
        return note("ICC profile dropped: its parts do not fit together");
      }
      block.bytes.insert(block.bytes.end(), parts[i].begin() + 2, parts[i].end());
    }
  }

  // The IPTC data are one of the resources; the others stay together.
  void readResources() {
    if (resources_.empty()) return;
    std::size_t bytes = 0;
    for (const ByteSpan part : resources_) bytes += part.size();
    budget_.charge(2, bytes);
    std::vector<std::uint8_t> joined;
    for (const ByteSpan part : resources_) joined.insert(joined.end(), part.begin(), part.end());
    const ImageResources found = imageResourcesOf(joined);
    if (!found.iptc.empty()) takeOnce(MetadataKind::iptc, found.iptc);
    if (found.repeated) note("a second IPTC data dropped");
    if (found.damaged) note("image resources dropped: they are damaged");
    if (!found.others.empty()) {
      std::vector<std::uint8_t> others(kResources.begin(), kResources.end());
      others.insert(others.end(), found.others.begin(), found.others.end());
      add(MetadataKind::other, markerName(kApp13), others);
    }
    budget_.release(2 * bytes);
  }

  void note(std::string text) { notes_.push_back(std::move(text)); }

  Budget& budget_;
  std::vector<std::string>& notes_;
  Metadata made_;
  std::vector<ByteSpan> profile_, resources_;  // parts
};

// ---- Writing -------------------------------------------------------------------------------------------------------

struct Prefix {
  int marker;
  std::string_view text;
};

Prefix prefixOf(MetadataKind kind) {
  switch (kind) {
    case MetadataKind::exif:
      return {kApp1, kExif};
    case MetadataKind::xmp:
      return {kApp1, kXmp};
    case MetadataKind::icc:
      return {kApp2, kIcc};
    case MetadataKind::iptc:
      return {kApp13, kResources};
    default:
      return {marker::com, {}};
  }
}

// The marker of a segment that is named so; 0 if there is none.
int markerNamed(std::string_view name) {
  for (int marker = marker::app0; marker <= marker::app15; ++marker)
    if (name == markerName(marker)) return marker;
  return 0;
}

void writeProfile(Writer& writer, ByteSpan profile) {
  const std::size_t count = (profile.size() + kMaxIccPart - 1) / kMaxIccPart;
  for (std::size_t i = 0; i < count; ++i) {
    Bytes head;
    head.append(bytesOf(kIcc));
    head.push_back(static_cast<std::uint8_t>(i + 1));
    head.push_back(static_cast<std::uint8_t>(count));
    const ByteSpan part = profile.subspan(i * kMaxIccPart);
    writer.application(kApp2, {head.data(), head.size()}, part.first(std::min(part.size(), kMaxIccPart)));
  }
}

// One resource, in as many segments as it needs.
void writeIptc(Writer& writer, ByteSpan data) {
  constexpr std::size_t kMaxPart = kMaxBody - kResources.size();
  const Bytes resource = iptcResource(data);
  for (std::size_t at = 0; at < resource.size(); at += kMaxPart)
    writer.application(kApp13, bytesOf(kResources), {resource.data() + at, std::min(kMaxPart, resource.size() - at)});
}

void write(Writer& writer, const MetadataBlock& block) {
  if (block.kind == MetadataKind::icc) return writeProfile(writer, block.bytes);
  if (block.kind == MetadataKind::iptc) return writeIptc(writer, block.bytes);
  if (block.kind == MetadataKind::comment)
    return writer.application(marker::com, bytesOf(headingOf(block)), block.bytes);
  if (block.kind == MetadataKind::other) return writer.application(markerNamed(block.name), {}, block.bytes);
  const Prefix prefix = prefixOf(block.kind);
  writer.application(prefix.marker, bytesOf(prefix.text), block.bytes);
}

// How well whole numbers per unit give the resolution.
struct Rounded {
  double x, y, error;

  Rounded(const Metadata& metadata, double metres)
      : x(std::round(metadata.horizontalResolution * metres)),
        y(std::round(metadata.verticalResolution * metres)),
        error(std::abs(x / (metadata.horizontalResolution * metres) - 1) +
              std::abs(y / (metadata.verticalResolution * metres) - 1)) {}
  bool possible() const { return x >= 1 && x <= 65535 && y >= 1 && y <= 65535; }
};

}  // namespace

std::shared_ptr<const Metadata> metadataOf(const std::vector<MarkerSegment>& segments, Budget& budget,
                                           std::vector<std::string>& notes) {
  return segments.empty() ? nullptr : Collector(budget, notes).collect(segments);
}

std::shared_ptr<const Metadata> readMetadata(ByteSpan file, Budget& budget, std::vector<std::string>& notes) {
  std::vector<MarkerSegment> segments;
  try {
    SegmentWalker walker(file);
    for (std::optional<MarkerSegment> next = walker.next(); next && next->marker != marker::sos; next = walker.next())
      if (marker::isKept(next->marker)) {
        budget.charge(1, sizeof(MarkerSegment));
        segments.push_back(*next);
      }
  } catch (const Problem& problem) {
    if (!liesInFile(problem.kind)) throw;
  }
  return metadataOf(segments, budget, notes);
}

MetadataKind kindOf(const MarkerSegment& segment) {
  if (segment.marker == marker::com) return MetadataKind::comment;
  for (const MetadataKind kind : {MetadataKind::exif, MetadataKind::xmp, MetadataKind::icc, MetadataKind::iptc})
    if (isSegment(segment, prefixOf(kind).marker, prefixOf(kind).text)) return kind;
  return MetadataKind::other;
}

int orientationOf(const std::vector<MarkerSegment>& segments) {
  for (const MarkerSegment& segment : segments)
    if (kindOf(segment) == MetadataKind::exif) return factsOf(segment.body.subspan(kExif.size())).orientation;
  return 1;
}

std::vector<std::uint8_t> changedBody(const MarkerSegment& segment, const Change& change,
                                      std::vector<std::string>& notes) {
  std::vector<std::uint8_t> body(segment.body.begin(), segment.body.end());
  const MetadataKind kind = kindOf(segment);
  if (kind == MetadataKind::xmp && change.upright) setXmpOrientation(body, 1);
  if (kind != MetadataKind::exif) return body;
  const std::span<std::uint8_t> exif = std::span(body).subspan(kExif.size());
  if (change.width > 0) setPixelSize(exif, change.width, change.height);
  if (!change.upright) return body;
  setOrientation(exif, 1);
  if (unlinkThumbnail(exif)) notes.push_back(kThumbnailDropped);
  return body;
}

std::vector<std::uint8_t> bodyWithoutDensity(const MarkerSegment& jfif) {
  constexpr std::uint8_t kNone[kDensityBytes] = {0, 0, 1, 0, 1};
  std::vector<std::uint8_t> body(jfif.body.begin(), jfif.body.end());
  if (body.size() >= kDensityAt + kDensityBytes)
    std::copy(std::begin(kNone), std::end(kNone), body.begin() + kDensityAt);
  return body;
}

// The index of further pictures has offsets in the file that it was made for.
bool hasPlaceFor(const MetadataBlock& block) {
  const std::size_t size = block.bytes.size();
  switch (block.kind) {
    case MetadataKind::icc:
      return size <= 255 * kMaxIccPart;
    case MetadataKind::iptc:
      return true;
    case MetadataKind::comment:
      return headingOf(block).size() + size <= kMaxBody;
    case MetadataKind::other:
      return markerNamed(block.name) != 0 && size <= kMaxBody && !startsWith(block.bytes, kMultiPicture);
    default:
      return size <= kMaxBody - prefixOf(block.kind).text.size();
  }
}

void writeMetadata(Writer& writer, const Metadata* metadata) {
  if (!metadata) return;
  for (const MetadataKind kind : {MetadataKind::exif, MetadataKind::xmp, MetadataKind::icc, MetadataKind::iptc,
                                  MetadataKind::other, MetadataKind::comment})
    for (const MetadataBlock& block : metadata->blocks)
      if (block.kind == kind) write(writer, block);
}

Density densityOf(const Metadata* metadata) {
  if (!metadata || !metadata->hasResolution()) return {};
  const Rounded ratio(*metadata, 1), inches(*metadata, kMetresPerInch), centimetres(*metadata, kMetresPerCentimetre);
  const bool inch = inches.possible() && (!centimetres.possible() || inches.error <= centimetres.error);
  const Rounded& chosen = metadata->ratioOnly ? ratio : inch ? inches : centimetres;
  if (!chosen.possible()) return {};
  return {metadata->ratioOnly ? 0 : inch ? 1 : 2, static_cast<int>(chosen.x), static_cast<int>(chosen.y)};
}

ByteSpan bytesAfterEnd(ByteSpan file, std::size_t offset) {
  try {
    SegmentWalker walker(file);
    walker.seek(offset);
    while (const std::optional<MarkerSegment> segment = walker.next()) {
      if (segment->marker == marker::eoi) return file.subspan(segment->end);
      if (segment->marker == marker::sos) walker.seek(findScanEnd(file, segment->end));
      if (segment->marker == marker::soi) break;
    }
  } catch (const Problem&) {
  }
  return {};
}

std::string noteAfterEnd(ByteSpan bytes) {
  if (std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; })) return "";
  return std::to_string(bytes.size()) + (bytes.size() == 1 ? " byte" : " bytes") +
         " after the end of the picture dropped";
}

}  // namespace moxj::jpeg
