#include "kernels/huffdec.h"

namespace mox::MOX_TARGET {

const HuffDecodeKernels huffDecodeKernels = {definition::decodeBlock, definition::decodeBlockDirect};

}  // namespace mox::MOX_TARGET
