// The definition of the encoder's kernels: the passes of passes.h over a block whose coefficients are known.
#pragma once

#include "kernels/tier1/passes.h"
#include "kernels/tier1/t1enc.h"

namespace mox::MOX_TARGET {
namespace {

using namespace tier1;

// The block of a pass: takes each decision from the coefficient's window, appends it as a symbol, and counts the
// distortion.
class ScannedBlock {
 public:
  ScannedBlock(ScanPass& pass, bool raw) : pass_(pass), raw_(raw) { pass_.distortion = 0; }

  int width() const { return pass_.width; }
  int height() const { return pass_.height; }

  bool significant(int x, int y) const { return (chunk(x, y).significant & bit(x, y)) != 0; }
  bool refined(int x, int y) const { return (chunk(x, y).refined & bit(x, y)) != 0; }
  bool visited(int x, int y) const { return (chunk(x, y).visited & bit(x, y)) != 0; }
  void visit(int x, int y) { chunk(x, y).visited |= bit(x, y); }
  void leave(int x, int y) { chunk(x, y).visited &= ~bit(x, y); }

  uint32_t neighbours(int x, int y) const {
    const auto at = [&](int dx, int dy, uint32_t flag, uint32_t minus) {
      const int nx = x + dx, ny = y + dy;
      const bool outside = nx < 0 || ny < 0 || nx >= width() || ny >= height();
      if (outside || (pass_.causal && ny / 4 > y / 4) || !significant(nx, ny)) return 0u;
      return flag | (negative(nx, ny) ? minus : 0);
    };
    return at(-1, -1, kNorthWest, 0) | at(0, -1, kNorth, kNorthMinus) | at(1, -1, kNorthEast, 0) |
           at(-1, 0, kWest, kWestMinus) | at(1, 0, kEast, kEastMinus) | at(-1, 1, kSouthWest, 0) |
           at(0, 1, kSouth, kSouthMinus) | at(1, 1, kSouthEast, 0);
  }

  bool codeSignificance(int x, int y, int context) {
    put(symbol(context, decision(x, y)));
    return decision(x, y);
  }
  int codeRun(int x, int y) {
    int zeros = 0;
    while (zeros < 4 && !decision(x, y + zeros)) zeros++;
    put(zeros == 4 ? kRunOfZeros : kRunBroken);
    if (zeros < 4) {
      put(symbol(mq::kUniform, zeros >> 1));
      put(symbol(mq::kUniform, zeros & 1));
    }
    return zeros;
  }
  void codeSign(int x, int y, uint8_t plus) {
    put(raw_ ? symbol(0, negative(x, y)) : static_cast<uint8_t>(plus ^ negative(x, y)));
    chunk(x, y).significant |= bit(x, y);
    pass_.distortion += gains().significance.at(fractionOf(window(x, y)));
  }
  void codeRefinement(int x, int y, int context) {
    put(symbol(context, decision(x, y)));
    chunk(x, y).refined |= bit(x, y);
    pass_.distortion += gains().refinement[decision(x, y)].at(fractionOf(window(x, y)));
  }

 private:
  size_t index(int x, int y, size_t stride) const { return stride * (y / 4) + x / kChunkColumns; }
  static int place(int x, int y) { return 4 * (x % kChunkColumns) + y % 4; }
  static uint64_t bit(int x, int y) { return UINT64_C(1) << place(x, y); }

  Chunk& chunk(int x, int y) const { return pass_.chunks[index(x, y, chunksOf(width()) + 2)]; }
  uint8_t window(int x, int y) const {
    return pass_.windows[kChunkSize * index(x, y, chunksOf(width())) + place(x, y)];
  }
  bool negative(int x, int y) const { return (chunk(x, y).negative & bit(x, y)) != 0; }
  bool decision(int x, int y) const { return decisionOf(window(x, y)); }
  const Gains& gains() const { return kGain[pass_.exact]; }
  void put(uint8_t symbol) { *pass_.symbols++ = symbol; }

  ScanPass& pass_;
  const bool raw_;
};

Gathered gather(const ChunkRows& rows, uint32_t* coefficients) {
  return gatherColumns(rows, kChunkColumns, coefficients);
}

void window(const uint32_t* coefficients, size_t count, int plane, uint8_t* windows) {
  for (size_t i = 0; i < count; i++) windows[i] = windowOf(coefficients[i], plane);
}

template <bool kRaw>
void significance(ScanPass& pass) {
  ScannedBlock block(pass, kRaw);
  definition::significancePropagation(block, kSignificanceContext[pass.subband]);
}

void refinement(ScanPass& pass) {
  ScannedBlock block(pass, false);  // its symbols are the same, and a raw coder takes the decisions from them
  definition::magnitudeRefinement(block);
}

void cleanup(ScanPass& pass) {
  ScannedBlock block(pass, false);
  definition::cleanup(block, kSignificanceContext[pass.subband]);
}

void code(mq::Encoder& coder, const uint8_t* symbols, const uint8_t* end) {
  for (; symbols != end; symbols++) mq::encode(coder, *symbols >> 1, *symbols & 1);
}

}  // namespace
}  // namespace mox::MOX_TARGET
