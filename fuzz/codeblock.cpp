// Decodes arbitrary bytes, divided into arbitrary segments, with arbitrary options, with both code-block decoders on
// different targets. The one-call decoder and the stepwise one must give the same status, bit-plane and coefficients.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "kernels/dispatch.h"
#include "moxj.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

struct Block {
  int width, height, subband, planes, passes, options;
  std::vector<std::vector<uint8_t>> segments;
};

struct Result {
  std::vector<Mox32s> coefficients;
  MoxStatus status = moxStatusOk;
  int32_t plane = 0;
};

// A work buffer of exactly the requested size, at any alignment.
class Work {
 public:
  Work(const Block& block, int misalignment, int filling) : misalignment_(misalignment) {
    int32_t size = 0;
    require(moxiDecodeGetBufSize_JPEG2K(block.width, block.height, &size) == moxStatusOk);
    bytes_.assign(static_cast<size_t>(size) + misalignment, static_cast<uint8_t>(filling));
    bytes_.shrink_to_fit();
  }
  uint8_t* data() { return bytes_.data() + misalignment_; }

 private:
  int misalignment_;
  std::vector<uint8_t> bytes_;
};

Result inOneCall(const Block& block, std::vector<Mox32s> coefficients, Work work) {
  Result r{std::move(coefficients)};
  std::vector<uint8_t> bytes;
  std::vector<int32_t> lengths;
  for (const auto& segment : block.segments) {
    bytes.insert(bytes.end(), segment.begin(), segment.end());
    lengths.push_back(static_cast<int32_t>(segment.size()));
  }
  bytes.shrink_to_fit();
  const uint8_t none = 0;
  const int32_t noLength = 0;
  int32_t plane = -99;
  r.status = moxiDecodeCodeBlock_JPEG2K_1u32s_C1R(
      bytes.empty() ? &none : bytes.data(), r.coefficients.data(), 4 * block.width, block.width, block.height,
      block.subband, block.planes, block.passes, lengths.empty() ? &noLength : lengths.data(),
      static_cast<int32_t>(lengths.size()), block.options, &plane, work.data());
  require((plane == -99) == (r.status == moxStatusOk));
  r.plane = plane;
  return r;
}

Result inSteps(const Block& block, std::vector<Mox32s> coefficients, Work work) {
  Result r{std::move(coefficients)};
  MoxJ2KDecodeState* const state = reinterpret_cast<MoxJ2KDecodeState*>(work.data());
  require(moxiDecodeCBProgrInit_JPEG2K(state) == moxStatusOk);
  require(moxiDecodeCBProgrAttach_JPEG2K_32s_C1R(r.coefficients.data(), 4 * block.width, block.width, block.height,
                                                 state, block.subband, block.planes, block.options) == moxStatusOk);
  require(moxiDecodeCBProgrSetPassCounter_JPEG2K(block.passes, state) == moxStatusOk);
  for (const auto& segment : block.segments) {
    const uint8_t none = 0;
    r.status = moxiDecodeCBProgrStep_JPEG2K(segment.empty() ? &none : segment.data(),
                                            static_cast<int32_t>(segment.size()), state);
    if (r.status != moxStatusOk) break;
  }
  require(moxiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(state, &r.plane) == moxStatusOk);
  // The last step of the one-call decoder.
  const bool fills = r.status != moxStatusOk && (block.options & moxJ2KFillOnError);
  const bool clears = !(block.options & moxJ2KKeepMidpoint) && r.plane >= 1;
  const uint32_t step = r.plane >= 0 && r.plane < 31 ? 1u << r.plane : 0;
  const uint32_t below = r.plane > 30 ? 0x7FFFFFFF : step ? step - 1 : 0;
  for (Mox32s& c : r.coefficients) {
    uint32_t value = static_cast<uint32_t>(c);
    if (fills || clears) value &= ~below;
    if (fills) value = value & 0x7FFFFFFF ? value | step : 0;
    c = static_cast<Mox32s>(value);
  }
  return r;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  constexpr int32_t kPlanes[] = {INT32_MIN, INT32_MAX, 0, -1, 31, 32, 33};
  Block block;
  block.width = input.ConsumeIntegralInRange(1, 40);
  block.height = input.ConsumeIntegralInRange(1, 20);
  block.subband = input.ConsumeIntegralInRange(0, 3);
  block.planes = input.ConsumeIntegralInRange(0, 15);
  if (block.planes == 15) block.planes = input.PickValueInArray(kPlanes);
  block.passes = input.ConsumeIntegralInRange(-1, 60);
  block.options = input.ConsumeIntegralInRange(0, 31) | input.ConsumeIntegralInRange(0, 31) << 16;
  const int filling = input.ConsumeIntegral<uint8_t>(), bits = input.ConsumeIntegral<int32_t>();
  const int misalignments[2] = {input.ConsumeIntegralInRange(0, 63), input.ConsumeIntegralInRange(0, 63)};
  const mox::TargetList targets = mox::targets();
  const mox::Target* chosen[2];
  for (const mox::Target*& target : chosen) {
    do {
      target = targets.begin() + input.ConsumeIntegralInRange(0, targets.count - 1);
    } while (!target->runsHere());
  }
  while (input.remaining_bytes() > 0 && block.segments.size() < 70) {
    block.segments.push_back(input.ConsumeBytes<uint8_t>(input.ConsumeIntegralInRange(0, 80)));
    block.segments.back().shrink_to_fit();
  }

  const std::vector<Mox32s> before(static_cast<size_t>(block.width) * block.height, bits);
  mox::kernels::active = chosen[0]->kernels;
  const Result whole = inOneCall(block, before, Work(block, misalignments[0], filling));
  mox::kernels::active = chosen[1]->kernels;
  const Result steps = inSteps(block, before, Work(block, misalignments[1], filling));
  require(whole.status == steps.status);
  require(whole.status == moxStatusOk || (whole.status == moxStatusDecodeFailed && whole.plane == steps.plane));
  require(whole.coefficients == steps.coefficients);
  return 0;
}
