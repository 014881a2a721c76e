// Encodes arbitrary coefficients with arbitrary modes, fetches the code string in pieces of any size, and decodes it:
// all passes, or those for which a reported rate should suffice.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "kernels/dispatch.h"
#include "moxj.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

struct Block {
  int width, height, subband, magnitudeBits, termination, options;
  std::vector<uint32_t> coefficients;
};

struct Coded {
  int32_t planes = -1, passes = -1, segments = -1;
  std::vector<uint8_t> bytes;
  std::vector<int32_t> lengths, rates;
  std::vector<double> distortions;
  bool operator==(const Coded&) const = default;
};

template <class Piece>
Coded encode(const Block& block, const mox::Target& target, const Piece& piece) {
  mox::kernels::active = target.kernels;
  Coded c;
  MoxJ2KEncodeState* state = nullptr;
  require(moxiEncodeInitAlloc_JPEG2K(&state, block.width, block.height) == moxStatusOk);
  require(moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R(reinterpret_cast<const Mox32s*>(block.coefficients.data()),
                                                 4 * block.width, block.width, block.height, state, block.subband,
                                                 block.magnitudeBits, block.termination, 0, block.options, &c.planes,
                                                 &c.passes, &c.segments) == moxStatusOk);
  for (int32_t notFinished = 1; notFinished != 0;) {
    std::vector<uint8_t> part(piece());
    part.shrink_to_fit();
    int32_t length = static_cast<int32_t>(part.size());
    require(moxiEncodeStoreBits_JPEG2K_1u(part.data(), &length, state, &notFinished) == moxStatusOk);
    require(length == static_cast<int32_t>(part.size()) || notFinished == 0);
    c.bytes.insert(c.bytes.end(), part.begin(), part.begin() + length);
  }
  for (int i = 0; i < c.passes; i++) {
    require(moxiEncodeGetRate_JPEG2K(state, i, &c.rates.emplace_back()) == moxStatusOk);
    require(moxiEncodeGetDist_JPEG2K(state, i, &c.distortions.emplace_back()) == moxStatusOk);
  }
  for (int i = 0; i < c.segments; i++)
    require(moxiEncodeGetTermPassLen_JPEG2K(state, i, &c.lengths.emplace_back()) == moxStatusOk);
  require(moxiEncodeFree_JPEG2K(state) == moxStatusOk);
  return c;
}

std::vector<uint32_t> decode(const Block& block, const Coded& c, std::vector<uint8_t> bytes,
                             std::vector<int32_t> lengths, int passes) {
  std::vector<uint32_t> coefficients(block.coefficients.size());
  int32_t size = 0;
  require(moxiDecodeGetBufSize_JPEG2K(block.width, block.height, &size) == moxStatusOk);
  std::vector<uint8_t> work(size);
  bytes.reserve(1);
  lengths.reserve(1);
  const bool checks = block.termination == moxJ2KTermPredictable && passes == c.passes;
  require(moxiDecodeCodeBlock_JPEG2K_1u32s_C1R(
              bytes.data(), reinterpret_cast<Mox32s*>(coefficients.data()), 4 * block.width, block.width, block.height,
              block.subband, c.planes, passes, lengths.data(), static_cast<int32_t>(lengths.size()),
              (block.options & 31) | (checks ? moxJ2KCheckTermination : 0), nullptr, work.data()) == moxStatusOk);
  return coefficients;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  Block block;
  block.width = input.ConsumeIntegralInRange(1, 40);
  block.height = input.ConsumeIntegralInRange(1, 20);
  block.subband = input.ConsumeIntegralInRange(0, 3);
  block.magnitudeBits = input.ConsumeBool() ? 31 : input.ConsumeIntegralInRange(-1, 33);
  block.termination = input.ConsumeIntegralInRange(0, 2);
  block.options = input.ConsumeIntegralInRange(0, 63);
  const mox::TargetList targets = mox::targets();
  const mox::Target& target = *(targets.begin() + input.ConsumeIntegralInRange(0, targets.count - 1));
  if (!target.runsHere()) return 0;
  std::vector<uint8_t> pieces(4);
  for (uint8_t& piece : pieces) piece = input.ConsumeIntegralInRange<uint8_t>(1, 255);
  const size_t passOf = input.ConsumeIntegral<uint8_t>();
  block.coefficients.resize(static_cast<size_t>(block.width) * block.height);
  const int shift = input.ConsumeIntegralInRange(0, 31);
  for (uint32_t& c : block.coefficients) {
    c = input.ConsumeIntegralInRange<uint32_t>(0, 511);
    c = (c & 1) << 31 | ((c >> 1) << shift & 0x7FFFFFFF);
  }

  size_t next = 0;
  const Coded coded = encode(block, target, [&] { return pieces[next++ % pieces.size()]; });
  require(coded == encode(block, *targets.begin(), [] { return 1 << 20; }));  // in one piece, by the definition
  int64_t sum = 0;
  for (const int32_t length : coded.lengths) sum += length;
  require(sum == static_cast<int64_t>(coded.bytes.size()));

  const int lowest = 31 - std::clamp(block.magnitudeBits, 0, 31);
  const std::vector<uint32_t> back = decode(block, coded, coded.bytes, coded.lengths, coded.passes);
  for (size_t i = 0; i < back.size(); i++) {
    const uint32_t magnitude = lowest > 30 ? 0 : (block.coefficients[i] & 0x7FFFFFFF) >> lowest << lowest;
    // If every pass is a segment, the last cleanup pass has advanced to the next bit-plane, and the half step remains.
    const uint32_t half = magnitude && lowest > 0 && (block.options & moxJ2KTermAll) ? 1u << (lowest - 1) : 0;
    require(back[i] == (magnitude ? magnitude | half | (block.coefficients[i] & 0x80000000) : 0));
  }

  if (coded.passes == 0) return 0;
  const int passes = 1 + static_cast<int>(passOf % coded.passes);
  std::vector<int32_t> cut = coded.lengths;
  int32_t left = coded.rates[passes - 1];
  for (int32_t& length : cut) {
    length = std::min(length, left);
    left -= length;
  }
  require(left == 0);
  const std::vector<uint8_t> bytes(coded.bytes.begin(), coded.bytes.begin() + coded.rates[passes - 1]);
  require(decode(block, coded, bytes, cut, passes) == decode(block, coded, coded.bytes, coded.lengths, passes));
  return 0;
}
