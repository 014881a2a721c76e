// Checksums of the Huffman objects, number by number.
#pragma once

#include "kernels/entropy/state.h"
#include "support/golden.h"

namespace test {

inline void digestObject(Digest& digest, const MoxEncodeHuffmanSpec& object) {
  digest.words<uint32_t>(&object, sizeof object);
}

inline void digestObject(Digest& digest, const MoxDecodeHuffmanSpec& object) {
  digest.words<uint16_t>(object.symbol, sizeof object.symbol);
  digest.words<uint32_t>(object.fast, sizeof object.fast);
  digest.words<uint16_t>(object.firstCode, sizeof object.firstCode);
  digest.words<uint16_t>(object.lastCode, sizeof object.lastCode);
  digest.words<uint16_t>(object.firstIndex, sizeof object.firstIndex);
  digest.bytes(object.padding, sizeof object.padding);
}

// Of a state all but its last word, which nothing sets.
inline void digestObject(Digest& digest, const MoxEncodeHuffmanState& object) {
  digest.words<uint32_t>(&object, offsetof(MoxEncodeHuffmanState, corrections));
  digest.bytes(object.corrections, sizeof object.corrections);
}

inline void digestObject(Digest& digest, const MoxDecodeHuffmanState& object) {
  digest.words<uint32_t>(&object, offsetof(MoxDecodeHuffmanState, unused));
}

// All of a state in memory that the test provides.
template <class State>
void digestWholeState(Digest& digest, const uint8_t (&bytes)[sizeof(State)]) {
  digestObject(digest, *reinterpret_cast<const State*>(bytes));
  digest.bytes(bytes + sizeof bytes - 4, 4);
}

}  // namespace test
