// What the processor can execute, asked of the processor itself: the compiler's own feature test keeps writable data.
#pragma once

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>

#include <cstdint>

namespace mox::cpu {

struct Registers {
  uint32_t a, b, c, d;
};

inline Registers leaf(uint32_t number) {
  Registers r{};
  if (!__get_cpuid_count(number, 0, &r.a, &r.b, &r.c, &r.d)) return {};
  return r;
}

constexpr bool all(uint32_t word, uint32_t bits) { return (word & bits) == bits; }

// Whether the operating system saves the register files in `mask` (XCR0) across task switches.
inline bool saves(uint32_t mask) {
  constexpr uint32_t kOsxsave = 1u << 27;
  if (!all(leaf(1).c, kOsxsave)) return false;
  uint32_t low, high;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return all(low, mask);
}

inline bool runsSse2() { return all(leaf(1).d, 1u << 26); }

// SSSE3 and SSE4.1.
inline bool runsSse41() { return all(leaf(1).c, 1u << 9 | 1u << 19); }

inline bool runsAvx2() {
  constexpr uint32_t kAvxPopcnt = 1u << 28 | 1u << 23;
  constexpr uint32_t kBmi1Avx2Bmi2 = 1u << 3 | 1u << 5 | 1u << 8;
  constexpr uint32_t kLzcnt = 1u << 5;
  return runsSse41() && all(leaf(1).c, kAvxPopcnt) && all(leaf(7).b, kBmi1Avx2Bmi2) && all(leaf(0x80000001).c, kLzcnt) &&
         saves(0x6);
}

// F, DQ, BW, VL, VBMI, VBMI2 and VNNI; processors that lack some of them take AVX2.
inline bool runsAvx512() {
  constexpr uint32_t kFDqBwVl = 1u << 16 | 1u << 17 | 1u << 30 | 1u << 31;
  constexpr uint32_t kVbmiVbmi2Vnni = 1u << 1 | 1u << 6 | 1u << 11;
  return runsAvx2() && all(leaf(7).b, kFDqBwVl) && all(leaf(7).c, kVbmiVbmi2Vnni) && saves(0xE6);
}

}  // namespace mox::cpu
#endif
