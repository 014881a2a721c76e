// The fast decoder of a block. The plain reader of the definition loads a few bytes whenever it runs low, which is a
// branch per code that nobody can predict. Here
//
//   - a window of 64 bits, its next bit on top, is refilled before every two symbols by one 8-byte load without a
//     branch, up to a limit ahead of which there is no 0xFF; a stuffed 0xFF 0x00 is taken on the way; anything else
//     that needs a decision (a marker, fill bytes, the end of the data, a position outside the block) is left to the
//     definition, which then decodes the block from its start;
//   - how many bits the plain reader would hold is counted along, by a table off the critical path, so that the
//     position, the accumulator and the count that a caller finds are those of the plain reader.
#include "kernels/huffdec.h"

#include "kernels/vec.h"

namespace mox::MOX_TARGET {
namespace {

#if MOX_VECTOR

inline uint32_t bigEndian32(const Mox8u* p) {
  uint32_t word;
  __builtin_memcpy(&word, p, sizeof word);
  return __builtin_bswap32(word);
}

inline uint64_t bigEndian64(const Mox8u* p) {
  uint64_t word;
  __builtin_memcpy(&word, p, sizeof word);
  return __builtin_bswap64(word);
}

// Bit 7 of the bytes that are 0xFF, and perhaps of bytes above the lowest of those: 0xFE, where a borrow comes in.
constexpr uint64_t bytesOfFF(uint64_t word) {
  return (~word - 0x0101010101010101u) & word & 0x8080808080808080u;
}
static_assert(bytesOfFF(0xFEFDFC807F000102u) == 0 && bytesOfFF(0x00000000FF000000u) == 0x80000000u);

// ---- What the plain reader holds
// -----------------------------------------------------------------------------------

constexpr int kLookup = 8;      // a code of up to so many bits is found by the table
constexpr int kPlainBits = 32;  // of the plain reader's accumulator
constexpr int kMaxValueBits = 15;

// Whole bytes are loaded, as many as fit.
constexpr int filled(int held) {
  return held + (kPlainBits - held) / 8 * 8;
}

// After a value of `size` bits.
constexpr int heldAfterValue(int held, int size) {
  return (held < size ? filled(held) : held) - size;
}

// After a code of at most kLookup bits, and its value.
constexpr int heldAfterShort(int held, int length, int size) {
  return heldAfterValue((held < kLookup ? filled(held) : held) - length, size);
}

// After a longer code, of which kLookup + 1 bits are taken at once and the others one by one, and its value.
constexpr int heldAfterLong(int held, int length, int size) {
  held = (held <= kLookup ? filled(held) : held) - length;
  return heldAfterValue(held < 0 ? held + kPlainBits : held, size);
}

// As a table: computed, it would be a third of all instructions. A row for each number of bits that are held, a
// column for each short code and value; an entry is where the row for the bits held then begins.
struct HeldRows {
  static constexpr int kColumns = (kLookup + 1) * (kMaxValueBits + 1);
  uint16_t next[(kPlainBits + 1) * kColumns];

