// What the kernels of both wavelets share: unaligned elements, mirrored positions, lines taken apart and put
// together.
//
// A line is filtered by pairs: pair j is the sample at the even coordinate, position 2j + phase, and the one behind
// it. At phase 1 the line begins with the latter half of pair -1. What has no filter in wtvec.h goes through local
// arrays, in pieces of kPiece pairs. All loops that matter there run over independent elements; the compiler's
// vectoriser (switched on for these files) makes of them what the target has.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "kernels/wavelet/wt.h"

namespace mox::MOX_TARGET {

template <class T>
inline T get(const void* p, ptrdiff_t i) {
  T value;
  std::memcpy(&value, static_cast<const char*>(p) + i * static_cast<ptrdiff_t>(sizeof(T)), sizeof value);
  return value;
}
template <class T>
inline T get(const T* p, ptrdiff_t i) {
  return get<T>(static_cast<const void*>(p), i);
}
template <class T>
inline void put(void* p, ptrdiff_t i, T value) {
  std::memcpy(static_cast<char*>(p) + i * static_cast<ptrdiff_t>(sizeof(T)), &value, sizeof value);
}

// `first` moved by so many elements, and row `y`.
template <class T>
inline T* offsetBy(T* first, ptrdiff_t bytes) {
  using Byte = std::conditional_t<std::is_const_v<T>, const char, char>;
  return reinterpret_cast<T*>(reinterpret_cast<Byte*>(first) + bytes);
}
template <class T>
inline T* element(T* first, ptrdiff_t i) {
  return offsetBy(first, i * static_cast<ptrdiff_t>(sizeof(T)));
}

// Where the samples beyond the ends of a line come from.
enum class Edges { mirrored, given };

// Whole-sample symmetric extension, repeated as often as it takes; at least two samples.
inline ptrdiff_t mirrored(ptrdiff_t i, ptrdiff_t count) {
  while (i < 0 || i >= count) i = i < 0 ? -i : 2 * (count - 1) - i;
  return i;
}
template <Edges How>
inline ptrdiff_t position(ptrdiff_t i, ptrdiff_t count) {
  if constexpr (How == Edges::given) return i;
  return mirrored(i, count);
}

inline constexpr ptrdiff_t kPiece = 1024, kMargin = 4;  // pairs
template <class T>
struct Half {
  T at[kPiece + 2 * kMargin];
};

struct Line {
  ptrdiff_t count;
  int phase;

  ptrdiff_t lows() const { return (count + 1 - phase) >> 1; }
  ptrdiff_t highs() const { return count - lows(); }
  // Pairs -phase to pairs() hold all samples; those from 0 to wholePairs() lie in the line with both halves.
  ptrdiff_t pairs() const { return std::max(lows(), highs() - phase); }
  ptrdiff_t wholePairs() const { return (count - phase) >> 1; }
};

// A line of samples and one of coefficients, by pairs, with what is beyond the ends.
template <Edges How, class T>
struct Samples {
  const T* first;
  Line line;
  T even(ptrdiff_t j) const { return at(2 * j + line.phase); }
  T odd(ptrdiff_t j) const { return at(2 * j + line.phase + 1); }

 private:
  T at(ptrdiff_t i) const { return get(first, position<How>(i, line.count)); }
};
template <Edges How, class T>
struct Coefficients {
  const T *lows, *highs;
  Line line;
  T low(ptrdiff_t j) const { return get(lows, (at(2 * j) - line.phase) >> 1); }
  T high(ptrdiff_t j) const { return get(highs, (at(2 * j + 1) - 1 + line.phase) >> 1); }

