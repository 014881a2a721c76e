// Rows so wide that their pixels' offsets in bytes leave 32 bits. Their addresses are a few megabytes of memory, mapped
// repeatedly.
#include <gtest/gtest.h>

#if defined(__linux__) && defined(__LP64__)
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "kernels/colour/rgb.h"
#include "kernels/colour/ycc.h"
#include "kernels/dispatch.h"
#include "moxj.h"

namespace test {
namespace {

class RepeatedMemory {
 public:
  static constexpr size_t kPeriod = size_t{3} << 22;  // of whole pixels of three bytes, and of whole pages

  explicit RepeatedMemory(size_t bytes) : size_((bytes + kPeriod - 1) / kPeriod * kPeriod) {
    const int file = memfd_create("rows", 0);
    if (file < 0 || ftruncate(file, kPeriod) != 0) std::abort();
    void* const map = mmap(nullptr, size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (map == MAP_FAILED) std::abort();
    first_ = static_cast<Mox8u*>(map);
    for (size_t at = 0; at < size_; at += kPeriod)
      if (mmap(first_ + at, kPeriod, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, file, 0) == MAP_FAILED)
        std::abort();
    close(file);
  }
  ~RepeatedMemory() { munmap(first_, size_); }
  RepeatedMemory(const RepeatedMemory&) = delete;
  RepeatedMemory& operator=(const RepeatedMemory&) = delete;

  Mox8u* at() { return first_; }

 private:
  size_t size_;
  Mox8u* first_;
};

// Column 715827883 of three bytes a pixel begins at byte 2^31 + 1; the last column is in the tail, which is not left to
// vectors.
constexpr int kWide = 715827885;
constexpr size_t kPixels = kWide;

// Each takes a second, and minutes under an emulator.
bool skipped() { return std::getenv("MOX_TEST_SAMPLED") != nullptr; }

TEST(WideRows, columnsOfInterleavedSources) {
  if (skipped()) GTEST_SKIP();
  RepeatedMemory src(3 * kPixels), dst(kPixels);
  for (size_t i = 0; i < RepeatedMemory::kPeriod; i++) src.at()[i] = static_cast<Mox8u>(i * i >> 8 ^ i);
  mox::kernels::ycc().lumaOfRgb(src.at(), dst.at(), kWide);
  constexpr int kLast = 5;  // a group and the tail
  Mox8u expected[kLast];
  mox::kernels::ycc().lumaOfRgb(src.at() + 3 * (kPixels - kLast), expected, kLast);
  for (int i = 0; i < kLast; i++) EXPECT_EQ(dst.at()[kPixels - kLast + i], expected[i]);
}

TEST(WideRows, columnsOfInterleavedDestinations) {
  if (skipped()) GTEST_SKIP();
  RepeatedMemory src(kPixels), dst(3 * kPixels);
  for (size_t i = 0; i < RepeatedMemory::kPeriod; i++) src.at()[i] = static_cast<Mox8u>(i * i >> 8 ^ i);
  const Mox8u* const planes[] = {src.at(), src.at(), src.at()};
  mox::kernels::rgb().rgb(planes, dst.at(), kWide);
  constexpr int kLast = 5;
  const Mox8u* const last = src.at() + (kPixels - kLast);
  const Mox8u* const lastOfPlanes[] = {last, last, last};
  Mox8u expected[3 * kLast];
  mox::kernels::rgb().rgb(lastOfPlanes, expected, kLast);
  for (int i = 0; i < 3 * kLast; i++) EXPECT_EQ(dst.at()[3 * (kPixels - kLast) + i], expected[i]);
}

}  // namespace
}  // namespace test
#endif
