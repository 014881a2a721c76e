// From the coefficients of a plane to the data of a code-block.
#pragma once

#include <memory>
#include <vector>

#include "j2k/library.h"
#include "j2k/plane.h"
#include "j2k/tile.h"

namespace moxj::j2k {

struct Pass {
  std::uint32_t end = 0;      // in the block's data: what is needed to decode the pass
  std::uint32_t segment = 0;  // the codeword segment it belongs to
  double distortion = 0;      // how much of it is gone after the pass, as a square error of the picture
};

// A point of the convex hull of distortion over rate.
struct HullPoint {
  int passes = 0;
  double slope = 0;  // distortion for a byte, from the point before
};

struct CodedBlock {
  int bitPlanes = 0;
  std::vector<std::uint8_t> data;
  std::vector<std::uint32_t> segmentStarts;
  std::vector<Pass> passes;
  std::vector<HullPoint> hull;      // slopes fall
  std::vector<std::uint8_t> taken;  // passes up to each layer
};

// One for each thread.
class BlockEncoder {
 public:
  BlockEncoder(int width, int height);

  // `weight` is the square error of the picture for an error of one quantiser step.
  CodedBlock encode(const Block& block, const Band& band, const TileComponent& component, Plane& plane, double weight);

 private:
  struct Release {
    void operator()(MoxJ2KEncodeState* state) const { moxiEncodeFree_JPEG2K(state); }
  };
  void take(const Block& block, const Band& band, const TileComponent& component, Plane& plane);
  void store(CodedBlock& coded);
  void notePasses(CodedBlock& coded, int passes, int modes, double unit);

  std::unique_ptr<MoxJ2KEncodeState, Release> state_;
  std::vector<std::int32_t> coefficients_ = std::vector<std::int32_t>(4096);
  std::vector<std::uint8_t> buffer_ = std::vector<std::uint8_t>(1 << 15);
};

}  // namespace moxj::j2k
