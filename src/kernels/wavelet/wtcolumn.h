// Lifting down the columns, whole rows at a time: a pipeline that takes in two rows and finishes two at each step, so
// that memory is gone through once for all lifting steps.
//
// `Rows` says where the rows are, by position: in(i) is the input, state(i) where a row stays from its first lifting
// step on until it is finished; both may be the same row. need(i) is called before rows up to i are read for the
// first time, done(i) when row i is finished.
#pragma once

#include "kernels/wavelet/wtline.h"

namespace mox::MOX_TARGET {

// The positions of the rows of a step that lie `margin` beyond the ends at most, and the neighbours of a row.
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

// Rows that stay where they are.
template <class T>
struct RowsInPlace {
  T* first;
  ptrdiff_t step;
  const T* in(ptrdiff_t i) const { return offsetBy(first, i * step); }
  T* state(ptrdiff_t i) const { return offsetBy(first, i * step); }
  void need(ptrdiff_t) const {}
  void done(ptrdiff_t) const {}
};

}  // namespace mox::MOX_TARGET
