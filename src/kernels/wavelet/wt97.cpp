#include "kernels/wavelet/wt97.h"

#include "kernels/wavelet/wtplane.h"
#include "kernels/wavelet/wtvec.h"

namespace mox::MOX_TARGET {
namespace {

using namespace definition;

// Toward zero; what is beyond the range, but for what is above 2^31, becomes -2^31. On x86 that is what there is.
#if MOX_VECTOR && !defined(MOX_TARGET_IS_neon)
MOX_INLINE Lanes<Mox32s, 16> converted(Lanes<Mox32f, 16> v) { return (Lanes<Mox32s, 16>)_mm_cvttps_epi32(v); }
#if defined(__AVX2__)
MOX_INLINE Lanes<Mox32s, 32> converted(Lanes<Mox32f, 32> v) { return (Lanes<Mox32s, 32>)_mm256_cvttps_epi32(v); }
#endif
#if defined(__AVX512BW__)
MOX_INLINE Lanes<Mox32s, 64> converted(Lanes<Mox32f, 64> v) { return (Lanes<Mox32s, 64>)_mm512_cvttps_epi32(v); }
#endif
#else
MOX_INLINE Lanes<Mox32s, 16> converted(Lanes<Mox32f, 16> v) {
  const Lanes<Mox32f, 16> bound = alike<Lanes<Mox32f, 16>>(2147483648.0f), low = v > -bound ? v : -bound;
  return __builtin_convertvector(v >= bound ? -bound : low, Lanes<Mox32s, 16>);
}
#endif

// The arithmetics that there are vectors for.
template <class A, int Bytes>
struct Lanes97;

template <int Bytes>
struct Lanes97<Truncating97, Bytes> : Constants97 {
  using V = Lanes<Mox32s, Bytes>;
  using U = Lanes<uint32_t, Bytes>;
  using W = Lanes<Mox32f, Bytes>;
  static constexpr int kPairs = kLanes<V>;
  MOX_INLINE static W single(V v) { return __builtin_convertvector(v, W); }
  MOX_INLINE static W sum(V a, V b) { return single((V)((U)a + (U)b)); }
  MOX_INLINE static V truncated(W v) {
    const W bound = alike<W>(2147483648.0f);
    return v > bound ? alike<V>(INT32_MAX) : converted(v);
  }

  MOX_INLINE static W predict(V odd, V a, V b) { return single(odd) + alpha * sum(a, b); }
  MOX_INLINE static W update(V even, W a, W b) { return single(even) + beta * (a + b); }
  MOX_INLINE static W predict2(W odd, W a, W b) { return odd + gamma * (a + b); }
  MOX_INLINE static V low(W even, W a, W b) { return truncated((even + delta * (a + b)) * perK); }
  MOX_INLINE static V high(W odd) { return truncated(odd * k); }

