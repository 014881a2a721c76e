// compare: measures the difference between two pictures and prints it as text or JSON.
#include <cmath>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/output.h"
#include "cli/read_picture.h"
#include "cli/text.h"
#include "pictures/compare.h"
#include "pictures/convert.h"

namespace moxj {

namespace {

using Json = nlohmann::ordered_json;

std::string channelName(const Picture& picture, std::size_t channel) {
  if (picture.channels == 1) return "grey";
  constexpr const char* names[] = {"red", "green", "blue"};
  return names[channel];
}

std::string psnrText(double psnr) { return std::isinf(psnr) ? "equal" : format("%.2f dB", psnr); }

std::string lineOf(const std::string& name, const Difference& difference) {
  return format("%-6s PSNR %-10s max %-4d SSIM %.5f\n", name.c_str(), psnrText(difference.psnr).c_str(), difference.max,
                difference.ssim);
}

// JSON has no infinity: the PSNR of equal samples is null.
Json jsonOf(const Difference& difference) {
  Json json;
  json["psnr"] = std::isinf(difference.psnr) ? Json(nullptr) : Json(difference.psnr);
  json["mse"] = difference.meanSquare;
  json["max"] = difference.max;
  json["ssim"] = difference.ssim;
  return json;
}

std::string textOf(const Picture& picture, const Comparison& comparison) {
  std::string text;
  for (std::size_t channel = 0; channel < comparison.channels.size(); ++channel)
    text += lineOf(channelName(picture, channel), comparison.channels[channel]);
  if (comparison.channels.size() > 1) text += lineOf("all", comparison.all);
  return text;
}

Json jsonOf(const Picture& picture, const Comparison& comparison) {
  Json json;
  json["width"] = picture.width;
  json["height"] = picture.height;
  for (std::size_t channel = 0; channel < comparison.channels.size(); ++channel)
    json["channels"][channelName(picture, channel)] = jsonOf(comparison.channels[channel]);
  json["all"] = jsonOf(comparison.all);
  return json;
}

std::string sizeOf(const Picture& picture) {
  return std::to_string(picture.width) + " x " + std::to_string(picture.height);
}

// Reports a failure here, so that the message names the right one of the two files, and returns nullopt.
std::optional<Decoded> readOne(const std::string& path, const Settings& settings, Report& report, ExitStatus& status) {
  try {
    return readPicture(openPicture(path, settings.limits), settings.limits, report, readOptions(settings));
  } catch (const std::exception& exception) {
    const Ending ending = endingOf(exception);
    report.fileError(displayName(path, true), ending.text);
    status = ending.status;
  }
  return std::nullopt;
}

}  // namespace

ExitStatus runCompare(const Settings& settings, Report& report) {
  if (settings.files[0] == "-" && settings.files[1] == "-")
    throw Misuse("standard input can be only one of the two pictures");
  ExitStatus status = ExitStatus::ok;
  std::optional<Decoded> a = readOne(settings.files[0], settings, report, status);
  if (!a) return status;
  std::optional<Decoded> b = readOne(settings.files[1], settings, report, status);
  if (!b) return status;
  if (a->picture.width != b->picture.width || a->picture.height != b->picture.height)
    fail(Kind::badOption, displayName(settings.files[1], true) + ": " + sizeOf(b->picture) + " pixels, but " +
                              displayName(settings.files[0], true) + " has " + sizeOf(a->picture));
  if (a->picture.channels != b->picture.channels) {
    a->picture = toColour(a->picture);
    b->picture = toColour(b->picture);
  }
  const Comparison comparison = compare(a->picture, b->picture);
  writeText(settings.json ? jsonOf(a->picture, comparison).dump(2) + "\n" : textOf(a->picture, comparison));
  return a->complete && b->complete ? ExitStatus::ok : ExitStatus::incomplete;
}

}  // namespace moxj
