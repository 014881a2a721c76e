// Lifting down the columns, whole rows at a time: a pipeline that takes in two rows and finishes two at each step, so
// that all lifting steps share one pass over memory.
#pragma once

#include <array>
#include <concepts>

#include "kernels/wavelet/lines.h"

namespace mox::MOX_TARGET {

// Where a pipeline finds its rows, by position. Rows beyond the ends have positions too, if the edges are given.
//   in(i)      row i as it enters
//   state(i)   where row i stays from its first lifting step until it is finished; may be in(i) itself
//   need(i)    called before rows up to i are read for the first time
//   done(i)    called when row i is finished
template <class R, class T>
concept RowPipeline = requires(const R& rows, ptrdiff_t i) {
  { rows.in(i) } -> std::same_as<const T*>;
  { rows.state(i) } -> std::same_as<T*>;
  rows.need(i);
  rows.done(i);
};

template <class T>
struct Plane {
  T* first;
  ptrdiff_t step;
  T* row(ptrdiff_t y) const { return bytesAfter(first, y * step); }
};

// Rows that stay where they are.
template <class T>
struct RowsInPlace {
  Plane<T> plane;
  const T* in(ptrdiff_t i) const { return plane.row(i); }
  T* state(ptrdiff_t i) const { return plane.row(i); }
  void need(ptrdiff_t) const {}
  void done(ptrdiff_t) const {}
};

// The rows that a lifting step is taken for, `margin` of them beyond either end where these are given, and the
// positions of their neighbours.
template <Edges How>
struct Column {
  ptrdiff_t count;
  bool has(ptrdiff_t i, ptrdiff_t margin) const {
    const ptrdiff_t beyond = How == Edges::given ? margin : 0;
    return i >= -beyond && i < count + beyond;
  }
  ptrdiff_t operator()(ptrdiff_t i) const { return position<How>(i, count); }
};

// The first position at an even coordinate from `lowest` on.
inline ptrdiff_t firstEven(ptrdiff_t lowest, int phase) { return lowest + ((lowest + phase) & 1); }

// ---- Along rows ----------------------------------------------------------------------------------------------------
//
// `ivdep` promises that no element depends on an earlier one of another row. This holds: a row that is written is
// identical with another row of the step, whose elements are read before they are written, or disjoint from it. The
// rows of planes are distinct; callers' rows are checked.

// A row of elements E, at any address.
template <class E>
struct RowOf {
  const void* first;
  E operator[](ptrdiff_t i) const { return at<E>(first, i); }
};

// out[i] = op(in[i] ...).
template <class E, class Op, class... In>
MOX_INLINE void alongRow(void* out, ptrdiff_t count, const Op& op, In... in) {
#pragma GCC ivdep
  for (ptrdiff_t i = 0; i < count; i++) putAt<E>(out, i, op(in[i]...));
}

// A Step is a step of a pipeline on rows of memory, which are its members:
//   lift<X>(i)   performs it for the lanes of X from element i on
//   rows()       all its rows, the first kRead of which are only read
//   target()     a row that is written, for vectors to be aligned with
//   kVectors     whether its arithmetic has a vector form; if not, the compiler vectorises what it can
//
// Stores that straddle cache lines are slow, so the widest vectors are aligned with the target.
template <class Step>
MOX_INLINE void alongRows(const Step& step, ptrdiff_t count) {
  using T = typename Step::Sample;
  if constexpr (kHasVectors && Step::kVectors) {
    constexpr ptrdiff_t kSize = sizeof(T), kWide = VMax::kBytes / kSize, kNarrow = V128::kBytes / kSize;
    using Wide = Lanes<T, VMax::kBytes>;
    using Narrow = Lanes<T, V128::kBytes>;
    ptrdiff_t i = 0;
    if (count >= 2 * kWide) {
      const ptrdiff_t lead = static_cast<ptrdiff_t>(-reinterpret_cast<uintptr_t>(step.target()) % VMax::kBytes) / kSize;
      for (; i < lead % kNarrow; i++) step.template lift<T>(i);
      for (; i < lead; i += kNarrow) step.template lift<Narrow>(i);
    }
    for (; i <= count - kWide; i += kWide) step.template lift<Wide>(i);
    for (; i <= count - kNarrow; i += kNarrow) step.template lift<Narrow>(i);
    for (; i < count; i++) step.template lift<T>(i);
  } else {
#pragma GCC ivdep
    for (ptrdiff_t i = 0; i < count; i++) step.template lift<T>(i);
  }
}

// Whether rows of `bytes` bytes are identical or disjoint: then elements may be taken in any order.
inline bool apart(const void* a, const void* b, size_t bytes) {
  const uintptr_t x = reinterpret_cast<uintptr_t>(a), y = reinterpret_cast<uintptr_t>(b);
  return x == y || (x < y ? y - x : x - y) >= bytes;
}

// Rows of callers may overlap in any way: then the elements are taken one after another.
template <class Step>
void alongAnyRows(const Step& step, int count) {
  using T = typename Step::Sample;
  const std::array rows = step.rows();
  const size_t bytes = static_cast<size_t>(count) * sizeof(T);
  bool anyOrder = true;
#pragma GCC unroll 8
  for (size_t written = Step::kRead; written < rows.size(); written++)
#pragma GCC unroll 8
    for (size_t other = 0; other < rows.size(); other++)
      anyOrder = anyOrder && apart(rows[written], rows[other], bytes);
  if (anyOrder) return alongRows(step, count);
  for (ptrdiff_t i = 0; i < count; i++) step.template lift<T>(i);
}

// ---- Columns whose neighbouring rows are given ---------------------------------------------------------------------
//
// What the pipeline needs of rows beyond the ends lives on the stack, a strip of columns at a time.

template <class Filter>
struct GivenColumns {
  using T = typename Filter::Sample;
  static constexpr ptrdiff_t kStrip = 512, kSpare = 16;
  using Spare = T[kSpare][kStrip];

