// Huffman decoding of an 8x8 block for one scan of a progressive image (T.81 G.2). Scans add to the coefficients that
// earlier ones have left; nothing clears a block.
#pragma once

#include "kernels/entropy/band.h"
#include "kernels/entropy/bitio.h"
#include "kernels/entropy/state.h"
#include "kernels/entropy/zigzag.h"
#include "moxj.h"

namespace mox {

// Arguments are those of the exported functions, already checked. A refinement of DC takes one bit: every target uses
// the definition.
struct ProgDecodeKernels {
  MoxStatus (*dcFirst)(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, Mox16s* lastDC,
                       int32_t* marker, int32_t low, const DecodeSpec* table, DecodeState* state);
  MoxStatus (*acFirst)(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, int32_t* marker, Band band,
                       const DecodeSpec* table, DecodeState* state);
  MoxStatus (*acRefine)(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, int32_t* marker, Band band,
                        const DecodeSpec* table, DecodeState* state);
};

namespace definition {

// The steps that the kernels' reader shares are always inlined: a reader whose address is taken lives in memory instead
// of registers.

// Runs `decode` on a reader and keeps the reader's state, even after a failure.
template <bool Wide, class Decode>
MoxStatus taken(const Mox8u* src, int32_t length, int32_t* position, int32_t* marker, DecodeState* state,
                Decode&& decode) {
  BitReader<false, Wide> in{src, length, *position, *marker, state->low, state->high, state->count};
  const MoxStatus status = decode(in);
  *position = in.position;
  *marker = in.marker;
  state->low = in.low;
  state->high = in.high;
  state->count = in.count;
  return status ? status : in.notice;
}

// A value in units of 2^low, which wraps at 16 bits.
constexpr Mox16s scaled(int value, int32_t low) { return static_cast<Mox16s>(static_cast<uint32_t>(value) << low); }

template <class Reader>
[[gnu::always_inline]] inline MoxStatus walkDCFirst(Reader& in, Mox16s* dst, Mox16s* lastDC, int32_t low,
                                                    const DecodeSpec& table) {
  int symbol = 0, difference = 0;
  if (const MoxStatus bad = in.symbol(table, symbol)) return bad;
  if (const int size = symbol & 15)
    if (const MoxStatus bad = in.value(size, difference)) return bad;
  *lastDC = static_cast<Mox16s>(*lastDC + difference);  // wraps at 16 bits
  dst[0] = scaled(*lastDC, low);
  return moxStatusOk;
}

inline MoxStatus decodeDCFirst(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, Mox16s* lastDC,
                               int32_t* marker, int32_t low, const DecodeSpec* table, DecodeState* state) {
  return taken<false>(src, length, position, marker, state,
                      [&](auto& in) { return walkDCFirst(in, dst, lastDC, low, *table); });
}

inline MoxStatus decodeDCRefine(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, int32_t* marker,
                                int32_t low, DecodeState* state) {
  return taken<false>(src, length, position, marker, state, [&](auto& in) {
    uint32_t bit = 0;
    if (const MoxStatus bad = in.bit(bit)) return bad;
    dst[0] = static_cast<Mox16s>(dst[0] | bit << low);
    return moxStatusOk;
  });
}

// The length of the end-of-band run that a symbol of class `runClass` (0 to 14) starts, this block included.
template <class Reader>
[[gnu::always_inline]] inline MoxStatus takeRun(Reader& in, int runClass, int32_t& blocks) {
  uint32_t rest = 0;
  if (runClass > 0)
    if (const MoxStatus bad = in.take(runClass, rest)) return bad;
  blocks = static_cast<int32_t>((1u << runClass) + rest);
  return moxStatusOk;
}

// T.81 G.2.2. A run of zeros may lead past the band and past the block. As in the sequential decoder, up to nine
// positions past the block mean coefficient 63, and any more are an error.
template <class Reader>
[[gnu::always_inline]] inline MoxStatus walkACFirst(Reader& in, Mox16s* dst, Band band, const DecodeSpec& table,
                                                    int32_t& blocks) {
  for (int k = band.start; k <= band.end; k++) {
    int symbol = 0, value = 0;
    if (const MoxStatus bad = in.symbol(table, symbol)) return bad;
    const int run = symbol >> 4, size = symbol & 15;
    k += run;
    if (size > 0) {
      if (const MoxStatus bad = in.value(size, value)) return bad;
      if (k >= 64 + kZigZagGuards) return moxStatusError;
      dst[kZigZag.natural[k]] = scaled(value, band.low);
    } else if (run < 15) {
      return takeRun(in, run, blocks);
    }
  }
  return moxStatusOk;
}

inline MoxStatus decodeACFirst(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, int32_t* marker,
                               Band band, const DecodeSpec* table, DecodeState* state) {
  if (state->eobRun > 0) {
    state->eobRun--;
    return moxStatusOk;
  }
  return taken<true>(src, length, position, marker, state, [&](auto& in) {
    int32_t blocks = 0;
    if (const MoxStatus bad = walkACFirst(in, dst, band, *table, blocks)) return bad;
    state->eobRun = blocks > 0 ? blocks - 1 : 0;
    return moxStatusOk;
  });
}

// A coefficient whose correction bit is 1: it moves away from 0 by that bit's value, unless the bit is set already.
constexpr Mox16s corrected(Mox16s coefficient, int32_t low) {
  if (coefficient >> low & 1) return coefficient;
  return static_cast<Mox16s>(coefficient + (coefficient < 0 ? -(1 << low) : 1 << low));
}
static_assert(corrected(4, 1) == 6 && corrected(-4, 1) == -6 && corrected(2, 1) == 2);

// T.81 G.2.3. Passes the coefficients from `k` on and reads the correction bit of each that is not 0. Stops at the
// coefficient of 0 that follows `zeros` (0 to 15) others, or at the end of the band.
template <class Reader>
MoxStatus passCoefficients(Reader& in, Mox16s* dst, Band band, int& k, int zeros) {
  for (; k <= band.end; k++) {
    Mox16s& coefficient = dst[kZigZag.natural[k]];
    if (coefficient == 0) {
      if (zeros-- == 0) return moxStatusOk;
      continue;
    }
    uint32_t bit = 0;
    if (const MoxStatus bad = in.take(1, bit)) return bad;
    if (bit) coefficient = corrected(coefficient, band.low);
  }
  return moxStatusOk;
}

// Any size but 0 counts as 1. A new coefficient past the end of the band is dropped.
template <class Reader>
MoxStatus walkACRefine(Reader& in, Mox16s* dst, Band band, const DecodeSpec& table, int32_t& blocks) {
  int k = band.start;
  for (; blocks <= 0 && k <= band.end; k++) {
    int symbol = 0;
    uint32_t positive = 0;
    if (const MoxStatus bad = in.symbol(table, symbol)) return bad;
    const int run = symbol >> 4, size = symbol & 15;
    if (size == 0 && run < 15) {
      if (const MoxStatus bad = takeRun(in, run, blocks)) return bad;
      break;
    }
    if (size > 0)
      if (const MoxStatus bad = in.take(1, positive)) return bad;
    if (const MoxStatus bad = passCoefficients(in, dst, band, k, run)) return bad;
    if (size > 0 && k <= band.end) dst[kZigZag.natural[k]] = scaled(positive ? 1 : -1, band.low);
  }
  if (blocks <= 0) return moxStatusOk;
  if (const MoxStatus bad = passCoefficients(in, dst, band, k, 64)) return bad;
  blocks--;
  return moxStatusOk;
}

// When the correction bits run out, a run that was pending or has just been read stays in the state.
inline MoxStatus decodeACRefine(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, int32_t* marker,
                                Band band, const DecodeSpec* table, DecodeState* state) {
  return taken<true>(src, length, position, marker, state, [&](auto& in) {
    int32_t blocks = state->eobRun;
    const MoxStatus status = walkACRefine(in, dst, band, *table, blocks);
    state->eobRun = blocks;
    return status;
  });
}

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const ProgDecodeKernels progDecodeKernels;
}
#endif

}  // namespace mox
