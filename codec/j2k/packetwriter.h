// Writes the packets of a tile from its encoded code-blocks (B.9, B.10).
#pragma once

#include <vector>

#include "base/bytes.h"
#include "j2k/packetorder.h"
#include "j2k/tile.h"

namespace moxj::j2k {

class PacketWriter {
 public:
  PacketWriter(Tile& tile, const Siz& siz, Budget& budget);

  // Writes the packets of the first `layers` layers, with the passes in CodedBlock::taken.
  void write(Bytes& file, int layers);
  std::uint64_t size(int layers);  // the number of bytes that write() would add

 private:
  void restart(int layers);
  std::uint64_t writeHeader(const PacketPlace& place, Bytes& header);  // returns the size of the body
  void writeBodies(const PacketPlace& place, Bytes& file);
  Precinct& precinctOf(const PacketPlace& place);

  Tile& tile_;
  std::vector<PacketPlace> order_;
  Bytes scratch_;
};

}  // namespace moxj::j2k
