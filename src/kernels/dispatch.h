// The choice of a target's kernels, made once when the library is loaded.
#pragma once

#include "kernels/choice.h"
#include "kernels/kernels.h"

namespace mox {

struct Target {
  const char* name;
  const Kernels* kernels;
  bool runsHere() const;
};

// The targets in this build, from the scalar definition to the best.
struct TargetList {
  const Target* first;
  int count;
  const Target* begin() const { return first; }
  const Target* end() const { return first + count; }
};
TargetList targets();

namespace kernels {

// The kernels in use: the scalar definition until the constructor of the library has chosen, so that a call from an
// earlier constructor works, too. It is the only writable variable of the library; only tests set it later.
extern const Kernels* active;

inline const DctKernels& dct() { return *active->dct; }
inline const HuffDecodeKernels& huffDecode() { return *active->huffDecode; }
inline const HuffEncodeKernels& huffEncode() { return *active->huffEncode; }
inline const LosslessKernels& lossless() { return *active->lossless; }
inline const LosslessCodeKernels& losslessCode() { return *active->losslessCode; }
inline const McuDecodeKernels& mcuDecode() { return *active->mcuDecode; }
inline const McuEncodeKernels& mcuEncode() { return *active->mcuEncode; }
inline const ProgDecodeKernels& progDecode() { return *active->progDecode; }
inline const ProgEncodeKernels& progEncode() { return *active->progEncode; }
inline const QuantKernels& quant() { return *active->quant; }
inline const RctKernels& rct() { return *active->rct; }
inline const RgbKernels& rgb() { return *active->rgb; }
inline const SampleKernels& sample() { return *active->sample; }
inline const ShiftKernels& shift() { return *active->shift; }
inline const Tier1DecodeKernels& tier1Decode() { return *active->tier1Decode; }
inline const Tier1EncodeKernels& tier1Encode() { return *active->tier1Encode; }
inline const Wt53Kernels& wt53() { return *active->wt53; }
inline const Wt97Kernels& wt97() { return *active->wt97; }
inline const YccKernels& ycc() { return *active->ycc; }

}  // namespace kernels
}  // namespace mox
