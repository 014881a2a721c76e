// One decomposition level of a plane, for any wavelet filter: columns, then rows; back, rows, then columns.
//
// In place there is only a line buffer, and the rows of the low and the high band must be sorted (Mallat order). So the
// columns are lifted where they are, and the row filter, which cannot work in place anyway, moves each row to its
// place: along the cycles of the permutation, one row of each cycle waiting in the line buffer. That is two passes over
// memory. Out of place the filtered columns need not be stored at all: each row goes through the row filter as soon as
// it leaves the pipeline of the column filter. That is one pass.
//
// A Filter has, besides what lines.h requires,
//   forwardLine, inverseLine          a line of kShortest samples or more
//   forwardColumns, inverseColumns    kShortest rows or more, from a RowPipeline
//   forwardPair, inversePair          lines of two samples, where kShortest is 3
//   kPastCaches                       whether large results of a sweep out of place go past the caches (past.h): where
//                                     the sweep waits for memory
#pragma once

#include <cstring>

#include "kernels/vec/past.h"
#include "kernels/wavelet/columns.h"

namespace mox::MOX_TARGET {

// Positions of rows before and after sorting.
struct Sorting {
  Line column;
  ptrdiff_t sorted(ptrdiff_t i) const {
    return (i + column.phase) & 1 ? column.lows() + ((i - 1 + column.phase) >> 1) : (i - column.phase) >> 1;
  }
  ptrdiff_t unsorted(ptrdiff_t i) const {
    return i < column.lows() ? 2 * i + column.phase : 2 * (i - column.lows()) + 1 - column.phase;
  }
};

// Which rows have been moved. Above kMaxRows there is no bitmap; a row is then the first of its cycle that the loop
// meets if it is the cycle's smallest.
class MovedRows {
 public:
  static constexpr ptrdiff_t kMaxRows = 1 << 17;
  explicit MovedRows(ptrdiff_t count) : inBitmap_(count <= kMaxRows) {
    if (inBitmap_) std::memset(bits_, 0, static_cast<size_t>(count + 7) / 8);
  }
  void add(ptrdiff_t i) {
    if (inBitmap_) bits_[i >> 3] = static_cast<uint8_t>(bits_[i >> 3] | 1 << (i & 7));
  }
  template <class From>
  bool has(ptrdiff_t i, const From& from) const {
    if (inBitmap_) return bits_[i >> 3] >> (i & 7) & 1;
    for (ptrdiff_t k = from(i); k != i; k = from(k))
      if (k < i) return true;
    return false;
  }

 private:
  bool inBitmap_;
  uint8_t bits_[kMaxRows / 8];
};

// Calls `move(source, destination)` such that row `i` receives what row `from(i)` held; `from` is a permutation. The
// sources lie in the plane or, copied, in `spare`.
template <class T, class From, class Move>
void permuteRows(Plane<T> plane, ptrdiff_t count, size_t rowBytes, void* spare, const From& from, const Move& move) {
  if (count < 1) return;
  MovedRows moved(count);
  for (ptrdiff_t start = 0; start < count; start++) {
    if (moved.has(start, from)) continue;
    std::memcpy(spare, plane.row(start), rowBytes);
    ptrdiff_t hole = start;
    for (ptrdiff_t next = from(hole); next != start; next = from(hole)) {
      move(static_cast<const T*>(plane.row(next)), plane.row(hole));
      moved.add(hole);
      hole = next;
    }
    move(static_cast<const T*>(spare), plane.row(hole));
    moved.add(hole);
  }
}

// A single sample at an odd coordinate is a high-pass coefficient: twice the sample.
template <class T>
inline T doubledIfOdd(T v, int phase) {
  return static_cast<T>(static_cast<uint32_t>(v) << phase);
}
template <class T>
inline T halvedIfOdd(T v, int phase) {
  return static_cast<T>(v / (phase + 1));
}

// Columns are filtered in strips so wide, in bytes, that the rows of a step stay in the second-level cache.
inline constexpr ptrdiff_t kStripBytes = 1 << 15;

template <class Filter>
struct Level {
  using T = typename Filter::Sample;

