#include "kernels/t1dec.h"

#include <bit>
#include <cstring>

#include "kernels/mq.h"

namespace mox::MOX_TARGET {
namespace {

using namespace tier1;

// ---- Where a pass takes its decisions from

// MQ-coded decisions with their contexts.
class MqPass : public MqSource {
 public:
  explicit MqPass(DecodePass& pass) : MqSource(pass.mq) {}

  uint32_t significance(uint8_t zero) { return decide(zero >> 1); }
  uint32_t sign(uint32_t flags) {
    const uint8_t plus = kSignPlus[flags >> kSignShift & kSignBits];
    return decide(plus >> 1) ^ (plus & 1);
  }
  uint32_t refinement(uint32_t flags) { return decide(refinementContext(flags)); }
};

// Raw bits (D.6). After a byte of 0xFF the next one's top bit is stuffing.
class RawPass {
 public:
  explicit RawPass(DecodePass& pass) : reader_(pass.raw) {}

  uint32_t bit() {
    if (reader_.left == 0) {
      reader_.left = reader_.byte == 0xFF ? 7 : 8;
      reader_.byte = definition::byteAt(reader_.at, reader_.end);
      reader_.at += reader_.at < reader_.end;
    }
    return reader_.byte >> --reader_.left & 1;
  }

  uint32_t significance(uint8_t) { return bit(); }
  uint32_t sign(uint32_t) { return bit(); }
  uint32_t refinement(uint32_t) { return bit(); }

 private:
  RawReader& reader_;
};

// ---- The block

constexpr uint64_t kOnes = inAllRows(1);

// A stripe of the pass.
struct Stripe {
  uint64_t* flags;
  uint64_t* above;  // null: a coefficient of the first row tells nothing to the stripe above
  uint64_t* below;  // null: there is none
  char* dst;
  ptrdiff_t dstStep;
  uint64_t rows;  // kOnes, cut off after the block's last row
};

template <bool Causal, class Body>
void forEachStripe(const DecodePass& pass, const Body& body) {
  const size_t words = static_cast<size_t>(pass.width) + 2;
  Stripe s{pass.flags, nullptr, nullptr, reinterpret_cast<char*>(pass.dst), pass.dstStep, kOnes};
  for (int y = 0; y < pass.height; y += 4) {
    const int left = pass.height - y;
    s.above = Causal || y == 0 ? nullptr : s.flags - words;
    s.below = left > 4 ? s.flags + words : nullptr;
    if (left < 4) s.rows = kOnes >> 16 * (4 - left);
    body(s);
    s.flags += words;
    s.dst += 4 * s.dstStep;
  }
}

uint32_t load(const char* p) {
  uint32_t value;
  std::memcpy(&value, p, sizeof value);
  return value;
}
void store(char* p, uint32_t value) {
  std::memcpy(p, &value, sizeof value);
}

// Insignificant coefficients that have a significant neighbour, as bit 0 of their lanes.
uint64_t candidates(uint64_t flags) {
  const uint64_t some = ((flags & inAllRows(kNeighbours)) + inAllRows(kNeighbours)) >> 8;
  return some & ~(flags / kSelf) & kOnes;
}

// The coefficient of column x in the row of `lane` has become significant: decodes its sign, writes it and tells its
// neighbours; gives the column's new flags.
template <class Source>
uint64_t becomeSignificant(const DecodePass& pass, const Stripe& s, Source& source, int x, int lane, uint64_t flags) {
  const int row = lane >> 4;
  const uint32_t negative = source.sign(static_cast<uint32_t>(flags >> lane));
  char* const p = s.dst + row * s.dstStep + 4 * static_cast<ptrdiff_t>(x);
  store(p, load(p) | negative << 31 | pass.one | pass.half);
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

// ---- The passes (D.3)

template <class Source, bool Causal>
void significance(DecodePass& pass) {
  Source source(pass);
  const SymbolTable& zero = *pass.significanceZero;
  forEachStripe<Causal>(pass, [&](const Stripe& s) {
    for (int x = 0; x < pass.width; x++) {
      uint64_t flags = s.flags[x];
      if (flags == 0) continue;
      uint64_t todo = candidates(flags) & s.rows;
      if (todo == 0) continue;
      do {
        const int lane = std::countr_zero(todo);
        todo &= todo - 1;
        if (source.significance(zero[flags >> lane & kNeighbours])) {
          flags = becomeSignificant(pass, s, source, x, lane, flags);
          // The row below has a significant neighbour now.
          todo |= at(1, lane) << 16 & ~(flags / kSelf) & s.rows;
        }
        flags |= at(kVisited, lane);
      } while (todo);
      s.flags[x] = flags;
    }
  });
}

template <class Source>
void refinement(DecodePass& pass) {
  Source source(pass);
  forEachStripe<false>(pass, [&](const Stripe& s) {
    for (int x = 0; x < pass.width; x++) {
      uint64_t flags = s.flags[x];
      uint64_t todo = flags / kSelf & ~(flags / kVisited) & s.rows;
      if (todo == 0) continue;
      do {
        const int lane = std::countr_zero(todo);
        todo &= todo - 1;
        const uint32_t bit = source.refinement(static_cast<uint32_t>(flags >> lane));
        char* const p = s.dst + (lane >> 4) * s.dstStep + 4 * static_cast<ptrdiff_t>(x);
        store(p, (load(p) & pass.kept) | (bit ? pass.one : 0) | pass.half);
        flags |= at(kRefined, lane);
      } while (todo);
      s.flags[x] = flags;
    }
  });
}

template <bool Causal>
void cleanup(DecodePass& pass) {
  MqPass source(pass);
  const SymbolTable& zero = *pass.significanceZero;
  forEachStripe<Causal>(pass, [&](const Stripe& s) {
    for (int x = 0; x < pass.width; x++) {
      uint64_t flags = s.flags[x];
      uint64_t todo = ~(flags / kSelf | flags / kVisited) & s.rows;
      if (flags == 0 && s.rows == kOnes) {
        if (!source.decide(mq::kRun)) continue;
        const uint32_t first = source.decide(mq::kUniform);
        const int lane = 16 * (2 * first + source.decide(mq::kUniform));
        flags = becomeSignificant(pass, s, source, x, lane, flags);
        todo &= ~UINT64_C(1) << lane;
      }
      while (todo) {
        const int lane = std::countr_zero(todo);
        todo &= todo - 1;
        if (source.significance(zero[flags >> lane & kNeighbours]))
          flags = becomeSignificant(pass, s, source, x, lane, flags);
      }
      s.flags[x] = flags & ~inAllRows(kVisited);
    }
  });
}

void decide(MqDecoder& coder, uint8_t* contexts, int count) {
  MqSource source(coder);
  for (int i = 0; i < count; i++) contexts[i] = static_cast<uint8_t>(source.decide(contexts[i]));
}

}  // namespace

const Tier1DecodeKernels tier1DecodeKernels = {
    .significance = {{significance<MqPass, false>, significance<MqPass, true>},
                     {significance<RawPass, false>, significance<RawPass, true>}},
    .refinement = {refinement<MqPass>, refinement<RawPass>},
    .cleanup = {cleanup<false>, cleanup<true>},
    .decide = decide,
};

}  // namespace mox::MOX_TARGET