  static constexpr uint64_t row(int held) { return static_cast<uint64_t>(held) * kColumns; }
  static constexpr int held(uint64_t row) { return static_cast<int>(static_cast<uint32_t>(row) / kColumns); }
};
constexpr HeldRows heldRows() {
  HeldRows rows{};
  for (int held = 0; held <= kPlainBits; held++)
    for (int length = 0; length <= kLookup; length++)
      for (int size = 0; size <= kMaxValueBits; size++)
        rows.next[HeldRows::row(held) + length * 16 + size] =
            static_cast<uint16_t>(HeldRows::row(heldAfterShort(held, length, size)));
  return rows;
}
constexpr HeldRows kHeldRows = heldRows();

// ---- Codes of more than 8 bits
// -------------------------------------------------------------------------------------

// By how much a code of 9, 10 ... 16 bits is shifted out of 16, as factors whose product's upper half is it; the last
// one is not shifted at all.
alignas(16) constexpr uint16_t kShifts[8] = {1 << 9, 1 << 10, 1 << 11, 1 << 12, 1 << 13, 1 << 14, 1 << 15, 0};
alignas(16) constexpr uint16_t kUnshifted[8] = {0, 0, 0, 0, 0, 0, 0, 0xFFFF};

// The code at the top of the window, as its length << 16 | symbol; 0 if no length knows it. The shortest length
// counts whose last code is not below the bits: all of them are looked at together, as none can be foreseen.
MOX_INLINE uint32_t longCode(const DecodeSpec& table, uint64_t window) {
  const uint32_t bits = static_cast<uint32_t>(window >> 48);
  const V128 all = set16<V128>(static_cast<int>(bits)), last = load<V128>(&table.lastCode[kLookup + 1]);
  const V128 code = bitOr(mulHighU16(all, load<V128>(kShifts)), bitAnd(all, load<V128>(kUnshifted)));
  const V128 within = equal16(subsU16(code, last), zero<V128>());
  const V128 ones = set16<V128>(-1);
  const uint64_t found = equalBytes(bitAndNot(equal16(last, ones), within), ones);
  if (found == 0) return 0;
  const int length = kLookup + 1 + __builtin_ctzll(found) / 2;
  const uint32_t index = table.firstIndex[length] - table.firstCode[length] + (bits >> (16 - length));
  return static_cast<uint32_t>(length) << 16 | (table.symbol[index & 0xFF] & 0xFF);
}

// ---- The window
// ----------------------------------------------------------------------------------------------------

// The end of the bytes from `next` on that are known to be no 0xFF: so many are looked at, without a branch on what
// they are.
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

struct Window {
  Window(const Mox8u* start, const Mox8u* sourceEnd, uint32_t low, int32_t held)
      : next(start),
        limit(withoutFF(start, sourceEnd)),
        bits(static_cast<uint64_t>(low) << 1 << (63 - held)),
        count(static_cast<uint32_t>(held)),
        heldRow(HeldRows::row(held)),
        end(sourceEnd) {}

  // At least 56 bits: two symbols, each a code and its value, of which one has a long code. False if that cannot be
  // had without a decision.
  MOX_INLINE bool refill() {
    if (limit - next < 8) [[unlikely]] {
      // On a copy: a window whose address is known outside would live in memory, not in registers.
      Window copy = *this;
      const bool enough = copy.refillRarely();
      *this = copy;
      return enough;
    }
    bits |= bigEndian64(next) >> count;
    next += (63 - count) >> 3;
    count |= 56;
    return true;
  }

  // The next symbol and the value behind its code, 0 if that has no bits. After a long code the window is full again.
  // False if the code is unknown, or the window cannot be refilled.
  MOX_INLINE bool take(const DecodeSpec& table, uint32_t& symbol, int& value) {
    uint32_t entry = table.fast[bits >> (64 - kLookup)];
    if ((entry >> 16) - 1 >= kLookup) [[unlikely]] {
      entry = longCode(table, bits);
      if (entry == 0) return false;
      heldRow = HeldRows::row(
          heldAfterLong(HeldRows::held(heldRow), static_cast<int>(entry >> 16), static_cast<int>(entry & 15)));
      value = takeBits(entry);
      symbol = entry & 0xFF;
      return refill();
    }
    heldRow = kHeldRows.next[heldRow + (entry >> 16 << 4 | (entry & 15))];
    value = takeBits(entry);
    symbol = entry & 0xFF;
    return true;
  }

  // What the plain reader holds.
  int held() const { return HeldRows::held(heldRow); }

  const Mox8u* next;   // byte to load
  const Mox8u* limit;  // no byte ahead of it is 0xFF
  uint64_t bits;       // unread ones from the top
  uint64_t count;      // of them, at most 63
  uint64_t heldRow;    // what the plain reader holds
  const Mox8u* end;
  bool stuffed = false;  // a stuffed byte has been loaded