  static Line across(const MoxRect& roi) { return {roi.width, roi.x & 1}; }
  static Line down(const MoxRect& roi) { return {roi.height, roi.y & 1}; }

  static void forwardLine(const T* src, T* dst, Line line) {
    if (line.count >= Filter::kShortest)
      Filter::template forwardLine<Edges::mirrored>(src, dst, element(dst, line.lows()), line);
    else if (line.count == 2)
      Filter::forwardPair(element(src, line.phase), element(src, 1 - line.phase), dst, element(dst, 1), 1);
    else
      put(dst, 0, doubledIfOdd(get(src, 0), line.phase));
  }
  static void inverseLine(const T* src, T* dst, Line line) {
    if (line.count >= Filter::kShortest)
      Filter::template inverseLine<Edges::mirrored>(src, element(src, line.lows()), dst, line);
    else if (line.count == 2)
      Filter::inversePair(src, element(src, 1), element(dst, line.phase), element(dst, 1 - line.phase), 1);
    else
      put(dst, 0, halvedIfOdd(get(src, 0), line.phase));
  }

  template <class Strip>
  static void eachStrip(Plane<T> plane, ptrdiff_t width, const Strip& strip) {
    constexpr ptrdiff_t kStrip = kStripBytes / static_cast<ptrdiff_t>(sizeof(T));
    for (ptrdiff_t x = 0; x < width; x += kStrip)
      strip(RowsInPlace<T>{{element(plane.first, x), plane.step}}, std::min(kStrip, width - x));
  }

  static void forwardColumns(Plane<T> plane, ptrdiff_t width, Line column) {
    if (column.count >= Filter::kShortest)
      eachStrip(plane, width, [&](const RowsInPlace<T>& rows, ptrdiff_t columns) {
        Filter::template forwardColumns<Edges::mirrored>(rows, column, columns);
      });
    else if (column.count == 2)
      Filter::forwardPair(plane.row(column.phase), plane.row(1 - column.phase), plane.row(0), plane.row(1), width);
    else
      alongRow<T>(
          plane.first, width, [&](T v) { return doubledIfOdd(v, column.phase); }, RowOf<T>{plane.first});
  }
  static void inverseColumns(Plane<T> plane, ptrdiff_t width, Line column) {
    if (column.count >= Filter::kShortest)
      eachStrip(plane, width, [&](const RowsInPlace<T>& rows, ptrdiff_t columns) {
        Filter::template inverseColumns<Edges::mirrored>(rows, column, columns);
      });
    else if (column.count == 2)
      Filter::inversePair(plane.row(0), plane.row(1), plane.row(column.phase), plane.row(1 - column.phase), width);
    else
      alongRow<T>(
          plane.first, width, [&](T v) { return halvedIfOdd(v, column.phase); }, RowOf<T>{plane.first});
  }

  // Filters each row, and puts row from(i) into place i.
  template <class From, class Row>
  static void moveRows(Plane<T> plane, const MoxRect& roi, Mox8u* line, const From& from, const Row& row) {
    T few[2];  // for the regions that the reported size is 0 for
    const size_t bytes = static_cast<size_t>(std::max(roi.width, 1)) * sizeof(T);
    void* const spare = bytes <= sizeof few ? static_cast<void*>(few) : line;
    permuteRows(plane, roi.height, bytes, spare, from, [&](const T* src, T* dst) { row(src, dst, across(roi)); });
  }

  // A width below 1 counts as 1 for the rows, a height below 1 as 1 for the columns.
  static void forwardInPlace(Plane<T> plane, const MoxRect& roi, Mox8u* line) {
    const Sorting sorting{down(roi)};
    const bool sort = roi.height >= Filter::kShortest && roi.width >= 1;
    forwardColumns(plane, roi.width, down(roi));
    moveRows(
        plane, roi, line, [&](ptrdiff_t i) { return sort ? sorting.unsorted(i) : i; }, forwardLine);
  }
  static void inverseInPlace(Plane<T> plane, const MoxRect& roi, Mox8u* line) {
    const Sorting sorting{down(roi)};
    const bool sort = roi.height >= Filter::kShortest && roi.width >= 1;
    moveRows(
        plane, roi, line, [&](ptrdiff_t i) { return sort ? sorting.sorted(i) : i; }, inverseLine);
    inverseColumns(plane, roi.width, down(roi));
  }

