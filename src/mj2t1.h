// What the code-block coders share: state flags, contexts by the rules of the standard, distortion measures
// (ISO/IEC 15444-1, Annex D).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "mj2mq.h"

namespace mox::tier1 {

// A stripe is four rows. The flags of a column of it are one 64-bit word, 16 bits a row from the first row up, so
// that a column without any significant neighbour costs one test, and each coefficient finds all that its contexts
// depend on in one place.
enum Flag : uint32_t {
  kNorthWest = 1u << 0,  // the eight neighbours: significant
  kNorthEast = 1u << 1,
  kSouthWest = 1u << 2,
  kSouthEast = 1u << 3,
  kNorth = 1u << 4,
  kSouth = 1u << 5,
  kWest = 1u << 6,
  kEast = 1u << 7,
  kNorthMinus = 1u << 8,  // the four nearest: significant and negative
  kSouthMinus = 1u << 9,
  kWestMinus = 1u << 10,
  kEastMinus = 1u << 11,
  kSelf = 1u << 12,     // the coefficient itself: significant,
  kRefined = 1u << 13,  // refined before,
  kVisited = 1u << 14,  // coded in the significance propagation pass of the current bit-plane
};
inline constexpr uint32_t kNeighbours = 0xFF;
inline constexpr int kSignShift = 4;  // the nearest neighbours and their signs are 8 bits from here
inline constexpr uint32_t kSignBits = 0xFF;

// A flag in the row whose lane starts at bit `lane`: 16 times the row.
constexpr uint64_t at(uint32_t flags, int lane) {
  return static_cast<uint64_t>(flags) << lane;
}
// The same in all four rows.
constexpr uint64_t inAllRows(uint32_t flags) {
  return flags * UINT64_C(0x0001000100010001);
}

// What a coefficient that becomes significant says to its neighbours, as three words for the column on its left, its
// own and the one on its right: the lanes of the row above, its own row and the row below from bit 0 up.
struct Spread {
  uint64_t left, own, right;
};
constexpr Spread spread(bool negative) {
  const auto column = [](uint32_t above, uint32_t beside, uint32_t below) {
    return at(above, 0) | at(beside, 16) | at(below, 32);
  };
  const uint32_t minus = negative ? ~0u : 0u;
  return {column(kSouthEast, kEast | (kEastMinus & minus), kNorthEast),
          column(kSouth | (kSouthMinus & minus), kSelf, kNorth | (kNorthMinus & minus)),
          column(kSouthWest, kWest | (kWestMinus & minus), kNorthWest)};
}

// Spread for each row of the stripe and sign: rotated so that its middle is the row. What leaves the stripe comes out
// at the other end of the word, in the very lane where the stripe above or below keeps it.
inline constexpr auto kSpread = [] {
  std::array<std::array<Spread, 2>, 4> table{};
  const auto rotate = [](uint64_t x, int bits) { return bits == 0 ? x : x << bits | x >> (64 - bits); };
  for (int row = 0; row < 4; row++)
    for (int negative = 0; negative < 2; negative++) {
      const Spread s = spread(negative);
      const int bits = (16 * row + 48) % 64;
      table[row][negative] = {rotate(s.left, bits), rotate(s.own, bits), rotate(s.right, bits)};
    }
  return table;
}();
inline constexpr uint64_t kFirstRow = 0xFFFF, kLastRow = kFirstRow << 48;

static_assert(kSpread[1][0].own == (at(kSouth, 0) | at(kSelf, 16) | at(kNorth, 32)));
static_assert(kSpread[0][1].left == (at(kSouthEast, 48) | at(kEast | kEastMinus, 0) | at(kNorthEast, 16)));
static_assert((kSpread[3][0].right & kFirstRow) == kNorthWest);

// The symbols between scan and coder: one byte, the context above the decision.
constexpr uint8_t symbol(int context, int decision) {
  return static_cast<uint8_t>(context << 1 | decision);
}

enum Band { kBandLow, kBandHL, kBandHH, kBands };

constexpr Band bandOf(int32_t subband) {
  return subband == 2 ? kBandHL : subband == 3 ? kBandHH : kBandLow;
}

// Table D.1: the label of a significance context from the numbers of significant neighbours.
constexpr int significanceLabel(Band band, int horizontal, int vertical, int diagonal) {
  if (band == kBandHH) {
    const int nearest = horizontal + vertical;
    if (diagonal >= 3) return 8;
    if (diagonal == 2) return nearest >= 1 ? 7 : 6;
    if (diagonal == 1) return nearest >= 2 ? 5 : nearest == 1 ? 4 : 3;
    return nearest >= 2 ? 2 : nearest;
  }
  const int first = band == kBandHL ? vertical : horizontal, second = band == kBandHL ? horizontal : vertical;
  if (first == 2) return 8;
  if (first == 1) return second >= 1 ? 7 : diagonal >= 1 ? 6 : 5;
  if (second >= 1) return second + 2;
  return diagonal >= 2 ? 2 : diagonal;
}

using SymbolTable = std::array<uint8_t, 256>;

// The symbol of an insignificant coefficient's zero, by its eight neighbour flags.
inline constexpr auto kSignificanceZero = [] {
  std::array<SymbolTable, kBands> tables{};
  for (int band = 0; band < kBands; band++)
    for (uint32_t flags = 0; flags < 256; flags++) {
      const auto count = [flags](uint32_t a, uint32_t b) { return !!(flags & a) + !!(flags & b); };
      const int label = significanceLabel(static_cast<Band>(band), count(kWest, kEast), count(kNorth, kSouth),
                                          count(kNorthWest, kNorthEast) + count(kSouthWest, kSouthEast));
      tables[band][flags] = symbol(mq::kSignificance + label, 0);
    }
  return tables;
}();

static_assert(kSignificanceZero[kBandLow][0] == symbol(2, 0) && kSignificanceZero[kBandLow][255] == symbol(10, 0));
static_assert(kSignificanceZero[kBandLow][kNorth | kSouth] == symbol(6, 0));
static_assert(kSignificanceZero[kBandHL][kNorth | kSouth] == symbol(10, 0));
static_assert(kSignificanceZero[kBandHH][kNorth | kSouth] == symbol(4, 0));

// Tables D.2 and D.3: the symbol of a plus sign by the nearest neighbours' flags and signs; its decision is the XOR
// bit.
inline constexpr SymbolTable kSignPlus = [] {
  SymbolTable table{};
  for (uint32_t bits = 0; bits < 256; bits++) {
    const uint32_t flags = bits << kSignShift;
    const auto contribution = [flags](uint32_t significant, uint32_t minus) {
      return !(flags & significant) ? 0 : flags & minus ? -1 : 1;
    };
    const auto clamp = [](int sum) { return sum < -1 ? -1 : sum > 1 ? 1 : sum; };
    int horizontal = clamp(contribution(kWest, kWestMinus) + contribution(kEast, kEastMinus));
    int vertical = clamp(contribution(kNorth, kNorthMinus) + contribution(kSouth, kSouthMinus));
    const bool flips = horizontal < 0 || (horizontal == 0 && vertical < 0);
    if (flips) horizontal = -horizontal, vertical = -vertical;
    // The labels from 9 up: (0, 0), (0, 1), (1, -1), (1, 0), (1, 1).
    table[bits] = symbol(mq::kSign + (horizontal ? 3 + vertical : vertical), flips);
  }
  return table;
}();

static_assert(kSignPlus[0] == symbol(11, 0));
static_assert(kSignPlus[(kWest | kWestMinus) >> kSignShift] == symbol(14, 1));
static_assert(kSignPlus[(kWest | kWestMinus | kNorth) >> kSignShift] == symbol(13, 1));
static_assert(kSignPlus[(kNorth | kSouth | kSouthMinus) >> kSignShift] == symbol(11, 0));

// Table D.4.
constexpr int refinementContext(uint32_t flags) {
  return mq::kRefinement + (flags & kRefined ? 2 : flags & kNeighbours ? 1 : 0);
}

inline constexpr uint8_t kRunBroken = symbol(mq::kRun, 1), kRunOfZeros = symbol(mq::kRun, 0);

// The reduction of the squared error by one coefficient, in units of 2^-13 of the squared step of its bit-plane. The
// decoder is taken to reconstruct in the middle of the interval, or exactly at the last bit-plane of a block coded
// so.
inline constexpr int kDistortionScale = 13;

using SignificanceGain = std::array<int32_t, 64>;  // by the six magnitude bits below the one that became significant
using RefinementGain = std::array<int32_t, 128>;   // by the refined magnitude bit and the six below it

// With the magnitude x = 1 + i / 64 steps: x^2 - (x - 1.5)^2, or x^2 where it is exact.
inline constexpr auto kSignificanceGain = [] {
  std::array<SignificanceGain, 2> gain{};
  for (int i = 0; i < 64; i++) {
    gain[0][i] = 2 * ((64 + i) * (64 + i) - (i - 32) * (i - 32));
    gain[1][i] = 2 * (64 + i) * (64 + i);
  }
  return gain;
}();
// With y = i / 64 steps above the last bit: (y - 1)^2 - (y - 0.5)^2 or (y - 1)^2 - (y - 1.5)^2, or (y - 1)^2.
inline constexpr auto kRefinementGain = [] {
  std::array<RefinementGain, 2> gain{};
  for (int i = 0; i < 128; i++) {
    const int middle = i < 64 ? 32 : 96;
    gain[0][i] = 2 * ((i - 64) * (i - 64) - (i - middle) * (i - middle));
    gain[1][i] = 2 * (i - 64) * (i - 64);
  }
  return gain;
}();

static_assert(kSignificanceGain[0][0] == 6144 && kSignificanceGain[0][63] == 6144 + 384 * 63);
static_assert(kSignificanceGain[1][0] == 8192 && kSignificanceGain[1][63] == 32258);
static_assert(kRefinementGain[0][0] == 6144 && kRefinementGain[0][63] == 6144 - 128 * 63);
static_assert(kRefinementGain[0][64] == 128 * 64 - 10240 && kRefinementGain[0][127] == 128 * 127 - 10240);
static_assert(kRefinementGain[1][0] == 8192 && kRefinementGain[1][127] == 2 * 63 * 63);

// The `count` magnitude bits from bit-plane `plane` down, as if zeros followed below bit 0.
constexpr uint32_t bitsFrom(uint32_t magnitude, int plane, int count) {
  const int below = plane + 1 - count;
  return (below >= 0 ? magnitude >> below : magnitude << -below) & ((1u << count) - 1);
}

constexpr size_t stripesOf(int32_t height) {
  return (static_cast<size_t>(height) + 3) / 4;
}

}  // namespace mox::tier1
