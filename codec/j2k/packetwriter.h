// Writes the tile-parts of a tile from its encoded code-blocks (B.9, B.10).
#pragma once

#include <vector>

#include "base/budget.h"
#include "base/bytes.h"
#include "base/input.h"
#include "j2k/j2k.h"
#include "j2k/packetorder.h"
#include "j2k/tile.h"

namespace moxj::j2k {

class PacketWriter {
 public:
  // `tile` is the number of the tile.
  PacketWriter(Tile& tile, Coord number, const Siz& siz, const EncodeOptions& options, Budget& budget);

  // All of these are about the packets of the first `layers` layers, with the passes in CodedBlock::taken.

  void write(int layers, Output& output, Budget& budget);
  // The number of bytes that write() would give.
  std::uint64_t size(int layers);
  // The size of each tile-part.
  std::vector<std::uint32_t> partSizes(int layers);
  // Their number. Throws Problem (badOption) for more than a tile can have.
  int partCount(int layers) const;

 private:
  // The packets from `begin` up to `end` in order_, of which some may be of further layers.
  struct Part {
    std::size_t begin, end;
  };
  struct PartSize {
    std::uint64_t header = 0, packets = 0;
    std::uint64_t all() const { return header + packets; }
  };

  std::vector<Part> partsOf(int layers) const;
  bool beginsPart(const PacketPlace& before, const PacketPlace& place) const;
  PartSize measure(const Part& part, int layers);
  void restart(int layers);
  std::uint64_t bodyBytes(int layers) const;
  Bytes headerOf(std::size_t part, std::size_t parts, std::uint64_t packetBytes) const;
  void writePacket(const PacketPlace& place, Bytes& file);
  std::uint64_t writeHeader(const PacketPlace& place, Bytes& header);  // returns the size of the body
  void writeBodies(const PacketPlace& place, Bytes& file);
  Precinct& precinctOf(const PacketPlace& place);

  Tile& tile_;
  int number_;
  const EncodeOptions& options_;
  std::vector<PacketPlace> order_;
  int packets_ = 0;  // written so far, for SOP
  Bytes scratch_;
  std::vector<std::uint32_t> lengths_;  // of the packets of a part
};

}  // namespace moxj::j2k
