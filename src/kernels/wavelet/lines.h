// Lines: mirrored edges, and the lifting steps of a filter along a line.
//
// A line is filtered by pairs: pair p is the sample at the even coordinate, position 2p + phase, and the one after it.
// At phase 1 the line begins with the odd half of pair -1. A vector takes as many pairs as it has lanes, a block, and
// all lifting steps of a block are done in registers: what a step needs of the pair before comes from the lane before,
// or from the last lane of the block before.
#pragma once

#include <algorithm>

#include "kernels/wavelet/lanes.h"
#include "kernels/wavelet/wt.h"

namespace mox::MOX_TARGET {

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
  T even(ptrdiff_t p) const { return sample(2 * p + line.phase); }
  T odd(ptrdiff_t p) const { return sample(2 * p + line.phase + 1); }

 private:
  T sample(ptrdiff_t i) const { return get(first, position<How>(i, line.count)); }
};
template <Edges How, class T>
struct Coefficients {
  const T *lows, *highs;
  Line line;
  T low(ptrdiff_t p) const { return get(lows, (coordinate(2 * p) - line.phase) >> 1); }
  T high(ptrdiff_t p) const { return get(highs, (coordinate(2 * p + 1) - 1 + line.phase) >> 1); }

 private:
  ptrdiff_t coordinate(ptrdiff_t i) const { return position<How>(i + line.phase, line.count); }
};

// ---- A filter along a line -----------------------------------------------------------------------------------------
//
// A Filter has the state of its lifting steps as Filter::Forward<X> and Filter::Inverse<X>, over X, an element or a
// vector, with
//   step(...)       takes in one pair and finishes the one kAhead pairs before it
//   all(state)      the state of an element in all lanes
//   kWarmUp         the number of steps after which a state no longer depends on its start

// Filters the first `pairs` pairs of a line block by block; the last block is moved back to end there, which computes
// some pairs twice, with the same results. The last block has no next one to read, so it extends the line past its end.
// Returns false, with nothing done, if the line is shorter than a block.
template <class Blocks>
MOX_INLINE bool inBlocks(Blocks blocks, ptrdiff_t pairs) {
  constexpr ptrdiff_t kSize = Blocks::kPairs;
  if (pairs < kSize) return false;
  ptrdiff_t p = 0;
  blocks.start(p);
  for (; p + 2 * kSize <= pairs; p += kSize) blocks.step(p);
  blocks.last(p);
  if (p + kSize == pairs) return true;
  blocks.start(pairs - kSize);
  blocks.last(pairs - kSize);
  return true;
}

// The same with the widest vectors of the target, or 128 bits for a line that is shorter.
template <template <int> class Blocks, class WithLine>
MOX_INLINE bool inBlocksOfAnySize(const WithLine& line, ptrdiff_t pairs) {
  if constexpr (kHasVectors) {
    if (inBlocks(Blocks<VMax::kBytes>(line), pairs)) return true;
    if constexpr (!std::is_same_v<VMax, V128>) return inBlocks(Blocks<V128::kBytes>(line), pairs);
  }
  return false;
}

template <class Filter, Edges How>
struct ForwardLine {
  using T = typename Filter::Sample;
  template <class X>
  using State = typename Filter::template Forward<X>;
  static constexpr ptrdiff_t kAhead = State<T>::kAhead, kWarmUp = State<T>::kWarmUp;

  Samples<How, T> x;
  T *low, *high;

  // The state in which the pipeline comes to pair p; for its high coefficient alone a step less will do.
  MOX_INLINE State<T> before(ptrdiff_t p, ptrdiff_t steps = kWarmUp) const {
    State<T> state{};
    T even = x.even(p - steps + kAhead);
    for (ptrdiff_t q = p - steps + kAhead; q < p + kAhead; q++) {
      const T nextEven = x.even(q + 1);
      state.step(even, x.odd(q), nextEven);
      even = nextEven;
    }
    return state;
  }
  MOX_INLINE LowHigh<T> step(State<T>& state, ptrdiff_t p) const {
    const ptrdiff_t q = p + kAhead;
    return state.step(x.even(q), x.odd(q), x.even(q + 1));
  }

  template <int Bytes>
  struct Blocks {
    using V = Lanes<T, Bytes>;
    static constexpr ptrdiff_t kPairs = kLanes<V>;
    const ForwardLine& line;
    State<V> state;
    EvenOdd<V> block;

