// Elements and vectors of them under one set of names: the arithmetics and the lifting steps of the wavelets are
// written once, over X, which is an element (Mox16s, Mox32s, Mox32f) or one of the compiler's own vectors of elements.
// An element is a vector of one lane.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "kernels/bytes.h"
#include "kernels/vec/vec.h"
#include "moxj.h"

namespace mox::MOX_TARGET {

template <class T, int Bytes>
struct LanesOf {
  typedef T Type __attribute__((vector_size(Bytes)));
};
template <class T, int Bytes>
using Lanes = typename LanesOf<T, Bytes>::Type;

template <class X>
struct ShapeOf {
  using Lane = std::remove_cvref_t<decltype(std::declval<X>()[0])>;
  template <class T>
  using Like = Lanes<T, static_cast<int>(sizeof(X) / sizeof(Lane) * sizeof(T))>;
};
template <class X>
requires std::is_arithmetic_v<X>
struct ShapeOf<X> {
  using Lane = X;
  template <class T>
  using Like = T;
};
template <class X>
using Lane = typename ShapeOf<X>::Lane;
template <class T, class X>  // as many T as X has lanes
using Like = typename ShapeOf<X>::template Like<T>;
template <class X>
inline constexpr int kLanes = static_cast<int>(sizeof(X) / sizeof(Lane<X>));
template <class X>
inline constexpr bool kIsVector = !std::is_arithmetic_v<X>;

// ---- Memory: the lanes from element `i` of a row on ----------------------------------------------------------------

template <class X>
MOX_INLINE X at(const void* row, ptrdiff_t i) {
  return get<X>(element(static_cast<const Lane<X>*>(row), i));
}
template <class X>
MOX_INLINE void putAt(void* row, ptrdiff_t i, X v) {
  put<X>(element(static_cast<Lane<X>*>(row), i), v);
}

// ---- Arithmetic ----------------------------------------------------------------------------------------------------

template <class X>
MOX_INLINE constexpr X all(Lane<X> value) {
  if constexpr (kIsVector<X>)
    return X{} + value;
  else
    return value;
}

// Sums and differences of integers, wrapping.
template <class X>
MOX_INLINE constexpr X wrapAdd(X a, X b) {
  using U = Like<std::make_unsigned_t<Lane<X>>, X>;
  return (X)((U)a + (U)b);
}
template <class X>
MOX_INLINE constexpr X wrapSub(X a, X b) {
  using U = Like<std::make_unsigned_t<Lane<X>>, X>;
  return (X)((U)a - (U)b);
}

template <class To, class X>
MOX_INLINE constexpr Like<To, X> converted(X v) {
  if constexpr (kIsVector<X>)
    return __builtin_convertvector(v, Like<To, X>);
  else
    return static_cast<To>(v);
}

// ---- Order ---------------------------------------------------------------------------------------------------------

// Lane i of the result is lane `Index(i, lanes)` of a followed by b.
template <auto Index, class V, size_t... I>
MOX_INLINE V shuffledBy(V a, V b, std::index_sequence<I...>) {
  return __builtin_shufflevector(a, b, Index(static_cast<int>(I), static_cast<int>(sizeof...(I)))...);
}
template <auto Index, class V>
MOX_INLINE V shuffled(V a, V b) {
  return shuffledBy<Index>(a, b, std::make_index_sequence<kLanes<V>>());
}

constexpr int evenLanes(int i, int) { return 2 * i; }
constexpr int oddLanes(int i, int) { return 2 * i + 1; }
constexpr int lowerZip(int i, int lanes) { return i / 2 + (i & 1) * lanes; }
constexpr int upperZip(int i, int lanes) { return lanes / 2 + lowerZip(i, lanes); }
template <int First>
constexpr int lanesFrom(int i, int lanes) {
  return i + (First < 0 ? lanes + First : First);
}

// The lanes of `v` and of `next`, which follow it, from lane Count on.
template <int Count, class V>
MOX_INLINE V after(V v, V next) {
  if constexpr (Count == 0)
    return v;
  else
    return shuffled<lanesFrom<Count>>(v, next);
}
// `v` one lane later, what precedes it at the end of `last`.
template <class X>
MOX_INLINE X oneBefore(X last, X v) {
  if constexpr (kIsVector<X>)
    return shuffled<lanesFrom<-1>>(last, v);
  else
    return last;
}

// What the lanes of a lifting step are: a block of pairs of one line, or one pair of each of several columns.
enum class LanesAre { pairs, columns };

// The pairs before those of `now`: in the lane before, or what the last step has left.
template <LanesAre What, class X>
MOX_INLINE X before(X last, X now) {
  if constexpr (What == LanesAre::pairs)
    return oneBefore(last, now);
  else
    return last;
}

// As many pairs as X has lanes, their even and their odd halves.
template <class X>
struct EvenOdd {
  X even, odd;
};
template <class X>
struct LowHigh {
  X low, high;
};

// Where lanes cross the 128-bit blocks of a vector at a cost, each half of the pairs is loaded into a block of its own,
// and the shuffles stay within the blocks.
template <class X>
inline constexpr bool kInBlocks = kShufflesInBlocks && sizeof(X) == sizeof(VMax);
constexpr int evenLanesInBlocks(int i, int lanes) {
  const int inBlock = lanes / 2, half = inBlock / 2;  // the first half of a block is taken from a, the second from b
  return i / inBlock * inBlock + i % half * 2 + (i % inBlock < half ? 0 : lanes);
}
constexpr int oddLanesInBlocks(int i, int lanes) { return evenLanesInBlocks(i, lanes) + 1; }

template <class X>
MOX_INLINE EvenOdd<X> takeApart(const void* row, ptrdiff_t i) {
  if constexpr (kInBlocks<X>) {
    const Lane<X>* const first = element(static_cast<const Lane<X>*>(row), i);
    const X a = std::bit_cast<X>(loadApart<VMax>(first, sizeof(X)));
    const X b = std::bit_cast<X>(loadApart<VMax>(bytesAfter(first, sizeof(X) / 2), sizeof(X)));
    return {shuffled<evenLanesInBlocks>(a, b), shuffled<oddLanesInBlocks>(a, b)};
  }
  const X a = at<X>(row, i), b = at<X>(row, i + kLanes<X>);
  return {shuffled<evenLanes>(a, b), shuffled<oddLanes>(a, b)};
}
template <class X>
MOX_INLINE void putTogether(void* row, ptrdiff_t i, EvenOdd<X> v) {
  putAt(row, i, shuffled<lowerZip>(v.even, v.odd));
  putAt(row, i + kLanes<X>, shuffled<upperZip>(v.even, v.odd));
}

}  // namespace mox::MOX_TARGET
