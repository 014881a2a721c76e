// The coding passes of the decoder (D.3) over the part of a block at a time.
#pragma once

#include "kernels/tier1/mq_loop.h"
#if defined(MOX_TARGET_IS_avx512) && defined(__x86_64__)  // it extracts and counts bits of 64-bit words
#include "kernels/tier1/t1dec_avx512.h"
#elif defined(MOX_TARGET_IS_avx2)
#include "kernels/tier1/t1dec_avx2.h"
#else
#include "kernels/tier1/t1dec_words.h"
namespace mox::MOX_TARGET {
using namespace words;
}
#endif

namespace mox::MOX_TARGET {
namespace {

// ---- Where a pass takes its decisions from

// MQ-coded decisions with their contexts.
class MqPass : public MqSource {
 public:
  explicit MqPass(DecodePass& pass) : MqSource(pass.mq) {}

  uint32_t significance(uint8_t context) { return decide(context); }
  uint32_t sign(uint32_t flags) {
    const uint8_t plus = kSignSymbol[flags >> kSignShift & kSignBits];
    return decide(plus >> 1) ^ (plus & 1);
  }
  uint32_t refinement(uint8_t context) { return decide(context); }
};

// Raw bits.
class RawPass {
 public:
  explicit RawPass(DecodePass& pass) : reader_(pass.raw) {}

  uint32_t significance(uint8_t) { return reader_.bit(); }
  uint32_t sign(uint32_t) { return reader_.bit(); }
  uint32_t refinement(uint8_t) { return reader_.bit(); }

 private:
  mq::RawReader& reader_;
};

// Coefficient i of the part has become significant: writes it and sets its neighbours' flags. Out of line: the loops
// need all registers for the coder.
[[gnu::noinline]] void becomeSignificant(const DecodePass& pass, const Part& c, int i, uint32_t negative) {
  const int x = i >> 2, row = i & 3;
  char* const p = placeOf(c, i);
  store32(p, load32(p) | negative << 31 | pass.one | pass.half);
  const Spread& spread = kSpread[row][negative];
  const uint64_t within = kWithin[row], without = c.lanesOutside[row];
  FlagWord* const outside = c.outside[row];
  outside[x - 1] |= spread.left & without;
  outside[x] |= spread.own & without;
  outside[x + 1] |= spread.right & without;
  c.flags[x - 1] |= spread.left & within;
  c.flags[x] |= spread.own & within;
  c.flags[x + 1] |= spread.right & within;
}

// ---- The passes (D.3)

template <class Source, bool Causal>
void significance(DecodePass& pass) {
  Source source(pass);
  const ContextTable& contexts = *pass.significance;
  forEachPart<Causal>(pass, [&](const Part& c) {
    const uint64_t open = c.valid & ~having(c, kSelf);
    uint64_t todo = open & having(c, kNeighbours), visited = todo;
    if (todo == 0) return;
    do {
      const int i = std::countr_zero(todo);
      const uint64_t bit = todo & -todo;
      todo ^= bit;
      if (source.significance(contexts[flagsOf(c, i) & kNeighbours])) {
        becomeSignificant(pass, c, i, source.sign(flagsOf(c, i)));
        const uint64_t more = slice::later(bit) & open;  // they have a significant neighbour now
        todo |= more, visited |= more;
      }
    } while (todo);
    mark<true>(c, visited, kVisited);
  });
}

template <class Source>
void refinement(DecodePass& pass) {
  Source source(pass);
  forEachPart<false>(pass, [&](const Part& c) {
    const uint64_t coded = c.valid & having(c, kSelf) & ~having(c, kVisited);
    if (coded == 0) return;
    uint8_t codes[kChunkSize + kCodeSlack];  // contexts, each replaced by the decision in it
    const int count = refinementContexts(c, coded, codes);
    for (int k = 0; k < count; k++) codes[k] = static_cast<uint8_t>(source.refinement(codes[k]));
    refine(pass, c, coded, codes);
    mark<true>(c, coded, kRefined);
  });
}

template <bool Causal>
void cleanup(DecodePass& pass) {
  MqPass source(pass);
  const ContextTable& contexts = *pass.significance;
  forEachPart<Causal>(pass, [&](const Part& c) {
    uint64_t todo = c.valid & ~having(c, kSelf | kVisited);
    // Columns of four without any flag, by their first rows.
    uint64_t runs = todo & ~having(c, kNeighbours);
    runs &= runs >> 1 & runs >> 2 & runs >> 3 & kTop;
    while (todo) {
      int i = std::countr_zero(todo);
      const uint64_t bit = todo & -todo;
      if (runs & bit) {
        todo &= ~(15 * bit);
        if (!source.decideSkewed(mq::kRun)) continue;
        int row = 0;
        for (int k = 0; k < 2; k++) row = 2 * row + static_cast<int>(source.decide(mq::kUniform));
        todo |= 14 * bit & 14 * bit << row;
        i += row;
      } else {
        todo ^= bit;
        if (!source.significance(contexts[flagsOf(c, i) & kNeighbours])) continue;
      }
      becomeSignificant(pass, c, i, source.sign(flagsOf(c, i)));
      runs &= ~(UINT64_C(16) << (i & ~3));
    }
    mark<false>(c, c.valid, kVisited);
  });
}

void decide(mq::Decoder& coder, uint8_t* contexts, int count) {
  MqSource source(coder);
  for (int i = 0; i < count; i++) contexts[i] = static_cast<uint8_t>(source.decide(contexts[i]));
}

}  // namespace
}  // namespace mox::MOX_TARGET
