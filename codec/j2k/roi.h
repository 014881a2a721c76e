// Regions of interest by max-shift (Annex H): which coefficients a region needs.
#pragma once

#include <vector>

#include "j2k/j2k.h"
#include "j2k/tile.h"

namespace moxj::j2k {

// The coefficients of each band (by Band::index, in the coordinates of the band) that the samples of the region are
// synthesised from, in a tile-component with this sub-sampling.
std::vector<Rect> coefficientsOf(const InterestRegion& region, const ComponentSize& size,
                                 const TileComponent& component);

}  // namespace moxj::j2k
