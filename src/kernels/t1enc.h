// The code-block encoder's kernels: the scan of a bit-plane into symbols, and the MQ coder over them.
#pragma once

#include "mj2t1.h"
#include "moxj.h"

namespace mox {

namespace tier1 {

// One coding pass of the scan. The symbols of the pass are appended at `symbols`; kernels may write up to
// kSymbolSlack bytes behind the last one.
inline constexpr int kSymbolSlack = 64;

struct ScanPass {
  uint64_t* flags;          // of the first stripe's first column; a spare word on either side of every stripe
  const uint32_t* columns;  // the coefficients, four to each column of a stripe
  int width, height;
  int plane;
  const SymbolTable* significanceZero;
  const SignificanceGain* significanceGain;
  const RefinementGain* refinementGain;
  uint8_t* symbols;
  uint32_t distortion;  // summed modulo 2^32
};

// The encoder's registers (C.2), with B, the byte under construction, kept above the code register in `c`: at bit 27
// once `ct` shifts more have been made. A carry so moves into B by itself; `out` points to B as it was without one.
struct MqEncoder {
  mq::Contexts contexts;
  uint32_t a;
  uint64_t c;
  int ct;
  uint8_t* out;
};

}  // namespace tier1

struct Tier1EncodeKernels {
  // Gathers a block into columns of four, with zeros below the last row, and gives the OR of all its words.
  uint32_t (*arrange)(const Mox32s* src, int32_t srcStep, int32_t width, int32_t height, uint32_t* columns);
  void (*significance[2][2])(tier1::ScanPass& pass);  // [raw][causal]
  void (*refinement)(tier1::ScanPass& pass);
  void (*cleanup[2])(tier1::ScanPass& pass);  // [causal]
  void (*code)(tier1::MqEncoder& coder, const uint8_t* symbols, const uint8_t* end);
};

namespace definition {

// BYTEOUT (C.2.6) where the last shift went `over` places past the one that completed B. The upper bits of c are B
// with its carry. 0xFF leaves only seven bits for the next byte, whose top bit takes a carry into the 0xFF.
inline void byteOut(tier1::MqEncoder& coder) {
  const int position = 27 - coder.ct;
  const uint64_t top = coder.c >> position;
  const uint64_t byte = top < 0xFF ? top : 0xFF;
  *coder.out++ = static_cast<uint8_t>(byte);
  coder.c -= byte << position;
  coder.ct += byte < 0xFF ? 8 : 7;
  *coder.out = static_cast<uint8_t>(coder.c >> (27 - coder.ct));
}

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const Tier1EncodeKernels tier1EncodeKernels;
}
#endif

}  // namespace mox
