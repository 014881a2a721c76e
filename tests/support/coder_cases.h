// Buffers of the Huffman coders' kernel cases: states, blocks of all densities, damaged segments.
#pragma once

#include <algorithm>
#include <cstring>
#include <vector>

#include "moxj.h"
#include "proof/huffman.h"
#include "support/feed.h"

namespace test {

inline constexpr int kTimedBlocks = 256;  // the number of blocks of the benchmark, as in a photograph

// A table that codes all symbols.
inline RawTable seededTable(uint64_t seed, bool steep) {
  Random random(seed);
  return randomTable(random, 256, steep);
}

template <class Object>
Object* cleared(Feed& f, size_t bytes) {
  return reinterpret_cast<Object*>(std::memset(f.out<Mox8u>(bytes), 0, bytes));
}
inline MoxEncodeHuffmanState* encoderState(Feed& f) { return cleared<MoxEncodeHuffmanState>(f, 1048); }
inline MoxDecodeHuffmanState* decoderState(Feed& f) { return cleared<MoxDecodeHuffmanState>(f, 24); }

// `n` blocks: empty to full, of one bit to fifteen, some with extreme values; `bits` bounds the coefficients' size.
inline void makeBlocks(Random& random, Mox16s* blocks, int n, int bits = 15) {
  static const int densities[] = {0, 1, 2, 4, 8, 16, 32, 64};
  for (int i = 0; i < n; i++) {
    Mox16s* const block = blocks + 64 * i;
    if (n >= kTimedBlocks) {
      randomBlock(random, block, 10, std::min(bits, 4));
      continue;
    }
    randomBlock(random, block, densities[random.below(8)], random.between(1, random.oneIn(4) ? bits : 5));
    if (bits == 15 && random.oneIn(8)) block[random.below(64)] = random.extreme<Mox16s>();
  }
}

// Wrong bits, markers, early ends: every decoder must treat them alike.
inline void damage(Random& random, Mox8u* bytes, int length) {
  for (int i = random.below(5); i > 0; i--) bytes[random.below(length)] ^= static_cast<Mox8u>(1 << random.below(8));
  for (int i = random.below(3); i > 0; i--) bytes[random.below(length)] = 0xFF;
  if (random.oneIn(3)) {
    bytes[random.below(length)] = 0xFF;
    bytes[length - 1] = 0xD9;
  }
}

}  // namespace test
