// Bisection over the slope, then a greedy fill of the remaining bytes.
//
// Nothing depends on how much of a block has been coded: the slopes that are tried begin with constants, and what
// matters and is not known is coded first.
#include "j2k/ratecontrol.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <queue>
#include <utility>

namespace moxj::j2k {

namespace {

int before(const CodedBlock& block, int layer) {
  return layer == 0 ? 0 : block.taken[static_cast<std::size_t>(layer) - 1];
}

std::uint32_t bytesOf(const CodedBlock& block, int passes) {
  return passes == 0 ? 0 : block.passes[static_cast<std::size_t>(passes) - 1].end;
}

// Takes passes of a block in a layer.
void setPasses(CodedBlock& block, int layer, int passes) {
  std::uint8_t& taken = block.taken[static_cast<std::size_t>(layer)];
  if (taken == passes) return;
  taken = static_cast<std::uint8_t>(passes);
  if (block.packetChanged) *block.packetChanged = true;
}

// The passes up to a point of the hull, and at least those of the layers before.
int passesUpTo(const CodedBlock& block, std::size_t points, int layer) {
  return std::max(points == 0 ? 0 : block.hull[points - 1].passes, before(block, layer));
}

// How many of the points of the hull from `first` up to `end` are at least as steep, counted from its beginning.
std::uint32_t pointsAt(const CodedBlock& block, double slope, std::size_t first, std::size_t end) {
  const auto begin = block.hull.begin();
  const auto found =
      std::partition_point(begin + static_cast<std::ptrdiff_t>(first), begin + static_cast<std::ptrdiff_t>(end),
                           [=](const HullPoint& point) { return point.slope >= slope; });
  return static_cast<std::uint32_t>(found - begin);
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
  for (CodedBlock* block : blocks_) setPasses(*block, layer, static_cast<int>(block->passes.size()));
}

void RateControl::takeSlope(int layer, double slope) {
  for (CodedBlock* block : blocks_)
    setPasses(*block, layer, passesUpTo(*block, pointsAt(*block, slope, 0, block->hull.size()), layer));
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

// Codes what is needed to take passes by this slope, or a larger one.
void RateControl::know(double slope) {
  std::vector<CodedBlock*> blocks;
  for (CodedBlock* block : blocks_)
    if (block->floor >= slope) blocks.push_back(block);
  if (!blocks.empty()) codeMore_(blocks, slope);
}

std::uint64_t RateControl::bound() const {
  std::uint64_t sum = 0;
  for (const CodedBlock* block : blocks_) sum += block->bytes;
  return sum;
}

// The passes of a layer by slopes between a low and a high one, which approach each other. Blocks of which both slopes
// take the same passes are decided, and not looked at again.
class RateControl::Bracket {
 public:
  // Takes the passes above all slopes.
  Bracket(RateControl& control, int layer) : control_(control), layer_(layer) {
    for (CodedBlock* block : control.blocks_) {
      const std::uint32_t points = pointsAt(*block, HUGE_VAL, 0, block->hull.size());
      undecided_.push_back({block, points, kUnknown, points, 0});
      put(undecided_.back());
    }
  }

  // Takes the passes by a slope, of blocks that are not known well enough as much as is known of them.
  void take(double slope) {
    for (Undecided& one : undecided_) {
      const std::size_t end = one.last == kUnknown ? one.block->hull.size() : one.last;
      const std::uint32_t points = pointsAt(*one.block, slope, one.first, end);
      if (points == one.points) continue;
      one.points = points;
      put(one);
    }
  }

  // Of the passes that are taken.
  std::uint64_t bytes() const { return bytes_; }

  // Codes what is needed to take passes by this slope. Whether there was anything to code.
  bool know(double slope) {
    std::vector<CodedBlock*> blocks;
    for (const Undecided& one : undecided_)
      if (one.block->floor >= slope) blocks.push_back(one.block);
    if (!blocks.empty()) control_.codeMore_(blocks, slope);
    return !blocks.empty();
  }

  // The slope by which passes were taken is the low or the high one now.
  void setLow(double slope) {
    for (Undecided& one : undecided_)
      if (one.block->floor < slope) one.last = one.points;
    decide();
  }
  void setHigh() {
    for (Undecided& one : undecided_) one.first = one.points;
    decide();
  }

 private:
  static constexpr std::uint32_t kUnknown = UINT32_MAX;

  struct Undecided {
    CodedBlock* block;
    std::uint32_t first, last;  // points of its hull that the high and the low slope take
    std::uint32_t points;       // that are taken
    std::uint32_t bytes;        // of the passes that are taken
  };

  void put(Undecided& one) {
    const int passes = passesUpTo(*one.block, one.points, layer_);
    setPasses(*one.block, layer_, passes);
    const std::uint32_t bytes = bytesOf(*one.block, passes);
    bytes_ = bytes_ - std::exchange(one.bytes, bytes) + bytes;
  }
  void decide() {
    std::erase_if(undecided_, [](const Undecided& one) { return one.first == one.last; });
  }

  RateControl& control_;
  int layer_;
  std::vector<Undecided> undecided_;
  std::uint64_t bytes_ = 0;
};

bool RateControl::fill(int layer, std::uint64_t maxSize) {
  if (bound() <= maxSize) {
    know(0);
    takeSlope(layer, 0);
    if (sizeOf_(layer + 1) <= maxSize) return true;
  }
  const std::optional<Filled> filled = fillBySlope(layer, maxSize);
  if (filled) fillRest(layer, filled->slope, maxSize, filled->size);
  return filled.has_value();
}

// Bisects the logarithm of the slope, in which the size is nearly linear.
std::optional<RateControl::Filled> RateControl::fillBySlope(int layer, std::uint64_t maxSize) {
  constexpr int kSteps = 56;
  constexpr double kNear = 0.9995;
  Bracket bracket(*this, layer);
  Filled filled = {HUGE_VAL, sizeOf_(layer + 1)};
  if (filled.size > maxSize) return {};
  double low = 0x1p-64, high = 0x1p96;  // all slopes are between these
  for (int step = 0; step < kSteps && high / low > 1 + 1e-9; ++step) {
    const double slope = std::sqrt(low * high);
    bracket.take(slope);
    std::uint64_t now = bracket.bytes();
    if (now <= maxSize) {
      if (bracket.know(slope)) bracket.take(slope);
      now = sizeOf_(layer + 1);
    }
    if (now > maxSize) {
      low = slope;
      bracket.setLow(slope);
      continue;
    }
    high = slope;
    bracket.setHigh();
    filled = {slope, now};
    if (static_cast<double>(now) >= kNear * static_cast<double>(maxSize)) break;
  }
  bracket.take(filled.slope);
  return filled;
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
    from_.resize(control.blocks_.size());
    end_.resize(control.blocks_.size());
    std::vector<Found> found(ceilDiv(control.blocks_.size(), kTogether));
    control.workers_.forEach(found.size(), [&](int, std::size_t part) {
      const std::size_t begin = part * kTogether, end = std::min(begin + kTogether, control.blocks_.size());
      for (std::size_t i = begin; i < end; ++i) {
        end_[i] = passesAt(*control.blocks_[i], slope);
        from_[i] = control.blocks_[i]->taken[static_cast<std::size_t>(layer)];
        findPasses(i, 0, found[part]);
      }
    });
    for (const Found& part : found) add(part);
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
  struct Found {
    std::vector<Candidate> candidates;
    std::vector<Hidden> hidden;
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

  void add(const Found& found) {
    for (const Candidate& candidate : found.candidates) candidates_.push(candidate);
    hidden_.insert(hidden_.end(), found.hidden.begin(), found.hidden.end());
  }

  // Those after the first `known` ones that gain enough.
  void findPasses(std::size_t number, std::size_t known, Found& found) const {
    const CodedBlock& block = *control_.blocks_[number];
    const int from = from_[number];
    const int end = std::min(end_[number], static_cast<int>(block.passes.size()));
    for (int passes = std::max(from, static_cast<int>(known)) + 1; passes <= end; ++passes) {
      const std::uint32_t bytes = bytesOf(block, passes) - bytesOf(block, from);
      if (bytes > room_) return;
      const double gain = gainOf(block, passes) - gainOf(block, from);
      if (gain <= 0) continue;
      const Candidate candidate = {gain / (bytes + 1), number, passes};
      if (candidate.slope < least_ || (last_ && !Later()(candidate, *last_))) continue;
      found.candidates.push_back(candidate);
    }
    const double gain = block.gain - gainOf(block, from);
    if (end == end_[number] || block.isComplete() || gain <= 0 || block.bytes - bytesOf(block, from) > room_) return;
    const double slope = gain / (block.bytes - bytesOf(block, from) + 1);
    if (slope >= least_) found.hidden.push_back({slope, number});
  }

  // A hidden pass cannot be next if a candidate is certainly better, or if there is no room for it now.
  bool isDue(const Hidden& hidden, double slope, std::uint64_t left) const {
    const CodedBlock& block = *control_.blocks_[hidden.block];
    const std::uint32_t taken = bytesOf(block, block.taken[static_cast<std::size_t>(layer_)]);
    return hidden.slope >= slope && block.bytes <= taken + left;
  }

  void codeHidden(std::uint64_t left) {
    constexpr double kNext = 0.9;
    const auto best = [&] { return candidates_.empty() ? least_ : std::max(candidates_.top().slope, least_); };
    while (std::ranges::any_of(hidden_, [&](const Hidden& hidden) { return isDue(hidden, best(), left); })) {
      const double slope = best() * kNext;
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
      Found found;
      for (std::size_t i = 0; i < numbers.size(); ++i) findPasses(numbers[i], known[i], found);
      add(found);
    }
  }

  static constexpr std::size_t kTogether = 512;  // blocks of a task

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
    const std::uint8_t taken = block.taken[static_cast<std::size_t>(layer)];
    if (candidate->passes <= taken || size + bytesOf(block, candidate->passes) - bytesOf(block, taken) > maxSize)
      continue;
    setPasses(block, layer, candidate->passes);
    const std::uint64_t now = sizeOf_(layer + 1);
    now <= maxSize ? void(size = now) : setPasses(block, layer, taken);
    if (++tries == kTries) return;
  }
}

}  // namespace moxj::j2k
