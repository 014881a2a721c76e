// The AC coefficients of a block in zig-zag order, with what the Huffman coders ask of each: its category and value
// bits. For the kernel files: the code belongs to the target that includes it.
#pragma once

#include "kernels/entropy/zigzag.h"
#include "kernels/vec/vec.h"
#include "moxj.h"

#if MOX_VECTOR
namespace mox::MOX_TARGET {

struct ZigZagBlock {
  static constexpr int kLargest = 12;  // the largest category that is told

  [[gnu::always_inline]] explicit ZigZagBlock(const Mox16s* src);

  alignas(64) uint8_t size[64];   // magnitude category; 0 for coefficient 0, the DC
  alignas(64) uint16_t bits[64];  // the value, less 1 if it is negative; its low `size` bits follow the code
  uint64_t nonZero;               // one bit a position
  bool large;                     // there is a category above kLargest; what `size` says of it is wrong
};

// ---- Order --------------------------------------------------------------------------------------------------------

inline constexpr int kZigZagVectors = 128 / VMax::kBytes;

#if defined(MOX_TARGET_IS_avx512)

struct ZigZagWords {
  uint16_t of[64];
};
constexpr ZigZagWords zigZagWords() {
  ZigZagWords words{};
  for (int i = 0; i < 64; i++) words.of[i] = kZigZag.natural[i];
  return words;
}
alignas(64) inline constexpr ZigZagWords kZigZagWords = zigZagWords();

// All 64 coefficients, the first of them 0.
MOX_INLINE void loadZigZag(const Mox16s* src, VMax* out) {
  const __m512i a = load<VMax>(src).r, b = load<VMax>(src + 32).r;
  out[0] = {_mm512_maskz_permutex2var_epi16(~1u, a, load<VMax>(kZigZagWords.of).r, b)};
  out[1] = {_mm512_permutex2var_epi16(a, load<VMax>(kZigZagWords.of + 32).r, b)};
}

#elif defined(MOX_SHUFFLE8)

// Byte orders that bring the coefficients of one row to their places in one vector of the result, 0 elsewhere.
struct RowOrder {
  uint8_t of[VMax::kBytes];
  bool used;
};
constexpr RowOrder rowOrder(int vector, int row) {
  RowOrder order{};
  for (int i = 0; i < VMax::kBytes / 2; i++) {
    const int position = vector * VMax::kBytes / 2 + i, natural = kZigZag.natural[position];
    const bool here = natural / 8 == row && position > 0;
    order.used |= here;
    for (int byte = 0; byte < 2; byte++)
      order.of[2 * i + byte] = static_cast<uint8_t>(here ? natural % 8 * 2 + byte : 0x80);
  }
  return order;
}
template <int Vector, int Row>
alignas(32) inline constexpr RowOrder kRowOrder = rowOrder(Vector, Row);

template <int Vector, int Row>
MOX_INLINE void addRow(VMax row, VMax& out) {
  if constexpr (kRowOrder<Vector, Row>.used) out = bitOr(out, shuffle8(row, load<VMax>(kRowOrder<Vector, Row>.of)));
}
template <int Row>
MOX_INLINE void spreadRow(const Mox16s* src, VMax* out) {
  const VMax row = loadSame<VMax>(src + 8 * Row);
  addRow<0, Row>(row, out[0]);
  addRow<1, Row>(row, out[1]);
  addRow<2, Row>(row, out[2]);
  addRow<3, Row>(row, out[3]);
  if constexpr (kZigZagVectors == 8) {
    addRow<4, Row>(row, out[4]);
    addRow<5, Row>(row, out[5]);
    addRow<6, Row>(row, out[6]);
    addRow<7, Row>(row, out[7]);
  }
}
MOX_INLINE void loadZigZag(const Mox16s* src, VMax* out) {
#pragma GCC unroll 8
  for (int i = 0; i < kZigZagVectors; i++) out[i] = zero<VMax>();
  spreadRow<0>(src, out);
  spreadRow<1>(src, out);
  spreadRow<2>(src, out);
  spreadRow<3>(src, out);
  spreadRow<4>(src, out);
  spreadRow<5>(src, out);
  spreadRow<6>(src, out);
  spreadRow<7>(src, out);
}

#else

template <int First>
MOX_INLINE VMax gatherEight(const Mox16s* src) {
  constexpr const uint8_t* at = kZigZag.natural + First;
  return {_mm_setr_epi16(First ? src[at[0]] : Mox16s{0}, src[at[1]], src[at[2]], src[at[3]], src[at[4]], src[at[5]],
                         src[at[6]], src[at[7]])};
}
MOX_INLINE void loadZigZag(const Mox16s* src, VMax* out) {
  out[0] = gatherEight<0>(src);
  out[1] = gatherEight<8>(src);
  out[2] = gatherEight<16>(src);
  out[3] = gatherEight<24>(src);
  out[4] = gatherEight<32>(src);
  out[5] = gatherEight<40>(src);
  out[6] = gatherEight<48>(src);
  out[7] = gatherEight<56>(src);
}

#endif

// ---- Categories ---------------------------------------------------------------------------------------------------

// The 16-bit magnitudes of two vectors as bytes that count their bits; bytes above ZigZagBlock::kLargest may be
// wrong, and then `high` gets bits that kTooHigh has.
inline constexpr int kTooHigh = 0xF0;

#if defined(MOX_SHUFFLE8) && !defined(MOX_TARGET_IS_neon)

// By the lowest four bits, the four above, and the four above those.
alignas(16) inline constexpr uint8_t kWidths[3][16] = {{0, 1, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4},
                                                       {0, 5, 6, 6, 7, 7, 7, 7, 8, 8, 8, 8, 8, 8, 8, 8},
                                                       {0, 9, 10, 10, 11, 11, 11, 11, 12, 12, 12, 12, 12, 12, 12, 12}};

MOX_INLINE VMax bitWidths(VMax a, VMax b, VMax& high) {
  const VMax byte = set16<VMax>(0xFF), nibble = set8<VMax>(15);
  const VMax low = packsU16(bitAnd(a, byte), bitAnd(b, byte)), upper = packsU16(shrU16<8>(a), shrU16<8>(b));
  high = bitOr(high, upper);
  const VMax first = shuffle8(loadSame<VMax>(kWidths[0]), bitAnd(low, nibble));
  const VMax second = shuffle8(loadSame<VMax>(kWidths[1]), bitAnd(shrU16<4>(low), nibble));
  const VMax third = shuffle8(loadSame<VMax>(kWidths[2]), upper);
  return packedInOrder(maxU8(maxU8(first, second), third));
}

#else

MOX_INLINE VMax bitWidths(VMax a, VMax b, VMax& high) {
  high = bitOr(high, packsU16(shrU16<8>(a), shrU16<8>(b)));
  return packsU16(bitWidths16(a), bitWidths16(b));
}

#endif

// One bit for each 16-bit lane of a, then of b: whether it is not 0. From the values, not from their widths: the loop
// over the bits waits for nothing else.
MOX_INLINE uint64_t nonZero16(VMax a, VMax b) {
#if defined(MOX_TARGET_IS_avx512)
  return static_cast<uint64_t>(_mm512_test_epi16_mask(b.r, b.r)) << 32 | _mm512_test_epi16_mask(a.r, a.r);
#else
  return nonZero8(packedInOrder(packs16(a, b)));
#endif
}

inline ZigZagBlock::ZigZagBlock(const Mox16s* src) {
  constexpr int kLanes = VMax::kBytes / 2;
  VMax value[kZigZagVectors];
  loadZigZag(src, value);
  VMax high = zero<VMax>();
  nonZero = 0;
#pragma GCC unroll 4
  for (int i = 0; i < kZigZagVectors; i += 2) {
    store(bits + kLanes * i, add16(value[i], shr16<15>(value[i])));
    store(bits + kLanes * (i + 1), add16(value[i + 1], shr16<15>(value[i + 1])));
    const VMax width = bitWidths(abs16(value[i]), abs16(value[i + 1]), high);
    store(size + kLanes * i, width);
    nonZero |= nonZero16(value[i], value[i + 1]) << (kLanes * i & 63);
  }
  large = anyBits(bitAnd(high, set8<VMax>(kTooHigh)));
}

}  // namespace mox::MOX_TARGET
#endif
