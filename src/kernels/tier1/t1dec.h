// The code-block decoder's kernels: coding passes over MQ-coded or raw segments.
#pragma once

#include <cstddef>
#include <type_traits>

#include "kernels/tier1/contexts.h"
#include "moxj.h"

namespace mox {

namespace tier1 {

// The decoder's registers (C.3, in the complemented form of J.1), both aligned to the top of a machine word: A in the
// upper 16 bits, in C the 16 bits that are compared with it and below them bits of the segment that have been read
// ahead.
using Word = std::conditional_t<sizeof(void*) == 8, uint64_t, uint32_t>;
inline constexpr int kWordBits = 8 * sizeof(Word);

struct MqDecoder {
  mq::Contexts contexts;
  Word a, c;
  int ahead;          // bits of C below the upper 16 that hold data
  const uint8_t* at;  // the byte that was taken last
  const uint8_t* end;
  bool marker;    // a marker, or the segment's end, was met
  uint64_t read;  // all bits that were taken into C; read - ahead of them have been used
};

struct RawReader {
  const uint8_t* at;
  const uint8_t* end;
  uint32_t byte;
  int left;  // bits of the byte that are still to be read
};

struct DecodePass {
  uint64_t* flags;  // of the first stripe's first column; a spare word on either side of every stripe
  Mox32s* dst;
  int32_t dstStep, width, height;
  uint32_t one, half;  // the magnitude's bit of the current bit-plane, and the one below it; 0 where there is none
  uint32_t kept;       // the bits that refinement keeps
  const ContextTable* significance;
  MqDecoder mq;
  RawReader raw;
};

}  // namespace tier1

struct Tier1DecodeKernels {
  void (*significance[2][2])(tier1::DecodePass& pass);  // [raw][causal]
  void (*refinement[2])(tier1::DecodePass& pass);       // [raw]
  void (*cleanup[2])(tier1::DecodePass& pass);          // [causal]
  // Replaces each of `count` contexts by the decision that is decoded in it.
  void (*decide)(tier1::MqDecoder& coder, uint8_t* contexts, int count);
};

namespace definition {

// The byte of a segment at `p`: 0xFF past the end.
inline uint32_t byteAt(const uint8_t* p, const uint8_t* end) { return p < end ? *p : 0xFF; }

// BYTEIN (C.3.4) once all bits of C have been used, and then as many further bytes as fit. A byte after 0xFF may have
// its top bit set, which reaches up into bits that are compared: such a byte is taken only when it is due.
inline void byteIn(tier1::MqDecoder& coder) {
  using tier1::kWordBits, tier1::Word;
  do {
    const uint32_t byte = byteAt(coder.at, coder.end);
    const uint32_t next = byteAt(coder.at + (coder.at < coder.end), coder.end);
    const int room = kWordBits - 16 - coder.ahead;
    if (byte == 0xFF && next >= 0x90) coder.marker = true;
    if (coder.marker) {  // zeros from here on, which C has below its bits anyway
      coder.ahead += room / 8 * 8;
      coder.read += room / 8 * 8;
      return;
    }
    const int bits = byte == 0xFF ? 7 : 8;
    if (bits == 7 && next >= 0x80 && coder.ahead > 0) return;
    const Word complement = static_cast<Word>(bits == 7 ? 0x7F : 0xFF) - next;
    coder.c += complement << (room - bits);
    coder.at++;
    coder.ahead += bits;
    coder.read += bits;
  } while (coder.ahead <= kWordBits - 16 - 8);
}

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const Tier1DecodeKernels tier1DecodeKernels;
}
#endif

}  // namespace mox
