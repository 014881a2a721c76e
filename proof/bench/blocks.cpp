// Transform and quantisation of blocks.
#include "proof/bench/blocks.h"

#include <memory>

#include "proof/bench.h"
#include "proof/bench/data.h"
#include "proof/huffman.h"

namespace moxj::proof {
namespace {

// T.81 Table K.1, luminance.
constexpr Mox8u kLuminance[64] = {16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
                                  14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
                                  18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
                                  49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99};

Run forward() {
  return [blocks = std::make_shared<Blocks>()] {
    MoxStatus status = moxStatusOk;
    for (int i = 0; i < kBlocks && status >= 0; i++)
      status = moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(blocks->block(i), Blocks::kStep, blocks->levelsOf(i),
                                                   blocks->reciprocals);
    return status;
  };
}

Run inverse() {
  return [blocks = std::make_shared<Blocks>()] {
    MoxStatus status = moxStatusOk;
    for (int i = 0; i < kBlocks && status >= 0; i++)
      status = moxiDCTQuantInv8x8LS_JPEG_16s8u_C1R(blocks->levelsOf(i), blocks->block(i), Blocks::kStep, blocks->steps);
    return status;
  };
}

template <auto Function, bool Forward>
Run quantiser() {
  return [blocks = std::make_shared<Blocks>()] {
    MoxStatus status = moxStatusOk;
    for (int i = 0; i < kBlocks && status >= 0; i++)
      status = Function(blocks->levelsOf(i), Forward ? blocks->reciprocals : blocks->steps);
    return status;
  };
}

const Workload kWorkloads[] = {
    {"dct", "forward, from samples", "sample", kBlockSamples, 3 * kBlockSamples, forward},
    {"dct", "inverse, to samples", "sample", kBlockSamples, 3 * kBlockSamples, inverse},
    {"quantisation", "forward", "coefficient", kBlockSamples, 4 * kBlockSamples,
     quantiser<moxiQuantFwd8x8_JPEG_16s_C1I, true>},
    {"quantisation", "inverse", "coefficient", kBlockSamples, 4 * kBlockSamples,
     quantiser<moxiQuantInv8x8_JPEG_16s_C1I, false>},
};

}  // namespace

Blocks::Blocks() : samples(picture(kStep, 32, 1)), levels(kBlocks * 64) {
  Mox8u raw[64];  // in zig-zag order
  for (int i = 0; i < 64; i++) raw[i] = kLuminance[test::kNatural[i]];
  moxiQuantFwdRawTableInit_JPEG_8u(raw, 75);
  moxiQuantFwdTableInit_JPEG_8u16u(raw, reciprocals);
  moxiQuantInvTableInit_JPEG_8u16u(raw, steps);
  for (int i = 0; i < kBlocks; i++) moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(block(i), kStep, levelsOf(i), reciprocals);
}

Workloads blockWorkloads() { return kWorkloads; }

}  // namespace moxj::proof
