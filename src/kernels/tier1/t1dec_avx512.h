// The flags and values of a part with AVX-512: eight columns of flags are a vector, a set of coefficients is a mask.
// The same interface as t1dec_words.h.
#pragma once

#include <immintrin.h>

#include "kernels/tier1/t1dec_part.h"

namespace mox::MOX_TARGET {
namespace {

// The coefficients with at least one of the flags.
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

// The contexts of the coefficients that are to be refined. Returns their number.
int refinementContexts(const Part& c, uint64_t coded, uint8_t* contexts) {
  __m512i all = _mm512_mask_mov_epi8(_mm512_set1_epi8(mq::kRefinement), having(c, kNeighbours),
                                     _mm512_set1_epi8(mq::kRefinement + 1));
  all = _mm512_mask_mov_epi8(all, having(c, kRefined), _mm512_set1_epi8(mq::kRefinement + 2));
  _mm512_storeu_si512(contexts, _mm512_maskz_compress_epi8(coded, all));
  return static_cast<int>(_mm_popcnt_u64(coded));
}

// Stores the refined coefficients' new bits: `decisions` has a byte for each, in the order of the scan.
void refine(const DecodePass& pass, const Part& c, uint64_t coded, const uint8_t* decisions) {
  const __m512i all = _mm512_maskz_expand_epi8(coded, _mm512_loadu_si512(decisions));
  const uint64_t ones = _mm512_test_epi8_mask(all, all);
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

}  // namespace
}  // namespace mox::MOX_TARGET
