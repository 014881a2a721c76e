// A bit reader that stays in registers and loads its bytes in groups, for the kernel files. At every point it holds
// what the plain reader would hold, so that a caller may stop anywhere and find the plain reader's position,
// accumulator, count and marker. Whatever needs a decision (a byte of 0xFF, the end of the source, a marker that has
// been met, a code that needs bits not yet loaded) is left to the plain reader itself.
#pragma once

#include "kernels/entropy/bitio.h"
#include "kernels/entropy/longcode.h"
#include "kernels/entropy/state.h"
#include "kernels/entropy/words.h"
#include "kernels/vec/bits.h"
#include "kernels/vec/vec.h"
#include "moxj.h"

#if MOX_VECTOR
namespace mox::MOX_TARGET {

template <bool Wide>
class GroupReader {
 public:
  // Whether this reader can continue from a state; the plain one can from any.
  static bool takes(const DecodeState& state) { return state.count >= 0 && state.count <= (Wide ? 64 : 32); }

  MOX_INLINE GroupReader(const Mox8u* src, int32_t length, int32_t position, int32_t marker, const DecodeState& state)
      : now_{Wide ? uint64_t{state.high} << 32 | state.low : state.low,
             state.high,
             state.count,
             position,
             marker,
             moxStatusOk,
             moxStatusOk},
        src_(src),
        length_(length) {}

  // Returns `status`, or a notice where that is success.
  MOX_INLINE MoxStatus keep(int32_t* position, int32_t* marker, DecodeState* state, MoxStatus status) const {
    *position = now_.position;
    *marker = now_.marker;
    state->low = static_cast<uint32_t>(now_.bits);
    state->high = Wide ? static_cast<uint32_t>(now_.bits >> 32) : now_.high;
    state->count = now_.count;
    return status ? status : now_.notice;
  }

  MOX_INLINE MoxStatus symbol(const DecodeSpec& table, int& symbol) {
    if (now_.count < kLookup && !load()) [[unlikely]]
      return symbolSlowly(table, symbol);
    const uint32_t entry = table.fast[now_.bits >> ((now_.count - kLookup) & 63) & 0xFF];
    const int32_t taken = static_cast<int32_t>(entry >> 16);
    if (taken < 1 || taken > kLookup) [[unlikely]] {
      // The zeros past the bits held may make up a code that is too long.
      const uint32_t found = longCode(table, now_.bits << (-now_.count & 63));
      const int32_t length = static_cast<int32_t>(found >> 16);
      if (found == 0 || length > now_.count) return symbolSlowly(table, symbol);
      now_.count -= length;
      symbol = found & 0xFF;
      return moxStatusOk;
    }
    now_.count -= taken;
    symbol = entry & 0xFF;
    return moxStatusOk;
  }

  MOX_INLINE MoxStatus take(int wanted, uint32_t& bits) {
    if (now_.count < wanted && !load()) [[unlikely]]
      if (const MoxStatus bad = fillSlowly(wanted)) return bad;
    bits = static_cast<uint32_t>(next(wanted));
    return moxStatusOk;
  }

  MOX_INLINE MoxStatus value(int size, int& value) {
    uint32_t bits = 0;
    if (const MoxStatus bad = take(size, bits)) return bad;
    value = extend(bits, size);
    return moxStatusOk;
  }

  // Appends `wanted` (0 to 63) bits to `bits`, as if taken one by one; if there are fewer, `wanted` becomes their
  // number.
  MOX_INLINE MoxStatus takeEach(int& wanted, uint64_t& bits) {
    if (wanted <= now_.count) [[likely]] {
      bits = bits << wanted | next(wanted);
      return moxStatusOk;
    }
    return takeEachFilling(wanted, bits);
  }

 private:
  struct Now {
    uint64_t bits;
    uint32_t high;  // of a reader that is not wide: the upper word, which loads clear
    int32_t count, position, marker;
    MoxStatus notice, status;
  };

  // The next `count` (0 to 63) bits.
  MOX_INLINE uint64_t next(int count) {
    now_.count -= count;
    return lowBits(now_.bits >> (now_.count & 63), static_cast<uint64_t>(count));
  }

  // As many bytes as fit 32 bits, at least one, if the source has four and none of these is 0xFF.
  MOX_INLINE bool load() {
    if (now_.marker != 0 || length_ - now_.position < 4) [[unlikely]]
      return false;
    const uint32_t word = bigEndian32(src_ + now_.position);
    if (bytesOfFF(word)) [[unlikely]]
      return false;
    const int bits = (32 - now_.count) & ~7;
    now_.bits = now_.bits << bits | uint64_t{word} >> (32 - bits);
    now_.high = 0;
    now_.position += bits >> 3;
    now_.count += bits;
    return true;
  }

  MOX_INLINE MoxStatus takeEachFilling(int& wanted, uint64_t& bits) {
    int left = wanted;
    while (left > 0) {
      if (now_.count == 0 && !load()) [[unlikely]]
        if (const MoxStatus bad = fillSlowly(1)) {
          wanted -= left;
          return bad;
        }
      const int here = left < now_.count ? left : now_.count;
      bits = bits << here | next(here);
      left -= here;
    }
    return moxStatusOk;
  }

  // The plain reader continues from here. By value, so that nothing takes this reader's address and it stays in
  // registers.
  using Plain = BitReader<false, Wide>;
  static Plain plain(const Now& now, const Mox8u* src, int32_t length) {
    return {src,
            length,
            now.position,
            now.marker,
            static_cast<uint32_t>(now.bits),
            Wide ? static_cast<uint32_t>(now.bits >> 32) : now.high,
            now.count};
  }
  static Now after(const Now& before, const Plain& in, MoxStatus status) {
    return {Wide ? uint64_t{in.high} << 32 | in.low : in.low,
            in.high,
            in.count,
            in.position,
            in.marker,
            in.notice ? in.notice : before.notice,
            status};
  }
  struct Symbol {
    Now now;
    int symbol;
  };
  [[gnu::noinline]] static Symbol plainSymbol(Now now, const Mox8u* src, int32_t length, const DecodeSpec& table) {
    Plain in = plain(now, src, length);
    int symbol = 0;
    const MoxStatus status = in.symbol(table, symbol);
    return {after(now, in, status), symbol};
  }
  [[gnu::noinline]] static Now plainFill(Now now, const Mox8u* src, int32_t length, int wanted) {
    Plain in = plain(now, src, length);
    const MoxStatus status = in.fill(wanted);
    return after(now, in, status);
  }
  MOX_INLINE MoxStatus symbolSlowly(const DecodeSpec& table, int& symbol) {
    const Symbol found = plainSymbol(now_, src_, length_, table);
    now_ = found.now;
    symbol = found.symbol;
    return now_.status;
  }
  MOX_INLINE MoxStatus fillSlowly(int wanted) {
    now_ = plainFill(now_, src_, length_, wanted);
    return now_.status;
  }

  Now now_;
  const Mox8u* src_;
  int32_t length_;
};

}  // namespace mox::MOX_TARGET
#endif
