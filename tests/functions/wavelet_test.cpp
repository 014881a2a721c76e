// Wavelets against the line-by-line reference, on every target: all shapes and phases, edge cases, buffers of exactly
// the reported size between guard pages, steps that leave rows unaligned, overlapping rows.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "functions/wavelet_reference.h"
#include "moxj.h"
#include "proof/random.h"
#include "support/guarded.h"
#include "support/targets.h"

namespace test {
namespace {

using reference::Plane;

template <class T>
T anyValue(Random& random, Filling filling) {
  if constexpr (std::is_same_v<T, Mox32f>) {
    return static_cast<Mox32f>(random.between(-100000, 100000)) / 16;
  } else {
    T value;
    fill(random, filling, &value, 1);
    return value;
  }
}
constexpr Filling kFillings[] = {Filling::any, Filling::extreme, Filling::small};

// A plane in memory whose last byte is the last before a guard page; rows any number of bytes apart.
template <class T>
struct Stored {
  int width, height, step;
  GuardedMemory memory;
  uint8_t* first;

  Stored(int w, int h, int gap)
      : width(w),
        height(h),
        step(w * static_cast<int>(sizeof(T)) + gap),
        memory(static_cast<size_t>(step) * (h - 1) + w * sizeof(T)),
        first(memory.atEnd<uint8_t>(static_cast<size_t>(step) * (h - 1) + w * sizeof(T))) {
    std::memset(memory.bytes().data(), 0x5A, memory.bytes().size());
  }
  T* data() { return reinterpret_cast<T*>(first); }
  uint8_t* at(int x, int y) { return first + static_cast<ptrdiff_t>(y) * step + x * static_cast<int>(sizeof(T)); }
  T get(int x, int y) {
    T v;
    std::memcpy(&v, at(x, y), sizeof v);
    return v;
  }
  void put(int x, int y, T v) { std::memcpy(at(x, y), &v, sizeof v); }

  void operator=(const Plane<T>& plane) {
    for (int y = 0; y < height; y++)
      for (int x = 0; x < width; x++) put(x, y, plane.at(x, y));
  }
  // Exactly the plane, and between the rows what was there.
  void expect(const Plane<T>& plane, const std::string& what) {
    for (int y = 0; y < height; y++) {
      for (int x = 0; x < width; x++) {
        const T a = get(x, y), b = plane.at(x, y);
        ASSERT_EQ(std::memcmp(&a, &b, sizeof a), 0) << what << " at " << x << ", " << y << ": " << a << ", not " << b;
      }
      if (y + 1 == height) break;
      for (uint8_t* p = at(width, y); p < at(0, y + 1); p++) ASSERT_EQ(*p, 0x5A) << what << " wrote between rows";
    }
  }
};

template <class T>
struct Functions {
  MoxStatus (*forwardInPlace)(T*, int32_t, const MoxRect*, Mox8u*);
  MoxStatus (*inverseInPlace)(T*, int32_t, const MoxRect*, Mox8u*);
  MoxStatus (*forward)(const T*, int32_t, const MoxRect*, T* const[4], const int32_t[4], Mox8u*);
  MoxStatus (*inverse)(const T* const[4], const int32_t[4], T*, int32_t, const MoxRect*, Mox8u*);
  MoxStatus (*lineSize)(const MoxRect*, int32_t*);
  MoxStatus (*planeSize)(const MoxRect*, int32_t*);
};

#define MOX_FUNCTIONS(kind)                                                                           \
  {                                                                                                   \
    moxiWTFwd_##kind##_C1IR, moxiWTInv_##kind##_C1IR, moxiWTFwd_##kind##_C1R, moxiWTInv_##kind##_C1R, \
        moxiWTGetBufSize_##kind##_C1IR, moxiWTGetBufSize_##kind##_C1R                                 \
  }
const Functions<Mox16s> k53_16s = MOX_FUNCTIONS(B53_JPEG2K_16s);
const Functions<Mox32s> k53_32s = MOX_FUNCTIONS(B53_JPEG2K_32s);
const Functions<Mox16s> k97_16s = MOX_FUNCTIONS(D97_JPEG2K_16s);
const Functions<Mox32s> k97_32s = MOX_FUNCTIONS(D97_JPEG2K_32s);

struct Buffer {
  GuardedMemory memory;
  Mox8u* first;
  Buffer(MoxStatus (*size)(const MoxRect*, int32_t*), const MoxRect& roi) : memory(sizeOf(size, roi)), first(nullptr) {
    first = memory.atEnd<Mox8u>(sizeOf(size, roi));
    if (sizeOf(size, roi) == 0) first--;  // nothing may be touched, but it must not be null: the page's last byte
    std::memset(memory.bytes().data(), 0xC3, memory.bytes().size());
  }
  static size_t sizeOf(MoxStatus (*size)(const MoxRect*, int32_t*), const MoxRect& roi) {
    int32_t bytes = -1;
    EXPECT_EQ(size(&roi, &bytes), moxStatusOk);
    return static_cast<size_t>(bytes);
  }
};

// The four subbands of a plane in Mallat order, split at (size + 1) / 2.
template <class T>
struct Subbands {
  std::unique_ptr<Stored<T>> planes[4];
  T* pointers[4];
  int32_t steps[4];
  int lowWidth, lowHeight;

