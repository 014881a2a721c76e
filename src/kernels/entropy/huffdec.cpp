// Sequential Huffman decoding of a block from a 64-bit window. Read from decodeBlock, the last function, upwards.
//
// The plain reader of the definition loads a few bytes whenever it runs low: a branch per code that no processor can
// predict. Here
//
//   - a window of 64 bits, its next bit on top, is refilled before every two symbols by one 8-byte load without a
//     branch, up to a limit before which there is no 0xFF. A stuffed 0xFF 0x00 is handled on the way. Whatever else
//     needs a decision (a marker, fill bytes, the end of the data, a position outside the block) is left to the
//     definition, which then decodes the block from its start;
//   - a table tracks, off the critical path, how many bits the plain reader would hold, so that the position,
//     the accumulator and the count that a caller finds are those of the plain reader.
#include "kernels/entropy/huffdec.h"

#include "kernels/entropy/longcode.h"
#include "kernels/entropy/words.h"
#include "kernels/vec/bits.h"
#include "kernels/vec/prefetch.h"
#include "kernels/vec/vec.h"

namespace mox::MOX_TARGET {
namespace {

#if MOX_VECTOR

// ---- The window ---------------------------------------------------------------------------------------------------

// The end of the bytes from `next` on that are known not to be 0xFF. kSeen bytes are looked at, without a branch on
// what they are.
constexpr int kSeen = VMax::kBytes < 32 ? 32 : VMax::kBytes;

MOX_INLINE const Mox8u* withoutFF(const Mox8u* next, const Mox8u* end) {
  if (end - next < kSeen) [[unlikely]]
    return next;
  uint64_t found = 0;
  for (int i = 0; i < kSeen; i += VMax::kBytes) found |= equalBytes(load<VMax>(next + i), set8<VMax>(-1)) << i;
  return next + (kSeen < 64 ? __builtin_ctzll(found | uint64_t{1} << (kSeen & 63))
                 : found    ? __builtin_ctzll(found)
                            : 64);
}

// The last address whose next 8 bytes hold no 0xFF. A number: for a short source it may lie before its first byte.
[[gnu::noinline]] uintptr_t findLast(const Mox8u* next, const Mox8u* end) {
  return reinterpret_cast<uintptr_t>(withoutFF(next, end)) - 8;
}

// Also clears the block, which needs vector registers too, and prefetches the block that is likely to follow soon.
[[gnu::noinline]] uintptr_t prepare(const Mox8u* next, const Mox8u* end, Mox16s* block) {
  prefetchBlocks(block);
  for (int i = 0; i < 64; i += VMax::kBytes / 2) store(block + i, zero<VMax>());
  return reinterpret_cast<uintptr_t>(withoutFF(next, end)) - 8;
}

// ---- What the plain reader holds ----------------------------------------------------------------------------------

constexpr int kPlainBits = 32;  // of the plain reader's accumulator
constexpr int kMaxValueBits = 15;

// As many whole bytes are loaded as fit.
constexpr int filled(int held) { return held + (kPlainBits - held) / 8 * 8; }

// After a value of `size` bits.
constexpr int heldAfterValue(int held, int size) { return (held < size ? filled(held) : held) - size; }

// After a code of at most kLookup bits, and its value.
constexpr int heldAfterShort(int held, int length, int size) {
  return heldAfterValue((held < kLookup ? filled(held) : held) - length, size);
}

// After a longer code, of which kLookup + 1 bits are taken at once and the others one by one, and its value.
constexpr int heldAfterLong(int held, int length, int size) {
  held = (held <= kLookup ? filled(held) : held) - length;
  return heldAfterValue(held < 0 ? held + kPlainBits : held, size);
}

// As a table: computing it would be a third of all instructions. There is a row for each number of bits held, and a
// column for each short code and value. An entry is the start of the row for the bits held after them.
struct HeldRows {
  static constexpr int kColumns = kLookup * (kMaxValueBits + 1);
  uint16_t next[(kPlainBits + 1) * kColumns];

