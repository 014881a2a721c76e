// A block of symbols in one piece.
//
// The definition visits all 64 coefficients and moves every code and every value into the accumulator by itself, byte
// by byte. Here vectors bring the block into zig-zag order and find categories, value bits and a mask of the
// coefficients that are not 0; the loop runs over the mask, so that zeros cost nothing: the number of zeros ahead of
// a coefficient is a difference of positions. Code and value go into a 64-bit accumulator together.
//
// Blocks differ too much for a processor to foresee when the accumulator is full. So after every second symbol all
// eight bytes of it are stored, and the store of the next pair begins behind those that were whole: no branch. The
// bytes go into a buffer of this call, from its end downwards, where they lie as the accumulator holds them; one
// vector operation turns them round on their way to the destination. That leaves the questions of room and of bytes
// of 0xFF for the end, asked once. A block that cannot be coded this way (a symbol without a code, a category that
// takes more than half the accumulator, no room for whole vectors) has left no trace and goes to the definition.
#include "kernels/entropy/huffenc.h"

#include "kernels/entropy/packer.h"
#include "kernels/entropy/zigzagblock.h"
#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {
namespace {

#if MOX_VECTOR

constexpr int kMostBits = 16 + ZigZagBlock::kLargest;  // of a code and its value
static_assert(7 + 2 * kMostBits < 64 && 7 + kMostBits + 16 < 64);

// At most 32 flushes for the coefficients, two for each of three codes of 16 zeros, and a last one.
using Buffer = PackBuffer<32 + 6 + 1>;

// ---- Coefficients -------------------------------------------------------------------------------------------------

// One after the other, two a flush.
MOX_INLINE bool packEach(const ZigZagBlock& block, const EncodeSpec& table, Packer& out) {
  uint64_t left = block.nonZero, last = 0;
  const auto coefficient = [&]() __attribute__((always_inline)) {
    const uint64_t before = last;
    last = static_cast<uint64_t>(__builtin_ctzll(left));
    return out.coefficient(table, block, last, before);
  };
  // The first flush is that of the difference and of a coefficient.
  while (left) {
    if (!coefficient()) [[unlikely]]
      return false;
    out.flush();
    if (!(left &= left - 1)) break;
    if (!coefficient()) [[unlikely]]
      return false;
    left &= left - 1;
  }
  return last == 63 || out.symbol(table, definition::kEndOfBlock, 0, 0);
}

#if defined(MOX_TARGET_IS_avx512)

// Sixteen at a time: their positions are moved together, their codes gathered, each code and its value and then two
// of these are joined by shifts, so that the accumulator takes a pair at once.

constexpr int kGroup = 16;

struct Iota {
  uint8_t of[64];
};
constexpr Iota iota() {
  Iota bytes{};
  for (int i = 0; i < 64; i++) bytes.of[i] = static_cast<uint8_t>(i);
  return bytes;
}
alignas(64) constexpr Iota kIota = iota();

// Bits and how many they are, of two symbols each; the upper half of a number is undefined.
struct Pairs {
  alignas(64) uint64_t bits[kGroup / 2], count[kGroup / 2];
};

// From the lowest bytes of `positions` and `symbols`, of which the mask tells the ones that are there. False if one
// has no code.
MOX_INLINE bool joinPairs(const ZigZagBlock& block, const EncodeSpec& table, __m512i positions, __m512i symbols,
                          __mmask16 there, Pairs& pairs) {
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

MOX_INLINE bool packCoefficients(const ZigZagBlock& block, const EncodeSpec& table, Packer& out) {
  const uint64_t present = Packer::lowBits(~uint64_t{0}, static_cast<uint64_t>(__builtin_popcountll(block.nonZero)));
  __m512i positions = _mm512_maskz_compress_epi8(block.nonZero, _mm512_load_si512(kIota.of));
  const __m512i ones = _mm512_set1_epi8(1), before = _mm512_sub_epi8(_mm512_load_si512(kIota.of), ones);
  const __m512i previous = _mm512_maskz_permutexvar_epi8(~uint64_t{1}, before, positions);
  const __m512i run = _mm512_sub_epi8(_mm512_sub_epi8(positions, previous), ones);
  if (_mm512_mask_cmpgt_epu8_mask(present, run, _mm512_set1_epi8(15))) [[unlikely]]
    return packEach(block, table, out);
  // Behind the last one lies a 0: the end of the block.
  __m512i symbols = _mm512_maskz_add_epi8(present, _mm512_slli_epi16(run, 4),
                                          _mm512_permutexvar_epi8(positions, _mm512_load_si512(block.size)));
  static_assert(definition::kEndOfBlock == 0);
  out.flush();
  for (unsigned left = static_cast<unsigned>(__builtin_popcountll(block.nonZero) + !(block.nonZero >> 63));;) {
    Pairs pairs;
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

#else

MOX_INLINE bool packCoefficients(const ZigZagBlock& block, const EncodeSpec& table, Packer& out) {
  return packEach(block, table, out);
}

#endif

// All symbols of a block; false if it cannot be coded here.
MOX_INLINE bool packBlock(const ZigZagBlock& block, int difference, const EncodeSpec& dcTable,
                          const EncodeSpec& acTable, Packer& out) {
  const int sign = difference >> 31, bits = difference + sign;
  const unsigned size = static_cast<unsigned>(std::bit_width(static_cast<unsigned>(bits ^ sign)));
  if (block.large || size > ZigZagBlock::kLargest) [[unlikely]]
    return false;
  if (!out.symbol(dcTable, size, size, static_cast<uint64_t>(bits))) [[unlikely]]
    return false;
  if (block.nonZero == 0 ? !out.symbol(acTable, definition::kEndOfBlock, 0, 0) : !packCoefficients(block, acTable, out))
      [[unlikely]]
    return false;
  out.flush();
  return true;
}

// ---- Blocks -------------------------------------------------------------------------------------------------------

[[gnu::noinline, gnu::cold]] MoxStatus encodeSlowly(const Mox16s* src, Mox8u* dst, int32_t length, int32_t* position,
                                                    Mox16s* lastDC, const EncodeSpec* dcTable,
                                                    const EncodeSpec* acTable, EncodeState* state) {
  return definition::encodeBlock(src, dst, length, position, lastDC, dcTable, acTable, state);
}

MoxStatus encodeBlock(const Mox16s* src, Mox8u* dst, int32_t length, int32_t* position, Mox16s* lastDC,
                      const EncodeSpec* dcTable, const EncodeSpec* acTable, EncodeState* state) {
  prefetchBlocks(src);
  const ZigZagBlock block(src);
  const uint32_t low = state->low, pending = static_cast<uint32_t>(state->pending);
  const int32_t at = *position;
  // A state that no call has left may hold bits below the pending ones, which the definition would mix with new ones.
  if (pending < 8 && low << (8 + pending) == 0 && static_cast<uint32_t>(at) < static_cast<uint32_t>(length))
      [[likely]] {
    Buffer buffer;
    Packer out{low >> (24 - pending), pending, buffer.end()};
    if (packBlock(block, src[0] - *lastDC, *dcTable, *acTable, out)) [[likely]] {
      const int count = static_cast<int>(buffer.end() - out.next);
      const Mox8u* const behind = append(buffer.end(), count, dst + at, length - at);
      if (behind) [[likely]] {
        *lastDC = src[0];
        *position = static_cast<int32_t>(behind - dst);
        state->low = static_cast<uint32_t>(out.accumulator << (24 - out.used));
        state->high = 0;
        state->pending = static_cast<int32_t>(out.used);
        return moxStatusOk;
      }
    }
  }
  return encodeSlowly(src, dst, length, position, lastDC, dcTable, acTable, state);
}

void encodeBlockDirect(const Mox16s* src, Mox8u* dst, int32_t* bitPosition, Mox16s* lastDC, const EncodeSpec* dcTable,
                       const EncodeSpec* acTable) {
  const int32_t at = *bitPosition / 8, pending = *bitPosition % 8;
  if (*bitPosition >= 0) {
    Buffer buffer;
    const uint64_t begun = pending ? static_cast<uint64_t>(dst[at] >> (8 - pending)) : 0;
    Packer out{begun, static_cast<uint64_t>(pending), buffer.end()};
    if (packBlock(ZigZagBlock(src), src[0] - *lastDC, *dcTable, *acTable, out)) {
      // Bytes one by one: none behind the last may even be read.
      Mox8u* const behind = appendBytes(buffer.end(), static_cast<int>(buffer.end() - out.next), dst + at);
      if (out.used) *behind = static_cast<Mox8u>(out.accumulator << (8 - out.used));
      *lastDC = src[0];
      *bitPosition = static_cast<int32_t>(static_cast<uint32_t>(behind - dst) * 8 + static_cast<uint32_t>(out.used));
      return;
    }
  }
  definition::encodeBlockDirect(src, dst, bitPosition, lastDC, dcTable, acTable);
}

void countBlock(const Mox16s* src, int32_t* dcCounts, int32_t* acCounts, Mox16s* lastDC) {
  prefetchBlocks(src);
  const ZigZagBlock block(src);
  if (block.large) return definition::countBlock(src, dcCounts, acCounts, lastDC);
  definition::SymbolCounter counter{dcCounts, acCounts};
  counter.dc(src[0] - *lastDC);
  *lastDC = src[0];
  int last = 0;
  for (uint64_t left = block.nonZero; left; left &= left - 1) {
    const int position = __builtin_ctzll(left), run = position - last - 1;
    last = position;
    if (run > 15) counter.add(acCounts, kZeroRun, run / 16);
    counter.add(acCounts, run % 16 * 16 + block.size[position]);
  }
  if (last != 63) counter.end();
}

#else

constexpr auto encodeBlock = definition::encodeBlock;
constexpr auto encodeBlockDirect = definition::encodeBlockDirect;
constexpr auto countBlock = definition::countBlock;

#endif

}  // namespace

const HuffEncodeKernels huffEncodeKernels = {
    .block = encodeBlock, .direct = encodeBlockDirect, .statistics = countBlock};

}  // namespace mox::MOX_TARGET
