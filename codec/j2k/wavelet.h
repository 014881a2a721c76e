// The wavelet transforms of a tile-component: in place.
#pragma once

#include <vector>

#include "j2k/tile.h"
#include "j2k/tileplane.h"

namespace moxj::j2k {

// Between samples and coefficients arranged as described in tile.h. The inverse transform reconstructs the lowest
// `resolutions` resolutions. In the irreversible transforms the numbers have fractionBits() fraction bits.
void transformForward(TilePlane& plane, const TileComponent& component);
// False if values of deep samples do not fit 32 bits (deepwavelet.h).
bool transformInverse(TilePlane& plane, const TileComponent& component, int resolutions);
// One level of a part of a resolution: `rect`, in the coordinates of the resolution. The samples at its edges are not
// those of the whole, and not checked.
void transformInverse(TilePlane& plane, const TileComponent& component, const Rect& rect);

// One level of the forward transform, of the rows and columns at these coordinates, which begin the plane.
void transformLevel(TilePlane& plane, const Rect& rect, bool reversible);

// The library's 9/7 transform truncates to integers after each pass, so the samples get fraction bits: as many as fit
// beside the sample in the 24 bits of a single-precision mantissa, or 14 for samples of up to 8 bits.
inline int fractionBits(int bits) { return bits <= 8 ? 14 : 24 - bits; }

}  // namespace moxj::j2k
