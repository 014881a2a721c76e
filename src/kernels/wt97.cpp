#include "kernels/wt97.h"

#include "kernels/wtplane.h"

namespace mox::MOX_TARGET {
namespace {

using namespace definition;

// One step of the pipeline. Where a row is both in and out, each element is read before it is written.
template <class A>
struct Lift {
  using S = typename A::Sample;
  using W = typename A::Work;
  static_assert(sizeof(S) == sizeof(W));

  const S *even, *odd, *nextEven;
  S *even2Before, *evenNow, *odd3Before, *odd1Before, *oddNext;

  static W work(const void* row, ptrdiff_t i) { return get<W>(row, i); }

  void at(ptrdiff_t i) const {
    const S e = get(even, i);
    const W o1 = work(odd1Before, i), e2 = work(even2Before, i), o3 = work(odd3Before, i);
    const W next = A::predict(get(odd, i), e, get(nextEven, i));
    const W now = A::update(e, o1, next);
    const W o = A::predict2(o1, e2, now);
    put<W>(oddNext, i, next);
    put<W>(evenNow, i, now);
    put<W>(odd1Before, i, o);
    put<S>(even2Before, i, A::low(e2, o3, o));
    put<S>(odd3Before, i, A::high(o3));
  }
  void along(ptrdiff_t count) const {
#pragma GCC ivdep
    for (ptrdiff_t i = 0; i < count; i++) at(i);
  }
  void alongAny(ptrdiff_t count) const {
    const size_t bytes = static_cast<size_t>(count) * sizeof(S);
    const auto free = [&](const S* row) {
      return allApart(row, bytes, even, odd, nextEven, even2Before, evenNow, odd3Before, odd1Before, oddNext);
    };
    if (free(even2Before) && free(evenNow) && free(odd3Before) && free(odd1Before) && free(oddNext))
      return along(count);
    for (ptrdiff_t i = 0; i < count; i++) at(i);
  }
};

template <class A>
struct Unlift {
  using S = typename A::Sample;
  using W = typename A::Work;

  const S *highBefore, *low, *high;
  S *evenNow, *even2Before;
  void* even4Before;
  S *odd1Before, *odd3Before;

  static W work(const void* row, ptrdiff_t i) { return get<W>(row, i); }

  void at(ptrdiff_t i) const {
    const S before = get(highBefore, i);
    const W e2 = work(even2Before, i), o3 = work(odd3Before, i), e4 = work(even4Before, i);
    const W now = A::undoDelta(get(low, i), before, get(high, i));
    const W o1 = A::undoGamma(before, e2, now);
    const W e = A::undoBeta(e2, o3, o1);
    put<W>(evenNow, i, now);
    put<W>(odd1Before, i, o1);
    put<W>(even2Before, i, e);
    put<S>(odd3Before, i, A::finished(A::undoAlpha(o3, e4, e)));
    if constexpr (!std::is_same_v<S, W>) put<S>(even4Before, i, A::finished(e4));
  }
  void along(ptrdiff_t count) const {
#pragma GCC ivdep
    for (ptrdiff_t i = 0; i < count; i++) at(i);
  }
  void alongAny(ptrdiff_t count) const {
    const size_t bytes = static_cast<size_t>(count) * sizeof(S);
    const auto free = [&](const S* row) {
      return allApart(row, bytes, highBefore, low, high, evenNow, even2Before, even4Before, odd1Before, odd3Before);
    };
    if (free(evenNow) && free(even2Before) && free(odd1Before) && free(odd3Before)) return along(count);
    for (ptrdiff_t i = 0; i < count; i++) at(i);
  }
};

template <class A>
struct Filter97 {
  using Sample = typename A::Sample;
  using T = Sample;
  using W = typename A::Work;
  static constexpr ptrdiff_t kShortest = 2;

