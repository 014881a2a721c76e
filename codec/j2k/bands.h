// Decodes a picture band by band, for memory that does not hold it.
#pragma once

#include <functional>
#include <optional>

#include "j2k/j2k.h"
#include "pictures/rows.h"

namespace moxj::j2k {

// If the picture takes more memory than is left, gives it to a sink in bands, each of which is decoded as a region:
// rows of tiles, or parts of them. Otherwise, and for regions and up-sampled pictures, nothing happens. `pause` is
// called after each band. Throws Problem as decode() does.
std::optional<Outcome> decodeInBands(RowSink& sink, ByteSpan file, const DecodeOptions& options, Work& work,
                                     const std::function<void()>& pause = {});

}  // namespace moxj::j2k
