// Files of the lossless process (T.81 Annex H): what a decoder makes of their samples.
#pragma once

#include <vector>

#include "jpeg/colour.h"
#include "jpeg/frame.h"
#include "jpeg/jpeg.h"
#include "jpeg/losslessreader.h"
#include "pictures/image.h"

namespace moxj::jpeg {

// Planes of mid-grey.
std::vector<SamplePlane> makePlanes(const Frame& frame);

// Pictures of 8 bits, as those of the other processes are made. The sink may be null.
Picture paintSamples(const Frame& frame, ColourModel model, const std::vector<SamplePlane>& planes,
                     const DecodeOptions& options, RowSink* sink);

// Samples of other depths: grey, RGB or YCbCr; of CMYK, if inks are not asked for, RGB.
Image imageOfSamples(const Frame& frame, ColourModel model, const std::vector<SamplePlane>& planes,
                     const DecodeOptions& options);

}  // namespace moxj::jpeg