  template <Edges How>
  static void forwardLine(const T* src, T* low, T* high, Line line) {
    Half<T> evens, odds;
    Half<W> even, odd;
    eachPiece(line, [&](ptrdiff_t from, ptrdiff_t to) {
      const ptrdiff_t first = std::max<ptrdiff_t>(from, 0), pairs = to - first;
      // Element 0 is the second pair before `first`.
      takeApart<How>(src, line, first - 2, to + 1, evens.at, odds.at);
#pragma GCC ivdep
      for (ptrdiff_t j = 0; j < pairs + 3; j++) odd.at[j] = A::predict(odds.at[j], evens.at[j], evens.at[j + 1]);
#pragma GCC ivdep
      for (ptrdiff_t j = 1; j < pairs + 3; j++) even.at[j] = A::update(evens.at[j], odd.at[j - 1], odd.at[j]);
#pragma GCC ivdep
      for (ptrdiff_t j = 1; j < pairs + 2; j++) odd.at[j] = A::predict2(odd.at[j], even.at[j], even.at[j + 1]);
      T* const lowPiece = element(low, first);
      const ptrdiff_t lows = std::min(to, line.lows()) - first,
                      highs = std::min(to, line.highs() - line.phase) - from;
#pragma GCC ivdep
      for (ptrdiff_t j = 2; j < lows + 2; j++) put<T>(lowPiece, j - 2, A::low(even.at[j], odd.at[j - 1], odd.at[j]));
      T* const highPiece = element(high, from + line.phase);
      const W* const finished = odd.at + (from - first + 2);
#pragma GCC ivdep
      for (ptrdiff_t j = 0; j < highs; j++) put<T>(highPiece, j, A::high(finished[j]));
    });
  }

  template <Edges How>
  static void inverseLine(const T* low, const T* high, T* dst, Line line) {
    Half<T> lows, highs;
    Half<W> even, odd;
    eachPiece(line, [&](ptrdiff_t from, ptrdiff_t to) {
      const ptrdiff_t end = std::max(std::min(to, line.lows()), std::min(to, line.highs() - line.phase) + 1);
      const ptrdiff_t pairs = end - from;
      takeLow<How>(low, line, from - 1, end + 1, lows.at);
      takeHigh<How>(high, line, from - 2, end + 1, highs.at);
      // Element 0 is the pair before `from`; of the high coefficients the one before that.
      const T* const scaled = highs.at + 1;
#pragma GCC ivdep
      for (ptrdiff_t j = 0; j < pairs + 2; j++) even.at[j] = A::undoDelta(lows.at[j], scaled[j - 1], scaled[j]);
#pragma GCC ivdep
      for (ptrdiff_t j = 0; j < pairs + 1; j++) odd.at[j] = A::undoGamma(scaled[j], even.at[j], even.at[j + 1]);
#pragma GCC ivdep
      for (ptrdiff_t j = 1; j < pairs + 1; j++) even.at[j] = A::undoBeta(even.at[j], odd.at[j - 1], odd.at[j]);
      const W* const e = even.at + 1;
      const W* const o = odd.at + 1;
      putTogether(
          dst, line, from, to, [=](ptrdiff_t j) { return A::finished(e[j - from]); },
          [=](ptrdiff_t j) { return A::finished(A::undoAlpha(o[j - from], e[j - from], e[j - from + 1])); });
    });
  }

  template <Edges How, class Rows>
  static void forwardColumns(const Rows& rows, ptrdiff_t count, int phase, ptrdiff_t width) {
    const Column<How> column{count};
    for (ptrdiff_t e = firstEven(How == Edges::given ? -4 : -1, phase); e - 3 < count; e += 2) {
      rows.need(e + 2);
      if (e >= 3 && e + 2 < count)
        Lift<A>{rows.in(e),    rows.in(e + 1),    rows.in(e + 2),    rows.state(e - 2),
                rows.state(e), rows.state(e - 3), rows.state(e - 1), rows.state(e + 1)}
            .along(width);
      else
        forwardEdge(rows, column, e, width);
      if (column.has(e - 3, 0)) rows.done(e - 3);
      if (column.has(e - 2, 0)) rows.done(e - 2);
    }
  }

  // The same step, as far as there are rows.
  template <Edges How, class Rows>
  static void forwardEdge(const Rows& rows, Column<How> column, ptrdiff_t e, ptrdiff_t width) {
    const auto in = [&](ptrdiff_t i) { return rows.in(column(i)); };
    const auto state = [&](ptrdiff_t i) { return rows.state(column(i)); };
    if (column.has(e + 1, 3)) alongRow<W>(state(e + 1), width, A::predict, in(e + 1), in(e), in(e + 2));
    if (column.has(e, 2)) {
      const T* const sample = in(e);
      const void *const a = state(e - 1), *const b = state(e + 1);
      eachOf(width, [=, out = state(e)](ptrdiff_t i) {
        put<W>(out, i, A::update(get(sample, i), get<W>(a, i), get<W>(b, i)));
      });
    }
    if (column.has(e - 1, 1)) {
      const void *const a = state(e - 2), *const b = state(e);
      eachOf(width, [=, out = state(e - 1)](ptrdiff_t i) {
        put<W>(out, i, A::predict2(get<W>(static_cast<const void*>(out), i), get<W>(a, i), get<W>(b, i)));
      });
    }
    if (column.has(e - 2, 0)) {
      const void *const a = state(e - 3), *const b = state(e - 1);
      eachOf(width, [=, out = state(e - 2)](ptrdiff_t i) {
        put<T>(out, i, A::low(get<W>(static_cast<const void*>(out), i), get<W>(a, i), get<W>(b, i)));
      });
    }
    if (column.has(e - 3, 0))
      eachOf(width, [out = state(e - 3)](ptrdiff_t i) {
        put<T>(out, i, A::high(get<W>(static_cast<const void*>(out), i)));
      });
  }

