// Which functions share their rows among threads, from which size on, and how many threads they ask for. The program
// defines GOMP_parallel, which counts and calls the OpenMP runtime's.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "frame/rows.h"
#include "moxcore.h"
#include "moxj.h"

namespace {

int regionsStarted = 0;
unsigned threadsWanted = 0;

}  // namespace

extern "C" void GOMP_parallel(void (*body)(void*), void* data, unsigned threads, unsigned flags) {
  using Start = void (*)(void (*)(void*), void*, unsigned, unsigned);
  static const Start start = reinterpret_cast<Start>(dlsym(RTLD_NEXT, "GOMP_parallel"));
  regionsStarted++;
  threadsWanted = threads;
  start(body, data, threads, flags);
}

namespace test {
namespace {

// Planes that are large enough for every call below, with room around them for what sampling takes from there.
struct Planes {
  static constexpr int kPixels = 40000, kMargin = 1 << 17;
  std::vector<Mox8u> bytes[4];

  Planes() {
    for (auto& plane : bytes) plane.resize(12 * kPixels + 2 * kMargin);
  }
  Mox8u* plane(int i) { return bytes[i].data() + kMargin; }
};

// Converts to whatever source or destination a function takes.
struct Argument {
  Planes& planes;
  Mox8u* list[4];

