#include "moxj.h"
#include "proof/golden.h"

namespace test {
namespace {

template <class Src, class Dst, auto Function>
void region(Digest& digest, Random& random) {
  for (const MoxRoiSize roi : {MoxRoiSize{1, 1}, MoxRoiSize{37, 5}, MoxRoiSize{130, 70}}) {
    const auto src = seeded<Src>(random, static_cast<size_t>(roi.width) * roi.height);
    std::vector<Dst> dst(src.size());
    digest.value(Function(src.data(), roi.width * static_cast<int>(sizeof(Src)), dst.data(),
                          roi.width * static_cast<int>(sizeof(Dst)), roi));
    digest.values(dst);
  }
}

const GoldenCase kCases[] = {
    {"moxiSub128_JPEG_8u16s_C1R", region<Mox8u, Mox16s, moxiSub128_JPEG_8u16s_C1R>},
    {"moxiAdd128_JPEG_16s8u_C1R", region<Mox16s, Mox8u, moxiAdd128_JPEG_16s8u_C1R>},
};

}  // namespace

GoldenCases shiftGolden() { return kCases; }

}  // namespace test
