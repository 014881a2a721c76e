// Encodes the coefficients of a plane as code-blocks, with the rates and distortions that rate control needs.
#pragma once

#include <memory>
#include <vector>

#include "base/library.h"
#include "j2k/tile.h"
#include "j2k/tileplane.h"

namespace moxj::j2k {

struct Pass {
  std::uint32_t end = 0;      // offset in the block's data up to which a decoder needs it for this pass
  std::uint32_t segment = 0;  // index of its codeword segment
  double distortion = 0;      // total reduction of the picture's squared error after this pass
};

// A point of the convex hull of distortion over rate.
struct HullPoint {
  int passes = 0;
  double slope = 0;  // reduction of distortion per byte since the previous point
};

struct CodedBlock {
  int bitPlanes = 0;
  std::vector<std::uint8_t> data;
  std::vector<std::uint32_t> segmentStarts;
  std::vector<Pass> passes;
  std::vector<HullPoint> hull;      // in order of decreasing slope
  std::vector<std::uint8_t> taken;  // for each layer: the number of passes in it and the layers before
};

// One per thread.
class BlockEncoder {
 public:
  BlockEncoder(int width, int height);

  // `weight` is the squared error of the picture caused by an error of one quantiser step.
  CodedBlock encode(const Block& block, const Band& band, const TileComponent& component, TilePlane& plane,
                    double weight);

 private:
  struct Release {
    void operator()(MoxJ2KEncodeState* state) const { moxiEncodeFree_JPEG2K(state); }
  };
  void loadCoefficients(const Block& block, const Band& band, const TileComponent& component, TilePlane& plane);
  void fetchData(CodedBlock& coded);
  void recordPasses(CodedBlock& coded, int passes, int modes, double weight);

  std::unique_ptr<MoxJ2KEncodeState, Release> state_;
  std::vector<std::int32_t> coefficients_ = std::vector<std::int32_t>(4096);
  std::vector<std::uint8_t> buffer_ = std::vector<std::uint8_t>(1 << 15);
};

}  // namespace moxj::j2k
