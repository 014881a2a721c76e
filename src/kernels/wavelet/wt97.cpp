// The irreversible 9/7 wavelet on planes, rows, columns and single steps.
//
// The naive filter goes over a line five times: four lifting steps and a scaling. Here a step of the pipeline takes in
// one pair of samples and does each lifting step once, a pair further back each time, so that one pass over memory is
// enough. Down the columns, the rows at the even row e hold the following (names of lifting97.h) before and after the
// step:
//
//   row       e - 4   e - 3    e - 2    e - 1    e        e + 1    e + 2
//   forward           G -> H   B -> L   A -> G   x -> B   x -> A   x          rows e - 3 and e - 2 are finished
//   inverse   E -> x  C -> x   D -> E   H -> C   L -> D   H                   rows e - 4 and e - 3 are finished
//
// (E is x already, but still Work, where that is not what the rows hold.) The same steps serve
//   rows of planes of 32s   in vectors of pairs (lines.h)
//   columns                 in vectors of columns where the arithmetic has them, else by the compiler's vectoriser
//   the exported steps
// Rows at the ends of a column, which lack neighbours, are lifted one step after another, and so are rows whose
// arithmetic changes the width of the elements on the way (pieces.h).
#include "kernels/wavelet/lifting97.h"
#include "kernels/wavelet/pieces.h"
#include "kernels/wavelet/plane.h"

namespace mox::MOX_TARGET {
namespace {

// What the pipelines keep from one step to the next, and the step. k counts pairs of samples.
template <class A, class X>
struct Forward97 {
  using W = Like<typename A::Work, X>;
  static constexpr int kAhead = 1, kWarmUp = 3;
  W a, b, g;  // A(2k - 1), B(2k - 2), G(2k - 3)

  template <class State>
  MOX_INLINE static Forward97 all(const State& s) {
    return {MOX_TARGET::all<W>(s.a), MOX_TARGET::all<W>(s.b), MOX_TARGET::all<W>(s.g)};
  }
  // Takes in x(2k), x(2k + 1) and x(2k + 2), and returns L(k - 1); H(k - 1) is A::high(g).
  template <LanesAre What>
  MOX_INLINE X lift(X even, X odd, X nextEven) {
    const W nextA = A::predict(odd, even, nextEven), lastA = before<What>(a, nextA);
    const W nextB = A::update(even, lastA, nextA), lastB = before<What>(b, nextB);
    const W nextG = A::predict2(lastA, lastB, nextB), lastG = before<What>(g, nextG);
    a = nextA, b = nextB, g = nextG;
    return A::low(lastB, lastG, nextG);
  }
  MOX_INLINE LowHigh<X> step(X even, X odd, X nextEven) {
    const X low = lift<LanesAre::pairs>(even, odd, nextEven);
    return {low, A::high(g)};
  }
};

template <class A, class X>
struct Inverse97 {
  using W = Like<typename A::Work, X>;
  static constexpr int kAhead = 2, kWarmUp = 3;
  W d, c, e;  // D(2k - 2), C(2k - 3), E(2k - 4)

  template <class State>
  MOX_INLINE static Inverse97 all(const State& s) {
    return {MOX_TARGET::all<W>(s.d), MOX_TARGET::all<W>(s.c), MOX_TARGET::all<W>(s.e)};
  }
  X even() const { return A::finished(e); }
  // Takes in H(k - 1), L(k) and H(k), and returns x(2k - 4) and x(2k - 3).
  template <LanesAre What = LanesAre::pairs>
  MOX_INLINE EvenOdd<X> step(X highBefore, X low, X high) {
    const W nextD = A::undoDelta(low, highBefore, high), lastD = before<What>(d, nextD);
    const W nextC = A::undoGamma(highBefore, lastD, nextD), lastC = before<What>(c, nextC);
    const W nextE = A::undoBeta(lastD, lastC, nextC), lastE = before<What>(e, nextE);
    d = nextD, c = nextC, e = nextE;
    return {A::finished(lastE), A::finished(A::undoAlpha(lastC, lastE, nextE))};
  }
};

// The steps on rows, named by their positions. Each element is read before it is written.
template <class A>
struct ForwardRows97 {
  using Sample = typename A::Sample;
  static constexpr bool kVectors = A::kVectors;
  static constexpr size_t kRead = 3;

