// Reads the packets of a tile into its code-blocks (B.9, B.10).
#pragma once

#include <span>
#include <string>
#include <vector>

#include "j2k/tile.h"

namespace moxj::j2k {

struct PacketSource {
  std::vector<ByteSpan> parts;  // the bodies of the tile-parts
  bool packedHeaders = false;   // headers stand apart (PPM, PPT) ...
  std::vector<std::uint8_t> headers;
};

struct ReadLimits {
  int layers = kMostLayers;
  int resolutions = kMostLevels + 1;  // to keep the data of, counted from the lowest
};

struct PacketsRead {
  std::uint64_t packets = 0;
  std::string problem;  // why not all were read; empty if all were
};

// The chunks of the blocks point into the source. Reads as far as there is sense in it.
PacketsRead readPackets(Tile& tile, const Siz& siz, const PacketSource& source, const ReadLimits& limits,
                        Budget& budget);

}  // namespace moxj::j2k
