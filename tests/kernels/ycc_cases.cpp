#include "kernels/colour/ycc.h"

#include "support/kernel_case.h"

namespace test {
namespace {

using mox::YccKernels;

template <auto Kernel>
void planes3(const mox::Kernels& k, Feed& f, int n) {
  const Mox8u* const src[] = {f.in<Mox8u>(n), f.in<Mox8u>(n), f.in<Mox8u>(n)};
  Mox8u* const dst[] = {f.out<Mox8u>(n), f.out<Mox8u>(n), f.out<Mox8u>(n)};
  (k.ycc->*Kernel)(src, dst, n);
}

template <class Sample, int Samples, auto Kernel>
void pixels(const mox::Kernels& k, Feed& f, int n) {
  const Sample* const src = f.in<Sample>(static_cast<size_t>(Samples) * n);
  Mox8u* const dst[] = {f.out<Mox8u>(n), f.out<Mox8u>(n), f.out<Mox8u>(n), Samples == 4 ? f.out<Mox8u>(n) : nullptr};
  (k.ycc->*Kernel)(src, dst, n);
}

const AddKernelCases cases{
    {"ycc.rgbPlanes", "pixels", 0, 260, 1920, planes3<&YccKernels::rgbPlanes>},
    {"ycc.rgb", "pixels", 0, 260, 1920, pixels<Mox8u, 3, &YccKernels::rgb>},
    {"ycc.bgr", "pixels", 0, 260, 1920, pixels<Mox8u, 3, &YccKernels::bgr>},
    {"ycc.rgb555", "pixels", 0, 200, 1920, pixels<Mox16u, 1, &YccKernels::rgb555>},
    {"ycc.bgr555", "pixels", 0, 200, 1920, pixels<Mox16u, 1, &YccKernels::bgr555>},
    {"ycc.rgb565", "pixels", 0, 200, 1920, pixels<Mox16u, 1, &YccKernels::rgb565>},
    {"ycc.bgr565", "pixels", 0, 200, 1920, pixels<Mox16u, 1, &YccKernels::bgr565>},
    {"ycc.cmykPlanes", "pixels", 0, 200, 1920,
     [](const mox::Kernels& k, Feed& f, int n) {
       const Mox8u* const src[] = {f.in<Mox8u>(n), f.in<Mox8u>(n), f.in<Mox8u>(n), f.in<Mox8u>(n)};
       Mox8u* const dst[] = {f.out<Mox8u>(n), f.out<Mox8u>(n), f.out<Mox8u>(n), f.out<Mox8u>(n)};
       k.ycc->cmykPlanes(src, dst, n);
     }},
    {"ycc.cmyk", "pixels", 0, 200, 1920, pixels<Mox8u, 4, &YccKernels::cmyk>},
    {"ycc.lumaOfRgbPlanes", "pixels", 0, 200, 1920,
     [](const mox::Kernels& k, Feed& f, int n) {
       const Mox8u* const src[] = {f.in<Mox8u>(n), f.in<Mox8u>(n), f.in<Mox8u>(n)};
       k.ycc->lumaOfRgbPlanes(src, f.out<Mox8u>(n), n);
     }},
    {"ycc.lumaOfRgb", "pixels", 0, 260, 1920,
     [](const mox::Kernels& k, Feed& f, int n) { k.ycc->lumaOfRgb(f.in<Mox8u>(3 * n), f.out<Mox8u>(n), n); }},
    {"ycc.lumaOfBgr", "pixels", 0, 260, 1920,
     [](const mox::Kernels& k, Feed& f, int n) { k.ycc->lumaOfBgr(f.in<Mox8u>(3 * n), f.out<Mox8u>(n), n); }},
};

}  // namespace
}  // namespace test
