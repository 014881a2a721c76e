// Dispatches to the reader of each format.
#include "cli/read_picture.h"

#include <algorithm>
#include "base/problem.h"

#include "cli/input.h"
#include "jpeg/jpeg.h"
#include "moxcore.h"
#include "pictures/format.h"
#include "pictures/pgx.h"
#include "pictures/png.h"
#include "pictures/pnm.h"

namespace moxj {

namespace {

Decoded reduced(DecodedImage image, const Limits& limits) {
  Budget budget(limits.maxMemory);
  budget.charge(1, image.image.bytes());
  Picture picture = toPicture(image.image, image.notes, &budget);
  return {std::move(static_cast<Outcome&>(image)), picture};
}

DecodedImage readImageAs(const PictureFile& file, const Limits& limits, const Progress& progress,
                         const ReadOptions& options) {
  switch (file.format) {
    case Format::jpeg:
      return jpeg::decodeImage(file.source.bytes, limits, progress, options.jpeg);
    case Format::jp2:
    case Format::j2k:
      return j2k::decode(file.source.bytes, limits, progress, options.j2k);
    case Format::pgx:
      return readPgx(file.source, limits);
    case Format::png:
      return readPngImage(file.source, limits, progress);
    default:
      return readPnmImage(file.source, limits);
  }
}

Decoded readAs(const PictureFile& file, const Limits& limits, const Progress& progress, const ReadOptions& options,
               RowSink* sink) {
  switch (file.format) {
    case Format::jpeg:
      return sink ? jpeg::decodeInto(*sink, file.source.bytes, limits, progress, options.jpeg)
                  : jpeg::decode(file.source.bytes, limits, progress, options.jpeg);
    case Format::jp2:
    case Format::j2k:
      return reduced(j2k::decode(file.source.bytes, limits, progress, options.j2k), limits);
    case Format::pgx:
      return reduced(readPgx(file.source, limits), limits);
    case Format::png:
      return readPng(file.source, limits, progress);
    default:
      return readPnm(file.source, limits);
  }
}

}  // namespace

std::uint64_t maxFileBytes(const Limits& limits) {
  constexpr std::uint64_t perPixel = 3 * 6;  // a plain PPM with samples of five digits
  constexpr std::uint64_t metadata = std::uint64_t{64} << 20;
  return metadata + perPixel * limits.maxPixels;
}

PictureFile openPicture(const std::string& path, const Limits& limits) {
  const Source source = readFile(path, maxFileBytes(limits));
  const std::optional<Format> format = sniff(source.bytes);
  if (!format) fail(Kind::notThisFormat, unrecognised(source.bytes));
  return {displayName(path, true), source, *format};
}

int threadsOf(const Settings& settings) { return std::max(1, settings.threads.value_or(moxGetNumThreads())); }

ReadOptions readOptions(const Settings& settings) {
  ReadOptions options{settings.reading, settings.j2kReading};
  options.j2k.threads = threadsOf(settings);
  options.jpeg.inks = settings.j2kReading.components;
  return options;
}

void checkInput(Format format, const Settings& settings) {
  const auto refuse = [&](const std::string& option) {
    if (!option.empty()) fail(Kind::badOption, option + " is not for " + std::string(labelOf(format)) + " files");
  };
  if (format != Format::jpeg) refuse(settings.onlyJpeg);
  if (!isJpeg2000(format)) refuse(settings.onlyJpeg2000);
}

Decoded readPicture(const PictureFile& file, const Limits& limits, Report& report, const ReadOptions& options,
                    RowSink* sink) {
  Decoded decoded = readAs(file, limits, report.progressOf(file.name), options, sink);
  reportOutcome(report, file.name, decoded);
  return decoded;
}

DecodedImage readImage(const PictureFile& file, const Limits& limits, Report& report, const ReadOptions& options) {
  DecodedImage decoded = readImageAs(file, limits, report.progressOf(file.name), options);
  reportOutcome(report, file.name, decoded);
  return decoded;
}

}  // namespace moxj
