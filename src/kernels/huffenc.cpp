// A block of symbols in one piece.
//
// The definition visits all 64 coefficients and moves every code and every value into the accumulator by itself, byte by
// byte. Here vectors bring the block into zig-zag order and find categories, value bits and a mask of the coefficients
// that are not 0; the loop runs over the mask, so that zeros cost nothing: the number of zeros ahead of a coefficient is
// a difference of positions. Code and value go into a 64-bit accumulator together.
//
// Blocks differ too much for a processor to foresee when the accumulator is full. So after every second symbol all eight
// bytes of it are stored, and the store of the next pair begins behind those that were whole: no branch. The bytes go
// into a buffer of this call, from its end downwards, where they lie as the accumulator holds them; one vector
// operation turns them round on their way to the destination. That leaves the questions of room and of bytes of 0xFF for
// the end, asked once. A block that cannot be coded this way (a symbol without a code, a category that takes more than
// half the accumulator, no room for whole vectors) has left no trace and goes to the definition.
#include "kernels/huffenc.h"

#include "kernels/packer.h"
#include "kernels/vec.h"
#include "kernels/zigzagblock.h"

namespace mox::MOX_TARGET {
namespace {

#if MOX_VECTOR

constexpr int kMostBits = 16 + ZigZagBlock::kLargest;  // of a code and its value
static_assert(7 + 2 * kMostBits < 64 && 7 + kMostBits + 16 < 64);

// At most 32 flushes for the coefficients, two for each of three codes of 16 zeros, and a last one.
using Buffer = PackBuffer<32 + 6 + 1>;

// All symbols of a block; false if it cannot be coded here.
MOX_INLINE bool packBlock(const ZigZagBlock& block, int difference, const EncodeSpec& dcTable, const EncodeSpec& acTable,
                          Packer& out) {
  const int sign = difference >> 31, bits = difference + sign;
  const unsigned size = static_cast<unsigned>(std::bit_width(static_cast<unsigned>(bits ^ sign)));
  if (block.large || size > ZigZagBlock::kLargest) [[unlikely]]
    return false;
  if (!out.symbol(dcTable, size, size, static_cast<uint64_t>(bits))) [[unlikely]]
    return false;
  uint64_t left = block.nonZero, last = 0;
  const auto coefficient = [&]() __attribute__((always_inline)) {
    const uint64_t position = static_cast<uint64_t>(__builtin_ctzll(left));
    uint64_t distance = position - last;
    last = position;
    while (distance > 16) [[unlikely]] {
      out.flush();
      if (!out.symbol(acTable, definition::kZeros, 0, 0)) return false;
      out.flush();
      distance -= 16;
    }
    const uint64_t width = block.size[position];
    return out.symbol(acTable, distance * 16 + width - 16, width, block.bits[position]);
  };
  // Two symbols, the first of them the difference, then a flush.
  while (left) {
    if (!coefficient()) [[unlikely]]
      return false;
    out.flush();
    if (!(left &= left - 1)) break;
    if (!coefficient()) [[unlikely]]
      return false;
    left &= left - 1;
  }
  if (last != 63) [[likely]]
    if (!out.symbol(acTable, definition::kEndOfBlock, 0, 0)) [[unlikely]]
      return false;
  out.flush();
  return true;
}

[[gnu::noinline, gnu::cold]] MoxStatus encodeSlowly(const Mox16s* src, Mox8u* dst, int32_t length, int32_t* position,
                                                    Mox16s* lastDC, const EncodeSpec* dcTable,
                                                    const EncodeSpec* acTable, EncodeState* state, int32_t flush) {
  return definition::encodeBlock(src, dst, length, position, lastDC, dcTable, acTable, state, flush);
}

MoxStatus encodeBlock(const Mox16s* src, Mox8u* dst, int32_t length, int32_t* position, Mox16s* lastDC,
                      const EncodeSpec* dcTable, const EncodeSpec* acTable, EncodeState* state, int32_t flush) {
  if (flush) [[unlikely]]
    return encodeSlowly(src, dst, length, position, lastDC, dcTable, acTable, state, flush);
  prefetchBlocks(src);
  const ZigZagBlock block(src);
  const uint32_t low = state->low, pending = static_cast<uint32_t>(state->pending);
  const int32_t at = *position;
  // A state that no call has left may hold bits below the pending ones, which the definition would mix with new ones.
  if (pending < 8 && low << (8 + pending) == 0 && static_cast<uint32_t>(at) < static_cast<uint32_t>(length)) [[likely]] {
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
  return encodeSlowly(src, dst, length, position, lastDC, dcTable, acTable, state, flush);
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
    if (run > 15) counter.add(acCounts, definition::kZeros, run / 16);
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

const HuffEncodeKernels huffEncodeKernels = {encodeBlock, encodeBlockDirect, countBlock};

}  // namespace mox::MOX_TARGET
