// What the processor can execute, read by CPUID: the compiler's own feature test needs writable data.
#pragma once

#include <cstdint>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace mox::cpu {

#if defined(__x86_64__) || defined(__i386__)

// The words of CPUID that name what the kernels use, and XCR0: what the operating system saves across task switches.
struct Processor {
  uint32_t leaf1c, leaf1d, leaf7b, leaf7c, extended1c, saved;
};

constexpr bool all(uint32_t word, uint32_t bits) { return (word & bits) == bits; }

// Nothing is read twice: a virtual machine traps CPUID, which then costs some 8 microseconds a time, and a process that
// codes a small picture lasts two milliseconds.
inline Processor ask() {
  Processor here{};
  uint32_t a, b, d;
  const uint32_t last = __get_cpuid_max(0, nullptr);
  if (last < 1) return here;
  __cpuid(1, a, b, here.leaf1c, here.leaf1d);
  constexpr uint32_t kOsxsave = 1u << 27, kAvx2 = 1u << 5;
  if (!all(here.leaf1c, kOsxsave) || last < 7) return here;
  // Volatile: it must not move before the test above.
  __asm__ volatile("xgetbv" : "=a"(here.saved), "=d"(d) : "c"(0));
  __cpuid_count(7, 0, a, here.leaf7b, here.leaf7c, d);
  if (all(here.leaf7b, kAvx2)) __cpuid(0x80000001, a, b, here.extended1c, d);
  return here;
}

inline bool runsSse2(const Processor& p) { return all(p.leaf1d, 1u << 26); }

// SSSE3 and SSE4.1.
inline bool runsSse41(const Processor& p) { return all(p.leaf1c, 1u << 9 | 1u << 19); }

inline bool runsAvx2(const Processor& p) {
  constexpr uint32_t kAvxPopcnt = 1u << 28 | 1u << 23;
  constexpr uint32_t kBmi1Avx2Bmi2 = 1u << 3 | 1u << 5 | 1u << 8;
  constexpr uint32_t kLzcnt = 1u << 5;
  return runsSse41(p) && all(p.leaf1c, kAvxPopcnt) && all(p.leaf7b, kBmi1Avx2Bmi2) && all(p.extended1c, kLzcnt) &&
         all(p.saved, 0x6);
}

// F, DQ, BW, VL, VBMI, VBMI2 and VNNI; processors that lack some of them take AVX2.
inline bool runsAvx512(const Processor& p) {
  constexpr uint32_t kFDqBwVl = 1u << 16 | 1u << 17 | 1u << 30 | 1u << 31;
  constexpr uint32_t kVbmiVbmi2Vnni = 1u << 1 | 1u << 6 | 1u << 11;
  return runsAvx2(p) && all(p.leaf7b, kFDqBwVl) && all(p.leaf7c, kVbmiVbmi2Vnni) && all(p.saved, 0xE6);
}

#else

struct Processor {};

inline Processor ask() { return {}; }

#endif

}  // namespace mox::cpu
