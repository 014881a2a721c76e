// Which target is chosen when the library is loaded: the best one that is built in and that the processor runs, or a
// plainer one that the environment names. The tool, which reports the choice, includes this header, too.
#pragma once

#include <cstdlib>
#include <cstring>

#include "kernels/cpu.h"

namespace mox::choice {

struct Rule {
  const char* name;
  bool (*runsOn)(const cpu::Processor&);  // whether such a processor can execute the target's code
};

inline bool always(const cpu::Processor&) { return true; }

// The targets in this build, from the scalar definition to the best.
inline constexpr Rule kRules[] = {
    {"scalar", always},
#if defined(MOX_HAVE_sse2)
    {"sse2", cpu::runsSse2},
#endif
#if defined(MOX_HAVE_sse41)
    {"sse41", cpu::runsSse41},
#endif
#if defined(MOX_HAVE_avx2)
    {"avx2", cpu::runsAvx2},
#endif
#if defined(MOX_HAVE_avx512)
    {"avx512", cpu::runsAvx512},
#endif
#if defined(MOX_HAVE_neon)
    {"neon", always},
#endif
};
inline constexpr int kCount = sizeof kRules / sizeof kRules[0];

// The target that the environment names, or null. A program with more privileges than its user does not listen to it.
inline const char* wanted() {
#if defined(__GLIBC__)
  return secure_getenv("MOXJ_TARGET");
#else
  return std::getenv("MOXJ_TARGET");
#endif
}

// Index of the target for a processor. The loop ends early at the wanted one, so that the choice is never raised and a
// name that is unknown, not built in or not for this processor leaves it as it is.
inline int choose(const cpu::Processor& here, const char* wanted) {
  int chosen = 0;
  for (int i = 0; i < kCount; i++) {
    if (!kRules[i].runsOn(here)) continue;
    chosen = i;
    if (wanted && std::strcmp(wanted, kRules[i].name) == 0) break;
  }
  return chosen;
}

}  // namespace mox::choice
