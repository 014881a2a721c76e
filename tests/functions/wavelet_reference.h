// The wavelets line by line as ISO/IEC 15444-1 Annex F has them: the line is extended by copying, then lifted one step
// after another over the whole of it. Slow; it shares no code with the library.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

#include "moxj.h"

namespace test::reference {

// Samples at positions -margin to count + margin.
template <class T>
struct Extended {
  static constexpr int kMargin = 8;
  std::vector<T> values;
  explicit Extended(int count) : values(static_cast<size_t>(count + 2 * kMargin)) {}
  T& operator[](int i) { return values[static_cast<size_t>(i + kMargin)]; }
};

// Where position i of a mirrored line of `count` (at least 2) samples comes from.
inline int mirror(int i, int count) {
  while (i < 0 || i >= count) i = i < 0 ? -i : 2 * (count - 1) - i;
  return i;
}

// ---- Arithmetics. step(v, n, a, b): lifting step n of 4 (or 2), forward; unstep its undoing.

template <class T>
struct Ref53 {
  using Sample = T;
  using Work = int64_t;
  static constexpr int kSteps = 2;
  static int64_t cut(int64_t v) { return static_cast<T>(static_cast<uint64_t>(v)); }
  // 32-bit sums wrap before they are shifted, 16-bit ones do not.
  static int64_t sum(int64_t v) { return static_cast<int32_t>(static_cast<uint64_t>(v)); }
  static int64_t product(int n, int64_t a, int64_t b) {
    return n == 0 ? -static_cast<int64_t>(std::floor(static_cast<double>(sum(a + b)) / 2))
                  : static_cast<int64_t>(std::floor(static_cast<double>(sum(a + b + 2)) / 4));
  }
  static Work enter(T v, bool) { return v; }
  static Work step(Work v, int n, Work a, Work b) { return cut(v + product(n, a, b)); }
  static Work unstep(Work v, int n, Work a, Work b) { return cut(v - product(n, a, b)); }
  static T low(Work v) { return static_cast<T>(v); }
  static T high(Work v) { return static_cast<T>(v); }
  static Work unlow(T v) { return v; }
  static Work unhigh(T v) { return v; }
  static T leave(Work v) { return static_cast<T>(v); }
};

struct Ref14 {
  using Sample = int16_t;
  using Work = int64_t;
  static constexpr int kSteps = 4;
  static int64_t scaled(int64_t v, int64_t c) { return static_cast<int16_t>((v * c + 8192) >> 14); }
  static int64_t product(int n, int64_t a, int64_t b) {
    const int64_t weights[] = {-25987, -868, 14466, 7266};
    return (weights[n] * (a + b) + 8192) >> 14;
  }
  static Work step(Work v, int n, Work a, Work b) { return static_cast<int16_t>(v + product(n, a, b)); }
  static Work unstep(Work v, int n, Work a, Work b) { return static_cast<int16_t>(v - product(n, a, b)); }
  static Sample low(Work v) { return static_cast<Sample>(scaled(v, 13318)); }
  static Sample high(Work v) { return static_cast<Sample>(scaled(v, 20155)); }
  static Work unlow(Sample v) { return scaled(v, 20155); }
  static Work unhigh(Sample v) { return scaled(v, 13318); }
  static Work enter(Sample v, bool) { return v; }
  static Sample leave(Work v) { return static_cast<Sample>(v); }
};

inline const float kWeights[] = {-1.5861343145370483f, -0.05298011749982834f, 0.8829110860824585f, 0.4435068666934967f};
inline const float kK = 1.2301740646362305f, kPerK = 0.8128930926322937f;

struct RefFloat {
  using Sample = float;
  using Work = float;
  static constexpr int kSteps = 4;
  static Work enter(Sample v, bool) { return v; }
  static Work step(Work v, int n, Work a, Work b) { return v + kWeights[n] * (a + b); }
  static Work unstep(Work v, int n, Work a, Work b) { return v - kWeights[n] * (a + b); }
  static Sample low(Work v) { return v * kPerK; }
  static Sample high(Work v) { return v * kK; }
  static Work unlow(Sample v) { return v * kK; }
  static Work unhigh(Sample v) { return v * kPerK; }
  static Sample leave(Work v) { return v; }
};

// Integers in single precision. What enters a sum as an integer is added as one: Work remembers it.
struct RefTruncating {
  using Sample = int32_t;
  struct Work {
    float value;
    bool integer = false;
    int32_t whole = 0;
    float per = 1;
  };
  static constexpr int kSteps = 4;
  static float sum(Work a, Work b) {
    if (!a.integer) return a.value + b.value;
    const float added =
        static_cast<float>(static_cast<int32_t>(static_cast<uint32_t>(a.whole) + static_cast<uint32_t>(b.whole)));
    return a.per == 1 ? added : added * a.per;
  }
  static Work enter(Sample v, bool) { return {static_cast<float>(v), true, v}; }
  static Work step(Work v, int n, Work a, Work b) { return {v.value + kWeights[n] * sum(a, b)}; }
  static Work unstep(Work v, int n, Work a, Work b) { return {v.value - kWeights[n] * sum(a, b)}; }
  static Sample leave(Work v) { return whole(v.value); }
  static Sample whole(float v) {
    if (v > 2147483648.0f) return INT32_MAX;
    if (v == 2147483648.0f || v < -2147483648.0f) return INT32_MIN;
    return static_cast<int32_t>(v);
  }
  static Sample low(Work v) { return whole(v.value * kPerK); }
  static Sample high(Work v) { return whole(v.value * kK); }
  static Work unlow(Sample v) { return {static_cast<float>(v) * kK, true, v, kK}; }
  static Work unhigh(Sample v) { return {static_cast<float>(v) * kPerK, true, v, kPerK}; }
};

// 16 fraction bits: delta and the scaling of low coefficients are one step, which low() does at once; the work keeps
// the sum of its neighbours until then.
template <class T>
struct Ref16 {
  using Sample = T;
  struct Work {
    int64_t value;
    int64_t neighbours = 0;
  };
  static constexpr int kSteps = 4;
  static int64_t cut(int64_t v) {
    if (sizeof(T) == 2) return std::clamp<int64_t>(v, INT16_MIN, INT16_MAX);
    return static_cast<int32_t>(static_cast<uint64_t>(v));
  }
  static int64_t rounded(int64_t v) { return (v + 32768) >> 16; }
  static int64_t weight(int n) { return n == 0 ? -103949 : n == 1 ? -3472 : 57862; }
  static Work enter(T v, bool) { return {v}; }
  static Work step(Work v, int n, Work a, Work b) {
    if (n == 3) return {v.value, a.value + b.value};
    return {cut(v.value + rounded(weight(n) * (a.value + b.value)))};
  }
  static Work unstep(Work v, int n, Work a, Work b) {
    if (n == 3) return {cut(rounded(v.value * 80621 - (a.neighbours + b.neighbours) * 23627))};
    return {cut(v.value - rounded(weight(n) * (a.value + b.value)))};
  }
  static T low(Work v) { return static_cast<T>(cut(rounded(v.value * 53274 + v.neighbours * 23627))); }
  static T high(Work v) { return static_cast<T>(cut(rounded(v.value * 80621))); }
  static Work unlow(T v) { return {v}; }
  static Work unhigh(T v) { return {cut(rounded(int64_t{v} * 53274)), v}; }
  static T leave(Work v) { return static_cast<T>(v.value); }
};

// ---- Lines. sample(i), coefficient(low, k) give what is there, beyond the ends too.

template <class A>
struct Bands {
  std::vector<typename A::Sample> low, high;
};

template <class A>
Bands<A> analyse(int count, int phase, const std::function<typename A::Sample(int)>& sample) {
  constexpr int m = 4;
  Extended<typename A::Work> x(count);
  for (int i = -m - phase % 2; i < count + m; i++) x[i] = A::enter(sample(i), false);
  for (int n = 0; n < A::kSteps; n++)
    for (int i = -m + 1 + n; i < count + m - 1 - n; i++)
      if (((i + phase) & 1) == (n % 2 == 0)) x[i] = A::step(x[i], n, x[i - 1], x[i + 1]);
  Bands<A> bands;
  for (int i = 0; i < count; i++) {
    if ((i + phase) & 1)
      bands.high.push_back(A::high(x[i]));
    else
      bands.low.push_back(A::low(x[i]));
  }
  return bands;
}

// coefficient(i): the one at position i.
template <class A>
std::vector<typename A::Sample> synthesise(int count, int phase,
                                           const std::function<typename A::Sample(int)>& coefficient) {
  constexpr int m = 4;
  Extended<typename A::Work> x(count);
  for (int i = -m; i < count + m; i++) x[i] = (i + phase) & 1 ? A::unhigh(coefficient(i)) : A::unlow(coefficient(i));
  for (int n = A::kSteps; n-- > 0;) {
    const int reach = m - (A::kSteps - n);
    for (int i = -reach; i < count + reach; i++)
      if (((i + phase) & 1) == (n % 2 == 0)) x[i] = A::unstep(x[i], n, x[i - 1], x[i + 1]);
  }
  std::vector<typename A::Sample> samples;
  for (int i = 0; i < count; i++) samples.push_back(A::leave(x[i]));
  return samples;
}

// ---- Mirrored lines in Mallat order, with the rules for short ones.

template <class A>
std::vector<typename A::Sample> analyseLine(const std::vector<typename A::Sample>& line, int phase) {
  using T = typename A::Sample;
  const int count = static_cast<int>(line.size());
  if (count == 1) return {static_cast<T>(static_cast<int64_t>(line[0]) * (phase + 1))};
  if (A::kSteps == 2 && count == 2) {
    const T e = line[static_cast<size_t>(phase)], o = line[static_cast<size_t>(1 - phase)];
    const T d = static_cast<T>(int64_t{o} - e);
    return {static_cast<T>(e + (static_cast<int64_t>(static_cast<int32_t>(static_cast<uint32_t>(d) + 1)) >> 1)), d};
  }
  const Bands<A> bands = analyse<A>(count, phase, [&](int i) { return line[static_cast<size_t>(mirror(i, count))]; });
  std::vector<T> result = bands.low;
  result.insert(result.end(), bands.high.begin(), bands.high.end());
  return result;
}

template <class A>
std::vector<typename A::Sample> synthesiseLine(const std::vector<typename A::Sample>& line, int phase) {
  using T = typename A::Sample;
  const int count = static_cast<int>(line.size()), lows = (count + 1 - phase) / 2;
  if (count == 1) return {static_cast<T>(line[0] / (phase + 1))};
  if (A::kSteps == 2 && count == 2) {
    const T d = line[1];
    const T e =
        static_cast<T>(line[0] - (static_cast<int64_t>(static_cast<int32_t>(static_cast<uint32_t>(d) + 1)) >> 1));
    std::vector<T> result(2);
    result[static_cast<size_t>(phase)] = e;
    result[static_cast<size_t>(1 - phase)] = static_cast<T>(int64_t{d} + e);
    return result;
  }
  return synthesise<A>(count, phase, [&](int i) {
    const int at = mirror(i, count);
    return line[static_cast<size_t>((at + phase) & 1 ? lows + (at - 1 + phase) / 2 : (at - phase) / 2)];
  });
}

// ---- Planes: rows of `width` samples one after another.

template <class T>
struct Plane {
  int width, height;
  std::vector<T> samples;
  T& at(int x, int y) { return samples[static_cast<size_t>(y) * width + x]; }
  const T& at(int x, int y) const { return samples[static_cast<size_t>(y) * width + x]; }

