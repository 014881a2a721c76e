// The parameters of a codestream that is to be written, from the options and the layout of the picture.
#pragma once

#include "j2k/j2k.h"
#include "j2k/tile.h"

namespace moxj::j2k {

// The number of decompositions and the orientation of a band, from its index in the quantisation marker segments.
struct BandPlace {
  int levels;
  Orientation orientation;
};
inline BandPlace bandPlace(int index, int levels) {
  if (index == 0) return {levels, ll};
  return {levels - (index - 1) / 3, static_cast<Orientation>((index - 1) % 3 + 1)};
}

// Throws Problem (limit) for too many tiles.
Siz sizOf(const Picture& layout, const EncodeOptions& options);

TileParams paramsFor(const Picture& layout, const EncodeOptions& options);

}  // namespace moxj::j2k
