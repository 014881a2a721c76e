// Options of the interface as options of the codec.
#pragma once

#include "formats/options.h"
#include "jpeg/jpeg.h"
#include "moxcodec.h"

namespace moxj::api {

// All throw Problem (badOption), which names the option, or BadArgument. The structs may be null.
ReadOptions readOptionsOf(const MoxcReadOptions* options);
WriteOptions writeOptionsOf(const MoxcWriteOptions* options);
jpeg::TranscodeOptions transcodeOptionsOf(const MoxcTranscodeOptions* options);

}  // namespace moxj::api
