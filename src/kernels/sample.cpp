#include "kernels/sample.h"

#include "kernels/vec.h"

namespace mox::MOX_TARGET {
namespace {

void downH2V1(const Mox8u* src, Mox8u* dst, ptrdiff_t count, Bias bias) {
  for (ptrdiff_t i = 0; i < count; i++)
    dst[i] = definition::downH2V1(src[2 * i], src[2 * i + 1], i % 2 ? bias.odd : bias.even);
}

void downH2V2(const Mox8u* upper, const Mox8u* lower, Mox8u* dst, ptrdiff_t count, Bias bias) {
  for (ptrdiff_t i = 0; i < count; i++)
    dst[i] = definition::downH2V2(upper[2 * i], upper[2 * i + 1], lower[2 * i], lower[2 * i + 1],
                                  i % 2 ? bias.odd : bias.even);
}

void upH2V1(const Mox8u* src, int before, int after, Mox8u* dst, ptrdiff_t count) {
  const ptrdiff_t columns = (count + 1) / 2;
  for (ptrdiff_t i = 0; i < count; i++) {
    const ptrdiff_t k = i / 2;
    if (i % 2 == 0)
      dst[i] = definition::upLeft(src[k], k > 0 ? src[k - 1] : before);
    else
      dst[i] = definition::upRight(src[k], k + 1 < columns ? src[k + 1] : after);
  }
}

void upH2V2(const Mox8u* near, const Mox8u* far, int before, int after, Mox8u* dst, ptrdiff_t count) {
  const ptrdiff_t columns = (count + 1) / 2;
  const auto sum = [=](ptrdiff_t k) {
    return k < 0 ? before : k < columns ? definition::columnSum(near[k], far[k]) : after;
  };
  for (ptrdiff_t i = 0; i < count; i++) {
    const ptrdiff_t k = i / 2;
    dst[i] =
        i % 2 == 0 ? definition::upLeftOfSums(sum(k), sum(k - 1)) : definition::upRightOfSums(sum(k), sum(k + 1));
  }
}

}  // namespace

const SampleKernels sampleKernels = {downH2V1, downH2V2, upH2V1, upH2V2};

}  // namespace mox::MOX_TARGET
