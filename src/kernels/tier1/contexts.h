// What the code-block coders share (ISO/IEC 15444-1, Annex D): state flags, contexts by the rules of Tables D.1 to D.4,
// distortion measures.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "kernels/tier1/mq.h"
#include "moxj.h"

namespace mox::tier1 {

// A stripe is four rows. The flags of one of its columns are a 64-bit word, 16 bits a row, the first row lowest. A
// column without any significant neighbour costs one test, and all that the contexts of a coefficient depend on is in
// one place.
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
constexpr uint64_t at(uint32_t flags, int lane) { return static_cast<uint64_t>(flags) << lane; }
// The same in all four rows.
constexpr uint64_t inAllRows(uint32_t flags) { return flags * UINT64_C(0x0001000100010001); }

// The flags that a newly significant coefficient sets: one word each for the column on its left, its own column and the
// column on its right. The lanes from bit 0 up are the row above, its own row and the row below.
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

// Spread for each row of the stripe and sign: rotated so that its middle lane is the row. A lane that leaves the stripe
// wraps to the other end of the word, which is its place in the stripe above or below.
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
// The part of a Spread that belongs to the stripe itself.
inline constexpr uint64_t kWithin[4] = {~kLastRow, ~UINT64_C(0), ~UINT64_C(0), ~kFirstRow};

static_assert(kSpread[1][0].own == (at(kSouth, 0) | at(kSelf, 16) | at(kNorth, 32)));
static_assert(kSpread[0][1].left == (at(kSouthEast, 48) | at(kEast | kEastMinus, 0) | at(kNorthEast, 16)));
static_assert((kSpread[3][0].right & kFirstRow) == kNorthWest);

// The symbols between scan and coder: one byte, the context above the decision.
constexpr uint8_t symbol(int context, int decision) { return static_cast<uint8_t>(context << 1 | decision); }

// What Table D.1 distinguishes: LL and LH, HL, HH.
enum Subband : int32_t { kSubbandLow, kSubbandHL, kSubbandHH, kSubbands };

constexpr Subband subbandOf(int32_t number) {
  return number == moxJ2KSubbandHL ? kSubbandHL : number == moxJ2KSubbandHH ? kSubbandHH : kSubbandLow;
}

// Table D.1: the label of a significance context from the numbers of significant neighbours.
constexpr int significanceLabel(Subband subband, int horizontal, int vertical, int diagonal) {
  if (subband == kSubbandHH) {
    const int nearest = horizontal + vertical;
    if (diagonal >= 3) return 8;
    if (diagonal == 2) return nearest >= 1 ? 7 : 6;
    if (diagonal == 1) return nearest >= 2 ? 5 : nearest == 1 ? 4 : 3;
    return nearest >= 2 ? 2 : nearest;
  }
  const bool swapped = subband == kSubbandHL;
  const int first = swapped ? vertical : horizontal, second = swapped ? horizontal : vertical;
  if (first == 2) return 8;
  if (first == 1) return second >= 1 ? 7 : diagonal >= 1 ? 6 : 5;
  if (second >= 1) return second + 2;
  return diagonal >= 2 ? 2 : diagonal;
}

using ContextTable = std::array<uint8_t, 256>;

// An insignificant coefficient's context, by its eight neighbour flags.
inline constexpr auto kSignificanceContext = [] {
  std::array<ContextTable, kSubbands> tables{};
  for (int subband = 0; subband < kSubbands; subband++)
    for (uint32_t flags = 0; flags < 256; flags++) {
      const auto count = [flags](uint32_t a, uint32_t b) { return !!(flags & a) + !!(flags & b); };
      const int label = significanceLabel(static_cast<Subband>(subband), count(kWest, kEast), count(kNorth, kSouth),
                                          count(kNorthWest, kNorthEast) + count(kSouthWest, kSouthEast));
      tables[subband][flags] = static_cast<uint8_t>(mq::kSignificance + label);
    }
  return tables;
}();

static_assert(kSignificanceContext[kSubbandLow][0] == 2 && kSignificanceContext[kSubbandLow][255] == 10);
static_assert(kSignificanceContext[kSubbandLow][kNorth | kSouth] == 6);
static_assert(kSignificanceContext[kSubbandHL][kNorth | kSouth] == 10);
static_assert(kSignificanceContext[kSubbandHH][kNorth | kSouth] == 4);

// Tables D.2 and D.3: the symbol of a plus sign by the nearest neighbours' flags and signs; its decision is the XOR
// bit.
inline constexpr std::array<uint8_t, 256> kSignSymbol = [] {
  std::array<uint8_t, 256> table{};
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

static_assert(kSignSymbol[0] == symbol(11, 0));
static_assert(kSignSymbol[(kWest | kWestMinus) >> kSignShift] == symbol(14, 1));
static_assert(kSignSymbol[(kWest | kWestMinus | kNorth) >> kSignShift] == symbol(13, 1));
static_assert(kSignSymbol[(kNorth | kSouth | kSouthMinus) >> kSignShift] == symbol(11, 0));

// Table D.4: a refinement's context, by the neighbours' flags.
constexpr int refinementContext(uint32_t flags, bool refined) {
  return mq::kRefinement + (refined ? 2 : (flags & kNeighbours) != 0 ? 1 : 0);
}

inline constexpr uint8_t kRunBroken = symbol(mq::kRun, 1), kRunOfZeros = symbol(mq::kRun, 0);

// The squared error that coding a bit of one coefficient removes, in units of 2^-13 of the squared step of its
// bit-plane: a polynomial in j, the six magnitude bits below the coded one, which are worth j / 64 steps. The decoder
// is assumed to reconstruct in the middle of the interval, or exactly once the last bit-plane of a losslessly coded
// block is decoded.
inline constexpr int kDistortionScale = 13;
inline constexpr int kWindowBits = 7;  // the coded bit and the six below it

// These bits of a coefficient, at bit-plane `plane`; zeros below bit-plane 0.
constexpr uint8_t windowOf(uint32_t coefficient, int plane) {
  const int below = plane + 1 - kWindowBits;
  return static_cast<uint8_t>((below > 0 ? coefficient >> below : coefficient << -below) & ((1u << kWindowBits) - 1));
}
constexpr int decisionOf(uint8_t window) { return window >> (kWindowBits - 1); }
constexpr uint32_t fractionOf(uint8_t window) { return window & ((1u << (kWindowBits - 1)) - 1); }

struct Gain {
  uint32_t constant, linear, square;  // modulo 2^32

  constexpr int32_t at(uint32_t j) const { return static_cast<int32_t>(constant + linear * j + square * j * j); }
};
struct Gains {
  Gain significance;
  Gain refinement[2];  // by the decision
};

// 2 * (64^2 error before - 64^2 error after), for a coefficient of 1 + j / 64 steps that was reconstructed as
// `before` / 64 and now is as `after` / 64, or exactly if `exact`.
constexpr Gain gain(int whole, int before, int after, bool exact) {
  const auto squared = [whole](int estimate) {  // (64 * whole + j - estimate)^2
    const int constant = 64 * whole - estimate;
    return Gain{static_cast<uint32_t>(constant * constant), static_cast<uint32_t>(2 * constant), 1};
  };
  const Gain x = squared(before), y = exact ? Gain{} : squared(after);
  return {2 * (x.constant - y.constant), 2 * (x.linear - y.linear), 2 * (x.square - y.square)};
}

inline constexpr Gains kGain[2] = {
    {gain(1, 0, 96, false), {gain(0, 64, 32, false), gain(1, 64, 96, false)}},
    {gain(1, 0, 96, true), {gain(0, 64, 32, true), gain(1, 64, 96, true)}},
};

static_assert(kGain[0].significance.at(0) == 6144 && kGain[0].significance.at(63) == 6144 + 384 * 63);
static_assert(kGain[1].significance.at(0) == 8192 && kGain[1].significance.at(63) == 32258);
static_assert(kGain[0].refinement[0].at(0) == 6144 && kGain[0].refinement[0].at(63) == 6144 - 128 * 63);
static_assert(kGain[0].refinement[1].at(0) == 128 * 64 - 10240 && kGain[0].refinement[1].at(63) == 128 * 127 - 10240);
static_assert(kGain[1].refinement[0].at(0) == 8192 && kGain[1].refinement[1].at(63) == 2 * 63 * 63);

constexpr size_t stripesOf(int32_t height) { return (static_cast<size_t>(height) + 3) / 4; }

}  // namespace mox::tier1
