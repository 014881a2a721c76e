// The zig-zag order and the tables of T.81 Annex K, which most files use.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace moxj::jpeg {

// The natural (row-major) index of each position of the zig-zag sequence (T.81 Figure A.6): upwards along even
// anti-diagonals, downwards along odd ones.
inline constexpr std::array<std::uint8_t, 64> kZigZag = [] {
  std::array<std::uint8_t, 64> order{};
  int at = 0;
  for (int diagonal = 0; diagonal < 15; ++diagonal) {
    for (int step = 0; step <= diagonal; ++step) {
      const int row = diagonal % 2 == 0 ? diagonal - step : step;
      const int column = diagonal - row;
      if (row < 8 && column < 8) order[at++] = static_cast<std::uint8_t>(row * 8 + column);
    }
  }
  return order;
}();
static_assert(kZigZag[1] == 1 && kZigZag[2] == 8 && kZigZag[35] == 56 && kZigZag[63] == 63);

// Quantiser steps in natural order.
using Steps = std::array<std::uint16_t, 64>;

// Whether the steps need 16 bits, which a baseline file does not allow.
inline bool isWide(const Steps& steps) {
  return std::any_of(steps.begin(), steps.end(), [](int step) { return step > 255; });
}

// T.81 Tables K.1 (luminance) and K.2 (chrominance), in natural order as printed there.
extern const std::array<Steps, 2> kAnnexKSteps;

// A table of Annex K scaled to a quality from 1 to 100 by the customary rule: quality 50 is the table itself.
Steps scaledSteps(const Steps& steps, int quality, int largestStep);

// A Huffman table as in a DHT segment: the number of codes of each length, and their symbols in order.
struct HuffmanCode {
  std::array<std::uint8_t, 16> bits{};
  std::vector<std::uint8_t> values;
};

enum TableClass { kDc = 0, kAc = 1 };

// T.81 Tables K.3 to K.6: [table class][0 luminance, 1 chrominance].
extern const std::array<std::array<HuffmanCode, 2>, 2> kAnnexKCodes;

}  // namespace moxj::jpeg
