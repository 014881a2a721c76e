// The reversible 5/3 wavelet on planes, rows, columns and single steps.
//
// The naive filter goes over a line twice, once for each lifting step. Here both steps are taken at once, in
// registers: as soon as H(k) is there, L(k) is, which needs H(k - 1) besides; on the way back x(2k), and with x(2k - 2)
// the sample between, x(2k - 1). That is one step of the pipelines below. Down the columns, at the even row e = 2k:
//
//   row       e - 2   e - 1     e        e + 1    e + 2
//   forward           H(k-1)    x -> L   x -> H   x        rows e - 1 and e are finished
//   inverse   x       H -> x    L -> x   H(k)              rows e - 1 and e are finished
//
// Only the rows at the ends of a column, which lack neighbours, are lifted one step after another.
#include "kernels/wavelet/lifting53.h"
#include "kernels/wavelet/plane.h"

namespace mox::MOX_TARGET {
namespace {

// What the pipelines keep from one step to the next, and the step.
template <class A, class X>
struct Forward53 {
  static constexpr int kAhead = 0, kWarmUp = 1;
  X high;  // H(k - 1)

  template <class State>
  MOX_INLINE static Forward53 all(const State& s) {
    return {MOX_TARGET::all<X>(s.high)};
  }
  template <LanesAre What = LanesAre::pairs>
  MOX_INLINE LowHigh<X> step(X even, X odd, X nextEven) {
    const X h = A::predict(odd, even, nextEven);
    const X l = A::update(even, before<What>(high, h), h);
    high = h;
    return {l, h};
  }
};

template <class A, class X>
struct Inverse53 {
  static constexpr int kAhead = 1, kWarmUp = 1;
  X sample;  // x(2k - 2)

  template <class State>
  MOX_INLINE static Inverse53 all(const State& s) {
    return {MOX_TARGET::all<X>(s.sample)};
  }
  X even() const { return sample; }
  template <LanesAre What = LanesAre::pairs>
  MOX_INLINE EvenOdd<X> step(X highBefore, X low, X high) {
    const X now = A::undoUpdate(low, highBefore, high), last = before<What>(sample, now);
    sample = now;
    return {last, A::undoPredict(highBefore, last, now)};
  }
};

// The steps on rows.
template <class A, class T = typename A::Sample>
struct ForwardRows53 {
  using Sample = T;
  static constexpr bool kVectors = true;
  static constexpr size_t kRead = 4;

  const T *even, *odd, *nextEven, *highBefore;
  T *low, *high;

  std::array<const void*, 6> rows() const { return {even, odd, nextEven, highBefore, low, high}; }
  const T* target() const { return low; }
  template <class X>
  MOX_INLINE void lift(ptrdiff_t i) const {
    Forward53<A, X> state{at<X>(highBefore, i)};
    const LowHigh<X> out = state.template step<LanesAre::columns>(at<X>(even, i), at<X>(odd, i), at<X>(nextEven, i));
    putAt(high, i, out.high);
    putAt(low, i, out.low);
  }
};

template <class A, class T = typename A::Sample>
struct InverseRows53 {
  using Sample = T;
  static constexpr bool kVectors = true;
  static constexpr size_t kRead = 4;

  const T *highBefore, *low, *high, *evenBefore;
  T *odd, *even;

  std::array<const void*, 6> rows() const { return {highBefore, low, high, evenBefore, odd, even}; }
  const T* target() const { return even; }
  template <class X>
  MOX_INLINE void lift(ptrdiff_t i) const {
    Inverse53<A, X> state{at<X>(evenBefore, i)};
    const EvenOdd<X> out = state.template step<LanesAre::columns>(at<X>(highBefore, i), at<X>(low, i), at<X>(high, i));
    putAt(odd, i, out.odd);
    putAt(even, i, state.sample);
  }
};

template <class A>
struct Filter53 {
  using Sample = typename A::Sample;
  using T = Sample;
  template <class X>
  using Forward = Forward53<A, X>;
  template <class X>
  using Inverse = Inverse53<A, X>;
  static constexpr ptrdiff_t kShortest = 3;  // shorter lines are special cases
  static constexpr bool kPastCaches = kHasStorePast;

  template <Edges How>
  static void forwardLine(const T* src, T* low, T* high, Line line) {
    ForwardLine<Filter53, How>{{src, line}, low, high}.run();
  }
  template <Edges How>
  static void inverseLine(const T* low, const T* high, T* dst, Line line) {
    InverseLine<Filter53, How>{{low, high, line}, dst}.run();
  }

