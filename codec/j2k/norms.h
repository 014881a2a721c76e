// How much an error of a sub-band's coefficients weighs in the samples.
#pragma once

#include "j2k/tile.h"

namespace moxj::j2k {

// The L2 norm of the synthesis functions of a band, `levels` decompositions down.
double bandNorm(bool reversible, Orientation orientation, int levels);

// The same of a component in the inverse component transform.
double componentNorm(bool transformed, bool reversible, int component);

}  // namespace moxj::j2k
