#include "kernels/huffenc.h"

namespace mox::MOX_TARGET {

const HuffEncodeKernels huffEncodeKernels = {definition::encodeBlock, definition::encodeBlockDirect,
                                             definition::countBlock};

}  // namespace mox::MOX_TARGET
