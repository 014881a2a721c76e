// The code-block encoder's kernels: the scan of a bit-plane into symbols, and the MQ coder over them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "kernels/tier1/bitslice.h"
#include "moxj.h"

namespace mox {

namespace tier1 {

// Kernels may write up to kSymbolSlack bytes past the last symbol of a pass.
inline constexpr int kSymbolSlack = 64;

// One coding pass of the scan, which appends its symbols at `symbols`.
struct ScanPass {
  Chunk* chunks;           // of the first stripe; a spare one on either side, and a spare stripe above and below
  const uint8_t* windows;  // 64 a chunk: the kWindowBits magnitude bits of a coefficient from the plane down
  int width, height;
  Subband subband;
  bool causal;  // a coefficient does not see the stripe below
  bool exact;   // for the distortion: the decoder knows the magnitude once this bit-plane is decoded
  uint8_t* symbols;
  uint32_t distortion;  // summed modulo 2^32
};

// Gathers a block into chunks of 64 coefficients in the order of the scan, with zeros outside the block, and the signs
// into `chunks`. Returns the OR of all words.
inline uint32_t arrange(const Mox32s* src, int32_t srcStep, int32_t width, int32_t height, uint32_t* coefficients,
                        Chunk* chunks) {
  static constexpr Mox32s kZeros[kChunkColumns] = {};
  uint32_t all = 0;
  for (int y = 0; y < height; y += 4, chunks += chunksOf(width) + 2) {
    for (size_t k = 0; k < chunksOf(width); k++, coefficients += kChunkSize) {
      const int columns = std::min(width - static_cast<int>(k) * kChunkColumns, kChunkColumns);
      if (columns < kChunkColumns) std::memset(coefficients, 0, kChunkSize * sizeof *coefficients);
      const char* lines[4];
      for (int row = 0; row < 4; row++)
        lines[row] = y + row >= height
                         ? reinterpret_cast<const char*>(kZeros)
                         : reinterpret_cast<const char*>(src) + static_cast<ptrdiff_t>(y + row) * srcStep +
                               sizeof(Mox32s) * kChunkColumns * k;
      uint64_t negative = 0;
      for (int x = 0; x < columns; x++) {
        uint64_t signs = 0;
#pragma GCC unroll 4
        for (int row = 0; row < 4; row++) {
          uint32_t value;
          std::memcpy(&value, lines[row] + sizeof value * x, sizeof value);
          coefficients[4 * x + row] = value;
          all |= value;
          signs |= value >> 31 << row;
        }
        negative |= signs << 4 * x;
      }
      chunks[k].negative = negative;
    }
  }
  return all;
}

}  // namespace tier1

struct Tier1EncodeKernels {
  // The windows of `count` coefficients, a multiple of 64.
  void (*window)(const uint32_t* coefficients, size_t count, int plane, uint8_t* windows);
  void (*significance[2])(tier1::ScanPass& pass);  // [raw]
  void (*refinement)(tier1::ScanPass& pass);
  void (*cleanup)(tier1::ScanPass& pass);
  // MQ-codes symbols into a segment that has been started.
  void (*code)(mq::Encoder& coder, const uint8_t* symbols, const uint8_t* end);
};

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const Tier1EncodeKernels tier1EncodeKernels;
}
#endif

}  // namespace mox
