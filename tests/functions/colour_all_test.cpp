// All 2^24 colours through every colour function that takes bytes, on columns of groups and on columns of the tail.
#include <cstdlib>

#include "moxcore.h"
#include "support/colour.h"
#include "support/targets.h"

namespace test {
namespace {

#if defined(__has_feature)
#define MOX_HAS_FEATURE(feature) __has_feature(feature)
#else
#define MOX_HAS_FEATURE(feature) 0
#endif

// Slow runs test a sample of one channel's values, both ends included: unoptimised builds, sanitizers, and emulators,
// which set MOX_TEST_SAMPLED.
bool thorough() {
#if !defined(__OPTIMIZE__) || defined(__SANITIZE_ADDRESS__) || MOX_HAS_FEATURE(thread_sanitizer) || \
    MOX_HAS_FEATURE(address_sanitizer)
  return false;
#else
  return !std::getenv("MOX_TEST_SAMPLED");
#endif
}

// One image with all values of the second and third channels; the first is set again each time.
template <class Layout>
class Colours {
 public:
  using Sample = typename Layout::Sample;

  explicit Colours(int count) : count_(count) {
    for (int i = 0; i < Layout::kPlanes; i++) {
      planes_[i].assign(static_cast<size_t>(count) * Layout::kSamples, 0);
      first_[i] = planes_[i].data();
    }
  }

  auto argument() const {
    if constexpr (Layout::kPlanes == 1) {
      return first_[0];
    } else {
      return first_.data();
    }
  }
  void set(int x, int c, int value) { Layout::set(pixel(x).data(), c, value); }
  int get(int x, int c) const { return Layout::get(pixel(x).data(), c); }
  int count() const { return count_; }

 private:
  std::array<Sample*, Layout::kPlanes> pixel(int x) const {
    std::array<Sample*, Layout::kPlanes> at = first_;
    for (Sample*& p : at) p += static_cast<ptrdiff_t>(x) * Layout::kSamples;
    return at;
  }

  int count_;
  std::array<std::vector<Sample>, Layout::kPlanes> planes_;
  std::array<Sample*, Layout::kPlanes> first_;
};

template <class Function>
class ColourAll : public testing::Test {
 protected:
  using Src = Colours<typename Function::Src>;
  using Dst = Colours<typename Function::Dst>;

  // Rows of `width` pixels; the values of the first channel are `step` apart.
  static void run(int width, int step) {
    const int rows = (65536 + width - 1) / width;
    Src src(rows * width);
    Dst dst(rows * width);
    for (int x = 0; x < src.count(); x++) src.set(x, 1, x >> 8 & 255), src.set(x, 2, x & 255);
    for (int first = 0; first < 256; first += step) {
      for (int x = 0; x < src.count(); x++) src.set(x, 0, first);
      ASSERT_EQ(Function::kFunction(src.argument(), stepOf<typename Function::Src>(width), dst.argument(),
                                    stepOf<typename Function::Dst>(width), {width, rows}),
                moxStatusOk);
      compare(dst, first, width);
    }
  }

 private:
  template <class Layout>
  static int stepOf(int width) {
    return width * Layout::kSamples * static_cast<int>(sizeof(typename Layout::Sample));
  }

  static constexpr int kChannels = Function::Dst::kChannels < 3 ? Function::Dst::kChannels : 3;

  // All columns of a width are of one kind: it is below four, or a multiple of four.
  static Triple expected(Triple read, int width) { return Function::expected(read, 0, width); }

  static void compare(const Dst& dst, int first, int width) {
    int wrong = 0;
    for (int x = 0; x < dst.count(); x++) {
      const Triple wanted = expected({first, x >> 8 & 255, x & 255}, width);
      for (int c = 0; c < kChannels; c++) wrong += dst.get(x, c) != wanted[c];
    }
    if (wrong == 0) return;
    for (int x = 0; x < dst.count(); x++) {
      const Triple read{first, x >> 8 & 255, x & 255}, wanted = expected(read, width);
      for (int c = 0; c < kChannels; c++)
        ASSERT_EQ(dst.get(x, c), wanted[c]) << "channel " << c << " of " << testing::PrintToString(read);
    }
  }
};
TYPED_TEST_SUITE(ColourAll, FromByteFunctions, FunctionNames);

TYPED_TEST(ColourAll, onGroupsAndOnTheTail) {
  const int32_t threads = threads_omp_of_n_mox;
  threads_omp_of_n_mox = 1;
  const mox::Kernels* const best = mox::kernels::active;
  forEachTarget([&](const mox::Target& target) {
    SCOPED_TRACE(target.name);
    const int step = target.kernels == best && thorough() ? 1 : 51;
    this->run(65536, step);  // all columns belong to groups
    this->run(3, step);      // all columns belong to the tail
  });
  threads_omp_of_n_mox = threads;
}

}  // namespace
}  // namespace test
