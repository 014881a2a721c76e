// The wavelet transform of a tile-component whose rows come from top to bottom, in memory for some rows of each level.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "j2k/tile.h"
#include "j2k/tileplane.h"

namespace moxj::j2k {

// The same coefficients as those of transformForward(), band by band.
class StripTransform {
 public:
  // Gets the rows of a band from top to bottom; `row` is counted from the top of the band.
  using BandRow = std::function<void(const Band& band, Coord row, const std::int32_t* coefficients)>;

  StripTransform(const TileComponent& component, BandRow use);
  ~StripTransform();

  static std::uint64_t bytes(const TileComponent& component);

  // The next row of the component, with fractionBits() fraction bits if it is irreversible.
  void put(const std::int32_t* samples);

 private:
  class Level;

  void transformed(int resolution, Coord row, bool high, const std::int32_t* coefficients);

  const TileComponent& component_;
  BandRow use_;
  std::vector<std::unique_ptr<Level>> levels_;  // by resolution; null at 0
  Coord rows_ = 0;
};

}  // namespace moxj::j2k
