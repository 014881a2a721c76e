// Packet headers and bodies; a header-only pass gives the size that rate control needs.
#include "j2k/packetwriter.h"

#include <algorithm>
#include <bit>

#include "j2k/blockencoder.h"
#include "j2k/headerbits.h"

namespace moxj::j2k {

namespace {

int takenBefore(const CodedBlock& coded, int layer) {
  return layer == 0 ? 0 : coded.taken[static_cast<std::size_t>(layer) - 1];
}

// Calls visit(passes, begin, end) for each codeword segment to which a packet contributes passes.
template <class Visit>
void forEachPiece(const CodedBlock& coded, int from, int to, const Visit& visit) {
  for (int pass = from; pass < to;) {
    const std::uint32_t segment = coded.passes[static_cast<std::size_t>(pass)].segment;
    int end = pass + 1;
    while (end < to && coded.passes[static_cast<std::size_t>(end)].segment == segment) ++end;
    const bool goesOn = pass > 0 && coded.passes[static_cast<std::size_t>(pass) - 1].segment == segment;
    visit(end - pass, goesOn ? coded.passes[static_cast<std::size_t>(pass) - 1].end : coded.segmentStarts[segment],
          coded.passes[static_cast<std::size_t>(end) - 1].end);
    pass = end;
  }
}

void putPasses(HeaderWriter& bits, int passes) {
  const unsigned count = static_cast<unsigned>(passes);
  if (passes == 1)
    bits.bit(false);
  else if (passes == 2)
    bits.bits(0b10, 2);
  else if (passes <= 5)
    bits.bits(0b1100 | (count - 3), 4);
  else if (passes <= 36)
    bits.bits(0b1111 << 5 | (count - 6), 9);
  else
    bits.bits(0b111111111 << 7 | (count - 37), 16);
}

void putLengths(HeaderWriter& bits, Block& block, int from, int to) {
  const auto widthOf = [](int passes) { return std::bit_width(static_cast<unsigned>(passes)) - 1; };
  int needed = block.lengthBits;
  forEachPiece(*block.coded, from, to, [&](int passes, std::uint32_t begin, std::uint32_t end) {
    needed = std::max(needed, static_cast<int>(std::bit_width(end - begin)) - static_cast<int>(widthOf(passes)));
  });
  bits.unary(needed - block.lengthBits);
  block.lengthBits = static_cast<std::int8_t>(needed);
  forEachPiece(*block.coded, from, to, [&](int passes, std::uint32_t begin, std::uint32_t end) {
    bits.bits(end - begin, needed + static_cast<int>(widthOf(passes)));
  });
}

}  // namespace

PacketWriter::PacketWriter(Tile& tile, const Siz& siz, Budget& budget) : tile_(tile) {
  forEachPacket(tile, siz, budget, [&](const PacketPlace& place) {
    order_.push_back(place);
    return true;
  });
}

Precinct& PacketWriter::precinctOf(const PacketPlace& place) {
  return tile_.components[static_cast<std::size_t>(place.component)]
      .resolutions[static_cast<std::size_t>(place.resolution)]
      .precincts[place.precinct];
}

// Resets the state of the packet headers. The tag trees hold, for each block, the first layer that includes it and the
// number of its empty bit-planes.
void PacketWriter::restart(int layers) {
  for (TileComponent& component : tile_.components)
    for (Resolution& resolution : component.resolutions)
      for (Precinct& precinct : resolution.precincts)
        for (PrecinctBand& band : precinct.bands) {
          band.inclusion.clear();
          band.zeroPlanes.clear();
          for (int i = 0; i < static_cast<int>(band.blocks.size()); ++i) {
            Block& block = band.blocks[static_cast<std::size_t>(i)];
            const std::vector<std::uint8_t>& taken = block.coded->taken;
            const auto first =
                std::find_if(taken.begin(), taken.begin() + layers, [](int passes) { return passes > 0; });
            block.included = false;
            block.lengthBits = 3;
            band.inclusion.set(i, static_cast<int>(first - taken.begin()));
            band.zeroPlanes.set(
                i, resolution.bands[static_cast<std::size_t>(band.band)].bitPlanes - block.coded->bitPlanes);
          }
          band.inclusion.make();
          band.zeroPlanes.make();
        }
}

std::uint64_t PacketWriter::writeHeader(const PacketPlace& place, Bytes& header) {
  Precinct& precinct = precinctOf(place);
  const auto isIncluded = [&](const Block& block) {
    return block.coded->taken[static_cast<std::size_t>(place.layer)] > takenBefore(*block.coded, place.layer);
  };
  HeaderWriter bits(header);
  const auto put = [&](bool value) { bits.bit(value); };
  const bool filled = std::ranges::any_of(
      precinct.bands, [&](const PrecinctBand& band) { return std::ranges::any_of(band.blocks, isIncluded); });
  bits.bit(filled);
  std::uint64_t body = 0;
  for (PrecinctBand& band : precinct.bands) {
    if (!filled) break;
    for (int i = 0; i < static_cast<int>(band.blocks.size()); ++i) {
      Block& block = band.blocks[static_cast<std::size_t>(i)];
      const bool included = isIncluded(block);
      block.included ? bits.bit(included) : band.inclusion.encode(i, place.layer + 1, put);
      if (!included) continue;
      if (!block.included) band.zeroPlanes.encode(i, band.zeroPlanes.value(i) + 1, put);
      block.included = true;
      const int from = takenBefore(*block.coded, place.layer),
                to = block.coded->taken[static_cast<std::size_t>(place.layer)];
      putPasses(bits, to - from);
      putLengths(bits, block, from, to);
      forEachPiece(*block.coded, from, to, [&](int, std::uint32_t begin, std::uint32_t end) { body += end - begin; });
    }
  }
  bits.finish();
  return body;
}

void PacketWriter::writeBodies(const PacketPlace& place, Bytes& file) {
  for (const PrecinctBand& band : precinctOf(place).bands)
    for (const Block& block : band.blocks) {
      const CodedBlock& coded = *block.coded;
      forEachPiece(
          coded, takenBefore(coded, place.layer), coded.taken[static_cast<std::size_t>(place.layer)],
          [&](int, std::uint32_t begin, std::uint32_t end) { file.append(coded.data.data() + begin, end - begin); });
    }
}

void PacketWriter::write(Bytes& file, int layers) {
  restart(layers);
  for (const PacketPlace& place : order_) {
    if (place.layer >= layers) continue;
    writeHeader(place, file);
    writeBodies(place, file);
  }
}

std::uint64_t PacketWriter::size(int layers) {
  restart(layers);
  std::uint64_t size = 0;
  for (const PacketPlace& place : order_) {
    if (place.layer >= layers) continue;
    scratch_.clear();
    size += writeHeader(place, scratch_);
    size += scratch_.size();
  }
  return size;
}

}  // namespace moxj::j2k
