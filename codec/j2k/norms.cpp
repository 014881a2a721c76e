// Computes the norms from the synthesis filters instead of storing a table.
#include "j2k/norms.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

namespace moxj::j2k {

namespace {

// The symmetric low-pass and high-pass synthesis filters, from the centre tap on. The low-pass filters have a DC gain
// of 2, so that the norms are those of the standard's normalisation.
constexpr double kLow97[] = {1.115087052456994, 0.591271763114247, -0.057543526228500, -0.091271763114250};
constexpr double kHigh97[] = {0.602949018236360, -0.266864118442875, -0.078223266528990, 0.016864118442875,
                              0.026748757410810};
constexpr double kLow53[] = {1, 0.5};
constexpr double kHigh53[] = {0.75, -0.25, -0.125};

using Taps = std::vector<double>;

Taps whole(std::span<const double> half) {
  Taps taps(half.rbegin(), half.rend());
  taps.insert(taps.end(), half.begin() + 1, half.end());
  return taps;
}

// A function after one more level of synthesis: upsampled by 2 and low-pass filtered.
Taps synthesised(const Taps& function, const Taps& low) {
  Taps made(2 * function.size() + low.size() - 2);
  for (std::size_t i = 0; i < function.size(); ++i)
    for (std::size_t k = 0; k < low.size(); ++k) made[2 * i + k] += function[i] * low[k];
  return made;
}

double normOf(const Taps& taps) {
  double sum = 0;
  for (const double tap : taps) sum += tap * tap;
  return std::sqrt(sum);
}

// Norms in one dimension. After the tenth level each further level only doubles the width of a function.
class Norms {
 public:
  Norms(std::span<const double> lowHalf, std::span<const double> highHalf) {
    const Taps low = whole(lowHalf);
    Taps lows = low, highs = whole(highHalf);
    low_[0] = high_[0] = 1;
    for (int level = 1; level <= kMaxLevels; ++level) {
      constexpr int kMade = 10;
      low_[level] = level <= kMade ? normOf(lows) : low_[level - 1] * std::sqrt(2.0);
      high_[level] = level <= kMade ? normOf(highs) : high_[level - 1] * std::sqrt(2.0);
      if (level >= kMade) continue;
      lows = synthesised(lows, low);
      highs = synthesised(highs, low);
    }
  }
  double low(int level) const { return low_[level]; }
  double high(int level) const { return high_[level]; }

 private:
  std::array<double, kMaxLevels + 1> low_, high_;
};

}  // namespace

double bandNorm(bool reversible, Orientation orientation, int levels) {
  static const Norms norms53(kLow53, kHigh53), norms97(kLow97, kHigh97);
  const Norms& norms = reversible ? norms53 : norms97;
  const double across = orientation & hl ? norms.high(levels) : norms.low(levels);
  const double down = orientation & lh ? norms.high(levels) : norms.low(levels);
  return across * down;
}

double componentNorm(bool transformed, bool reversible, int component) {
  if (!transformed || component > 2) return 1;
  // The lengths of the columns of the inverse matrices, for the RCT without its rounding.
  constexpr double kRct[] = {1.7320508, 0.8291562, 0.8291562}, kIct[] = {1.7320508, 1.8051000, 1.5733980};
  return reversible ? kRct[component] : kIct[component];
}

}  // namespace moxj::j2k
