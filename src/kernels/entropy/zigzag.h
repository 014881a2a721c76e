// The zig-zag order of the coefficients of an 8x8 block (T.81 A.3.6, figure A.6).
#pragma once

#include <cstdint>

namespace mox {

// A decoder's run of zeros may lead this many positions past the block before it is an error; all of them mean
// coefficient 63.
inline constexpr int kZigZagGuards = 9;

// The walk along the anti-diagonals and its inverse; natural positions are 8 * row + column.
struct ZigZag {
  uint8_t natural[64 + kZigZagGuards];  // natural position of each zig-zag index
  uint8_t index[64];                    // zig-zag index of each natural position
};

constexpr ZigZag zigZagWalk() {
  ZigZag walk{};
  int k = 0;
  for (int diagonal = 0; diagonal < 15; diagonal++) {
    for (int i = 0; i <= diagonal; i++) {
      // Even diagonals run upwards, from their lowest row; odd ones downwards.
      const int row = diagonal % 2 == 0 ? diagonal - i : i, column = diagonal - row;
      if (row > 7 || column > 7) continue;
      walk.natural[k] = static_cast<uint8_t>(8 * row + column);
      walk.index[8 * row + column] = static_cast<uint8_t>(k);
      k++;
    }
  }
  while (k < 64 + kZigZagGuards) walk.natural[k++] = 63;
  return walk;
}

inline constexpr ZigZag kZigZag = zigZagWalk();

static_assert(kZigZag.natural[0] == 0 && kZigZag.natural[1] == 1 && kZigZag.natural[2] == 8);
static_assert(kZigZag.natural[35] == 56 && kZigZag.natural[63] == 63 && kZigZag.natural[72] == 63);
static_assert(kZigZag.index[7] == 28 && kZigZag.index[8] == 2 && kZigZag.index[42] == 33 && kZigZag.index[56] == 35);

}  // namespace mox
