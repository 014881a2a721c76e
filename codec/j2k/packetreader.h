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
  int layers = kMaxLayers;  // whose data is kept
  bool partly = false;      // only wanted blocks are kept, and nothing is read after the last packet of any of them
};

struct PacketsRead {
  std::uint64_t packets = 0;
  std::string problem;  // why not all were read, empty if all were; to follow "tile N"
  bool exact = false;   // no bytes are left over, or they were not read because nothing of them is wanted
};

// Reads up to the end or the first damage. The chunks of the blocks point into the source.
PacketsRead readPackets(Tile& tile, const Siz& siz, const PacketSource& source, const ReadLimits& limits,
                        Budget& budget);

}  // namespace moxj::j2k
