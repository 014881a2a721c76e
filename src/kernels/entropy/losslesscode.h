// Huffman coding of the differences of lossless JPEG, one at a time (T.81 H.1.2.2, H.2.2).
#pragma once

#include "kernels/bytes.h"
#include "kernels/entropy/bitio.h"
#include "kernels/entropy/huffenc.h"
#include "kernels/entropy/state.h"
#include "moxj.h"

namespace mox {

// Arguments are those of the exported functions, already checked.
struct LosslessCodeKernels {
  void (*encode)(Mox16s difference, Mox8u* dst, int32_t length, int32_t* position, const EncodeSpec* table,
                 EncodeState* state);
  MoxStatus (*decode)(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, int32_t* marker,
                      const DecodeSpec* table, DecodeState* state);
};

namespace definition {

// The category of the difference 32768, whose code no value bits follow.
inline constexpr int kLargestCategory = 16;

// Failures are not reported: the position shows that a destination is full.
inline void encodeDifference(Mox16s difference, Mox8u* dst, int32_t length, int32_t* position, const EncodeSpec* table,
                             EncodeState* state) {
  BitWriter out(dst, length, *position, *state);
  const int size = category(difference);
  if (!out.emitCode(*table, size) && size > 0 && size < kLargestCategory) out.emit(valueBits(difference, size), size);
  *position = out.position;
  out.keep(*state);
}

// Categories above 16, which no table should have, count as 16. A position outside the source has no data after it.
inline MoxStatus decodeDifference(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, int32_t* marker,
                                  const DecodeSpec* table, DecodeState* state) {
  BitReader<false> in{src,         *position < 0 ? *position : length, *position, *marker, state->low, state->high,
                      state->count};
  int size = 0, difference = 0;
  MoxStatus status = in.symbol(*table, size);
  if (!status && size >= kLargestCategory) difference = -32768;
  if (!status && size > 0 && size < kLargestCategory) status = in.value(size, difference);
  *position = in.position;
  *marker = in.marker;
  state->low = in.low;
  state->high = in.high;
  state->count = in.count;
  if (status) return status;
  put(dst, static_cast<Mox16s>(difference));
  return in.notice;
}

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const LosslessCodeKernels losslessCodeKernels;
}
#endif

}  // namespace mox
