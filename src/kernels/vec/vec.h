// The vector layer: what the kernels are written in.
//
// Every target has a 128-bit type, V128, and a widest type, VMax, which may be the same; x86 has V256 and V512 between
// and above. Kernels are templates over the type. Wide types work within their 128-bit blocks wherever an operation
// speaks of halves, order or neighbours, so that a kernel reads the same for every width; operations whose name ends in
// Linear work across the blocks. What a target has beyond the common operations is said by the capabilities: kernels
// ask `if constexpr (kHas...)`, never which target they are compiled for.
//
// Names: the number is the width of a lane in bits; U means unsigned, a small s saturating, shl and shr shifts (to the
// right arithmetic, with U logical). Where nothing is said, lanes are signed and results wrap.
//
//   Memory, at any address
//     load<V>(p)  store(p, a)           all bytes
//     loadLow8<V>(p)  storeLow8(p, a)   V128: eight bytes to and from the lower half; loads clear the upper half
//     storeHigh8(p, a)                  V128: the upper eight bytes
//     load8As16<V>(p)                   as many unsigned bytes as V has 16-bit lanes, widened
//     loadSame<V>(p)                    the same 16 bytes in each block
//     loadApart<V>(p, d)                block i from p + i * d
//     storeApart(p, d, a)               block i to p + i * d
//     storeHalvesApart(l, h, d, a)      the lower eight bytes of block i to l + i * d, the upper ones to h + i * d
//     storeBlocks(p, l, h)              2 * kBytes: block 0 of l, block 0 of h, block 1 of l ... So the results of
//                                       low8 and high8 (or low16 and high16 ...) come into linear order
//   Constants
//     zero<V>()  set8<V>(x)  set16<V>(x)  set32<V>(x)     x in every lane
//     setPair8<V>(x, y)                 bytes x, y, x, y ...
//     fixed32<V, X>()                   set32, for functions too short to build a constant before a loop
//     fixed<V>(p)                       load of a constant that the compiler must not build from registers instead
//   Arithmetic
//     sub8  add16 sub16  add32 sub32    a + b, a - b
//     addsU8 subsU8  adds16 subs16 subsU16                the same, saturating
//     avgU8 avgU16                      (a + b + 1) >> 1
//     maxU8 max16                       the larger
//     mulLow16 mulHigh16 mulHighU16     the lower, the upper half of the product
//     mulRound16                        (a * b + 2^14) >> 15; of -32768 and -32768 whatever the target gives
//     dot16                             the sum of both products of each pair of 16-bit lanes, in 32 bits
//     dotAdd16(s, a, b)                 s + dot16(a, b)
//     dotU8<X, Y>(a)                    X * x + Y * y of each pair x, y of unsigned bytes, in 16 bits
//     abs16                             magnitude; of -32768 it is 32768, unsigned
//     bitWidths16                       V128: the bits that an unsigned lane needs
//     shl16<N> shr16<N> shrU16<N> shr32<N> shrU32<N>      shifts by a constant
//     shrU16By(a, n)                    the same by a variable
//     roundShr16<N>(a)                  a / 2^N, halves upwards; a + 2^(N - 1) must fit 16 bits
//   Bits and masks
//     bitAnd bitOr bitXor               a & b, a | b, a ^ b
//     bitAndNot                         ~a & b
//     equal16 negative16                masks of the lanes that are equal, below 0
//     keep(m, a)  select(m, a, b)       a where the mask is set, elsewhere 0, elsewhere b
//     equalBytes(a, b)  nonZero8(a)     one bit for each byte, the first lowest: is equal, is not 0
//     nonZero16(a, b)                   one bit for each 16-bit lane of a, then of b: is not 0
//     anyBits(a)  allZero(a)            whether any bit is set, whether none is (allZero: V128)
//     anyFirstEqual8(a, b, n)           VMax: whether one of the first n bytes, n <= kBytes, is equal
//   Order, within each block
//     low8 low16 low64                  the lower halves of a and b, interleaved by lanes: a0 b0 a1 b1 ...
//     high8 high16 high64               the upper halves
//     highHalves32                      the upper 16 bits of the 32-bit lanes: a0 b0 a1 b1 ...
//     packs16 packs32 packsU16          narrowed with saturation (packsU16: to unsigned): the lanes of a, then of b
//     packsU16Linear                    packsU16, all lanes of a before all lanes of b
//     packedInOrder(a)                  the result of a pack, put into the order that the Linear form has
//     slideBytes<N>(a, b)               16 bytes from byte N on of a block of a followed by that of b
//     shuffle32<Order>(a)               the four 32-bit lanes in the order of the immediate
//     reverse16(a)  reverseHigh16(a)    the 16-bit lanes of both halves, of the upper half alone, from last to first
//     repeatPair16<I>(a)                16-bit lanes I and I + 2, alternating; I is 0, 1, 4 or 5
//     reverse8(a)                       all bytes from last to first, across the blocks
//     repeatLast16(a)                   V128: the last 16-bit lane in all lanes
//   Halves of V256 and V512
//     lowHalf highHalf  join(l, h)      to and from the type of half the width (V::Half)
//     lowThenHigh bothLow bothHigh      V256: a's lower and b's upper half, both lower halves, both upper halves
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__FAST_MATH__) || __FINITE_MATH_ONLY__
#error "libmoxj is exact to the bit: build it without -ffast-math and the options that are part of it"
#endif