  MOX_INLINE static W undoDelta(V low, V a, V b) { return single(low) * k - delta * (sum(a, b) * perK); }
  MOX_INLINE static W undoGamma(V high, W a, W b) { return single(high) * perK - gamma * (a + b); }
  MOX_INLINE static W undoBeta(W even, W a, W b) { return even - beta * (a + b); }
  MOX_INLINE static W undoAlpha(W odd, W a, W b) { return odd - alpha * (a + b); }
};

template <class A>
inline constexpr bool kVectors = false;
template <>
inline constexpr bool kVectors<Truncating97> = MOX_VECTOR;

// A step of the pipeline along rows that lie apart.
template <class A, class Step, class T>
MOX_INLINE void stepAlong(const Step& step, const T* written, ptrdiff_t count) {
  if constexpr (kVectors<A>)
    return eachVector(
        written, count, [&]<int Bytes>(ptrdiff_t i) { step.template lanes<Bytes>(i); },
        [&](ptrdiff_t i) { step.at(i); });
#pragma GCC ivdep
  for (ptrdiff_t i = 0; i < count; i++) step.at(i);
}

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
  template <int Bytes>
  MOX_INLINE void lanes(ptrdiff_t i) const {
    using L = Lanes97<A, Bytes>;
    using V = typename L::V;
    using W = typename L::W;
    const V e = lanesAt<V>(element(even, i));
    const W o1 = lanesAt<W>(element(odd1Before, i)), e2 = lanesAt<W>(element(even2Before, i)),
            o3 = lanesAt<W>(element(odd3Before, i));
    const W next = L::predict(lanesAt<V>(element(odd, i)), e, lanesAt<V>(element(nextEven, i)));
    const W now = L::update(e, o1, next);
    const W o = L::predict2(o1, e2, now);
    putLanes(element(oddNext, i), next);
    putLanes(element(evenNow, i), now);
    putLanes(element(odd1Before, i), o);
    putLanes(element(even2Before, i), L::low(e2, o3, o));
    putLanes(element(odd3Before, i), L::high(o3));
  }
  void along(ptrdiff_t count) const { stepAlong<A>(*this, evenNow, count); }
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
  template <int Bytes>
  MOX_INLINE void lanes(ptrdiff_t i) const {
    using L = Lanes97<A, Bytes>;
    using V = typename L::V;
    using W = typename L::W;
    const V before = lanesAt<V>(element(highBefore, i));
    const W e2 = lanesAt<W>(element(even2Before, i)), o3 = lanesAt<W>(element(odd3Before, i)),
            e4 = lanesAt<W>(offsetBy(even4Before, i * ptrdiff_t{sizeof(S)}));
    const W now = L::undoDelta(lanesAt<V>(element(low, i)), before, lanesAt<V>(element(high, i)));
    const W o1 = L::undoGamma(before, e2, now);
    const W e = L::undoBeta(e2, o3, o1);
    putLanes(element(evenNow, i), now);
    putLanes(element(odd1Before, i), o1);
    putLanes(element(even2Before, i), e);
    putLanes(element(odd3Before, i), L::truncated(L::undoAlpha(o3, e4, e)));
    putLanes(offsetBy(even4Before, i * ptrdiff_t{sizeof(S)}), L::truncated(e4));
  }
  void along(ptrdiff_t count) const { stepAlong<A>(*this, odd3Before, count); }
  void alongAny(ptrdiff_t count) const {
    const size_t bytes = static_cast<size_t>(count) * sizeof(S);
    const auto free = [&](const S* row) {
      return allApart(row, bytes, highBefore, low, high, evenNow, even2Before, even4Before, odd1Before, odd3Before);
    };
    if (free(evenNow) && free(even2Before) && free(odd1Before) && free(odd3Before)) return along(count);
    for (ptrdiff_t i = 0; i < count; i++) at(i);
  }
};

// What a block needs of the pairs before pair p, and the ends of a line of themselves.
template <class A>
struct Analysis {
  using W = typename A::Work;
  Samples<Edges::mirrored, typename A::Sample> x;
  struct At {
    W odd2Before, even1, odd1;
  };
  At at(ptrdiff_t p) const {
    const auto e2 = x.even(p - 2), e1 = x.even(p - 1), e = x.even(p), o1 = x.odd(p - 1);
    const W a2 = A::predict(x.odd(p - 2), e2, e1), a1 = A::predict(o1, e1, e),
            a = A::predict(x.odd(p), e, x.even(p + 1));
    const W b1 = A::update(e1, a2, a1), b = A::update(e, a1, a);
    return {A::predict2(a1, b1, b), b, a};
  }
};
template <class A>
struct Synthesis {
  using W = typename A::Work;
  Coefficients<Edges::mirrored, typename A::Sample> c;
  struct At {
    W odd1Before, even2, odd1, nextEven1;
  };
  At at(ptrdiff_t p) const {
    const auto h1 = c.high(p - 1), h = c.high(p);
    const W d1 = A::undoDelta(c.low(p - 1), c.high(p - 2), h1), d = A::undoDelta(c.low(p), h1, h),
            next = A::undoDelta(c.low(p + 1), h, c.high(p + 1));
    const W before = A::undoGamma(h1, d1, d), odd = A::undoGamma(h, d, next);
    return {before, A::undoBeta(d, before, odd), odd, next};
  }
};

// The first steps are ahead of the last by a pair, so that nothing is needed of the block behind but its samples.
template <class A, int Bytes>
struct ForwardBlocks : Lanes97<A, Bytes> {
  using L = Lanes97<A, Bytes>;
  using V = typename L::V;
  using W = typename L::W;
  const Analysis<A>& line;
  typename A::Sample *low, *high;
  W odd1, even1, odd2;  // of the block before