    explicit Blocks(const ForwardLine& l) : line(l) {}
    MOX_INLINE EvenOdd<V> load(ptrdiff_t p) const { return takeApart<V>(line.x.first, 2 * p + line.x.line.phase); }
    MOX_INLINE void start(ptrdiff_t p) {
      state = State<V>::all(line.before(p));
      block = load(p);
    }
    // What a block needs of the next one comes by shuffles, not by loads at a distance: columns have mostly just been
    // filtered, and a load that straddles two recent stores waits for both.
    MOX_INLINE void step(ptrdiff_t p) {
      const EvenOdd<V> next = load(p + kPairs);
      finish(p, next);
      block = next;
    }
    MOX_INLINE void last(ptrdiff_t p) {
      const ptrdiff_t q = p + kPairs;
      EvenOdd<V> next{all<V>(line.x.even(q)), V{}};
      if constexpr (kAhead > 0) next = {oneBefore(next.even, all<V>(line.x.even(q + 1))), all<V>(line.x.odd(q))};
      finish(p, next);
    }
    MOX_INLINE void finish(ptrdiff_t p, EvenOdd<V> next) {
      const LowHigh<V> out = state.step(after<kAhead>(block.even, next.even), after<kAhead>(block.odd, next.odd),
                                        after<kAhead + 1>(block.even, next.even));
      putAt(line.low, p, out.low);
      putAt(line.high, p + line.x.line.phase, out.high);
    }
  };

  // Half a pair at either end, and whole pairs between.
  MOX_INLINE void run() const {
    const Line line = x.line;
    const ptrdiff_t whole = line.wholePairs();
    if (line.phase) {
      State<T> state = before(-1, kWarmUp - 1);
      put(high, 0, step(state, -1).high);
    }
    if (!inBlocksOfAnySize<Blocks>(*this, whole)) {
      State<T> state = before(0);
      for (ptrdiff_t p = 0; p < whole; p++) {
        const LowHigh<T> out = step(state, p);
        put(low, p, out.low);
        put(high, p + line.phase, out.high);
      }
    }
    if (whole < line.lows()) {
      State<T> state = before(whole);
      put(low, whole, step(state, whole).low);
    }
  }
};

template <class Filter, Edges How>
struct InverseLine {
  using T = typename Filter::Sample;
  template <class X>
  using State = typename Filter::template Inverse<X>;
  static constexpr ptrdiff_t kAhead = State<T>::kAhead, kWarmUp = State<T>::kWarmUp;

  Coefficients<How, T> c;
  T* dst;

  // The state in which the pipeline comes to pair p; the even half of the pair is finished then.
  MOX_INLINE State<T> before(ptrdiff_t p) const {
    State<T> state{};
    T highBefore = c.high(p - kWarmUp + kAhead - 1);
    for (ptrdiff_t q = p - kWarmUp + kAhead; q < p + kAhead; q++) {
      const T high = c.high(q);
      state.step(highBefore, c.low(q), high);
      highBefore = high;
    }
    return state;
  }
  MOX_INLINE EvenOdd<T> step(State<T>& state, ptrdiff_t p) const {
    const ptrdiff_t q = p + kAhead;
    return state.step(c.high(q - 1), c.low(q), c.high(q));
  }

  template <int Bytes>
  struct Blocks {
    using V = Lanes<T, Bytes>;
    static constexpr ptrdiff_t kPairs = kLanes<V>;
    const InverseLine& line;
    State<V> state;
    V high;

    explicit Blocks(const InverseLine& l) : line(l) {}
    MOX_INLINE V lows(ptrdiff_t p) const { return at<V>(line.c.lows, p); }
    MOX_INLINE V highs(ptrdiff_t p) const { return at<V>(line.c.highs, p + line.c.line.phase); }
    MOX_INLINE void start(ptrdiff_t p) {
      state = State<V>::all(line.before(p));
      high = highs(p);
    }
    MOX_INLINE void step(ptrdiff_t p) {
      const V nextHigh = highs(p + kPairs);
      finish(p, lows(p + kAhead), nextHigh);
      high = nextHigh;
    }
    MOX_INLINE void last(ptrdiff_t p) {
      const ptrdiff_t q = p + kPairs;
      V nextLow = all<V>(line.c.low(q)), nextHigh = all<V>(line.c.high(q));
      if constexpr (kAhead > 1) {
        nextLow = oneBefore(nextLow, all<V>(line.c.low(q + 1)));
        nextHigh = oneBefore(nextHigh, all<V>(line.c.high(q + 1)));
      }
      finish(p, after<kAhead>(lows(p), nextLow), nextHigh);
    }
    MOX_INLINE void finish(ptrdiff_t p, V lowAhead, V nextHigh) {
      const EvenOdd<V> out = state.step(after<kAhead - 1>(high, nextHigh), lowAhead, after<kAhead>(high, nextHigh));
      putTogether(line.dst, 2 * p + line.c.line.phase, out);
    }
  };

  MOX_INLINE void run() const {
    const Line line = c.line;
    const ptrdiff_t whole = line.wholePairs();
    if (line.phase) {
      State<T> state = before(-1);
      put(dst, 0, step(state, -1).odd);
    }
    if (!inBlocksOfAnySize<Blocks>(*this, whole)) {
      State<T> state = before(0);
      for (ptrdiff_t p = 0; p < whole; p++) {
        const EvenOdd<T> out = step(state, p);
        put(dst, 2 * p + line.phase, out.even);
        put(dst, 2 * p + line.phase + 1, out.odd);
      }
    }
    if (whole < line.lows()) put(dst, 2 * whole + line.phase, before(whole).even());
  }
};

}  // namespace mox::MOX_TARGET
