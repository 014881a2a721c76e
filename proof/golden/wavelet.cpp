// Golden checksums of the wavelets.
#include <algorithm>

#include "moxj.h"
#include "proof/golden.h"

namespace test {
namespace {

constexpr MoxRect kShapes[] = {{0, 0, 1, 1}, {1, 1, 1, 3}, {0, 1, 2, 2}, {1, 0, 37, 5}, {1, 1, 5, 40}, {0, 0, 130, 70}};

// Floats are made from integers: their bits, and those of sums of products of them, are the same everywhere.
template <class T>
std::vector<T> values(Random& random, int count) {
  if constexpr (std::is_same_v<T, Mox32f>) {
    std::vector<T> result;
    for (int i = 0; i < count; i++) result.push_back(static_cast<T>(random.between(-100000, 100000)) / 8);
    return result;
  } else {
    return seeded<T>(random, static_cast<size_t>(count));
  }
}

template <auto Function>
void size(Digest& digest, Random& random) {
  for (int i = 0; i < 50; i++) {
    const MoxRect roi = {0, 0, random.between(-3, 5000), random.between(-3, 5000)};
    int32_t bytes = 0;
    digest.value(Function(&roi, &bytes));
    digest.value(bytes);
  }
}

template <class T>
std::vector<Mox8u> bufferFor(const MoxRect& roi) {
  const int longest = std::max(roi.width, roi.height) + 8;
  return std::vector<Mox8u>(sizeof(T) * static_cast<size_t>((roi.width + 16) * roi.height + longest));
}

template <class T, auto Function>
void inPlace(Digest& digest, Random& random) {
  for (const MoxRect& roi : kShapes) {
    std::vector<T> plane = values<T>(random, roi.width * roi.height);
    digest.value(Function(plane.data(), roi.width * static_cast<int32_t>(sizeof(T)), &roi, bufferFor<T>(roi).data()));
    digest.values(plane);
  }
}

// Four planes as large as the whole.
template <class T>
struct Bands {
  std::vector<T> planes[4];
  T* pointers[4];
  int32_t steps[4];
  Bands(Random& random, const MoxRect& roi) {
    for (int i = 0; i < 4; i++) {
      planes[i] = values<T>(random, roi.width * roi.height);
      pointers[i] = planes[i].data();
      steps[i] = roi.width * static_cast<int32_t>(sizeof(T));
    }
  }
};

template <class T, auto Function>
void forward(Digest& digest, Random& random) {
  for (const MoxRect& roi : kShapes) {
    const std::vector<T> plane = values<T>(random, roi.width * roi.height);
    Bands<T> bands(random, roi);
    digest.value(Function(plane.data(), bands.steps[0], &roi, bands.pointers, bands.steps, bufferFor<T>(roi).data()));
    for (const auto& band : bands.planes) digest.values(band);
  }
}

template <class T, auto Function>
void inverse(Digest& digest, Random& random) {
  for (const MoxRect& roi : kShapes) {
    const Bands<T> bands(random, roi);
    std::vector<T> plane(static_cast<size_t>(roi.width * roi.height));
    digest.value(Function(bands.pointers, bands.steps, plane.data(), bands.steps[0], &roi, bufferFor<T>(roi).data()));
    digest.values(plane);
  }
}

// Rows and columns alike: planes with room for what is read around the region.
constexpr int kAround = 4;
constexpr MoxRoiSize kBands[] = {{1, 1}, {2, 3}, {19, 1}, {1, 20}, {70, 35}};

template <class T, auto Function, bool Columns>
void forwardLines(Digest& digest, Random& random) {
  for (const MoxRoiSize roi : kBands) {
    for (uint32_t phase = 0; phase < 2; phase++) {
      const int width = (Columns ? 1 : 2) * roi.width + 2 * kAround,
                height = (Columns ? 2 : 1) * roi.height + 2 * kAround;
      const std::vector<T> src = values<T>(random, width * height);
      std::vector<T> low(static_cast<size_t>(roi.width * roi.height)), high(low.size());
      const int32_t sample = static_cast<int32_t>(sizeof(T));
      digest.value(Function(src.data() + kAround * width + kAround, width * sample, low.data(), roi.width * sample,
                            high.data(), roi.width * sample, roi, phase));
      digest.values(low);
      digest.values(high);
    }
  }
}

template <class T, auto Function, bool Columns>
void inverseLines(Digest& digest, Random& random) {
  for (const MoxRoiSize roi : kBands) {
    for (uint32_t phase = 0; phase < 2; phase++) {
      const int width = roi.width + 2 * kAround, height = roi.height + 2 * kAround;
      const std::vector<T> low = values<T>(random, width * height), high = values<T>(random, width * height);
      std::vector<T> dst(static_cast<size_t>(2 * roi.width * roi.height));
      const int32_t step = width * static_cast<int32_t>(sizeof(T));
      digest.value(Function(low.data() + kAround * width + kAround, step, high.data() + kAround * width + kAround, step,
                            roi, dst.data(), (Columns ? 1 : 2) * roi.width * static_cast<int32_t>(sizeof(T)), phase));
      digest.values(dst);
    }
  }
}

template <class T, auto Function, size_t... Row>
void liftRows(Digest& digest, Random& random, std::index_sequence<Row...>) {
  for (const int width : {1, 8, 9, 100}) {
    std::vector<T> rows[] = {(static_cast<void>(Row), values<T>(random, width))...};
    digest.value(Function(rows[Row].data()..., width));
    for (const auto& row : rows) digest.values(row);
  }
}
template <class T, auto Function, int Rows>
void lift(Digest& digest, Random& random) {
  liftRows<T, Function>(digest, random, std::make_index_sequence<Rows>());
}

const GoldenCase kCases[] = {
    {"moxiWTFwdColLift_B53_JPEG2K_16s_C1", lift<Mox16s, moxiWTFwdColLift_B53_JPEG2K_16s_C1, 6>},
    {"moxiWTFwdColLift_B53_JPEG2K_32s_C1", lift<Mox32s, moxiWTFwdColLift_B53_JPEG2K_32s_C1, 6>},
    {"moxiWTFwdColLift_D97_JPEG2K_16s_C1", lift<Mox16s, moxiWTFwdColLift_D97_JPEG2K_16s_C1, 8>},
    {"moxiWTFwdColLift_D97_JPEG2K_32f_C1", lift<Mox32f, moxiWTFwdColLift_D97_JPEG2K_32f_C1, 8>},
    {"moxiWTFwdColLift_D97_JPEG2K_32s_C1", lift<Mox32s, moxiWTFwdColLift_D97_JPEG2K_32s_C1, 8>},
    {"moxiWTFwdCol_B53_JPEG2K_16s_C1R", forwardLines<Mox16s, moxiWTFwdCol_B53_JPEG2K_16s_C1R, true>},
    {"moxiWTFwdCol_B53_JPEG2K_32s_C1R", forwardLines<Mox32s, moxiWTFwdCol_B53_JPEG2K_32s_C1R, true>},
    {"moxiWTFwdCol_D97_JPEG2K_32f_C1R", forwardLines<Mox32f, moxiWTFwdCol_D97_JPEG2K_32f_C1R, true>},
    {"moxiWTFwdRow_B53_JPEG2K_16s_C1R", forwardLines<Mox16s, moxiWTFwdRow_B53_JPEG2K_16s_C1R, false>},
    {"moxiWTFwdRow_B53_JPEG2K_32s_C1R", forwardLines<Mox32s, moxiWTFwdRow_B53_JPEG2K_32s_C1R, false>},
    {"moxiWTFwdRow_D97_JPEG2K_16s_C1R", forwardLines<Mox16s, moxiWTFwdRow_D97_JPEG2K_16s_C1R, false>},
    {"moxiWTFwdRow_D97_JPEG2K_32f_C1R", forwardLines<Mox32f, moxiWTFwdRow_D97_JPEG2K_32f_C1R, false>},
    {"moxiWTFwdRow_D97_JPEG2K_32s_C1R", forwardLines<Mox32s, moxiWTFwdRow_D97_JPEG2K_32s_C1R, false>},
    {"moxiWTFwd_B53_JPEG2K_16s_C1IR", inPlace<Mox16s, moxiWTFwd_B53_JPEG2K_16s_C1IR>},
    {"moxiWTFwd_B53_JPEG2K_16s_C1R", forward<Mox16s, moxiWTFwd_B53_JPEG2K_16s_C1R>},
    {"moxiWTFwd_B53_JPEG2K_32s_C1IR", inPlace<Mox32s, moxiWTFwd_B53_JPEG2K_32s_C1IR>},
    {"moxiWTFwd_B53_JPEG2K_32s_C1R", forward<Mox32s, moxiWTFwd_B53_JPEG2K_32s_C1R>},
    {"moxiWTFwd_D97_JPEG2K_16s_C1IR", inPlace<Mox16s, moxiWTFwd_D97_JPEG2K_16s_C1IR>},
    {"moxiWTFwd_D97_JPEG2K_16s_C1R", forward<Mox16s, moxiWTFwd_D97_JPEG2K_16s_C1R>},
    {"moxiWTFwd_D97_JPEG2K_32s_C1IR", inPlace<Mox32s, moxiWTFwd_D97_JPEG2K_32s_C1IR>},
    {"moxiWTFwd_D97_JPEG2K_32s_C1R", forward<Mox32s, moxiWTFwd_D97_JPEG2K_32s_C1R>},
    {"moxiWTGetBufSize_B53_JPEG2K_16s_C1IR", size<moxiWTGetBufSize_B53_JPEG2K_16s_C1IR>},
    {"moxiWTGetBufSize_B53_JPEG2K_16s_C1R", size<moxiWTGetBufSize_B53_JPEG2K_16s_C1R>},
    {"moxiWTGetBufSize_B53_JPEG2K_32s_C1IR", size<moxiWTGetBufSize_B53_JPEG2K_32s_C1IR>},
    {"moxiWTGetBufSize_B53_JPEG2K_32s_C1R", size<moxiWTGetBufSize_B53_JPEG2K_32s_C1R>},
    {"moxiWTGetBufSize_D97_JPEG2K_16s_C1IR", size<moxiWTGetBufSize_D97_JPEG2K_16s_C1IR>},
    {"moxiWTGetBufSize_D97_JPEG2K_16s_C1R", size<moxiWTGetBufSize_D97_JPEG2K_16s_C1R>},
    {"moxiWTGetBufSize_D97_JPEG2K_32s_C1IR", size<moxiWTGetBufSize_D97_JPEG2K_32s_C1IR>},
    {"moxiWTGetBufSize_D97_JPEG2K_32s_C1R", size<moxiWTGetBufSize_D97_JPEG2K_32s_C1R>},
    {"moxiWTInvColLift_B53_JPEG2K_16s_C1", lift<Mox16s, moxiWTInvColLift_B53_JPEG2K_16s_C1, 6>},
    {"moxiWTInvColLift_B53_JPEG2K_32s_C1", lift<Mox32s, moxiWTInvColLift_B53_JPEG2K_32s_C1, 6>},
    {"moxiWTInvColLift_D97_JPEG2K_16s_C1", lift<Mox16s, moxiWTInvColLift_D97_JPEG2K_16s_C1, 8>},
    {"moxiWTInvColLift_D97_JPEG2K_32f_C1", lift<Mox32f, moxiWTInvColLift_D97_JPEG2K_32f_C1, 8>},
    {"moxiWTInvColLift_D97_JPEG2K_32s_C1", lift<Mox32s, moxiWTInvColLift_D97_JPEG2K_32s_C1, 8>},
    {"moxiWTInvCol_B53_JPEG2K_16s_C1R", inverseLines<Mox16s, moxiWTInvCol_B53_JPEG2K_16s_C1R, true>},
    {"moxiWTInvCol_B53_JPEG2K_32s_C1R", inverseLines<Mox32s, moxiWTInvCol_B53_JPEG2K_32s_C1R, true>},
    {"moxiWTInvCol_D97_JPEG2K_32f_C1R", inverseLines<Mox32f, moxiWTInvCol_D97_JPEG2K_32f_C1R, true>},
    {"moxiWTInvRow_B53_JPEG2K_16s_C1R", inverseLines<Mox16s, moxiWTInvRow_B53_JPEG2K_16s_C1R, false>},
    {"moxiWTInvRow_B53_JPEG2K_32s_C1R", inverseLines<Mox32s, moxiWTInvRow_B53_JPEG2K_32s_C1R, false>},
    {"moxiWTInvRow_D97_JPEG2K_16s_C1R", inverseLines<Mox16s, moxiWTInvRow_D97_JPEG2K_16s_C1R, false>},
    {"moxiWTInvRow_D97_JPEG2K_32f_C1R", inverseLines<Mox32f, moxiWTInvRow_D97_JPEG2K_32f_C1R, false>},
    {"moxiWTInvRow_D97_JPEG2K_32s_C1R", inverseLines<Mox32s, moxiWTInvRow_D97_JPEG2K_32s_C1R, false>},
    {"moxiWTInv_B53_JPEG2K_16s_C1IR", inPlace<Mox16s, moxiWTInv_B53_JPEG2K_16s_C1IR>},
    {"moxiWTInv_B53_JPEG2K_16s_C1R", inverse<Mox16s, moxiWTInv_B53_JPEG2K_16s_C1R>},
    {"moxiWTInv_B53_JPEG2K_32s_C1IR", inPlace<Mox32s, moxiWTInv_B53_JPEG2K_32s_C1IR>},
    {"moxiWTInv_B53_JPEG2K_32s_C1R", inverse<Mox32s, moxiWTInv_B53_JPEG2K_32s_C1R>},
    {"moxiWTInv_D97_JPEG2K_16s_C1IR", inPlace<Mox16s, moxiWTInv_D97_JPEG2K_16s_C1IR>},
    {"moxiWTInv_D97_JPEG2K_16s_C1R", inverse<Mox16s, moxiWTInv_D97_JPEG2K_16s_C1R>},
    {"moxiWTInv_D97_JPEG2K_32s_C1IR", inPlace<Mox32s, moxiWTInv_D97_JPEG2K_32s_C1IR>},
    {"moxiWTInv_D97_JPEG2K_32s_C1R", inverse<Mox32s, moxiWTInv_D97_JPEG2K_32s_C1R>},
};

}  // namespace

GoldenCases waveletGolden() { return kCases; }

}  // namespace test