  template <Edges How, RowPipeline<T> Rows>
  static void forwardColumns(const Rows& rows, Line line, ptrdiff_t width) {
    const Column<How> column{line.count};
    const auto in = [&](ptrdiff_t i) { return RowOf<T>{rows.in(column(i))}; };
    const auto state = [&](ptrdiff_t i) { return RowOf<T>{rows.state(column(i))}; };
    for (ptrdiff_t e = firstEven(How == Edges::given ? -2 : -1, line.phase); e - 1 < line.count; e += 2) {
      rows.need(e + 2);
      if (e >= 1 && e + 2 < line.count) {
        forwardRows(rows.in(e), rows.in(e + 1), rows.in(e + 2), rows.state(e - 1), rows.state(e), rows.state(e + 1),
                    width);
      } else {
        if (column.has(e + 1, 1))
          alongRow<T>(rows.state(e + 1), width, A::template predict<T>, in(e + 1), in(e), in(e + 2));
        if (column.has(e, 0))
          alongRow<T>(rows.state(e), width, A::template update<T>, in(e), state(e - 1), state(e + 1));
      }
      if (column.has(e - 1, 0)) rows.done(e - 1);
      if (column.has(e, 0)) rows.done(e);
    }
  }

  template <Edges How, RowPipeline<T> Rows>
  static void inverseColumns(const Rows& rows, Line line, ptrdiff_t width) {
    const Column<How> column{line.count};
    const auto in = [&](ptrdiff_t i) { return RowOf<T>{rows.in(column(i))}; };
    const auto state = [&](ptrdiff_t i) { return RowOf<T>{rows.state(column(i))}; };
    for (ptrdiff_t e = firstEven(-1, line.phase); e - 1 < line.count; e += 2) {
      rows.need(e + 1);
      if (e >= 2 && e + 1 < line.count) {
        inverseRows(rows.in(e - 1), rows.in(e), rows.in(e + 1), rows.state(e - 2), rows.state(e - 1), rows.state(e),
                    width);
      } else {
        if (column.has(e, 1)) alongRow<T>(rows.state(e), width, A::template undoUpdate<T>, in(e), in(e - 1), in(e + 1));
        if (column.has(e - 1, 0))
          alongRow<T>(rows.state(e - 1), width, A::template undoPredict<T>, in(e - 1), state(e - 2), state(e));
      }
      if (column.has(e - 1, 0)) rows.done(e - 1);
      if (column.has(e, 0)) rows.done(e);
    }
  }

  [[gnu::noinline]] static void forwardRows(const T* even, const T* odd, const T* nextEven, const T* highBefore, T* low,
                                            T* high, ptrdiff_t width) {
    alongRows(ForwardRows53<A>{even, odd, nextEven, highBefore, low, high}, width);
  }
  [[gnu::noinline]] static void inverseRows(const T* highBefore, const T* low, const T* high, const T* evenBefore,
                                            T* odd, T* even, ptrdiff_t width) {
    alongRows(InverseRows53<A>{highBefore, low, high, evenBefore, odd, even}, width);
  }

  // Two samples: elements of `even` and `odd` become those of `low` and `high`, which may be the same rows crosswise.
  static void forwardPair(const T* even, const T* odd, T* low, T* high, ptrdiff_t count) {
    for (ptrdiff_t i = 0; i < count; i++) {
      const T e = get(even, i), d = A::difference(e, get(odd, i));
      put(low, i, A::lowOfPair(e, d));
      put(high, i, d);
    }
  }
  static void inversePair(const T* low, const T* high, T* even, T* odd, ptrdiff_t count) {
    for (ptrdiff_t i = 0; i < count; i++) {
      const T d = get(high, i), e = A::evenOfPair(get(low, i), d);
      put(even, i, e);
      put(odd, i, A::oddOfPair(e, d));
    }
  }
};

template <class T>
using Filter = Filter53<Lifting53Of<T>>;

template <class T>
constexpr WtRowKernels<T> rowKernels = {
    .forward =
        [](const T* src, T* low, T* high, int count, int phase) {
          Filter<T>::template forwardLine<Edges::given>(src, low, high, {2 * ptrdiff_t{count}, phase});
        },
    .inverse =
        [](const T* low, const T* high, T* dst, int count, int phase) {
          Filter<T>::template inverseLine<Edges::given>(low, high, dst, {2 * ptrdiff_t{count}, phase});
        },
};

template <class T>
constexpr Wt53LiftKernels<T> liftKernels = {
    .forward =
        [](const T* even, const T* odd, const T* nextEven, T* low, const T* highBefore, T* high, int count) {
          alongAnyRows(ForwardRows53<Lifting53Of<T>>{even, odd, nextEven, highBefore, low, high}, count);
        },
    .inverse =
        [](const T* low, const T* highBefore, const T* high, const T* evenBefore, T* odd, T* even, int count) {
          alongAnyRows(InverseRows53<Lifting53Of<T>>{highBefore, low, high, evenBefore, odd, even}, count);
        },
};

}  // namespace

const Wt53Kernels wt53Kernels = {
    .plane16s = planeKernels<Filter<Mox16s>>,
    .plane32s = planeKernels<Filter<Mox32s>>,
    .row16s = rowKernels<Mox16s>,
    .row32s = rowKernels<Mox32s>,
    .column16s = columnKernels<Filter<Mox16s>>,
    .column32s = columnKernels<Filter<Mox32s>>,
    .lift16s = liftKernels<Mox16s>,
    .lift32s = liftKernels<Mox32s>,
};

}  // namespace mox::MOX_TARGET
