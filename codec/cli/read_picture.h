// A picture file of any format, from its name to its samples.
#pragma once

#include <string>

#include "cli/report.h"
#include "jpeg/jpeg.h"
#include "pictures/picture.h"

namespace moxj {

// The most bytes that a picture within the limits can need in any format, with room for what else a file holds.
std::uint64_t mostBytes(const Limits& limits);

// Warnings and notes go to the report. Throws Failure.
Decoded readPicture(const std::string& path, const Limits& limits, Report& report,
                    const jpeg::DecodeOptions& options = {});

}  // namespace moxj
