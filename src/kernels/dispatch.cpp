#include "kernels/dispatch.h"

#define MOX_DECLARE(target) extern "C" __attribute__((visibility("hidden"))) const mox::Kernels mox_kernels_##target
MOX_DECLARE(scalar);
MOX_DECLARE(sse2);
MOX_DECLARE(sse41);
MOX_DECLARE(avx2);
MOX_DECLARE(avx512);
MOX_DECLARE(neon);

namespace mox {
namespace {

bool always(const cpu::Processor&) { return true; }

constexpr Target kTargets[] = {
    {"scalar", &mox_kernels_scalar, always},
#if defined(MOX_HAVE_sse2)
    {"sse2", &mox_kernels_sse2, cpu::runsSse2},
#endif
#if defined(MOX_HAVE_sse41)
    {"sse41", &mox_kernels_sse41, cpu::runsSse41},
#endif
#if defined(MOX_HAVE_avx2)
    {"avx2", &mox_kernels_avx2, cpu::runsAvx2},
#endif
#if defined(MOX_HAVE_avx512)
    {"avx512", &mox_kernels_avx512, cpu::runsAvx512},
#endif
#if defined(MOX_HAVE_neon)
    {"neon", &mox_kernels_neon, always},
#endif
};

}  // namespace

TargetList targets() { return {kTargets, static_cast<int>(sizeof kTargets / sizeof kTargets[0])}; }

constinit const Kernels* kernels::active = &mox_kernels_scalar;

__attribute__((constructor)) static void chooseBest() {
  const cpu::Processor here = cpu::ask();
  for (const Target& target : targets())
    if (target.runsOn(here)) kernels::active = target.kernels;
}

}  // namespace mox