  static constexpr uint64_t row(int held) { return static_cast<uint64_t>(held) * kColumns; }
  static constexpr int held(uint64_t row) { return static_cast<int>(row / kColumns); }
  static constexpr uint64_t column(uint64_t length, uint64_t size) { return size * kLookup + length - 1; }
};

// Natural positions, 16 entries for each position: a cursor is 16 times a position and 15 more, so that a whole
// symbol, its run in the upper four bits, is added to it. Positions past the block, as far as a run can lead, mean
// coefficient 63 until the block is refused.
struct Natural {
  uint8_t at[(64 + 16) * 16];
};
constexpr uint64_t cursorAt(uint64_t position) { return position * 16 - 1; }

// One object, because the loop has no free register for a second address.
struct Tables {
  HeldRows held;
  Natural natural;
};
constexpr Tables makeTables() {
  Tables tables{};
  for (int held = 0; held <= kPlainBits; held++)
    for (int length = 1; length <= kLookup; length++)
      for (int size = 0; size <= kMaxValueBits; size++)
        tables.held
            .next[HeldRows::row(held) + HeldRows::column(static_cast<uint64_t>(length), static_cast<uint64_t>(size))] =
            static_cast<uint16_t>(HeldRows::row(heldAfterShort(held, length, size)));
  for (int i = 0; i < (64 + 16) * 16; i++) tables.natural.at[i] = i < 64 * 16 ? kZigZag.natural[i / 16] : 63;
  return tables;
}
constexpr Tables kTables = makeTables();

// What the window is filled from.
struct Source {
  const Mox8u* end;
  bool stuffed;  // a stuffed byte has been loaded
};

struct Window {
  Window(const Mox8u* start, uintptr_t lastWhole, uint32_t low, int32_t held)
      : next(start),
        last(lastWhole),
        bits(static_cast<uint64_t>(low) << 1 << (63 - held)),
        count(static_cast<uint32_t>(held)),
        heldRow(HeldRows::row(held)) {}

  // At least 56 bits: two symbols, each a code and its value, of which one has a long code. False if the rare path
  // cannot fill it.
  MOX_INLINE bool refill(Source& source) {
    if (reinterpret_cast<uintptr_t>(next) > last) [[unlikely]] {
      // On a copy: a window whose address is passed on would live in memory instead of registers.
      Window copy = *this;
      const bool enough = copy.refillRarely(source);
      *this = copy;
      return enough;
    }
    bits |= bigEndian64(next) >> count;
    next += (count ^ 63) >> 3;
    count |= 56;
    return true;
  }

  // The next code and its value, then a refill, as the plain reader may have loaded more than the window by then. False
  // if the code is unknown or the window cannot be refilled.
  MOX_INLINE bool takeLong(Source& source, const DecodeSpec& table, uint64_t& symbol, int& value) {
    const uint32_t found = longCode(table, bits);
    if (found == 0) return false;
    const uint64_t length = found >> 16, size = found & 15;
    heldRow = HeldRows::row(heldAfterLong(HeldRows::held(heldRow), static_cast<int>(length), static_cast<int>(size)));
    symbol = found & 0xFF;
    value = valueAfter(length, size);
    drop(length, size);
    return refill(source);
  }

  // The value of `size` bits, which may be 0, after a code. A top bit of 0 means a negative value.
  MOX_INLINE int valueAfter(uint64_t length, uint64_t size) const {
    const uint64_t rest = bits << length;
    const uint64_t negative = static_cast<uint64_t>(static_cast<int64_t>(~rest) >> 63);
    return static_cast<int>(lowBits(bits >> (-(length + size) & 63), size) - lowBits(negative, size));
  }

  MOX_INLINE void holdAfter(uint64_t length, uint64_t size) {
    heldRow = kTables.held.next[heldRow + HeldRows::column(length, size)];
  }
  MOX_INLINE void drop(uint64_t length, uint64_t size) {
    bits = bits << length << size;  // not by their sum, which would be one more step
    count -= length + size;
  }

