#include "kernels/tier1/t1dec.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "kernels/tier1/bitslice.h"
#include "kernels/tier1/mq_loop.h"
#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {
namespace {

using namespace tier1;
using slice::kTop;

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
  uint32_t refinement(uint8_t) { return bit(); }

 private:
  RawReader& reader_;
};

// ---- The block

// Sixteen columns of a stripe. Sets of their coefficients are words with four bits a column.
struct Part {
  uint64_t* flags;
  // For each row where else, and in which lanes, a significant coefficient is told of: in the stripe above or below.
  uint64_t* outside[4];
  uint64_t lanesOutside[4];
  char* dst;
  ptrdiff_t dstStep;
  int columns;
  uint64_t valid;  // the coefficients within the block
};

template <bool Causal, class Body>
void forEachPart(const DecodePass& pass, const Body& body) {
  const size_t words = static_cast<size_t>(pass.width) + 2;
  uint64_t* flags = pass.flags;
  char* dst = reinterpret_cast<char*>(pass.dst);
  for (int y = 0; y < pass.height; y += 4) {
    const int left = pass.height - y;
    const bool above = y > 0, below = left > 4;
    // Rows that tell nothing outside get words that nobody waits for.
    uint64_t* const unused = above ? flags - words : below ? flags + words : flags;
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
static_assert(std::endian::native == std::endian::little);  // as the rows of a column follow each other in its word
uint32_t flagsOf(const Part& c, int i) {
  uint16_t flags;
  std::memcpy(&flags, reinterpret_cast<const char*>(c.flags) + sizeof flags * static_cast<size_t>(i), sizeof flags);
  return flags;
}

#if defined(MOX_TARGET_IS_avx512) && defined(__x86_64__)

// The coefficients that have some of the flags.
uint64_t having(const Part& c, uint32_t flags) {
  const __m512i some = _mm512_set1_epi16(static_cast<int16_t>(flags));
  const uint32_t columns = (1u << c.columns) - 1;
  const __m512i low = _mm512_maskz_loadu_epi64(static_cast<__mmask8>(columns), c.flags);
  const __m512i high = _mm512_maskz_loadu_epi64(static_cast<__mmask8>(columns >> 8), c.flags + 8);
  return static_cast<uint64_t>(_mm512_test_epi16_mask(high, some)) << 32 | _mm512_test_epi16_mask(low, some);
}

// Sets or clears a flag of some coefficients.
template <bool Value>
void mark(const Part& c, uint64_t set, uint32_t flag) {
  for (int half = 0; half < 2; half++) {
    const __mmask8 columns = static_cast<__mmask8>(((1u << c.columns) - 1) >> 8 * half);
    const __mmask32 lanes = static_cast<__mmask32>(set >> 32 * half);
    const __m512i words = _mm512_maskz_loadu_epi64(columns, c.flags + 8 * half);
    const __m512i bit = _mm512_maskz_set1_epi16(lanes, static_cast<int16_t>(flag));
    _mm512_mask_storeu_epi64(c.flags + 8 * half, columns,
                             Value ? _mm512_or_si512(words, bit) : _mm512_andnot_si512(bit, words));
  }
}

// The contexts of the coefficients that are to be refined; gives their number.
int refinementContexts(const Part& c, uint64_t coded, uint8_t* contexts) {
  __m512i all = _mm512_mask_mov_epi8(_mm512_set1_epi8(mq::kRefinement), having(c, kNeighbours),
                                     _mm512_set1_epi8(mq::kRefinement + 1));
  all = _mm512_mask_mov_epi8(all, having(c, kRefined), _mm512_set1_epi8(mq::kRefinement + 2));
  _mm512_storeu_si512(contexts, _mm512_maskz_compress_epi8(coded, all));
  return static_cast<int>(_mm_popcnt_u64(coded));
}

// The refined coefficients' new bits, in their order.
void refine(const DecodePass& pass, const Part& c, uint64_t coded, uint64_t bits) {
  const uint64_t ones = _pdep_u64(bits, coded);
  const __m512i kept = _mm512_set1_epi32(static_cast<int>(pass.kept)),
                half = _mm512_set1_epi32(static_cast<int>(pass.half));
  for (int row = 0; row < 4; row++) {
    const __mmask16 columns = static_cast<__mmask16>(_pext_u64(coded, kTop << row));
    char* const p = c.dst + row * c.dstStep;
    if (columns == 0) continue;
    const __m512i one =
        _mm512_maskz_set1_epi32(static_cast<__mmask16>(_pext_u64(ones, kTop << row)), static_cast<int>(pass.one));
    const __m512i old = _mm512_maskz_loadu_epi32(columns, p);
    _mm512_mask_storeu_epi32(p, columns, _mm512_or_si512(_mm512_or_si512(_mm512_and_si512(old, kept), half), one));
  }
}

#else

// The coefficients that have some of the flags.
uint64_t having(const Part& c, uint32_t flags) {
  uint64_t set = 0;
  int x = 0;
#if MOX_VECTOR
  const V128 some = set16<V128>(static_cast<int16_t>(flags));
  for (; x + 4 <= c.columns; x += 4)
    set |= nonZero8(packs16(bitAnd(load<V128>(c.flags + x), some), bitAnd(load<V128>(c.flags + x + 2), some))) << 4 * x;
#endif
  for (; x < c.columns; x++) {
    const uint64_t lanes = ((c.flags[x] & inAllRows(flags)) + inAllRows(0x7FFF)) >> 15 & inAllRows(1);
    // The lowest bits of the lanes, side by side in the highest.
    set |= (lanes * UINT64_C(0x0001000200040008) >> 48 & 15) << 4 * x;
  }
  return set;
}

// Sets or clears a flag of some coefficients.
template <bool Value>
void mark(const Part& c, uint64_t set, uint32_t flag) {
  for (int x = 0; set != 0; x++, set >>= 4) {
    const uint64_t lanes = ((set & 15) * UINT64_C(0x0000200040008001) & inAllRows(1)) * flag;
    c.flags[x] = Value ? c.flags[x] | lanes : c.flags[x] & ~lanes;
  }
}

// The contexts of the coefficients that are to be refined; gives their number.
int refinementContexts(const Part& c, uint64_t coded, uint8_t* contexts) {
  int count = 0;
  for (; coded; coded &= coded - 1) {
    const uint32_t flags = flagsOf(c, std::countr_zero(coded)), refined = flags / kRefined & 1;
    contexts[count++] = static_cast<uint8_t>(mq::kRefinement + 2 * refined + (~refined & ((flags & kNeighbours) != 0)));
  }
  return count;
}

// The refined coefficients' new bits, in their order.
void refine(const DecodePass& pass, const Part& c, uint64_t coded, uint64_t bits) {
  for (; coded; coded &= coded - 1, bits >>= 1) {
    char* const p = placeOf(c, std::countr_zero(coded));
    store32(p, (load32(p) & pass.kept) | (-static_cast<uint32_t>(bits & 1) & pass.one) | pass.half);
  }
}

#endif

// Coefficient i of the part has become significant: writes it and tells its neighbours. Apart from the loops, which
// need all registers for the coder's.
[[gnu::noinline]] void becomeSignificant(const DecodePass& pass, const Part& c, int i, uint32_t negative) {
  const int x = i >> 2, row = i & 3;
  char* const p = placeOf(c, i);
  store32(p, load32(p) | negative << 31 | pass.one | pass.half);
  const Spread& spread = kSpread[row][negative];
  const uint64_t within = kWithin[row], without = c.lanesOutside[row];
  uint64_t* const outside = c.outside[row];
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
    uint8_t contexts[64];
    const int count = refinementContexts(c, coded, contexts);
    uint64_t bits = 0;
    for (int k = 0; k < count; k++) bits |= static_cast<uint64_t>(source.refinement(contexts[k])) << k;
    refine(pass, c, coded, bits);
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
