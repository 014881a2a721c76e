// Element by element, without a table, a carry or a shuffle: the loops below are the definition, and the compiler's
// own vectoriser (switched on for this file) makes of them what memory can feed.
#include "kernels/wavelet/rct.h"

#include <cstddef>
#include <cstring>

namespace mox::MOX_TARGET {
namespace {

using definition::Triple;

template <class T>
T get(const T* p, ptrdiff_t i) {
  T value;
  std::memcpy(&value, reinterpret_cast<const char*>(p) + i * static_cast<ptrdiff_t>(sizeof(T)), sizeof value);
  return value;
}

template <class T>
void put(T* p, ptrdiff_t i, T value) {
  std::memcpy(reinterpret_cast<char*>(p) + i * static_cast<ptrdiff_t>(sizeof(T)), &value, sizeof value);
}

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
    inPlace<Mox16s, RctForward>,  inPlace<Mox16s, RctInverse>,  inPlace<Mox16s, IctForward>,
    inPlace<Mox16s, IctInverse>,  inPlace<Mox32s, RctForward>,  inPlace<Mox32s, RctInverse>,
    inPlace<Mox32s, IctForward>,  inPlace<Mox32s, IctInverse>,  inPlace<Mox32f, IctForward>,
    inPlace<Mox32f, IctInverse>,  toPlanes<Mox16s, RctForward>, toPlanes<Mox32s, RctForward>,
    toPlanes<Mox32f, IctForward>, toPixels<Mox16s, RctInverse>, toPixels<Mox32s, RctInverse>,
    toPixels<Mox32f, IctInverse>,
};

}  // namespace mox::MOX_TARGET