  const Mox8u* next;  // the byte to load
  uintptr_t last;     // up to this address, none of the next 8 bytes is 0xFF
  uint64_t bits;      // the unread ones from the top
  uint64_t count;     // of them, at most 63
  uint64_t heldRow;   // what the plain reader would hold

 private:
  // Refills if one of the next 8 bytes is 0xFF (likely near the limit) and a stuffed 0x00 follows it: without the 0x00
  // they are 7 bytes of data. (The eighth byte is never taken, so what follows it does not matter.)
  bool refillAcrossFF(Source& source) {
    if (source.end - next < 8) return false;
    uint64_t bytes = get<uint64_t>(next);  // the first one lowest
    const uint64_t found = bytesOfFF(bytes);
    const int at = found ? __builtin_ctzll(found) - 7 : 56;  // of the 0xFF, in bits
    const uint64_t upTo = (uint64_t{2} << (at + 7)) - 1;     // all ones for the last byte
    if ((found & (found - 1)) != 0 || (bytes >> 8 >> at & (at < 56 ? 0xFF : 0)) != 0) return false;
    bytes = (bytes & upTo) | (bytes >> 8 & ~upTo);
    const uint64_t taken = (63 - count) >> 3;
    const bool across = taken * 8 > static_cast<uint64_t>(at);
    bits |= __builtin_bswap64(bytes) >> count;
    next += taken + across;
    source.stuffed |= across;
    count |= 56;
    last = findLast(next, source.end);
    return true;
  }

