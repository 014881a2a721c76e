// Decodes code-blocks into the coefficients of a plane.
#pragma once

#include <vector>

#include "j2k/tile.h"
#include "j2k/tileplane.h"

namespace moxj::j2k {

// The options of the library's block coders that correspond to a code-block style.
int coderOptions(int modes);

// The library's numbers for sub-bands: 2 and 3 select the contexts of HL and HH.
inline int coderBand(Orientation orientation) { return orientation == hl ? 2 : orientation == hh ? 3 : 0; }

// Where the coefficients of a band go: those in `rect` (in the coordinates of the band) to a plane, from (x, y) on.
struct BandPlace {
  TilePlane* plane;
  Rect rect;
  std::int32_t x, y;
};

// One per thread.
class BlockDecoder {
 public:
  // Writes the coefficients of the block that have a place. False if some of its data could not be decoded.
  bool decode(const Block& block, const Band& band, const TileComponent& component, const BandPlace& place);

  // Whether it has more bit-planes than the library decodes.
  static bool isTooDeep(const Block& block, const Band& band, const TileComponent& component);

 private:
  const std::uint8_t* gather(const Block& block);
  template <class Value>
  void place(const Block& block, const Band& band, const BandPlace& to, Value value) const;
  void placeReversible(const Block& block, const Band& band, int shift, const BandPlace& to) const;
  void placeIrreversible(const Block& block, const Band& band, int shift, float scale, const BandPlace& to) const;

  std::vector<std::int32_t> coefficients_ = std::vector<std::int32_t>(4096);
  std::vector<std::uint8_t> work_;
  std::vector<std::uint8_t> data_;
  std::vector<std::int32_t> lengths_;
};

}  // namespace moxj::j2k
