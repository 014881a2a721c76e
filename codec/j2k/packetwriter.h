// Writes the tile-parts of a tile from its encoded code-blocks (B.9, B.10).
#pragma once

#include <span>
#include <vector>

#include "base/budget.h"
#include "base/bytes.h"
#include "base/input.h"
#include "base/scratchfile.h"
#include "base/workers.h"
#include "j2k/j2k.h"
#include "j2k/packetorder.h"
#include "j2k/tile.h"

namespace moxj::j2k {

class PacketWriter {
 public:
  // `number` is that of the tile; `scratch` has what is stored of its code-blocks.
  PacketWriter(Tile& tile, Coord number, const Siz& siz, const EncodeOptions& options, const ScratchFile& scratch,
               Budget& budget, Workers& workers);

  // The passes of the first `layers` layers are chosen: size() of one more layer codes the headers of that layer alone.
  void settle(int layers);
  // The code-blocks of packets of the next layer whose headers size() has to code. Several threads do so from this
  // number on.
  std::size_t blocksToCode() const;
  static constexpr std::size_t kWorthwhile = 512;

  // All of these are about the packets of the first `layers` layers, with the passes in CodedBlock::taken.

  // `report` gets how many of packetCount() are done.
  void write(int layers, Output& output, Budget& budget, const Workers::Report& report = {});
  std::size_t packetCount() const { return order_.size(); }
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
  void codeLayer(bool keep);
  std::uint32_t codePacket(const PacketPlace& place, bool keep, Bytes& header);
  void begin();
  void beginLayer(int layer);
  void measureAll(int layers);
  std::uint64_t bodyBytes(int layers) const;
  Bytes headerOf(std::size_t part, std::size_t parts, std::uint64_t packetBytes) const;
  void writePacket(const PacketPlace& place, Bytes& file, Output* output);
  std::uint64_t writeHeader(const PacketPlace& place, Bytes& header);  // returns the size of the body
  void writeBodies(const PacketPlace& place, Bytes& file, Output* output);
  Precinct& precinctOf(const PacketPlace& place) const;

  Tile& tile_;
  int number_;
  const EncodeOptions& options_;
  const ScratchFile& scratch_;
  Workers& workers_;
  std::vector<PacketPlace> order_;
  int packets_ = 0;                     // written so far, for SOP
  std::vector<std::uint32_t> lengths_;  // of the packets of a part
  // For size(): the headers of the first settled_ layers are coded, and the sizes of the next one's packets are known
  // where they have not changed. Each layer has a packet of every precinct, in the same order.
  int settled_ = -1;
  std::vector<std::uint32_t> sizes_;                 // of the packets in order_
  std::vector<std::uint32_t> byLayer_;               // their numbers, ordered by layer
  std::uint64_t settledBytes_ = 0, layerBytes_ = 0;  // of the settled layers, of the next one
  std::span<const std::uint32_t> layer_;             // of byLayer_: the packets of the next layer
  std::vector<std::uint8_t> changed_;                // whether each of them is to be coded
  std::vector<std::uint32_t> largestFirst_;          // their numbers in layer_
  std::size_t allBlocks_ = 0;
};

}  // namespace moxj::j2k