  const Sample *even, *odd, *nextEven;
  Sample *oddNext, *evenNow, *odd1Before, *even2Before, *odd3Before;

  std::array<const void*, 8> rows() const {
    return {even, odd, nextEven, oddNext, evenNow, odd1Before, even2Before, odd3Before};
  }
  const Sample* target() const { return evenNow; }
  template <class X>
  MOX_INLINE void lift(ptrdiff_t i) const {
    using State = Forward97<A, X>;
    using W = typename State::W;
    const W lastG = at<W>(odd3Before, i);
    State state{at<W>(odd1Before, i), at<W>(even2Before, i), lastG};
    const X low = state.template lift<LanesAre::columns>(at<X>(even, i), at<X>(odd, i), at<X>(nextEven, i));
    putAt(oddNext, i, state.a);
    putAt(evenNow, i, state.b);
    putAt(odd1Before, i, state.g);
    putAt(even2Before, i, low);
    putAt(odd3Before, i, A::high(lastG));
  }
};

template <class A>
struct InverseRows97 {
  using Sample = typename A::Sample;
  static constexpr bool kVectors = A::kVectors;
  static constexpr size_t kRead = 4;

  const Sample *highBefore, *low, *high, *even4Before;
  Sample *evenNow, *odd1Before, *even2Before, *odd3Before;
  Sample* even4Finished;  // the same as even4Before; only where Work is not what rows hold

  std::array<const void*, 8> rows() const {
    return {highBefore, low, high, even4Before, evenNow, odd1Before, even2Before, odd3Before};
  }
  const Sample* target() const { return odd3Before; }
  template <class X>
  MOX_INLINE void lift(ptrdiff_t i) const {
    using State = Inverse97<A, X>;
    using W = typename State::W;
    State state{at<W>(even2Before, i), at<W>(odd3Before, i), at<W>(even4Before, i)};
    const EvenOdd<X> out = state.template step<LanesAre::columns>(at<X>(highBefore, i), at<X>(low, i), at<X>(high, i));
    putAt(evenNow, i, state.d);
    putAt(odd1Before, i, state.c);
    putAt(even2Before, i, state.e);
    putAt(odd3Before, i, out.odd);
    if constexpr (!std::is_same_v<X, W>) putAt(even4Finished, i, out.even);
  }
};

template <class A>
struct Filter97 {
  using Sample = typename A::Sample;
  using T = Sample;
  using W = typename A::Work;
  template <class X>
  using Forward = Forward97<A, X>;
  template <class X>
  using Inverse = Inverse97<A, X>;
  static constexpr ptrdiff_t kShortest = 2;
  static constexpr bool kPastCaches = kHasStorePast && VMax::kBytes == 64;  // in narrower vectors arithmetic limits it

  // The lifting steps as operations on elements.
  static constexpr auto predict = [](T odd, T a, T b) -> W { return A::predict(odd, a, b); };
  static constexpr auto update = [](T even, W a, W b) -> W { return A::update(even, a, b); };
  static constexpr auto predict2 = [](W odd, W a, W b) -> W { return A::predict2(odd, a, b); };
  static constexpr auto low = [](W even, W a, W b) -> T { return A::low(even, a, b); };
  static constexpr auto high = [](W odd) -> T { return A::high(odd); };
  static constexpr auto undoDelta = [](T low, T a, T b) -> W { return A::undoDelta(low, a, b); };
  static constexpr auto undoGamma = [](T high, W a, W b) -> W { return A::undoGamma(high, a, b); };
  static constexpr auto undoBeta = [](W even, W a, W b) -> W { return A::undoBeta(even, a, b); };
  static constexpr auto undoAlpha = [](W odd, W a, W b) -> T { return A::finished(A::undoAlpha(odd, a, b)); };
  static constexpr auto finished = [](W v) -> T { return A::finished(v); };

