#include "kernels/colour/rgb.h"

#include "support/kernel_case.h"

namespace test {
namespace {

using mox::RgbKernels;

template <class Sample, int Samples, auto Kernel>
void pixels(const mox::Kernels& k, Feed& f, int n) {
  const Mox8u* const src[] = {f.in<Mox8u>(n), f.in<Mox8u>(n), f.in<Mox8u>(n), Samples == 4 ? f.in<Mox8u>(n) : nullptr};
  (k.rgb->*Kernel)(src, f.out<Sample>(static_cast<size_t>(Samples) * n), n);
}

const AddKernelCases cases{
    {"rgb.rgbPlanes", "pixels", 0, 200, 1920,
     [](const mox::Kernels& k, Feed& f, int n) {
       const Mox8u* const src[] = {f.in<Mox8u>(n), f.in<Mox8u>(n), f.in<Mox8u>(n)};
       Mox8u* const dst[] = {f.out<Mox8u>(n), f.out<Mox8u>(n), f.out<Mox8u>(n)};
       k.rgb->rgbPlanes(src, dst, n);
     }},
    {"rgb.rgb", "pixels", 0, 260, 1920, pixels<Mox8u, 3, &RgbKernels::rgb>},
    {"rgb.bgr", "pixels", 0, 260, 1920, pixels<Mox8u, 3, &RgbKernels::bgr>},
    {"rgb.rgb555", "pixels", 0, 200, 1920, pixels<Mox16u, 1, &RgbKernels::rgb555>},
    {"rgb.bgr555", "pixels", 0, 200, 1920, pixels<Mox16u, 1, &RgbKernels::bgr555>},
    {"rgb.rgb565", "pixels", 0, 200, 1920, pixels<Mox16u, 1, &RgbKernels::rgb565>},
    {"rgb.bgr565", "pixels", 0, 200, 1920, pixels<Mox16u, 1, &RgbKernels::bgr565>},
    {"rgb.cmykPlanes", "pixels", 0, 200, 1920,
     [](const mox::Kernels& k, Feed& f, int n) {
       const Mox8u* const src[] = {f.in<Mox8u>(n), f.in<Mox8u>(n), f.in<Mox8u>(n), f.in<Mox8u>(n)};
       Mox8u* const dst[] = {f.out<Mox8u>(n), f.out<Mox8u>(n), f.out<Mox8u>(n), f.out<Mox8u>(n)};
       k.rgb->cmykPlanes(src, dst, n);
     }},
    {"rgb.cmyk", "pixels", 0, 200, 1920, pixels<Mox8u, 4, &RgbKernels::cmyk>},
};

}  // namespace
}  // namespace test