  // Out of place: the buffer begins with a plane.
  static Plane<T> bufferPlane(const MoxRect& roi, Mox8u* buffer) {
    return {reinterpret_cast<T*>(buffer), (roi.width * static_cast<ptrdiff_t>(sizeof(T)) + 31) & ~ptrdiff_t{31}};
  }
  static Mox8u* bufferLine(const MoxRect& roi, Mox8u* buffer) {
    return buffer + bufferPlane(roi, buffer).step * roi.height;
  }

  // The subbands and their places in a plane in Mallat order: split at (size + 1) / 2 whatever the phase, so that
  // with an odd phase and an odd size the first high coefficient counts as low.
  template <class S>
  struct Subbands {
    S* const* planes;
    const int32_t* steps;
    ptrdiff_t lowColumns, lowRows;
    Subbands(S* const* p, const int32_t* s, const MoxRect& roi)
        : planes(p), steps(s), lowColumns((ptrdiff_t{roi.width} + 1) >> 1), lowRows((ptrdiff_t{roi.height} + 1) >> 1) {}
    S* low(ptrdiff_t y) const { return y < lowRows ? at(0, y) : at(1, y - lowRows); }
    S* high(ptrdiff_t y) const { return y < lowRows ? at(2, y) : at(3, y - lowRows); }

   private:
    S* at(int band, ptrdiff_t y) const { return bytesAfter(planes[band], y * steps[band]); }
  };

  // Whether the region can be filtered in one pass: enough rows for the ring, and bands split where the transform
  // splits them.
  static constexpr ptrdiff_t kRing = 8;
  static bool sweeps(const MoxRect& roi) {
    return roi.height >= kRing && roi.width >= Filter::kShortest && !(roi.x & roi.width & 1) &&
           !(roi.y & roi.height & 1);
  }

  // Whether it then goes past the caches: large, and the buffer has room for a second ring.
  static bool goesPast(const MoxRect& roi) {
    constexpr ptrdiff_t kLongRow = 1024;
    const ptrdiff_t row = roi.width * static_cast<ptrdiff_t>(sizeof(T));
    return Filter::kPastCaches && row >= kLongRow && roi.height >= 4 * kRing &&
           int64_t{row} * roi.height >= kBytesPastCaches;
  }

  // The rows in the pipeline, each starting at a cache line if the buffer has room for that.
  static Plane<T> ring(const MoxRect& roi, Mox8u* buffer) {
    constexpr ptrdiff_t kLine = 64;
    const Plane<T> plane = bufferPlane(roi, buffer);
    const ptrdiff_t bytes = roi.width * static_cast<ptrdiff_t>(sizeof(T)), step = (bytes + kLine - 1) & -kLine;
    const ptrdiff_t lead = static_cast<ptrdiff_t>(-reinterpret_cast<uintptr_t>(buffer) % kLine);
    if (lead + kRing * step > plane.step * roi.height + bytes) return plane;
    return {reinterpret_cast<T*>(buffer + lead), step};
  }

  struct ForwardSweep {
    Plane<const T> src;
    Plane<T> ring;
    Subbands<T> bands;
    Line row;
    Sorting sorting;
    bool past;
    const T* in(ptrdiff_t i) const { return src.row(i); }
    T* state(ptrdiff_t i) const { return ring.row(i & (kRing - 1)); }
    void need(ptrdiff_t) const {}
    void done(ptrdiff_t i) const {
      const ptrdiff_t y = sorting.sorted(i);
      T* const low = past ? ring.row(kRing) : bands.low(y);
      T* const high = past ? ring.row(kRing + 1) : bands.high(y);
      Filter::template forwardLine<Edges::mirrored>(state(i), low, high, row);
      if (past) {
        copyPast(bands.low(y), low, static_cast<size_t>(row.lows()) * sizeof(T));
        copyPast(bands.high(y), high, static_cast<size_t>(row.highs()) * sizeof(T));
      }
    }
  };
  struct InverseSweep {
    Subbands<const T> bands;
    Plane<T> ring, dst;
    Line row;
    Sorting sorting;
    bool past;
    mutable ptrdiff_t ready = 0;
    const T* in(ptrdiff_t i) const { return ring.row(i & (kRing - 1)); }
    T* state(ptrdiff_t i) const { return past ? ring.row(kRing + (i & (kRing - 1))) : dst.row(i); }
    void need(ptrdiff_t last) const {
      for (; ready <= std::min(last, sorting.column.count - 1); ready++) {
        const ptrdiff_t y = sorting.sorted(ready);
        Filter::template inverseLine<Edges::mirrored>(bands.low(y), bands.high(y), ring.row(ready & (kRing - 1)), row);
      }
    }
    void done(ptrdiff_t i) const {
      if (past) copyPast(dst.row(i), state(i), static_cast<size_t>(row.count) * sizeof(T));
    }
  };

