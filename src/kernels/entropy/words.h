// What the Huffman kernels do with whole words: bytes in the order of a segment, bytes of 0xFF.
#pragma once

#include <cstdint>

#include "kernels/bytes.h"

namespace mox {

// The bytes at `p` as a number, the first of them highest.
[[gnu::always_inline]] inline uint32_t bigEndian32(const void* p) {
  const uint32_t word = get<uint32_t>(p);
  return __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? word : __builtin_bswap32(word);
}
[[gnu::always_inline]] inline uint64_t bigEndian64(const void* p) {
  const uint64_t word = get<uint64_t>(p);
  return __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? word : __builtin_bswap64(word);
}

// Not 0 if a byte is 0xFF: the top bit of the lowest such byte is set. Bits of bytes above it are meaningless: a borrow
// makes 0xFE look like 0xFF there.
template <class Word>
constexpr Word bytesOfFF(Word word) {
  constexpr Word kOnes = static_cast<Word>(0x0101010101010101u);
  return (~word - kOnes) & word & (kOnes << 7);
}
static_assert(bytesOfFF<uint64_t>(0xFEFDFC807F000102u) == 0 && bytesOfFF<uint64_t>(0x00000000FF000000u) == 0x80000000u);
static_assert(bytesOfFF<uint32_t>(0x0000FF00u) == 0x8000u);

}  // namespace mox
