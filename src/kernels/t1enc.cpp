#include "kernels/t1enc.h"

#include <bit>
#include <cstring>

#include "kernels/mq.h"

namespace mox::MOX_TARGET {
namespace {

using namespace tier1;

uint32_t arrange(const Mox32s* src, int32_t srcStep, int32_t width, int32_t height, uint32_t* columns) {
  uint32_t all = 0;
  for (int y = 0; y < height; y += 4) {
    for (int x = 0; x < width; x++) {
      for (int row = 0; row < 4; row++) {
        uint32_t value = 0;
        const char* const line = reinterpret_cast<const char*>(src) + static_cast<ptrdiff_t>(y + row) * srcStep;
        if (y + row < height) std::memcpy(&value, line + 4 * static_cast<ptrdiff_t>(x), sizeof value);
        *columns++ = value;
        all |= value;
      }
    }
  }
  return all;
}

// ---- The scan (D.3)

constexpr uint64_t kOnes = inAllRows(1);

struct Stripe {
  uint64_t* flags;
  uint64_t* above;  // null: a coefficient of the first row tells nothing to the stripe above
  uint64_t* below;  // null: there is none
  const uint32_t* columns;
  uint64_t rows;  // kOnes, cut off after the block's last row
};

template <bool Causal, class Body>
void forEachStripe(const ScanPass& pass, const Body& body) {
  const size_t words = static_cast<size_t>(pass.width) + 2;
  Stripe s{pass.flags, nullptr, nullptr, pass.columns, kOnes};
  for (int y = 0; y < pass.height; y += 4) {
    const int left = pass.height - y;
    s.above = Causal || y == 0 ? nullptr : s.flags - words;
    s.below = left > 4 ? s.flags + words : nullptr;
    if (left < 4) s.rows = kOnes >> 16 * (4 - left);
    body(s);
    s.flags += words;
    s.columns += 4 * static_cast<size_t>(pass.width);
  }
}

constexpr uint32_t kMagnitude = 0x7FFFFFFF;

// Insignificant coefficients that have a significant neighbour, as bit 0 of their lanes.
uint64_t candidates(uint64_t flags) {
  const uint64_t some = ((flags & inAllRows(kNeighbours)) + inAllRows(kNeighbours)) >> 8;
  return some & ~(flags / kSelf) & kOnes;
}

// The output of a pass while it runs.
struct Tape {
  uint8_t* next;
  uint32_t distortion;