  template <Edges How, class Rows>
  static void inverseColumns(const Rows& rows, ptrdiff_t count, int phase, ptrdiff_t width) {
    const Column<How> column{count};
    for (ptrdiff_t e = firstEven(How == Edges::given ? -3 : -1, phase); e - 4 < count; e += 2) {
      rows.need(e + 1);
      if (e >= 4 && e + 1 < count)
        Unlift<A>{rows.in(e - 1),    rows.in(e),        rows.in(e + 1),    rows.state(e),
                  rows.state(e - 2), rows.state(e - 4), rows.state(e - 1), rows.state(e - 3)}
            .along(width);
      else
        inverseEdge(rows, column, e, width);
    }
  }

  template <Edges How, class Rows>
  static void inverseEdge(const Rows& rows, Column<How> column, ptrdiff_t e, ptrdiff_t width) {
    const auto in = [&](ptrdiff_t i) { return rows.in(column(i)); };
    const auto state = [&](ptrdiff_t i) { return rows.state(column(i)); };
    if (column.has(e, 3)) alongRow<W>(state(e), width, A::undoDelta, in(e), in(e - 1), in(e + 1));
    if (column.has(e - 1, 2)) {
      const T* const sample = in(e - 1);
      const void *const a = state(e - 2), *const b = state(e);
      eachOf(width, [=, out = state(e - 1)](ptrdiff_t i) {
        put<W>(out, i, A::undoGamma(get(sample, i), get<W>(a, i), get<W>(b, i)));
      });
    }
    if (column.has(e - 2, 1)) {
      const void *const a = state(e - 3), *const b = state(e - 1);
      eachOf(width, [=, out = state(e - 2)](ptrdiff_t i) {
        put<W>(out, i, A::undoBeta(get<W>(static_cast<const void*>(out), i), get<W>(a, i), get<W>(b, i)));
      });
    }
    if (column.has(e - 3, 0)) {
      const void *const a = state(e - 4), *const b = state(e - 2);
      eachOf(width, [=, out = state(e - 3)](ptrdiff_t i) {
        put<T>(out, i,
               A::finished(A::undoAlpha(get<W>(static_cast<const void*>(out), i), get<W>(a, i), get<W>(b, i))));
      });
    }
    if constexpr (!std::is_same_v<T, W>) {
      if (column.has(e - 4, 0))
        eachOf(width, [out = state(e - 4)](ptrdiff_t i) {
          put<T>(out, i, A::finished(get<W>(static_cast<const void*>(out), i)));
        });
    }
  }

  template <class Op>
  static void eachOf(ptrdiff_t width, const Op& op) {
#pragma GCC ivdep
    for (ptrdiff_t i = 0; i < width; i++) op(i);
  }

