// compare: measures the difference between two pictures and prints it as text or JSON.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string_view>

#include "cli/commands.h"
#include "cli/input.h"
#include "cli/library.h"
#include "cli/output.h"
#include "cli/text.h"

namespace moxj::cli {

namespace {

using Json = nlohmann::ordered_json;

std::string psnrText(double psnr) { return std::isinf(psnr) ? "equal" : format("%.2f dB", psnr); }

std::string lineOf(const char* name, int width, const MoxcDifference& difference) {
  return format("%-*s PSNR %-10s max %-4u SSIM %.5f\n", width, name, psnrText(difference.psnr).c_str(), difference.max,
                difference.ssim);
}

// JSON has no infinity: the PSNR of equal samples is null.
Json jsonOf(const MoxcDifference& difference) {
  Json json;
  json["psnr"] = std::isinf(difference.psnr) ? Json(nullptr) : Json(difference.psnr);
  json["mse"] = difference.meanSquare;
  json["max"] = difference.max;
  json["ssim"] = difference.ssim;
  return json;
}

std::string textOf(const MoxcComparison& comparison) {
  constexpr std::size_t kNameWidth = 6;
  std::size_t width = kNameWidth;
  for (int c = 0; c < comparison.channels; ++c) width = std::max(width, std::strlen(comparison.names[c]));
  std::string text;
  const auto add = [&](const char* name, const MoxcDifference& difference) {
    text += lineOf(name, static_cast<int>(width), difference);
  };
  for (int c = 0; c < comparison.channels; ++c) add(comparison.names[c], comparison.channel[c]);
  if (comparison.channels > 1) add("all", comparison.all);
  return text;
}

Json jsonOf(const MoxcComparison& comparison) {
  Json json;
  json["width"] = comparison.width;
  json["height"] = comparison.height;
  if (comparison.bits != 8) json["bits"] = comparison.bits;
  for (int c = 0; c < comparison.channels; ++c) json["channels"][comparison.names[c]] = jsonOf(comparison.channel[c]);
  json["all"] = jsonOf(comparison.all);
  return json;
}

// The library does not know the names of the files.
CallError withName(CallError error, const std::string& first) {
  constexpr std::string_view kFirst = "the first picture";
  if (const std::size_t at = error.text.find(kFirst); at != std::string::npos)
    error.text.replace(at, kFirst.size(), first);
  return error;
}

}  // namespace

ExitStatus runCompare(const Settings& settings, Console& console) {
  const std::string names[] = {displayName(settings.files[0], true), displayName(settings.files[1], true)};
  if (settings.files[0] == "-" && settings.files[1] == "-")
    throw Misuse("standard input can be only one of the two pictures");
  const Input inputs[] = {Input(settings.files[0]), Input(settings.files[1])};
  const CallReport reports[] = {newCallReport(), newCallReport()};
  const Call call(settings, console, "compare");
  MoxcComparison comparison = {};
  comparison.structSize = sizeof comparison;
  const MoxcKind kind =
      moxcCompare(inputs[0].source(), inputs[1].source(), call.run(), &comparison, reports[0].get(), reports[1].get());
  std::vector<ExitStatus> statuses;
  for (const int i : {0, 1}) {
    const MoxcReport* const report = reports[i].get();
    inputs[i].check();
    statuses.push_back(reportOutcome(console, names[i], report));
    if (moxcReportKind(report) != moxcOk)
      return reportError(console, names[i], withName(errorOf(kind, report), names[0]), settings);
  }
  if (kind != moxcOk) return statusOf(kind);
  writeText(settings.json ? jsonOf(comparison).dump(2) + "\n" : textOf(comparison));
  return firstOf(statuses);
}

}  // namespace moxj::cli
