#include "kernels/progdec.h"

namespace mox::MOX_TARGET {

const ProgDecodeKernels progDecodeKernels = {definition::decodeDCFirst, definition::decodeDCRefine,
                                             definition::decodeACFirst, definition::decodeACRefine};

}  // namespace mox::MOX_TARGET
