// compare: measures the difference between two pictures and prints it as text or JSON.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/commands.h"
#include "cli/input.h"
#include "cli/library.h"
#include "cli/output.h"

namespace moxj::cli {

namespace {

using Json = nlohmann::ordered_json;

std::string lineOf(const char* name, int width, const MoxcDifference& difference) {
  char psnr[16] = "equal", line[96];
  if (!std::isinf(difference.psnr)) std::snprintf(psnr, sizeof psnr, "%.2f dB", difference.psnr);
  std::snprintf(line, sizeof line, "%-*s PSNR %-10s max %-4u SSIM %.5f\n", width, name, psnr, difference.max,
                difference.ssim);
  return line;
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

std::string sizeOf(const MoxcShape& shape) {
  return std::to_string(shape.width) + " x " + std::to_string(shape.height);
}

// What a call that has failed says about the second picture. The library does not know the name of the first.
CallError mismatchOf(MoxcKind kind, const MoxcReport* report, const MoxcComparison& comparison,
                     const std::string& first) {
  CallError error = errorOf(kind, report);
  const MoxcShape &a = comparison.a, &b = comparison.b;
  if (kind != moxcBadOption || b.width == 0) return error;
  if (sizeOf(a) == sizeOf(b) && a.channels == b.channels) return error;
  error.text = sizeOf(a) != sizeOf(b)
                   ? sizeOf(b) + " pixels, but " + first + " has " + sizeOf(a)
                   : std::to_string(b.channels) + " components, but " + first + " has " + std::to_string(a.channels);
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
      return reportError(console, names[i], mismatchOf(kind, report, comparison, names[0]), settings);
  }
  if (kind != moxcOk) return statusOf(kind);
  writeText(settings.json ? jsonOf(comparison).dump(2) + "\n" : textOf(comparison));
  return firstOf(statuses);
}

}  // namespace moxj::cli