  ForwardBlocks(const Analysis<A>& l, typename A::Sample* lows, typename A::Sample* highs)
      : line(l), low(lows), high(highs) {}
  MOX_INLINE void start(ptrdiff_t p) {
    const auto at = line.at(p);
    odd1 = alike<W>(at.odd1);
    even1 = alike<W>(at.even1);
    odd2 = alike<W>(at.odd2Before);
  }
  MOX_INLINE Pairs<V> load(ptrdiff_t p) const { return pairsAt<V>(line.x.first, 2 * p + line.x.line.phase); }
  MOX_INLINE Pairs<V> beyond(ptrdiff_t p) const {
    const V even = oneBefore(alike<V>(line.x.even(p)), alike<V>(line.x.even(p + 1)));
    return {even, alike<V>(line.x.odd(p))};
  }
  MOX_INLINE void step(ptrdiff_t p, Pairs<V> x, Pairs<V> next) {
    const V even = after(x.even, next.even);
    const W nextOdd1 = L::predict(after(x.odd, next.odd), even, after<2>(x.even, next.even));
    const W atOdd1 = oneBefore(odd1, nextOdd1);
    const W nextEven1 = L::update(even, atOdd1, nextOdd1);
    const W atEven1 = oneBefore(even1, nextEven1);
    const W atOdd2 = L::predict2(atOdd1, atEven1, nextEven1);
    putLanes(element(low, p), L::low(atEven1, oneBefore(odd2, atOdd2), atOdd2));
    putLanes(element(high, p + line.x.line.phase), L::high(atOdd2));
    odd1 = nextOdd1;
    even1 = nextEven1;
    odd2 = atOdd2;
  }
};

template <class A, int Bytes>
struct InverseBlocks : Lanes97<A, Bytes> {
  using L = Lanes97<A, Bytes>;
  using V = typename L::V;
  using W = typename L::W;
  const Synthesis<A>& line;
  typename A::Sample* dst;
  W even1, odd1, even2;  // of the block before

