// Bisection over the slope, then a greedy fill of the remaining bytes.
//
// Nothing depends on how much of a block has been coded: the slopes that are tried begin with constants, and what
// matters and is not known is coded first.
#include "j2k/ratecontrol.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <queue>

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

bool RateControl::isKnown(double slope) const {
  return std::ranges::all_of(blocks_, [=](const CodedBlock* block) { return block->floor < slope; });
}

// Codes what is needed to take passes by this slope, or a larger one.
void RateControl::know(double slope) {
  std::vector<CodedBlock*> blocks;
  for (CodedBlock* block : blocks_)
    if (block->floor >= slope) blocks.push_back(block);
  if (!blocks.empty()) codeMore_(blocks, slope);
}

std::uint64_t RateControl::bytesTaken(int layer) const {
  std::uint64_t sum = 0;
  for (const CodedBlock* block : blocks_) sum += bytesOf(*block, block->taken[static_cast<std::size_t>(layer)]);
  return sum;
}

std::uint64_t RateControl::bound() const {
  std::uint64_t sum = 0;
  for (const CodedBlock* block : blocks_) sum += block->bytes;
  return sum;
}

bool RateControl::fill(int layer, std::uint64_t maxSize) {
  constexpr int kSteps = 56;
  constexpr double kNear = 0.9995;
  if (bound() <= maxSize) {
    know(0);
    takeSlope(layer, 0);
    if (sizeOf_(layer + 1) <= maxSize) return true;
  }
  takeSlope(layer, HUGE_VAL);
  std::uint64_t size = sizeOf_(layer + 1);
  if (size > maxSize) return false;
  // Bisects the logarithm of the slope, in which the size is nearly linear. All slopes are between these.
  double low = 0x1p-64, high = 0x1p96;
  double fitting = HUGE_VAL;
  for (int step = 0; step < kSteps && high / low > 1 + 1e-9; ++step) {
    const double slope = std::sqrt(low * high);
    takeSlope(layer, slope);
    // Of blocks that are not known well enough, at least these passes are taken.
    std::uint64_t now = bytesTaken(layer);
    if (now <= maxSize) {
      if (!isKnown(slope)) know(slope), takeSlope(layer, slope);
      now = sizeOf_(layer + 1);
    }
    if (now > maxSize) {
      low = slope;
      continue;
    }
    high = fitting = slope;
    size = now;
    if (static_cast<double>(now) >= kNear * static_cast<double>(maxSize)) break;
  }
  takeSlope(layer, fitting);
  fillRest(layer, fitting, maxSize, size);
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

// The passes with which the remaining bytes may be filled, those that gain most per byte first. Of a block that is not
// complete, a bound is known of the passes that are not coded: they are coded when such a pass may be the next one.
class RateControl::Rest {
 public:
  struct Candidate {
    double slope;
    std::size_t block;
    int passes;
  };

  // Of the bit-planes that count for the slope by which passes are taken.
  Rest(RateControl& control, int layer, double slope, std::uint64_t room)
      : control_(control), layer_(layer), least_(slope / 2), room_(room) {
    for (std::size_t i = 0; i < control.blocks_.size(); ++i) {
      end_.push_back(passesAt(*control.blocks_[i], slope));
      from_.push_back(control.blocks_[i]->taken[static_cast<std::size_t>(layer)]);
      addBlock(i, 0);
    }
  }

  // The next one, if any; `left` bytes are free now.
  std::optional<Candidate> next(std::uint64_t left) {
    codeHidden(left);
    if (candidates_.empty() || candidates_.top().slope < least_) return {};
    last_ = candidates_.top();
    candidates_.pop();
    return last_;
  }

 private:
  struct Hidden {
    double slope;  // a bound
    std::size_t block;
  };
  struct Later {
    bool operator()(const Candidate& a, const Candidate& b) const {
      if (a.slope != b.slope) return a.slope < b.slope;
      return a.block != b.block ? a.block > b.block : a.passes > b.passes;
    }
  };

  static double gainOf(const CodedBlock& block, int passes) {
    return passes == 0 ? 0 : block.passes[static_cast<std::size_t>(passes) - 1].distortion;
  }

  // Of the passes after the first `known` ones.
  void addBlock(std::size_t number, std::size_t known) {
    const CodedBlock& block = *control_.blocks_[number];
    const int from = from_[number];
    const int end = std::min(end_[number], static_cast<int>(block.passes.size()));
    for (int passes = std::max(from, static_cast<int>(known)) + 1; passes <= end; ++passes) {
      const std::uint32_t bytes = bytesOf(block, passes) - bytesOf(block, from);
      if (bytes > room_) return;
      const double gain = gainOf(block, passes) - gainOf(block, from);
      if (gain <= 0) continue;
      const Candidate candidate = {gain / (bytes + 1), number, passes};
      if (!last_ || Later()(candidate, *last_)) candidates_.push(candidate);
    }
    const double gain = block.gain - gainOf(block, from);
    if (end == end_[number] || block.isComplete() || gain <= 0 || block.bytes - bytesOf(block, from) > room_) return;
    hidden_.push_back({gain / (block.bytes - bytesOf(block, from) + 1), number});
  }

  // A hidden pass cannot be next if a candidate is certainly better, or if there is no room for it now.
  bool isDue(const Hidden& hidden, double slope, std::uint64_t left) const {
    const CodedBlock& block = *control_.blocks_[hidden.block];
    const std::uint32_t taken = bytesOf(block, block.taken[static_cast<std::size_t>(layer_)]);
    return hidden.slope >= slope && block.bytes <= taken + left;
  }

  void codeHidden(std::uint64_t left) {
    constexpr double kTogether = 0.9;
    const auto best = [&] { return candidates_.empty() ? least_ : std::max(candidates_.top().slope, least_); };
    while (std::ranges::any_of(hidden_, [&](const Hidden& hidden) { return isDue(hidden, best(), left); })) {
      const double slope = best() * kTogether;
      const auto due = std::partition(hidden_.begin(), hidden_.end(),
                                      [&](const Hidden& hidden) { return !isDue(hidden, slope, left); });
      std::vector<std::size_t> numbers;
      for (auto hidden = due; hidden != hidden_.end(); ++hidden) numbers.push_back(hidden->block);
      hidden_.erase(due, hidden_.end());
      std::vector<CodedBlock*> blocks;
      std::vector<std::size_t> known;
      for (const std::size_t number : numbers) {
        blocks.push_back(control_.blocks_[number]);
        known.push_back(blocks.back()->passes.size());
      }
      control_.codeMore_(blocks, 0);
      for (std::size_t i = 0; i < numbers.size(); ++i) addBlock(numbers[i], known[i]);
    }
  }

  RateControl& control_;
  int layer_;
  double least_;  // slope of a candidate
  std::uint64_t room_;
  std::vector<int> from_, end_;  // of each block: the passes that are taken already, and those that may be
  std::priority_queue<Candidate, std::vector<Candidate>, Later> candidates_;
  std::vector<Hidden> hidden_;
  std::optional<Candidate> last_;
};

// Spends the remaining bytes on the blocks that gain most per byte, as long as passes fit.
void RateControl::fillRest(int layer, double slope, std::uint64_t maxSize, std::uint64_t size) {
  constexpr int kTries = 24;  // each codes all packet headers
  int tries = 0;
  Rest rest(*this, layer, slope, maxSize - size);
  while (const auto candidate = rest.next(maxSize - size)) {
    CodedBlock& block = *blocks_[candidate->block];
    std::uint8_t& taken = block.taken[static_cast<std::size_t>(layer)];
    if (candidate->passes <= taken || size + bytesOf(block, candidate->passes) - bytesOf(block, taken) > maxSize)
      continue;
    const std::uint8_t old = std::exchange(taken, static_cast<std::uint8_t>(candidate->passes));
    const std::uint64_t now = sizeOf_(layer + 1);
    now <= maxSize ? void(size = now) : void(taken = old);
    if (++tries == kTries) return;
  }
}

}  // namespace moxj::j2k
