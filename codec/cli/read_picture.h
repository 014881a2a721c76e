// Opens and decodes a picture file of any format.
#pragma once

#include <string>

#include "base/file.h"
#include "cli/options.h"
#include "cli/report.h"
#include "j2k/j2k.h"
#include "jpeg/jpeg.h"
#include "pictures/format.h"
#include "pictures/image.h"
#include "pictures/picture.h"

namespace moxj {

// The maximum size of a file with a picture within the limits, in any format and with room for metadata.
std::uint64_t maxFileBytes(const Limits& limits);

// A file whose format has been recognised.
struct PictureFile {
  std::string name;  // for messages
  Source source;
  Format format;
};

// Throws Problem.
PictureFile openPicture(const std::string& path, const Limits& limits);

struct ReadOptions {
  jpeg::DecodeOptions jpeg;
  j2k::DecodeOptions j2k;
};

// As the command line asks for.
ReadOptions readOptions(const Settings& settings);

// The number of threads for one picture.
int threadsOf(const Settings& settings);

// Throws Problem (badOption) if an option of `decode` does not apply to files of this format: ignored silently, it
// would be a mistake that nobody notices.
void checkInput(Format format, const Settings& settings);

// Reports warnings and notes. With a sink (JPEG files only) the rows go to the sink and the result has no picture.
// Throws Problem.
Decoded readPicture(const PictureFile& file, const Limits& limits, Report& report, const ReadOptions& options = {},
                    RowSink* sink = nullptr);

// The same, but keeps the depth and the components of the file.
DecodedImage readImage(const PictureFile& file, const Limits& limits, Report& report, const ReadOptions& options);

}  // namespace moxj