  explicit Argument(Planes& given) : planes(given) {
    for (int i = 0; i < 4; i++) list[i] = planes.plane(i);
  }
  template <class T>
  operator T*() const {
    return reinterpret_cast<T*>(list[0]);
  }
  template <class T>
  operator T* const*() const {
    return reinterpret_cast<T* const*>(list);
  }
};

using Call = std::function<MoxStatus(MoxRoiSize)>;

template <class Src, class Dst>
Call callOf(MoxStatus (*function)(Src, int32_t, Dst, int32_t, MoxRoiSize)) {
  return [function](MoxRoiSize roi) {
    static Planes from, to;
    return function(Argument(from), 12 * roi.width, Argument(to), 12 * roi.width, roi);
  };
}

template <class Planar>
Call callOf(MoxStatus (*function)(Planar, int32_t, MoxRoiSize)) {
  return [function](MoxRoiSize roi) {
    static Planes inPlace;
    return function(Argument(inPlace), 4 * roi.width, roi);
  };
}

// Sampling: the destination is the region whose rows are shared.
Call callOf(MoxStatus (*function)(const Mox8u*, int32_t, MoxRoiSize, Mox8u*, int32_t, MoxRoiSize)) {
  return [function](MoxRoiSize roi) {
    static Planes from, to;
    return function(Argument(from), 2 * roi.width, {2 * roi.width, 2 * roi.height}, Argument(to), roi.width, roi);
  };
}

// Wavelets: planes in place, from and to four subbands, rows and columns of two.
constexpr int32_t kSteps[] = {4096, 4096, 4096, 4096};
template <class T>
Call callOf(MoxStatus (*function)(T*, int32_t, const MoxRect*, Mox8u*)) {
  return [function](MoxRoiSize roi) {
    static Planes plane, buffer;
    const MoxRect rect = {0, 0, roi.width, roi.height};
    return function(Argument(plane), 4 * roi.width, &rect, Argument(buffer));
  };
}
template <class T>
Call callOf(MoxStatus (*function)(const T*, int32_t, const MoxRect*, T* const*, const int32_t*, Mox8u*)) {
  return [function](MoxRoiSize roi) {
    static Planes from, to, buffer;
    const MoxRect rect = {0, 0, roi.width, roi.height};
    return function(Argument(from), 4 * roi.width, &rect, Argument(to), kSteps, Argument(buffer));
  };
}
template <class T>
Call callOf(MoxStatus (*function)(const T* const*, const int32_t*, T*, int32_t, const MoxRect*, Mox8u*)) {
  return [function](MoxRoiSize roi) {
    static Planes from, to, buffer;
    const MoxRect rect = {0, 0, roi.width, roi.height};
    return function(Argument(from), kSteps, Argument(to), 4 * roi.width, &rect, Argument(buffer));
  };
}
template <class T>
Call callOf(MoxStatus (*function)(const T*, int32_t, T*, int32_t, T*, int32_t, MoxRoiSize, uint32_t)) {
  return [function](MoxRoiSize roi) {
    static Planes from, low, high;
    return function(Argument(from), 512, Argument(low), 512, Argument(high), 512, {roi.width / 4, roi.height}, 0);
  };
}
template <class T>
Call callOf(MoxStatus (*function)(const T*, int32_t, const T*, int32_t, MoxRoiSize, T*, int32_t, uint32_t)) {
  return [function](MoxRoiSize roi) {
    static Planes low, high, to;
    return function(Argument(low), 512, Argument(high), 512, {roi.width / 4, roi.height}, Argument(to), 512, 0);
  };
}

#define MOX_CALL(function) \
  { #function, callOf(function) }

const std::map<std::string, Call>& parallelFunctions() {
  static const std::map<std::string, Call> calls{
      MOX_CALL(moxiAdd128_JPEG_16s8u_C1R),      MOX_CALL(moxiBGRToYCbCr_JPEG_8u_C3P3R),
      MOX_CALL(moxiBGRToY_JPEG_8u_C3C1R),       MOX_CALL(moxiCMYKToYCCK_JPEG_8u_C4P4R),
      MOX_CALL(moxiCMYKToYCCK_JPEG_8u_P4R),     MOX_CALL(moxiRGBToYCbCr_JPEG_8u_C3P3R),
      MOX_CALL(moxiRGBToYCbCr_JPEG_8u_P3R),     MOX_CALL(moxiRGBToY_JPEG_8u_C3C1R),
      MOX_CALL(moxiRGBToY_JPEG_8u_P3C1R),       MOX_CALL(moxiSampleDownH2V1_JPEG_8u_C1R),
      MOX_CALL(moxiSampleDownH2V2_JPEG_8u_C1R), MOX_CALL(moxiSampleUpH2V1_JPEG_8u_C1R),
      MOX_CALL(moxiSampleUpH2V2_JPEG_8u_C1R),   MOX_CALL(moxiSub128_JPEG_8u16s_C1R),
      MOX_CALL(moxiYCCKToCMYK_JPEG_8u_P4C4R),   MOX_CALL(moxiYCCKToCMYK_JPEG_8u_P4R),
      MOX_CALL(moxiYCbCrToBGR_JPEG_8u_P3C3R),   MOX_CALL(moxiYCbCrToRGB_JPEG_8u_P3C3R),
      MOX_CALL(moxiYCbCrToRGB_JPEG_8u_P3R),     MOX_CALL(moxiRCTFwd_JPEG2K_32s_C3P3R),
      MOX_CALL(moxiRCTFwd_JPEG2K_32s_P3IR),     MOX_CALL(moxiRCTInv_JPEG2K_32s_P3C3R),
      MOX_CALL(moxiRCTInv_JPEG2K_32s_P3IR),
  };
  return calls;
}

const std::map<std::string, Call>& serialFunctions() {
  static const std::map<std::string, Call> calls{
      MOX_CALL(moxiBGR555ToYCbCr_JPEG_16u8u_C3P3R), MOX_CALL(moxiBGR565ToYCbCr_JPEG_16u8u_C3P3R),
      MOX_CALL(moxiRGB555ToYCbCr_JPEG_16u8u_C3P3R), MOX_CALL(moxiRGB565ToYCbCr_JPEG_16u8u_C3P3R),
      MOX_CALL(moxiYCbCrToBGR555_JPEG_8u16u_P3C3R), MOX_CALL(moxiYCbCrToBGR565_JPEG_8u16u_P3C3R),
      MOX_CALL(moxiYCbCrToRGB555_JPEG_8u16u_P3C3R), MOX_CALL(moxiYCbCrToRGB565_JPEG_8u16u_P3C3R),
      MOX_CALL(moxiRCTFwd_JPEG2K_16s_C3P3R),        MOX_CALL(moxiICTFwd_JPEG2K_32f_C3P3R),
      MOX_CALL(moxiRCTInv_JPEG2K_16s_P3C3R),        MOX_CALL(moxiICTInv_JPEG2K_32f_P3C3R),
      MOX_CALL(moxiRCTFwd_JPEG2K_16s_P3IR),         MOX_CALL(moxiRCTInv_JPEG2K_16s_P3IR),
      MOX_CALL(moxiICTFwd_JPEG2K_16s_P3IR),         MOX_CALL(moxiICTFwd_JPEG2K_32s_P3IR),
      MOX_CALL(moxiICTFwd_JPEG2K_32f_P3IR),         MOX_CALL(moxiICTInv_JPEG2K_16s_P3IR),
      MOX_CALL(moxiICTInv_JPEG2K_32s_P3IR),         MOX_CALL(moxiICTInv_JPEG2K_32f_P3IR),
      MOX_CALL(moxiWTFwdCol_B53_JPEG2K_16s_C1R),    MOX_CALL(moxiWTFwdCol_B53_JPEG2K_32s_C1R),
      MOX_CALL(moxiWTFwdCol_D97_JPEG2K_32f_C1R),    MOX_CALL(moxiWTFwdRow_B53_JPEG2K_16s_C1R),
      MOX_CALL(moxiWTFwdRow_B53_JPEG2K_32s_C1R),    MOX_CALL(moxiWTFwdRow_D97_JPEG2K_16s_C1R),
      MOX_CALL(moxiWTFwdRow_D97_JPEG2K_32f_C1R),    MOX_CALL(moxiWTFwdRow_D97_JPEG2K_32s_C1R),
      MOX_CALL(moxiWTFwd_B53_JPEG2K_16s_C1IR),      MOX_CALL(moxiWTFwd_B53_JPEG2K_16s_C1R),
      MOX_CALL(moxiWTFwd_B53_JPEG2K_32s_C1IR),      MOX_CALL(moxiWTFwd_B53_JPEG2K_32s_C1R),
      MOX_CALL(moxiWTFwd_D97_JPEG2K_16s_C1IR),      MOX_CALL(moxiWTFwd_D97_JPEG2K_16s_C1R),
      MOX_CALL(moxiWTFwd_D97_JPEG2K_32s_C1IR),      MOX_CALL(moxiWTFwd_D97_JPEG2K_32s_C1R),
      MOX_CALL(moxiWTInvCol_B53_JPEG2K_16s_C1R),    MOX_CALL(moxiWTInvCol_B53_JPEG2K_32s_C1R),
      MOX_CALL(moxiWTInvCol_D97_JPEG2K_32f_C1R),    MOX_CALL(moxiWTInvRow_B53_JPEG2K_16s_C1R),
      MOX_CALL(moxiWTInvRow_B53_JPEG2K_32s_C1R),    MOX_CALL(moxiWTInvRow_D97_JPEG2K_16s_C1R),
      MOX_CALL(moxiWTInvRow_D97_JPEG2K_32f_C1R),    MOX_CALL(moxiWTInvRow_D97_JPEG2K_32s_C1R),
      MOX_CALL(moxiWTInv_B53_JPEG2K_16s_C1IR),      MOX_CALL(moxiWTInv_B53_JPEG2K_16s_C1R),
      MOX_CALL(moxiWTInv_B53_JPEG2K_32s_C1IR),      MOX_CALL(moxiWTInv_B53_JPEG2K_32s_C1R),
      MOX_CALL(moxiWTInv_D97_JPEG2K_16s_C1IR),      MOX_CALL(moxiWTInv_D97_JPEG2K_16s_C1R),
      MOX_CALL(moxiWTInv_D97_JPEG2K_32s_C1IR),      MOX_CALL(moxiWTInv_D97_JPEG2K_32s_C1R),
  };
  return calls;
}

#undef MOX_CALL

class ThreadPolicy : public testing::Test {
 protected:
  void SetUp() override {
    before_ = threads_omp_of_n_mox;
    threads_omp_of_n_mox = 2;
  }
  void TearDown() override { threads_omp_of_n_mox = before_; }

  // How many parallel regions the call starts.
  int started(const Call& call, MoxRoiSize roi) {
    regionsStarted = 0;
    EXPECT_EQ(call(roi), moxStatusOk);
    return regionsStarted;
  }

 private:
  int32_t before_;
};

TEST_F(ThreadPolicy, above8192PixelsAndNotAtIt) {
  for (const auto& [name, call] : parallelFunctions()) {
    for (const MoxRoiSize serial : {MoxRoiSize{8192, 1}, {1, 8192}, {64, 128}, {8191, 1}, {2, 2}})
      EXPECT_EQ(started(call, serial), 0) << name << ", " << serial.width << " x " << serial.height;
    for (const MoxRoiSize parallel : {MoxRoiSize{8193, 1}, {1, 8193}, {2731, 3}, {130, 70}})
      EXPECT_EQ(started(call, parallel), 1) << name << ", " << parallel.width << " x " << parallel.height;
  }
}

TEST_F(ThreadPolicy, theOthersStayOnTheCallingThread) {
  for (const auto& [name, call] : serialFunctions()) EXPECT_EQ(started(call, {300, 120}), 0) << name;
}

TEST_F(ThreadPolicy, theVariableIsReadAtEachCall) {
  for (const auto& [name, call] : parallelFunctions()) {
    for (const int32_t count : {3, 7, 2}) {
      threads_omp_of_n_mox = count;
      started(call, {130, 70});
      EXPECT_EQ(threadsWanted, static_cast<unsigned>(count)) << name;
    }
    for (const int32_t count : {1, 0, -1, INT32_MIN}) {
      threads_omp_of_n_mox = count;
      EXPECT_EQ(started(call, {130, 70}), 0) << name << " with the variable at " << count;
    }
  }
}

TEST_F(ThreadPolicy, refusedCallsStartNothing) {
  regionsStarted = 0;
  Planes planes;
  EXPECT_EQ(moxiSub128_JPEG_8u16s_C1R(Argument(planes), 0, Argument(planes), 1, {130, 70}), moxStatusBadStep);
  EXPECT_EQ(regionsStarted, 0);
}

// The product of width and height is a signed 32-bit one.
static_assert(!mox::worthThreads({65536, 65536}) && !mox::worthThreads({65536, 32768}));
static_assert(mox::worthThreads({65536, 65537}) && mox::worthThreads({8193, 1}) && !mox::worthThreads({8192, 1}));

TEST_F(ThreadPolicy, insideACallersRegionTheResultIsTheSame) {
  threads_omp_of_n_mox = 4;
  omp_set_max_active_levels(1);
  std::vector<Mox8u> src(200 * 100, 200);
  std::vector<Mox16s> dst[2];
  for (auto& d : dst) d.resize(src.size());
#pragma omp parallel num_threads(2)
  {
    std::vector<Mox16s>& mine = dst[omp_get_thread_num()];
    moxiSub128_JPEG_8u16s_C1R(src.data(), 200, mine.data(), 400, {200, 100});
  }
  EXPECT_EQ(dst[0], std::vector<Mox16s>(src.size(), 72));
}

// Every export is listed here, or works on one block, row or object.
bool worksOnRegions(const std::string& name) {
  const char* const pieces[]{"8x8", "CodeBlock", "CBProgr", "MCU", "GetBufSize"};
  const auto has = [&](const char* piece) { return name.find(piece) != std::string::npos; };
  return name.ends_with("R") && std::none_of(std::begin(pieces), std::end(pieces), has);
}

TEST_F(ThreadPolicy, everyRegionFunctionIsListed) {
  std::ifstream exports(MOXJ_EXPORTS);
  std::string name;
  int count = 0;
  while (exports >> name) {
    count++;
    EXPECT_EQ(worksOnRegions(name), parallelFunctions().contains(name) || serialFunctions().contains(name)) << name;
  }
  EXPECT_GT(count, 0);
}

}  // namespace
}  // namespace test
