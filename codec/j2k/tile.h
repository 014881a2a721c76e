// The parts of a tile: components, resolutions, sub-bands, precincts and code-blocks (Annex B).
//
// A component's coefficients lie in one plane, in the order that the in-place wavelet leaves: each resolution but the
// lowest has its LL band, which is the resolution below, in the upper left corner, HL right of it, LH below it and HH
// in the remaining corner.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "j2k/budget.h"
#include "j2k/params.h"
#include "j2k/tagtree.h"

namespace moxj::j2k {

struct CodedBlock;  // of the encoder

struct Chunk {
  const std::uint8_t* bytes;
  std::uint32_t size;
};

struct CodewordSegment {
  int passes = 0;
  std::uint32_t bytes = 0;
};

struct Block {
  std::int32_t x = 0, y = 0;  // in the plane
  std::int16_t width = 0, height = 0;
  // The state of the packet headers.
  bool included = false;
  std::int8_t lengthBits = 3;  // Lblock
  std::int16_t zeroPlanes = 0;
  std::int16_t passes = 0;
  // Decoder: the data so far. The last segment may be open for more passes.
  std::vector<CodewordSegment> segments;
  std::vector<Chunk> chunks;
  // Encoder.
  const CodedBlock* coded = nullptr;
};

enum Orientation : int { ll = 0, hl = 1, lh = 2, hh = 3 };

struct Band {
  Orientation orientation = ll;
  int index = 0;                        // in the quantisation's steps
  Rect rect;                            // in the band's own coordinates
  std::int32_t planeX = 0, planeY = 0;  // of its upper left corner
  int bitPlanes = 0;                    // Mb: the most that a coefficient's magnitude can have
  double step = 1;                      // quantiser step
};

// The code-blocks of one band in one precinct.
struct PrecinctBand {
  int band = 0;  // of the resolution's
  int blocksWide = 0, blocksHigh = 0;
  TagTree inclusion, zeroPlanes;
  std::vector<Block> blocks;
};

struct Precinct {
  int layersDone = 0;
  std::vector<PrecinctBand> bands;
};

struct Resolution {
  Rect rect;
  int precinctWidthLog = 15, precinctHeightLog = 15;
  Coord precinctsWide = 0, precinctsHigh = 0;
  std::vector<Band> bands;
  std::vector<Precinct> precincts;
};

struct TileComponent {
  Rect rect;
  int bits = 8;  // of the samples
  bool isSigned = false;
  CodingStyle coding;
  int shift = 0;  // of a region of interest
  std::vector<Resolution> resolutions;
};

struct Tile {
  Rect rect;
  TileStyle style;
  std::vector<Progression> progressions;  // one at least
  std::vector<TileComponent> components;
};

// Rows and columns of a tile on the reference grid.
Rect tileRect(const Siz& siz, Coord index);

// The tile-component of a component; `levels` are taken off (sizes of a reduced picture).
Rect componentRect(const Rect& grid, const ComponentSize& component);
Rect reducedRect(const Rect& rect, int levels);

// Throws Failure: limit where the budget does not allow for it, refused for what the reader has no code for.
Tile makeTile(const Siz& siz, const TileParams& params, Coord index, Budget& budget);

// The exponent and the mantissa of a band's step.
struct Step {
  int exponent, mantissa;
};
Step stepOf(const Quantisation& quantisation, int bandIndex, int resolution);

}  // namespace moxj::j2k