  InverseBlocks(const Synthesis<A>& l, typename A::Sample* d) : line(l), dst(d) {}
  MOX_INLINE void start(ptrdiff_t p) {
    const auto at = line.at(p);
    even1 = alike<W>(at.nextEven1);
    odd1 = alike<W>(at.odd1);
    even2 = alike<W>(at.even2);
  }
  MOX_INLINE Pairs<V> load(ptrdiff_t p) const {
    return {lanesAt<V>(element(line.c.lows, p)), lanesAt<V>(element(line.c.highs, p + line.c.line.phase))};
  }
  MOX_INLINE Pairs<V> beyond(ptrdiff_t p) const {
    return {oneBefore(alike<V>(line.c.low(p)), alike<V>(line.c.low(p + 1))),
            oneBefore(alike<V>(line.c.high(p)), alike<V>(line.c.high(p + 1)))};
  }
  MOX_INLINE void step(ptrdiff_t p, Pairs<V> c, Pairs<V> next) {
    const V high = after(c.odd, next.odd);
    const W nextEven1 = L::undoDelta(after<2>(c.even, next.even), high, after<2>(c.odd, next.odd));
    const W nextOdd1 = L::undoGamma(high, oneBefore(even1, nextEven1), nextEven1);
    const W atOdd1 = oneBefore(odd1, nextOdd1);
    const W nextEven2 = L::undoBeta(oneBefore(even1, nextEven1), atOdd1, nextOdd1);
    const W atEven2 = oneBefore(even2, nextEven2);
    putPairs(dst, 2 * p + line.c.line.phase, L::truncated(atEven2),
             L::truncated(L::undoAlpha(atOdd1, atEven2, nextEven2)));
    even1 = nextEven1;
    odd1 = nextOdd1;
    even2 = nextEven2;
  }
};

// Whole pairs in blocks; what a line has at its ends besides is half a pair, on either side of which all is alike.
template <class A, class T = typename A::Sample>
bool forwardInBlocks(const Analysis<A>& to, T* low, T* high) {
  const Line line = to.x.line;
  const ptrdiff_t whole = line.wholePairs();
  if (!inBlocksOfAnySize(whole, [&]<int Bytes>() { return ForwardBlocks<A, Bytes>(to, low, high); })) return false;
  if (line.phase) put<T>(high, 0, A::high(to.at(0).odd2Before));
  if (whole < line.lows()) {
    const auto at = to.at(whole);
    put<T>(low, whole, A::low(at.even1, at.odd2Before, at.odd2Before));
  }
  return true;
}
template <class A, class T = typename A::Sample>
bool inverseInBlocks(const Synthesis<A>& from, T* dst) {
  const Line line = from.c.line;
  const ptrdiff_t whole = line.wholePairs();
  if (!inBlocksOfAnySize(whole, [&]<int Bytes>() { return InverseBlocks<A, Bytes>(from, dst); })) return false;
  if (line.phase) {
    const auto at = from.at(0);
    put<T>(dst, 0, A::finished(A::undoAlpha(at.odd1Before, at.even2, at.even2)));
  }
  if (whole < line.lows()) put<T>(dst, 2 * whole + line.phase, A::finished(from.at(whole).even2));
  return true;
}

template <class A>
struct Filter97 {
  using Sample = typename A::Sample;
  using T = Sample;
  using W = typename A::Work;
  static constexpr ptrdiff_t kShortest = 2;

  template <Edges How>
  static void forwardLine(const T* src, T* low, T* high, Line line) {
    if constexpr (How == Edges::mirrored && kVectors<A>)
      if (forwardInBlocks(Analysis<A>{{src, line}}, low, high)) return;
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
      const ptrdiff_t lows = std::min(to, line.lows()) - first, highs = std::min(to, line.highs() - line.phase) - from;
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
    if constexpr (How == Edges::mirrored && kVectors<A>)
      if (inverseInBlocks(Synthesis<A>{{low, high, line}}, dst)) return;
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
      eachOf(width,
             [out = state(e - 3)](ptrdiff_t i) { put<T>(out, i, A::high(get<W>(static_cast<const void*>(out), i))); });
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
        put<T>(out, i, A::finished(A::undoAlpha(get<W>(static_cast<const void*>(out), i), get<W>(a, i), get<W>(b, i))));
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
  if (count > 1) return Filter97<A>::template forwardLine<Edges::given>(src, low, high, {2 * ptrdiff_t{count}, phase});
  onePair<A>(
      phase, [=](int i) { return get(src, i); },
      [=](T l, T h) {
        put<T>(low, 0, l);
        put<T>(high, 0, h);
      });
}
template <class A, class T = typename A::Sample>
void inverseRow(const T* low, const T* high, T* dst, int count, int phase) {
  if (count > 1) return Filter97<A>::template inverseLine<Edges::given>(low, high, dst, {2 * ptrdiff_t{count}, phase});
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
  if (roi.height > 1) return columnKernels<Filter97<A>>.forward(src, srcStep, low, lowStep, high, highStep, roi, phase);
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
  if (roi.height > 1) return columnKernels<Filter97<A>>.inverse(low, lowStep, high, highStep, roi, dst, dstStep, phase);
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
  Unlift<A>{highBefore, low, high, evenNow, even2Before, const_cast<T*>(even4Before), odd1Before, odd3Before}.alongAny(
      count);
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
