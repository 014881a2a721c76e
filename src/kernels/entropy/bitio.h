// The entropy-coded segment bit by bit (T.81 F.1.2, F.2.2): the plain writer and reader, which define what the faster
// block kernels must leave: bytes, positions, accumulators and counts.
#pragma once

#include <bit>
#include <cstdint>

#include "kernels/entropy/state.h"
#include "moxj.h"

namespace mox {

inline constexpr int kZeroRun = 0xF0;  // the symbol of 16 zeros (ZRL)

// Magnitude category of a value or DC difference: the number of bits of |value|, up to 16.
constexpr int category(int value) { return std::bit_width(static_cast<uint32_t>(value < 0 ? -value : value)); }

// The bits that follow the code of a category: the value's own, or those of value - 1 if it is negative.
constexpr uint32_t valueBits(int value, int category) {
  return static_cast<uint32_t>(value < 0 ? value - 1 : value) & ((1u << category) - 1);
}

// The value that `count` (at least 1) bits stand for: a top bit of 0 means a negative one.
constexpr int extend(uint32_t bits, int count) {
  return static_cast<int>(bits) + (bits >> (count - 1) ? 0 : 1 - (1 << count));
}

static_assert(category(0) == 0 && category(-1) == 1 && category(255) == 8 && category(256) == 9);
static_assert(category(-32768) == 16 && category(65535) == 16 && category(-65535) == 16);
static_assert(valueBits(-3, 2) == 0 && valueBits(3, 2) == 3 && valueBits(-65535, 16) == 0);
static_assert(extend(0, 1) == -1 && extend(1, 1) == 1 && extend(0, 15) == -32767 && extend(3, 3) == -4);

// Appends bits to a destination. The pending ones are bits 23 and below of `low`, so that the next byte is always
// bits 16 to 23; the bytes written before stay above them, as far as 32 bits reach.
class BitWriter {
 public:
  BitWriter(Mox8u* dst, int32_t length, int32_t position, const EncodeState& state)
      : dst(dst), length(length), position(position), low(state.low), high(state.high), pending(state.pending & 7) {}

  // Without a length and a state: the pending bits are the first ones of the byte that the position lies in.
  BitWriter(Mox8u* dst, int32_t bitPosition)
      : dst(dst), length(INT32_MAX), position(bitPosition / 8), low(0), high(0), pending(bitPosition % 8) {
    if (pending) low = static_cast<uint32_t>(dst[position] & 0xFF00 >> pending) << 16;
    withoutCode = moxStatusOk;
  }

  void keep(EncodeState& state) const {
    state.low = low;
    state.high = high;
    state.pending = pending;
  }

  // The partial last byte, its unused bits 0; returns the position in bits.
  int32_t keepInDestination() const {
    if (pending) dst[position] = static_cast<Mox8u>(low >> 16);
    return static_cast<int32_t>(static_cast<uint32_t>(position) * 8 + static_cast<uint32_t>(pending));
  }

  // Appends the low `count` (1 to 16) bits of `bits`; a count of 0 is a symbol without a code. A failure leaves the
  // accumulator and the pending bits alone, although whole bytes may have been written.
  MoxStatus emit(uint32_t bits, int count) {
    if (count == 0) return withoutCode;
    int32_t total = pending + count;
    uint32_t accumulator = low | (bits & ((1u << (count & 31)) - 1)) << ((24 - total) & 31);
    for (; total >= 8; total -= 8, accumulator <<= 8)
      if (const MoxStatus bad = putByte(accumulator >> 16 & 0xFF)) return bad;
    low = accumulator;
    high = 0;
    pending = total;
    return moxStatusOk;
  }

  MoxStatus emitCode(const EncodeSpec& table, int symbol) {
    // Category 16 after a run of 15 would be symbol 256, which no table codes.
    const uint32_t entry = symbol < 256 ? table.code[symbol] : 0;
    return emit(entry & 0xFFFF, static_cast<int>(entry >> 16));
  }

  // The code of `run` zeros and the value after them, then the value's bits.
  MoxStatus emitValue(const EncodeSpec& table, int run, int value) {
    const int size = category(value);
    if (const MoxStatus bad = emitCode(table, run * 16 + size)) return bad;
    return size > 0 ? emit(valueBits(value, size), size) : moxStatusOk;
  }

  // Completes the last byte with 1-bits (T.81 F.1.2.3); 1-bits beyond it stay pending.
  MoxStatus pad() { return emit(0x7F, 7); }

  Mox8u* dst;
  int32_t length;    // of the destination
  int32_t position;  // of the next byte; outside 0 .. length - 1 the destination is full
  uint32_t low, high;
  int32_t pending;
  MoxStatus withoutCode = moxStatusHuffTable;  // the status of emitting a symbol that has no code

 private:
  bool full() const { return static_cast<uint32_t>(position) >= static_cast<uint32_t>(length); }

