// The coding passes of the encoder (D.3) over 64 coefficients at a time.
#pragma once

#include "kernels/tier1/mq_loop.h"
#include "kernels/tier1/t1enc.h"
#if defined(MOX_TARGET_IS_avx512) && defined(__x86_64__)  // it deposits and counts bits of 64-bit words
#include "kernels/tier1/t1enc_avx512.h"
#elif defined(MOX_TARGET_IS_avx2)
#include "kernels/tier1/t1enc_avx2.h"
#else
#include "kernels/tier1/t1enc_words.h"
#endif

namespace mox::MOX_TARGET {
namespace {

using namespace tier1;

void window(const uint32_t* coefficients, size_t count, int plane, uint8_t* windows) {
  for (size_t i = 0; i < count; i += kChunkSize) windowsOf(coefficients + i, plane, windows + i);
}

// A chunk and the ones above and below it. The chunks to the left and right of each lie next to it in memory.
struct Place {
  Chunk* chunk;
  const Chunk* above;
  const Chunk* below;
  const uint8_t* windows;
  uint64_t valid;  // the coefficients within the block

  // The neighbours' bits of a set. In this chunk the set is `coded` for neighbours that come earlier in the scan and
  // `open` for those that come later.
  slice::Neighbours around(uint64_t Chunk::*set, uint64_t coded, uint64_t open) const {
    using namespace slice;
    const uint64_t before = chunk[-1].*set, after = chunk[1].*set;
    const uint64_t a = above->*set, b = below->*set;
    return {.n = north(coded, a),
            .s = south(open, b),
            .w = west(coded, before),
            .e = east(open, after),
            .nw = west(north(coded, a), north(before, above[-1].*set)),
            .ne = east(north(open, a), north(after, above[1].*set)),
            .sw = west(south(coded, b), south(before, below[-1].*set)),
            .se = east(south(open, b), south(after, below[1].*set))};
  }
};

template <class Body>
void forEachChunk(const ScanPass& pass, const Body& body) {
  const size_t chunks = chunksOf(pass.width), stride = chunks + 2;
  const Chunk* const nothing = pass.chunks - stride;  // the spare stripe
  Place p{pass.chunks, nullptr, nullptr, pass.windows, 0};
  for (int y = 0; y < pass.height; y += 4, p.chunk += 2) {
    const uint64_t rows = pass.height - y >= 4 ? ~UINT64_C(0) : slice::kTop * ((1u << (pass.height - y)) - 1);
    for (size_t k = 1; k <= chunks; k++, p.chunk++, p.windows += kChunkSize) {
      const int columns = pass.width - static_cast<int>(k - 1) * kChunkColumns;
      p.valid = columns >= kChunkColumns ? rows : rows & ((UINT64_C(1) << 4 * columns) - 1);
      p.above = p.chunk - stride;
      p.below = pass.causal ? nothing + k - 1 : p.chunk + stride;
      body(p);
    }
  }
}

Bytes significanceBytes(Subband subband, uint64_t decisions, const slice::Neighbours& of) {
  switch (subband) {
    case kSubbandHL:
      return bytesOf(slice::significance<kSubbandHL>(decisions, of));
    case kSubbandHH:
      return bytesOf(slice::significance<kSubbandHH>(decisions, of));
    default:
      return bytesOf(slice::significance<kSubbandLow>(decisions, of));
  }
}

Bytes signBytes(const Place& p, const slice::Neighbours& of, bool raw) {
  const uint64_t negative = p.chunk->negative;
  if (raw) return bytesOf(slice::Numbers<0, 1>{{negative}});
  return bytesOf(slice::sign(negative, of, p.around(&Chunk::negative, negative, negative)));
}

template <bool kRaw>
void significance(ScanPass& pass) {
  Moments moments;
  forEachChunk(pass, [&](const Place& p) {
    Chunk& chunk = *p.chunk;
    const uint64_t before = chunk.significant, open = p.valid & ~before;
    slice::Neighbours of = p.around(&Chunk::significant, before, before);
    uint64_t coded = of.any() & open;
    if (coded != 0) {
      const uint64_t decisions = decisionsOf(p.windows);
      for (uint64_t fresh = coded & decisions; fresh != 0; fresh &= decisions) {
        fresh = slice::later(fresh) & open & ~coded;
        coded |= fresh;
      }
      const uint64_t fresh = coded & decisions;
      if (fresh == 0) {
        pass.symbols = append(pass.symbols, significanceBytes(pass.subband, 0, of), coded);
      } else {
        chunk.significant = before | fresh;
        of = p.around(&Chunk::significant, chunk.significant, before);
        pass.symbols = appendPairs(pass.symbols, significanceBytes(pass.subband, decisions, of), coded,
                                   signBytes(p, of, kRaw), fresh);
        moments.add(p.windows, fresh);
      }
    }
    chunk.visited = coded;
  });
  pass.distortion = moments.weigh(kGain[pass.exact].significance);
}

void refinement(ScanPass& pass) {
  Moments zeros, ones;
  forEachChunk(pass, [&](const Place& p) {
    Chunk& chunk = *p.chunk;
    const uint64_t coded = chunk.significant & ~chunk.visited;
    if (coded == 0) return;
    const uint64_t decisions = decisionsOf(p.windows);
    const uint64_t some = p.around(&Chunk::significant, chunk.significant, chunk.significant).any();
    pass.symbols = append(pass.symbols, bytesOf(slice::refinement(decisions, some, chunk.refined)), coded);
    chunk.refined |= coded;
    zeros.add(p.windows, coded & ~decisions);
    ones.add(p.windows, coded & decisions);
  });
  const Gains& gain = kGain[pass.exact];
  pass.distortion = zeros.weigh(gain.refinement[0]) + ones.weigh(gain.refinement[1]);
}

void cleanup(ScanPass& pass) {
  Moments moments;
  forEachChunk(pass, [&](const Place& p) {
    using namespace slice;
    Chunk& chunk = *p.chunk;
    const uint64_t before = chunk.significant;
    uint64_t coded = p.valid & ~(before | chunk.visited);
    chunk.visited = 0;
    if (coded == 0) return;
    const uint64_t decisions = decisionsOf(p.windows), fresh = coded & decisions;
    chunk.significant = before | fresh;
    const Neighbours of = p.around(&Chunk::significant, chunk.significant, before);
    // Columns of four without a significant neighbour when the scan comes to them.
    const uint64_t quiet = coded & ~(of.w | of.e | of.nw | of.ne | of.sw | of.se | (of.n & kTop) | (of.s & kBottom));
    const uint64_t runs = quiet & quiet >> 1 & quiet >> 2 & quiet >> 3 & kTop;
    const auto rowsBelow = [](uint64_t set) {
      return (set << 1 & ~kTop) | (set << 2 & ~(3 * kTop)) | (set << 3 & kBottom);
    };
    const uint64_t interrupting = fresh & 15 * runs, firsts = interrupting & ~rowsBelow(interrupting);
    coded = (coded & ~(15 * runs)) | rowsBelow(firsts);
    Bytes bytes = significanceBytes(pass.subband, decisions, of);
    const uint64_t broken = (firsts | firsts >> 1 | firsts >> 2 | firsts >> 3) & kTop;
    replace(bytes, runs & ~broken, kRunOfZeros);
    coded |= runs & ~broken;
    if (fresh == 0) {
      pass.symbols = append(pass.symbols, bytes, coded);
      return;
    }
    const Bytes sign = signBytes(p, of, false);
    pass.symbols = broken == 0 ? appendPairs(pass.symbols, bytes, coded, sign, fresh)
                               : appendBroken(pass.symbols, bytes, coded, sign, fresh, broken, firsts);
    moments.add(p.windows, fresh);
  });
  pass.distortion = moments.weigh(kGain[pass.exact].significance);
}

void code(mq::Encoder& coder, const uint8_t* symbols, const uint8_t* end) { encodeSymbols(coder, symbols, end); }

}  // namespace
}  // namespace mox::MOX_TARGET
