// The wavelet transform of a tile-component, all its levels, in place.
#pragma once

#include <vector>

#include "j2k/plane.h"
#include "j2k/tile.h"

namespace moxj::j2k {

// Samples become coefficients in the order that tile.h describes, or the other way round, from the first up to
// `resolutions` resolutions. For the irreversible transform the numbers have `fractionBits()` fraction bits.
void transformForward(Plane& plane, const TileComponent& component);
void transformInverse(Plane& plane, const TileComponent& component, int resolutions);

// The library's 9/7 transform cuts off what is below 1 after each pass, so that the samples are given fraction bits:
// as many as leave room for the growth of 16-bit samples in the 24 bits of a single-precision mantissa and some
// above.
inline int fractionBits(int bits) { return bits <= 8 ? 14 : 24 - bits; }

}  // namespace moxj::j2k
