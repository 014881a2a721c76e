// One difference at a time: what a call costs is the way of the state through memory and, in a plain coder, branches
// that follow the data: how many bytes are complete, whether there are enough bits, whether there is a value. Here
// none is left.
//
//   - The encoder puts code and value into an accumulator of 64 bits and stores each of the four bytes that can be
//   complete,
//     to the destination or, if it is not, to a byte of its own. (Not eight bytes at a time: those behind the
//     position are the caller's, and to read and put them back would wait for the store of the call before.)
//   - The reader loads bytes as the plain one does, all that it would at once, or none: a shift by as many bits as
//   that
//     makes, which may be 0.
//
// Whatever needs a decision (a byte of 0xFF, the ends of the buffers, long or missing codes, states that no coder
// leaves) has left no trace and goes to the definition.
#include "kernels/entropy/losslesscode.h"

#include <bit>
#include <cstring>

#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {
namespace {

#if MOX_VECTOR

static_assert(std::endian::native == std::endian::little);

// Not 0 if a byte is 0xFF (a byte of the complement is 0; borrows can only come from such a byte).
template <class Word>
constexpr Word bytesOfFF(Word word) {
  constexpr Word kOnes = static_cast<Word>(0x0101010101010101u);
  return (~word - kOnes) & word & (kOnes << 7);
}
static_assert(bytesOfFF<uint64_t>(0xFEFDFC807F000102u) == 0 && bytesOfFF<uint32_t>(0x0000FF00u) != 0);

[[gnu::noinline, gnu::cold]] void encodePlainly(Mox16s difference, Mox8u* dst, int32_t length, int32_t* position,
                                                const EncodeSpec* table, EncodeState* state) {
  definition::encodeDifference(difference, dst, length, position, table, state);
}

[[gnu::noinline, gnu::cold]] MoxStatus decodePlainly(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst,
                                                     int32_t* marker, const DecodeSpec* table, DecodeState* state) {
  return definition::decodeDifference(src, length, position, dst, marker, table, state);
}

// The lowest bits, up to 31.
constexpr uint32_t lowBits(uint32_t bits, uint32_t count) { return bits & ((1u << count) - 1); }

// The value or 0, without a branch.
template <class Value>
MOX_INLINE Value onlyIf(bool holds, Value value) {
  return value & -static_cast<Value>(holds);
}

// 7 pending bits, a code and its value.
constexpr int kMostBytes = (7 + 16 + 15) / 8;

void encode(Mox16s difference, Mox8u* dst, int32_t length, int32_t* position, const EncodeSpec* table,
            EncodeState* state) {
  const int32_t at = *position;
  const uint32_t low = state->low, pending = static_cast<uint32_t>(state->pending);
  const int value = difference + (difference >> 31);  // less 1 if it is negative
  const uint32_t magnitude = static_cast<uint32_t>(difference < 0 ? -difference : difference);
  const uint32_t size = 31 - static_cast<uint32_t>(__builtin_clz(2 * magnitude + 1)), valueLength = size & 15;
  const uint32_t entry = table->code[size], codeLength = entry >> 16;
  // Bits below the pending ones, which no call has left, would mix with new ones.
  const bool plain =
      pending < 8 && low << (8 + pending) == 0 && codeLength - 1 < 16 && at >= 0 && at <= length - kMostBytes;
  if (plain) [[likely]] {
    const uint32_t symbol =
        lowBits(entry, codeLength) << valueLength | lowBits(static_cast<uint32_t>(value), valueLength);
    const uint32_t total = pending + codeLength + valueLength, left = total & 7;
    const uint64_t all = uint64_t{low >> (24 - pending)} << (codeLength + valueLength) | symbol;
    const int bytes = static_cast<int>(total >> 3);
    const uint64_t fromTop = all << (64 - total);
    if (!bytesOfFF(fromTop & ~(~uint64_t{0} >> (8 * bytes)))) [[likely]] {
      Mox8u spare;
      uintptr_t out = reinterpret_cast<uintptr_t>(dst + at), aside = reinterpret_cast<uintptr_t>(&spare);
      asm("" : "+r"(aside));  // else the compiler leaves out the stores there, by branches
#pragma GCC unroll 4
      for (int i = 0; i < kMostBytes; i++, out++)
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
    uint32_t word;
    std::memcpy(&word, src + at, sizeof word);
    const uint64_t next = uint64_t{__builtin_bswap32(word)} << 32;
    // Bits that are loaded ahead of the code, and ahead of the value: whole bytes, until no more fit. After the
    // former there are enough for the latter.
    static_assert(kFull - 7 - kLookup >= 15);
    const uint32_t first = onlyIf(held < kLookup, (kFull - held) & ~7u);
    const uint64_t bits = uint64_t{state->low} << first | next >> 1 >> (63 - first);
    const uint32_t entry = table->fast[bits >> (held + first - kLookup) & 0xFF];
    const uint32_t codeLength = entry >> 16, size = entry & 0xFF;
    const uint32_t behindCode = held + first - codeLength;
    const uint32_t second = onlyIf(behindCode < size, (kFull - behindCode) & ~7u), loaded = first + second;
    if (codeLength - 1 < kLookup && size < definition::kLargestCategory && !bytesOfFF(next & ~(~uint64_t{0} >> loaded)))
        [[likely]] {
      const uint64_t all = bits << second | next >> 1 >> (63 - second);
      const uint32_t left = behindCode + second - size, value = lowBits(static_cast<uint32_t>(all >> left), size);
      const uint32_t offset = onlyIf(value << 1 >> size == 0, 1 - (1u << size));  // of a negative one
      *dst = static_cast<Mox16s>(value + offset);
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
