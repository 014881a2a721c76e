// The fast decoder of a block. The plain reader of the definition loads a few bytes whenever it runs low, which is a
// branch per code that nobody can predict. Here
//
//   - a window of 64 bits, its next bit on top, is refilled before every symbol by one 8-byte load without a branch, up
//     to a limit ahead of which there is no 0xFF; a stuffed 0xFF 0x00 is taken byte by byte, anything else that needs a
//     decision (a marker, fill bytes, the end of the data, a position outside the block) is left to the definition,
//     which then decodes the block from its start;
//   - how many bits the plain reader would hold is counted along, in arithmetic off the critical path, so that the
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

// Not 0 if a byte is 0xFF (a byte of the complement is 0; borrows can only come from such a byte).
constexpr uint64_t bytesOfFF(uint64_t word) {
  return (~word - 0x0101010101010101u) & word & 0x8080808080808080u;
}
static_assert(bytesOfFF(0xFEFDFC807F000102u) == 0 && bytesOfFF(0x00000000FF000000u) && bytesOfFF(~uint64_t{0}));

class Window {
 public:
  // What a symbol may take: a code and its value bits, and one bit that a code of no length takes in vain.
  static constexpr int kSymbolBits = 16 + 15 + 1;
  // What the plain reader may hold.
  static constexpr int kPlainBits = 32;

  Window(const Mox8u* start, const Mox8u* end, uint32_t low, int32_t count)
      : next_(start),
        limit_(withoutFF(start, end)),
        window_(count ? static_cast<uint64_t>(low) << (64 - count) : 0),
        bits_(count),
        held_(count),
        end_(end) {}

  // At least 56 bits, or all there are but no fewer than what the plain reader could hold behind a code; false if that
  // cannot be had without a decision.
  MOX_INLINE bool refill();

  // The symbol of the next code.
  MOX_INLINE int symbol(const DecodeSpec& table);

  // The value of the next `size` (1 to 15) bits.
  MOX_INLINE int value(int size) {
    hold(size);
    const int bits = static_cast<int>(window_ >> (64 - size));
    // A top bit of 0 means a negative value: less by 2^size - 1.
    const int negative = static_cast<int>(static_cast<int64_t>(window_) >> 63) + 1;
    drop(size);
    return bits - ((negative << size) - negative);
  }

  // Position, accumulator and count as the plain reader would leave them, after a block that began at `position`.
  void keep(const Mox8u* src, int32_t* position, DecodeState* state) const {
    const Mox8u* const start = src + *position;
    const int surplus = (bits_ - held_) / 8;
    const Mox8u* at = next_ - surplus;
    if (stuffed_) {
      at = next_;
      for (int i = 0; i < surplus; i++) at = before(at, start);
    }
    *position = static_cast<int32_t>(at - src);
    state->count = held_;
    if (at == start) return;
    state->low = !stuffed_ && at - start >= 4 ? bigEndian32(at - 4) : lastBytes(at, start, state->low);
    state->high = 0;
  }

 private:
  static constexpr int kLookup = 8;

  // The plain reader loads whole bytes, up to 32 bits, when it holds fewer than it wants.
  MOX_INLINE void hold(int wanted) {
    const int filled = kPlainBits - (-held_ & 7);
    const int low = (held_ - wanted) >> 31;  // all ones if it runs low: as a branch it could not be predicted
    held_ += (filled - held_) & low;
  }

  MOX_INLINE void drop(int count) {
    window_ <<= count;
    bits_ -= count;
    held_ -= count;
  }

  // The two rare steps work on copies: a window whose address is known outside would live in memory, not in registers.
  struct Bytewise;
  struct Long;

  [[gnu::noinline]] static Bytewise refillByBytes(Window in);
  [[gnu::noinline]] static Long longSymbol(Window in, const DecodeSpec& table);

  // The end of the bytes from `next` on that are known to be no 0xFF: 32 of them are looked at.
  static const Mox8u* withoutFF(const Mox8u* next, const Mox8u* end) {
    for (int i = 0; i < 4 && end - next >= 8 && bytesOfFF(bigEndian64(next)) == 0; i++) next += 8;
    return next;
  }

  // Where the data byte that ends at `at` begins.
  static const Mox8u* before(const Mox8u* at, const Mox8u* start) {
    at--;
    return at > start && at[0] == 0 && at[-1] == 0xFF ? at - 1 : at;
  }

  // The last four data bytes ahead of `at`; where fewer have been loaded, what the accumulator held before them.
  static uint32_t lastBytes(const Mox8u* at, const Mox8u* start, uint32_t startLow) {
    uint32_t bytes = 0;
    for (int shift = 0; shift < 32; shift += 8) {
      if (at == start) return startLow << shift | bytes;
      at = before(at, start);
      bytes |= static_cast<uint32_t>(*at) << shift;
    }
    return bytes;
  }

