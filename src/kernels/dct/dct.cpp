// Which code transforms a block: the definition on the target without vectors, dct_forward.cpp and dct_inverse.cpp on
// all others.
#include "kernels/dct/dct.h"

#include "kernels/dct/dct_vec.h"

namespace mox::MOX_TARGET {

#if MOX_VECTOR
const DctKernels dctKernels = {
    .forward = forwardDct,
    .inverse = inverseDct,
    .forwardShifted = forwardDctShifted,
    .inverseShifted = inverseDctShifted,
};
#else
const DctKernels dctKernels = {
    .forward = definition::forwardDctQuant,
    .inverse = definition::inverseDctQuant,
    .forwardShifted = definition::forwardDctQuantShifted,
    .inverseShifted = definition::inverseDctQuantShifted,
};
#endif

}  // namespace mox::MOX_TARGET
