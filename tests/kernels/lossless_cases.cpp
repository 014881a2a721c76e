#include "kernels/lossless.h"

#include "support/kernel_case.h"

namespace test {
namespace {

template <int Predictor>
void differ(const mox::Kernels& k, Feed& f, int n) {
  const Mox16s *const src = f.in<Mox16s>(n), *const above = f.in<Mox16s>(n);
  k.lossless->differ(src, above, f.out<Mox16s>(n), n, Predictor);
}

template <int Predictor>
void rebuild(const mox::Kernels& k, Feed& f, int n) {
  const Mox16s *const differences = f.in<Mox16s>(n), *const above = f.in<Mox16s>(n);
  k.lossless->rebuild(differences, above, f.out<Mox16s>(n), n, Predictor);
}

const AddKernelCases cases{
    {"lossless.differFirst", "samples", 1, 200, 1920,
     [](const mox::Kernels& k, Feed& f, int n) {
       k.lossless->differFirst(f.in<Mox16s>(n), f.out<Mox16s>(n), n, static_cast<Mox16s>(1 << n % 16));
     }},
    {"lossless.differ1", "samples", 1, 200, 1920, differ<1>},
    {"lossless.differ2", "samples", 1, 200, 1920, differ<2>},
    {"lossless.differ3", "samples", 1, 200, 1920, differ<3>},
    {"lossless.differ4", "samples", 1, 200, 1920, differ<4>},
    {"lossless.differ5", "samples", 1, 200, 1920, differ<5>},
    {"lossless.differ6", "samples", 1, 200, 1920, differ<6>},
    {"lossless.differ7", "samples", 1, 200, 1920, differ<7>},
    {"lossless.rebuildFirst", "samples", 1, 200, 1920,
     [](const mox::Kernels& k, Feed& f, int n) {
       k.lossless->rebuildFirst(f.in<Mox16s>(n), f.out<Mox16s>(n), n, static_cast<Mox16s>(1 << n % 16));
     }},
    {"lossless.rebuild1", "samples", 1, 200, 1920, rebuild<1>},
    {"lossless.rebuild2", "samples", 1, 200, 1920, rebuild<2>},
    {"lossless.rebuild3", "samples", 1, 200, 1920, rebuild<3>},
    {"lossless.rebuild4", "samples", 1, 200, 1920, rebuild<4>},
    {"lossless.rebuild5", "samples", 1, 200, 1920, rebuild<5>},
    {"lossless.rebuild6", "samples", 1, 200, 1920, rebuild<6>},
    {"lossless.rebuild7", "samples", 1, 200, 1920, rebuild<7>},
};

}  // namespace
}  // namespace test
