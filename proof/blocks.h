// Typical blocks and tables of a codec. (The fillings of random.h give arbitrary ones.)
#pragma once

#include <algorithm>

#include "moxj.h"
#include "proof/huffman.h"

namespace test {

// Quantiser steps that grow with frequency, as in the tables of a codec. At high qualities some of them are 1.
inline void realisticSteps(Random& random, Mox16u* steps) {
  const int slope = random.oneIn(3) ? 0 : random.between(1, 16);
  for (int i = 0; i < 64; i++)
    steps[i] = static_cast<Mox16u>(std::clamp(1 + slope * (i / 8 + i % 8) + random.below(3), 1, 255));
}

inline void realisticReciprocals(Random& random, Mox16u* reciprocals) {
  Mox8u steps[64];  // in zig-zag order
  realisticSteps(random, reciprocals);
  for (int i = 0; i < 64; i++) steps[i] = static_cast<Mox8u>(reciprocals[kNatural[i]]);
  moxiQuantFwdTableInit_JPEG_8u16u(steps, reciprocals);
}

// Quantised coefficients: a DC coefficient, a few decreasing AC coefficients, and mostly rows and columns of zeros.
inline void realisticLevels(Random& random, Mox16s* levels) {
  std::fill_n(levels, 64, Mox16s{0});
  levels[0] = static_cast<Mox16s>(random.between(-128, 127));
  const int rows = random.between(0, 8), columns = random.between(0, 8);
  for (int row = 0; row < rows; row++)
    for (int column = 0; column < columns; column++) {
      const int bound = 48 / (1 + row + column);
      if (row + column > 0 && !random.oneIn(3))
        levels[8 * row + column] = static_cast<Mox16s>(random.between(-bound, bound));
    }
}

// Samples of a slope with some noise; `step` bytes from row to row.
inline void realisticSamples(Random& random, Mox8u* samples, int step) {
  const int base = random.below(256), right = random.between(-24, 24), down = random.between(-24, 24);
  const int noise = random.oneIn(2) ? 2 : 40;
  for (int y = 0; y < 8; y++)
    for (int x = 0; x < 8; x++)
      samples[y * step + x] =
          static_cast<Mox8u>(std::clamp(base + x * right + y * down + random.between(-noise, noise), 0, 255));
}

}  // namespace test
