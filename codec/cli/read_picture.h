// A picture file of any format, from its name to its samples.
#pragma once

#include <string>

#include "cli/report.h"
#include "file.h"
#include "j2k/j2k.h"
#include "jpeg/jpeg.h"
#include "pictures/format.h"
#include "pictures/image.h"
#include "pictures/picture.h"

namespace moxj {

// The most bytes that a picture within the limits can need in any format, with room for what else a file holds.
std::uint64_t mostBytes(const Limits& limits);

// A file whose first bytes are those of a format.
struct PictureFile {
  std::string name;  // for messages
  Source source;
  Format format;
};

// Throws Failure.
PictureFile openPicture(const std::string& path, const Limits& limits);

struct ReadOptions {
  jpeg::DecodeOptions jpeg;
  j2k::DecodeOptions j2k;
};

// Warnings and notes go to the report. With a sink, which is for JPEG files, the rows go there and the result has no
// picture. Throws Failure.
Decoded readPicture(const PictureFile& file, const Limits& limits, Report& report, const ReadOptions& options = {},
                    RowSink* sink = nullptr);

// The same with the depth and the components of the file.
DecodedImage readImage(const PictureFile& file, const Limits& limits, Report& report, const ReadOptions& options);

}  // namespace moxj
