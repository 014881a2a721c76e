#include "kernels/dct.h"

namespace mox::MOX_TARGET {

const DctKernels dctKernels = {definition::forwardDctQuant, definition::inverseDctQuant,
                               definition::forwardDctQuantShifted, definition::inverseDctQuantShifted};

}  // namespace mox::MOX_TARGET
