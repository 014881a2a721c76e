// The definition of the decoder's kernels: the passes of passes.h over a block whose decisions come from the segment.
#pragma once

#include <cstring>

#include "kernels/tier1/passes.h"
#include "kernels/tier1/t1dec.h"

namespace mox::MOX_TARGET {
namespace {

using namespace tier1;

// MQ-coded decisions with their contexts.
class MqPass {
 public:
  explicit MqPass(DecodePass& pass) : coder_(pass.mq) {}
  int decision(int context) { return mq::decide(coder_, context); }
  int sign(uint8_t plus) { return decision(plus >> 1) ^ (plus & 1); }

 private:
  mq::Decoder& coder_;
};

// Raw bits, which have no contexts.
class RawPass {
 public:
  explicit RawPass(DecodePass& pass) : reader_(pass.raw) {}
  int decision(int) { return static_cast<int>(reader_.bit()); }
  int sign(uint8_t) { return static_cast<int>(reader_.bit()); }

 private:
  mq::RawReader& reader_;
};

// The block of a pass: takes each decision from the source and stores the bits. A coefficient that becomes significant
// sets its neighbours' flags.
template <class Source>
class DecodedBlock {
 public:
  DecodedBlock(DecodePass& pass, bool causal) : pass_(pass), causal_(causal), source_(pass) {}

  int width() const { return pass_.width; }
  int height() const { return pass_.height; }

  bool significant(int x, int y) const { return (flags(x, y) & kSelf) != 0; }
  bool refined(int x, int y) const { return (flags(x, y) & kRefined) != 0; }
  bool visited(int x, int y) const { return (flags(x, y) & kVisited) != 0; }
  uint32_t neighbours(int x, int y) const { return flags(x, y); }
  void visit(int x, int y) { word(x, y) |= at(kVisited, lane(y)); }
  void leave(int x, int y) { word(x, y) &= ~at(kVisited, lane(y)); }

  bool codeSignificance(int, int, int context) { return source_.decision(context) != 0; }
  int codeRun(int, int) {
    if (source_.decision(mq::kRun) == 0) return 4;
    const int upper = source_.decision(mq::kUniform);
    return 2 * upper + source_.decision(mq::kUniform);
  }
  void codeSign(int x, int y, uint8_t plus) {
    const bool negative = source_.sign(plus) != 0;
    store(x, y, load(x, y) | (negative ? 0x80000000 : 0) | pass_.one | pass_.half);
    word(x, y) |= at(kSelf, lane(y));
    const uint32_t minus = negative ? ~0u : 0;
    notify(x, y, -1, -1, kSouthEast);
    notify(x, y, 0, -1, kSouth | (kSouthMinus & minus));
    notify(x, y, 1, -1, kSouthWest);
    notify(x, y, -1, 0, kEast | (kEastMinus & minus));
    notify(x, y, 1, 0, kWest | (kWestMinus & minus));
    notify(x, y, -1, 1, kNorthEast);
    notify(x, y, 0, 1, kNorth | (kNorthMinus & minus));
    notify(x, y, 1, 1, kNorthWest);
  }
  void codeRefinement(int x, int y, int context) {
    const uint32_t bit = source_.decision(context) != 0 ? pass_.one : 0;
    store(x, y, (load(x, y) & pass_.kept) | bit | pass_.half);
    word(x, y) |= at(kRefined, lane(y));
  }

 private:
  static int lane(int y) { return 16 * (y % 4); }
  // The spare words allow columns from -1 to the width.
  FlagWord& word(int x, int y) const { return pass_.flags[(static_cast<ptrdiff_t>(width()) + 2) * (y / 4) + x]; }
  uint32_t flags(int x, int y) const { return static_cast<uint32_t>(word(x, y) >> lane(y) & 0xFFFF); }

  // Sets flags of the neighbour of (x, y) at (dx, dy), unless it lies outside the block's stripes, or contexts are
  // causal and it is in the stripe above.
  void notify(int x, int y, int dx, int dy, uint32_t flags) {
    const int ny = y + dy;
    if (ny < 0 || ny / 4 >= static_cast<int>(stripesOf(height())) || (causal_ && ny / 4 < y / 4)) return;
    word(x + dx, ny) |= at(flags, lane(ny));
  }

  char* place(int x, int y) const {
    return reinterpret_cast<char*>(pass_.dst) + static_cast<ptrdiff_t>(pass_.dstStep) * y + sizeof(Mox32s) * x;
  }
  uint32_t load(int x, int y) const {
    uint32_t value;
    std::memcpy(&value, place(x, y), sizeof value);
    return value;
  }
  void store(int x, int y, uint32_t value) { std::memcpy(place(x, y), &value, sizeof value); }

  DecodePass& pass_;
  const bool causal_;
  Source source_;
};

template <class Source, bool Causal>
void significance(DecodePass& pass) {
  DecodedBlock<Source> block(pass, Causal);
  definition::significancePropagation(block, *pass.significance);
}

template <class Source>
void refinement(DecodePass& pass) {
  DecodedBlock<Source> block(pass, false);
  definition::magnitudeRefinement(block);
}

template <bool Causal>
void cleanup(DecodePass& pass) {
  DecodedBlock<MqPass> block(pass, Causal);
  definition::cleanup(block, *pass.significance);
}

void decide(mq::Decoder& coder, uint8_t* contexts, int count) {
  for (int i = 0; i < count; i++) contexts[i] = static_cast<uint8_t>(mq::decide(coder, contexts[i]));
}

}  // namespace
}  // namespace mox::MOX_TARGET
