// One difference at a time leaves little to gain but the bytewise loops: here all whole bytes of a difference leave an
// accumulator of 64 bits in one store, and a reader that runs low takes all the bytes that the plain reader would in one load.
// Whatever needs a decision on the way (a byte of 0xFF, the ends of the buffers, long or missing codes, states that no
// coder leaves) has left no trace and goes to the definition.
#include "kernels/losslesscode.h"

#include <bit>
#include <cstring>

#include "kernels/vec.h"

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

// 7 pending bits, a code and its value.
static_assert(7 + 16 + 15 < 64);

void encode(Mox16s difference, Mox8u* dst, int32_t length, int32_t* position, const EncodeSpec* table,
            EncodeState* state) {
  const int32_t at = *position;
  const uint32_t low = state->low, pending = static_cast<uint32_t>(state->pending);
  const int size = category(difference);
  const uint32_t entry = table->code[size], codeLength = entry >> 16;
  const uint32_t valueLength = static_cast<uint32_t>(size & 15);
  // Bits below the pending ones, which no call has left, would mix with new ones.
  const bool plain = pending < 8 && low << (8 + pending) == 0 && codeLength - 1 < 16 && at >= 0 && at <= length - 8;
  if (plain) [[likely]] {
    const uint64_t code = entry & ((1u << codeLength) - 1);
    const uint32_t total = pending + codeLength + valueLength, bytes = total >> 3, left = total & 7;
    const uint64_t value = valueBits(difference, static_cast<int>(valueLength));
    const uint64_t all = (uint64_t{low >> (24 - pending)} << codeLength | code) << valueLength | value;
    // The whole bytes from the top; what is behind them is that of the destination.
    const uint64_t mask = ~(~uint64_t{0} >> (8 * bytes)), word = all << (64 - total) & mask;
    if (!bytesOfFF(word)) [[likely]] {
      uint64_t there;
      std::memcpy(&there, dst + at, sizeof there);
      there = (there & ~__builtin_bswap64(mask)) | __builtin_bswap64(word);
      std::memcpy(dst + at, &there, sizeof there);
      *position = at + static_cast<int32_t>(bytes);
      state->low = static_cast<uint32_t>(all << (24 - left));
      state->high = 0;
      state->pending = static_cast<int32_t>(left);
      return;
    }
  }
  definition::encodeDifference(difference, dst, length, position, table, state);
}

// The plain reader's accumulator, filled in one piece.
class Reader {
 public:
  Reader(const Mox8u* src, int32_t length, int32_t position, bool ended, const DecodeState& state)
      : src_(src), length_(length), position_(position), ended_(ended), low_(state.low), count_(state.count) {}

  bool sensible() const { return static_cast<uint32_t>(count_) <= 32 && position_ >= 0; }

  // Whether so many bits are held, or can be without a decision.
  bool has(int wanted) { return count_ >= wanted || (fill() && count_ >= wanted); }

  uint32_t peek(int count) const { return low_ >> (count_ - count) & ((1u << count) - 1); }
  void drop(int count) { count_ -= count; }

  void keep(int32_t* position, DecodeState* state) const {
    *position = position_;
    state->low = low_;
    state->count = count_;
    if (filled_) state->high = 0;
  }

 private:
  // As many bytes as it takes to hold 25 bits or more.
  bool fill() {
    if (ended_ || position_ > length_ - 4) return false;
    uint32_t word;
    std::memcpy(&word, src_ + position_, sizeof word);
    if (bytesOfFF(word)) return false;
    const int bits = (32 - count_) & ~7;
    low_ = static_cast<uint32_t>(uint64_t{low_} << bits | __builtin_bswap32(word) >> (32 - bits));
    position_ += bits / 8;
    count_ += bits;
    filled_ = true;
    return true;
  }

  const Mox8u* src_;
  int32_t length_, position_;
  bool ended_, filled_ = false;
  uint32_t low_;
  int32_t count_;
};

MoxStatus decode(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, int32_t* marker,
                 const DecodeSpec* table, DecodeState* state) {
  constexpr int kLookup = 8;
  Reader in(src, length, *position, *marker != 0, *state);
  if (in.sensible() && in.has(kLookup)) [[likely]] {
    const uint32_t entry = table->fast[in.peek(kLookup)], codeLength = entry >> 16;
    const int size = static_cast<int>(entry & 0xFF);
    if (codeLength - 1 < kLookup) [[likely]] {
      in.drop(static_cast<int>(codeLength));
      int difference = size >= definition::kLargestCategory ? -32768 : 0;
      bool complete = true;
      if (size - 1u < definition::kLargestCategory - 1) {
        complete = in.has(size);
        if (complete) difference = extend(in.peek(size), size);
        in.drop(size);
      }
      if (complete) [[likely]] {
        in.keep(position, state);
        *dst = static_cast<Mox16s>(difference);
        return moxStatusOk;
      }
    }
  }
  return definition::decodeDifference(src, length, position, dst, marker, table, state);
}

#else

constexpr auto encode = definition::encodeDifference;
constexpr auto decode = definition::decodeDifference;

#endif

}  // namespace

const LosslessCodeKernels losslessCodeKernels = {encode, decode};

}  // namespace mox::MOX_TARGET
