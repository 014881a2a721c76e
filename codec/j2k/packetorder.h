// The order of the packets of a tile (B.12).
#pragma once

#include <functional>

#include "j2k/tile.h"

namespace moxj::j2k {

struct PacketPlace {
  int component = 0, resolution = 0;
  std::uint32_t precinct = 0;
  int layer = 0;
};

// Visits the packets of a tile in the order of its progressions, each packet once, until `visit` returns false. Updates
// Precinct::layersDone.
void forEachPacket(Tile& tile, const Siz& siz, Budget& budget, const std::function<bool(const PacketPlace&)>& visit);

}  // namespace moxj::j2k
