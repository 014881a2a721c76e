// Asking ahead for blocks of coefficients, for the kernel files of the Huffman coders.
#pragma once

#include "kernels/vec/vec.h"
#include "moxj.h"

#if MOX_VECTOR
namespace mox::MOX_TARGET {

// Blocks are mostly coded, and decoded, in the order in which they lie: four blocks ahead hides a miss of the second
// cache.
MOX_INLINE void prefetchBlocks(const Mox16s* block) {
  constexpr int kBlock = 64 * sizeof(Mox16s);
  prefetchAhead<kBlock, 4 * kBlock>(reinterpret_cast<const uint8_t*>(block));
}

}  // namespace mox::MOX_TARGET
#endif
