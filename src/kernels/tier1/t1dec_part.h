// The part of a block that the decoder's passes take at a time: sixteen columns of a stripe.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

#include "kernels/tier1/bitslice.h"
#include "kernels/tier1/t1dec.h"

namespace mox::MOX_TARGET {
namespace {

using namespace tier1;
using slice::kTop;

// Bytes of coefficients may be read and written up to this many past the last.
inline constexpr int kCodeSlack = 8;

// Sixteen columns of a stripe. Sets of their coefficients are words with four bits a column.
struct Part {
  FlagWord* flags;
  // For each row: the words and the lanes of its neighbours outside the stripe, above or below.
  FlagWord* outside[4];
  uint64_t lanesOutside[4];
  char* dst;
  ptrdiff_t dstStep;
  int columns;
  uint64_t valid;  // the coefficients within the block
};

template <bool Causal, class Body>
void forEachPart(const DecodePass& pass, const Body& body) {
  const size_t words = static_cast<size_t>(pass.width) + 2;
  FlagWord* flags = pass.flags;
  char* dst = reinterpret_cast<char*>(pass.dst);
  for (int y = 0; y < pass.height; y += 4) {
    const int left = pass.height - y;
    const bool above = y > 0, below = left > 4;
    // A row without such neighbours gets the words of an adjacent stripe, if there is one, which are written back
    // unchanged. The stripe's own words would make later loads wait for that store.
    FlagWord* const unused = above ? flags - words : below ? flags + words : flags;
    const uint64_t rows = left >= 4 ? ~UINT64_C(0) : kTop * ((1u << left) - 1);
    for (int x = 0; x < pass.width; x += kChunkColumns) {
      const int columns = std::min(pass.width - x, kChunkColumns);
      body(Part{flags + x,
                {unused + x, unused + x, unused + x, (below ? flags + words : unused) + x},
                {above && !Causal ? kLastRow : 0, 0, 0, below ? kFirstRow : 0},
                dst + sizeof(Mox32s) * static_cast<size_t>(x),
                pass.dstStep,
                columns,
                columns == kChunkColumns ? rows : rows & ((UINT64_C(1) << 4 * columns) - 1)});
    }
    flags += words;
    dst += 4 * static_cast<ptrdiff_t>(pass.dstStep);
  }
}

uint32_t load32(const char* p) {
  uint32_t value;
  std::memcpy(&value, p, sizeof value);
  return value;
}
void store32(char* p, uint32_t value) { std::memcpy(p, &value, sizeof value); }

// Coefficient i of the part: its place in the destination, its flags.
char* placeOf(const Part& c, int i) {
  return c.dst + (i & 3) * c.dstStep + static_cast<ptrdiff_t>(sizeof(Mox32s)) * (i >> 2);
}
static_assert(std::endian::native == std::endian::little);  // the lowest lane of a word is the first in memory
uint32_t flagsOf(const Part& c, int i) {
  uint16_t flags;
  std::memcpy(&flags, reinterpret_cast<const char*>(c.flags) + sizeof flags * static_cast<size_t>(i), sizeof flags);
  return flags;
}

}  // namespace
}  // namespace mox::MOX_TARGET
