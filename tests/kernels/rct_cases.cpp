#include "kernels/wavelet/rct.h"

#include <cmath>

#include "support/kernel_case.h"

namespace test {
namespace {

// Floats of all sizes, without infinities and NaNs: their bits would depend on the order of operands.
void finite(Random& random, float* values, size_t count) {
  for (size_t i = 0; i < count; i++)
    values[i] = std::ldexp(static_cast<float>(random.between(-32768, 32767)), random.between(-20, 20));
}

template <class T>
T* inOut(Feed& f, int n) {
  if constexpr (std::is_same_v<T, Mox32f>)
    return const_cast<T*>(
        f.in<T>(n, [n](Random& random, T* values) { finite(random, values, static_cast<size_t>(n)); }));
  else
    return f.inOut<T>(n);
}

template <auto Kernel, class T>
void inPlace(const mox::Kernels& k, Feed& f, int n) {
  T* const planes[3] = {inOut<T>(f, n), inOut<T>(f, n), inOut<T>(f, n)};
  (k.rct->*Kernel)(planes, n);
}

template <auto Kernel, class T>
void toPlanes(const mox::Kernels& k, Feed& f, int n) {
  const T* const pixels = inOut<T>(f, 3 * n);
  T* const planes[3] = {f.out<T>(n), f.out<T>(n), f.out<T>(n)};
  (k.rct->*Kernel)(pixels, planes, n);
}

template <auto Kernel, class T>
void toPixels(const mox::Kernels& k, Feed& f, int n) {
  const T* const planes[3] = {inOut<T>(f, n), inOut<T>(f, n), inOut<T>(f, n)};
  (k.rct->*Kernel)(planes, f.out<T>(3 * n), n);
}

using K = mox::RctKernels;

const AddKernelCases cases{
    {"rct.rctForward16s", "pixels", 0, 200, 1920, inPlace<&K::rctForward16s, Mox16s>},
    {"rct.rctInverse16s", "pixels", 0, 200, 1920, inPlace<&K::rctInverse16s, Mox16s>},
    {"rct.ictForward16s", "pixels", 0, 200, 1920, inPlace<&K::ictForward16s, Mox16s>},
    {"rct.ictInverse16s", "pixels", 0, 200, 1920, inPlace<&K::ictInverse16s, Mox16s>},
    {"rct.rctForward32s", "pixels", 0, 200, 1920, inPlace<&K::rctForward32s, Mox32s>},
    {"rct.rctInverse32s", "pixels", 0, 200, 1920, inPlace<&K::rctInverse32s, Mox32s>},
    {"rct.ictForward32s", "pixels", 0, 200, 1920, inPlace<&K::ictForward32s, Mox32s>},
    {"rct.ictInverse32s", "pixels", 0, 200, 1920, inPlace<&K::ictInverse32s, Mox32s>},
    {"rct.ictForward32f", "pixels", 0, 200, 1920, inPlace<&K::ictForward32f, Mox32f>},
    {"rct.ictInverse32f", "pixels", 0, 200, 1920, inPlace<&K::ictInverse32f, Mox32f>},
    {"rct.rctForwardC3P3_16s", "pixels", 0, 200, 1920, toPlanes<&K::rctForwardC3P3_16s, Mox16s>},
    {"rct.rctForwardC3P3_32s", "pixels", 0, 200, 1920, toPlanes<&K::rctForwardC3P3_32s, Mox32s>},
    {"rct.ictForwardC3P3_32f", "pixels", 0, 200, 1920, toPlanes<&K::ictForwardC3P3_32f, Mox32f>},
    {"rct.rctInverseP3C3_16s", "pixels", 0, 200, 1920, toPixels<&K::rctInverseP3C3_16s, Mox16s>},
    {"rct.rctInverseP3C3_32s", "pixels", 0, 200, 1920, toPixels<&K::rctInverseP3C3_32s, Mox32s>},
    {"rct.ictInverseP3C3_32f", "pixels", 0, 200, 1920, toPixels<&K::ictInverseP3C3_32f, Mox32f>},
};

}  // namespace
}  // namespace test
