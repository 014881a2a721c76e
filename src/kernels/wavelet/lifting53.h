// The reversible 5/3 wavelet (ISO/IEC 15444-1, F.3 and F.4): two lifting steps on integers, over X, an element or a
// vector of them.
//
//   forward   H(k) = x(2k + 1) - floor((x(2k) + x(2k + 2)) / 2)          predict
//             L(k) = x(2k)     + floor((H(k - 1) + H(k) + 2) / 4)        update
//   inverse   x(2k)     = L(k) - floor((H(k - 1) + H(k) + 2) / 4)        undoUpdate
//             x(2k + 1) = H(k) + floor((x(2k) + x(2k + 2)) / 2)          undoPredict
//
// One arithmetic for each size of sample serves planes, rows, columns and single steps.
#pragma once

#include "kernels/wavelet/lanes.h"

namespace mox::MOX_TARGET {

// 32-bit sums wrap.
struct Reversible32 {
  using Sample = Mox32s;
  template <class X>
  MOX_INLINE static constexpr X half(X a, X b) {
    return wrapAdd(a, b) >> 1;
  }
  template <class X>
  MOX_INLINE static constexpr X quarter(X a, X b) {
    return wrapAdd(wrapAdd(a, b), all<X>(2)) >> 2;
  }
  static constexpr Sample halfUp(Sample d) { return wrapAdd(d, 1) >> 1; }
};

// 16-bit sums have as many bits as they need, and the low 16 of each result are kept: a half and a quarter are formed
// without the sum, which would need 17 bits.
struct Reversible16 {
  using Sample = Mox16s;
  template <class X>
  MOX_INLINE static constexpr X half(X a, X b) {
    return (X)((a & b) + ((a ^ b) >> 1));
  }
  template <class X>
  MOX_INLINE static constexpr X quarter(X a, X b) {
    return halfUp(half(a, b));
  }
  template <class X>
  MOX_INLINE static constexpr X halfUp(X d) {
    return (X)(d - (d >> 1));
  }
};

// a and b are the neighbours on either side.
template <class Arithmetic>
struct Lifting53 : Arithmetic {
  using R = Arithmetic;
  using T = typename R::Sample;
  template <class X>
  MOX_INLINE static constexpr X predict(X odd, X a, X b) {
    return wrapSub(odd, R::half(a, b));
  }
  template <class X>
  MOX_INLINE static constexpr X update(X even, X a, X b) {
    return wrapAdd(even, R::quarter(a, b));
  }
  template <class X>
  MOX_INLINE static constexpr X undoUpdate(X low, X a, X b) {
    return wrapSub(low, R::quarter(a, b));
  }
  template <class X>
  MOX_INLINE static constexpr X undoPredict(X high, X a, X b) {
    return wrapAdd(high, R::half(a, b));
  }

  // A line of two samples: both neighbours of each are the other one, whose half and quarter do not wrap.
  static constexpr T difference(T even, T odd) { return wrapSub(odd, even); }
  static constexpr T lowOfPair(T even, T high) { return wrapAdd(even, R::halfUp(high)); }
  static constexpr T evenOfPair(T low, T high) { return wrapSub(low, R::halfUp(high)); }
  static constexpr T oddOfPair(T even, T high) { return wrapAdd(high, even); }
};

template <class T>
using Lifting53Of = Lifting53<std::conditional_t<sizeof(T) == 2, Reversible16, Reversible32>>;

static_assert(Lifting53Of<Mox16s>::predict<Mox16s>(10, 3, 4) == 7);
static_assert(Lifting53Of<Mox16s>::predict<Mox16s>(10, -3, -4) == 14);
static_assert(Lifting53Of<Mox16s>::update<Mox16s>(10, 3, 4) == 12);
static_assert(Lifting53Of<Mox16s>::update<Mox16s>(10, -3, -4) == 8);
static_assert(Lifting53Of<Mox32s>::update(10, 3, 4) == 12 && Lifting53Of<Mox32s>::update(10, -3, -4) == 8);
// Sums beyond 16 bits are those of integers; beyond 32 bits they wrap.
static_assert(Lifting53Of<Mox16s>::predict<Mox16s>(0, 32767, 32767) == -32767);
static_assert(Lifting53Of<Mox16s>::update<Mox16s>(0, 32767, 32767) == 16384);
static_assert(Lifting53Of<Mox16s>::update<Mox16s>(0, -32768, -32768) == -16384);
static_assert(Lifting53Of<Mox32s>::predict(0, INT32_MAX, INT32_MAX) == 1);

}  // namespace mox::MOX_TARGET
