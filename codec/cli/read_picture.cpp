#include "cli/read_picture.h"

#include "cli/input.h"
#include "failure.h"
#include "jpeg/jpeg.h"
#include "pictures/format.h"
#include "pictures/png.h"
#include "pictures/pnm.h"

namespace moxj {

namespace {

Decoded readAs(const PictureFile& file, const Limits& limits, const Progress& progress,
               const jpeg::DecodeOptions& options, RowSink* sink) {
  switch (file.format) {
    case Format::jpeg:
      return sink ? jpeg::decodeInto(*sink, file.source.bytes, limits, progress, options)
                  : jpeg::decode(file.source.bytes, limits, progress, options);
    case Format::png:
      return readPng(file.source, limits, progress);
    default:
      return readPnm(file.source, limits);
  }
}

}  // namespace

std::uint64_t mostBytes(const Limits& limits) {
  constexpr std::uint64_t perPixel = 3 * 6;  // a plain PPM with samples of five digits
  constexpr std::uint64_t besides = std::uint64_t{64} << 20;
  return besides + perPixel * limits.maxPixels;
}

PictureFile openPicture(const std::string& path, const Limits& limits) {
  const Source source = readFile(path, mostBytes(limits));
  const std::optional<Format> format = sniff(source.bytes);
  if (!format) refuse(kUnknownFormat);
  return {shownName(path, true), source, *format};
}

Decoded readPicture(const PictureFile& file, const Limits& limits, Report& report, const jpeg::DecodeOptions& options,
                    RowSink* sink) {
  Decoded decoded = readAs(file, limits, report.progressOf(file.name), options, sink);
  for (const std::string& note : decoded.notes) report.fileNote(file.name, note);
  if (!decoded.complete) report.fileWarning(file.name, decoded.warning);
  return decoded;
}

}  // namespace moxj
