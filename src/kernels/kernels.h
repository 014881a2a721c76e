// The kernels of one target: one table of function pointers per family.
//
// Every file of this directory is compiled once per target (all but dispatch.cpp and tier1/mq_end.cpp), its code in
// namespace mox::MOX_TARGET, so that the same source is the scalar definition in one object and AVX-512 code in
// another. What leaves the objects of a target is its Kernels record alone, mox_kernels_<target>.
#pragma once

namespace mox {

struct DctKernels;
struct HuffDecodeKernels;
struct HuffEncodeKernels;
struct LosslessKernels;
struct LosslessCodeKernels;
struct McuDecodeKernels;
struct McuEncodeKernels;
struct ProgDecodeKernels;
struct ProgEncodeKernels;
struct QuantKernels;
struct RctKernels;
struct RgbKernels;
struct SampleKernels;
struct ShiftKernels;
struct Tier1DecodeKernels;
struct Tier1EncodeKernels;
struct Wt53Kernels;
struct Wt97Kernels;
struct YccKernels;

struct Kernels {
  const DctKernels* dct;
  const HuffDecodeKernels* huffDecode;
  const HuffEncodeKernels* huffEncode;
  const LosslessKernels* lossless;
  const LosslessCodeKernels* losslessCode;
  const McuDecodeKernels* mcuDecode;
  const McuEncodeKernels* mcuEncode;
  const ProgDecodeKernels* progDecode;
  const ProgEncodeKernels* progEncode;
  const QuantKernels* quant;
  const RctKernels* rct;
  const RgbKernels* rgb;
  const SampleKernels* sample;
  const ShiftKernels* shift;
  const Tier1DecodeKernels* tier1Decode;
  const Tier1EncodeKernels* tier1Encode;
  const Wt53Kernels* wt53;
  const Wt97Kernels* wt97;
  const YccKernels* ycc;
};

}  // namespace mox
