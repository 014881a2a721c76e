#include "kernels/progenc.h"

namespace mox::MOX_TARGET {

const ProgEncodeKernels progEncodeKernels = {definition::encodeACFirst, definition::encodeACRefine,
                                             definition::countACFirst, definition::countACRefine};

}  // namespace mox::MOX_TARGET
