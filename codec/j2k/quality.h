// Measures what a decoder makes of a file.
#pragma once

#include "pictures/picture.h"

namespace moxj::j2k {

// In dB, of all samples together, each relative to the largest value of its plane; infinite if they are equal. The
// planes of both are of the same size.
double psnrOf(const Picture& original, const Picture& decoded);

}  // namespace moxj::j2k
