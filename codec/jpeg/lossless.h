// Converts the decoded samples of lossless files (T.81 Annex H) to pictures and images. All memory is charged to the
// budget.
#pragma once

#include <vector>

#include "jpeg/colour.h"
#include "jpeg/frame.h"
#include "jpeg/jpeg.h"
#include "jpeg/losslessreader.h"
#include "pictures/image.h"

namespace moxj::jpeg {

// Planes for the components of a frame, filled with mid-grey.
std::vector<SamplePlane> makePlanes(const Frame& frame, Budget& budget);

// An 8-bit picture, produced as for the other processes. The sink may be null.
Picture paintSamples(const Frame& frame, ColourModel model, const std::vector<SamplePlane>& planes,
                     const DecodeOptions& options, RowSink* sink, Budget& budget);

// An image of any depth: grey, RGB or YCbCr. CMYK is converted to RGB unless options.inks is set.
Image imageOfSamples(const Frame& frame, ColourModel model, const std::vector<SamplePlane>& planes,
                     const DecodeOptions& options, Budget& budget);

}  // namespace moxj::jpeg
