#include "kernels/wt53.h"

#include "kernels/wtplane.h"

namespace mox::MOX_TARGET {
namespace {

using definition::Lifting53;

// One step of the pipeline. Where a row is both in and out, each element is read before it is written.
template <class T, class F = Lifting53<T>>
inline void liftRow(const T* even, const T* odd, const T* nextEven, T* low, const T* highBefore, T* high,
                    ptrdiff_t i) {
  const T e = get(even, i), h = F::predict(get(odd, i), e, get(nextEven, i)), l = F::update(e, get(highBefore, i), h);
  put(high, i, h);
  put(low, i, l);
}
template <class T, class F = Lifting53<T>>
inline void unliftRow(const T* low, const T* highBefore, const T* high, const T* evenBefore, T* odd, T* even,
                      ptrdiff_t i) {
  const T before = get(highBefore, i), e = F::undoUpdate(get(low, i), before, get(high, i));
  const T o = F::undoPredict(before, get(evenBefore, i), e);
  put(odd, i, o);
  put(even, i, e);
}

template <class T>
void lift(const T* even, const T* odd, const T* nextEven, T* low, const T* highBefore, T* high, ptrdiff_t count) {
#pragma GCC ivdep
  for (ptrdiff_t i = 0; i < count; i++) liftRow(even, odd, nextEven, low, highBefore, high, i);
}
template <class T>
void unlift(const T* low, const T* highBefore, const T* high, const T* evenBefore, T* odd, T* even, ptrdiff_t count) {
#pragma GCC ivdep
  for (ptrdiff_t i = 0; i < count; i++) unliftRow(low, highBefore, high, evenBefore, odd, even, i);
}

// Rows of callers may overlap in any way: then the elements are taken one by one.
template <class T>
void liftAny(const T* even, const T* odd, const T* nextEven, T* low, const T* highBefore, T* high, int count) {
  const size_t bytes = static_cast<size_t>(count) * sizeof(T);
  if (allApart(low, bytes, even, odd, nextEven, highBefore, high) &&
      allApart(high, bytes, even, odd, nextEven, highBefore))
    return lift(even, odd, nextEven, low, highBefore, high, count);
  for (ptrdiff_t i = 0; i < count; i++) liftRow(even, odd, nextEven, low, highBefore, high, i);
}
template <class T>
void unliftAny(const T* low, const T* highBefore, const T* high, const T* evenBefore, T* odd, T* even, int count) {
  const size_t bytes = static_cast<size_t>(count) * sizeof(T);
  if (allApart(odd, bytes, low, highBefore, high, evenBefore, even) &&
      allApart(even, bytes, low, highBefore, high, evenBefore))
    return unlift(low, highBefore, high, evenBefore, odd, even, count);
  for (ptrdiff_t i = 0; i < count; i++) unliftRow(low, highBefore, high, evenBefore, odd, even, i);
}

template <class T>
struct Filter53 {
  using Sample = T;
  using F = Lifting53<T>;
  static constexpr ptrdiff_t kShortest = 3;  // shorter lines have rules of their own

  template <Edges How>
  static void forwardLine(const T* src, T* low, T* high, Line line) {
    Half<T> evens, odds;
    eachPiece(line, [&](ptrdiff_t from, ptrdiff_t to) {
      const ptrdiff_t first = std::max<ptrdiff_t>(from, 0);
      const ptrdiff_t lows = std::min(to, line.lows()) - first,
                      highs = std::min(to, line.highs() - line.phase) - from;
      takeApart<How>(src, line, first - 1, to, evens.at, odds.at);
      // Element 0 of each half is the pair before `first`.
#pragma GCC ivdep
      for (ptrdiff_t j = 0; j <= to - first; j++) odds.at[j] = F::predict(odds.at[j], evens.at[j], evens.at[j + 1]);
      T* const lowPiece = element(low, first);
#pragma GCC ivdep
      for (ptrdiff_t j = 1; j <= lows; j++)
        put<T>(lowPiece, j - 1, F::update(evens.at[j], odds.at[j - 1], odds.at[j]));
      if (highs > 0)
        std::memcpy(element(high, from + line.phase), odds.at + (from + 1 - first),
                    static_cast<size_t>(highs) * sizeof(T));
    });
  }

