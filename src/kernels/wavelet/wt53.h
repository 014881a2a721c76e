// The reversible 5/3 wavelet (ISO/IEC 15444-1, Annex F): two lifting steps on integers.
#pragma once

#include "kernels/wavelet/wt.h"

namespace mox {

template <class T>
struct Wt53LiftKernels {
  // From three rows x(2k), x(2k + 1), x(2k + 2) and the high row before: the high and the low row k.
  void (*forward)(const T* even, const T* odd, const T* nextEven, T* low, const T* highBefore, T* high, int count);
  // From low row k, high rows k - 1 and k and x(2k - 2): x(2k - 1) and x(2k).
  void (*inverse)(const T* low, const T* highBefore, const T* high, const T* evenBefore, T* odd, T* even, int count);
};

struct Wt53Kernels {
  WtPlaneKernels<Mox16s> plane16s;
  WtPlaneKernels<Mox32s> plane32s;
  WtRowKernels<Mox16s> row16s;
  WtRowKernels<Mox32s> row32s;
  WtColumnKernels<Mox16s> column16s;
  WtColumnKernels<Mox32s> column32s;
  Wt53LiftKernels<Mox16s> lift16s;
  Wt53LiftKernels<Mox32s> lift32s;
};

namespace definition {

// 32-bit sums wrap. 16-bit samples are summed in more bits than they have, and the low 16 of each result are kept.
template <class T>
struct Reversible;

template <>
struct Reversible<Mox32s> {
  using Sample = Mox32s;
  static constexpr uint32_t wide(Mox32s v) { return static_cast<uint32_t>(v); }
  static constexpr uint32_t shifted(uint32_t sum, int bits) {
    return static_cast<uint32_t>(static_cast<Mox32s>(sum) >> bits);
  }
  static constexpr uint32_t half(Mox32s a, Mox32s b) { return shifted(wide(a) + wide(b), 1); }
  static constexpr uint32_t quarter(Mox32s a, Mox32s b) { return shifted(wide(a) + wide(b) + 2, 2); }
  static constexpr uint32_t halfUp(Mox32s d) { return shifted(wide(d) + 1, 1); }
};

template <>
struct Reversible<Mox16s> {
  using Sample = Mox16s;
  static constexpr uint32_t wide(Mox16s v) { return static_cast<uint32_t>(v); }
  // floor((a + b) / 2) and floor((a + b + 2) / 4) without a sum that needs 17 bits.
  static constexpr Mox16s mean(Mox16s a, Mox16s b) { return static_cast<Mox16s>((a & b) + ((a ^ b) >> 1)); }
  static constexpr uint32_t half(Mox16s a, Mox16s b) { return wide(mean(a, b)); }
  static constexpr uint32_t quarter(Mox16s a, Mox16s b) { return wide(halfUpOf(mean(a, b))); }
  static constexpr Mox16s halfUpOf(Mox16s d) { return static_cast<Mox16s>(d - (d >> 1)); }
  static constexpr uint32_t halfUp(Mox16s d) { return wide(halfUpOf(d)); }
};

// a and b are the neighbours on either side.
template <class T>
struct Lifting53 {
  using Sample = T;
  using R = Reversible<T>;
  static constexpr T predict(T odd, T a, T b) { return static_cast<T>(R::wide(odd) - R::half(a, b)); }
  static constexpr T update(T even, T a, T b) { return static_cast<T>(R::wide(even) + R::quarter(a, b)); }
  static constexpr T undoUpdate(T low, T a, T b) { return static_cast<T>(R::wide(low) - R::quarter(a, b)); }
  static constexpr T undoPredict(T high, T a, T b) { return static_cast<T>(R::wide(high) + R::half(a, b)); }

  // A line of two samples: both neighbours of each are the other one.
  static constexpr T difference(T even, T odd) { return static_cast<T>(R::wide(odd) - R::wide(even)); }
  static constexpr T lowOfPair(T even, T high) { return static_cast<T>(R::wide(even) + R::halfUp(high)); }
  static constexpr T evenOfPair(T low, T high) { return static_cast<T>(R::wide(low) - R::halfUp(high)); }
  static constexpr T oddOfPair(T even, T high) { return static_cast<T>(R::wide(high) + R::wide(even)); }
};

static_assert(Lifting53<Mox16s>::predict(10, 3, 4) == 7 && Lifting53<Mox16s>::predict(10, -3, -4) == 14);
static_assert(Lifting53<Mox16s>::update(10, 3, 4) == 12 && Lifting53<Mox16s>::update(10, -3, -4) == 8);
static_assert(Lifting53<Mox32s>::update(10, 3, 4) == 12 && Lifting53<Mox32s>::update(10, -3, -4) == 8);
// Sums beyond 16 bits are those of integers; beyond 32 bits they wrap.
static_assert(Lifting53<Mox16s>::predict(0, 32767, 32767) == -32767 &&
              Lifting53<Mox16s>::update(0, 32767, 32767) == 16384);
static_assert(Lifting53<Mox16s>::update(0, -32768, -32768) == -16384);
static_assert(Lifting53<Mox32s>::predict(0, INT32_MAX, INT32_MAX) == 1);

}  // namespace definition

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const Wt53Kernels wt53Kernels;
}
#endif

}  // namespace mox
