// The grains that both wavelets of JPEG 2000 (ISO/IEC 15444-1, Annex F) are offered at, as kernels.
//
// A line has `count` samples and a phase: the parity of its first sample's coordinate, 0 even, 1 odd. Samples at even
// coordinates become low-pass coefficients, the others high-pass ones. No pointer needs any alignment.
#pragma once

#include <cstdint>

#include "moxj.h"

namespace mox {

// One level of a plane, with mirrored edges. In place: `line` holds the longest line and its margins, the result is
// in Mallat order. Out of place: the four subbands LL, LH (vertically high), HL, HH, split at (size + 1) / 2 for
// either phase; `buffer` holds the plane, its rows a multiple of 32 bytes, and a line.
template <class T>
struct WtPlaneKernels {
  using InPlace = void (*)(T* plane, int32_t step, const MoxRect& roi, Mox8u* line);
  InPlace forwardInPlace, inverseInPlace;
  void (*forward)(const T* src, int32_t srcStep, const MoxRect& roi, T* const dst[4], const int32_t dstStep[4],
                  Mox8u* buffer);
  void (*inverse)(const T* const src[4], const int32_t srcStep[4], T* dst, int32_t dstStep, const MoxRect& roi,
                  Mox8u* buffer);
};

// One line of `count` coefficients in each band; the samples or coefficients around it are read.
template <class T>
struct WtRowKernels {
  void (*forward)(const T* src, T* low, T* high, int count, int phase);
  void (*inverse)(const T* low, const T* high, T* dst, int count, int phase);
};

// The same down the columns: roi is the size of each band, the rows above and below are read.
template <class T>
struct WtColumnKernels {
  void (*forward)(const T* src, int32_t srcStep, T* low, int32_t lowStep, T* high, int32_t highStep, MoxRoiSize roi,
                  int phase);
  void (*inverse)(const T* low, int32_t lowStep, const T* high, int32_t highStep, MoxRoiSize roi, T* dst,
                  int32_t dstStep, int phase);
};

}  // namespace mox
