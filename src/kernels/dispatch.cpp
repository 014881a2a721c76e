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

// In the order of the rules.
constexpr Target kTargets[] = {
    {"scalar", &mox_kernels_scalar},
#if defined(MOX_HAVE_sse2)
    {"sse2", &mox_kernels_sse2},
#endif
#if defined(MOX_HAVE_sse41)
    {"sse41", &mox_kernels_sse41},
#endif
#if defined(MOX_HAVE_avx2)
    {"avx2", &mox_kernels_avx2},
#endif
#if defined(MOX_HAVE_avx512)
    {"avx512", &mox_kernels_avx512},
#endif
#if defined(MOX_HAVE_neon)
    {"neon", &mox_kernels_neon},
#endif
};

consteval bool isInOrder() {
  for (int i = 0; i < choice::kCount; i++)
    for (const char *a = kTargets[i].name, *b = choice::kRules[i].name; *a || *b; a++, b++)
      if (*a != *b) return false;
  return sizeof kTargets / sizeof kTargets[0] == choice::kCount;
}
static_assert(isInOrder());

}  // namespace

bool Target::runsHere() const { return choice::kRules[this - kTargets].runsOn(cpu::ask()); }

TargetList targets() { return {kTargets, choice::kCount}; }

constinit const Kernels* kernels::active = &mox_kernels_scalar;

__attribute__((constructor)) static void chooseTarget() {
  kernels::active = kTargets[choice::choose(cpu::ask(), choice::wanted())].kernels;
}

}  // namespace mox
