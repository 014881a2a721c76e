// The code-block encoder's kernels: the scan of a bit-plane into symbols, and the MQ coder over them.
#pragma once

#include "kernels/tier1/bitslice.h"
#include "moxj.h"

namespace mox {

namespace tier1 {

// One coding pass of the scan. The symbols of the pass are appended at `symbols`; kernels may write up to
// kSymbolSlack bytes behind the last one.
inline constexpr int kSymbolSlack = 64;

struct ScanPass {
  Chunk* chunks;           // of the first stripe; a spare one on either side, and a spare stripe above and below
  const uint8_t* windows;  // 64 for each chunk, of each coefficient the kWindowBits magnitude bits from the plane down
  int width, height;
  Band band;
  bool causal;  // a coefficient of the first row tells nothing to the stripe above
  bool exact;   // for the distortion: the decoder knows the magnitude once this bit-plane is decoded
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
  // Gathers a block into chunks of 64 coefficients in the order of the scan, with zeros outside of the block, and the
  // signs into `chunks`. Gives the OR of all words.
  uint32_t (*arrange)(const Mox32s* src, int32_t srcStep, int32_t width, int32_t height, uint32_t* coefficients,
                      tier1::Chunk* chunks);
  // The windows of `count` coefficients, a multiple of 64.
  void (*window)(const uint32_t* coefficients, size_t count, int plane, uint8_t* windows);
  void (*significance[2])(tier1::ScanPass& pass);  // [raw]
  void (*refinement)(tier1::ScanPass& pass);
  void (*cleanup)(tier1::ScanPass& pass);
  void (*code)(tier1::MqEncoder& coder, const uint8_t* symbols, const uint8_t* end);
};

namespace definition {

// BYTEOUT (C.2.6) where the last shift went -ct places past the one that completed B: the byte that is out, the
// registers, and the new B. The upper bits of c are B with its carry. 0xFF leaves only seven bits for the next byte,
// whose top bit takes a carry into the 0xFF.
struct Out {
  uint64_t c;
  int ct;
  uint8_t byte, next;
};
constexpr Out byteOut(uint64_t c, int ct) {
  const int position = 27 - ct;
  const uint64_t top = c >> position, byte = top < 0xFF ? top : 0xFF;
  c -= byte << position;
  ct += byte < 0xFF ? 8 : 7;
  return {c, ct, static_cast<uint8_t>(byte), static_cast<uint8_t>(c >> (27 - ct))};
}

static_assert(byteOut(UINT64_C(0x12) << 27 | 0x34 << 19, 0).byte == 0x12);
static_assert(byteOut(UINT64_C(0x12) << 27 | 0x34 << 19, 0).next == 0x34);
static_assert(byteOut(UINT64_C(0xFF) << 27 | 0x34 << 20, 0).next == 0x34);
static_assert(byteOut(UINT64_C(0x100) << 27 | 0x34 << 20, 0).byte == 0xFF);
static_assert(byteOut(UINT64_C(0x100) << 27 | 0x34 << 20, 0).next == 0xB4);

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const Tier1EncodeKernels tier1EncodeKernels;
}
#endif

}  // namespace mox
