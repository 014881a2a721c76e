// Writes the tile-parts of a tile from its encoded code-blocks (B.9, B.10).
#pragma once

#include <vector>

#include "base/budget.h"
#include "base/bytes.h"
#include "base/input.h"
#include "base/scratchfile.h"
#include "j2k/j2k.h"
#include "j2k/packetorder.h"
#include "j2k/tile.h"

namespace moxj::j2k {

class PacketWriter {
 public:
  // `number` is that of the tile; `scratch` has what is stored of its code-blocks.
  PacketWriter(Tile& tile, Coord number, const Siz& siz, const EncodeOptions& options, const ScratchFile& scratch,
               Budget& budget);

  // The passes of the first `layers` layers are chosen: size() of one more layer codes the headers of that layer alone.
  void settle(int layers);

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
  void codeLayer(int layer, bool keep);
  std::uint32_t codePacket(const PacketPlace& place, bool keep);
  void findLayer(int layer);
  void measureAll(int layers);
  std::uint64_t bodyBytes(int layers) const;
  Bytes headerOf(std::size_t part, std::size_t parts, std::uint64_t packetBytes) const;
  void writePacket(const PacketPlace& place, Bytes& file, Output* output);
  std::uint64_t writeHeader(const PacketPlace& place, Bytes& header);  // returns the size of the body
  void writeBodies(const PacketPlace& place, Bytes& file, Output* output);
  Precinct& precinctOf(const PacketPlace& place);

  Tile& tile_;
  int number_;
  const EncodeOptions& options_;
  const ScratchFile& scratch_;
  std::vector<PacketPlace> order_;
  int packets_ = 0;  // written so far, for SOP
  Bytes packetHeader_;
  std::vector<std::uint32_t> lengths_;  // of the packets of a part
  // For size(): the headers of the first settled_ layers are coded, and what is known of the next one.
  struct LayerPacket {
    std::uint32_t at;                 // in order_
    std::vector<std::uint8_t> taken;  // of its blocks, when its size was found
  };
  int settled_ = -1;
  std::vector<std::uint32_t> sizes_;    // of the packets in order_
  std::vector<std::uint32_t> byLayer_;  // their numbers, ordered by layer
  std::uint64_t settledBytes_ = 0;      // of the packets of the settled layers
  std::vector<LayerPacket> layer_;
};

}  // namespace moxj::j2k
