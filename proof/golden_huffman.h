// Checksums of the Huffman objects, number by number: their sizes and layouts are fixed, and part of the interface.
#pragma once

#include "proof/golden.h"

namespace test {

// So many numbers of 1, 2 or 4 bytes.
struct Run {
  int bytes;
  size_t count;
};

// What an opaque type holds: `runs` cover all of it but the last bytes of a state, which nothing sets.
template <class Object>
struct LayoutOf;
template <>
struct LayoutOf<MoxEncodeHuffmanSpec> {
  static constexpr size_t kSize = 1024;
  static constexpr Run kRuns[] = {{4, 256}};
};
template <>
struct LayoutOf<MoxDecodeHuffmanSpec> {
  static constexpr size_t kSize = 1644;
  static constexpr Run kRuns[] = {{2, 256}, {4, 256}, {2, 18 + 18 + 17}, {1, 2}};
};
template <>
struct LayoutOf<MoxEncodeHuffmanState> {
  static constexpr size_t kSize = 1048;
  static constexpr Run kRuns[] = {{4, 5}, {1, 1024}};
};
template <>
struct LayoutOf<MoxDecodeHuffmanState> {
  static constexpr size_t kSize = 24;
  static constexpr Run kRuns[] = {{4, 5}};
};

template <class Object>
void digestObject(Digest& digest, const Object* object) {
  const uint8_t* at = reinterpret_cast<const uint8_t*>(object);
  for (const Run& run : LayoutOf<Object>::kRuns) {
    const size_t size = static_cast<size_t>(run.bytes) * run.count;
    if (run.bytes == 4)
      digest.words<uint32_t>(at, size);
    else if (run.bytes == 2)
      digest.words<uint16_t>(at, size);
    else
      digest.bytes(at, size);
    at += size;
  }
}

// All of a state in memory that the caller provides.
template <class State>
void digestWholeState(Digest& digest, const uint8_t (&bytes)[LayoutOf<State>::kSize]) {
  digestObject(digest, reinterpret_cast<const State*>(bytes));
  digest.bytes(bytes + sizeof bytes - 4, 4);
}

}  // namespace test
