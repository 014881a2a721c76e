// Gives the decoded samples of lossless files (T.81 Annex H), and of others with more than 8 bits, to a sink.
#pragma once

#include "jpeg/colour.h"
#include "jpeg/frame.h"
#include "jpeg/jpeg.h"
#include "pictures/rows.h"
#include "pictures/work.h"

namespace moxj::jpeg {

// Planes of the sizes and the depth of the components of a frame, filled with mid-grey.
Picture makeSamples(const Frame& frame, Budget& budget);

// Gives the samples to the sink (begin() and rows()): as they are if they are what the options ask for, otherwise
// up-sampled and with other colours. Samples of 8 bits become what the other processes give; other depths are kept.
void pushSamples(const Frame& frame, ColourModel model, const Picture& samples, const DecodeOptions& options,
                 RowSink& sink, Work& work);

}  // namespace moxj::jpeg