  // Also looks for the next limit.
  [[gnu::noinline]] bool refillRarely(Source& source) {
    if (refillAcrossFF(source)) return true;
    while (count < 56 && next < source.end) {
      const uint32_t byte = *next++;
      if (byte == 0xFF) {
        if (next == source.end || *next != 0) return false;
        next++;
        source.stuffed = true;
      }
      bits |= static_cast<uint64_t>(byte) << (56 - count);
      count += 8;
    }
    last = findLast(next, source.end);
    return count >= 56;
  }
};

// Hides from the compiler where a number comes from. Without it results are the same and decoding is slower.
MOX_INLINE void hide([[maybe_unused]] uint64_t& number) {
#if defined(__LP64__)
  asm("" : "+r"(number));
#endif
}

// The code at the top of the window by the lookup table. If the table lacks it, the length is 0 or otherwise
// impossible.
struct ShortCode {
  MOX_INLINE ShortCode(const DecodeSpec& table, uint64_t bits) {
    // Length and symbol are loaded separately, each by its own index: fewer steps before the next code.
    const uint8_t* const entries = reinterpret_cast<const uint8_t*>(table.fast);
    uint64_t index = bits >> (64 - kLookup), same = index;
    hide(same);
    length = get<uint16_t>(entries + 4 * index + 2);
    symbol = entries[4 * same];
    // Otherwise the compiler computes with bytes and widens each of them again.
    hide(length);
    hide(symbol);
  }
  MOX_INLINE bool found() const { return length - 1 < kLookup; }
  uint64_t length, symbol;
};

// ---- The state after a block --------------------------------------------------------------------------------------

// Where the data byte that ends at `at` begins.
const Mox8u* before(const Mox8u* at, const Mox8u* start) {
  at--;
  return at > start && at[0] == 0 && at[-1] == 0xFF ? at - 1 : at;
}

// The last four data bytes before `at`. Where fewer have been loaded, the bits that the accumulator held come first.
uint32_t lastBytes(const Mox8u* at, const Mox8u* start, uint32_t startLow) {
  uint32_t bytes = 0;
  for (int shift = 0; shift < 32; shift += 8) {
    if (at == start) return startLow << shift | bytes;
    at = before(at, start);
    bytes |= static_cast<uint32_t>(*at) << shift;
  }
  return bytes;
}

// The bits that the plain reader holds before the last code, once it has loaded the code's bytes, and the bits of that
// code. Two numbers, so that the position does not wait for the code to be looked up.
struct End {
  int held, taken;
};

[[gnu::noinline]] void keepStuffed(const Mox8u* at, int surplus, const Mox8u* src, int32_t* position,
                                   DecodeState* state) {
  const Mox8u* const start = src + *position;
  for (int i = 0; i < surplus; i++) at = before(at, start);
  if (at != start) state->high = 0;
  state->low = lastBytes(at, start, state->low);
  *position = static_cast<int32_t>(at - src);
}

// Position, accumulator and count as the plain reader would leave them, after a block that began at `position`.
// `count` is what the window holds before the last code.
MOX_INLINE void keep(const Mox8u* next, uint64_t count, bool stuffed, End end, const Mox8u* src, int32_t* position,
                     DecodeState* state) {
  const int32_t begun = *position;
  const int surplus = (static_cast<int>(count) - end.held) >> 3;
  state->count = end.held - end.taken;
  if (stuffed) [[unlikely]]
    return keepStuffed(next, surplus, src, position, state);
  // The last four bytes. Where fewer have been loaded, the bits that the accumulator held come first. There are four
  // bytes after the start, or the window could not have been filled.
  const Mox8u* const start = src + begun;
  const ptrdiff_t loaded = next - surplus - start;
  const ptrdiff_t skipped = loaded < 4 ? 0 : loaded - 4;
  const uint64_t both = static_cast<uint64_t>(state->low) << 32 | bigEndian32(start + skipped);
  state->low = static_cast<uint32_t>(both >> (32 - 8 * (loaded - skipped)));
  // A branch could not be predicted.
  state->high &= static_cast<uint32_t>((loaded - 1) >> 31);
  *position = begun + static_cast<int32_t>(loaded);
}

// ---- The block ----------------------------------------------------------------------------------------------------

enum class Step { more, done, refused };

// The coefficient of a symbol whose size is not 0.
MOX_INLINE Step put(Mox16s* dst, uint64_t& cursor, uint64_t symbol, int value) {
  cursor += symbol;
  dst[kTables.natural.at[cursor]] = static_cast<Mox16s>(value);
  cursor |= 15;
  if (cursor < cursorAt(64)) return Step::more;
  return cursor <= cursorAt(64 + kZigZagGuards) ? Step::done : Step::refused;
}

// The last zero of the run is stored, too.
MOX_INLINE Step putZeros(Mox16s* dst, uint64_t& cursor) { return put(dst, cursor, kZeroRun + 1, 0); }

// A symbol with a long code.
MOX_INLINE Step stepLong(Window& in, Source& source, const DecodeSpec& table, Mox16s* dst, uint64_t& cursor) {
  uint64_t symbol = 0;
  int value = 0;
  if (!in.takeLong(source, table, symbol, value)) return Step::refused;
  if ((symbol & 15) == 0 && symbol != kZeroRun) return Step::done;
  return symbol == kZeroRun ? putZeros(dst, cursor) : put(dst, cursor, symbol, value);
}

// The next symbol of the block. A refill follows the lookup, which does not wait for it: two short codes and their
// values leave at least kLookup bits of the window before.
static_assert(2 * (kLookup + kMaxValueBits) + kLookup <= 56);
template <bool Refill>
MOX_INLINE Step step(Window& in, Source& source, const DecodeSpec& table, Mox16s* dst, uint64_t& cursor, End& end) {
  const ShortCode code(table, in.bits);
  if (Refill && !in.refill(source)) return Step::refused;
  if (!code.found()) [[unlikely]] {
    const Step now = stepLong(in, source, table, dst, cursor);
    if (now == Step::done) end = {HeldRows::held(in.heldRow), 0};
    return now;
  }
  const uint64_t size = code.symbol & 15;
  if (size == 0) [[unlikely]] {
    if (code.symbol != kZeroRun) {
      // Without a branch, which could not be predicted.
      const int held = HeldRows::held(in.heldRow), low = (held - kLookup) >> 31;
      end = {held + ((kPlainBits - held) & ~7 & low), static_cast<int>(code.length)};
      return Step::done;
    }
    in.holdAfter(code.length, 0);
    in.drop(code.length, 0);
    const Step now = putZeros(dst, cursor);
    if (now == Step::done) end = {HeldRows::held(in.heldRow), 0};
    return now;
  }
  const int value = in.valueAfter(code.length, size);
  in.holdAfter(code.length, size);
  in.drop(code.length, size);
  const Step now = put(dst, cursor, code.symbol, value);
  if (now == Step::done) end = {HeldRows::held(in.heldRow), 0};
  return now;
}

MOX_INLINE bool takeDC(Window& in, Source& source, const DecodeSpec& table, int& difference) {
  const ShortCode code(table, in.bits);
  if (!code.found()) [[unlikely]] {
    uint64_t symbol = 0;
    return in.takeLong(source, table, symbol, difference);
  }
  const uint64_t size = code.symbol & 15;
  difference = in.valueAfter(code.length, size);
  in.holdAfter(code.length, size);
  in.drop(code.length, size);
  return true;
}

// False if the block is one for the definition. The destination may then hold a part of it; nothing else has changed.
MOX_INLINE bool decodeFast(Window& in, Source& source, Mox16s* dst, Mox16s lastDC, uint64_t& cursor, End& end,
                           const DecodeSpec& dcTable, const DecodeSpec& acTable) {
  int difference = 0;
  if (!in.refill(source) || !takeDC(in, source, dcTable, difference)) return false;
  dst[0] = static_cast<Mox16s>(lastDC + difference);
  cursor = cursorAt(1);
  // Two symbols a refill, the first time the difference and a coefficient.
  Step now;
  while ((now = step<false>(in, source, acTable, dst, cursor, end)) == Step::more) {
    now = step<true>(in, source, acTable, dst, cursor, end);
    if (now != Step::more) break;
  }
  // The plain reader has never loaded more than the window. Its last load is at the second value, at most 8 + 15 + 8
  // bits after a refill, and reaches 32 bits further; the window reaches the last byte that begins within 63 bits.
  return now == Step::done;
}

// Out of line, so that the caller keeps its registers.
[[gnu::noinline]] MoxStatus decodePlainly(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst,
                                          Mox16s* lastDC, int32_t* marker, const DecodeSpec* dcTable,
                                          const DecodeSpec* acTable, DecodeState* state) {
  return definition::decodeBlock(src, length, position, dst, lastDC, marker, dcTable, acTable, state);
}

MoxStatus decodeBlock(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, Mox16s* lastDC, int32_t* marker,
                      const DecodeSpec* dcTable, const DecodeSpec* acTable, DecodeState* state) {
  const int32_t held = state->count, at = *position;
  if (*marker == 0 && static_cast<uint32_t>(held) <= kPlainBits &&
      static_cast<uint32_t>(at) < static_cast<uint32_t>(length)) [[likely]] {
    Source source{src + length, false};
    Window in(src + at, prepare(src + at, source.end, dst), state->low, held);
    uint64_t cursor = 0;
    End end{};
    if (decodeFast(in, source, dst, *lastDC, cursor, end, *dcTable, *acTable)) [[likely]] {
      keep(in.next, in.count, source.stuffed, end, src, position, state);
      *lastDC = dst[0];
      state->unfilled = 64 - static_cast<int>((cursor + 1) / 16);
      return moxStatusOk;
    }
  }
  return decodePlainly(src, length, position, dst, lastDC, marker, dcTable, acTable, state);
}

#else

constexpr auto decodeBlock = definition::decodeBlock;

#endif

}  // namespace

// `direct` is the definition on every target, compiled for each: the shifts of AVX2 processors make it 5 % faster.
const HuffDecodeKernels huffDecodeKernels = {.block = decodeBlock, .direct = definition::decodeBlockDirect};

}  // namespace mox::MOX_TARGET