  template <class Line>
  void columns(const Line& line) {
    for (int x = 0; x < width; x++) {
      std::vector<T> column;
      for (int y = 0; y < height; y++) column.push_back(at(x, y));
      column = line(column);
      for (int y = 0; y < height; y++) at(x, y) = column[static_cast<size_t>(y)];
    }
  }
  template <class Line>
  void rows(const Line& line) {
    for (int y = 0; y < height; y++) {
      std::vector<T> row = line(std::vector<T>(&at(0, y), &at(0, y) + width));
      std::copy(row.begin(), row.end(), &at(0, y));
    }
  }
};

template <class A>
void analysePlane(Plane<typename A::Sample>& plane, int x, int y) {
  using Line = std::vector<typename A::Sample>;
  plane.columns([&](const Line& line) { return analyseLine<A>(line, y & 1); });
  plane.rows([&](const Line& line) { return analyseLine<A>(line, x & 1); });
}
template <class A>
void synthesisePlane(Plane<typename A::Sample>& plane, int x, int y) {
  using Line = std::vector<typename A::Sample>;
  plane.rows([&](const Line& line) { return synthesiseLine<A>(line, x & 1); });
  plane.columns([&](const Line& line) { return synthesiseLine<A>(line, y & 1); });
}

}  // namespace test::reference
