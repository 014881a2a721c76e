// Which code transforms a block: the definition on the target without vectors, dct_forward.cpp and dct_inverse.cpp on
// all others.
#include "kernels/dct/dct.h"

#include "kernels/dct/dct_vec.h"

namespace mox::MOX_TARGET {

#if MOX_VECTOR
const DctKernels dctKernels = {forwardDct, inverseDct, forwardDctShifted, inverseDctShifted};
#else
const DctKernels dctKernels = {definition::forwardDctQuant, definition::inverseDctQuant,
                               definition::forwardDctQuantShifted, definition::inverseDctQuantShifted};
#endif

}  // namespace mox::MOX_TARGET
