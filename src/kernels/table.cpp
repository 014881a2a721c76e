// The record of this target's families: the one symbol that leaves the target's objects.
#include "kernels/colour/mcu.h"
#include "kernels/colour/rgb.h"
#include "kernels/colour/sample.h"
#include "kernels/colour/shift.h"
#include "kernels/colour/ycc.h"
#include "kernels/dct/dct.h"
#include "kernels/dct/quant.h"
#include "kernels/entropy/huffdec.h"
#include "kernels/entropy/huffenc.h"
#include "kernels/entropy/lossless.h"
#include "kernels/entropy/losslesscode.h"
#include "kernels/entropy/progdec.h"
#include "kernels/entropy/progenc.h"
#include "kernels/kernels.h"
#include "kernels/tier1/t1dec.h"
#include "kernels/tier1/t1enc.h"
#include "kernels/wavelet/rct.h"
#include "kernels/wavelet/wt.h"

#define MOX_PASTE(a, b) a##b
#define MOX_TABLE_NAME(target) MOX_PASTE(mox_kernels_, target)

extern "C" {
extern const mox::Kernels MOX_TABLE_NAME(MOX_TARGET);
const mox::Kernels MOX_TABLE_NAME(MOX_TARGET) = {
    .dct = &mox::MOX_TARGET::dctKernels,
    .huffDecode = &mox::MOX_TARGET::huffDecodeKernels,
    .huffEncode = &mox::MOX_TARGET::huffEncodeKernels,
    .lossless = &mox::MOX_TARGET::losslessKernels,
    .losslessCode = &mox::MOX_TARGET::losslessCodeKernels,
    .mcuDecode = &mox::MOX_TARGET::mcuDecodeKernels,
    .mcuEncode = &mox::MOX_TARGET::mcuEncodeKernels,
    .progDecode = &mox::MOX_TARGET::progDecodeKernels,
    .progEncode = &mox::MOX_TARGET::progEncodeKernels,
    .quant = &mox::MOX_TARGET::quantKernels,
    .rct = &mox::MOX_TARGET::rctKernels,
    .rgb = &mox::MOX_TARGET::rgbKernels,
    .sample = &mox::MOX_TARGET::sampleKernels,
    .shift = &mox::MOX_TARGET::shiftKernels,
    .tier1Decode = &mox::MOX_TARGET::tier1DecodeKernels,
    .tier1Encode = &mox::MOX_TARGET::tier1EncodeKernels,
    .wt53 = &mox::MOX_TARGET::wt53Kernels,
    .wt97 = &mox::MOX_TARGET::wt97Kernels,
    .ycc = &mox::MOX_TARGET::yccKernels,
};
}
