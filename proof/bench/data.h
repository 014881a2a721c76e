// Data of workloads: smooth noise on several scales, whose transforms look like those of a photograph.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "moxj.h"
#include "proof/random.h"

namespace moxj::proof {

// Values from -1 to 1 at the corners of a grid, the same at each call.
inline double corner(int x, int y, int seed) {
  const auto mix = static_cast<uint64_t>(x) * 73856093u ^ static_cast<uint64_t>(y) * 19349663u;
  return test::Random(mix ^ static_cast<uint64_t>(seed) << 40).between(-1000, 1000) / 1000.0;
}

// Between the corners of a grid, linear.
inline double noise(int x, int y, int cell, int seed) {
  const int left = x / cell, top = y / cell;
  const double right = static_cast<double>(x % cell) / cell, down = static_cast<double>(y % cell) / cell;
  const double upper = corner(left, top, seed) * (1 - right) + corner(left + 1, top, seed) * right;
  const double lower = corner(left, top + 1, seed) * (1 - right) + corner(left + 1, top + 1, seed) * right;
  return upper * (1 - down) + lower * down;
}

inline Mox8u sampleAt(int x, int y, int channel) {
  double value = 128;
  for (int cell = 64; cell >= 1; cell /= 2)
    value += noise(x, y, cell, 8 * channel + cell) * 1.2 * std::sqrt(8.0 * cell);
  return static_cast<Mox8u>(std::clamp(value, 0.0, 255.0));
}

// Interleaved samples of a picture.
inline std::vector<Mox8u> picture(int width, int height, int channels) {
  std::vector<Mox8u> samples;
  samples.reserve(static_cast<size_t>(width) * height * channels);
  for (int y = 0; y < height; y++)
    for (int x = 0; x < width; x++)
      for (int c = 0; c < channels; c++) samples.push_back(sampleAt(x, y, c));
  return samples;
}

// The same in other types, as differences from the middle.
template <class T>
std::vector<T> centred(const std::vector<Mox8u>& samples) {
  std::vector<T> values;
  values.reserve(samples.size());
  for (const Mox8u s : samples) values.push_back(static_cast<T>(static_cast<int>(s) - 128));
  return values;
}

}  // namespace moxj::proof
