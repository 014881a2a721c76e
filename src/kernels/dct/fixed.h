// Fixed-point helpers of the scalar definitions, named as the vector layer names them.
#pragma once

#include <cstdint>

namespace mox {

// The low bits of a value, as a signed number.
constexpr int16_t wrap16(int32_t value) { return static_cast<int16_t>(value); }
constexpr int32_t wrap32(int64_t value) { return static_cast<int32_t>(value); }

constexpr int16_t saturate16(int32_t value) {
  return static_cast<int16_t>(value < INT16_MIN ? INT16_MIN : value > INT16_MAX ? INT16_MAX : value);
}
constexpr uint8_t saturateU8(int32_t value) { return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value); }

constexpr int16_t adds16(int16_t a, int16_t b) { return saturate16(a + b); }
constexpr int16_t subs16(int16_t a, int16_t b) { return saturate16(a - b); }

// The high half of the product, floor(a * b / 65536).
constexpr int16_t mulHigh16(int16_t a, int16_t b) { return static_cast<int16_t>(a * b >> 16); }
// The low half, which is the same for signed and unsigned factors.
constexpr int16_t mulLow16(int16_t a, uint16_t b) { return wrap16(a * static_cast<int32_t>(b)); }

// Shifted left within 16 bits; what leaves them is lost.
constexpr int16_t shl16(int16_t a, int bits) { return wrap16(static_cast<int32_t>(static_cast<uint32_t>(a) << bits)); }

static_assert(adds16(32767, 1) == 32767 && subs16(-32768, 1) == -32768);
static_assert(mulHigh16(-1, 1) == -1 && mulHigh16(-32768, -32768) == 16384);
static_assert(mulLow16(1000, 100) == -31072 && shl16(4096, 3) == -32768);

}  // namespace mox
