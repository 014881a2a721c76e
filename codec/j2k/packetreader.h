// Reads the packets of a tile and assigns their data to its code-blocks (B.9, B.10).
#pragma once

#include <span>
#include <string>
#include <vector>

#include "j2k/tile.h"

namespace moxj::j2k {

struct PacketSource {
  std::vector<ByteSpan> parts;  // the bodies of the tile-parts
  bool packedHeaders = false;   // the headers are separate (PPM, PPT) ...
  std::vector<std::uint8_t> headers;
};

struct ReadLimits {
  int layers = kMaxLayers;
  int resolutions = kMaxLevels + 1;  // whose data is kept, counted from the lowest
};

struct PacketsRead {
  std::uint64_t packets = 0;
  std::string problem;  // why not all were read, empty if all were; to follow "tile N"
  bool exact = false;   // no bytes are left over
};

// Reads up to the end or the first damage. The chunks of the blocks point into the source.
PacketsRead readPackets(Tile& tile, const Siz& siz, const PacketSource& source, const ReadLimits& limits,
                        Budget& budget);

}  // namespace moxj::j2k