  static void finish(bool past) {
    if constexpr (kHasStorePast)
      if (past) pastStored();
  }

  static void forward(const T* src, int32_t srcStep, const MoxRect& roi, T* const dst[4], const int32_t dstStep[4],
                      Mox8u* buffer) {
    const Plane<const T> from{src, srcStep};
    const Plane<T> copy = bufferPlane(roi, buffer);
    const Subbands<T> bands(dst, dstStep, roi);
    if (sweeps(roi)) {
      const ForwardSweep rows{from, ring(roi, buffer), bands, across(roi), {down(roi)}, goesPast(roi)};
      Filter::template forwardColumns<Edges::mirrored>(rows, down(roi), roi.width);
      return finish(rows.past);
    }
    for (ptrdiff_t y = 0; y < roi.height; y++)
      std::memcpy(copy.row(y), from.row(y), static_cast<size_t>(roi.width) * sizeof(T));
    forwardInPlace(copy, roi, bufferLine(roi, buffer));
    for (ptrdiff_t y = 0; y < roi.height; y++) {
      const T* const row = copy.row(y);
      std::memcpy(bands.low(y), row, static_cast<size_t>(bands.lowColumns) * sizeof(T));
      std::memcpy(bands.high(y), element(row, bands.lowColumns),
                  static_cast<size_t>(roi.width - bands.lowColumns) * sizeof(T));
    }
  }

  static void inverse(const T* const src[4], const int32_t srcStep[4], T* dst, int32_t dstStep, const MoxRect& roi,
                      Mox8u* buffer) {
    const Plane<T> to{dst, dstStep}, copy = bufferPlane(roi, buffer);
    const Subbands<const T> bands(src, srcStep, roi);
    if (sweeps(roi)) {
      const InverseSweep rows{bands, ring(roi, buffer), to, across(roi), {down(roi)}, goesPast(roi)};
      Filter::template inverseColumns<Edges::mirrored>(rows, down(roi), roi.width);
      return finish(rows.past);
    }
    for (ptrdiff_t y = 0; y < roi.height; y++) {
      T* const row = copy.row(y);
      std::memcpy(row, bands.low(y), static_cast<size_t>(bands.lowColumns) * sizeof(T));
      std::memcpy(element(row, bands.lowColumns), bands.high(y),
                  static_cast<size_t>(roi.width - bands.lowColumns) * sizeof(T));
    }
    inverseInPlace(copy, roi, bufferLine(roi, buffer));
    for (ptrdiff_t y = 0; y < roi.height; y++)
      std::memcpy(to.row(y), copy.row(y), static_cast<size_t>(roi.width) * sizeof(T));
  }
};

template <class Filter, class T = typename Filter::Sample>
inline constexpr WtPlaneKernels<T> planeKernels = {
    .forwardInPlace =
        [](T* plane, int32_t step, const MoxRect& roi, Mox8u* line) {
          Level<Filter>::forwardInPlace({plane, step}, roi, line);
        },
    .inverseInPlace =
        [](T* plane, int32_t step, const MoxRect& roi, Mox8u* line) {
          Level<Filter>::inverseInPlace({plane, step}, roi, line);
        },
    .forward = Level<Filter>::forward,
    .inverse = Level<Filter>::inverse,
};

}  // namespace mox::MOX_TARGET
