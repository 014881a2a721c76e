// The Huffman objects: what the opaque types of the public header hold. They live in the caller's memory at any address
// (hence packed), which the caller may also access as bytes (hence may_alias). Their layout is the same on 32-bit and
// 64-bit machines.
#pragma once

#include <cstddef>
#include <cstdint>

#include "moxj.h"

// A table of an encoder: one word per symbol, the code in bits 0 to 15, its length (1 to 16) above; 0: no code.
struct [[gnu::packed, gnu::may_alias]] MoxEncodeHuffmanSpec {
  uint32_t code[256];
};

// A table of a decoder. Lengths index the per-length arrays directly; lastCode is kNoCode where a length has no
// codes.
struct [[gnu::packed, gnu::may_alias]] MoxDecodeHuffmanSpec {
  uint16_t symbol[256];  // in the order of increasing code length
  uint32_t fast[256];    // by the next 8 bits: length << 16 | symbol, 0 when the code is longer
  uint16_t firstCode[18];
  uint16_t lastCode[18];
  uint16_t firstIndex[17];  // index in `symbol` of the first code
  uint8_t padding[2];
};

// The pending bits (0 to 7 between calls) are bits 23 and below of `low`.
struct [[gnu::packed, gnu::may_alias]] MoxEncodeHuffmanState {
  uint32_t low, high;
  int32_t pending;
  int32_t eobRun;           // progressive: blocks whose end-of-band symbol is not yet written
  int32_t correctionCount;  // progressive: correction bits that wait for that symbol
  uint8_t corrections[1024];
  uint32_t unused;
};

// The last `count` bits of the accumulator are unread; the oldest is the highest.
struct [[gnu::packed, gnu::may_alias]] MoxDecodeHuffmanState {
  uint32_t low, high;
  int32_t count;
  int32_t eobRun;    // progressive: blocks still to come whose band is empty
  int32_t unfilled;  // zig-zag positions after the last one that the last sequential block reached
  uint32_t unused;
};

namespace mox {

using EncodeSpec = MoxEncodeHuffmanSpec;
using DecodeSpec = MoxDecodeHuffmanSpec;
using EncodeState = MoxEncodeHuffmanState;
using DecodeState = MoxDecodeHuffmanState;

inline constexpr uint16_t kNoCode = 0xFFFF;

static_assert(sizeof(EncodeSpec) == 1024 && sizeof(DecodeSpec) == 1644);
static_assert(sizeof(EncodeState) == 1048 && sizeof(DecodeState) == 24);
static_assert(offsetof(DecodeSpec, fast) == 512 && offsetof(DecodeSpec, firstCode) == 1536);
static_assert(offsetof(DecodeSpec, lastCode) == 1572 && offsetof(DecodeSpec, firstIndex) == 1608);
static_assert(offsetof(EncodeState, corrections) == 20 && offsetof(DecodeState, unfilled) == 16);

inline void clear(EncodeState& state) {  // all but the unused word
  __builtin_memset(&state, 0, offsetof(EncodeState, unused));
}

inline void clear(DecodeState& state) {  // all but the unused word
  __builtin_memset(&state, 0, offsetof(DecodeState, unused));
}

}  // namespace mox