#ifndef MOX_INLINE
#define MOX_INLINE [[gnu::always_inline]] inline
#endif

namespace mox::MOX_TARGET {

struct V128;
struct V256;
struct V512;

enum class Isa { scalar, sse2, sse41, avx2, avx512, neon };
inline constexpr Isa kIsa = Isa::MOX_TARGET;

// ---- Capabilities --------------------------------------------------------------------------------------------------
//
// Where a constant is false, templates may name its operations but must not instantiate them.

// Vectors at all: without them (the scalar target) kernels are the definitions.
inline constexpr bool kHasVectors = kIsa != Isa::scalar;

// The type V256 and the operations on its halves (on AVX-512 as well, next to V512).
inline constexpr bool kHas256 = kIsa == Isa::avx2 || kIsa == Isa::avx512;

// shuffle8(a, order): the bytes of each block in the order of the table's; 0 where its byte has the top bit set.
inline constexpr bool kHasShuffle8 = kIsa >= Isa::sse41;

// dot8(a, b): the sum of both products of each pair of bytes, unsigned in a and signed in b, saturated to 16 bits.
inline constexpr bool kHasDot8 = kIsa >= Isa::sse41 && kIsa <= Isa::avx512;

// blend16<Mask>(a, b): 16-bit lane i of each block from b where bit i of the mask is set, else from a.
inline constexpr bool kHasBlend16 = kHasDot8;

// mulRound16 as one instruction, not several.
inline constexpr bool kHasMulRound16 = kIsa >= Isa::sse41;

// bitWidths16 as an operation on integers; elsewhere it goes through floats.
inline constexpr bool kHasBitWidths16 = kIsa == Isa::neon;

// shlJoined16<N>(high, low): the upper 16 bits of the lanes of high and low, side by side, shifted left.
inline constexpr bool kHasShlJoined16 = kIsa == Isa::avx512;

// For V512: permutations across all 64 bytes, and bit masks.
//   permute8Linear(a, order)               byte i is byte order[i] of a
//   permute8Where<Mask>(old, a, order)     the same where bit i of the mask is set, elsewhere old
//   permute16Linear(a, b, order)           16-bit lane i is lane order[i] of a followed by b
//   join256(a, b)  join256High(a, b)       the lower, the upper halves of both
//   storeWhere<Mask>(p, a)                 also V256: stores the bytes whose bit is set
template <class V>
inline constexpr bool kHasPermute8 = V::kBytes == 64;

// storeFirst(p, a, n): VMax: the first n bytes, all of them from kBytes on; no other byte is touched. Without masked
// stores a kernel must store the last bytes as words.
inline constexpr bool kHasMaskedStore8 = kIsa == Isa::avx512;

// storeFirst32(p, a, n): VMax: the first n 32-bit lanes, all of them from kBytes / 4 on; no other byte is touched.
inline constexpr bool kHasMaskedStore32 = kIsa == Isa::avx2;

// storePast(p, a): VMax, at a multiple of kBytes: a store past the caches, which does not fetch the line first.
// pastStored() after the last one: it makes them visible to other threads in order, as ordinary stores are.
inline constexpr bool kHasStorePast = kHas256;

// loadInterleaved(p, v), storeInterleaved(p, a, b, c[, d]): 3 or 4 vectors whose bytes are interleaved in memory;
// storeHalvesInterleaved(low, high, a, b, c): their lower halves to `low`, their upper halves to `high`.
inline constexpr bool kHasInterleaved = kIsa == Isa::neon;

// Shuffles of VMax are quick within its 128-bit blocks only.
inline constexpr bool kShufflesInBlocks = kIsa == Isa::avx2;

// truncate32(a): floats to integers toward zero; out of range and NaN become -2^31.
inline constexpr bool kHasTruncate32 = kIsa >= Isa::sse2 && kIsa <= Isa::avx512;

// depositBits(from, mask): the lowest bits of `from` at the positions of the mask; extractBits(from, mask): the bits
// at those positions, moved together to the bottom. For 64-bit words.
#if defined(__x86_64__)
inline constexpr bool kHasBitDeposit = kIsa == Isa::avx2 || kIsa == Isa::avx512;
#else
inline constexpr bool kHasBitDeposit = false;
#endif

// ---- Operations with their type as an argument ---------------------------------------------------------------------

template <class V>
V load(const void* p) = delete;
template <class V>
V loadLow8(const void* p) = delete;
template <class V>
V load8As16(const uint8_t* p) = delete;
template <class V>
V loadSame(const void* p) = delete;
template <class V>
V loadApart(const void* p, ptrdiff_t distance) = delete;
template <class V>
V zero() = delete;
template <class V>
V set8(int x) = delete;
template <class V>
V set16(int x) = delete;
template <class V>
V set32(int x) = delete;

// Pairs of bytes, the first of each in the lower half of a 16-bit lane.
template <class V>
MOX_INLINE V setPair8(int first, int second) {
  return set16<V>((first & 255) | (second & 255) << 8);
}

// V512 has a shorter way.
template <class V>
MOX_INLINE uint64_t nonZero16(V a, V b) {
  return nonZero8(packedInOrder(packs16(a, b)));
}

template <class V>
void storeFirst(void* p, V a, int n);
template <class V>
void storeFirst32(void* p, V a, int n);
template <class V>
void storePast(void* p, V a);
void pastStored();

uint64_t depositBits(uint64_t from, uint64_t mask);
uint64_t extractBits(uint64_t from, uint64_t mask);

}  // namespace mox::MOX_TARGET

