// Symbols packed into a 64-bit accumulator, and from there into a segment: for the kernel files of the block encoders.
#pragma once

#include "kernels/bytes.h"
#include "kernels/entropy/bitio.h"
#include "kernels/entropy/state.h"
#include "kernels/entropy/words.h"
#include "kernels/vec/prefetch.h"
#include "kernels/vec/vec.h"
#include "moxj.h"

#if MOX_VECTOR
namespace mox::MOX_TARGET {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the buffer holds the accumulator's bytes from last to first");

// Bits that go to a buffer, which is filled downwards from its end: the last `used` bits of the accumulator are not yet
// stored, those above them are.
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
    put(next - 8, word);
    next -= used >> 3 & 7;
    used &= 7;
  }

  // A code, followed by the low `size` bits of `bits`; false if there is no code.
  MOX_INLINE bool symbol(const EncodeSpec& table, uint64_t symbol, uint64_t size, uint64_t bits) {
    const uint8_t* const entry = reinterpret_cast<const uint8_t*>(table.code + symbol);
    const uint64_t code = get<uint16_t>(entry), length = entry[2];
    if (length == 0) [[unlikely]]
      return false;
    // Not by lowBits(), with which a first scan of AC coefficients is 10 % slower on AVX-512.
    add(code << size | (bits & ((uint64_t{1} << size) - 1)), length + size);
    return true;
  }

  // The coefficient at `position`, and the zeros between it and the one before, at `last`.
  template <class Block>
  MOX_INLINE bool coefficient(const EncodeSpec& table, const Block& block, uint64_t position, uint64_t last) {
    uint64_t distance = position - last;
    if (distance > 16) [[unlikely]]
      do {
        flush();
        if (!symbol(table, kZeroRun, 0, 0)) return false;
        flush();
        distance -= 16;
      } while (distance > 16);
    const uint64_t width = block.size[position];
    return symbol(table, distance * 16 + width - 16, width, block.bits[position]);
  }
};

// Room for the bytes of a block that is flushed that many times: a flush stores eight bytes and keeps at most seven of
// them, even if the table holds noise. A vector may be read up to the buffer's end, however few bytes there are.
template <int Flushes>
struct PackBuffer {
  static constexpr int kBytes = Flushes * 7 + 8 + 64;
  uint8_t* end() { return bytes + kBytes; }
  alignas(64) uint8_t bytes[kBytes];
};

// Appends `count` bytes that lie, from last to first, before `end`, and stuffs those of 0xFF.
[[gnu::noinline]] inline Mox8u* appendBytes(const uint8_t* end, int count, Mox8u* out) {
  for (int i = 1; i <= count; i++) {
    *out++ = end[-i];
    if (end[-i] == 0xFF) *out++ = 0;
  }
  return out;
}

// Stores `count` bytes, at least one word's and at most two words', as two words that may overlap.
template <class Word>
MOX_INLINE void storeOverlapping(const uint8_t* bytes, int count, Mox8u* out) {
  const ptrdiff_t last = count - static_cast<ptrdiff_t>(sizeof(Word));
  put(out, get<Word>(bytes));
  put(out + last, get<Word>(bytes + last));
}

// Stores the first `count` bytes of a vector. Bytes of the destination past them belong to the caller, who may have
// made them read-only or have another thread write them: they are neither written nor read.
MOX_INLINE void storeExactly(VMax bytes, int count, Mox8u* out) {
  if constexpr (kHasMaskedStore8) {
    storeFirst(out, bytes, count);
  } else {
    alignas(VMax::kBytes) uint8_t copy[VMax::kBytes];
    store(copy, bytes);
    if constexpr (kHasMaskedStore32) {  // one branch that can be predicted; those below depend on every block's length
      if (count >= 4) [[likely]] {
        storeFirst32(out, bytes, count / 4);
        return put(out + count - 4, get<uint32_t>(copy + count - 4));
      }
    }
    if (count >= 16) return storeOverlapping<V128>(copy, count, out);
    if (count >= 8) return storeOverlapping<uint64_t>(copy, count, out);
    if (count >= 4) return storeOverlapping<uint32_t>(copy, count, out);
    if (count == 0) return;
    out[0] = copy[0];
    out[count / 2] = copy[count / 2];
    out[count - 1] = copy[count - 1];
  }
}

// Appends at most one vector of bytes; false if there is no room for them, or one of them is 0xFF.
MOX_INLINE bool appendVector(const uint8_t* end, int count, Mox8u* out, int room) {
  const int here = count < VMax::kBytes ? count : VMax::kBytes;
  const VMax bytes = reverse8(load<VMax>(end - VMax::kBytes));
  if (room < here || anyFirstEqual8(bytes, set8<VMax>(-1), here)) [[unlikely]]
    return false;
  storeExactly(bytes, here, out);
  return true;
}

// Appends any number of bytes where `room` bytes of destination are left. Null if that might not be enough; the bytes
// written by then are those that the definition writes.
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
