// The facts that people look for: profile, orientation, camera, date, resolution; of all other blocks, their sizes.
#include "formats/metadata_text.h"

#include <cmath>
#include <optional>
#include <string_view>
#include <utility>

#include "base/problem.h"
#include "formats/text.h"
#include "jpeg/jpeg.h"
#include "pictures/exif.h"
#include "pictures/icc.h"

namespace moxj {

namespace {

using text::counted;
using text::line;

constexpr double kMetresPerInch = 0.0254;
constexpr std::size_t kMaxComment = 60;

// What has to be done to see the picture upright.
const char* turnOf(int orientation) {
  constexpr const char* kTurns[] = {"upright",
                                    "mirrored",
                                    "turned by 180 degrees",
                                    "mirrored top to bottom",
                                    "transposed",
                                    "to be turned by 90 degrees clockwise",
                                    "transposed along the other diagonal",
                                    "to be turned by 90 degrees anticlockwise"};
  return kTurns[orientation - 1];
}

std::string cameraOf(const ExifFacts& facts) {
  if (facts.make.empty() || facts.model.starts_with(facts.make)) return facts.model;
  return facts.model.empty() ? facts.make : facts.make + " " + facts.model;
}

std::string profileText(const MetadataBlock& block) {
  const std::optional<IccFacts> facts = iccFactsOf(block.bytes);
  const std::string bytes = counted(block.bytes.size(), "byte");
  if (!facts) return "ICC, damaged, " + bytes;
  return (facts->description.empty() ? "ICC without a name" : facts->description) + ", " + facts->space + ", " + bytes;
}

// Width and height of a thumbnail; none if it is damaged.
std::optional<std::pair<int, int>> sizeOf(ByteSpan thumbnail) {
  try {
    const jpeg::Info info = jpeg::inspect(thumbnail);
    return std::pair(info.width, info.height);
  } catch (const Problem&) {
    return std::nullopt;
  }
}

std::string thumbnailText(ByteSpan thumbnail) {
  const auto size = sizeOf(thumbnail);
  return (size ? std::to_string(size->first) + " x " + std::to_string(size->second) + " pixels, " : "damaged, ") +
         counted(thumbnail.size(), "byte");
}

std::string exifText(const MetadataBlock& block) {
  const ExifFacts facts = factsOf(block.bytes);
  std::string lines = line("Exif", counted(block.bytes.size(), "byte"));
  lines += line("orientation", std::to_string(facts.orientation) + ", " + turnOf(facts.orientation));
  if (const std::string camera = cameraOf(facts); !camera.empty()) lines += line("camera", camera);
  if (!facts.date.empty()) lines += line("date", facts.date);
  if (!facts.thumbnail.empty()) lines += line("thumbnail", thumbnailText(facts.thumbnail));
  return lines;
}

std::string printable(const MetadataBlock& block) {
  std::string shown;
  for (const std::uint8_t byte : block.bytes) {
    if (shown.size() == kMaxComment) return shown + " ...";
    shown += byte >= ' ' && byte <= '~' ? static_cast<char>(byte) : '?';
  }
  return shown;
}

std::string textOf(const MetadataBlock& block) {
  const std::string bytes = counted(block.bytes.size(), "byte");
  switch (block.kind) {
    case MetadataKind::icc:
      return line("profile", profileText(block));
    case MetadataKind::exif:
      return exifText(block);
    case MetadataKind::xmp:
      return line("XMP", bytes);
    case MetadataKind::iptc:
      return line("IPTC", bytes);
    case MetadataKind::comment:
      return line("comment", (block.name.empty() ? "" : block.name + ": ") + printable(block));
    case MetadataKind::other:
      break;
  }
  return line("metadata", nameOf(block) + ", " + bytes);
}

std::string shortNumber(double number) { return text::format("%.6g", number); }

Json jsonOf(const ExifFacts& facts, std::size_t bytes) {
  const auto orNull = [](const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); };
  Json json = {{"bytes", bytes},
               {"orientation", facts.orientation},
               {"make", orNull(facts.make)},
               {"model", orNull(facts.model)},
               {"date", orNull(facts.date)},
               {"thumbnailBytes", facts.thumbnail.size()}};
  if (const auto size = sizeOf(facts.thumbnail)) {
    json["thumbnailWidth"] = size->first;
    json["thumbnailHeight"] = size->second;
  }
  return json;
}

Json jsonOf(const MetadataBlock& profile) {
  const std::optional<IccFacts> facts = iccFactsOf(profile.bytes);
  if (!facts) return {{"bytes", profile.bytes.size()}, {"description", nullptr}, {"space", nullptr}, {"srgb", false}};
  return {{"bytes", profile.bytes.size()},
          {"description", facts->description},
          {"space", facts->space},
          {"srgb", facts->srgb}};
}

Json resolutionOf(const Metadata& metadata) {
  const double scale = metadata.ratioOnly ? 1 : kMetresPerInch;
  return {{"horizontal", metadata.horizontalResolution * scale},
          {"vertical", metadata.verticalResolution * scale},
          {"unit", metadata.ratioOnly ? "none" : "dpi"}};
}

}  // namespace

std::string metadataText(const Metadata* metadata) {
  if (!metadata) return "";
  std::string lines;
  if (metadata->hasResolution()) {
    const double scale = metadata->ratioOnly ? 1 : kMetresPerInch;
    lines += line(metadata->ratioOnly ? "pixel ratio" : "density",
                  shortNumber(metadata->horizontalResolution * scale) + " x " +
                      shortNumber(metadata->verticalResolution * scale) + (metadata->ratioOnly ? "" : " dpi"));
  }
  for (const MetadataBlock& block : metadata->blocks) lines += textOf(block);
  return lines;
}

void addMetadata(Json& json, const Metadata* metadata) {
  if (!metadata) return;
  Json made, comments = Json::array(), others = Json::array();
  if (metadata->hasResolution()) made["resolution"] = resolutionOf(*metadata);
  bool hasComments = false, hasOthers = false;
  for (const MetadataBlock& block : metadata->blocks) {
    const std::string_view text(reinterpret_cast<const char*>(block.bytes.data()), block.bytes.size());
    if (block.kind == MetadataKind::icc) made["icc"] = jsonOf(block);
    if (block.kind == MetadataKind::exif) made["exif"] = jsonOf(factsOf(block.bytes), block.bytes.size());
    if (block.kind == MetadataKind::xmp) made["xmp"] = {{"bytes", block.bytes.size()}};
    if (block.kind == MetadataKind::iptc) made["iptc"] = {{"bytes", block.bytes.size()}};
    if (block.kind == MetadataKind::comment) comments.push_back({{"keyword", block.name}, {"text", text}});
    if (block.kind == MetadataKind::other) others.push_back({{"name", nameOf(block)}, {"bytes", block.bytes.size()}});
    hasComments |= block.kind == MetadataKind::comment;
    hasOthers |= block.kind == MetadataKind::other;
  }
  if (hasComments) made["comments"] = std::move(comments);
  if (hasOthers) made["other"] = std::move(others);
  json["metadata"] = std::move(made);
}

}  // namespace moxj
