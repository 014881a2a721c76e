// Sequential Huffman encoding of a block: all its symbols first, then one store.
//
// The definition visits all 64 coefficients and appends every code and every value separately, byte by byte. Here
// vectors bring the block into zig-zag order and compute categories, value bits and a mask of the coefficients that are
// not 0. The loop runs over the mask, so that zeros cost nothing: the zeros before a coefficient are a difference of
// positions. Code and value enter a 64-bit accumulator together.
//
// When the accumulator is full cannot be predicted. So after every second symbol all its eight bytes are stored, and
// the next store begins after those that were complete: no branch. The bytes go into a buffer of this call, from its
// end downwards, in the order in which the accumulator holds them; one vector operation reverses them on their way to
// the destination. Room and bytes of 0xFF are tested once, at the end; if there is a 0xFF, appendBytes() of packer.h
// appends byte by byte and stuffs. A block that cannot be coded this way (a symbol without a code, a category too large
// for two symbols to fit the accumulator, too little room) leaves no trace and goes to the definition.
#include "kernels/entropy/huffenc.h"

#include "kernels/entropy/packeach.h"
#include "kernels/entropy/packer.h"
#include "kernels/entropy/zigzagblock.h"
#include "kernels/vec/vec.h"
#if defined(MOX_TARGET_IS_avx512)
#include "kernels/entropy/packgroups.h"
#endif

namespace mox::MOX_TARGET {
namespace {

#if MOX_VECTOR

constexpr int kMaxBits = 16 + ZigZagBlock::kLargest;  // of a code and its value
static_assert(7 + 2 * kMaxBits < 64 && 7 + kMaxBits + 16 < 64);

// At most 32 flushes for the coefficients, two for each of three codes of 16 zeros, and a last one.
using Buffer = PackBuffer<32 + 6 + 1>;

#if defined(MOX_TARGET_IS_avx512)
constexpr auto packCoefficients = packGroups;
#else
constexpr auto packCoefficients = packEach;
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
  // A state that no call has left may hold bits below the pending ones. The definition would mix them with new ones.
  if (pending < 8 && low << (8 + pending) == 0 && static_cast<uint32_t>(at) < static_cast<uint32_t>(length))
      [[likely]] {
    Buffer buffer;
    Packer out{low >> (24 - pending), pending, buffer.end()};
    if (packBlock(block, src[0] - *lastDC, *dcTable, *acTable, out)) [[likely]] {
      const int count = static_cast<int>(buffer.end() - out.next);
      const Mox8u* const next = append(buffer.end(), count, dst + at, length - at);
      if (next) [[likely]] {
        *lastDC = src[0];
        *position = static_cast<int32_t>(next - dst);
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
      Mox8u* const next = appendBytes(buffer.end(), static_cast<int>(buffer.end() - out.next), dst + at);
      if (out.used) *next = static_cast<Mox8u>(out.accumulator << (8 - out.used));
      *lastDC = src[0];
      *bitPosition = static_cast<int32_t>(static_cast<uint32_t>(next - dst) * 8 + static_cast<uint32_t>(out.used));
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
