// The flags and values of a part with AVX2: four columns of flags are a vector, and so are the bytes of eight columns
// (selection.h), whose 32-bit lanes are columns. The same interface as t1dec_words.h, which takes parts of fewer than
// sixteen columns.
#pragma once

#include <immintrin.h>

#include "kernels/tier1/selection.h"
#include "kernels/tier1/t1dec_words.h"

namespace mox::MOX_TARGET {
namespace {

inline bool isWhole(const Part& c) { return c.columns == kChunkColumns; }

// The coefficients with at least one of the flags.
uint64_t having(const Part& c, uint32_t flags) {
  if (!isWhole(c)) [[unlikely]]
    return words::having(c, flags);
  const __m256i some = _mm256_set1_epi16(static_cast<int16_t>(flags));
  const auto without = [&](int x) {  // eight columns from x on
    const __m256i a = _mm256_and_si256(loadHalf(c.flags + x), some),
                  b = _mm256_and_si256(loadHalf(c.flags + x + 4), some);
    const __m256i bytes = _mm256_permute4x64_epi64(_mm256_packs_epi16(a, b), _MM_SHUFFLE(3, 1, 2, 0));
    return static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(bytes, _mm256_setzero_si256())));
  };
  return ~(uint64_t{without(8)} << 32 | without(0));
}

// Sets or clears a flag of some coefficients.
template <bool Value>
void mark(const Part& c, uint64_t set, uint32_t flag) {
  if (!isWhole(c)) [[unlikely]]
    return words::mark<Value>(c, set, flag);
  const __m256i itsBit =
      _mm256_setr_epi16(1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 1024, 2048, 4096, 8192, 16384, -32768);
  const __m256i value = _mm256_set1_epi16(static_cast<int16_t>(flag));
#pragma GCC unroll 4
  for (int x = 0; x < kChunkColumns; x += 4) {
    const __m256i four = _mm256_set1_epi16(static_cast<int16_t>(set >> 4 * x));
    const __m256i chosen = _mm256_cmpeq_epi16(_mm256_and_si256(four, itsBit), itsBit);
    const __m256i bits = _mm256_and_si256(chosen, value), old = loadHalf(c.flags + x);
    storeHalf(c.flags + x, Value ? _mm256_or_si256(old, bits) : _mm256_andnot_si256(bits, old));
  }
}

// The contexts of the coefficients that are to be refined. Returns their number.
int refinementContexts(const Part& c, uint64_t coded, uint8_t* contexts) {
  if (!isWhole(c)) [[unlikely]]
    return words::refinementContexts(c, coded, contexts);
  const uint64_t refined = having(c, kRefined), first = having(c, kNeighbours) & ~refined;
  alignas(kHalf) uint8_t all[kChunkSize];
  for (int i = 0; i < 64; i += kHalf) {
    const __m256i more = _mm256_or_si256(_mm256_and_si256(spread(refined >> i), _mm256_set1_epi8(2)),
                                         _mm256_and_si256(spread(first >> i), _mm256_set1_epi8(1)));
    storeHalf(all + i, _mm256_add_epi8(more, _mm256_set1_epi8(mq::kRefinement)));
  }
  return static_cast<int>(appendChosen(contexts, all, coded) - contexts);
}

// Stores the refined coefficients' new bits: `decisions` has a byte for each, in the order of the scan.
void refine(const DecodePass& pass, const Part& c, uint64_t coded, const uint8_t* decisions) {
  if (!isWhole(c)) [[unlikely]]
    return words::refine(pass, c, coded, decisions);
  alignas(kHalf) uint8_t ones[kChunkSize];
  moveApart(decisions, coded, ones);
  const __m256i kept = _mm256_set1_epi32(static_cast<int>(pass.kept)),
                half = _mm256_set1_epi32(static_cast<int>(pass.half)),
                one = _mm256_set1_epi32(static_cast<int>(pass.one));
  const __m256i itsOnes[] = {loadHalf(ones), loadHalf(ones + kHalf)}, chosen[] = {spread(coded), spread(coded >> 32)};
#pragma GCC unroll 4
  for (int row = 0; row < 4; row++) {
    if ((coded & kTop << row) == 0) continue;  // it may lie outside the block
    // The top bits of the lanes: that of the row's byte, or the lowest bit of it.
    const __m128i byteUp = _mm_cvtsi32_si128(24 - 8 * row), bitUp = _mm_cvtsi32_si128(31 - 8 * row);
#pragma GCC unroll 2
    for (int k = 0; k < 2; k++) {
      char* const p = c.dst + row * c.dstStep + kHalf * k;
      const __m256i old = loadHalf(p), is = _mm256_srai_epi32(_mm256_sll_epi32(itsOnes[k], bitUp), 31);
      const __m256i fresh =
          _mm256_or_si256(_mm256_or_si256(_mm256_and_si256(old, kept), half), _mm256_and_si256(is, one));
      const __m256 selected = _mm256_castsi256_ps(_mm256_sll_epi32(chosen[k], byteUp));
      storeHalf(p,
                _mm256_castps_si256(_mm256_blendv_ps(_mm256_castsi256_ps(old), _mm256_castsi256_ps(fresh), selected)));
    }
  }
}

}  // namespace
}  // namespace mox::MOX_TARGET
