// Runs a part of a test once for each target that this machine can execute, with the library's kernels set to it.
#pragma once

#include "kernels/dispatch.h"

namespace test {

template <class Body>
void forEachTarget(const Body& body) {
  const mox::Kernels* const chosen = mox::kernels::active;
  for (const mox::Target& target : mox::targets()) {
    if (!target.runsHere()) continue;
    mox::kernels::active = target.kernels;
    body(target);
  }
  mox::kernels::active = chosen;
}

}  // namespace test
