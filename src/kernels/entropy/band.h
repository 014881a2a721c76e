// What one scan of a progressive image codes of a block.
#pragma once

#include <cstdint>

namespace mox {

// Zig-zag positions start .. end (Ss and Se of T.81 B.2.3, 1 to 63 for AC coefficients), without the `low` (Al, 0 to
// 13) lowest bits of the magnitudes: spectral selection and successive approximation (T.81 G.1.1.1).
struct Band {
  int32_t start, end, low;
};

constexpr bool isPointTransform(int32_t low) { return low >= 0 && low <= 13; }

constexpr bool isBand(Band band) {
  return band.start >= 1 && band.start <= 63 && band.end >= band.start && band.end <= 63 && isPointTransform(band.low);
}

// The longest end-of-band run in blocks (T.81 G.1.2.2): EOBRUN has 15 bits.
inline constexpr int32_t kLongestRun = 0x7FFF;

}  // namespace mox
