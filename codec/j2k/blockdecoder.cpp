// Calls the library's code-block decoder, then removes region-of-interest shifts and dequantises.
#include "j2k/blockdecoder.h"

#include <algorithm>
#include <cmath>

#include "base/library.h"
#include "j2k/wavelet.h"

namespace moxj::j2k {

namespace {

constexpr std::uint32_t kSign = 0x80000000u;
constexpr int kMaxPlanes = 31;  // bit-planes of the library's coefficients

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
bool BlockDecoder::decode(const Block& block, const Band& band, const TileComponent& component, const BandPlace& to) {
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
    place(block, band, to, [](std::uint32_t) { return 0; });
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
  if (reversible)
    placeReversible(block, band, component.shift, to);
  else
    placeIrreversible(block, band, component.shift,
                      static_cast<float>(std::ldexp(band.step, fractionBits(component.bits) - extra)), to);
  return status == moxStatusOk;
}

// Stores value(word) for each coefficient that has a place.
template <class Value>
void BlockDecoder::place(const Block& block, const Band& band, const BandPlace& to, Value value) const {
  const Rect rect = band.rectOf(block);
  const Rect part = intersection(rect, to.rect);
  const auto count = static_cast<int>(part.width());
  for (Coord y = part.y0; y < part.y1; ++y) {
    const std::int32_t* const from = coefficients_.data() + (y - rect.y0) * block.width + (part.x0 - rect.x0);
    std::int32_t* const row = to.plane->row(static_cast<int>(to.y + y - to.rect.y0)) + to.x + (part.x0 - to.rect.x0);
    for (int x = 0; x < count; ++x) row[x] = value(static_cast<std::uint32_t>(from[x]));
  }
}

void BlockDecoder::placeReversible(const Block& block, const Band& band, int shift, const BandPlace& to) const {
  const auto value = [](std::uint32_t magnitude, std::uint32_t word) {
    const std::uint32_t sign = word >> 31;
    return static_cast<std::int32_t>((magnitude ^ (0 - sign)) + sign);
  };
  if (shift > 0)
    place(block, band, to, [=](std::uint32_t word) { return value(unshifted(word & ~kSign, shift, shift), word); });
  else
    place(block, band, to, [=](std::uint32_t word) { return value(word & ~kSign, word); });
}

void BlockDecoder::placeIrreversible(const Block& block, const Band& band, int shift, float scale,
                                     const BandPlace& to) const {
  constexpr float kMaxMagnitude = 1 << 29;  // exceeded by damaged data only
  const auto value = [=](std::uint32_t magnitude, std::uint32_t word) {
    const float size = std::min(static_cast<float>(static_cast<std::int32_t>(magnitude)) * scale, kMaxMagnitude);
    const auto rounded = static_cast<std::int32_t>(size + 0.5f);
    return static_cast<std::int32_t>(word) < 0 ? -rounded : rounded;
  };
  if (shift > 0)
    place(block, band, to, [=](std::uint32_t word) { return value(unshifted(word & ~kSign, shift + 1, shift), word); });
  else
    place(block, band, to, [=](std::uint32_t word) { return value(word & ~kSign, word); });
}

}  // namespace moxj::j2k