  // No rule of their own for two samples.
  static void forwardPair(const T*, const T*, T*, T*, ptrdiff_t) {}
  static void inversePair(const T*, const T*, T*, T*, ptrdiff_t) {}
};

// Lines with one coefficient in each band go through the filters as wholes. sample(i) is the sample at position i,
// low(i) and high(i) the coefficient i places on.
template <class A, class Sample, class Put>
inline void onePair(int phase, const Sample& sample, const Put& result) {
  using Weights = Analysis97<typename A::Weight>;
  const int low = phase, high = 1 - phase;
  result(A::ofWeighted(weighted(Weights::low, [&](int i) { return sample(low + i); })),
         A::ofWeighted(weighted(Weights::high, [&](int i) { return sample(high + i); })));
}
template <class A, class Low, class High, class Put>
inline void onePairBack(int phase, const Low& low, const High& high, const Put& result) {
  using Weights = Synthesis97<typename A::Weight>;
  const int even = phase, odd = 1 - phase;
  const auto at = [&](int i) { return (i + phase) & 1 ? high((i - 1 + phase) >> 1) : low((i - phase) >> 1); };
  result(A::ofWeighted(weighted(Weights::even, [&](int i) { return at(even + i); })),
         A::ofWeighted(weighted(Weights::odd, [&](int i) { return at(odd + i); })));
}

template <class A, class T = typename A::Sample>
void forwardRow(const T* src, T* low, T* high, int count, int phase) {
  if (count > 1)
    return Filter97<A>::template forwardLine<Edges::given>(src, low, high, {2 * ptrdiff_t{count}, phase});
  onePair<A>(
      phase, [=](int i) { return get(src, i); },
      [=](T l, T h) {
        put<T>(low, 0, l);
        put<T>(high, 0, h);
      });
}
template <class A, class T = typename A::Sample>
void inverseRow(const T* low, const T* high, T* dst, int count, int phase) {
  if (count > 1)
    return Filter97<A>::template inverseLine<Edges::given>(low, high, dst, {2 * ptrdiff_t{count}, phase});
  onePairBack<A>(
      phase, [=](int i) { return get(low, i); }, [=](int i) { return get(high, i); },
      [=](T even, T odd) {
        put<T>(dst, phase, even);
        put<T>(dst, 1 - phase, odd);
      });
}

template <class A, class T = typename A::Sample>
void forwardColumn(const T* src, int32_t srcStep, T* low, int32_t lowStep, T* high, int32_t highStep, MoxRoiSize roi,
                   int phase) {
  if (roi.height > 1)
    return columnKernels<Filter97<A>>.forward(src, srcStep, low, lowStep, high, highStep, roi, phase);
  for (ptrdiff_t x = 0; x < roi.width; x++)
    onePair<A>(
        phase, [=](int i) { return get(offsetBy(src, i * ptrdiff_t{srcStep}), x); },
        [=](T l, T h) {
          put<T>(low, x, l);
          put<T>(high, x, h);
        });
}
template <class A, class T = typename A::Sample>
void inverseColumn(const T* low, int32_t lowStep, const T* high, int32_t highStep, MoxRoiSize roi, T* dst,
                   int32_t dstStep, int phase) {
  if (roi.height > 1)
    return columnKernels<Filter97<A>>.inverse(low, lowStep, high, highStep, roi, dst, dstStep, phase);
  for (ptrdiff_t x = 0; x < roi.width; x++)
    onePairBack<A>(
        phase, [=](int i) { return get(offsetBy(low, i * ptrdiff_t{lowStep}), x); },
        [=](int i) { return get(offsetBy(high, i * ptrdiff_t{highStep}), x); },
        [=](T even, T odd) {
          put<T>(offsetBy(dst, phase * ptrdiff_t{dstStep}), x, even);
          put<T>(offsetBy(dst, (1 - phase) * ptrdiff_t{dstStep}), x, odd);
        });
}

template <class A, class T = typename A::Sample>
void lift(const T* even, const T* odd, const T* nextEven, T* even2Before, T* evenNow, T* odd3Before, T* odd1Before,
          T* oddNext, int count) {
  Lift<A>{even, odd, nextEven, even2Before, evenNow, odd3Before, odd1Before, oddNext}.alongAny(count);
}
template <class A, class T = typename A::Sample>
void unlift(const T* highBefore, const T* low, const T* high, T* evenNow, T* even2Before, const T* even4Before,
            T* odd1Before, T* odd3Before, int count) {
  Unlift<A>{highBefore, low, high, evenNow, even2Before, const_cast<T*>(even4Before), odd1Before, odd3Before}
      .alongAny(count);
}

}  // namespace

const Wt97Kernels wt97Kernels = {
    planeKernels<Filter97<Cut97>>,
    planeKernels<Filter97<Truncating97>>,
    {forwardRow<Wide97<Mox16s>>, inverseRow<Wide97<Mox16s>>},
    {forwardRow<Wide97<Mox32s>>, inverseRow<Wide97<Mox32s>>},
    {forwardRow<Single97>, inverseRow<Single97>},
    {forwardColumn<Single97>, inverseColumn<Single97>},
    {lift<Wide97<Mox16s>>, unlift<Wide97<Mox16s>>},
    {lift<Wide97<Mox32s>>, unlift<Wide97<Mox32s>>},
    {lift<Single97>, unlift<SingleFused97>},
};

}  // namespace mox::MOX_TARGET