// ---- The target's own ----------------------------------------------------------------------------------------------

#if defined(MOX_TARGET_IS_scalar)
#define MOX_VECTOR 0
namespace mox::MOX_TARGET {
// Names for templates that this target never instantiates.
struct V128 {
  static constexpr int kBytes = 16;
};
using VMax = V128;
}  // namespace mox::MOX_TARGET
#elif defined(MOX_TARGET_IS_neon)
#define MOX_VECTOR 1
#include "kernels/vec/neon.h"
namespace mox::MOX_TARGET {
using VMax = V128;
}
#else
#define MOX_VECTOR 1
#include "kernels/vec/x86_128.h"
#if defined(MOX_TARGET_IS_avx2) || defined(MOX_TARGET_IS_avx512)
#include "kernels/vec/x86_256.h"
#endif
#if defined(MOX_TARGET_IS_avx512)
#include "kernels/vec/x86_512.h"
#endif
namespace mox::MOX_TARGET {
#if defined(MOX_TARGET_IS_avx512)
using VMax = V512;
#elif defined(MOX_TARGET_IS_avx2)
using VMax = V256;
#else
using VMax = V128;
#endif
}  // namespace mox::MOX_TARGET
#endif

namespace mox::MOX_TARGET {

// V512 has a mask for it.
template <class V>
MOX_INLINE bool anyFirstEqual8(V a, V b, int n) {
  return (equalBytes(a, b) & ((uint64_t{1} << n) - 1)) != 0;
}

}  // namespace mox::MOX_TARGET