  template <bool Forward>
  struct Rows {
    Plane<std::conditional_t<Forward, const T, T>> samples;
    Plane<std::conditional_t<Forward, T, const T>> lows, highs;
    Line column;
    Spare* spare;

    auto* coefficients(ptrdiff_t i) const {
      const ptrdiff_t k = i + column.phase;  // at an odd coordinate high
      return k & 1 ? highs.row((i - 1 + column.phase) >> 1) : lows.row((i - column.phase) >> 1);
    }
    const T* in(ptrdiff_t i) const {
      if constexpr (Forward)
        return samples.row(i);
      else
        return coefficients(i);
    }
    T* state(ptrdiff_t i) const {
      if (i < 0 || i >= column.count) return (*spare)[i & (kSpare - 1)];
      if constexpr (Forward)
        return coefficients(i);
      else
        return samples.row(i);
    }
    void need(ptrdiff_t) const {}
    void done(ptrdiff_t) const {}
  };

  template <class Strip>
  static void eachStrip(ptrdiff_t width, const Strip& strip) {
    Spare spare;
    for (ptrdiff_t x = 0; x < width; x += kStrip) strip(x, std::min(kStrip, width - x), &spare);
  }

  static void forward(const T* src, int32_t srcStep, T* low, int32_t lowStep, T* high, int32_t highStep, MoxRoiSize roi,
                      int phase) {
    const Line column{2 * ptrdiff_t{roi.height}, phase};
    eachStrip(roi.width, [&](ptrdiff_t x, ptrdiff_t columns, Spare* spare) {
      const Rows<true> rows{
          {element(src, x), srcStep}, {element(low, x), lowStep}, {element(high, x), highStep}, column, spare};
      Filter::template forwardColumns<Edges::given>(rows, column, columns);
    });
  }
  static void inverse(const T* low, int32_t lowStep, const T* high, int32_t highStep, MoxRoiSize roi, T* dst,
                      int32_t dstStep, int phase) {
    const Line column{2 * ptrdiff_t{roi.height}, phase};
    eachStrip(roi.width, [&](ptrdiff_t x, ptrdiff_t columns, Spare* spare) {
      const Rows<false> rows{
          {element(dst, x), dstStep}, {element(low, x), lowStep}, {element(high, x), highStep}, column, spare};
      Filter::template inverseColumns<Edges::given>(rows, column, columns);
    });
  }
};

template <class Filter>
inline constexpr WtColumnKernels<typename Filter::Sample> columnKernels = {
    .forward = GivenColumns<Filter>::forward,
    .inverse = GivenColumns<Filter>::inverse,
};

}  // namespace mox::MOX_TARGET
