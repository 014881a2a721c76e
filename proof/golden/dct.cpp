#include "moxj.h"
#include "proof/blocks.h"
#include "proof/golden.h"

namespace test {
namespace {

constexpr int kRounds = 200;

// Arbitrary and typical tables, alternating.
std::vector<Mox16u> table(Random& random, int round, void (*realistic)(Random&, Mox16u*)) {
  std::vector<Mox16u> values = seeded<Mox16u>(random, 64);
  if (round % 2) realistic(random, values.data());
  return values;
}

// Arbitrary blocks, and blocks within the range of 8-bit samples and their coefficients.
std::vector<Mox16s> block(Random& random, int round) {
  std::vector<Mox16s> values = seeded<Mox16s>(random, 64);
  if (round % 4 >= 2)
    for (Mox16s& v : values) v = static_cast<Mox16s>(v >> 8);
  return values;
}

template <auto Function, auto Realistic>
void inPlace(Digest& digest, Random& random) {
  for (int round = 0; round < kRounds; round++) {
    auto values = block(random, round);
    digest.value(Function(values.data(), table(random, round, Realistic).data()));
    digest.values(values);
  }
}

template <auto Function, auto Realistic>
void outOfPlace(Digest& digest, Random& random) {
  for (int round = 0; round < kRounds; round++) {
    const auto values = block(random, round);
    std::vector<Mox16s> result(64);
    digest.value(Function(values.data(), result.data(), table(random, round, Realistic).data()));
    digest.values(values);
    digest.values(result);
  }
}

void forwardShifted(Digest& digest, Random& random) {
  for (int round = 0; round < kRounds; round++) {
    const int step = random.between(1, 40);
    const auto samples = seeded<Mox8u>(random, 7 * step + 8);
    std::vector<Mox16s> result(64);
    digest.value(moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples.data(), step, result.data(),
                                                     table(random, round, realisticReciprocals).data()));
    digest.values(result);
  }
}

void inverseShifted(Digest& digest, Random& random) {
  for (int round = 0; round < kRounds; round++) {
    const int step = random.between(1, 40);
    const auto levels = block(random, round);
    std::vector<Mox8u> samples(7 * step + 8);
    digest.value(moxiDCTQuantInv8x8LS_JPEG_16s8u_C1R(levels.data(), samples.data(), step,
                                                     table(random, round, realisticSteps).data()));
    digest.values(samples);
  }
}

void rawTable(Digest& digest, Random& random) {
  for (int quality = -10; quality <= 110; quality++) {
    if (quality == 0) continue;
    auto steps = seeded<Mox8u>(random, 64);
    digest.value(moxiQuantFwdRawTableInit_JPEG_8u(steps.data(), quality));
    digest.values(steps);
  }
}

template <auto Function>
void derivedTable(Digest& digest, Random& random) {
  for (int round = 0; round < kRounds; round++) {
    const auto steps = seeded<Mox8u>(random, 64);
    std::vector<Mox16u> derived(64);
    digest.value(Function(steps.data(), derived.data()));
    digest.values(derived);
  }
}

const GoldenCase kCases[] = {
    {"moxiQuantFwdRawTableInit_JPEG_8u", rawTable},
    {"moxiQuantFwdTableInit_JPEG_8u16u", derivedTable<moxiQuantFwdTableInit_JPEG_8u16u>},
    {"moxiQuantInvTableInit_JPEG_8u16u", derivedTable<moxiQuantInvTableInit_JPEG_8u16u>},
    {"moxiQuantFwd8x8_JPEG_16s_C1I", inPlace<moxiQuantFwd8x8_JPEG_16s_C1I, realisticReciprocals>},
    {"moxiQuantInv8x8_JPEG_16s_C1I", inPlace<moxiQuantInv8x8_JPEG_16s_C1I, realisticSteps>},
    {"moxiDCTQuantFwd8x8_JPEG_16s_C1", outOfPlace<moxiDCTQuantFwd8x8_JPEG_16s_C1, realisticReciprocals>},
    {"moxiDCTQuantFwd8x8_JPEG_16s_C1I", inPlace<moxiDCTQuantFwd8x8_JPEG_16s_C1I, realisticReciprocals>},
    {"moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R", forwardShifted},
    {"moxiDCTQuantInv8x8_JPEG_16s_C1", outOfPlace<moxiDCTQuantInv8x8_JPEG_16s_C1, realisticSteps>},
    {"moxiDCTQuantInv8x8_JPEG_16s_C1I", inPlace<moxiDCTQuantInv8x8_JPEG_16s_C1I, realisticSteps>},
    {"moxiDCTQuantInv8x8LS_JPEG_16s8u_C1R", inverseShifted},
};

}  // namespace

GoldenCases dctGolden() { return kCases; }

}  // namespace test