  Subbands(int width, int height) : lowWidth((width + 1) / 2), lowHeight((height + 1) / 2) {
    for (int i = 0; i < 4; i++) {
      planes[i] =
          std::make_unique<Stored<T>>(i & 2 ? width / 2 : lowWidth, i & 1 ? std::max(height / 2, 1) : lowHeight, i);
      pointers[i] = planes[i]->data();
      steps[i] = std::max(planes[i]->step, 1);
    }
  }
  Plane<T> part(int i, const Plane<T>& whole) const {
    const int x0 = i & 2 ? lowWidth : 0, y0 = i & 1 ? lowHeight : 0;
    Plane<T> result{i & 2 ? whole.width - lowWidth : lowWidth, i & 1 ? whole.height - lowHeight : lowHeight, {}};
    for (int y = 0; y < result.height; y++)
      for (int x = 0; x < result.width; x++) result.samples.push_back(whole.at(x0 + x, y0 + y));
    return result;
  }
  void operator=(const Plane<T>& whole) {
    for (int i = 0; i < 4; i++) {
      const Plane<T> values = part(i, whole);
      if (values.height > 0) *planes[i] = values;
    }
  }
  void expect(const Plane<T>& whole, const std::string& what) {
    for (int i = 0; i < 4; i++) {
      const Plane<T> values = part(i, whole);
      if (values.height > 0) planes[i]->expect(values, what + ", plane " + std::to_string(i));
    }
  }
};

template <class T>
Plane<T> randomPlane(Random& random, int width, int height, Filling filling) {
  Plane<T> plane{width, height, {}};
  for (int i = 0; i < width * height; i++) plane.samples.push_back(anyValue<T>(random, filling));
  return plane;
}

template <class A>
void compareShape(const Functions<typename A::Sample>& functions, Random& random, MoxRect roi, Filling filling,
                  const std::string& target) {
  using T = typename A::Sample;
  const std::string what = target + ", " + std::to_string(roi.width) + " x " + std::to_string(roi.height) + " at " +
                           std::to_string(roi.x) + ", " + std::to_string(roi.y) + ", filling " +
                           std::to_string(static_cast<int>(filling));
  const Plane<T> source = randomPlane<T>(random, roi.width, roi.height, filling);
  Plane<T> analysed = source, synthesised = source;
  reference::analysePlane<A>(analysed, roi.x & 1, roi.y & 1);
  reference::synthesisePlane<A>(synthesised, roi.x & 1, roi.y & 1);

  Stored<T> plane(roi.width, roi.height, random.below(9));
  Buffer line(functions.lineSize, roi), buffer(functions.planeSize, roi);
  plane = source;
  ASSERT_EQ(functions.forwardInPlace(plane.data(), plane.step, &roi, line.first), moxStatusOk);
  plane.expect(analysed, "forward in place, " + what);
  plane = source;
  ASSERT_EQ(functions.inverseInPlace(plane.data(), plane.step, &roi, line.first), moxStatusOk);
  plane.expect(synthesised, "inverse in place, " + what);

  Subbands<T> bands(roi.width, roi.height);
  plane = source;
  ASSERT_EQ(functions.forward(plane.data(), plane.step, &roi, bands.pointers, bands.steps, buffer.first), moxStatusOk);
  plane.expect(source, "source of forward, " + what);
  bands.expect(analysed, "forward, " + what);
  bands = source;
  const T* const sources[4] = {bands.pointers[0], bands.pointers[1], bands.pointers[2], bands.pointers[3]};
  ASSERT_EQ(functions.inverse(sources, bands.steps, plane.data(), plane.step, &roi, buffer.first), moxStatusOk);
  plane.expect(synthesised, "inverse, " + what);
}

template <class A>
void comparePlanes(const Functions<typename A::Sample>& functions) {
  forEachTarget([&](const mox::Target& target) {
    Random random(11);
    const auto one = [&](int width, int height, Filling filling) {
      for (int phase = 0; phase < 4; phase++)
        compareShape<A>(
            functions, random,
            {2 * random.between(-9, 9) + (phase & 1), 2 * random.between(0, 9) + (phase >> 1), width, height}, filling,
            target.name);
    };
    for (int height = 1; height <= 13; height++)
      for (int width = 1; width <= 13; width++) one(width, height, kFillings[(width + height) % 3]);
    for (const Filling filling : kFillings) {
      one(70, 9, filling);
      one(5, 67, filling);
      one(131, 34, filling);
    }
    one(2049, 9, Filling::any);  // lines of more than one piece
    one(2051, 3, Filling::any);
    if (testing::Test::HasFatalFailure()) return;
  });
}

TEST(Wavelet, planes53_16s) { comparePlanes<reference::Ref53<Mox16s>>(k53_16s); }
TEST(Wavelet, planes53_32s) { comparePlanes<reference::Ref53<Mox32s>>(k53_32s); }
TEST(Wavelet, planes97_16s) { comparePlanes<reference::Ref14>(k97_16s); }
TEST(Wavelet, planes97_32s) { comparePlanes<reference::RefTruncating>(k97_32s); }

// More columns than are filtered at a time, and more rows than are tracked.
TEST(Wavelet, wideAndTallPlanes) {
  Random random(3);
  for (const auto& [width, height] : {std::pair{8192 + 70, 5}, {2, 140001}}) {
    const MoxRect roi = {1, 1, width, height};
    compareShape<reference::Ref53<Mox32s>>(k53_32s, random, roi, Filling::any, "best");
    compareShape<reference::RefTruncating>(k97_32s, random, roi, Filling::any, "best");
  }
}

// Results that go past the caches; rows of bands begin anywhere in a cache line.
TEST(Wavelet, planesBeyondTheCaches) {
  Random random(7);
  forEachTarget([&](const mox::Target& target) {
    compareShape<reference::Ref53<Mox32s>>(k53_32s, random, {1, 1, 1026, 3100}, Filling::any, target.name);
  });
  compareShape<reference::RefTruncating>(k97_32s, random, {1, 0, 98306, 33}, Filling::any, "best");
}

template <class T>
void restores(const Functions<T>& functions) {
  Random random(5);
  for (int phase = 0; phase < 4; phase++) {
    for (int height = 1; height <= 20; height++) {
      for (int width = 1; width <= 20; width++) {
        const MoxRect roi = {phase & 1, phase >> 1, width, height};
        // A lone odd sample is doubled: half the range.
        Plane<T> source = randomPlane<T>(random, width, height, Filling::any);
        if (width == 1 || height == 1)
          for (T& v : source.samples) v = static_cast<T>(v / 4);
        Stored<T> plane(width, height, 0);
        Buffer line(functions.lineSize, roi), buffer(functions.planeSize, roi);
        plane = source;
        functions.forwardInPlace(plane.data(), plane.step, &roi, line.first);
        functions.inverseInPlace(plane.data(), plane.step, &roi, line.first);
        plane.expect(source, "in place");
        Subbands<T> bands(width, height);
        const T* const sources[4] = {bands.pointers[0], bands.pointers[1], bands.pointers[2], bands.pointers[3]};
        functions.forward(plane.data(), plane.step, &roi, bands.pointers, bands.steps, buffer.first);
        functions.inverse(sources, bands.steps, plane.data(), plane.step, &roi, buffer.first);
        plane.expect(source, "out of place");
      }
    }
  }
}

TEST(Wavelet, reversibleRestoresEverything) {
  restores(k53_16s);
  restores(k53_32s);
}

TEST(Wavelet, irreversibleRestoresClosely) {
  Random random(6);
  const MoxRect roi = {1, 0, 33, 18};
  const Plane<Mox32s> source = randomPlane<Mox32s>(random, 33, 18, Filling::small);
  Plane<Mox32s> large = source;
  for (Mox32s& v : large.samples) v *= 100;
  Stored<Mox32s> plane(33, 18, 0);
  Buffer line(k97_32s.lineSize, roi);
  plane = large;
  k97_32s.forwardInPlace(plane.data(), plane.step, &roi, line.first);
  k97_32s.inverseInPlace(plane.data(), plane.step, &roi, line.first);
  for (int y = 0; y < 18; y++)
    for (int x = 0; x < 33; x++) ASSERT_NEAR(plane.get(x, y), large.at(x, y), 6);
}

template <class T>
std::vector<T> transformed(MoxStatus (*function)(T*, int32_t, const MoxRect*, Mox8u*), MoxRect roi,
                           std::vector<T> values) {
  Mox8u buffer[256];
  EXPECT_EQ(function(values.data(), std::max(roi.width, 1) * static_cast<int>(sizeof(T)), &roi, buffer), moxStatusOk);
  return values;
}

template <class T>
void loneSamples(const Functions<T>& functions) {
  using V = std::vector<T>;
  EXPECT_EQ(transformed<T>(functions.forwardInPlace, {0, 0, 1, 1}, {7}), V{7});
  EXPECT_EQ(transformed<T>(functions.forwardInPlace, {0, 3, 1, 1}, {7}), V{14});
  EXPECT_EQ(transformed<T>(functions.forwardInPlace, {-1, 2, 1, 1}, {-7}), V{-14});
  EXPECT_EQ(transformed<T>(functions.forwardInPlace, {1, 1, 1, 1}, {7}), V{28});
  EXPECT_EQ(transformed<T>(functions.inverseInPlace, {0, 0, 1, 1}, {7}), V{7});
  EXPECT_EQ(transformed<T>(functions.inverseInPlace, {0, 1, 1, 1}, {-7}), V{-3});  // toward zero
  EXPECT_EQ(transformed<T>(functions.inverseInPlace, {1, 0, 1, 1}, {7}), V{3});
  EXPECT_EQ(transformed<T>(functions.inverseInPlace, {1, 1, 1, 1}, {-15}), V{-3});
}

template <class T>
void sizesBelowOne(const Functions<T>& functions) {
  using V = std::vector<T>;
  const V values = {1, 2, 3, 4, 5, 6};
  // No columns: only the first sample of each row. Rows lie one sample apart.
  for (const int width : {0, -1, INT32_MIN}) {
    EXPECT_EQ(transformed<T>(functions.forwardInPlace, {1, 1, width, 4}, values), (V{2, 4, 6, 8, 5, 6}));
    EXPECT_EQ(transformed<T>(functions.inverseInPlace, {1, 1, width, 4}, values), (V{0, 1, 1, 2, 5, 6}));
    EXPECT_EQ(transformed<T>(functions.forwardInPlace, {0, 1, width, 4}, values), values);
  }
  for (const int height : {0, -1, INT32_MIN}) {
    EXPECT_EQ(transformed<T>(functions.forwardInPlace, {1, 1, 4, height}, values), (V{2, 4, 6, 8, 5, 6}));
    EXPECT_EQ(transformed<T>(functions.inverseInPlace, {1, 1, 4, height}, values), (V{0, 1, 1, 2, 5, 6}));
    EXPECT_EQ(transformed<T>(functions.forwardInPlace, {1, 0, 4, height}, values), values);
    EXPECT_EQ(transformed<T>(functions.forwardInPlace, {1, 1, height, height}, values), values);
  }
}

TEST(Wavelet, loneSamplesAreDoubledAtOddCoordinates) {
  loneSamples(k53_16s);
  loneSamples(k53_32s);
  loneSamples(k97_16s);
  loneSamples(k97_32s);
}

TEST(Wavelet, inPlaceSizesBelowOneCountAsOne) {
  forEachTarget([](const mox::Target&) {
    sizesBelowOne(k53_16s);
    sizesBelowOne(k53_32s);
    sizesBelowOne(k97_16s);
    sizesBelowOne(k97_32s);
  });
}

TEST(Wavelet, twoSamples53) {
  using V = std::vector<Mox16s>;
  EXPECT_EQ(transformed<Mox16s>(k53_16s.forwardInPlace, {0, 0, 2, 1}, {10, 17}), (V{14, 7}));
  EXPECT_EQ(transformed<Mox16s>(k53_16s.forwardInPlace, {1, 0, 2, 1}, {17, 10}), (V{14, 7}));
  EXPECT_EQ(transformed<Mox16s>(k53_16s.inverseInPlace, {0, 0, 2, 1}, {14, 7}), (V{10, 17}));
  EXPECT_EQ(transformed<Mox16s>(k53_16s.inverseInPlace, {0, 1, 1, 2}, {14, 7}), (V{17, 10}));
}

// Filtered, with the extension o e o e o, not treated as a pair.
TEST(Wavelet, twoSamples97) {
  const std::vector<Mox32s> result = transformed<Mox32s>(k97_32s.forwardInPlace, {0, 0, 2, 1}, {1000, 2000});
  EXPECT_NEAR(result[0], 1500, 2);
  EXPECT_NEAR(result[1], 1000, 2);
}

// An odd coordinate and an odd size: the fixed split counts the first high column as low.
TEST(Wavelet, outOfPlaceSplitIgnoresThePhase) {
  const MoxRect roi = {1, 0, 3, 1};
  const Mox32s src[3] = {10, 20, 40};  // H, L, H
  Mox32s ll[2] = {}, lh[1] = {}, hl[1] = {}, hh[1] = {};
  Mox32s* const planes[4] = {ll, lh, hl, hh};
  const int32_t steps[4] = {8, 8, 8, 8};
  Mox8u buffer[256];
  ASSERT_EQ(moxiWTFwd_B53_JPEG2K_32s_C1R(src, 12, &roi, planes, steps, buffer), moxStatusOk);
  EXPECT_EQ(ll[0], 23);   // 20 + ((-10 + 20 + 2) >> 2)
  EXPECT_EQ(ll[1], -10);  // the first high coefficient
  EXPECT_EQ(hl[0], 20);
}

TEST(Wavelet, planesOf32sSaturate) {
  constexpr Mox32s kLow = -(1 << 30);
  const std::vector<Mox32s> result =
      transformed<Mox32s>(k97_32s.forwardInPlace, {0, 0, 4, 1}, {kLow, INT32_MAX, kLow, INT32_MAX});
  EXPECT_EQ(result[2], INT32_MAX);
  EXPECT_EQ(result[3], INT32_MAX);
}

// Alternating extremes; every step but gamma runs into the end of the range.
TEST(Wavelet, rowsOf16sSaturateAfterEveryStep) {
  Mox16s src[16], low[2], high[2];
  for (int i = 0; i < 16; i++) src[i] = i % 2 ? 32767 : -32768;
  ASSERT_EQ(moxiWTFwdRow_D97_JPEG2K_16s_C1R(src + 6, 32, low, 4, high, 4, {2, 1}, 0), moxStatusOk);
  EXPECT_EQ(high[0], -30871);  // (32767 - 57862) * 1.23
  EXPECT_EQ(low[0], -32768);
}

TEST(Wavelet, planesOf16sWrap) {
  const std::vector<Mox16s> result =
      transformed<Mox16s>(k97_16s.forwardInPlace, {0, 0, 4, 1}, {-32768, 32767, -32768, 32767});
  const std::vector<Mox16s> expected = reference::analyseLine<reference::Ref14>({-32768, 32767, -32768, 32767}, 0);
  EXPECT_EQ(result, expected);
  EXPECT_NE(result[2], -30871);
}

// ---- Rows and columns

template <class T>
struct OneDimensional {
  MoxStatus (*forward)(const T*, int32_t, T*, int32_t, T*, int32_t, MoxRoiSize, uint32_t);
  MoxStatus (*inverse)(const T*, int32_t, const T*, int32_t, MoxRoiSize, T*, int32_t, uint32_t);
  bool columns;
};

// Which positions the functions may read, by phase: the planes are stored with exactly these.
struct Reach {
  int before, after;                               // samples
  int lowBefore, lowAfter, highBefore, highAfter;  // coefficients
};

template <class T>
Plane<T> turned(const Plane<T>& plane) {
  Plane<T> result{plane.height, plane.width, {}};
  for (int x = 0; x < plane.width; x++)
    for (int y = 0; y < plane.height; y++) result.samples.push_back(plane.at(x, y));
  return result;
}

// `count` coefficients in each band, `lines` lines; everything is laid out in rows and turned for the column
// functions.
template <class A>
void compareOne(const OneDimensional<typename A::Sample>& functions, const Reach& reach, Random& random, int count,
                int lines, int phase, Filling filling, const std::string& what,
                std::function<reference::Bands<A>(std::function<typename A::Sample(int)>)> analyse,
                std::function<std::vector<typename A::Sample>(std::function<typename A::Sample(int)>)> synthesise) {
  using T = typename A::Sample;
  const auto orient = [&](const Plane<T>& plane) { return functions.columns ? turned(plane) : plane; };
  const auto store = [&](const Plane<T>& plane) {
    const Plane<T> oriented = orient(plane);
    auto stored = std::make_unique<Stored<T>>(oriented.width, oriented.height, random.below(5));
    *stored = oriented;
    return stored;
  };
  const auto inner = [&](Stored<T>& stored, int before) {
    return reinterpret_cast<T*>(functions.columns ? stored.at(0, before) : stored.at(before, 0));
  };
  const MoxRoiSize size = functions.columns ? MoxRoiSize{lines, count} : MoxRoiSize{count, lines};
  const uint32_t flag = phase ? 1u << random.below(32) : 0;

  const Plane<T> samples = randomPlane<T>(random, reach.before + 2 * count + reach.after, lines, filling);
  Plane<T> low{count, lines, {}}, high{count, lines, {}};
  for (int y = 0; y < lines; y++) {
    const auto bands = analyse([&](int i) {
      const int x = i + reach.before;
      return x >= 0 && x < samples.width ? samples.at(x, y) : T{};
    });
    low.samples.insert(low.samples.end(), bands.low.begin(), bands.low.end());
    high.samples.insert(high.samples.end(), bands.high.begin(), bands.high.end());
  }
  {
    const auto src = store(samples), dstLow = store(Plane<T>{count, lines, std::vector<T>(low.samples.size())}),
               dstHigh = store(Plane<T>{count, lines, std::vector<T>(low.samples.size())});
    ASSERT_EQ(functions.forward(inner(*src, reach.before), src->step, dstLow->data(), dstLow->step, dstHigh->data(),
                                dstHigh->step, size, flag),
              moxStatusOk);
    dstLow->expect(orient(low), what + " forward, low");
    dstHigh->expect(orient(high), what + " forward, high");
  }
  const Plane<T> lows = randomPlane<T>(random, reach.lowBefore + count + reach.lowAfter, lines, filling);
  const Plane<T> highs = randomPlane<T>(random, reach.highBefore + count + reach.highAfter, lines, filling);
  Plane<T> dst{2 * count, lines, {}};
  for (int y = 0; y < lines; y++) {
    const auto line = synthesise([&](int i) {
      const bool isHigh = (i + phase) & 1;
      const Plane<T>& band = isHigh ? highs : lows;
      const int x = (isHigh ? reach.highBefore : reach.lowBefore) + ((isHigh ? i - 1 + phase : i - phase) >> 1);
      return x >= 0 && x < band.width ? band.at(x, y) : T{};
    });
    dst.samples.insert(dst.samples.end(), line.begin(), line.end());
  }
  const auto srcLow = store(lows), srcHigh = store(highs),
             out = store(Plane<T>{2 * count, lines, std::vector<T>(dst.samples.size())});
  ASSERT_EQ(functions.inverse(inner(*srcLow, reach.lowBefore), srcLow->step, inner(*srcHigh, reach.highBefore),
                              srcHigh->step, size, out->data(), out->step, flag),
            moxStatusOk);
  out->expect(orient(dst), what + " inverse");
}

constexpr Reach kReach53[2] = {{2, 1, 0, 1, 1, 1}, {1, 2, 1, 0, 1, 1}};
constexpr Reach kReach97[2] = {{4, 3, 1, 2, 2, 2}, {3, 4, 2, 1, 2, 2}};

// Bands of one coefficient, by the filters' weights.
struct Weights {
  double low[5], high[4], even[4], odd[5];
};

template <class A>
void compareLines(const OneDimensional<typename A::Sample>& functions, const Reach (&reach)[2]) {
  using T = typename A::Sample;
  forEachTarget([&](const mox::Target& target) {
    Random random(21);
    for (int count = A::kSteps == 4 ? 2 : 1; count <= 40; count++) {
      for (const Filling filling : kFillings) {
        for (int phase = 0; phase < 2; phase++) {
          compareOne<A>(
              functions, reach[phase], random, count, 1 + count % 3, phase, filling,
              std::string(target.name) + ", " + std::to_string(count) + ", phase " + std::to_string(phase),
              [&](std::function<T(int)> at) { return reference::analyse<A>(2 * count, phase, at); },
              [&](std::function<T(int)> at) { return reference::synthesise<A>(2 * count, phase, at); });
        }
      }
    }
    for (int phase = 0; phase < 2; phase++) {  // more than one piece along, more than one strip across
      const int count = functions.columns ? 5 : 1500, lines = functions.columns ? 700 : 2;
      compareOne<A>(
          functions, reach[phase], random, count, lines, phase, Filling::any, target.name,
          [&](std::function<T(int)> at) { return reference::analyse<A>(2 * count, phase, at); },
          [&](std::function<T(int)> at) { return reference::synthesise<A>(2 * count, phase, at); });
    }
  });
}

#define MOX_ROWS(kind) \
  { moxiWTFwdRow_##kind##_C1R, moxiWTInvRow_##kind##_C1R, false }
#define MOX_COLUMNS(kind) \
  { moxiWTFwdCol_##kind##_C1R, moxiWTInvCol_##kind##_C1R, true }

TEST(Wavelet, rows53) {
  compareLines<reference::Ref53<Mox16s>>(MOX_ROWS(B53_JPEG2K_16s), kReach53);
  compareLines<reference::Ref53<Mox32s>>(MOX_ROWS(B53_JPEG2K_32s), kReach53);
}
TEST(Wavelet, columns53) {
  compareLines<reference::Ref53<Mox16s>>(MOX_COLUMNS(B53_JPEG2K_16s), kReach53);
  compareLines<reference::Ref53<Mox32s>>(MOX_COLUMNS(B53_JPEG2K_32s), kReach53);
}
TEST(Wavelet, rows97) {
  compareLines<reference::Ref16<Mox16s>>(MOX_ROWS(D97_JPEG2K_16s), kReach97);
  compareLines<reference::Ref16<Mox32s>>(MOX_ROWS(D97_JPEG2K_32s), kReach97);
  compareLines<reference::RefFloat>(MOX_ROWS(D97_JPEG2K_32f), kReach97);
}
TEST(Wavelet, columns97) { compareLines<reference::RefFloat>(MOX_COLUMNS(D97_JPEG2K_32f), kReach97); }

// Bands of one coefficient: what the weights give, and (but for the missing weight with 16 fraction bits) what
// lifting gives to within its rounding.
template <class T, class Cut>
void singles(const OneDimensional<T>& functions, const Weights& weights, double one, double tolerance, Cut cut) {
  forEachTarget([&](const mox::Target& target) {
    Random random(31);
    for (int turn = 0; turn < 200; turn++) {
      const int phase = turn & 1;
      T src[16], low = 0, high = 0;
      for (T& v : src) v = static_cast<T>(random.between(-3000, 3000));
      const auto sum = [&](const double* w, int n, auto at) {
        double total = w[0] * static_cast<double>(at(0));
        for (int i = 1; i < n; i++) total += w[i] * (static_cast<double>(at(-i)) + static_cast<double>(at(i)));
        return cut(total / one);
      };
      const T* const x = src + 6;
      ASSERT_EQ(
          functions.forward(x, sizeof(T), &low, sizeof(T), &high, sizeof(T), {1, 1}, static_cast<uint32_t>(phase)),
          moxStatusOk);
      ASSERT_NEAR(low, sum(weights.low, 5, [&](int i) { return x[phase + i]; }), tolerance) << target.name;
      ASSERT_NEAR(high, sum(weights.high, 4, [&](int i) { return x[1 - phase + i]; }), tolerance) << target.name;

      T lows[8], highs[8], dst[2];
      for (int i = 0; i < 8; i++)
        lows[i] = static_cast<T>(random.between(-3000, 3000)), highs[i] = static_cast<T>(random.between(-3000, 3000));
      const auto at = [&](int i) {
        return (i + phase) & 1 ? highs[3 + ((i - 1 + phase) >> 1)] : lows[3 + ((i - phase) >> 1)];
      };
      ASSERT_EQ(functions.inverse(lows + 3, sizeof(T), highs + 3, sizeof(T), {1, 1}, dst, sizeof(T),
                                  static_cast<uint32_t>(phase)),
                moxStatusOk);
      ASSERT_NEAR(dst[phase], sum(weights.even, 4, [&](int i) { return at(phase + i); }), tolerance) << target.name;
      ASSERT_NEAR(dst[1 - phase], sum(weights.odd, 5, [&](int i) { return at(1 - phase + i); }), tolerance)
          << target.name;
    }
  });
}

constexpr Weights kFloatWeights = {
    {0.6029490232467651, 0.2668641209602356, -0.07822326570749283, -0.016864119097590446, 0.02674875780940056},
    {1.1150870323181152, -0.5912717580795288, -0.05754352733492851, 0.0912717655301094},
    {1.1150870323181152, -0.2668641209602356, -0.05754352733492851, 0.016864119097590446},
    {0.6029490232467651, 0.5912717580795288, -0.07822326570749283, -0.0912717655301094, 0.02674875780940056}};
constexpr Weights kFixedWeights = {{39515, 17489, -5126, -1105, 1753},
                                   {73078, -38750, 0, 5982},
                                   {73078, -17489, -3771, 1105},
                                   {39515, 38750, -5126, -5982, 1753}};

TEST(Wavelet, bandsOfOneCoefficient97) {
  const auto rounded = [](double v) { return std::floor(v + 0.5); };
  const auto saturated = [=](double v) { return std::clamp(rounded(v), -32768.0, 32767.0); };
  const auto exact = [](double v) { return v; };
  singles<Mox16s>(MOX_ROWS(D97_JPEG2K_16s), kFixedWeights, 65536, 0, saturated);
  singles<Mox32s>(MOX_ROWS(D97_JPEG2K_32s), kFixedWeights, 65536, 0, rounded);
  singles<Mox32f>(MOX_ROWS(D97_JPEG2K_32f), kFloatWeights, 1, 0.002, exact);
  singles<Mox32f>(MOX_COLUMNS(D97_JPEG2K_32f), kFloatWeights, 1, 0.002, exact);
}

// Analysis of a long line, then the synthesis of one pair from its coefficients gives the samples back.
TEST(Wavelet, bandsOfOneCoefficientInvertTheLongLine) {
  for (uint32_t phase = 0; phase < 2; phase++) {
    Mox32f src[64], low[24], high[24], dst[2];
    for (int i = 0; i < 64; i++) src[i] = static_cast<Mox32f>((i * 37) % 101);
    ASSERT_EQ(moxiWTFwdRow_D97_JPEG2K_32f_C1R(src + 8, 4, low, 4, high, 4, {24, 1}, phase), moxStatusOk);
    ASSERT_EQ(moxiWTInvRow_D97_JPEG2K_32f_C1R(low + 10, 4, high + 10, 4, {1, 1}, dst, 4, phase), moxStatusOk);
    EXPECT_NEAR(dst[0], src[28], 0.01);
    EXPECT_NEAR(dst[1], src[29], 0.01);
  }
}

TEST(Wavelet, roundTripOf32fRows) {
  Random random(8);
  for (uint32_t phase = 0; phase < 2; phase++) {
    Mox32f src[64], low[28], high[28], dst[32];
    for (Mox32f& v : src) v = static_cast<Mox32f>(random.between(-1000, 1000));
    ASSERT_EQ(moxiWTFwdRow_D97_JPEG2K_32f_C1R(src + 4, 4, low, 4, high, 4, {28, 1}, phase), moxStatusOk);
    ASSERT_EQ(moxiWTInvRow_D97_JPEG2K_32f_C1R(low + 4, 4, high + 4, 4, {16, 1}, dst, 4, phase), moxStatusOk);
    for (int i = 0; i < 32; i++) ASSERT_NEAR(dst[i], src[12 + i], 0.01);
  }
}

// ---- Lifting steps

// Rows in one arena at any distance: column by column, everything read before anything is written, in the order of
// `outs`. formula(in) gives the outputs from the values of all rows.
template <class T, int Rows, class Call, class Formula>
void overlapping(const Call& call, const std::vector<int>& outs, const Formula& formula) {
  forEachTarget([&](const mox::Target& target) {
    Random random(41);
    for (int turn = 0; turn < 400; turn++) {
      const int width = 1 + random.below(70);
      constexpr int kArena = 400;
      std::vector<T> arena(kArena);
      for (T& v : arena) v = anyValue<T>(random, Filling::any);
      int offsets[Rows];
      for (int& offset : offsets) {
        offset = random.below(kArena - width);
        if (random.oneIn(3)) offset = offsets[random.below(Rows)] % (kArena - width);
        if (offset < 0) offset = 0;
      }
      // Every other round: all rows but one are disjoint or the same.
      if (turn & 1)
        for (int i = 0; i < Rows; i++) offsets[i] = (i * width) % (kArena - width);
      std::vector<T> expected = arena;
      for (int j = 0; j < width; j++) {
        T in[Rows];
        for (int i = 0; i < Rows; i++) in[i] = expected[static_cast<size_t>(offsets[i] + j)];
        const std::vector<T> results = formula(in);
        for (size_t k = 0; k < outs.size(); k++) expected[static_cast<size_t>(offsets[outs[k]] + j)] = results[k];
      }
      T* rows[Rows];
      for (int i = 0; i < Rows; i++) rows[i] = arena.data() + offsets[i];
      ASSERT_EQ(call(rows, width), moxStatusOk);
      ASSERT_EQ(std::memcmp(arena.data(), expected.data(), kArena * sizeof(T)), 0) << target.name << ", turn " << turn;
    }
  });
}

template <class T, class Forward, class Inverse>
void liftingSteps53(Forward forward, Inverse inverse) {
  using A = reference::Ref53<T>;
  overlapping<T, 6>([=](T** r, int n) { return forward(r[0], r[1], r[2], r[3], r[4], r[5], n); }, {5, 3},
                    [](const T* in) {
                      const int64_t h = A::step(in[1], 0, in[0], in[2]);
                      return std::vector<T>{static_cast<T>(h), static_cast<T>(A::step(in[0], 1, in[4], h))};
                    });
  overlapping<T, 6>([=](T** r, int n) { return inverse(r[0], r[1], r[2], r[3], r[4], r[5], n); }, {4, 5},
                    [](const T* in) {
                      const int64_t e = A::unstep(in[0], 1, in[1], in[2]);
                      return std::vector<T>{static_cast<T>(A::unstep(in[1], 0, in[3], e)), static_cast<T>(e)};
                    });
}

TEST(Wavelet, liftingSteps53) {
  liftingSteps53<Mox16s>(moxiWTFwdColLift_B53_JPEG2K_16s_C1, moxiWTInvColLift_B53_JPEG2K_16s_C1);
  liftingSteps53<Mox32s>(moxiWTFwdColLift_B53_JPEG2K_32s_C1, moxiWTInvColLift_B53_JPEG2K_32s_C1);
}

// Single precision with delta / K as one constant on the way back.
struct RefFused : reference::RefFloat {
  static float undelta(float low, float a, float b) { return low * reference::kK - 0.36052364110946655f * (a + b); }
};
template <class T>
struct RefFused16 : reference::Ref16<T> {
  using Base = reference::Ref16<T>;
  static typename Base::Work undelta(T low, T a, T b) { return Base::unstep({low}, 3, {0, a}, {0, b}); }
};

template <class T, class A, class Forward, class Inverse>
void liftingSteps97(Forward forward, Inverse inverse) {
  using W = typename A::Work;
  const auto value = [](W w) {
    if constexpr (std::is_same_v<T, Mox32f>)
      return w;
    else
      return static_cast<T>(w.value);
  };
  // Rows: x0 x1 x2, even 2k - 2, even 2k, odd 2k - 3, odd 2k - 1, odd 2k + 1.
  overlapping<T, 8>([=](T** r, int n) { return forward(r[0], r[1], r[2], r[3], r[4], r[5], r[6], r[7], n); },
                    {7, 4, 6, 3, 5},
                    [=](const T* in) {
                      const W a = A::step(W{in[1]}, 0, W{in[0]}, W{in[2]}), b = A::step(W{in[0]}, 1, W{in[6]}, a);
                      const W g = A::step(W{in[6]}, 2, W{in[3]}, b), l = A::step(W{in[3]}, 3, W{in[5]}, g);
                      return std::vector<T>{value(a), value(b), value(g), A::low(l), A::high(W{in[5]})};
                    });
  // Rows: H(k - 1), L(k), H(k), even 2k, even 2k - 2, even 2k - 4, odd 2k - 1, odd 2k - 3.
  overlapping<T, 8>([=](T** r, int n) { return inverse(r[0], r[1], r[2], r[3], r[4], r[5], r[6], r[7], n); },
                    {3, 6, 4, 7},
                    [=](const T* in) {
                      const W d = A::undelta(in[1], in[0], in[2]);
                      const W g = A::unstep(A::unhigh(in[0]), 2, W{in[4]}, d);
                      const W e = A::unstep(W{in[4]}, 1, W{in[7]}, g), o = A::unstep(W{in[7]}, 0, W{in[5]}, e);
                      return std::vector<T>{value(d), value(g), value(e), value(o)};
                    });
}

TEST(Wavelet, liftingSteps97) {
  liftingSteps97<Mox16s, RefFused16<Mox16s>>(moxiWTFwdColLift_D97_JPEG2K_16s_C1, moxiWTInvColLift_D97_JPEG2K_16s_C1);
  liftingSteps97<Mox32s, RefFused16<Mox32s>>(moxiWTFwdColLift_D97_JPEG2K_32s_C1, moxiWTInvColLift_D97_JPEG2K_32s_C1);
  liftingSteps97<Mox32f, RefFused>(moxiWTFwdColLift_D97_JPEG2K_32f_C1, moxiWTInvColLift_D97_JPEG2K_32f_C1);
}

// A column pushed through the pipelines, forward and back, with rows rotated as the header says.
TEST(Wavelet, pipelinesOfLiftingStepsRestoreTheColumn) {
  constexpr int kRows = 40, kWidth = 13;
  Random random(51);
  std::vector<std::vector<Mox32f>> x(kRows, std::vector<Mox32f>(kWidth));
  for (auto& row : x)
    for (Mox32f& v : row) v = static_cast<Mox32f>(random.between(-1000, 1000));
  auto rows = x;
  for (int k = 2; 2 * k + 2 < kRows; k++) {
    const auto at = [&](int i) { return rows[static_cast<size_t>(2 * k + i)].data(); };
    ASSERT_EQ(moxiWTFwdColLift_D97_JPEG2K_32f_C1(at(0), at(1), at(2), at(-2), at(0), at(-3), at(-1), at(1), kWidth),
              moxStatusOk);
  }
  // The reference needs no start: far from the ends the rows agree.
  for (int column = 0; column < kWidth; column++) {
    const auto bands = reference::analyse<reference::RefFloat>(kRows, 0, [&](int i) {
      return i >= 0 && i < kRows ? x[static_cast<size_t>(i)][static_cast<size_t>(column)] : 0.0f;
    });
    for (int i = 12; i < 32; i++)
      ASSERT_EQ(rows[static_cast<size_t>(i)][static_cast<size_t>(column)],
                (i & 1 ? bands.high : bands.low)[static_cast<size_t>(i / 2)]);
  }
  for (int k = 6; 2 * k + 1 < 34; k++) {
    const auto at = [&](int i) { return rows[static_cast<size_t>(2 * k + i)].data(); };
    ASSERT_EQ(moxiWTInvColLift_D97_JPEG2K_32f_C1(at(-1), at(0), at(1), at(0), at(-2), at(-4), at(-1), at(-3), kWidth),
              moxStatusOk);
  }
  for (int i = 20; i < 28; i++)
    for (int column = 0; column < kWidth; column++)
      ASSERT_NEAR(rows[static_cast<size_t>(i)][static_cast<size_t>(column)],
                  x[static_cast<size_t>(i)][static_cast<size_t>(column)], 0.01);
}

}  // namespace
}  // namespace test
