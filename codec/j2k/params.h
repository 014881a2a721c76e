// What the headers of a codestream say (ISO/IEC 15444-1, Annex A).
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace moxj::j2k {

using ByteSpan = std::span<const std::uint8_t>;
using Coord = std::int64_t;  // of the reference grid and all that is derived from it

// Limits of the standard.
inline constexpr int kMostLevels = 32;
inline constexpr int kMostLayers = 65535;
inline constexpr int kMostComponents = 16384;
inline constexpr int kMostBands = 3 * kMostLevels + 1;

struct Rect {
  Coord x0 = 0, y0 = 0, x1 = 0, y1 = 0;
  Coord width() const { return x1 - x0; }
  Coord height() const { return y1 - y0; }
  bool empty() const { return x1 <= x0 || y1 <= y0; }
};

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

  Coord tilesWide() const { return (image.x1 - tileX0 + tileWidth - 1) / tileWidth; }
  Coord tilesHigh() const { return (image.y1 - tileY0 + tileHeight - 1) / tileHeight; }
  Coord tiles() const { return tilesWide() * tilesHigh(); }
};

// Code-block style, as SPcod has it (Table A.19).
enum Mode : int { bypass = 1, reset = 2, termall = 4, causal = 8, pterm = 16, segsym = 32, allModes = 63 };

// COD or COC, what a component has of its own.
struct CodingStyle {
  int levels = 5;
  int blockWidthLog = 6, blockHeightLog = 6;
  int modes = 0;
  bool reversible = true;
  std::array<std::uint8_t, kMostLevels + 1> precincts;  // exponents of each resolution: width | height << 4

  CodingStyle() { precincts.fill(0xFF); }
};

enum class Order : std::uint8_t { lrcp, rlcp, rpcl, pcrl, cprl };

// COD, what all components share.
struct TileStyle {
  Order order = Order::lrcp;
  int layers = 1;
  bool transform = false;  // of the first three components
  bool sop = false, eph = false;
};

// QCD or QCC.
struct Quantisation {
  enum Kind { none, derived, expounded };
  Kind kind = none;
  int guardBits = 2;
  std::array<std::uint16_t, kMostBands> steps{};  // exponent << 11 | mantissa, from LL up
};

// One progression of POC; the whole tile where there is none.
struct Progression {
  int firstResolution = 0, endResolution = kMostLevels + 1;
  int firstComponent = 0, endComponent = kMostComponents;
  int endLayer = kMostLayers;
  Order order = Order::lrcp;
};

// All that can differ from tile to tile.
struct TileParams {
  TileStyle style;
  std::vector<CodingStyle> coding;  // of each component
  std::vector<Quantisation> quantisation;
  std::vector<int> shift;  // of regions of interest (RGN)
  std::vector<Progression> progressions;
};

constexpr Coord ceilDiv(Coord a, Coord b) { return (a + b - 1) / b; }
constexpr Coord ceilShift(Coord a, int bits) { return (a + (Coord{1} << bits) - 1) >> bits; }

}  // namespace moxj::j2k
