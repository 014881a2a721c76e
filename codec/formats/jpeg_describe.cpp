// What is in a JPEG file, as text and as JSON.
#include <algorithm>

#include "formats/formats.h"
#include "formats/json.h"
#include "formats/metadata_text.h"
#include "formats/text.h"
#include "jpeg/jpeg.h"
#include "jpeg/metadata.h"

namespace moxj {

namespace {

using text::counted;
using text::format;
using text::line;

// ---- Text -------------------------------------------------------------------------------------------------------

std::string qualityText(const jpeg::Info& info) {
  if (!info.quality) return "unknown (no table like those of T.81 Annex K)";
  return std::to_string(*info.quality) + (info.qualityExact ? "" : " (about)");
}

std::string componentText(const jpeg::Component& component) {
  return format("%-3d %dx%d  %d x %d samples, quantisation table %d", component.id, component.horizontal,
                component.vertical, component.width, component.height, component.quantTable);
}

std::string stepsText(const jpeg::QuantTable& table) {
  std::string text = format("%d, %d bits", table.index, table.bits);
  for (std::size_t i = 0; i < table.steps.size(); ++i)
    text += format("%s%4d", i % 8 == 0 ? "\n               " : " ", table.steps[i]);
  return text;
}

std::string huffText(const jpeg::HuffTable& table) {
  return format("%s %d, %s", table.ac ? "AC" : "DC", table.index, counted(table.codes, "code").c_str());
}

std::string segmentText(const jpeg::Segment& segment) {
  std::string text = format("%20llu %8llu  %s", static_cast<unsigned long long>(segment.offset),
                            static_cast<unsigned long long>(segment.length), segment.name.c_str());
  if (!segment.detail.empty())
    text.append(segment.name.size() < 6 ? 6 - segment.name.size() : 1, ' ') += segment.detail;
  return text + "\n";
}

std::string scanText(const jpeg::Scan& scan, bool lossless) {
  std::string text = "components";
  for (const jpeg::ScanComponent& component : scan.components)
    text += format(" %d (DC %d, AC %d)", component.id, component.dcTable, component.acTable);
  text += lossless ? format(", predictor %d, point transform %d", scan.spectralStart, scan.approxLow)
                   : format(", coefficients %d to %d", scan.spectralStart, scan.spectralEnd);
  if (!lossless && (scan.approxHigh != 0 || scan.approxLow != 0))
    text += format(", bits %d to %d", scan.approxHigh, scan.approxLow);
  return text + ", " + counted(scan.dataLength, "byte") + " at " + std::to_string(scan.dataOffset);
}

std::string textOf(const jpeg::Info& info, const Metadata* metadata, std::size_t bytes) {
  std::string text = line("format", "JPEG, " + info.process + (info.supported ? "" : " (not decoded)"));
  text += line("size", format("%d x %d pixels, %d bits per sample, %s", info.width, info.height, info.precision,
                              counted(bytes, "byte").c_str()));
  text += line("colour", info.colourModel + (info.sampling.empty() ? "" : " " + info.sampling));
  if (info.process != "lossless") text += line("quality", qualityText(info));
  text += line("restarts", info.restartInterval == 0 ? "none" : "every " + counted(info.restartInterval, "MCU"));
  text += metadataText(metadata);
  if (info.bytesBefore > 0) text += line("before the start", counted(info.bytesBefore, "byte"));
  if (info.pictures > 1) text += line("pictures", std::to_string(info.pictures));
  if (info.bytesAfterEnd > 0) text += line("after the end", counted(info.bytesAfterEnd, "byte"));
  for (const jpeg::Component& component : info.components) text += line("component", componentText(component));
  for (const jpeg::QuantTable& table : info.quantTables) text += line("quantisation", stepsText(table));
  for (const jpeg::HuffTable& table : info.huffTables) text += line("Huffman", huffText(table));
  for (const jpeg::Scan& scan : info.scans) text += line("scan", scanText(scan, info.process == "lossless"));
  text += line("segments", "offset   length");
  for (const jpeg::Segment& segment : info.segments) text += segmentText(segment);
  return text;
}

// ---- JSON -------------------------------------------------------------------------------------------------------

Json jsonOf(const jpeg::Component& component) {
  return {{"id", component.id},       {"horizontal", component.horizontal}, {"vertical", component.vertical},
          {"width", component.width}, {"height", component.height},         {"quantTable", component.quantTable}};
}

Json jsonOf(const jpeg::QuantTable& table) {
  return {{"index", table.index}, {"bits", table.bits}, {"steps", table.steps}};
}

Json jsonOf(const jpeg::HuffTable& table) {
  return {{"class", table.ac ? "AC" : "DC"}, {"index", table.index}, {"codes", table.codes}};
}

Json jsonOf(const jpeg::Segment& segment) {
  return {{"marker", segment.marker},
          {"name", segment.name},
          {"offset", segment.offset},
          {"length", segment.length},
          {"detail", segment.detail}};
}

Json jsonOf(const jpeg::ScanComponent& component) {
  return {{"id", component.id}, {"dcTable", component.dcTable}, {"acTable", component.acTable}};
}

Json jsonOf(const jpeg::Scan& scan);

template <typename Element>
Json listOf(const std::vector<Element>& elements) {
  Json list = Json::array();
  for (const Element& element : elements) list.push_back(jsonOf(element));
  return list;
}

Json jsonOf(const jpeg::Scan& scan) {
  return {{"components", listOf(scan.components)}, {"spectralStart", scan.spectralStart},
          {"spectralEnd", scan.spectralEnd},       {"approxHigh", scan.approxHigh},
          {"approxLow", scan.approxLow},           {"dataOffset", scan.dataOffset},
          {"dataLength", scan.dataLength}};
}

Json jsonOf(const jpeg::Info& info, const Metadata* metadata, std::size_t bytes) {
  Json json;
  json["format"] = "JPEG";
  json["process"] = info.process;
  json["supported"] = info.supported;
  json["bytes"] = bytes;
  json["width"] = info.width;
  json["height"] = info.height;
  json["bits"] = info.precision;
  json["colour"] = info.colourModel;
  json["sampling"] = info.sampling.empty() ? Json(nullptr) : Json(info.sampling);
  json["quality"] = info.quality ? Json(*info.quality) : Json(nullptr);
  json["qualityExact"] = info.qualityExact;
  json["restartInterval"] = info.restartInterval;
  json["components"] = listOf(info.components);
  json["quantTables"] = listOf(info.quantTables);
  json["huffTables"] = listOf(info.huffTables);
  json["scans"] = listOf(info.scans);
  json["segments"] = listOf(info.segments);
  json["complete"] = info.complete;
  addMetadata(json, metadata);
  if (info.bytesBefore > 0) json["bytesBefore"] = info.bytesBefore;
  if (info.pictures > 1) json["pictures"] = info.pictures;
  if (info.bytesAfterEnd > 0) json["bytesAfterEnd"] = info.bytesAfterEnd;
  return json;
}

}  // namespace

Description describeJpeg(Input& input, Work& work) {
  const ByteSpan file = input.all(maxFileBytes(work.limits));
  jpeg::Info info = jpeg::inspect(file);
  Description description;
  description.format = "JPEG";
  description.width = static_cast<std::uint64_t>(info.width);
  description.height = static_cast<std::uint64_t>(info.height);
  description.channels = static_cast<int>(info.components.size());
  description.bits = info.precision;
  description.metadata = jpeg::readMetadata(file.subspan(info.bytesBefore), work.budget, info.notes);
  description.text = textOf(info, description.metadata.get(), file.size());
  description.json = jsonText(jsonOf(info, description.metadata.get(), file.size()));
  static_cast<Outcome&>(description) = std::move(static_cast<Outcome&>(info));
  return description;
}

}  // namespace moxj
