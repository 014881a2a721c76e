// Code-blocks for the tests, and the library's coders on them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "functions/tier1_reference.h"
#include "moxj.h"
#include "proof/random.h"
#include "support/guarded.h"

namespace test {

using reference::Block;

// What a block holds: few coefficients, small ones as a wavelet leaves them, clusters, noise of all 31 bits, extremes,
// and a single coefficient.
enum class Content { sparse, wavelet, clusters, noise, extreme, single };
inline constexpr Content kContents[] = {Content::sparse, Content::wavelet, Content::clusters,
                                        Content::noise,  Content::extreme, Content::single};

inline Block makeBlock(Random& random, int width, int height, Content content, int planes = 31) {
  Block block{width, height, std::vector<uint32_t>(static_cast<size_t>(width) * height)};
  const uint32_t mask = planes >= 31 ? 0x7FFFFFFF : (1u << planes) - 1;
  const auto value = [&](int bits) {
    const uint32_t magnitude = random.any<uint32_t>() & mask & ((1u << bits) - 1);
    return magnitude | (magnitude ? random.any<uint32_t>() & 0x80000000 : 0);
  };
  const int span = std::min(planes, 30);
  for (int y = 0; y < height; y++)
    for (int x = 0; x < width; x++) {
      uint32_t& c = block.at(x, y);
      switch (content) {
        case Content::sparse:
          c = random.oneIn(60) ? value(span) : 0;
          break;
        case Content::wavelet: {
          int bits = 0;
          while (bits < span && !random.oneIn(3)) bits++;
          c = value(bits);
          break;
        }
        case Content::clusters:
          c = (x / 7 + y / 5) % 3 == 0 ? value(span) : random.oneIn(200) ? value(span) : 0;
          break;
        case Content::noise:
          c = (random.any<uint32_t>() & mask) | (random.any<uint32_t>() & 0x80000000);
          break;
        case Content::extreme: {
          const uint32_t extremes[] = {0, mask, mask | 0x80000000, 0x80000000, 1, 0x80000001, mask ^ (mask >> 1)};
          c = extremes[random.below(7)];
          break;
        }
        case Content::single:
          break;
      }
    }
  if (content == Content::single) block.at(random.below(width), random.below(height)) = value(span) | 1;
  return block;
}

// Everything that the library reports of a block.
struct Encoded {
  int numBitPlanes = -1, numPasses = -1, numSegments = -1;
  std::vector<uint8_t> bytes;
  std::vector<int> rates, segmentLengths;
  std::vector<double> distortions;

  std::vector<std::vector<uint8_t>> segments() const {
    std::vector<std::vector<uint8_t>> all;
    size_t first = 0;
    for (const int length : segmentLengths) {
      all.emplace_back(bytes.begin() + static_cast<ptrdiff_t>(first),
                       bytes.begin() + static_cast<ptrdiff_t>(first) + length);
      first += length;
    }
    return all;
  }
};

class EncodeState {
 public:
  EncodeState(int width, int height) { EXPECT_EQ(moxiEncodeInitAlloc_JPEG2K(&state_, width, height), moxStatusOk); }
  ~EncodeState() { EXPECT_EQ(moxiEncodeFree_JPEG2K(state_), moxStatusOk); }
  EncodeState(const EncodeState&) = delete;
  operator MoxJ2KEncodeState*() const { return state_; }

  MoxStatus load(const Block& block, int subband, int magnitudeBits, int termKind, int options, Encoded& e) {
    return moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R(
        reinterpret_cast<const Mox32s*>(block.coefficients.data()), 4 * block.width, block.width, block.height, state_,
        subband, magnitudeBits, termKind, 0, options, &e.numBitPlanes, &e.numPasses, &e.numSegments);
  }

  // The code string, fetched in pieces of `piece()` bytes.
  template <class Piece>
  void store(Encoded& e, const Piece& piece) {
    int notFinished = 1;
    while (notFinished == 1) {
      const int wanted = piece();
      std::vector<uint8_t> part(wanted);
      int length = wanted;
      ASSERT_EQ(moxiEncodeStoreBits_JPEG2K_1u(part.data(), &length, state_, &notFinished), moxStatusOk);
      ASSERT_LE(length, wanted);
      if (notFinished) {
        ASSERT_EQ(length, wanted);
      }
      e.bytes.insert(e.bytes.end(), part.begin(), part.begin() + length);
    }
    ASSERT_EQ(notFinished, 0);
  }

