// Quantises, calls the library's code-block encoder, and computes the points at which a block may be truncated.
//
// A bit-plane counts for a slope if the last part of the hull of the planes before it is steep enough: its own passes
// are less steep as a rule. So if only slopes above some value are wanted, only those planes have to be coded.
#include "j2k/blockencoder.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>

#include "base/problem.h"
#include "j2k/blockdecoder.h"
#include "j2k/passes.h"
#include "j2k/wavelet.h"

namespace moxj::j2k {

namespace {

constexpr std::uint32_t kSign = 0x80000000u;
constexpr int kMagnitudeBits = 31;
// Irreversible coefficients keep fraction bits below the quantiser step, from which the block coder computes
// distortion: fewer where the shift of a region of interest, which is also the number of bits that are shifted, leaves
// no room for them.
constexpr int kFractionBits = 6;
int fractionOf(const TileComponent& component) {
  return component.coding.reversible ? 0 : std::min(kFractionBits, kMagnitudeBits - 2 * component.shift);
}

// The rate reported for a pass inside a segment includes every bit in the coder's registers. Without the last byte a
// decoder may get the last few decisions of the pass wrong, but the bytes saved gain more than that loses: 0.01 to
// 0.06 dB on four photographs at 10:1 to 60:1.
constexpr std::int32_t kSpare = 1;

// Every raw bit is needed, a segmentation symbol must be decoded correctly, and a wrong decision below the bits of a
// region of interest is a large error in it.
std::int32_t spareOf(int pass, const TileComponent& component) {
  const int modes = component.coding.modes;
  return isRaw(pass, modes) || (modes & segsym) || component.shift > 0 ? 0 : kSpare;
}

// Estimated cost of a block in packet headers, in bytes.
constexpr double kHeader = 1.5;

// A bit-plane counts for slopes below this multiple of that of the last part of the hull of the planes before it.
constexpr double kReach = 2.5;

// A possible end of a block's data.
struct End {
  double rate = 0, gain = 0;
};

End endAfter(const CodedBlock& coded, int passes) {
  if (passes == 0) return {};
  const Pass& last = coded.passes[static_cast<std::size_t>(passes) - 1];
  return {last.end + kHeader, last.distortion};
}

// 0 if nothing is gained.
double slopeBetween(const End& from, const End& to) {
  const double bytes = to.rate - from.rate, gain = to.gain - from.gain;
  if (gain <= 0) return 0;
  return bytes > 0 ? gain / bytes : HUGE_VAL;
}

// The upper convex hull of distortion reduction over rate, as far as its passes have been added.
class Hull {
 public:
  explicit Hull(const CodedBlock& coded) : coded_(coded) {}

  void add(int passes) {
    for (;;) {
      const double slope = slopeTo(endAfter(coded_, passes));
      if (slope <= 0) return;
      if (slope < lastSlope()) return points_.push_back({passes, slope});
      if (points_.empty()) return points_.push_back({passes, slope});
      points_.pop_back();
    }
  }

  // Adds passes of which only a bound is known: no end with more gain or less bytes. Leaves the points that are on the
  // hull in any case, for division rounds monotonically. Returns a bound of the slope of the last part.
  double addBound(const End& bound) {
    double slope = 0;
    while ((slope = slopeTo(bound)) >= lastSlope() && !points_.empty()) points_.pop_back();
    return slope > 0 ? slope : lastSlope();
  }

  const std::vector<HullPoint>& points() const { return points_; }
  double lastSlope() const { return points_.empty() ? HUGE_VAL : points_.back().slope; }

 private:
  double slopeTo(const End& end) const {
    return slopeBetween(endAfter(coded_, points_.empty() ? 0 : points_.back().passes), end);
  }

  const CodedBlock& coded_;
  std::vector<HullPoint> points_;
};

bool endsPlane(int passes) { return passes % 3 == 1; }

// The points of CodedBlock::hull, from the hulls of more and more planes.
class Choices {
 public:
  explicit Choices(CodedBlock& coded) : coded_(coded) {}

