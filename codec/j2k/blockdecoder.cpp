// Calls the library's code-block decoder, then removes region-of-interest shifts and dequantises.
#include "j2k/blockdecoder.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/library.h"
#include "j2k/wavelet.h"

namespace moxj::j2k {

namespace {

constexpr std::uint32_t kSign = 0x80000000u;
constexpr int kMaxPlanes = 31;  // bit-planes of the library's coefficients

void clear(const Block& block, TilePlane& plane) {
  for (int y = 0; y < block.height; ++y)
    std::memset(plane.row(block.y + y) + block.x, 0, static_cast<std::size_t>(block.width) * 4);
}

// Coefficients of a region of interest are scaled up by `shift` bits, above all others (H.1).
std::uint32_t unshifted(std::uint32_t magnitude, int bit, int shift) {
  return bit < 32 && magnitude >> bit != 0 ? magnitude >> shift : magnitude;
}

}  // namespace

int coderOptions(int modes) {
  return (modes & bypass ? moxJ2KBypass : 0) | (modes & reset ? moxJ2KReset : 0) |
         (modes & termall ? moxJ2KTermAll : 0) | (modes & causal ? moxJ2KCausal : 0) |
         (modes & segsym ? moxJ2KSegSymbol : 0);
}

const std::uint8_t* BlockDecoder::gather(const Block& block) {
  if (block.chunks.size() == 1) return block.chunks[0].bytes;
  data_.assign(1, 0);  // so that data() is not null even without data
  data_.clear();
  for (const Chunk& chunk : block.chunks) data_.insert(data_.end(), chunk.bytes, chunk.bytes + chunk.size);
  return data_.data();
}

bool BlockDecoder::isTooDeep(const Block& block, const Band& band, const TileComponent& component) {
  return band.bitPlanes + component.shift - block.zeroPlanes + !component.coding.reversible > kMaxPlanes;
}

// An irreversible block is decoded as if it had one more bit-plane, which never comes: so there is a bit for the
// midpoint of the quantisation interval even if all bit-planes are decoded.
bool BlockDecoder::decode(const Block& block, const Band& band, const TileComponent& component, TilePlane& plane) {
  const bool reversible = component.coding.reversible;
  const int extra = reversible ? 0 : 1;
  int passes = 0;
  lengths_.clear();
  for (const CodewordSegment& segment : block.segments) {
    passes += segment.passes;
    lengths_.push_back(static_cast<std::int32_t>(segment.bytes));
  }
  const int planes = band.bitPlanes + component.shift - block.zeroPlanes;
  if (passes == 0 || planes < 1 || planes + extra > kMaxPlanes) {
    clear(block, plane);
    return passes == 0 || planes == 0;
  }
  std::int32_t size = 0;
  require(moxiDecodeGetBufSize_JPEG2K(block.width, block.height, &size), "the buffer size of a code-block");
  if (work_.size() < static_cast<std::size_t>(size)) work_.resize(static_cast<std::size_t>(size));
  const MoxStatus status = moxiDecodeCodeBlock_JPEG2K_1u32s_C1R(
      gather(block), coefficients_.data(), block.width * 4, block.width, block.height, coderBand(band.orientation),
      planes + extra, passes, lengths_.data(), static_cast<std::int32_t>(lengths_.size()),
      coderOptions(component.coding.modes) | moxJ2KKeepMidpoint | moxJ2KFillOnError, nullptr, work_.data());
  if (status != moxStatusDecodeFailed) require(status, "the decoding of a code-block");
  // A coefficient of a region of interest is recognised by a bit above the bit-planes of all others.
  if (reversible) {
    placeReversible(block, component.shift, plane);
  } else {
    const double scale = std::ldexp(band.step, fractionBits(component.bits) - extra);
    placeIrreversible(block, component.shift, static_cast<float>(scale), plane);
  }
  return status == moxStatusOk;
}

void BlockDecoder::placeReversible(const Block& block, int shift, TilePlane& plane) const {
  const std::int32_t* from = coefficients_.data();
  for (int y = 0; y < block.height; ++y, from += block.width) {
    std::int32_t* const to = plane.row(block.y + y) + block.x;
    for (int x = 0; x < block.width; ++x) {
      const auto word = static_cast<std::uint32_t>(from[x]);
      std::uint32_t magnitude = word & ~kSign;
      if (shift > 0) magnitude = unshifted(magnitude, shift, shift);
      const std::uint32_t sign = word >> 31;
      to[x] = static_cast<std::int32_t>((magnitude ^ (0 - sign)) + sign);
    }
  }
}

void BlockDecoder::placeIrreversible(const Block& block, int shift, float scale, TilePlane& plane) const {
  constexpr float kMaxMagnitude = 1 << 29;  // exceeded by damaged data only
  const std::int32_t* from = coefficients_.data();
  for (int y = 0; y < block.height; ++y, from += block.width) {
    std::int32_t* const to = plane.row(block.y + y) + block.x;
    for (int x = 0; x < block.width; ++x) {
      const auto word = static_cast<std::uint32_t>(from[x]);
      std::uint32_t magnitude = word & ~kSign;
      if (shift > 0) magnitude = unshifted(magnitude, shift + 1, shift);
      const float size = std::min(static_cast<float>(static_cast<std::int32_t>(magnitude)) * scale, kMaxMagnitude);
      const std::int32_t value = static_cast<std::int32_t>(size + 0.5f);
      to[x] = static_cast<std::int32_t>(word) < 0 ? -value : value;
    }
  }
}

}  // namespace moxj::j2k
