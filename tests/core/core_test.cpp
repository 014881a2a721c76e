// The thread count of libmoxcore. Each case loads the library again, because it reads its environment variable when it
// is loaded.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>

namespace test {
namespace {

class Core {
 public:
  // Loads the library with MOX_NUM_THREADS set to a value, or unset.
  explicit Core(const char* setting) {
    if (setting)
      setenv("MOX_NUM_THREADS", setting, 1);
    else
      unsetenv("MOX_NUM_THREADS");
    library_ = dlopen(MOXCORE_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (!library_) ADD_FAILURE() << dlerror();
  }
  ~Core() { dlclose(library_); }
  Core(const Core&) = delete;
  Core& operator=(const Core&) = delete;

  int32_t& variable() { return *static_cast<int32_t*>(dlsym(library_, "threads_omp_of_n_mox")); }
  void set(int32_t count) { reinterpret_cast<void (*)(int32_t)>(dlsym(library_, "moxSetNumThreads"))(count); }
  int32_t get() { return reinterpret_cast<int32_t (*)()>(dlsym(library_, "moxGetNumThreads"))(); }

 private:
  void* library_;
};

TEST(Core, theDefaultIsOneThread) {
  Core core(nullptr);
  EXPECT_EQ(core.variable(), 1);
  EXPECT_EQ(core.get(), 1);
}

TEST(Core, aWholeNumberInTheEnvironmentOverridesIt) {
  const std::pair<const char*, int32_t> cases[] = {{"1", 1},   {"2", 2},   {"3", 3},
                                                   {"64", 64}, {"007", 7}, {"2147483647", INT32_MAX}};
  for (const auto& [setting, count] : cases) EXPECT_EQ(Core(setting).variable(), count) << setting;
}

TEST(Core, numbersBelowOneMeanOne) {
  for (const char* setting : {"0", "-1", "-2147483648", "-2147483649", "-99999999999999999999"})
    EXPECT_EQ(Core(setting).variable(), 1) << setting;
}

TEST(Core, numbersBeyondTheRangeAreTheLargest) {
  for (const char* setting : {"2147483648", "4294967296", "4294967297", "99999999999999999999"})
    EXPECT_EQ(Core(setting).variable(), INT32_MAX) << setting;
}

TEST(Core, whatIsNoWholeNumberIsIgnored) {
  for (const char* setting : {"", " ", "four", "4 threads", "4.5", "0x4", "4,2", "-"})
    EXPECT_EQ(Core(setting).variable(), 1) << '"' << setting << '"';
}

TEST(Core, theSetterStoresAtLeastOne) {
  Core core(nullptr);
  for (const int32_t count : {1, 2, 17, INT32_MAX}) {
    core.set(count);
    EXPECT_EQ(core.variable(), count);
    EXPECT_EQ(core.get(), count);
  }
  for (const int32_t count : {0, -1, INT32_MIN}) {
    core.set(count);
    EXPECT_EQ(core.variable(), 1) << count;
  }
}

// The variable may also be written directly.
TEST(Core, theGetterTellsAtLeastOne) {
  Core core(nullptr);
  for (const int32_t count : {0, -1, INT32_MIN}) {
    core.variable() = count;
    EXPECT_EQ(core.get(), 1) << count;
    EXPECT_EQ(core.variable(), count);
  }
  core.variable() = 5;
  EXPECT_EQ(core.get(), 5);
}

}  // namespace
}  // namespace test
