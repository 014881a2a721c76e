// The contexts of 64 coefficients at once, one bit of a word for each: sixteen columns of a stripe, four bits a column,
// the first row lowest. That is the order of the scan. Neighbours are shifts, and a table of contexts becomes the few
// logical operations that give each bit of its labels.
#pragma once

#include "kernels/tier1/contexts.h"

namespace mox::tier1 {

inline constexpr int kChunkColumns = 16;
inline constexpr size_t kChunkSize = 4 * kChunkColumns;  // coefficients

// Sixteen columns of a stripe.
struct Chunk {
  uint64_t significant, negative;
  uint64_t visited;  // coded in the significance propagation pass of the current bit-plane
  uint64_t refined;
};

constexpr size_t chunksOf(int32_t width) { return (static_cast<size_t>(width) + kChunkColumns - 1) / kChunkColumns; }

namespace slice {

constexpr uint64_t kTop = UINT64_C(0x1111111111111111), kBottom = kTop << 3;  // first and last rows

// The same bits of the neighbours: of the row above or below in this and the next stripe, of the column before or
// after in this and the next chunk.
constexpr uint64_t north(uint64_t x, uint64_t above) { return (x << 1 & ~kTop) | (above >> 3 & kTop); }
constexpr uint64_t south(uint64_t x, uint64_t below) { return (x >> 1 & ~kBottom) | (below << 3 & kBottom); }
constexpr uint64_t west(uint64_t x, uint64_t before) { return x << 4 | before >> 60; }
constexpr uint64_t east(uint64_t x, uint64_t after) { return x >> 4 | after << 60; }

// The neighbours that come later in the scan of the chunk.
constexpr uint64_t later(uint64_t x) { return north(x, 0) | west(x | north(x, 0) | south(x, 0), 0); }

// Which of the neighbours are significant.
struct Neighbours {
  uint64_t n, s, w, e, nw, ne, sw, se;

  constexpr uint64_t any() const { return n | s | w | e | nw | ne | sw | se; }
};

// 64 numbers: number i is `kBase` plus 2^k for each bit[k] whose bit i is set.
template <int kBase, int kBits>
struct Numbers {
  static constexpr int kFirst = kBase;
  uint64_t bit[kBits];

