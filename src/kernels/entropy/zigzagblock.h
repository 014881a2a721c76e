// The AC coefficients of a block in zig-zag order, with the category and the value bits of each: for the kernel files
// of the Huffman coders.
#pragma once

#include <bit>
#include <utility>

#include "kernels/entropy/zigzag.h"
#include "kernels/vec/vec.h"
#include "moxj.h"

#if MOX_VECTOR
namespace mox::MOX_TARGET {

struct ZigZagBlock {
  static constexpr int kLargest = 12;  // the largest category that `size` can hold

  [[gnu::always_inline]] explicit ZigZagBlock(const Mox16s* src);

  alignas(64) uint8_t size[64];   // magnitude category; 0 for coefficient 0, the DC
  alignas(64) uint16_t bits[64];  // the value, less 1 if it is negative; its low `size` bits follow the code
  uint64_t nonZero;               // one bit per position
  bool large;                     // there is a category above kLargest, whose `size` is wrong
};

// ---- Order --------------------------------------------------------------------------------------------------------

inline constexpr int kZigZagVectors = 128 / VMax::kBytes;

// Where VMax holds half a block: the natural position of each lane.
struct ZigZagLanes {
  uint16_t natural[64];
};
constexpr ZigZagLanes zigZagLanes() {
  ZigZagLanes lanes{};
  for (int i = 0; i < 64; i++) lanes.natural[i] = kZigZag.natural[i];
  return lanes;
}
alignas(64) inline constexpr ZigZagLanes kZigZagLanes = zigZagLanes();

// Where bytes can be shuffled within blocks: the byte order that brings the coefficients of one row to their lanes in
// one vector of the result, and 0 to all other lanes.
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

template <int Vector, int Row, class V>
MOX_INLINE void addRowTo(V row, V& out) {
  if constexpr (kRowOrder<Vector, Row>.used) out = bitOr(out, shuffle8(row, load<V>(kRowOrder<Vector, Row>.of)));
}
template <int Row, class V, int... Vector>
MOX_INLINE void spreadRow(const Mox16s* src, V* out, std::integer_sequence<int, Vector...>) {
  const V row = loadSame<V>(src + 8 * Row);
  (addRowTo<Vector, Row>(row, out[Vector]), ...);
}
template <class V, int... Row>
MOX_INLINE void spreadRows(const Mox16s* src, V* out, std::integer_sequence<int, Row...>) {
  (spreadRow<Row>(src, out, std::make_integer_sequence<int, kZigZagVectors>()), ...);
}

// Elsewhere: eight coefficients one by one.
template <int First>
MOX_INLINE V128 gatherEight(const Mox16s* src) {
  using Eight [[gnu::vector_size(16)]] = int16_t;
  constexpr const uint8_t* at = kZigZag.natural + First;
  return std::bit_cast<V128>(Eight{First ? src[at[0]] : Mox16s{0}, src[at[1]], src[at[2]], src[at[3]], src[at[4]],
                                   src[at[5]], src[at[6]], src[at[7]]});
}

// All 64 coefficients in zig-zag order, the first of them 0.
template <class V>
MOX_INLINE void loadZigZag(const Mox16s* src, V* out) {
  if constexpr (kHasPermute8<V>) {
    const V low = load<V>(src), high = load<V>(src + 32);
    alignas(64) static constexpr uint16_t kAllButDC[32] = {
        0,      0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF,
        0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF,
        0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF};
    out[0] = bitAnd(permute16Linear(low, high, load<V>(kZigZagLanes.natural)), load<V>(kAllButDC));
    out[1] = permute16Linear(low, high, load<V>(kZigZagLanes.natural + 32));
  } else if constexpr (kHasShuffle8) {
#pragma GCC unroll 8
    for (int i = 0; i < kZigZagVectors; i++) out[i] = zero<V>();
    spreadRows(src, out, std::make_integer_sequence<int, 8>());
  } else {
    out[0] = gatherEight<0>(src);
    out[1] = gatherEight<8>(src);
    out[2] = gatherEight<16>(src);
    out[3] = gatherEight<24>(src);
    out[4] = gatherEight<32>(src);
    out[5] = gatherEight<40>(src);
    out[6] = gatherEight<48>(src);
    out[7] = gatherEight<56>(src);
  }
}

// ---- Categories ---------------------------------------------------------------------------------------------------

// By the lowest four bits, the four above, and the four above those.
alignas(16) inline constexpr uint8_t kWidths[3][16] = {{0, 1, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4},
                                                       {0, 5, 6, 6, 7, 7, 7, 7, 8, 8, 8, 8, 8, 8, 8, 8},
                                                       {0, 9, 10, 10, 11, 11, 11, 11, 12, 12, 12, 12, 12, 12, 12, 12}};

// The numbers of bits of the 16-bit magnitudes in two vectors, as bytes. Those above ZigZagBlock::kLargest may be
// wrong; then `high` gets bits of kTooHigh.
inline constexpr int kTooHigh = 0xF0;

template <class V>
MOX_INLINE V bitWidths(V a, V b, V& high) {
  const V upper = packsU16(shrU16<8>(a), shrU16<8>(b));
  high = bitOr(high, upper);
  if constexpr (kHasShuffle8 && !kHasBitWidths16) {
    const V byte = set16<V>(0xFF), nibble = set8<V>(15);
    const V low = packsU16(bitAnd(a, byte), bitAnd(b, byte));
    const V first = shuffle8(loadSame<V>(kWidths[0]), bitAnd(low, nibble));
    const V second = shuffle8(loadSame<V>(kWidths[1]), bitAnd(shrU16<4>(low), nibble));
    const V third = shuffle8(loadSame<V>(kWidths[2]), upper);
    return packedInOrder(maxU8(maxU8(first, second), third));
  } else {
    return packsU16(bitWidths16(a), bitWidths16(b));
  }
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
    // From the values, not from their widths: the loop over the bits waits for nothing else.
    nonZero |= nonZero16(value[i], value[i + 1]) << (kLanes * i & 63);
  }
  large = anyBits(bitAnd(high, set8<VMax>(kTooHigh)));
}

}  // namespace mox::MOX_TARGET
#endif
