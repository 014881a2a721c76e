// The weight of an error in the coefficients of a sub-band, measured in the samples.
#pragma once

#include "j2k/tile.h"

namespace moxj::j2k {

// The L2 norm of the synthesis functions of a band after `levels` decompositions.
double bandNorm(bool reversible, Orientation orientation, int levels);

// The L2 norm of a component in the inverse component transform.
double componentNorm(bool transformed, bool reversible, int component);

}  // namespace moxj::j2k