  const Mox8u* next_;   // byte to load
  const Mox8u* limit_;  // no byte ahead of it is 0xFF
  uint64_t window_;     // unread bits from the top; 0 below them
  int bits_;            // in the window
  int held_;            // in the plain reader's accumulator
  const Mox8u* end_;
  bool stuffed_ = false;  // a stuffed byte has been loaded
};

struct Window::Bytewise {
  Window window;
  bool enough;
};

struct Window::Long {
  Window behind;
  int symbol;
};

// Also looks for the next limit, for the refills to come.
Window::Bytewise Window::refillByBytes(Window in) {
  while (in.bits_ <= 56 && in.next_ < in.end_) {
    const uint32_t byte = *in.next_++;
    if (byte == 0xFF) {
      if (in.next_ == in.end_ || *in.next_ != 0) return {in, false};
      in.next_++;
      in.stuffed_ = true;
    }
    in.window_ |= static_cast<uint64_t>(byte) << (56 - in.bits_);
    in.bits_ += 8;
  }
  in.limit_ = withoutFF(in.next_, in.end_);
  return {in, in.bits_ >= kPlainBits + 16};
}

// As the definition's: from 9 bits up, one bit at a time.
Window::Long Window::longSymbol(Window in, const DecodeSpec& table) {
  int size = kLookup + 1;
  in.hold(size);
  uint32_t code = static_cast<uint32_t>(in.window_ >> (64 - size));
  in.drop(size);
  while (size <= 16 && (table.lastCode[size] == kNoCode || code > table.lastCode[size])) {
    in.hold(1);
    code = code << 1 | static_cast<uint32_t>(in.window_ >> 63);
    in.drop(1);
    size++;
  }
  if (size > 16) return {in, 0};
  return {in, table.symbol[(table.firstIndex[size] - table.firstCode[size] + code) & 0xFF] & 0xFF};
}

bool Window::refill() {
  if (limit_ - next_ >= 8) [[likely]] {
    window_ |= bigEndian64(next_) >> bits_;
    next_ += (63 - bits_) >> 3;
    bits_ |= 56;
    return true;
  }
  const Bytewise refilled = refillByBytes(*this);
  *this = refilled.window;
  return refilled.enough;
}

int Window::symbol(const DecodeSpec& table) {
  hold(kLookup);
  const uint32_t entry = table.fast[window_ >> (64 - kLookup)];
  const uint32_t length = entry >> 16;
  if (length - 1 >= kLookup) [[unlikely]] {
    const Long found = longSymbol(*this, table);
    *this = found.behind;
    return found.symbol;
  }
  drop(static_cast<int>(length));
  return entry & 0xFF;
}

// False if the block is one for the definition; the destination may hold part of it then, and nothing else has changed.
MOX_INLINE bool decodeFast(Window& in, Mox16s* dst, int& difference, int& cursor, const DecodeSpec& dcTable,
                const DecodeSpec& acTable) {
  if (!in.refill()) return false;
  const int dcSize = in.symbol(dcTable) & 15;
  difference = dcSize ? in.value(dcSize) : 0;
  __builtin_memset(dst, 0, 64 * sizeof *dst);
  for (cursor = 1; cursor < 64;) {
    if (!in.refill()) return false;
    const int symbol = in.symbol(acTable);
    const int run = symbol >> 4, size = symbol & 15;
    if (size == 0) {
      if (run < 15) break;
      cursor += 16;
      continue;
    }
    cursor += run;
    if (cursor >= 64 + kZigZagGuards) return false;
    dst[kZigZag.natural[cursor++]] = static_cast<Mox16s>(in.value(size));
  }
  return true;
}

MoxStatus decodeBlock(const Mox8u* src, int32_t length, int32_t* position, Mox16s* dst, Mox16s* lastDC,
                      int32_t* marker, const DecodeSpec* dcTable, const DecodeSpec* acTable, DecodeState* state) {
  const int32_t count = state->count;
  const bool plain = *marker == 0 && count >= 0 && count <= Window::kPlainBits && *position >= 0 && *position < length;
  if (plain) {
    Window in(src + *position, src + length, state->low, count);
    int difference = 0, cursor = 0;
    if (decodeFast(in, dst, difference, cursor, *dcTable, *acTable)) {
      dst[0] = *lastDC = static_cast<Mox16s>(*lastDC + difference);
      in.keep(src, position, state);
      state->unfilled = 64 - cursor;
      return moxStatusOk;
    }
  }
  return definition::decodeBlock(src, length, position, dst, lastDC, marker, dcTable, acTable, state);
}

#else

constexpr auto decodeBlock = definition::decodeBlock;

#endif

}  // namespace

const HuffDecodeKernels huffDecodeKernels = {decodeBlock, definition::decodeBlockDirect};

}  // namespace mox::MOX_TARGET
