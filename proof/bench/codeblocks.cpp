// JPEG 2000 code-blocks of 64 x 64 coefficients, of the HL band of a picture's 5/3 transform.
#include <cstdlib>
#include <memory>

#include "proof/bench.h"
#include "proof/bench/data.h"

namespace moxj::proof {
namespace {

constexpr int kBlock = 64, kSide = 2 * kBlock;
constexpr double kSamples = double{kBlock} * kBlock;
constexpr MoxRect kPlane = {0, 0, kSide, kSide};

// The band as the coder takes it: magnitude and sign.
std::vector<Mox32s> band() {
  const std::vector<Mox32s> samples = centred<Mox32s>(picture(kSide, kSide, 1));
  std::vector<Mox32s> bands[4];
  Mox32s* pointers[4];
  int32_t steps[4], size = 0;
  for (int i = 0; i < 4; i++) {
    bands[i].resize(kBlock * kBlock);
    pointers[i] = bands[i].data();
    steps[i] = kBlock * 4;
  }
  moxiWTGetBufSize_B53_JPEG2K_32s_C1R(&kPlane, &size);
  std::vector<Mox8u> buffer(static_cast<size_t>(size));
  moxiWTFwd_B53_JPEG2K_32s_C1R(samples.data(), kSide * 4, &kPlane, pointers, steps, buffer.data());
  for (Mox32s& c : bands[1]) c = static_cast<Mox32s>(static_cast<Mox32u>(std::abs(c)) | (c < 0 ? 0x80000000u : 0));
  return bands[1];
}

class Coder {
 public:
  Coder() {
    int32_t size = 0;
    moxiEncodeInitAlloc_JPEG2K(&state_, kBlock, kBlock);
    moxiDecodeGetBufSize_JPEG2K(kBlock, kBlock, &size);
    buffer_.resize(static_cast<size_t>(size));
    encode();
    moxiEncodeGetTermPassLen_JPEG2K(state_, 0, &segment_);
  }
  ~Coder() { moxiEncodeFree_JPEG2K(state_); }
  Coder(const Coder&) = delete;
  Coder& operator=(const Coder&) = delete;

  MoxStatus encode() {
    int32_t segments = 0, left = 0;
    const MoxStatus status =
        moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R(band_.data(), kBlock * 4, kBlock, kBlock, state_, moxJ2KSubbandHL, 31,
                                               moxJ2KTermFlush, 0, 0, &planes_, &passes_, &segments);
    if (status < 0) return status;
    int32_t length = static_cast<int32_t>(bytes_.size());
    return moxiEncodeStoreBits_JPEG2K_1u(bytes_.data(), &length, state_, &left);
  }

  MoxStatus decode() {
    return moxiDecodeCodeBlock_JPEG2K_1u32s_C1R(bytes_.data(), decoded_.data(), kBlock * 4, kBlock, kBlock,
                                                moxJ2KSubbandHL, planes_, passes_, &segment_, 1, 0, nullptr,
                                                buffer_.data());
  }

 private:
  const std::vector<Mox32s> band_ = band();
  std::vector<Mox32s> decoded_ = band_;
  std::vector<Mox8u> bytes_ = std::vector<Mox8u>(1 << 16), buffer_;
  MoxJ2KEncodeState* state_ = nullptr;
  int32_t planes_ = 0, passes_ = 0, segment_ = 0;
};

template <auto Member>
Run coded() {
  return [coder = std::make_shared<Coder>()] { return (coder.get()->*Member)(); };
}

const Workload kWorkloads[] = {
    {"code-block", "encode", "coefficient", kSamples, 4 * kSamples, coded<&Coder::encode>},
    {"code-block", "decode", "coefficient", kSamples, 4 * kSamples, coded<&Coder::decode>},
};

}  // namespace

Workloads codeBlockWorkloads() { return kWorkloads; }

}  // namespace moxj::proof