  template <Edges How>
  static void forwardLine(const T* src, T* lows, T* highs, Line line) {
    const Samples<How, T> x{src, line};
    if constexpr (A::kVectors) return ForwardLine<Filter97, How>{x, lows, highs}.run();
    HalfPiece<T> even, odd;
    HalfPiece<W> lifted, liftedOdd;
    eachPiece(line, [&](ptrdiff_t from, ptrdiff_t to) {
      const ptrdiff_t first = std::max<ptrdiff_t>(from, 0), pairs = to - first;
      // Element 0 is the second pair before `first`.
      loadPiece(x, first - 2, to + 1, even, odd);
      alongRow<W>(liftedOdd, pairs + 3, predict, odd, even, even + 1);
      alongRow<W>(lifted + 1, pairs + 2, update, even + 1, liftedOdd, liftedOdd + 1);
      alongRow<W>(liftedOdd + 1, pairs + 1, predict2, liftedOdd + 1, lifted + 1, lifted + 2);
      const ptrdiff_t lowCount = std::min(to, line.lows()) - first;
      alongRow<T>(element(lows, first), lowCount, low, lifted + 2, liftedOdd + 1, liftedOdd + 2);
      const ptrdiff_t highCount = std::min(to, line.highs() - line.phase) - from;
      alongRow<T>(element(highs, from + line.phase), highCount, high, liftedOdd + (from - first + 2));
    });
  }

  template <Edges How>
  static void inverseLine(const T* lows, const T* highs, T* dst, Line line) {
    const Coefficients<How, T> c{lows, highs, line};
    if constexpr (A::kVectors) return InverseLine<Filter97, How>{c, dst}.run();
    HalfPiece<T> low, highFromBefore;
    HalfPiece<W> even, odd;
    eachPiece(line, [&](ptrdiff_t from, ptrdiff_t to) {
      const ptrdiff_t end = std::max(std::min(to, line.lows()), std::min(to, line.highs() - line.phase) + 1);
      const ptrdiff_t pairs = end - from;
      // Element 0 is the pair before `from`; of the high coefficients the one before that.
      const auto oneLow = [&](ptrdiff_t p) { return c.low(p); };
      const auto oneHigh = [&](ptrdiff_t p) { return c.high(p); };
      loadBand<How>(lows, 0, line.lows(), oneLow, from - 1, end + 1, low);
      loadBand<How>(highs, -line.phase, line.highs() - line.phase, oneHigh, from - 2, end + 1, highFromBefore);
      const T* const high = highFromBefore + 1;
      alongRow<W>(even, pairs + 2, undoDelta, low, high - 1, high);
      alongRow<W>(odd, pairs + 1, undoGamma, high, even, even + 1);
      alongRow<W>(even + 1, pairs, undoBeta, even + 1, odd, odd + 1);
      const W* const e = even + 1;
      const W* const o = odd + 1;
      storePiece(
          dst, line, from, to, [=](ptrdiff_t p) { return finished(e[p - from]); },
          [=](ptrdiff_t p) { return undoAlpha(o[p - from], e[p - from], e[p - from + 1]); });
    });
  }

  template <Edges How, RowPipeline<T> Rows>
  static void forwardColumns(const Rows& rows, Line line, ptrdiff_t width) {
    const Column<How> column{line.count};
    for (ptrdiff_t e = firstEven(How == Edges::given ? -4 : -1, line.phase); e - 3 < line.count; e += 2) {
      rows.need(e + 2);
      if (e >= 3 && e + 2 < line.count)
        alongRows(ForwardRows97<A>{.even = rows.in(e),
                                   .odd = rows.in(e + 1),
                                   .nextEven = rows.in(e + 2),
                                   .oddNext = rows.state(e + 1),
                                   .evenNow = rows.state(e),
                                   .odd1Before = rows.state(e - 1),
                                   .even2Before = rows.state(e - 2),
                                   .odd3Before = rows.state(e - 3)},
                  width);
      else
        forwardEdge(rows, column, e, width);
      if (column.has(e - 3, 0)) rows.done(e - 3);
      if (column.has(e - 2, 0)) rows.done(e - 2);
    }
  }

