// Reconstructs rows with samples above 32767 (T.81 H.1.2.1).
#pragma once

#include "moxj.h"

namespace moxj::jpeg {

// Like moxiReconstructPredRow_JPEG_16s_C1, but computes predictors 5 to 7 from unsigned samples, as T.81 and other
// decoders do. The library computes them from signed values, which differs only for samples above 32767.
void reconstructUnsignedRow(const Mox16s* differences, const Mox16s* above, Mox16s* row, int width, int predictor);

}  // namespace moxj::jpeg
