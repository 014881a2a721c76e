// The inverse 5/3 transform of samples that are too deep for the library's.
#pragma once

#include "j2k/params.h"
#include "j2k/tileplane.h"

namespace moxj::j2k {

// The library adds two coefficients in 32 bits. Up to this depth, no sample values make that overflow, not even after a
// component transform, which adds a bit.
inline constexpr int kMaxShallowBits = 26;

// One level, in place: the bands become the samples of `rect`. False if values do not fit 32 bits, which are clamped.
bool deepInverse(TilePlane& plane, const Rect& rect);

}  // namespace moxj::j2k
