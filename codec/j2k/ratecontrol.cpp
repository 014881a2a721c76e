// Bisection over the slope, then a greedy fill of the remaining bytes.
#include "j2k/ratecontrol.h"

#include <algorithm>
#include <cmath>

namespace moxj::j2k {

namespace {

int before(const CodedBlock& block, int layer) {
  return layer == 0 ? 0 : block.taken[static_cast<std::size_t>(layer) - 1];
}

std::uint32_t bytesOf(const CodedBlock& block, int passes) {
  return passes == 0 ? 0 : block.passes[static_cast<std::size_t>(passes) - 1].end;
}

// The mean squared error of whole samples whose values before rounding have a normal error of this square. Small errors
// vanish, large ones grow by 1/12.
double afterRounding(double square) {
  if (square > 1) return square + 1.0 / 12;
  const double scale = 1 / std::sqrt(2 * std::max(square, 1e-12));
  double sum = 0;
  for (int k = 1; k <= 8; ++k) sum += k * k * (std::erfc((k - 0.5) * scale) - std::erfc((k + 0.5) * scale));
  return sum;
}

}  // namespace

void RateControl::takeAll(int layer) {
  for (CodedBlock* block : blocks_)
    block->taken[static_cast<std::size_t>(layer)] = static_cast<std::uint8_t>(block->passes.size());
}

void RateControl::takeSlope(int layer, double slope) {
  for (CodedBlock* block : blocks_) {
    const auto end = std::partition_point(block->hull.begin(), block->hull.end(),
                                          [&](const HullPoint& point) { return point.slope >= slope; });
    const int passes = end == block->hull.begin() ? 0 : (end - 1)->passes;
    block->taken[static_cast<std::size_t>(layer)] = static_cast<std::uint8_t>(std::max(passes, before(*block, layer)));
  }
}

std::pair<double, double> RateControl::slopes() const {
  double min = HUGE_VAL, max = 0;
  for (const CodedBlock* block : blocks_)
    for (const HullPoint& point : block->hull) {
      if (std::isinf(point.slope)) continue;
      min = std::min(min, point.slope);
      max = std::max(max, point.slope);
    }
  return {min, max};
}

bool RateControl::fill(int layer, std::uint64_t maxSize) {
  constexpr int kSteps = 40;
  constexpr double kNear = 0.9995;
  takeSlope(layer, 0);
  wholeSize_ = sizeOf_(layer + 1);
  if (wholeSize_ <= maxSize) return true;
  auto [low, high] = slopes();
  high *= 2;
  takeSlope(layer, HUGE_VAL);
  std::uint64_t size = sizeOf_(layer + 1);
  if (size > maxSize) return false;
  // Bisects the logarithm of the slope, in which the size is nearly linear.
  double fitting = HUGE_VAL;
  for (int step = 0; step < kSteps && high / low > 1 + 1e-9; ++step) {
    const double slope = std::sqrt(low * high);
    takeSlope(layer, slope);
    const std::uint64_t now = sizeOf_(layer + 1);
    if (now > maxSize) {
      low = slope;
      continue;
    }
    high = fitting = slope;
    size = now;
    if (static_cast<double>(now) >= kNear * static_cast<double>(maxSize)) break;
  }
  takeSlope(layer, fitting);
  fillRest(layer, maxSize, size);
  return true;
}

double RateControl::psnr(int layer, const std::vector<ComponentGroup>& groups, const std::vector<int>& groupOf) const {
  std::vector<double> errors(groups.size());
  for (const CodedBlock* block : blocks_) {
    const int taken = block->taken[static_cast<std::size_t>(layer)];
    const double gain = taken == 0 ? 0 : block->passes[static_cast<std::size_t>(taken) - 1].distortion;
    errors[static_cast<std::size_t>(groupOf[static_cast<std::size_t>(block->component)])] += block->error - gain;
  }
  double error = 0, samples = 0;
  for (std::size_t i = 0; i < groups.size(); ++i) {
    const ComponentGroup& group = groups[i];
    error += afterRounding(errors[i] / group.samples) * group.samples / (group.peak * group.peak);
    samples += group.samples;
  }
  return error > 0 ? -10 * std::log10(error / samples) : HUGE_VAL;
}

bool RateControl::reach(int layer, double wanted, const std::vector<ComponentGroup>& groups,
                        const std::vector<int>& groupOf) {
  constexpr int kSteps = 48;
  takeSlope(layer, 0);
  if (psnr(layer, groups, groupOf) < wanted) return false;
  auto [low, high] = slopes();
  high *= 2;
  double reaching = 0;
  for (int step = 0; step < kSteps && high / low > 1 + 1e-9; ++step) {
    const double slope = std::sqrt(low * high);
    takeSlope(layer, slope);
    const bool reaches = psnr(layer, groups, groupOf) >= wanted;
    if (reaches) reaching = slope;
    (reaches ? low : high) = slope;
  }
  takeSlope(layer, reaching);
  return true;
}

// Spends the remaining bytes on the blocks that gain most per byte, as long as passes fit.
void RateControl::fillRest(int layer, std::uint64_t maxSize, std::uint64_t size) {
  struct Candidate {
    double slope;
    CodedBlock* block;
    int passes;
  };
  std::vector<Candidate> candidates;
  const std::uint64_t room = maxSize - size;
  for (CodedBlock* block : blocks_) {
    const int from = block->taken[static_cast<std::size_t>(layer)];
    for (int passes = from + 1; passes <= static_cast<int>(block->passes.size()); ++passes) {
      const std::uint32_t bytes = bytesOf(*block, passes) - bytesOf(*block, from);
      if (bytes > room) break;
      const double gain = block->passes[static_cast<std::size_t>(passes) - 1].distortion -
                          (from == 0 ? 0 : block->passes[static_cast<std::size_t>(from) - 1].distortion);
      if (gain > 0) candidates.push_back({gain / (bytes + 1), block, passes});
    }
  }
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const Candidate& a, const Candidate& b) { return a.slope > b.slope; });
  constexpr int kTries = 24;  // each codes all packet headers
  int tries = 0;
  for (const Candidate& candidate : candidates) {
    std::uint8_t& taken = candidate.block->taken[static_cast<std::size_t>(layer)];
    const std::uint32_t bytes = bytesOf(*candidate.block, candidate.passes) - bytesOf(*candidate.block, taken);
    if (candidate.passes <= taken || size + bytes > maxSize) continue;
    const std::uint8_t old = std::exchange(taken, static_cast<std::uint8_t>(candidate.passes));
    const std::uint64_t now = sizeOf_(layer + 1);
    now <= maxSize ? void(size = now) : void(taken = old);
    if (++tries == kTries) return;
  }
}

}  // namespace moxj::j2k