 private:
  // Takes a code and its value. A top bit of 0 means a negative one, whose magnitude are the inverted bits.
  MOX_INLINE int takeBits(uint32_t entry) {
    const uint32_t length = entry >> 16, size = entry & 15;
    const uint64_t behind = bits << length;
    const uint64_t negative = static_cast<uint64_t>(static_cast<int64_t>(~behind) >> 63);
    const uint64_t magnitude = (behind ^ negative) >> 1 >> (~size & 63);
    bits <<= length + size;
    count -= length + size;
    return static_cast<int>((magnitude ^ negative) - negative);
  }

  // Where one of the next 8 bytes is 0xFF, as it mostly is when the limit is near, and a stuffed 0x00 follows it:
  // without the latter they are 7 bytes of data. (The eighth byte is never taken, nor is it looked at behind.)
  bool refillAcrossFF() {
    if (end - next < 8) return false;
    uint64_t bytes;
    __builtin_memcpy(&bytes, next, sizeof bytes);  // the first one lowest
    const uint64_t found = bytesOfFF(bytes);
    const int at = found ? __builtin_ctzll(found) - 7 : 56;  // in bits
    const uint64_t upTo = (uint64_t{2} << (at + 7)) - 1;     // all ones for the last byte
    if ((found & (found - 1)) != 0 || (bytes >> 8 >> at & (at < 56 ? 0xFF : 0)) != 0) return false;
    bytes = (bytes & upTo) | (bytes >> 8 & ~upTo);
    const uint64_t taken = (63 - count) >> 3;
    const bool across = taken * 8 > static_cast<uint64_t>(at);
    bits |= __builtin_bswap64(bytes) >> count;
    next += taken + across;
    stuffed |= across;
    count |= 56;
    limit = withoutFF(next, end);
    return true;
  }

