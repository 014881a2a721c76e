// info: prints the structure of a file as text or JSON.
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/j2k_info.h"
#include "cli/output.h"
#include "cli/read_picture.h"
#include "cli/text.h"
#include "jpeg/jpeg.h"
#include "pictures/pgx.h"
#include "pictures/png.h"
#include "pictures/pnm.h"

namespace moxj {

namespace {

using Json = nlohmann::ordered_json;
using moxj::jsonOf;  // for JPEG 2000
using moxj::textOf;

// ---- JPEG as text -----------------------------------------------------------------------------------------------

std::string line(const char* label, const std::string& text) { return format("%-13s %s\n", label, text.c_str()); }

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

std::string textOf(const jpeg::Info& info, std::size_t bytes) {
  std::string text = line("format", "JPEG, " + info.process + (info.supported ? "" : " (not decoded)"));
  text += line("size", format("%d x %d pixels, %d bits per sample, %s", info.width, info.height, info.precision,
                              counted(bytes, "byte").c_str()));
  text += line("colour", info.colourModel + (info.sampling.empty() ? "" : " " + info.sampling));
  if (info.process != "lossless") text += line("quality", qualityText(info));
  text += line("restarts", info.restartInterval == 0 ? "none" : "every " + counted(info.restartInterval, "MCU"));
  for (const jpeg::Component& component : info.components) text += line("component", componentText(component));
  for (const jpeg::QuantTable& table : info.quantTables) text += line("quantisation", stepsText(table));
  for (const jpeg::HuffTable& table : info.huffTables) text += line("Huffman", huffText(table));
  for (const jpeg::Scan& scan : info.scans) text += line("scan", scanText(scan, info.process == "lossless"));
  text += line("segments", "offset   length");
  for (const jpeg::Segment& segment : info.segments) text += segmentText(segment);
  return text;
}

// ---- JPEG as JSON -----------------------------------------------------------------------------------------------

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

Json jsonOf(const jpeg::Info& info, std::size_t bytes) {
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
  return json;
}

// ---- Other pictures ---------------------------------------------------------------------------------------------

std::string textOf(const PictureInfo& info, std::size_t bytes) {
  return line("format", info.format + ", " + info.kind) +
         line("size", std::to_string(info.width) + " x " + std::to_string(info.height) + " pixels, " +
                          counted(info.channels, "channel") + " of " + counted(info.bits, "bit") + ", " +
                          counted(bytes, "byte"));
}

Json jsonOf(const PictureInfo& info, std::size_t bytes) {
  return {{"format", info.format}, {"kind", info.kind},         {"bytes", bytes},   {"width", info.width},
          {"height", info.height}, {"channels", info.channels}, {"bits", info.bits}};
}

template <typename Info>
std::string render(const Info& info, std::size_t bytes, bool json) {
  // Text from the file (a comment, for example) need not be valid UTF-8.
  return json ? jsonOf(info, bytes).dump(2, ' ', false, Json::error_handler_t::replace) + "\n" : textOf(info, bytes);
}

struct Description {
  std::string text;
  ExitStatus status = ExitStatus::ok;
};

Description describe(const std::string& path, const Settings& settings, Report& report) {
  const PictureFile file = openPicture(path, settings.limits);
  const std::size_t bytes = file.source.bytes.size();
  if (file.format == Format::png) return {render(describePng(file.source), bytes, settings.json)};
  if (file.format == Format::pgx) return {render(describePgx(file.source), bytes, settings.json)};
  if (file.format == Format::pnm) return {render(describePnm(file.source), bytes, settings.json)};
  const auto described = [&](const auto& info) -> Description {
    return {render(info, bytes, settings.json), reportOutcome(report, file.name, info)};
  };
  if (isJpeg2000(file.format)) return described(j2k::inspect(file.source.bytes));
  return described(jpeg::inspect(file.source.bytes));
}

}  // namespace

ExitStatus runInfo(const Settings& settings, Report& report) {
  Description description;
  try {
    description = describe(settings.files[0], settings, report);
  } catch (const std::exception& exception) {
    const Ending ending = endingOf(exception);
    report.fileError(displayName(settings.files[0], true), ending.text);
    return ending.status;
  }
  writeText(description.text);
  return description.status;
}

}  // namespace moxj
