#include "kernels/colour/shift.h"

#include "support/kernel_case.h"

namespace test {

static const AddKernelCases cases{
    {"shift.sub128", "samples", 0, 200, 1920,
     [](const mox::Kernels& k, Feed& f, int n) { k.shift->sub128(f.in<Mox8u>(n), f.out<Mox16s>(n), n); }},
    {"shift.add128", "samples", 0, 200, 1920,
     [](const mox::Kernels& k, Feed& f, int n) { k.shift->add128(f.in<Mox16s>(n), f.out<Mox8u>(n), n); }},
};

}  // namespace test