 private:
  ptrdiff_t at(ptrdiff_t i) const { return position<How>(i + line.phase, line.count); }
};

// The range of pairs, of those asked for, that need no mirroring.
template <Edges How>
struct Direct {
  ptrdiff_t first, last;
  Direct(ptrdiff_t from, ptrdiff_t to, ptrdiff_t begin, ptrdiff_t end) : first(from), last(to) {
    if constexpr (How == Edges::mirrored) {
      first = std::min(std::max(from, begin), to);
      last = std::max(std::min(to, end), first);
    }
  }
};

// Pairs `from` to `to` of a line of samples, and the even half of pair `to`.
template <Edges How, class T>
void takeApart(const T* src, Line line, ptrdiff_t from, ptrdiff_t to, T* even, T* odd) {
  const auto one = [&](ptrdiff_t j) {
    even[j - from] = get(src, position<How>(2 * j + line.phase, line.count));
    odd[j - from] = get(src, position<How>(2 * j + line.phase + 1, line.count));
  };
  const Direct<How> direct(from, to, 0, line.wholePairs());
  for (ptrdiff_t j = from; j < direct.first; j++) one(j);
  const T* const inside = element(src, 2 * direct.first + line.phase);
  T* const evens = even + (direct.first - from);
  T* const odds = odd + (direct.first - from);
#pragma GCC ivdep
  for (ptrdiff_t j = 0; j < direct.last - direct.first; j++) {
    evens[j] = get(inside, 2 * j);
    odds[j] = get(inside, 2 * j + 1);
  }
  for (ptrdiff_t j = direct.last; j < to; j++) one(j);
  even[to - from] = get(src, position<How>(2 * to + line.phase, line.count));
}

// The coefficients of the low band that belong to pairs `from` to `to`, and those of the high band.
template <Edges How, class T>
void takeLow(const T* low, Line line, ptrdiff_t from, ptrdiff_t to, T* out) {
  const Direct<How> direct(from, to, 0, line.lows());
  const auto one = [&](ptrdiff_t j) {
    out[j - from] = get(low, (position<How>(2 * j + line.phase, line.count) - line.phase) >> 1);
  };
  for (ptrdiff_t j = from; j < direct.first; j++) one(j);
  std::memcpy(out + (direct.first - from), element(low, direct.first),
              static_cast<size_t>(direct.last - direct.first) * sizeof(T));
  for (ptrdiff_t j = direct.last; j < to; j++) one(j);
}
template <Edges How, class T>
void takeHigh(const T* high, Line line, ptrdiff_t from, ptrdiff_t to, T* out) {
  const Direct<How> direct(from, to, -line.phase, line.highs() - line.phase);
  const auto one = [&](ptrdiff_t j) {
    out[j - from] = get(high, (position<How>(2 * j + line.phase + 1, line.count) - 1 + line.phase) >> 1);
  };
  for (ptrdiff_t j = from; j < direct.first; j++) one(j);
  std::memcpy(out + (direct.first - from), element(high, direct.first + line.phase),
              static_cast<size_t>(direct.last - direct.first) * sizeof(T));
  for (ptrdiff_t j = direct.last; j < to; j++) one(j);
}

// The samples of pairs `from` to `to` that the line has: even(j) and odd(j) give the halves of pair j.
template <class T, class Even, class Odd>
inline void putTogether(T* dst, Line line, ptrdiff_t from, ptrdiff_t to, const Even& even, const Odd& odd) {
  const ptrdiff_t first = std::max<ptrdiff_t>(from, 0), last = std::max(std::min(to, line.wholePairs()), first);
  if (from < 0) put<T>(dst, 0, odd(-1));
  T* const inside = element(dst, 2 * first + line.phase);
#pragma GCC ivdep
  for (ptrdiff_t j = 0; j < last - first; j++) {
    put<T>(inside, 2 * j, even(first + j));
    put<T>(inside, 2 * j + 1, odd(first + j));
  }
  if (last < to && last < line.lows()) put<T>(dst, 2 * last + line.phase, even(last));
}

// Calls `piece(from, to)` for the pairs of a line, kPiece at a time.
template <class Piece>
inline void eachPiece(Line line, const Piece& piece) {
  const ptrdiff_t end = line.pairs();
  for (ptrdiff_t from = -line.phase; from < end; from += kPiece) piece(from, std::min(from + kPiece, end));
}

// out[i] = op(in[i] ...) along a row; exactly the same row may be in and out.
template <class Out, class Op, class... In>
inline void alongRow(void* out, ptrdiff_t count, const Op& op, const In*... in) {
#pragma GCC ivdep
  for (ptrdiff_t i = 0; i < count; i++) put<Out>(out, i, op(get(in, i)...));
}

// Whether rows of `bytes` bytes are one and the same, or have nothing in common: then elements may be taken in any
// order.
inline bool apart(const void* a, const void* b, size_t bytes) {
  const uintptr_t x = reinterpret_cast<uintptr_t>(a), y = reinterpret_cast<uintptr_t>(b);
  return x == y || (x < y ? y - x : x - y) >= bytes;
}
template <class... Rows>
inline bool allApart(const void* written, size_t bytes, const Rows*... rows) {
  return (... && apart(written, rows, bytes));
}

}  // namespace mox::MOX_TARGET