  // The same step, as far as there are rows.
  template <Edges How, class Rows>
  static void forwardEdge(const Rows& rows, Column<How> column, ptrdiff_t e, ptrdiff_t width) {
    const auto in = [&](ptrdiff_t i) { return RowOf<T>{rows.in(column(i))}; };
    const auto work = [&](ptrdiff_t i) { return RowOf<W>{rows.state(column(i))}; };
    if (column.has(e + 1, 3)) alongRow<W>(rows.state(e + 1), width, predict, in(e + 1), in(e), in(e + 2));
    if (column.has(e, 2)) alongRow<W>(rows.state(e), width, update, in(e), work(e - 1), work(e + 1));
    if (column.has(e - 1, 1)) alongRow<W>(rows.state(e - 1), width, predict2, work(e - 1), work(e - 2), work(e));
    if (column.has(e - 2, 0)) alongRow<T>(rows.state(e - 2), width, low, work(e - 2), work(e - 3), work(e - 1));
    if (column.has(e - 3, 0)) alongRow<T>(rows.state(e - 3), width, high, work(e - 3));
  }

  template <Edges How, RowPipeline<T> Rows>
  static void inverseColumns(const Rows& rows, Line line, ptrdiff_t width) {
    const Column<How> column{line.count};
    for (ptrdiff_t e = firstEven(How == Edges::given ? -3 : -1, line.phase); e - 4 < line.count; e += 2) {
      rows.need(e + 1);
      if (e >= 4 && e + 1 < line.count)
        alongRows(InverseRows97<A>{.highBefore = rows.in(e - 1),
                                   .low = rows.in(e),
                                   .high = rows.in(e + 1),
                                   .even4Before = rows.state(e - 4),
                                   .evenNow = rows.state(e),
                                   .odd1Before = rows.state(e - 1),
                                   .even2Before = rows.state(e - 2),
                                   .odd3Before = rows.state(e - 3),
                                   .even4Finished = rows.state(e - 4)},
                  width);
      else
        inverseEdge(rows, column, e, width);
      if (column.has(e - 4, 0)) rows.done(e - 4);
      if (column.has(e - 3, 0)) rows.done(e - 3);
    }
  }

  template <Edges How, class Rows>
  static void inverseEdge(const Rows& rows, Column<How> column, ptrdiff_t e, ptrdiff_t width) {
    const auto in = [&](ptrdiff_t i) { return RowOf<T>{rows.in(column(i))}; };
    const auto work = [&](ptrdiff_t i) { return RowOf<W>{rows.state(column(i))}; };
    if (column.has(e, 3)) alongRow<W>(rows.state(e), width, undoDelta, in(e), in(e - 1), in(e + 1));
    if (column.has(e - 1, 2)) alongRow<W>(rows.state(e - 1), width, undoGamma, in(e - 1), work(e - 2), work(e));
    if (column.has(e - 2, 1)) alongRow<W>(rows.state(e - 2), width, undoBeta, work(e - 2), work(e - 3), work(e - 1));
    if (column.has(e - 3, 0)) alongRow<T>(rows.state(e - 3), width, undoAlpha, work(e - 3), work(e - 4), work(e - 2));
    if constexpr (!std::is_same_v<T, W>)
      if (column.has(e - 4, 0)) alongRow<T>(rows.state(e - 4), width, finished, work(e - 4));
  }

