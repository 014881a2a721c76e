// The code-block encoder's kernels.
//
// The definition (passes.h) visits every coefficient, looks up its neighbours and appends a symbol. The vector targets
// take sixteen columns of a stripe at once, a bit for each coefficient in the order of the scan (bitslice.h):
// neighbours are shifts of 64-bit sets, and the bits of all 64 contexts come from logical operations. Which
// coefficients a pass codes is then a question of sets as well: in the significance propagation pass it is settled by
// iteration, as each coefficient that becomes significant adds neighbours; in the cleanup pass by finding the columns
// that are coded as runs. The remaining loop only appends the symbols of the members of a set: t1enc_avx512.h
// compresses a vector, t1enc_words.h walks the bits.
//
// The MQ coder runs later, over the symbols of a whole pass (mq_loop.h).
#if defined(MOX_TARGET_IS_scalar)
#include "kernels/tier1/t1enc_plain.h"
#else
#include "kernels/tier1/t1enc_sliced.h"
#endif

namespace mox::MOX_TARGET {
namespace {

uint32_t arrange(const Mox32s* src, int32_t srcStep, int32_t width, int32_t height, uint32_t* coefficients,
                 Chunk* chunks) {
  return arrangeBlock(src, srcStep, width, height, coefficients, chunks, gather);
}

}  // namespace

const Tier1EncodeKernels tier1EncodeKernels = {
    .arrange = arrange,
    .window = window,
    .significance = {significance<false>, significance<true>},
    .refinement = refinement,
    .cleanup = cleanup,
    .code = code,
};

}  // namespace mox::MOX_TARGET