  // A byte of 0xFF is followed by a stuffed 0x00, so that it does not start a marker.
  MoxStatus putByte(uint32_t byte) {
    if (full()) return moxStatusOutOfBuffer;
    dst[position++] = static_cast<Mox8u>(byte);
    if (byte != 0xFF) return moxStatusOk;
    if (full()) return moxStatusOutOfBuffer;
    dst[position++] = 0;
    return moxStatusOk;
  }
};

namespace definition {

// Pads and writes the pending bits; the state is cleared even when the destination is full. Not inlined, so that an
// export that flushes once per segment saves no registers for it in every call that encodes a block.
[[gnu::noinline]] inline MoxStatus flushBits(Mox8u* dst, int32_t length, int32_t* position, EncodeState* state) {
  BitWriter out(dst, length, *position, *state);
  const MoxStatus status = out.pad();
  *position = out.position;
  clear(*state);
  return status;
}

}  // namespace definition

// Not enough bits are left for a symbol. Used inside the direct reader only, never returned to a caller.
inline constexpr MoxStatus kRanOut = static_cast<MoxStatus>(-256);

// Takes bits from a source. The last `count` bits of the accumulator are unread; the bytes before stay above them, as
// far as 32 bits reach.
//
// The direct reader (Direct) differs from the buffered one in three ways:
//   - a lookup with fewer than 8 bits pads them with zeros;
//   - too few bits for a symbol give kRanOut;
//   - a code that no length has is an error.
//
// The wide reader (Wide), for the AC decoders of progressive scans, shifts its bytes through all 64 bits of the
// accumulator. It loads as the others do, but accepts a state that holds up to 64 bits.
template <bool Direct, bool Wide = false>
class BitReader {
 public:
  const Mox8u* src;
  int32_t length;    // of the source
  int32_t position;  // of the next byte to load
  int32_t marker;    // that ended the data, or 0
  uint32_t low, high;
  int32_t count;
  MoxStatus notice = moxStatusOk;  // moxStatusMarkerMet once this reader has met one

  // The next code of the table.
  MoxStatus symbol(const DecodeSpec& table, int& symbol) {
    if (count < kLookup && !marker)
      if (const MoxStatus bad = fill(0)) return bad;
    if (count < kLookup && !Direct) return longSymbol(table, 1, symbol);
    const uint32_t entry = table.fast[lookup()];
    const int32_t taken = static_cast<int32_t>(entry >> 16);
    if (taken < 1 || taken > kLookup) return longSymbol(table, kLookup + 1, symbol);
    if (Direct && taken > count) return kRanOut;
    count -= taken;
    symbol = entry & 0xFF;
    return moxStatusOk;
  }

  // The value of the next `size` (1 to 15) bits.
  MoxStatus value(int size, int& value) {
    uint32_t bits = 0;
    if (const MoxStatus bad = take(size, bits)) return bad;
    value = extend(bits, size);
    return moxStatusOk;
  }

  // `wanted` (1 to 16) bits, right-aligned.
  MoxStatus take(int wanted, uint32_t& bits) {
    if (count < wanted)
      if (const MoxStatus bad = fill(wanted)) return bad;
    count -= wanted;
    bits = above(count) & ((1u << wanted) - 1);
    return moxStatusOk;
  }

  // The next bit; loads no byte past its own.
  MoxStatus bit(uint32_t& bit) {
    if (count < 1) {
      if (marker || position >= length) return moxStatusOutOfBuffer;
      if (const MoxStatus bad = loadByte()) return bad;
    }
    return take(1, bit);
  }

  // Loads bytes until no more fit; an error if fewer bits than `wanted` are held then.
  MoxStatus fill(int wanted) {
    while (!marker && count < kEnough && position < length)
      if (const MoxStatus bad = loadByte()) return bad;
    return count < wanted ? moxStatusOutOfBuffer : moxStatusOk;
  }

 private:
  static constexpr int kLookup = 8;
  static constexpr int kEnough = 25;  // a fill stops here: one more byte would not fit 32 bits

  // The accumulator's bits above its last `skipped`.
  uint32_t above(int32_t skipped) const {
    if constexpr (Wide) return static_cast<uint32_t>((uint64_t{high} << 32 | low) >> (skipped & 63));
    return low >> (skipped & 31);
  }

  uint32_t lookup() const { return (count < kLookup ? low << (kLookup - count) : above(count - kLookup)) & 0xFF; }

  // One byte of data. 0xFF 0x00 is 0xFF, and 0xFF may be repeated; 0xFF and any other byte are a marker.
  MoxStatus loadByte() {
    uint32_t byte = src[position++];
    if (byte == 0xFF) {
      do {
        if (position >= length) return moxStatusOutOfBuffer;
        byte = src[position++];
      } while (byte == 0xFF);
      if (byte != 0) {
        marker = static_cast<int32_t>(byte);
        notice = moxStatusMarkerMet;
        return moxStatusOk;
      }
      byte = 0xFF;
    }
    high = Wide ? high << 8 | low >> 24 : 0;
    low = low << 8 | byte;
    count += 8;
    return moxStatusOk;
  }

  // A code of at least `size` bits, found by the arrays that have an entry per length. A seventeenth bit is taken
  // before a code counts as unknown.
  MoxStatus longSymbol(const DecodeSpec& table, int size, int& symbol) {
    uint32_t code = 0;
    if (const MoxStatus bad = take(size, code)) return Direct ? kRanOut : bad;
    while (size <= 16 && (table.lastCode[size] == kNoCode || code > table.lastCode[size])) {
      uint32_t bit = 0;
      if (const MoxStatus bad = take(1, bit)) return Direct ? kRanOut : bad;
      code = code << 1 | bit;
      size++;
    }
    if (size > 16) {
      symbol = 0;
      return Direct ? moxStatusCoefficientRange : moxStatusOk;
    }
    // Within 0 .. 255 for every table that is consistent, and inside the object for any other.
    const uint32_t index = (table.firstIndex[size] - table.firstCode[size] + code) & 0xFF;
    symbol = table.symbol[index] & 0xFF;
    return moxStatusOk;
  }
};

}  // namespace mox
