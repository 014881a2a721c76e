#include "moxj.h"
#include "proof/golden.h"

namespace test {
namespace {

constexpr MoxRoiSize kSizes[] = {{1, 1}, {37, 5}, {130, 70}};

// Floats are made from integers: their bits, and those of sums of products of them, are the same everywhere.
template <class T>
std::vector<T> samples(Random& random, size_t count) {
  std::vector<T> values;
  for (size_t i = 0; i < count; i++) {
    if constexpr (std::is_same_v<T, Mox32f>)
      values.push_back(static_cast<Mox32f>(random.between(-100000, 100000)) / 8);
    else
      values.push_back(random.oneIn(4) ? random.extreme<T>() : random.any<T>());
  }
  return values;
}

template <class T, auto Function>
void inPlace(Digest& digest, Random& random) {
  for (const MoxRoiSize roi : kSizes) {
    std::vector<T> planes[3];
    for (auto& plane : planes) plane = samples<T>(random, static_cast<size_t>(roi.width) * roi.height);
    T* const pointers[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
    digest.value(Function(pointers, roi.width * static_cast<int32_t>(sizeof(T)), roi));
    for (const auto& plane : planes) digest.values(plane);
  }
}

template <class T, auto Function>
void toPlanes(Digest& digest, Random& random) {
  for (const MoxRoiSize roi : kSizes) {
    const size_t count = static_cast<size_t>(roi.width) * roi.height;
    const int32_t step = roi.width * static_cast<int32_t>(sizeof(T));
    const std::vector<T> pixels = samples<T>(random, 3 * count);
    std::vector<T> planes[3] = {std::vector<T>(count), std::vector<T>(count), std::vector<T>(count)};
    T* const pointers[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
    digest.value(Function(pixels.data(), 3 * step, pointers, step, roi));
    for (const auto& plane : planes) digest.values(plane);
  }
}

template <class T, auto Function>
void toPixels(Digest& digest, Random& random) {
  for (const MoxRoiSize roi : kSizes) {
    const size_t count = static_cast<size_t>(roi.width) * roi.height;
    const int32_t step = roi.width * static_cast<int32_t>(sizeof(T));
    std::vector<T> planes[3];
    for (auto& plane : planes) plane = samples<T>(random, count);
    const T* const pointers[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
    std::vector<T> pixels(3 * count);
    digest.value(Function(pointers, step, pixels.data(), 3 * step, roi));
    digest.values(pixels);
  }
}

const GoldenCase kCases[] = {
    {"moxiRCTFwd_JPEG2K_16s_C3P3R", toPlanes<Mox16s, moxiRCTFwd_JPEG2K_16s_C3P3R>},
    {"moxiRCTFwd_JPEG2K_32s_C3P3R", toPlanes<Mox32s, moxiRCTFwd_JPEG2K_32s_C3P3R>},
    {"moxiICTFwd_JPEG2K_32f_C3P3R", toPlanes<Mox32f, moxiICTFwd_JPEG2K_32f_C3P3R>},
    {"moxiRCTInv_JPEG2K_16s_P3C3R", toPixels<Mox16s, moxiRCTInv_JPEG2K_16s_P3C3R>},
    {"moxiRCTInv_JPEG2K_32s_P3C3R", toPixels<Mox32s, moxiRCTInv_JPEG2K_32s_P3C3R>},
    {"moxiICTInv_JPEG2K_32f_P3C3R", toPixels<Mox32f, moxiICTInv_JPEG2K_32f_P3C3R>},
    {"moxiRCTFwd_JPEG2K_16s_P3IR", inPlace<Mox16s, moxiRCTFwd_JPEG2K_16s_P3IR>},
    {"moxiRCTFwd_JPEG2K_32s_P3IR", inPlace<Mox32s, moxiRCTFwd_JPEG2K_32s_P3IR>},
    {"moxiRCTInv_JPEG2K_16s_P3IR", inPlace<Mox16s, moxiRCTInv_JPEG2K_16s_P3IR>},
    {"moxiRCTInv_JPEG2K_32s_P3IR", inPlace<Mox32s, moxiRCTInv_JPEG2K_32s_P3IR>},
    {"moxiICTFwd_JPEG2K_16s_P3IR", inPlace<Mox16s, moxiICTFwd_JPEG2K_16s_P3IR>},
    {"moxiICTFwd_JPEG2K_32s_P3IR", inPlace<Mox32s, moxiICTFwd_JPEG2K_32s_P3IR>},
    {"moxiICTFwd_JPEG2K_32f_P3IR", inPlace<Mox32f, moxiICTFwd_JPEG2K_32f_P3IR>},
    {"moxiICTInv_JPEG2K_16s_P3IR", inPlace<Mox16s, moxiICTInv_JPEG2K_16s_P3IR>},
    {"moxiICTInv_JPEG2K_32s_P3IR", inPlace<Mox32s, moxiICTInv_JPEG2K_32s_P3IR>},
    {"moxiICTInv_JPEG2K_32f_P3IR", inPlace<Mox32f, moxiICTInv_JPEG2K_32f_P3IR>},
};

}  // namespace

GoldenCases componentsGolden() { return kCases; }

}  // namespace test
