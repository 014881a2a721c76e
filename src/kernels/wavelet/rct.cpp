// The component transforms, element by element, without a table, a carry or a shuffle: the loops below are the
// definition, and the compiler's own vectoriser (switched on for this file) makes of them what memory can feed.
//
// `restrict` and `ivdep` promise that no element written is read by a later iteration. This holds: the planes of an
// image do not overlap each other, nor the pixels.
#include "kernels/wavelet/rct.h"
#include "kernels/bytes.h"

namespace mox::MOX_TARGET {
namespace {

using definition::Triple;

template <class T, class Transform>
void inPlace(T* const planes[3], int count) {
  T* __restrict const a = planes[0];
  T* __restrict const b = planes[1];
  T* __restrict const c = planes[2];
#pragma GCC ivdep
  for (ptrdiff_t i = 0; i < count; i++) {
    const Triple<T> out = Transform{}(Triple<T>{get(a, i), get(b, i), get(c, i)});
    put(a, i, out.a);
    put(b, i, out.b);
    put(c, i, out.c);
  }
}

template <class T, class Transform>
void toPlanes(const T* pixels, T* const planes[3], int count) {
  T* __restrict const a = planes[0];
  T* __restrict const b = planes[1];
  T* __restrict const c = planes[2];
#pragma GCC ivdep
  for (ptrdiff_t i = 0; i < count; i++) {
    const Triple<T> out = Transform{}(Triple<T>{get(pixels, 3 * i), get(pixels, 3 * i + 1), get(pixels, 3 * i + 2)});
    put(a, i, out.a);
    put(b, i, out.b);
    put(c, i, out.c);
  }
}

template <class T, class Transform>
void toPixels(const T* const planes[3], T* __restrict pixels, int count) {
  const T* const a = planes[0];
  const T* const b = planes[1];
  const T* const c = planes[2];
#pragma GCC ivdep
  for (ptrdiff_t i = 0; i < count; i++) {
    const Triple<T> out = Transform{}(Triple<T>{get(a, i), get(b, i), get(c, i)});
    put(pixels, 3 * i, out.a);
    put(pixels, 3 * i + 1, out.b);
    put(pixels, 3 * i + 2, out.c);
  }
}

}  // namespace

using namespace definition;

const RctKernels rctKernels = {
    .rctForward16s = inPlace<Mox16s, RctForward>,
    .rctInverse16s = inPlace<Mox16s, RctInverse>,
    .ictForward16s = inPlace<Mox16s, IctForward>,
    .ictInverse16s = inPlace<Mox16s, IctInverse>,
    .rctForward32s = inPlace<Mox32s, RctForward>,
    .rctInverse32s = inPlace<Mox32s, RctInverse>,
    .ictForward32s = inPlace<Mox32s, IctForward>,
    .ictInverse32s = inPlace<Mox32s, IctInverse>,
    .ictForward32f = inPlace<Mox32f, IctForward>,
    .ictInverse32f = inPlace<Mox32f, IctInverse>,
    .rctForwardC3P3_16s = toPlanes<Mox16s, RctForward>,
    .rctForwardC3P3_32s = toPlanes<Mox32s, RctForward>,
    .ictForwardC3P3_32f = toPlanes<Mox32f, IctForward>,
    .rctInverseP3C3_16s = toPixels<Mox16s, RctInverse>,
    .rctInverseP3C3_32s = toPixels<Mox32s, RctInverse>,
    .ictInverseP3C3_32f = toPixels<Mox32f, IctInverse>,
};

}  // namespace mox::MOX_TARGET