  template <Edges How>
  static void inverseLine(const T* low, const T* high, T* dst, Line line) {
    Half<T> evens, odds;
    eachPiece(line, [&](ptrdiff_t from, ptrdiff_t to) {
      const ptrdiff_t end = std::max(std::min(to, line.lows()), std::min(to, line.highs() - line.phase) + 1);
      takeLow<How>(low, line, from, end, evens.at);
      takeHigh<How>(high, line, from - 1, end, odds.at);
      T* const even = evens.at;
      const T* const odd = odds.at + 1;
#pragma GCC ivdep
      for (ptrdiff_t j = 0; j < end - from; j++) even[j] = F::undoUpdate(even[j], odd[j - 1], odd[j]);
      putTogether(
          dst, line, from, to, [=](ptrdiff_t j) { return even[j - from]; },
          [=](ptrdiff_t j) { return F::undoPredict(odd[j - from], even[j - from], even[j - from + 1]); });
    });
  }

  template <Edges How, class Rows>
  static void forwardColumns(const Rows& rows, ptrdiff_t count, int phase, ptrdiff_t width) {
    const Column<How> column{count};
    const ptrdiff_t begin = firstEven(How == Edges::given ? -2 : -1, phase);
    for (ptrdiff_t e = begin; e - 1 < count; e += 2) {
      rows.need(e + 2);
      if (e >= 1 && e + 2 < count) {
        lift<T>(rows.in(e), rows.in(e + 1), rows.in(e + 2), rows.state(e), rows.state(e - 1), rows.state(e + 1),
                width);
      } else {
        if (column.has(e + 1, 1))
          alongRow<T>(rows.state(e + 1), width, F::predict, rows.in(e + 1), rows.in(column(e)),
                      rows.in(column(e + 2)));
        if (column.has(e, 0))
          alongRow<T>(rows.state(e), width, F::update, rows.in(e), constant(rows.state(column(e - 1))),
                      constant(rows.state(column(e + 1))));
      }
      if (column.has(e - 1, 0)) rows.done(e - 1);
      if (column.has(e, 0)) rows.done(e);
    }
  }

  template <Edges How, class Rows>
  static void inverseColumns(const Rows& rows, ptrdiff_t count, int phase, ptrdiff_t width) {
    const Column<How> column{count};
    for (ptrdiff_t e = firstEven(-1, phase); e - 1 < count; e += 2) {
      rows.need(e + 1);
      if (e >= 2 && e + 1 < count) {
        unlift<T>(rows.in(e), rows.in(e - 1), rows.in(e + 1), rows.state(e - 2), rows.state(e - 1), rows.state(e),
                  width);
      } else {
        if (column.has(e, 1))
          alongRow<T>(rows.state(e), width, F::undoUpdate, rows.in(e), rows.in(column(e - 1)),
                      rows.in(column(e + 1)));
        if (column.has(e - 1, 0))
          alongRow<T>(rows.state(e - 1), width, F::undoPredict, rows.in(e - 1), constant(rows.state(column(e - 2))),
                      constant(rows.state(column(e))));
      }
    }
  }

  // Two samples: elements of `even` and `odd` become those of `low` and `high`, which may be the same rows crosswise.
  static void forwardPair(const T* even, const T* odd, T* low, T* high, ptrdiff_t count) {
    for (ptrdiff_t i = 0; i < count; i++) {
      const T e = get(even, i), d = F::difference(e, get(odd, i));
      put<T>(low, i, F::lowOfPair(e, d));
      put<T>(high, i, d);
    }
  }
  static void inversePair(const T* low, const T* high, T* even, T* odd, ptrdiff_t count) {
    for (ptrdiff_t i = 0; i < count; i++) {
      const T d = get(high, i), e = F::evenOfPair(get(low, i), d);
      put<T>(even, i, e);
      put<T>(odd, i, F::oddOfPair(e, d));
    }
  }

 private:
  static const T* constant(const T* row) {
    return row;
  }
};

template <class T>
void forwardRow(const T* src, T* low, T* high, int count, int phase) {
  Filter53<T>::template forwardLine<Edges::given>(src, low, high, {2 * ptrdiff_t{count}, phase});
}
template <class T>
void inverseRow(const T* low, const T* high, T* dst, int count, int phase) {
  Filter53<T>::template inverseLine<Edges::given>(low, high, dst, {2 * ptrdiff_t{count}, phase});
}

}  // namespace

const Wt53Kernels wt53Kernels = {
    planeKernels<Filter53<Mox16s>>,           planeKernels<Filter53<Mox32s>>,
    {forwardRow<Mox16s>, inverseRow<Mox16s>}, {forwardRow<Mox32s>, inverseRow<Mox32s>},
    columnKernels<Filter53<Mox16s>>,          columnKernels<Filter53<Mox32s>>,
    {liftAny<Mox16s>, unliftAny<Mox16s>},     {liftAny<Mox32s>, unliftAny<Mox32s>},
};

}  // namespace mox::MOX_TARGET
