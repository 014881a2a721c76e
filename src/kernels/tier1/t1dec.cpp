// The code-block decoder's kernels.
//
// The definition (passes.h) visits every coefficient and tests whether the pass codes it. The vector targets test
// sixteen columns of a stripe at once: the flags of a coefficient are 16 bits of memory, "some neighbour is
// significant" is one test of a vector of them, and its result is a set of 64 bits in the order of the scan. The loop
// then visits only the members of that set. Which members follow still depends on every decision, as a coefficient that
// becomes significant brings its neighbours into the significance propagation pass and takes the next column out of run
// mode; that is a shift and a mask of the set (bitslice.h). Refinement needs no such care: its contexts are all known
// at the start, and the values change by vectors (t1dec_avx512.h, t1dec_avx2.h) or one by one (t1dec_words.h).
//
// The MQ decoder keeps its registers in machine registers through a pass (mq_loop.h).
#if defined(MOX_TARGET_IS_scalar)
#include "kernels/tier1/t1dec_plain.h"
#else
#include "kernels/tier1/t1dec_sliced.h"
#endif

namespace mox::MOX_TARGET {

const Tier1DecodeKernels tier1DecodeKernels = {
    .significance = {{significance<MqPass, false>, significance<MqPass, true>},
                     {significance<RawPass, false>, significance<RawPass, true>}},
    .refinement = {refinement<MqPass>, refinement<RawPass>},
    .cleanup = {cleanup<false>, cleanup<true>},
    .decide = decide,
};

}  // namespace mox::MOX_TARGET