  // `last`: the slope of the last part of the hull; 0: no more planes.
  void addPlane(const Hull& hull, double last) {
    const double next = std::min(limit_, last * kReach);
    for (const HullPoint& point : hull.points()) {
      const double slope = std::min(point.slope, limit_);
      if (slope <= next || point.passes <= taken()) continue;
      if (!coded_.hull.empty() && coded_.hull.back().slope == slope) coded_.hull.pop_back();
      coded_.hull.push_back({point.passes, slope});
    }
    limit_ = next;
  }
  double limit() const { return limit_; }

 private:
  int taken() const { return coded_.hull.empty() ? 0 : coded_.hull.back().passes; }

  CodedBlock& coded_;
  double limit_ = HUGE_VAL;  // of the slopes for which the next plane counts
};

// `planes`: whether to distinguish them.
void makeHull(CodedBlock& coded, bool all, bool planes) {
  Hull hull(coded);
  Choices choices(coded);
  const int known = static_cast<int>(coded.passes.size());
  for (int passes = 1; passes <= known; ++passes) {
    hull.add(passes);
    if (planes && endsPlane(passes) && passes < coded.codedPasses) choices.addPlane(hull, hull.lastSlope());
  }
  if (all) return choices.addPlane(hull, 0);
  const bool bounded = known < coded.codedPasses;
  choices.addPlane(hull, bounded ? hull.addBound({coded.bytes + kHeader, coded.gain}) : hull.lastSlope());
  coded.floor = choices.limit();
}

// The lowest bit-plane that is coded at first if the points above a slope are wanted. The last pass of a plane gains
// about twice the square of its step per byte.
int planeFor(double slope, double weight) {
  constexpr double kGain = 2;
  if (slope <= 0) return 0;
  return std::max(static_cast<int>(std::floor(std::log2(slope / (kReach * kGain * weight)) / 2)), 0);
}

// How far the data of an open segment is the same if more passes follow. Its end is written when the last bits are
// known: until then it may change by the bytes of the coder's registers, and lose bytes that a decoder supplies.
std::uint32_t settledBytes(const CodedBlock& coded) {
  constexpr std::uint32_t kRegisters = 6;
  auto end = static_cast<std::uint32_t>(coded.data.size());
  end -= std::min(end, kRegisters);
  while (end > 0 && (coded.data[end - 1] == 0xFF || coded.data[end - 1] == 0x7F)) --end;
  return end;
}

}  // namespace

int passesAt(const CodedBlock& coded, double slope) {
  Hull hull(coded);
  const int known = static_cast<int>(coded.passes.size());
  for (int passes = 1; passes <= known; ++passes) {
    hull.add(passes);
    if (endsPlane(passes) && hull.lastSlope() * kReach < slope) return passes;
  }
  return coded.codedPasses;
}

BlockEncoder::BlockEncoder(int width, int height) {
  MoxJ2KEncodeState* state = nullptr;
  require(moxiEncodeInitAlloc_JPEG2K(&state, width, height), "the initialisation of a block encoder");
  state_.reset(state);
}

CodedBlock BlockEncoder::encode(const Coefficients& from, const Block& block, const Band& band,
                                const TileComponent& component, const BlockJob& job) {
  const int fraction = fractionOf(component);
  load(from, block, band, component, fraction);
  if (!job.region.empty()) shift(job.region, block, component.shift, fraction);
  const std::uint32_t bits = component.coding.reversible ? 0 : magnitudeBits(block, fraction);
  int lowest = job.slope > 0 ? std::min(planeFor(job.slope, job.weight) + fraction, planesOf(block) - 1) : 0;
  for (;; --lowest) {
    CodedBlock coded = encodePlanes(block, band, component, job, std::max(lowest, fraction));
    coded.magnitudeBits = bits;
    if (coded.isComplete() || coded.floor < job.slope) return coded;
  }
}

int BlockEncoder::planesOf(const Block& block) const {
  std::uint32_t all = 0;
  for (int i = 0; i < block.width * block.height; ++i)
    all |= static_cast<std::uint32_t>(coefficients_[static_cast<std::size_t>(i)]);
  return std::bit_width(all & ~kSign);
}

// From one row of four. The exponents of numbers in floating point are found for several at once.
std::uint32_t BlockEncoder::magnitudeBits(const Block& block, int fraction) const {
  constexpr int kRows = 4;
  constexpr int kMantissa = 23, kBefore = 124;
  std::int32_t sum = 0;
  for (int y = 0; y < block.height; y += kRows) {
    const std::int32_t* const row = coefficients_.data() + std::ptrdiff_t{y} * block.width;
    for (int x = 0; x < block.width; ++x) {
      const auto number = static_cast<float>((row[x] & 0x7FFFFFFF) >> fraction);
      sum += std::max((std::bit_cast<std::int32_t>(number) >> kMantissa) - kBefore, 0);
    }
  }
  return static_cast<std::uint32_t>(sum * block.height / ceilDiv(block.height, kRows));
}

CodedBlock BlockEncoder::encodePlanes(const Block& block, const Band& band, const TileComponent& component,
                                      const BlockJob& job, int lowest) {
  const CodingStyle& coding = component.coding;
  const int fraction = fractionOf(component);
  const bool all = lowest == fraction;
  const int options = coderOptions(coding.modes) | (coding.reversible && all ? moxJ2KExactLast : 0);
  std::int32_t planes = 0, passes = 0, segments = 0;
  require(moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R(coefficients_.data(), block.width * 4, block.width, block.height,
                                                 state_.get(), coderBand(band.orientation), kMagnitudeBits - lowest,
                                                 coding.modes & pterm ? moxJ2KTermPredictable : moxJ2KTermShortest, 0,
                                                 options, &planes, &passes, &segments),
          "the encoding of a code-block");
  CodedBlock coded;
  if (job.measured) coded.error = uncoded(block, fraction) * job.weight;
  if (planes <= fraction) return coded;
  coded.bitPlanes = planes - fraction;
  if (coded.bitPlanes > band.bitPlanes + component.shift)
    fail(Kind::unsupported, "coefficients exceed the range of their sub-band");
  coded.codedPasses = passes;
  fetchData(coded);
  findSegments(coded, segments);
  // Distortions are in squares of the step of the lowest plane.
  recordPasses(coded, passes, component, std::ldexp(job.weight, 2 * (lowest - fraction)), all);
  if (job.measured) coded.error += coded.passes.back().distortion;
  makeHull(coded, all, !job.measured);
  return coded;
}

// As sign and magnitude, divided by the quantiser step.
void BlockEncoder::load(const Coefficients& from, const Block& block, const Band& band, const TileComponent& component,
                        int fraction) {
  std::int32_t* to = coefficients_.data();
  const auto scale = static_cast<float>(std::ldexp(1 / band.step, fraction - fractionBits(component.bits)));
  const auto* row = reinterpret_cast<const std::uint8_t*>(from.first);
  for (int y = 0; y < block.height; ++y, to += block.width, row += from.step) {
    const auto* const values = reinterpret_cast<const std::int32_t*>(row);
    if (component.coding.reversible) {
      for (int x = 0; x < block.width; ++x)
        to[x] = static_cast<std::int32_t>(static_cast<std::uint32_t>(std::abs(values[x])) |
                                          (static_cast<std::uint32_t>(values[x]) & kSign));
    } else {
      for (int x = 0; x < block.width; ++x) {
        const std::int32_t magnitude = static_cast<std::int32_t>(static_cast<float>(std::abs(values[x])) * scale);
        to[x] = static_cast<std::int32_t>(static_cast<std::uint32_t>(magnitude) |
                                          (static_cast<std::uint32_t>(values[x]) & kSign));
      }
    }
  }
}

// Moves the coefficients of a region of interest above the bit-planes of all others, without their fraction bits.
void BlockEncoder::shift(const Rect& region, const Block& block, int bits, int fraction) {
  for (Coord y = region.y0; y < region.y1; ++y)
    for (Coord x = region.x0; x < region.x1; ++x) {
      std::int32_t& word = coefficients_[static_cast<std::size_t>(y * block.width + x)];
      const std::uint32_t magnitude = static_cast<std::uint32_t>(word) & ~kSign;
      word = static_cast<std::int32_t>(magnitude >> fraction << (fraction + bits) |
                                       (static_cast<std::uint32_t>(word) & kSign));
    }
}

// The squared error, in quantiser steps, that is left after all passes: a decoder takes the middle of the interval of
// a coefficient.
double BlockEncoder::uncoded(const Block& block, int fraction) const {
  const std::uint32_t below = (1u << fraction) - 1, middle = fraction > 0 ? 1u << (fraction - 1) : 0;
  double sum = 0;
  for (int i = 0; i < block.width * block.height; ++i) {
    const std::uint32_t magnitude = static_cast<std::uint32_t>(coefficients_[static_cast<std::size_t>(i)]) & ~kSign;
    const double error = magnitude <= below ? magnitude : static_cast<double>(magnitude & below) - middle;
    sum += error * error;
  }
  return std::ldexp(sum, -2 * fraction);
}

void BlockEncoder::findSegments(CodedBlock& coded, int segments) {
  std::uint32_t start = 0;
  for (std::int32_t segment = 0; segment < segments; ++segment) {
    std::int32_t length = 0;
    require(moxiEncodeGetTermPassLen_JPEG2K(state_.get(), segment, &length), "the length of a segment");
    coded.segmentStarts.push_back(start);
    start += static_cast<std::uint32_t>(length);
  }
  coded.segmentStarts.push_back(start);
}

void BlockEncoder::fetchData(CodedBlock& coded) {
  std::int32_t more = 1;
  while (more != 0) {
    std::int32_t length = static_cast<std::int32_t>(buffer_.size());
    require(moxiEncodeStoreBits_JPEG2K_1u(buffer_.data(), &length, state_.get(), &more), "the data of a code-block");
    coded.data.insert(coded.data.end(), buffer_.begin(), buffer_.begin() + length);
  }
}

// The end of a pass is clamped to its codeword segment and never follows a byte of 0xFF: together with the next byte
// of the codestream, the 0xFF could look like a marker. A decoder does not miss it, because it reads 0xFF past the end
// of a segment. If further passes may follow in the segment, those are left out whose end is not settled yet.
void BlockEncoder::recordPasses(CodedBlock& coded, int passes, const TileComponent& component, double weight,
                                bool all) {
  const int modes = component.coding.modes;
  const bool open = !all && segmentLength(0, modes) > passes;
  const std::uint32_t settled = open ? settledBytes(coded) : 0;
  bool leftOut = false;
  std::uint32_t segment = 0, min = 0;
  int left = segmentLength(0, modes);
  for (int pass = 0; pass < passes; ++pass, --left) {
    if (left == 0) {
      left = segmentLength(pass, modes);
      min = coded.segmentStarts[++segment];
    }
    std::int32_t rate = 0;
    double distortion = 0;
    require(moxiEncodeGetRate_JPEG2K(state_.get(), pass, &rate), "the rate of a pass");
    require(moxiEncodeGetDist_JPEG2K(state_.get(), pass, &distortion), "the distortion of a pass");
    coded.gain = std::max(coded.gain, distortion * weight);
    leftOut |= open && static_cast<std::uint32_t>(rate) >= settled;
    if (leftOut) continue;
    const bool last = left == 1 || (all && pass + 1 == passes);
    std::uint32_t end = last ? coded.segmentStarts[segment + 1]
                             : static_cast<std::uint32_t>(std::max(rate - spareOf(pass, component), 0));
    end = std::clamp(end, min, coded.segmentStarts[segment + 1]);
    while (end > min && coded.data[end - 1] == 0xFF) --end;
    coded.passes.push_back({end, segment, distortion * weight});
    min = end;
  }
  // A pass that is left out ends at most kBack bytes before the end of the settled ones: the rate of the last one
  // includes the registers and is not less than the bytes so far; two bytes of 0xFF and kSpare may be taken off.
  constexpr std::uint32_t kBack = 4;
  coded.bytes = leftOut ? std::max(settled - std::min(settled, kBack), min) : min;
  if (!all) coded.data.resize(min);
}

}  // namespace moxj::j2k
