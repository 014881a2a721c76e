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

// The rows of a stripe in a chunk, at any address.
struct ChunkRows {
  const char* row[4];

  uint32_t at(int x, int y) const {
    uint32_t value;
    std::memcpy(&value, row[y] + sizeof value * x, sizeof value);
    return value;
  }
};

// What is known of a chunk after gathering: the OR of all words, and a bit for each negative one.
struct Gathered {
  uint32_t all;
  uint64_t negative;
};

// Gathers the first columns of a chunk in the order of the scan; the rest are left as they are.
inline Gathered gatherColumns(const ChunkRows& rows, int columns, uint32_t* coefficients) {
  Gathered gathered{0, 0};
  for (int x = 0; x < columns; x++) {
    uint64_t signs = 0;
#pragma GCC unroll 4
    for (int y = 0; y < 4; y++) {
      const uint32_t value = rows.at(x, y);
      coefficients[4 * x + y] = value;
      gathered.all |= value;
      signs |= value >> 31 << y;
    }
    gathered.negative |= signs << 4 * x;
  }
  return gathered;
}

// The kernel `arrange`, by a function that gathers the sixteen columns of a whole chunk.
template <class Whole>
uint32_t arrangeBlock(const Mox32s* src, int32_t srcStep, int32_t width, int32_t height, uint32_t* coefficients,
                      Chunk* chunks, const Whole& whole) {
  static constexpr Mox32s kZeros[kChunkColumns] = {};
  uint32_t all = 0;
  for (int y = 0; y < height; y += 4, chunks += chunksOf(width) + 2) {
    for (size_t k = 0; k < chunksOf(width); k++, coefficients += kChunkSize) {
      const int columns = std::min(width - static_cast<int>(k) * kChunkColumns, kChunkColumns);
      ChunkRows rows;
      for (int i = 0; i < 4; i++)
        rows.row[i] = y + i >= height ? reinterpret_cast<const char*>(kZeros)
                                      : reinterpret_cast<const char*>(src) + static_cast<ptrdiff_t>(y + i) * srcStep +
                                            sizeof(Mox32s) * kChunkColumns * k;
      Gathered gathered;
      if (columns == kChunkColumns) {
        gathered = whole(rows, coefficients);
      } else {
        std::memset(coefficients, 0, kChunkSize * sizeof *coefficients);
        gathered = gatherColumns(rows, columns, coefficients);
      }
      chunks[k].negative = gathered.negative;
      all |= gathered.all;
    }
  }
  return all;
}

}  // namespace tier1

struct Tier1EncodeKernels {
  // Gathers a block into chunks of 64 coefficients in the order of the scan, with zeros outside the block, and the
  // signs into `chunks`, whose stripes are chunksOf(width) + 2 apart. Returns the OR of all words.
  uint32_t (*arrange)(const Mox32s* src, int32_t srcStep, int32_t width, int32_t height, uint32_t* coefficients,
                      tier1::Chunk* chunks);
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
