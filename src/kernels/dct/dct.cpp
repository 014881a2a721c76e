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
