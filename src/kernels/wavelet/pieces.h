// Lines without vectors: samples and coefficients go through local arrays, in pieces of kPiece pairs, even and odd
// halves apart, so that each lifting step is a loop over independent elements. The compiler vectorises it (switched on
// for these files) as far as the target allows.
#pragma once

#include <cstring>

#include "kernels/wavelet/lines.h"

namespace mox::MOX_TARGET {

inline constexpr ptrdiff_t kPiece = 1024, kMargin = 4;  // pairs
template <class T>
using HalfPiece = T[kPiece + 2 * kMargin];

// Calls `piece(from, to)` for the pairs of a line, kPiece at a time.
template <class Piece>
inline void eachPiece(Line line, const Piece& piece) {
  const ptrdiff_t end = line.pairs();
  for (ptrdiff_t from = -line.phase; from < end; from += kPiece) piece(from, std::min(from + kPiece, end));
}

// Takes the elements from `from` to `to`: between `begin` and `end` they are in memory in the required form, and one
// call of `inside` takes them; elsewhere `one` takes each.
template <Edges How, class One, class Inside>
MOX_INLINE void eachInPiece(ptrdiff_t from, ptrdiff_t to, ptrdiff_t begin, ptrdiff_t end, const One& one,
                            const Inside& inside) {
  if constexpr (How == Edges::given) return inside(from, to);
  const ptrdiff_t first = std::min(std::max(from, begin), to), last = std::max(std::min(to, end), first);
  for (ptrdiff_t p = from; p < first; p++) one(p);
  inside(first, last);
  for (ptrdiff_t p = last; p < to; p++) one(p);
}

// Pairs `from` to `to` of a line of samples, and the even half of pair `to`.
template <Edges How, class T>
MOX_INLINE void loadPiece(Samples<How, T> x, ptrdiff_t from, ptrdiff_t to, T* even, T* odd) {
  eachInPiece<How>(
      from, to, 0, x.line.wholePairs(),
      [&](ptrdiff_t p) {
        even[p - from] = x.even(p);
        odd[p - from] = x.odd(p);
      },
      [&](ptrdiff_t first, ptrdiff_t last) {
        const T* const src = element(x.first, 2 * first + x.line.phase);
        T* const evens = even + (first - from);
        T* const odds = odd + (first - from);
#pragma GCC ivdep
        for (ptrdiff_t i = 0; i < last - first; i++) {
          evens[i] = get(src, 2 * i);
          odds[i] = get(src, 2 * i + 1);
        }
      });
  even[to - from] = x.even(to);
}

// The coefficients of a band that belong to pairs `from` to `to`. The band has those of pairs `begin` to `end`, and
// one(p) is that of pair p.
template <Edges How, class T, class One>
MOX_INLINE void loadBand(const T* band, ptrdiff_t begin, ptrdiff_t end, const One& one, ptrdiff_t from, ptrdiff_t to,
                         T* out) {
  eachInPiece<How>(
      from, to, begin, end, [&](ptrdiff_t p) { out[p - from] = one(p); },
      [&](ptrdiff_t first, ptrdiff_t last) {
        std::memcpy(out + (first - from), element(band, first - begin), static_cast<size_t>(last - first) * sizeof(T));
      });
}

// The samples of pairs `from` to `to` that the line has: even(p) and odd(p) give the halves of pair p.
template <class T, class Even, class Odd>
inline void storePiece(T* dst, Line line, ptrdiff_t from, ptrdiff_t to, const Even& even, const Odd& odd) {
  const ptrdiff_t first = std::max<ptrdiff_t>(from, 0), last = std::max(std::min(to, line.wholePairs()), first);
  if (from < 0) put(dst, 0, odd(-1));
  T* const inside = element(dst, 2 * first + line.phase);
#pragma GCC ivdep
  for (ptrdiff_t i = 0; i < last - first; i++) {
    put(inside, 2 * i, even(first + i));
    put(inside, 2 * i + 1, odd(first + i));
  }
  if (last < to && last < line.lows()) put(dst, 2 * last + line.phase, even(last));
}

}  // namespace mox::MOX_TARGET
