// The code-block decoder's kernels: coding passes over MQ-coded or raw segments.
#pragma once

#include "kernels/tier1/contexts.h"
#include "moxj.h"

namespace mox {

namespace tier1 {

// A column of a stripe: its flags, 16 bits a row. The words lie in the caller's bytes.
using FlagWord [[gnu::may_alias]] = uint64_t;

struct DecodePass {
  FlagWord* flags;  // of the first stripe's first column; a spare word on either side of every stripe
  Mox32s* dst;
  int32_t dstStep, width, height;
  uint32_t one, half;  // the magnitude's bit of the current bit-plane, and the one below it; 0 where there is none
  uint32_t kept;       // the bits that refinement keeps
  const ContextTable* significance;
  mq::Decoder mq;
  mq::RawReader raw;
};

}  // namespace tier1

struct Tier1DecodeKernels {
  void (*significance[2][2])(tier1::DecodePass& pass);  // [raw][causal]
  void (*refinement[2])(tier1::DecodePass& pass);       // [raw]
  void (*cleanup[2])(tier1::DecodePass& pass);          // [causal]
  // Replaces each of `count` contexts with the decision that is decoded in it.
  void (*decide)(mq::Decoder& coder, uint8_t* contexts, int count);
};

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const Tier1DecodeKernels tier1DecodeKernels;
}
#endif

}  // namespace mox
