// Huffman coding of the differences of lossless JPEG, one per call.
//
// Such a call costs the transfer of the state through memory and, in a plain coder, branches that depend on the data:
// how many bytes are complete, whether there are enough bits, whether there is a value. Here none of them is a branch.
//
//   - The encoder puts code and value into an accumulator of 64 bits and stores each of the four bytes that can be
//     complete: to the destination or, if it is not complete, to a dummy byte.
//   - The decoder loads bytes as the plain one does, all that it would at once or none: a shift by as many bits as that
//     makes, which may be 0.
//
// Whatever needs a decision (a byte of 0xFF, the ends of the buffers, long or missing codes, states that no coder
// leaves) has left no trace and goes to the definition.
#include "kernels/entropy/losslesscode.h"

#include "kernels/entropy/words.h"
#include "kernels/vec/bits.h"
#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {
namespace {

#if MOX_VECTOR

[[gnu::noinline, gnu::cold]] void encodePlainly(Mox16s difference, Mox8u* dst, int32_t length, int32_t* position,
                                                const EncodeSpec* table, EncodeState* state) {
  definition::encodeDifference(difference, dst, length, position, table, state);
}

[[gnu::noinline, gnu::cold]] MoxStatus decodePlainly(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst,
                                                     int32_t* marker, const DecodeSpec* table, DecodeState* state) {
  return definition::decodeDifference(src, length, position, dst, marker, table, state);
}

// The value or 0, without a branch.
template <class Value>
MOX_INLINE Value onlyIf(bool holds, Value value) {
  return value & -static_cast<Value>(holds);
}

// 7 pending bits, a code and its value.
constexpr int kMaxBytes = (7 + 16 + 15) / 8;

void encode(Mox16s difference, Mox8u* dst, int32_t length, int32_t* position, const EncodeSpec* table,
            EncodeState* state) {
  const int32_t at = *position;
  const uint32_t low = state->low, pending = static_cast<uint32_t>(state->pending);
  const int value = difference + (difference >> 31);  // a negative one less 1
  const uint32_t magnitude = static_cast<uint32_t>(difference < 0 ? -difference : difference);
  const uint32_t size = 31 - static_cast<uint32_t>(__builtin_clz(2 * magnitude + 1)), valueLength = size & 15;
  const uint32_t entry = table->code[size], codeLength = entry >> 16;
  // Bits below the pending ones, which no call has left, would mix with new ones.
  const bool plain =
      pending < 8 && low << (8 + pending) == 0 && codeLength - 1 < 16 && at >= 0 && at <= length - kMaxBytes;
  if (plain) [[likely]] {
    const uint64_t symbol =
        lowBits(entry, codeLength) << valueLength | lowBits(static_cast<uint32_t>(value), valueLength);
    const uint32_t total = pending + codeLength + valueLength, left = total & 7;
    const uint64_t all = uint64_t{low >> (24 - pending)} << (codeLength + valueLength) | symbol;
    const int bytes = static_cast<int>(total >> 3);
    const uint64_t fromTop = all << (64 - total);
    if (!bytesOfFF(fromTop & ~(~uint64_t{0} >> (8 * bytes)))) [[likely]] {
      // Bytes past the position are the caller's: those that are not complete go to a dummy byte instead.
      // Addresses are selected as numbers, and the compiler must not see that the dummy byte is never read. Otherwise
      // it skips those stores by branches that cannot be predicted: 10.8 ns a call instead of 8 (losslessCode.encode of
      // the benchmark).
      Mox8u unused;
      uintptr_t out = reinterpret_cast<uintptr_t>(dst + at), aside = reinterpret_cast<uintptr_t>(&unused);
      asm("" : "+r"(aside));
#pragma GCC unroll 4
      for (int i = 0; i < kMaxBytes; i++, out++)
        *reinterpret_cast<Mox8u*>(out + onlyIf(i >= bytes, aside - out)) = static_cast<Mox8u>(fromTop >> (56 - 8 * i));
      *position = at + bytes;
      state->low = static_cast<uint32_t>(all << (24 - left));
      state->high = 0;
      state->pending = static_cast<int32_t>(left);
      return;
    }
  }
  encodePlainly(difference, dst, length, position, table, state);
}

MoxStatus decode(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, int32_t* marker,
                 const DecodeSpec* table, DecodeState* state) {
  constexpr uint32_t kLookup = 8, kFull = 32;
  const int32_t at = *position;
  const uint32_t held = static_cast<uint32_t>(state->count);
  if (*marker == 0 && held <= kFull && at >= 0 && at <= length - 4) [[likely]] {
    const uint64_t next = uint64_t{bigEndian32(src + at)} << 32;
    // The bits that are loaded before the code, and before the value: whole bytes, until no more fit. After the first
    // load four bytes hold enough for the second.
    static_assert(kFull - 7 - kLookup >= 15);
    const uint32_t first = onlyIf(held < kLookup, (kFull - held) & ~7u);
    const uint64_t bits = uint64_t{state->low} << first | next >> 1 >> (63 - first);
    const uint32_t entry = table->fast[bits >> (held + first - kLookup) & 0xFF];
    const uint32_t codeLength = entry >> 16, size = entry & 0xFF;
    const uint32_t afterCode = held + first - codeLength;
    const uint32_t second = onlyIf(afterCode < size, (kFull - afterCode) & ~7u), loaded = first + second;
    if (codeLength - 1 < kLookup && size < definition::kLargestCategory && !bytesOfFF(next & ~(~uint64_t{0} >> loaded)))
        [[likely]] {
      const uint64_t all = bits << second | next >> 1 >> (63 - second);
      const uint32_t left = afterCode + second - size, value = static_cast<uint32_t>(lowBits(all >> left, size));
      const uint32_t offset = onlyIf(value << 1 >> size == 0, 1 - (1u << size));  // of a negative one
      put(dst, static_cast<Mox16s>(value + offset));
      *position = at + static_cast<int32_t>(loaded / 8);
      state->low = static_cast<uint32_t>(all);
      state->high = onlyIf(loaded == 0, uint32_t{state->high});
      state->count = static_cast<int32_t>(left);
      return moxStatusOk;
    }
  }
  return decodePlainly(src, length, position, dst, marker, table, state);
}

#else

constexpr auto encode = definition::encodeDifference;
constexpr auto decode = definition::decodeDifference;

#endif

}  // namespace

const LosslessCodeKernels losslessCodeKernels = {.encode = encode, .decode = decode};

}  // namespace mox::MOX_TARGET