  // Also looks for the next limit, for the refills to come.
  [[gnu::noinline]] bool refillRarely() {
    if (refillAcrossFF()) return true;
    while (count < 56 && next < end) {
      const uint32_t byte = *next++;
      if (byte == 0xFF) {
        if (next == end || *next != 0) return false;
        next++;
        stuffed = true;
      }
      bits |= static_cast<uint64_t>(byte) << (56 - count);
      count += 8;
    }
    limit = withoutFF(next, end);
    return count >= 56;
  }
};

// ---- The state behind a block
// --------------------------------------------------------------------------------------

// Where the data byte that ends at `at` begins.
const Mox8u* before(const Mox8u* at, const Mox8u* start) {
  at--;
  return at > start && at[0] == 0 && at[-1] == 0xFF ? at - 1 : at;
}

// The last four data bytes ahead of `at`; where fewer have been loaded, what the accumulator held before them.
uint32_t lastBytes(const Mox8u* at, const Mox8u* start, uint32_t startLow) {
  uint32_t bytes = 0;
  for (int shift = 0; shift < 32; shift += 8) {
    if (at == start) return startLow << shift | bytes;
    at = before(at, start);
    bytes |= static_cast<uint32_t>(*at) << shift;
  }
  return bytes;
}

// Position, accumulator and count as the plain reader would leave them, after a block that began at `position`.
MOX_INLINE void keep(const Window& window, const Mox8u* src, int32_t* position, DecodeState* state) {
  const Mox8u* const start = src + *position;
  const int held = window.held(), surplus = (static_cast<int>(window.count) - held) >> 3;
  state->count = held;
  if (window.stuffed) [[unlikely]] {
    const Mox8u* at = window.next;
    for (int i = 0; i < surplus; i++) at = before(at, start);
    if (at != start) state->high = 0;
    state->low = lastBytes(at, start, state->low);
    *position = static_cast<int32_t>(at - src);
    return;
  }
  // The last four bytes; where fewer have been loaded, what the accumulator held before them. There are four bytes
  // behind the start, or the window would not have been full.
  const ptrdiff_t loaded = window.next - surplus - start;
  const ptrdiff_t skipped = loaded < 4 ? 0 : loaded - 4;
  const uint64_t both = static_cast<uint64_t>(state->low) << 32 | bigEndian32(start + skipped);
  state->low = static_cast<uint32_t>(both >> (32 - 8 * (loaded - skipped)));
  // A branch could not be predicted.
  state->high &= static_cast<uint32_t>((loaded - 1) >> 31);
  *position += static_cast<int32_t>(loaded);
}

// ---- The block
// -----------------------------------------------------------------------------------------------------

// Natural positions behind the walk too, as far as a run may lead: all mean coefficient 63 until the block is
// refused.
struct Natural {
  uint8_t at[64 + 16];
};
constexpr Natural naturalOrder() {
  Natural natural{};
  for (int i = 0; i < 64 + 16; i++) natural.at[i] = i < 64 ? kZigZag.natural[i] : 63;
  return natural;
}
constexpr Natural kNatural = naturalOrder();

enum class Step { more, done, refused };

// The next symbol of the block.
MOX_INLINE Step step(Window& in, const DecodeSpec& table, Mox16s* dst, size_t& cursor) {
  uint32_t symbol = 0;
  int value = 0;
  if (!in.take(table, symbol, value)) return Step::refused;
  if ((symbol & 15) == 0 && symbol != 0xF0) return Step::done;
  // A run of 16 zeros writes the last of them.
  cursor += symbol >> 4;
  dst[kNatural.at[cursor++]] = static_cast<Mox16s>(value);
  if (cursor < 64) return Step::more;
  return cursor <= 64 + kZigZagGuards ? Step::done : Step::refused;
}

MOX_INLINE void clear(Mox16s* block) {
  for (int i = 0; i < 64; i += VMax::kBytes / 2) store(block + i, zero<VMax>());
}

// False if the block is one for the definition; the destination may hold part of it then, and nothing else has
// changed.
MOX_INLINE bool decodeFast(Window& in, Mox16s* dst, int& difference, size_t& cursor, const DecodeSpec& dcTable,
                           const DecodeSpec& acTable) {
  uint32_t symbol = 0;
  if (!in.refill() || !in.take(dcTable, symbol, difference)) return false;
  clear(dst);
  cursor = 1;
  Step now;
  do {
    if (!in.refill()) return false;
    now = step(in, acTable, dst, cursor);
    if (now == Step::more) now = step(in, acTable, dst, cursor);
  } while (now == Step::more);
  // The plain reader has never loaded more than the window: it last loads at the second value, at most 8 + 15 + 8
  // bits behind a refill, up to 32 bits ahead; the window reached the last byte that begins within 63.
  return now == Step::done;
}

// Out of the way of the registers.
[[gnu::noinline]] MoxStatus decodePlainly(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst,
                                          Mox16s* lastDC, int32_t* marker, const DecodeSpec* dcTable,
                                          const DecodeSpec* acTable, DecodeState* state) {
  return definition::decodeBlock(src, length, position, dst, lastDC, marker, dcTable, acTable, state);
}

MoxStatus decodeBlock(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, Mox16s* lastDC,
                      int32_t* marker, const DecodeSpec* dcTable, const DecodeSpec* acTable, DecodeState* state) {
  const int32_t count = state->count;
  const bool plain = *marker == 0 && count >= 0 && count <= kPlainBits && *position >= 0 && *position < length;
  if (plain) {
    Window in(src + *position, src + length, state->low, count);
    int difference = 0;
    size_t cursor = 0;
    if (decodeFast(in, dst, difference, cursor, *dcTable, *acTable)) {
      dst[0] = *lastDC = static_cast<Mox16s>(*lastDC + difference);
      keep(in, src, position, state);
      state->unfilled = 64 - static_cast<int>(cursor);
      return moxStatusOk;
    }
  }
  return decodePlainly(src, length, position, dst, lastDC, marker, dcTable, acTable, state);
}

#else

constexpr auto decodeBlock = definition::decodeBlock;

#endif

}  // namespace

const HuffDecodeKernels huffDecodeKernels = {decodeBlock, definition::decodeBlockDirect};

}  // namespace mox::MOX_TARGET
