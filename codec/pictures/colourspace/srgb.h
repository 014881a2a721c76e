// Converts the colours of a picture to sRGB.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "pictures/rows.h"
#include "pictures/work.h"

namespace moxj {

// A sink that converts a picture to sRGB and passes it on: as RGB or, of grey, as grey, with its opacity and without an
// ICC profile. The colours are what the ICC profile says, otherwise the picture's colour space; inks without a profile
// are converted by a formula. A profile that cannot be used is dropped, with a note. Samples of up to 8 bits become 8
// bits, others keep their depth up to 16. Planes without a meaning stay what they are.
//
// Rows go through in bands, in which the threads of `work` share. begin() throws Problem (unsupported) if lcms2 cannot
// be loaded and something has to be converted by it.
std::unique_ptr<RowSink> convertingToSrgb(RowSink& next, std::vector<std::string>& notes, Work& work);

}  // namespace moxj
