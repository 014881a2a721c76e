// Quantises, calls the library's code-block encoder, and computes the points at which a block may be truncated.
#include "j2k/blockencoder.h"

#include <algorithm>
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

// The upper convex hull of distortion reduction over rate.
void makeHull(CodedBlock& coded) {
  std::vector<HullPoint>& hull = coded.hull;
  const auto rate = [&](int passes) {
    return passes == 0 ? 0.0 : coded.passes[static_cast<std::size_t>(passes) - 1].end + kHeader;
  };
  const auto gain = [&](int passes) {
    return passes == 0 ? 0.0 : coded.passes[static_cast<std::size_t>(passes) - 1].distortion;
  };
  for (int passes = 1; passes <= static_cast<int>(coded.passes.size()); ++passes) {
    for (;;) {
      const int before = hull.empty() ? 0 : hull.back().passes;
      const double bytes = rate(passes) - rate(before), distortion = gain(passes) - gain(before);
      if (distortion <= 0) break;
      const double slope = bytes > 0 ? distortion / bytes : HUGE_VAL;
      if (hull.empty() || slope < hull.back().slope) {
        hull.push_back({passes, slope});
        break;
      }
      hull.pop_back();
    }
  }
}

}  // namespace

BlockEncoder::BlockEncoder(int width, int height) {
  MoxJ2KEncodeState* state = nullptr;
  require(moxiEncodeInitAlloc_JPEG2K(&state, width, height), "the initialisation of a block encoder");
  state_.reset(state);
}

CodedBlock BlockEncoder::encode(const Coefficients& from, const Block& block, const Band& band,
                                const TileComponent& component, const BlockJob& job) {
  const CodingStyle& coding = component.coding;
  const int fraction = fractionOf(component);
  load(from, block, band, component, fraction);
  if (!job.region.empty()) shift(job.region, block, component.shift, fraction);
  const int options = coderOptions(coding.modes) | (coding.reversible ? moxJ2KExactLast : 0);
  std::int32_t planes = 0, passes = 0, segments = 0;
  require(moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R(coefficients_.data(), block.width * 4, block.width, block.height,
                                                 state_.get(), coderBand(band.orientation), kMagnitudeBits - fraction,
                                                 coding.modes & pterm ? moxJ2KTermPredictable : moxJ2KTermShortest, 0,
                                                 options, &planes, &passes, &segments),
          "the encoding of a code-block");
  CodedBlock coded;
  if (job.measured) coded.error = uncoded(block, fraction) * job.weight;
  if (passes == 0) return coded;
  coded.bitPlanes = planes - fraction;
  if (coded.bitPlanes > band.bitPlanes + component.shift)
    fail(Kind::unsupported, "coefficients exceed the range of their sub-band");
  fetchData(coded);
  std::uint32_t start = 0;
  for (std::int32_t segment = 0; segment < segments; ++segment) {
    std::int32_t length = 0;
    require(moxiEncodeGetTermPassLen_JPEG2K(state_.get(), segment, &length), "the length of a segment");
    coded.segmentStarts.push_back(start);
    start += static_cast<std::uint32_t>(length);
  }
  coded.segmentStarts.push_back(start);
  recordPasses(coded, passes, component, job.weight);
  if (job.measured) coded.error += coded.passes.back().distortion;
  makeHull(coded);
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
// of a segment.
void BlockEncoder::recordPasses(CodedBlock& coded, int passes, const TileComponent& component, double weight) {
  const int modes = component.coding.modes;
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
    const bool last = left == 1 || pass + 1 == passes;
    std::uint32_t end = last ? coded.segmentStarts[segment + 1]
                             : static_cast<std::uint32_t>(std::max(rate - spareOf(pass, component), 0));
    end = std::clamp(end, min, coded.segmentStarts[segment + 1]);
    while (end > min && coded.data[end - 1] == 0xFF) --end;
    coded.passes.push_back({end, segment, distortion * weight});
    min = end;
  }
}

}  // namespace moxj::j2k