  constexpr uint8_t at(int i) const {
    int value = kBase;
    for (int k = 0; k < kBits; k++) value += static_cast<int>(bit[k] >> i & 1) << k;
    return static_cast<uint8_t>(value);
  }
};

// Symbols: the decision, and above it the context.
using SignificanceSymbols = Numbers<symbol(mq::kSignificance, 0), 5>;
using SignSymbols = Numbers<symbol(mq::kSign, 0), 4>;
using RefinementSymbols = Numbers<symbol(mq::kRefinement, 0), 3>;

// Table D.1.
template <Subband kSubband>
constexpr SignificanceSymbols significance(uint64_t decisions, const Neighbours& of) {
  const uint64_t pair1 = of.nw | of.ne, pair2 = of.sw | of.se, both1 = of.nw & of.ne, both2 = of.sw & of.se;
  const uint64_t d1 = pair1 | pair2, d2 = both1 | both2 | (pair1 & pair2);  // at least one, at least two
  const uint64_t h1 = of.w | of.e, h2 = of.w & of.e, v1 = of.n | of.s, v2 = of.n & of.s;
  if constexpr (kSubband == kSubbandHH) {
    const uint64_t d3 = (both1 & pair2) | (both2 & pair1), x1 = h1 | v1, x2 = h2 | v2 | (h1 & v1);
    const uint64_t two = d2 & ~d3, one = d1 & ~d2;
    return {{decisions, (two & x1) | (one & ~(x1 & ~x2)) | (~d1 & x1 & ~x2), two | (one & ~x1) | (~d1 & x2),
             two | (one & x1), d3}};
  } else {
    const uint64_t a1 = kSubband == kSubbandHL ? v1 : h1, a2 = kSubband == kSubbandHL ? v2 : h2;
    const uint64_t b1 = kSubband == kSubbandHL ? h1 : v1, b2 = kSubband == kSubbandHL ? h2 : v2;
    const uint64_t one = a1 & ~a2;
    return {{decisions, (one & (b1 | ~d1)) | (~a1 & ((b1 & ~b2) | (~b1 & d1 & ~d2))),
             (one & (b1 | d1)) | (~a1 & ((b1 & ~b2) | (~b1 & d2))), one | (~a1 & b2), a2}};
  }
}

// Tables D.2 and D.3, `negative` holding the signs of the neighbours.
constexpr SignSymbols sign(uint64_t own, const Neighbours& of, const Neighbours& negative) {
  struct Contribution {
    uint64_t plus, minus;
  };
  const auto sum = [](uint64_t a, uint64_t aNegative, uint64_t b, uint64_t bNegative) {
    const uint64_t aPlus = a & ~aNegative, aMinus = a & aNegative, bPlus = b & ~bNegative, bMinus = b & bNegative;
    return Contribution{(aPlus & ~bMinus) | (bPlus & ~aMinus), (aMinus & ~bPlus) | (bMinus & ~aPlus)};
  };
  const Contribution h = sum(of.w, negative.w, of.e, negative.e), v = sum(of.n, negative.n, of.s, negative.s);
  const uint64_t hSome = h.plus | h.minus, vSome = v.plus | v.minus;
  const uint64_t same = (h.plus & v.plus) | (h.minus & v.minus), opposite = hSome & vSome & ~same;
  const uint64_t flips = h.minus | (~hSome & v.minus);
  return {{own ^ flips, (vSome & ~hSome) | (hSome & ~vSome), opposite | (hSome & ~vSome), same}};
}

// Table D.4.
constexpr RefinementSymbols refinement(uint64_t decisions, uint64_t some, uint64_t refined) {
  return {{decisions, some & ~refined, refined}};
}

// ---- Checks against the tables

// 64 combinations of neighbours: bit i of each set says whether from + i has the flag of that neighbour.
constexpr Neighbours combinations(int from, const std::array<uint32_t, 8>& flags) {
  Neighbours all{};
  uint64_t* const bits[] = {&all.n, &all.s, &all.w, &all.e, &all.nw, &all.ne, &all.sw, &all.se};
  for (int k = 0; k < 8; k++)
    for (int i = 0; i < 64; i++)
      *bits[k] |= static_cast<uint64_t>((static_cast<uint32_t>(from + i) & flags[k]) != 0) << i;
  return all;
}

template <Subband kSubband>
constexpr bool significanceIsRight() {
  for (int from = 0; from < 256; from += 64) {
    const Neighbours of =
        combinations(from, {kNorth, kSouth, kWest, kEast, kNorthWest, kNorthEast, kSouthWest, kSouthEast});
    for (int i = 0; i < 64; i++)
      if (significance<kSubband>(0, of).at(i) != symbol(kSignificanceContext[kSubband][from + i], 0)) return false;
  }
  return true;
}
static_assert(significanceIsRight<kSubbandLow>() && significanceIsRight<kSubbandHL>() &&
              significanceIsRight<kSubbandHH>());

constexpr bool signIsRight() {
  constexpr auto bit = [](uint32_t flag) { return flag >> kSignShift; };
  for (int from = 0; from < 256; from += 64) {
    const Neighbours of = combinations(from, {bit(kNorth), bit(kSouth), bit(kWest), bit(kEast)});
    const Neighbours negative =
        combinations(from, {bit(kNorthMinus), bit(kSouthMinus), bit(kWestMinus), bit(kEastMinus)});
    for (int i = 0; i < 64; i++)
      if (sign(0, of, negative).at(i) != kSignSymbol[from + i]) return false;
  }
  return true;
}
static_assert(signIsRight());

}  // namespace slice
}  // namespace mox::tier1
