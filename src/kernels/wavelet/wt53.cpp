#include "kernels/wavelet/wt53.h"

#include "kernels/wavelet/wtplane.h"
#include "kernels/wavelet/wtvec.h"

namespace mox::MOX_TARGET {
namespace {

using definition::Lifting53;

// The definition, lane by lane.
template <class T>
struct Halves;

template <>
struct Halves<Mox32s> {
  template <class U, class V>
  MOX_INLINE static U half(V a, V b) {
    return (U)((V)((U)a + (U)b) >> 1);
  }
  template <class U, class V>
  MOX_INLINE static U quarter(V a, V b) {
    return (U)((V)((U)a + (U)b + 2) >> 2);
  }
};

template <>
struct Halves<Mox16s> {
  template <class U, class V>
  MOX_INLINE static U half(V a, V b) {
    return (U)(a & b) + (U)((a ^ b) >> 1);
  }
  template <class U, class V>
  MOX_INLINE static U quarter(V a, V b) {
    const U mean = half<U>(a, b);
    return mean - (U)((V)mean >> 1);
  }
};

template <class T, int Bytes>
struct Lanes53 {
  using V = Lanes<T, Bytes>;
  using U = Lanes<std::make_unsigned_t<T>, Bytes>;
  using H = Halves<T>;
  static constexpr int kPairs = kLanes<V>;
  MOX_INLINE static V predict(V odd, V a, V b) { return (V)((U)odd - H::template half<U>(a, b)); }
  MOX_INLINE static V update(V even, V a, V b) { return (V)((U)even + H::template quarter<U>(a, b)); }
  MOX_INLINE static V undoUpdate(V low, V a, V b) { return (V)((U)low - H::template quarter<U>(a, b)); }
  MOX_INLINE static V undoPredict(V high, V a, V b) { return (V)((U)high + H::template half<U>(a, b)); }
};

// One step of the pipeline. Where a row is both in and out, each element is read before it is written.
template <class T, class F = Lifting53<T>>
inline void liftRow(const T* even, const T* odd, const T* nextEven, T* low, const T* highBefore, T* high, ptrdiff_t i) {
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

template <class T, int Bytes>
MOX_INLINE void liftLanes(const T* even, const T* odd, const T* nextEven, T* low, const T* highBefore, T* high,
                          ptrdiff_t i) {
  using L = Lanes53<T, Bytes>;
  using V = typename L::V;
  const V e = lanesAt<V>(element(even, i));
  const V h = L::predict(lanesAt<V>(element(odd, i)), e, lanesAt<V>(element(nextEven, i)));
  const V l = L::update(e, lanesAt<V>(element(highBefore, i)), h);
  putLanes(element(high, i), h);
  putLanes(element(low, i), l);
}
template <class T, int Bytes>
MOX_INLINE void unliftLanes(const T* low, const T* highBefore, const T* high, const T* evenBefore, T* odd, T* even,
                            ptrdiff_t i) {
  using L = Lanes53<T, Bytes>;
  using V = typename L::V;
  const V before = lanesAt<V>(element(highBefore, i));
  const V e = L::undoUpdate(lanesAt<V>(element(low, i)), before, lanesAt<V>(element(high, i)));
  const V o = L::undoPredict(before, lanesAt<V>(element(evenBefore, i)), e);
  putLanes(element(odd, i), o);
  putLanes(element(even, i), e);
}

template <class T>
void lift(const T* even, const T* odd, const T* nextEven, T* low, const T* highBefore, T* high, ptrdiff_t count) {
  eachVector(
      low, count, [=]<int Bytes>(ptrdiff_t i) { liftLanes<T, Bytes>(even, odd, nextEven, low, highBefore, high, i); },
      [=](ptrdiff_t i) { liftRow(even, odd, nextEven, low, highBefore, high, i); });
}
template <class T>
void unlift(const T* low, const T* highBefore, const T* high, const T* evenBefore, T* odd, T* even, ptrdiff_t count) {
  eachVector(
      even, count,
      [=]<int Bytes>(ptrdiff_t i) { unliftLanes<T, Bytes>(low, highBefore, high, evenBefore, odd, even, i); },
      [=](ptrdiff_t i) { unliftRow(low, highBefore, high, evenBefore, odd, even, i); });
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

// Coefficients and samples one by one, straight from a line.
template <class T, Edges How>
struct Analysis {
  using F = Lifting53<T>;
  Samples<How, T> x;
  T high(ptrdiff_t j) const { return F::predict(x.odd(j), x.even(j), x.even(j + 1)); }
  T low(ptrdiff_t j) const { return F::update(x.even(j), high(j - 1), high(j)); }
};
template <class T, Edges How>
struct Synthesis {
  using F = Lifting53<T>;
  Coefficients<How, T> c;
  T even(ptrdiff_t j) const { return F::undoUpdate(c.low(j), c.high(j - 1), c.high(j)); }
  T odd(ptrdiff_t j) const { return F::undoPredict(c.high(j), even(j), even(j + 1)); }
};

template <class T, Edges How, int Bytes>
struct ForwardBlocks : Lanes53<T, Bytes> {
  using L = Lanes53<T, Bytes>;
  using V = typename L::V;
  const Analysis<T, How>& line;
  T *low, *high;
  V before;  // the high coefficients of the block before

  ForwardBlocks(const Analysis<T, How>& l, T* lows, T* highs) : line(l), low(lows), high(highs) {}
  MOX_INLINE void start(ptrdiff_t p) { before = alike<V>(line.high(p - 1)); }
  MOX_INLINE Pairs<V> load(ptrdiff_t p) const { return pairsAt<V>(line.x.first, 2 * p + line.x.line.phase); }
  MOX_INLINE Pairs<V> beyond(ptrdiff_t p) const { return {alike<V>(line.x.even(p)), V{}}; }
  MOX_INLINE void step(ptrdiff_t p, Pairs<V> x, Pairs<V> next) {
    const V h = L::predict(x.odd, x.even, after(x.even, next.even));
    putLanes(element(high, p + line.x.line.phase), h);
    putLanes(element(low, p), L::update(x.even, oneBefore(before, h), h));
    before = h;
  }
};

template <class T, Edges How, int Bytes>
struct InverseBlocks : Lanes53<T, Bytes> {
  using L = Lanes53<T, Bytes>;
  using V = typename L::V;
  const Synthesis<T, How>& line;
  T* dst;
  V before;  // the high coefficients of the block before

  InverseBlocks(const Synthesis<T, How>& l, T* d) : line(l), dst(d) {}
  MOX_INLINE void start(ptrdiff_t p) { before = alike<V>(line.c.high(p - 1)); }
  MOX_INLINE Pairs<V> load(ptrdiff_t p) {
    const V h = lanesAt<V>(element(line.c.highs, p + line.c.line.phase));
    const V e = L::undoUpdate(lanesAt<V>(element(line.c.lows, p)), oneBefore(before, h), h);
    before = h;
    return {e, h};
  }
  MOX_INLINE Pairs<V> beyond(ptrdiff_t p) const { return {alike<V>(line.even(p)), V{}}; }
  MOX_INLINE void step(ptrdiff_t p, Pairs<V> x, Pairs<V> next) const {
    putPairs(dst, 2 * p + line.c.line.phase, x.even, L::undoPredict(x.odd, x.even, after(x.even, next.even)));
  }
};

template <class T>
struct Filter53 {
  using Sample = T;
  using F = Lifting53<T>;
  static constexpr ptrdiff_t kShortest = 3;  // shorter lines have rules of their own

  template <Edges How>
  static void forwardLine(const T* src, T* low, T* high, Line line) {
    const Analysis<T, How> to{{src, line}};
    const ptrdiff_t whole = line.wholePairs();
    if (line.phase) put<T>(high, 0, to.high(-1));
    if (!forwardInBlocks<How>(to, low, high))
      for (ptrdiff_t j = 0; j < whole; j++) {
        put<T>(low, j, to.low(j));
        put<T>(high, j + line.phase, to.high(j));
      }
    if (whole < line.lows()) put<T>(low, whole, to.low(whole));
  }

  template <Edges How>
  static void inverseLine(const T* low, const T* high, T* dst, Line line) {
    const Synthesis<T, How> from{{low, high, line}};
    const ptrdiff_t whole = line.wholePairs();
    if (line.phase) put<T>(dst, 0, from.odd(-1));
    if (!inverseInBlocks<How>(from, dst))
      for (ptrdiff_t j = 0; j < whole; j++) {
        put<T>(dst, 2 * j + line.phase, from.even(j));
        put<T>(dst, 2 * j + line.phase + 1, from.odd(j));
      }
    if (whole < line.lows()) put<T>(dst, 2 * whole + line.phase, from.even(whole));
  }

  template <Edges How>
  static bool forwardInBlocks(const Analysis<T, How>& line, T* low, T* high) {
    return inBlocksOfAnySize(line.x.line.wholePairs(),
                             [&]<int Bytes>() { return ForwardBlocks<T, How, Bytes>(line, low, high); });
  }
  template <Edges How>
  static bool inverseInBlocks(const Synthesis<T, How>& line, T* dst) {
    return inBlocksOfAnySize(line.c.line.wholePairs(),
                             [&]<int Bytes>() { return InverseBlocks<T, How, Bytes>(line, dst); });
  }

  template <Edges How, class Rows>
  static void forwardColumns(const Rows& rows, ptrdiff_t count, int phase, ptrdiff_t width) {
    const Column<How> column{count};
    const ptrdiff_t begin = firstEven(How == Edges::given ? -2 : -1, phase);
    for (ptrdiff_t e = begin; e - 1 < count; e += 2) {
      rows.need(e + 2);
      if (e >= 1 && e + 2 < count) {
        lift<T>(rows.in(e), rows.in(e + 1), rows.in(e + 2), rows.state(e), rows.state(e - 1), rows.state(e + 1), width);
      } else {
        if (column.has(e + 1, 1))
          alongRow<T>(rows.state(e + 1), width, F::predict, rows.in(e + 1), rows.in(column(e)), rows.in(column(e + 2)));
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
          alongRow<T>(rows.state(e), width, F::undoUpdate, rows.in(e), rows.in(column(e - 1)), rows.in(column(e + 1)));
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
  static const T* constant(const T* row) { return row; }
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
