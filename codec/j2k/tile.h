// The structure of a tile: components, resolutions, sub-bands, precincts and code-blocks (Annex B).
//
// The coefficients of a component lie in one plane, arranged as the in-place wavelet transform leaves them. Every
// resolution but the lowest consists of
//
//   LL  HL      where LL is the next lower resolution.
//   LH  HH
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/budget.h"
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
  bool wanted = true;  // by the decoder
  // State of the packet headers.
  bool included = false;
  std::uint8_t lengthBits = 3;  // Lblock
  std::int16_t zeroPlanes = 0;
  std::int16_t passes = 0;
  // Decoder: the data so far. More passes may be added to the last segment.
  std::vector<CodewordSegment> segments;
  std::vector<Chunk> chunks;
  // Encoder.
  CodedBlock* coded = nullptr;
};

enum Orientation : int { ll = 0, hl = 1, lh = 2, hh = 3 };

struct Band {
  Orientation orientation = ll;
  int index = 0;                        // in Quantisation::steps
  Rect rect;                            // in the coordinates of the band
  std::int32_t planeX = 0, planeY = 0;  // of its upper left corner
  int bitPlanes = 0;                    // Mb: maximum number of magnitude bits
  double step = 1;                      // quantiser step

  // The area of a block in the coordinates of the band.
  Rect rectOf(const Block& block) const {
    const Coord x = rect.x0 + block.x - planeX, y = rect.y0 + block.y - planeY;
    return {x, y, x + block.width, y + block.height};
  }
};

// The code-blocks of one band in one precinct.
struct PrecinctBand {
  int band = 0;  // index in Resolution::bands
  int blocksWide = 0, blocksHigh = 0;
  TagTree inclusion, zeroPlanes;
  std::vector<Block> blocks;
};

struct Precinct {
  int layersDone = 0;
  bool wanted = true;  // a block of it is
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
  std::vector<Progression> progressions;  // at least one
  std::vector<TileComponent> components;
};

// The area of a tile on the reference grid.
Rect tileRect(const Siz& siz, Coord index);

// An area of the reference grid in the samples of a component.
Rect componentRect(const Rect& grid, const ComponentSize& component);

// The area of the picture: in the samples of its components if they are sub-sampled alike and not to be up-sampled,
// otherwise on the reference grid.
Rect shownRect(const Siz& siz, bool upsample = false);

// Whether no component has a sample in a tile. Such a tile needs no tile-part.
bool hasNoSamples(const Siz& siz, Coord index);

// The same area with `levels` resolution levels skipped.
Rect reducedRect(const Rect& rect, int levels);

// Throws Problem: limit if the tile exceeds the budget, damaged if its precincts make no sense.
Tile makeTile(const Siz& siz, const TileParams& params, Coord index, Budget& budget);

// The exponent and the mantissa of the quantiser step of a band.
struct Step {
  int exponent, mantissa;
};
Step stepOf(const Quantisation& quantisation, int bandIndex, int resolution);

}  // namespace moxj::j2k