  explicit Tape(const ScanPass& pass) : next(pass.symbols), distortion(0) {}
  void put(uint8_t symbol) { *next++ = symbol; }
  void finish(ScanPass& pass) {
    pass.symbols = next;
    pass.distortion = distortion;
  }
};

// The coefficient of column x in the row of `lane` has become significant: records its sign and tells its neighbours;
// gives the column's new flags.
template <bool Raw>
uint64_t becomeSignificant(const ScanPass& pass, const Stripe& s, Tape& tape, int x, int lane, uint64_t flags) {
  const int row = lane >> 4;
  const uint32_t value = s.columns[4 * static_cast<size_t>(x) + row];
  const uint32_t negative = value >> 31;
  tape.distortion += (*pass.significanceGain)[bitsFrom(value & kMagnitude, pass.plane - 1, 6)];
  tape.put((Raw ? 0 : kSignPlus[flags >> lane >> kSignShift & kSignBits]) ^ negative);
  const Spread& spread = kSpread[row][negative];
  uint64_t within = ~UINT64_C(0);
  uint64_t* outside = nullptr;
  if (row == 0) within = ~kLastRow, outside = s.above;
  if (row == 3) within = ~kFirstRow, outside = s.below;
  if (outside) {
    outside[x - 1] |= spread.left & ~within;
    outside[x] |= spread.own & ~within;
    outside[x + 1] |= spread.right & ~within;
  }
  s.flags[x - 1] |= spread.left & within;
  s.flags[x + 1] |= spread.right & within;
  return flags | (spread.own & within);
}

template <bool Raw, bool Causal>
void significance(ScanPass& pass) {
  Tape tape(pass);
  const SymbolTable& zero = *pass.significanceZero;
  forEachStripe<Causal>(pass, [&](const Stripe& s) {
    for (int x = 0; x < pass.width; x++) {
      uint64_t flags = s.flags[x];
      if (flags == 0) continue;
      uint64_t todo = candidates(flags) & s.rows;
      if (todo == 0) continue;
      const uint32_t* const column = s.columns + 4 * static_cast<size_t>(x);
      do {
        const int lane = std::countr_zero(todo);
        todo &= todo - 1;
        const uint32_t bit = column[lane >> 4] >> pass.plane & 1;
        tape.put(zero[flags >> lane & kNeighbours] | bit);
        if (bit) {
          flags = becomeSignificant<Raw>(pass, s, tape, x, lane, flags);
          todo |= at(1, lane) << 16 & ~(flags / kSelf) & s.rows;
        }
        flags |= at(kVisited, lane);
      } while (todo);
      s.flags[x] = flags;
    }
  });
  tape.finish(pass);
}

void refinement(ScanPass& pass) {
  Tape tape(pass);
  forEachStripe<false>(pass, [&](const Stripe& s) {
    for (int x = 0; x < pass.width; x++) {
      uint64_t flags = s.flags[x];
      uint64_t todo = flags / kSelf & ~(flags / kVisited) & s.rows;
      const uint32_t* const column = s.columns + 4 * static_cast<size_t>(x);
      while (todo) {
        const int lane = std::countr_zero(todo);
        todo &= todo - 1;
        const uint32_t bits = bitsFrom(column[lane >> 4] & kMagnitude, pass.plane, 7);
        tape.put(symbol(refinementContext(static_cast<uint32_t>(flags >> lane)), bits >> 6));
        tape.distortion += (*pass.refinementGain)[bits];
        flags |= at(kRefined, lane);
      }
      s.flags[x] = flags;
    }
  });
  tape.finish(pass);
}

template <bool Causal>
void cleanup(ScanPass& pass) {
  Tape tape(pass);
  const SymbolTable& zero = *pass.significanceZero;
  forEachStripe<Causal>(pass, [&](const Stripe& s) {
    for (int x = 0; x < pass.width; x++) {
      uint64_t flags = s.flags[x];
      uint64_t todo = ~(flags / kSelf | flags / kVisited) & s.rows;
      const uint32_t* const column = s.columns + 4 * static_cast<size_t>(x);
      const auto bitOf = [&](int lane) { return column[lane >> 4] >> pass.plane & 1; };
      if (flags == 0 && s.rows == kOnes) {
        int row = 0;
        while (row < 4 && !bitOf(16 * row)) row++;
        if (row == 4) {
          tape.put(kRunOfZeros);
          continue;
        }
        tape.put(kRunBroken);
        tape.put(symbol(mq::kUniform, row >> 1));
        tape.put(symbol(mq::kUniform, row & 1));
        flags = becomeSignificant<false>(pass, s, tape, x, 16 * row, flags);
        todo &= ~UINT64_C(1) << 16 * row;
      }
      while (todo) {
        const int lane = std::countr_zero(todo);
        todo &= todo - 1;
        const uint32_t bit = bitOf(lane);
        tape.put(zero[flags >> lane & kNeighbours] | bit);
        if (bit) flags = becomeSignificant<false>(pass, s, tape, x, lane, flags);
      }
      s.flags[x] = flags & ~inAllRows(kVisited);
    }
  });
  tape.finish(pass);
}

void code(MqEncoder& coder, const uint8_t* symbols, const uint8_t* end) {
  encodeSymbols(coder, symbols, end);
}

}  // namespace

const Tier1EncodeKernels tier1EncodeKernels = {
    .arrange = arrange,
    .significance = {{significance<false, false>, significance<false, true>},
                     {significance<true, false>, significance<true, true>}},
    .refinement = refinement,
    .cleanup = {cleanup<false>, cleanup<true>},
    .code = code,
};

}  // namespace mox::MOX_TARGET
