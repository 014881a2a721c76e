// Visual weights: how much of an error in a sub-band the eye sees.
#pragma once

#include "j2k/tile.h"

namespace moxj::j2k {

enum class Vision { luminance, chroma };

// The weight of the squared error of a band after `levels` decompositions, 0 to 1, of a component with this
// sub-sampling.
double visualWeight(Vision vision, Orientation orientation, int levels, const ComponentSize& size);

}  // namespace moxj::j2k
