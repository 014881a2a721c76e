// From the data of a code-block to the coefficients of a plane.
#pragma once

#include <vector>

#include "j2k/plane.h"
#include "j2k/tile.h"

namespace moxj::j2k {

// The options of the library's block coders for a code-block style.
int coderOptions(int modes);

// The bands' order of the library: 2 and 3 name the contexts of HL and HH.
inline int coderBand(Orientation orientation) { return orientation == hl ? 2 : orientation == hh ? 3 : 0; }

// One for each thread.
class BlockDecoder {
 public:
  // Every coefficient of the block is written. False where data of it could not be decoded.
  bool decode(const Block& block, const Band& band, const TileComponent& component, Plane& plane);

 private:
  const std::uint8_t* gather(const Block& block);
  void placeReversible(const Block& block, int shift, Plane& plane) const;
  void placeIrreversible(const Block& block, int shift, float scale, Plane& plane) const;

  std::vector<std::int32_t> coefficients_ = std::vector<std::int32_t>(4096);
  std::vector<std::uint8_t> work_;
  std::vector<std::uint8_t> data_;
  std::vector<std::int32_t> lengths_;
};

}  // namespace moxj::j2k
