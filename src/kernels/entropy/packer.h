// Symbols packed into a 64-bit accumulator and from there into a segment, for the kernel files of the block encoders.
#pragma once

#include <cstring>

#include "kernels/entropy/bitio.h"
#include "kernels/entropy/state.h"
#include "kernels/vec/prefetch.h"
#include "kernels/vec/vec.h"
#include "moxj.h"

#if MOX_VECTOR
namespace mox::MOX_TARGET {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the buffer holds the accumulator's bytes from last to first");

// Bits on their way into the buffer that ends at `next`: the last `used` of the accumulator are not yet stored, those
// above are.
struct Packer {
  uint64_t accumulator;
  uint64_t used;
  uint8_t* next;

  MOX_INLINE void add(uint64_t bits, uint64_t count) {
    accumulator = accumulator << (count & 63) | bits;
    used += count;
  }

  // At most 63 bits: stores them and keeps those that fill no byte.
  MOX_INLINE void flush() {
    const uint64_t word = accumulator << (-used & 63);
    std::memcpy(next - 8, &word, sizeof word);
    next -= used >> 3 & 7;
    used &= 7;
  }

  // A code and, behind it, the low `size` bits of `bits`; false if there is no code.
  MOX_INLINE bool symbol(const EncodeSpec& table, uint64_t symbol, uint64_t size, uint64_t bits) {
    const uint8_t* const entry = reinterpret_cast<const uint8_t*>(table.code + symbol);
    uint16_t code;
    std::memcpy(&code, entry, sizeof code);
    const uint64_t length = entry[2];
    if (length == 0) [[unlikely]]
      return false;
    add(uint64_t{code} << size | lowBits(bits, size), length + size);
    return true;
  }

  // The coefficient at a position that lies behind that of the last one, zeros between them.
  template <class Block>
  MOX_INLINE bool coefficient(const EncodeSpec& table, const Block& block, uint64_t position, uint64_t last) {
    uint64_t distance = position - last;
    while (distance > 16) {
      flush();
      if (!symbol(table, kZeroRun, 0, 0)) return false;
      flush();
      distance -= 16;
    }
    const uint64_t width = block.size[position];
    return symbol(table, distance * 16 + width - 16, width, block.bits[position]);
  }

  MOX_INLINE static uint64_t lowBits(uint64_t bits, uint64_t count) { return bits & ((uint64_t{1} << count) - 1); }
};

// The bytes of a block that is flushed so many times: a flush stores eight and keeps at most seven of them, even if
// the table's bytes are noise. A vector that is read from the last bytes fits too.
template <int Flushes>
struct PackBuffer {
  static constexpr int kBytes = Flushes * 7 + 8 + 64;
  uint8_t* end() { return bytes + kBytes; }
  alignas(64) uint8_t bytes[kBytes];
};

// Appends `count` bytes that lie, from last to first, ahead of `end`, and stuffs those of 0xFF.
[[gnu::noinline]] inline Mox8u* appendBytes(const uint8_t* end, int count, Mox8u* out) {
  for (int i = 1; i <= count; i++) {
    *out++ = end[-i];
    if (end[-i] == 0xFF) *out++ = 0;
  }
  return out;
}

// The same with one vector, which holds them all or the first of them; false if there is room for no vector or a byte
// of 0xFF among them.
MOX_INLINE bool appendVector(const uint8_t* end, int count, Mox8u* out, int room) {
  const VMax bytes = reverse8(load<VMax>(end - VMax::kBytes));
  if (room < VMax::kBytes || anyFirstEqual8(bytes, set8<VMax>(-1), count)) [[unlikely]]
    return false;
  storeFirst(out, bytes, count);
  return true;
}

// The same where `room` bytes of destination are left; null, with nothing written that the definition would not
// write, if they might be too few.
[[gnu::noinline]] inline Mox8u* appendLong(const uint8_t* end, int count, Mox8u* out, int room) {
  constexpr int kStep = VMax::kBytes;
  for (int done = 0; done < count; done += kStep)
    if (!appendVector(end - done, count - done, out + done, room - done)) [[unlikely]]
      return room < 2 * count ? nullptr : appendBytes(end, count, out);
  return out + count;
}

MOX_INLINE Mox8u* append(const uint8_t* end, int count, Mox8u* out, int room) {
  if (count <= VMax::kBytes && appendVector(end, count, out, room)) [[likely]]
    return out + count;
  return appendLong(end, count, out, room);
}

}  // namespace mox::MOX_TARGET
#endif
