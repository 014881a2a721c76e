// The parameters in the headers of a codestream (ISO/IEC 15444-1, Annex A).
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "base/arithmetic.h"
#include "base/bytes.h"

namespace moxj::j2k {

using Coord = std::int64_t;  // on the reference grid and everything derived from it

// Limits of the standard.
inline constexpr int kMaxLevels = 32;
inline constexpr int kMaxLayers = 65535;
inline constexpr int kMaxComponents = 16384;
inline constexpr int kMaxBands = 3 * kMaxLevels + 1;

struct Rect {
  Coord x0 = 0, y0 = 0, x1 = 0, y1 = 0;
  Coord width() const { return x1 - x0; }
  Coord height() const { return y1 - y0; }
  bool empty() const { return x1 <= x0 || y1 <= y0; }
};

constexpr Rect intersection(const Rect& a, const Rect& b) {
  return {std::max(a.x0, b.x0), std::max(a.y0, b.y0), std::min(a.x1, b.x1), std::min(a.y1, b.y1)};
}

struct ComponentSize {
  int bits = 8;
  bool isSigned = false;
  int dx = 1, dy = 1;  // sub-sampling
};

// SIZ: the image, its tiles and components on the reference grid.
struct Siz {
  Rect image;
  Coord tileWidth = 0, tileHeight = 0;
  Coord tileX0 = 0, tileY0 = 0;
  std::vector<ComponentSize> components;

  Coord tilesWide() const { return ceilDiv(image.x1 - tileX0, tileWidth); }
  Coord tilesHigh() const { return ceilDiv(image.y1 - tileY0, tileHeight); }
  Coord tiles() const { return tilesWide() * tilesHigh(); }

  // Whether all components are sub-sampled alike: their size is then that of the picture.
  bool isAlike() const {
    return std::ranges::all_of(components, [&](const ComponentSize& size) {
      return size.dx == components[0].dx && size.dy == components[0].dy;
    });
  }
};

// Code-block style, as in SPcod (Table A.19).
enum Mode : int { bypass = 1, reset = 2, termall = 4, causal = 8, pterm = 16, segsym = 32, allModes = 63 };
// Of ISO/IEC 15444-15: high-throughput block coding, with or without blocks of the other kind.
inline constexpr int kHighThroughput = 0x40, kMixedBlocks = 0x80;

// The parameters of a component in COD or COC.
struct CodingStyle {
  int levels = 5;
  int blockWidthLog = 6, blockHeightLog = 6;
  int modes = 0;
  bool reversible = true;
  std::array<std::uint8_t, kMaxLevels + 1> precincts;  // exponents of each resolution: width | height << 4

  CodingStyle() { precincts.fill(0xFF); }
};

enum class Order : std::uint8_t { lrcp, rlcp, rpcl, pcrl, cprl };

// The parameters in COD that all components share.
struct TileStyle {
  Order order = Order::lrcp;
  int layers = 1;
  bool transform = false;  // of the first three components
};

// QCD or QCC.
struct Quantisation {
  enum Kind { none, derived, expounded };
  Kind kind = none;
  int guardBits = 2;
  std::array<std::uint16_t, kMaxBands> steps{};  // exponent << 11 | mantissa, from LL up
  int count = 0;                                 // of the steps in the marker segment
};

// One progression of POC. By default, the whole tile.
struct Progression {
  int firstResolution = 0, endResolution = kMaxLevels + 1;
  int firstComponent = 0, endComponent = kMaxComponents;
  int endLayer = kMaxLayers;
  Order order = Order::lrcp;
};

// Everything that can differ between tiles.
struct TileParams {
  TileStyle style;
  std::vector<CodingStyle> coding;  // for each component
  std::vector<Quantisation> quantisation;
  std::vector<int> shift;  // of regions of interest (RGN)
  std::vector<Progression> progressions;
};

constexpr Coord ceilShift(Coord a, int bits) { return (a + (Coord{1} << bits) - 1) >> bits; }

}  // namespace moxj::j2k
