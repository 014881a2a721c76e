// Sequential Huffman decoding of an 8x8 block (T.81 F.2.2).
#pragma once

#include "kernels/entropy/bitio.h"
#include "kernels/entropy/state.h"
#include "kernels/entropy/zigzag.h"
#include "moxj.h"

namespace mox {

// Arguments are those of the exported functions, already checked. `direct` is the definition on every target.
struct HuffDecodeKernels {
  MoxStatus (*block)(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, Mox16s* lastDC, int32_t* marker,
                     const DecodeSpec* dcTable, const DecodeSpec* acTable, DecodeState* state);
  MoxStatus (*direct)(const Mox8u* src, int32_t* bitPosition, Mox16s* dst, Mox16s* lastDC, int32_t* marker,
                      Mox32u* bits, int32_t* count, const DecodeSpec* dcTable, const DecodeSpec* acTable);
};

namespace definition {

template <bool Direct>
MoxStatus decodeDC(BitReader<Direct>& in, const DecodeSpec& table, Mox16s* dst, Mox16s* lastDC) {
  __builtin_memset(dst, 0, 64 * sizeof *dst);
  int symbol = 0, difference = 0;
  if (const MoxStatus bad = in.symbol(table, symbol)) return bad;
  if (const int size = symbol & 15)
    if (const MoxStatus bad = in.value(size, difference)) return bad;
  dst[0] = *lastDC = static_cast<Mox16s>(*lastDC + difference);  // wraps at 16 bits
  return moxStatusOk;
}

// `cursor` ends after the last position that a symbol has reached: above 64 if a run of zeros was too long.
template <bool Direct>
MoxStatus decodeAC(BitReader<Direct>& in, const DecodeSpec& table, Mox16s* dst, int& cursor) {
  for (cursor = 1; cursor < 64;) {
    int symbol = 0, value = 0;
    if (const MoxStatus bad = in.symbol(table, symbol)) return bad;
    const int run = symbol >> 4, size = symbol & 15;
    if (size == 0) {
      if (run < 15) break;
      cursor += 16;
      continue;
    }
    cursor += run;
    if (const MoxStatus bad = in.value(size, value)) return bad;
    if (cursor >= 64 + kZigZagGuards) return moxStatusError;
    dst[kZigZag.natural[cursor++]] = static_cast<Mox16s>(value);
  }
  return moxStatusOk;
}

inline MoxStatus decodeBlock(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, Mox16s* lastDC,
                             int32_t* marker, const DecodeSpec* dcTable, const DecodeSpec* acTable,
                             DecodeState* state) {
  BitReader<false> in{src, length, *position, *marker, state->low, state->high, state->count};
  int cursor = 0;
  MoxStatus status = decodeDC(in, *dcTable, dst, lastDC);
  if (!status) status = decodeAC(in, *acTable, dst, cursor);
  *position = in.position;
  *marker = in.marker;
  state->low = in.low;
  state->high = in.high;
  state->count = in.count;
  if (status) return status;
  state->unfilled = 64 - cursor;
  return in.notice;
}

// When the bits run out before a DC symbol, position, bits and count stay as they are; before an AC symbol, the bits
// left are dropped. Neither is an error. A failure leaves the three as they are.
inline MoxStatus decodeBlockDirect(const Mox8u* src, int32_t* bitPosition, Mox16s* dst, Mox16s* lastDC, int32_t* marker,
                                   Mox32u* bits, int32_t* count, const DecodeSpec* dcTable, const DecodeSpec* acTable) {
  BitReader<true> in{src, INT32_MAX, *bitPosition / 8, *marker, *bits, 0, *count};
  int cursor = 0;
  MoxStatus status = decodeDC(in, *dcTable, dst, lastDC);
  const bool reachedAC = !status;
  if (reachedAC) status = decodeAC(in, *acTable, dst, cursor);
  *marker = in.marker;
  if (status != kRanOut && status) return status;
  if (status == kRanOut && !reachedAC) return moxStatusOk;
  *bitPosition = static_cast<int32_t>(static_cast<uint32_t>(in.position) * 8);
  if (status == kRanOut) {
    *count = 0;
    return moxStatusOk;
  }
  *bits = in.low;
  *count = in.count;
  return moxStatusOk;
}

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const HuffDecodeKernels huffDecodeKernels;
}
#endif

}  // namespace mox