  void query(Encoded& e) {
    for (int i = 0; i < e.numPasses; i++) {
      int32_t rate = -1;
      double distortion = -1;
      ASSERT_EQ(moxiEncodeGetRate_JPEG2K(state_, i, &rate), moxStatusOk);
      ASSERT_EQ(moxiEncodeGetDist_JPEG2K(state_, i, &distortion), moxStatusOk);
      e.rates.push_back(rate);
      e.distortions.push_back(distortion);
    }
    for (int i = 0; i < e.numSegments; i++) {
      int32_t length = -1;
      ASSERT_EQ(moxiEncodeGetTermPassLen_JPEG2K(state_, i, &length), moxStatusOk);
      e.segmentLengths.push_back(length);
    }
  }

  Encoded encode(const Block& block, int subband, int magnitudeBits, int termKind, int options, int piece = 1 << 20) {
    Encoded e;
    EXPECT_EQ(load(block, subband, magnitudeBits, termKind, options, e), moxStatusOk);
    store(e, [&] { return piece; });
    query(e);
    return e;
  }

 private:
  MoxJ2KEncodeState* state_ = nullptr;
};

inline void expectEqual(const Encoded& actual, const reference::Coded& expected, const std::string& what) {
  ASSERT_EQ(actual.numBitPlanes, expected.numBitPlanes) << what;
  ASSERT_EQ(actual.numPasses, static_cast<int>(expected.passes.size())) << what;
  ASSERT_EQ(actual.numSegments, expected.numSegments) << what;
  ASSERT_EQ(actual.bytes, expected.bytes) << what;
  for (int i = 0; i < actual.numPasses; i++) {
    ASSERT_EQ(actual.rates[i], expected.passes[i].rate) << what << ", pass " << i;
    ASSERT_EQ(actual.distortions[i], expected.distortion(i)) << what << ", pass " << i;
  }
  for (int i = 0; i < actual.numSegments; i++)
    ASSERT_EQ(actual.segmentLengths[i],
              i < static_cast<int>(expected.segmentLengths.size()) ? expected.segmentLengths[i] : 0)
        << what << ", segment " << i;
}

// The one-call decoder with everything between guard pages, the work buffer in any alignment.
struct Decoded {
  MoxStatus status;
  Block block;
  int plane = -99;
};

inline Decoded decode(const Block& before, int subband, int numBitPlanes, int numPasses,
                      const std::vector<std::vector<uint8_t>>& segments, int options, int misalignment = 0) {
  Decoded d{moxStatusOk, before};
  std::vector<uint8_t> all;
  std::vector<int32_t> lengths;
  for (const auto& s : segments) {
    all.insert(all.end(), s.begin(), s.end());
    lengths.push_back(static_cast<int32_t>(s.size()));
  }
  if (lengths.empty()) lengths.push_back(0);
  int32_t size = 0;
  EXPECT_EQ(moxiDecodeGetBufSize_JPEG2K(before.width, before.height, &size), moxStatusOk);
  GuardedMemory source(all.size() + 1), destination(before.coefficients.size() * 4), buffer(size + misalignment);
  uint8_t* const src = source.atEnd<uint8_t>(all.size());
  Mox32s* const dst = destination.atEnd<Mox32s>(before.coefficients.size());
  std::copy(all.begin(), all.end(), src);
  std::memcpy(dst, before.coefficients.data(), before.coefficients.size() * 4);
  uint8_t* const work = misalignment ? buffer.atStart<uint8_t>() + misalignment : buffer.atEnd<uint8_t>(size);
  std::memset(work, 0xEE, size);
  d.status = moxiDecodeCodeBlock_JPEG2K_1u32s_C1R(src, dst, 4 * before.width, before.width, before.height, subband,
                                                  numBitPlanes, numPasses, lengths.data(),
                                                  static_cast<int32_t>(segments.size()), options, &d.plane, work);
  std::memcpy(d.block.coefficients.data(), dst, before.coefficients.size() * 4);
  return d;
}

inline Block emptyBlock(int width, int height) {
  return {width, height, std::vector<uint32_t>(static_cast<size_t>(width) * height)};
}

}  // namespace test
