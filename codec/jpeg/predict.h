// Rebuilding rows of samples above 32767 (T.81 H.1.2.1).
#pragma once

#include "moxj.h"

namespace moxj::jpeg {

// As moxiReconstructPredRow_JPEG_16s_C1, but the halves of predictors 5 to 7 are those of samples without sign, as
// T.81 and other decoders have them. The library's are those of signed values, which makes no difference to smaller
// samples.
void reconstructUnsignedRow(const Mox16s* differences, const Mox16s* above, Mox16s* row, int width, int predictor);

}  // namespace moxj::jpeg
