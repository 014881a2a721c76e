// Appends the coefficients of a block to the accumulator sixteen at a time, with AVX-512. Their positions are
// compressed and their codes gathered. Shifts join each code to its value, then pairs of these, so that the accumulator
// takes a pair at once.
#pragma once

#include "kernels/entropy/huffenc.h"
#include "kernels/entropy/packeach.h"
#include "kernels/entropy/packer.h"
#include "kernels/entropy/zigzagblock.h"
#include "kernels/vec/bits.h"
#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {

inline constexpr int kGroup = 16;

struct Iota {
  uint8_t of[64];
};
constexpr Iota iota() {
  Iota bytes{};
  for (int i = 0; i < 64; i++) bytes.of[i] = static_cast<uint8_t>(i);
  return bytes;
}
alignas(64) inline constexpr Iota kIota = iota();

// Two symbols each: their bits and the number of these, whose upper half is undefined.
struct SymbolPairs {
  alignas(64) uint64_t bits[kGroup / 2], count[kGroup / 2];
};

// Joins the symbols in the lowest bytes of `positions` and `symbols`, where the mask is set. False if one has no code.
MOX_INLINE bool joinPairs(const ZigZagBlock& block, const EncodeSpec& table, __m512i positions, __m512i symbols,
                          __mmask16 there, SymbolPairs& pairs) {
  const __m512i symbol = _mm512_cvtepu8_epi32(_mm512_castsi512_si128(symbols));
  const __m512i position = _mm512_cvtepu8_epi32(_mm512_castsi512_si128(positions));
  const __m512i entry = _mm512_mask_i32gather_epi32(_mm512_setzero_si512(), there, symbol, table.code, 4);
  const __m512i length = _mm512_srli_epi32(entry, 16);
  if (_mm512_mask_cmpge_epu32_mask(there, _mm512_sub_epi32(length, _mm512_set1_epi32(1)), _mm512_set1_epi32(16)))
      [[unlikely]]
    return false;
  const __m512i size = _mm512_and_si512(symbol, _mm512_set1_epi32(15));
  const __m512i value =
      _mm512_andnot_si512(_mm512_sllv_epi32(_mm512_set1_epi32(-1), size),
                          _mm512_maskz_permutex2var_epi16(0x55555555, _mm512_load_si512(block.bits), position,
                                                          _mm512_load_si512(block.bits + 32)));
  const __m512i code = _mm512_and_si512(entry, _mm512_set1_epi32(0xFFFF));
  const __m512i bits = _mm512_maskz_or_epi32(there, _mm512_sllv_epi32(code, size), value);
  const __m512i count = _mm512_maskz_add_epi32(there, length, size);
  const __m512i second = _mm512_srli_epi64(count, 32);
  const __m512i first = _mm512_maskz_mov_epi32(0x5555, bits);
  _mm512_store_si512(pairs.bits, _mm512_or_si512(_mm512_sllv_epi64(first, second), _mm512_srli_epi64(bits, 32)));
  _mm512_store_si512(pairs.count, _mm512_add_epi32(count, second));
  return true;
}

// As packEach().
MOX_INLINE bool packGroups(const ZigZagBlock& block, const EncodeSpec& table, Packer& out) {
  const uint64_t present = lowBits(~uint64_t{0}, static_cast<uint64_t>(__builtin_popcountll(block.nonZero)));
  __m512i positions = _mm512_maskz_compress_epi8(block.nonZero, _mm512_load_si512(kIota.of));
  const __m512i ones = _mm512_set1_epi8(1), before = _mm512_sub_epi8(_mm512_load_si512(kIota.of), ones);
  const __m512i previous = _mm512_maskz_permutexvar_epi8(~uint64_t{1}, before, positions);
  const __m512i run = _mm512_sub_epi8(_mm512_sub_epi8(positions, previous), ones);
  if (_mm512_mask_cmpgt_epu8_mask(present, run, _mm512_set1_epi8(15))) [[unlikely]]
    return packEach(block, table, out);
  // After the last symbol comes a 0: the end of the block.
  __m512i symbols = _mm512_maskz_add_epi8(present, _mm512_slli_epi16(run, 4),
                                          _mm512_permutexvar_epi8(positions, _mm512_load_si512(block.size)));
  static_assert(definition::kEndOfBlock == 0);
  out.flush();
  for (unsigned left = static_cast<unsigned>(__builtin_popcountll(block.nonZero) + !(block.nonZero >> 63));;) {
    SymbolPairs pairs;
    const __mmask16 there = static_cast<__mmask16>(_bzhi_u32(0xFFFF, left));
    if (!joinPairs(block, table, positions, symbols, there, pairs)) [[unlikely]]
      return false;
    const unsigned here = left < kGroup ? left : kGroup;
    for (unsigned i = 0; 2 * i < here; i++) {
      out.add(pairs.bits[i], static_cast<uint32_t>(pairs.count[i]));
      if (out.used >= 64) __builtin_unreachable();  // no code has more than 16 bits here
      out.flush();
    }
    if ((left -= here) == 0) return true;
    positions = _mm512_shuffle_i32x4(positions, positions, 0x39);
    symbols = _mm512_shuffle_i32x4(symbols, symbols, 0x39);
  }
}

}  // namespace mox::MOX_TARGET
