// JPEG 2000 files as text and as JSON.
#include <algorithm>

#include "formats/formats.h"
#include "formats/json.h"
#include "formats/metadata_text.h"
#include "formats/text.h"
#include "j2k/j2k.h"
#include "j2k/names.h"

namespace moxj {

namespace {

using text::counted;
using text::line;

std::string sizeText(j2k::Coord width, j2k::Coord height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

const char* waveletOf(const j2k::CodingStyle& coding) { return coding.reversible ? "5/3" : "9/7"; }

const char* transformOf(const j2k::TileParams& params) {
  return !params.style.transform ? "none" : params.coding[0].reversible ? "RCT" : "ICT";
}

const char* quantisationOf(const j2k::Quantisation& quantisation) {
  constexpr const char* names[] = {"none", "derived", "expounded"};
  return names[quantisation.kind];
}

bool isUnknownCoder(const j2k::CodingStyle& coding) { return coding.modes & j2k::kHighThroughput; }

// Whether the picture is smaller than the reference grid, because its components are sub-sampled alike.
bool isSmaller(const j2k::Info& info) {
  return info.width != info.siz.image.width() || info.height != info.siz.image.height();
}

std::string componentText(const j2k::Info& info, std::size_t c) {
  const j2k::ComponentSize& size = info.siz.components[c];
  return text::format("%-3d %dx%d  %s, %s", static_cast<int>(c), size.dx, size.dy,
                      counted(static_cast<std::uint64_t>(size.bits), "bit").c_str(),
                      size.isSigned ? "signed" : "unsigned");
}

std::string segmentText(const j2k::Segment& segment) {
  return text::format("%20llu %8llu  %-5s %s\n", static_cast<unsigned long long>(segment.offset),
                      static_cast<unsigned long long>(segment.length), segment.name.c_str(), segment.detail.c_str());
}

Json jsonOf(const j2k::Box& box) { return {{"type", box.type}, {"offset", box.offset}, {"length", box.length}}; }

Json jsonOf(const j2k::Segment& segment) {
  return {{"marker", segment.marker},
          {"name", segment.name},
          {"offset", segment.offset},
          {"length", segment.length},
          {"detail", segment.detail}};
}

Json jsonOf(const j2k::ComponentSize& size) {
  return {{"bits", size.bits}, {"signed", size.isSigned}, {"dx", size.dx}, {"dy", size.dy}};
}

template <typename Element>
Json listOf(const std::vector<Element>& elements) {
  Json list = Json::array();
  for (const Element& element : elements) list.push_back(jsonOf(element));
  return list;
}

std::string textOf(const j2k::Info& info, std::size_t bytes) {
  const j2k::CodingStyle& coding = info.params.coding[0];
  std::string text = line("format", std::string("JPEG 2000, ") + (info.boxed ? "JP2" : "codestream"));
  text += line("size", sizeText(info.width, info.height) + " pixels, " +
                           counted(info.siz.components.size(), "component") + ", " + counted(bytes, "byte"));
  if (isSmaller(info)) text += line("grid", sizeText(info.siz.image.width(), info.siz.image.height()));
  constexpr std::string_view kNumbered = "colour space ";
  if (info.colour.starts_with(kNumbered))
    text += line("colour space", info.colour.substr(kNumbered.size()));
  else if (!info.colour.empty())
    text += line("colour", info.colour);
  if (info.palette > 0)
    text += line("palette", std::to_string(info.palette) + (info.palette == 1 ? " entry" : " entries"));
  text += metadataText(info.metadata.get());
  text += line("tiles", std::to_string(info.siz.tiles()) + " of " + sizeText(info.siz.tileWidth, info.siz.tileHeight) +
                            ", " + counted(info.tileParts, "tile-part"));
  text += line("wavelet", std::string(waveletOf(coding)) + ", " + counted(coding.levels, "level"));
  text += line("transform", transformOf(info.params));
  text += line("quantisation", std::string(quantisationOf(info.params.quantisation[0])) + ", " +
                                   counted(info.params.quantisation[0].guardBits, "guard bit"));
  text += line("code-blocks", sizeText(1 << coding.blockWidthLog, 1 << coding.blockHeightLog));
  text += line("modes", j2k::modeNames(coding.modes) + (isUnknownCoder(coding) ? " (not decoded)" : ""));
  text +=
      line("progression", j2k::orderName(info.params.style.order) + ", " + counted(info.params.style.layers, "layer"));
  for (std::size_t c = 0; c < info.siz.components.size(); ++c) text += line("component", componentText(info, c));
  for (const j2k::Box& box : info.boxes)
    text += line("box", box.type + ", " + counted(box.length, "byte") + " at " + std::to_string(box.offset));
  text += line("segments", "offset   length");
  for (const j2k::Segment& segment : info.segments) text += segmentText(segment);
  return text;
}

Json jsonOf(const j2k::Info& info, std::size_t bytes) {
  const j2k::CodingStyle& coding = info.params.coding[0];
  Json json;
  json["format"] = "JPEG 2000";
  json["boxed"] = info.boxed;
  json["bytes"] = bytes;
  json["width"] = info.width;
  json["height"] = info.height;
  if (isSmaller(info)) {
    json["gridWidth"] = info.siz.image.width();
    json["gridHeight"] = info.siz.image.height();
  }
  json["colour"] = info.colour.empty() ? Json(nullptr) : Json(info.colour);
  json["palette"] = info.palette;
  json["tileWidth"] = info.siz.tileWidth;
  json["tileHeight"] = info.siz.tileHeight;
  json["tiles"] = info.siz.tiles();
  json["tileParts"] = info.tileParts;
  json["wavelet"] = waveletOf(coding);
  json["levels"] = coding.levels;
  json["transform"] = transformOf(info.params);
  json["quantisation"] = quantisationOf(info.params.quantisation[0]);
  json["blockWidth"] = 1 << coding.blockWidthLog;
  json["blockHeight"] = 1 << coding.blockHeightLog;
  json["modes"] = j2k::modeNames(coding.modes);
  json["progression"] = j2k::orderName(info.params.style.order);
  json["layers"] = info.params.style.layers;
  json["components"] = listOf(info.siz.components);
  json["boxes"] = listOf(info.boxes);
  json["segments"] = listOf(info.segments);
  json["complete"] = info.complete;
  addMetadata(json, info.metadata.get());
  return json;
}

}  // namespace

Description describeJpeg2000(Input& input, Work& work) {
  const ByteSpan file = input.all(maxFileBytes(work.limits));
  j2k::Info info = j2k::inspect(file, work.budget);
  Description description;
  description.metadata = info.metadata;
  description.format = "JPEG 2000";
  description.width = static_cast<std::uint64_t>(info.width);
  description.height = static_cast<std::uint64_t>(info.height);
  description.channels = static_cast<int>(info.siz.components.size());
  for (const j2k::ComponentSize& component : info.siz.components)
    description.bits = std::max(description.bits, component.bits);
  description.text = textOf(info, file.size());
  description.json = jsonText(jsonOf(info, file.size()));
  static_cast<Outcome&>(description) = std::move(static_cast<Outcome&>(info));
  return description;
}

}  // namespace moxj
