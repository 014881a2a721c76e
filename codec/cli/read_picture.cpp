#include "cli/read_picture.h"

#include "cli/input.h"
#include "failure.h"
#include "jpeg/jpeg.h"
#include "pictures/format.h"
#include "pictures/png.h"
#include "pictures/pnm.h"

namespace moxj {

namespace {

Decoded readAs(Format format, const Source& source, const Limits& limits, const Progress& progress,
               const jpeg::DecodeOptions& options) {
  switch (format) {
    case Format::jpeg:
      return jpeg::decode(source.bytes, limits, progress, options);
    case Format::png:
      return readPng(source, limits, progress);
    default:
      return readPnm(source, limits);
  }
}

}  // namespace

std::uint64_t mostBytes(const Limits& limits) {
  constexpr std::uint64_t perPixel = 3 * 6;  // a plain PPM with samples of five digits
  constexpr std::uint64_t besides = std::uint64_t{64} << 20;
  return besides + perPixel * limits.maxPixels;
}

Decoded readPicture(const std::string& path, const Limits& limits, Report& report,
                    const jpeg::DecodeOptions& options) {
  const std::string name = shownName(path, true);
  const Source source = readFile(path, mostBytes(limits));
  const std::optional<Format> format = sniff(source.bytes);
  if (!format) refuse(kUnknownFormat);
  Decoded decoded = readAs(*format, source, limits, report.progressOf(name), options);
  for (const std::string& note : decoded.notes) report.fileNote(name, note);
  if (!decoded.complete) report.fileWarning(name, decoded.warning);
  return decoded;
}

}  // namespace moxj
