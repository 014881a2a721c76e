#include "kernels/colour/sample.h"

#include "support/kernel_case.h"

namespace test {
namespace {

// Biases in either order, depending on n.
mox::Bias bias(int n, int low) { return n % 2 ? mox::Bias{low, low + 1} : mox::Bias{low + 1, low}; }

size_t columns(int n) { return (static_cast<size_t>(n) + 1) / 2; }

const AddKernelCases cases{
    {"sample.downH2V1", "outputs", 0, 300, 960,
     [](const mox::Kernels& k, Feed& f, int n) {
       const Mox8u* const src = f.in<Mox8u>(2 * n);
       k.sample->downH2V1(src, f.out<Mox8u>(n), n, bias(n, 0));
     }},
    {"sample.downH2V2", "outputs", 0, 300, 960,
     [](const mox::Kernels& k, Feed& f, int n) {
       const Mox8u* const upper = f.in<Mox8u>(2 * n);
       const Mox8u* const lower = f.in<Mox8u>(2 * n);
       k.sample->downH2V2(upper, lower, f.out<Mox8u>(n), n, bias(n, n % 3));
     }},
    {"sample.upH2V1", "outputs", 0, 600, 1920,
     [](const mox::Kernels& k, Feed& f, int n) {
       const Mox8u* const border = f.in<Mox8u>(2);
       const Mox8u* const src = f.in<Mox8u>(columns(n));
       k.sample->upH2V1(src, border[0], border[1], f.out<Mox8u>(n), n);
     }},
    {"sample.upH2V2", "outputs", 0, 600, 1920,
     [](const mox::Kernels& k, Feed& f, int n) {
       const Mox8u* const border = f.in<Mox8u>(4);
       const Mox8u* const near = f.in<Mox8u>(columns(n));
       const Mox8u* const far = f.in<Mox8u>(columns(n));
       k.sample->upH2V2(near, far, 3 * border[0] + border[1], 3 * border[2] + border[3], f.out<Mox8u>(n), n);
     }},
};

}  // namespace
}  // namespace test
