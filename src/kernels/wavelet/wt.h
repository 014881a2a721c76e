// The kernels of the JPEG 2000 wavelets (ISO/IEC 15444-1, Annex F): planes, rows, columns and single lifting steps, of
// the reversible 5/3 and the irreversible 9/7.
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

// One step of the pipeline down the columns. The rows of a step may be the same or overlap in any way: then the
// elements are taken one after another, each read before it is written.
template <class T>
struct Wt53LiftKernels {
  // From three rows x(2k), x(2k + 1), x(2k + 2) and the high row before: the high and the low row k.
  void (*forward)(const T* even, const T* odd, const T* nextEven, T* low, const T* highBefore, T* high, int count);
  // From low row k, high rows k - 1 and k and x(2k - 2): x(2k - 1) and x(2k).
  void (*inverse)(const T* low, const T* highBefore, const T* high, const T* evenBefore, T* odd, T* even, int count);
};

// The delayed rows are named by their positions.
template <class T>
struct Wt97LiftKernels {
  // Rows 2k, 2k + 1 and 2k + 2 enter; the even rows 2k - 2 and 2k and the odd rows 2k - 3, 2k - 1 and 2k + 1 are
  // delayed. Rows 2k - 3 and 2k - 2 leave finished.
  void (*forward)(const T* even, const T* odd, const T* nextEven, T* even2Before, T* evenNow, T* odd3Before,
                  T* odd1Before, T* oddNext, int count);
  // Coefficient rows 2k - 1, 2k and 2k + 1 enter; rows 2k - 2 and 2k - 3 leave finished, 2k - 4 is only read.
  void (*inverse)(const T* highBefore, const T* low, const T* high, T* evenNow, T* even2Before, const T* even4Before,
                  T* odd1Before, T* odd3Before, int count);
};

struct Wt53Kernels {
  WtPlaneKernels<Mox16s> plane16s;
  WtPlaneKernels<Mox32s> plane32s;
  WtRowKernels<Mox16s> row16s;
  WtRowKernels<Mox32s> row32s;
  WtColumnKernels<Mox16s> column16s;
  WtColumnKernels<Mox32s> column32s;
  Wt53LiftKernels<Mox16s> lift16s;
  Wt53LiftKernels<Mox32s> lift32s;
};

struct Wt97Kernels {
  WtPlaneKernels<Mox16s> plane16s;
  WtPlaneKernels<Mox32s> plane32s;
  WtRowKernels<Mox16s> row16s;
  WtRowKernels<Mox32s> row32s;
  WtRowKernels<Mox32f> row32f;
  WtColumnKernels<Mox32f> column32f;
  Wt97LiftKernels<Mox16s> lift16s;
  Wt97LiftKernels<Mox32s> lift32s;
  Wt97LiftKernels<Mox32f> lift32f;
};

#if defined(MOX_TARGET)
namespace MOX_TARGET {
extern const Wt53Kernels wt53Kernels;
extern const Wt97Kernels wt97Kernels;
}  // namespace MOX_TARGET
#endif

}  // namespace mox