  // Lines of two samples need no special case.
  static void forwardPair(const T*, const T*, T*, T*, ptrdiff_t) {}
  static void inversePair(const T*, const T*, T*, T*, ptrdiff_t) {}
};

// ---- Given edges: lines with one coefficient in each band go through the filters as wholes -------------------------

// For `width` columns; a row is a column whose rows are its elements.
template <class A, class T = typename A::Sample>
void forwardWhole(Plane<const T> samples, T* low, T* high, ptrdiff_t width, int phase) {
  using Weights = AnalysisWeights<typename A::Weight>;
  for (ptrdiff_t x = 0; x < width; x++) {
    const auto around = [&](ptrdiff_t centre) { return [=](int i) { return get(samples.row(centre + i), x); }; };
    const T l = A::ofWeighted(weighted(Weights::low, around(phase)));
    const T h = A::ofWeighted(weighted(Weights::high, around(1 - phase)));
    put(low, x, l);
    put(high, x, h);
  }
}
template <class A, class T = typename A::Sample>
void inverseWhole(Plane<const T> lows, Plane<const T> highs, Plane<T> samples, ptrdiff_t width, int phase) {
  using Weights = SynthesisWeights<typename A::Weight>;
  for (ptrdiff_t x = 0; x < width; x++) {
    const auto around = [&](ptrdiff_t centre) {
      return [=](int distance) {
        const ptrdiff_t i = centre + distance;
        return get((i + phase) & 1 ? highs.row((i - 1 + phase) >> 1) : lows.row((i - phase) >> 1), x);
      };
    };
    const T even = A::ofWeighted(weighted(Weights::even, around(phase)));
    const T odd = A::ofWeighted(weighted(Weights::odd, around(1 - phase)));
    put(samples.row(phase), x, even);
    put(samples.row(1 - phase), x, odd);
  }
}

template <class A, class T = typename A::Sample>
void forwardRow(const T* src, T* low, T* high, int count, int phase) {
  if (count > 1) return Filter97<A>::template forwardLine<Edges::given>(src, low, high, {2 * ptrdiff_t{count}, phase});
  forwardWhole<A>({src, sizeof(T)}, low, high, 1, phase);
}
template <class A, class T = typename A::Sample>
void inverseRow(const T* low, const T* high, T* dst, int count, int phase) {
  if (count > 1) return Filter97<A>::template inverseLine<Edges::given>(low, high, dst, {2 * ptrdiff_t{count}, phase});
  inverseWhole<A>({low, sizeof(T)}, {high, sizeof(T)}, {dst, sizeof(T)}, 1, phase);
}

template <class A, class T = typename A::Sample>
void forwardColumn(const T* src, int32_t srcStep, T* low, int32_t lowStep, T* high, int32_t highStep, MoxRoiSize roi,
                   int phase) {
  if (roi.height > 1) return columnKernels<Filter97<A>>.forward(src, srcStep, low, lowStep, high, highStep, roi, phase);
  forwardWhole<A>({src, srcStep}, low, high, roi.width, phase);
}
template <class A, class T = typename A::Sample>
void inverseColumn(const T* low, int32_t lowStep, const T* high, int32_t highStep, MoxRoiSize roi, T* dst,
                   int32_t dstStep, int phase) {
  if (roi.height > 1) return columnKernels<Filter97<A>>.inverse(low, lowStep, high, highStep, roi, dst, dstStep, phase);
  inverseWhole<A>({low, lowStep}, {high, highStep}, {dst, dstStep}, roi.width, phase);
}

template <class A, class T = typename A::Sample>
void forwardLift(const T* even, const T* odd, const T* nextEven, T* even2Before, T* evenNow, T* odd3Before,
                 T* odd1Before, T* oddNext, int count) {
  alongAnyRows(ForwardRows97<A>{even, odd, nextEven, oddNext, evenNow, odd1Before, even2Before, odd3Before}, count);
}
template <class A, class T = typename A::Sample>
void inverseLift(const T* highBefore, const T* low, const T* high, T* evenNow, T* even2Before, const T* even4Before,
                 T* odd1Before, T* odd3Before, int count) {
  alongAnyRows(InverseRows97<A>{highBefore, low, high, even4Before, evenNow, odd1Before, even2Before, odd3Before, {}},
               count);
}

using Floats = Lifting97<Float>;
using FloatSteps = Lifting97<FloatStep>;
using Rows16 = Lifting97<Row16>;
using Rows32 = Lifting97<Row32>;

}  // namespace

const Wt97Kernels wt97Kernels = {
    .plane16s = planeKernels<Filter97<Lifting97<Plane16>>>,
    .plane32s = planeKernels<Filter97<Lifting97<Plane32>>>,
    .row16s = {.forward = forwardRow<Rows16>, .inverse = inverseRow<Rows16>},
    .row32s = {.forward = forwardRow<Rows32>, .inverse = inverseRow<Rows32>},
    .row32f = {.forward = forwardRow<Floats>, .inverse = inverseRow<Floats>},
    .column32f = {.forward = forwardColumn<Floats>, .inverse = inverseColumn<Floats>},
    .lift16s = {.forward = forwardLift<Rows16>, .inverse = inverseLift<Rows16>},
    .lift32s = {.forward = forwardLift<Rows32>, .inverse = inverseLift<Rows32>},
    .lift32f = {.forward = forwardLift<Floats>, .inverse = inverseLift<FloatSteps>},
};

}  // namespace mox::MOX_TARGET
