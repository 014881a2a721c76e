// Encodes the coefficients of a plane as code-blocks, with the rates and distortions that rate control needs.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "base/library.h"
#include "j2k/tile.h"

namespace moxj::j2k {

struct Pass {
  std::uint32_t end = 0;      // offset in the block's data up to which a decoder needs it for this pass
  std::uint32_t segment = 0;  // index of its codeword segment
  double distortion = 0;      // total reduction of the picture's squared error after this pass
};

// A point of the convex hull of distortion over rate.
struct HullPoint {
  int passes = 0;
  double slope = 0;  // reduction of distortion per byte since the previous point; less where a bit-plane ends
};

// All passes of a block, or those down to some bit-plane, whose bytes are the same either way.
struct CodedBlock {
  static constexpr double kComplete = -1;

  int bitPlanes = 0;
  int component = 0;
  std::uint32_t magnitudeBits = 0;  // of all coefficients, without leading zeros
  double error = 0;                 // the picture's squared error if no pass is taken, if it was measured
  std::vector<std::uint8_t> data;
  std::optional<std::uint64_t> stored;  // instead of `data`: where its bytes are in Encoder's temporary file
  std::vector<std::uint32_t> segmentStarts;
  std::vector<Pass> passes;
  std::vector<HullPoint> hull;            // in order of decreasing slope
  double floor = kComplete;               // `hull` has all points that are steeper
  int codedPasses = 0;                    // `passes`, and those whose end is not known
  std::uint32_t bytes = 0;                // all passes take at least so many
  double gain = 0;                        // the coded passes reduce the error by this at most
  std::vector<std::uint8_t> taken;        // for each layer: the number of passes in it and the layers before
  std::uint8_t* packetChanged = nullptr;  // to be set when passes of the layer that is being chosen change

  bool isComplete() const { return floor == kComplete; }
};

// The number of passes of the bit-planes that count for a slope above the floor. Not all of them may be known.
int passesAt(const CodedBlock& coded, double slope);

// Where the coefficients of a block are; rows lie `step` bytes apart.
struct Coefficients {
  const std::int32_t* first;
  std::ptrdiff_t step;
};

struct BlockJob {
  double weight = 1;      // of the squared error of one quantiser step: the picture's squared error that it causes
  bool measured = false;  // whether CodedBlock::error is wanted
  Rect region = {};       // of interest, in coefficients of the block
  double slope = 0;       // CodedBlock::floor has to be less; 0: all passes are wanted
};

// One per thread.
class BlockEncoder {
 public:
  BlockEncoder(int width, int height);

  CodedBlock encode(const Coefficients& from, const Block& block, const Band& band, const TileComponent& component,
                    const BlockJob& job);

 private:
  struct Release {
    void operator()(MoxJ2KEncodeState* state) const { moxiEncodeFree_JPEG2K(state); }
  };
  void load(const Coefficients& from, const Block& block, const Band& band, const TileComponent& component,
            int fraction);
  void shift(const Rect& region, const Block& block, int bits, int fraction);
  double uncoded(const Block& block, int fraction) const;
  CodedBlock encodePlanes(const Block& block, const Band& band, const TileComponent& component, const BlockJob& job,
                          int lowest);
  int planesOf(const Block& block) const;
  std::uint32_t magnitudeBits(const Block& block, int fraction) const;
  void fetchData(CodedBlock& coded);
  void findSegments(CodedBlock& coded, int segments);
  void recordPasses(CodedBlock& coded, int passes, const TileComponent& component, double weight, bool all);

  std::unique_ptr<MoxJ2KEncodeState, Release> state_;
  std::vector<std::int32_t> coefficients_ = std::vector<std::int32_t>(4096);
  std::vector<std::uint8_t> buffer_ = std::vector<std::uint8_t>(1 << 15);
};

}  // namespace moxj::j2k
