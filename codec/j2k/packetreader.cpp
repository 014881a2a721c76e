// Packet headers and bodies, with damage reported as a problem of the tile.
#include "j2k/packetreader.h"

#include <algorithm>
#include <bit>

#include "base/problem.h"
#include "j2k/headerbits.h"
#include "j2k/packetorder.h"
#include "j2k/passes.h"

namespace moxj::j2k {

namespace {

constexpr int kMaxZeroPlanes = 74;  // 31 + 7 - 1 bit-planes, and a shift of 37 for a region of interest
constexpr int kMaxLengthBits = 32;

// Thrown to end the reading of a tile.
struct Damage {
  const char* text;
};

class Reader {
 public:
  Reader(Tile& tile, const PacketSource& source, const ReadLimits& limits, Budget& budget)
      : tile_(tile), source_(source), limits_(limits), budget_(budget), headers_(source.headers) {}

  bool atEnd() {
    while (part_ < source_.parts.size() && at_ == source_.parts[part_].size()) {
      ++part_;
      at_ = 0;
    }
    // With packed headers, packets without a body may still follow.
    return part_ == source_.parts.size() && (!source_.packedHeaders || headers_.empty());
  }

  // Packets of wanted blocks.
  std::uint64_t wantedRead() const { return wantedRead_; }

  // Throws Damage.
  void read(const PacketPlace& place) {
    skipSop();
    const TileComponent& component = tile_.components[static_cast<std::size_t>(place.component)];
    Precinct& precinct = tile_.components[static_cast<std::size_t>(place.component)]
                             .resolutions[static_cast<std::size_t>(place.resolution)]
                             .precincts[place.precinct];
    lengths_.clear();
    std::span<const std::uint8_t> from = source_.packedHeaders ? headers_ : body();
    HeaderReader bits(from);
    if (bits.bit())
      for (PrecinctBand& band : precinct.bands) readBand(bits, band, place.layer, component.coding.modes);
    std::size_t size = bits.finish();
    if (bits.overrun()) throw Damage{"ends in a packet header"};
    if (from.size() >= size + 2 && from[size] == 0xFF && from[size + 1] == 0x92) size += 2;  // EPH
    if (source_.packedHeaders)
      headers_ = headers_.subspan(size);
    else
      at_ += size;
    readBodies(place.layer < limits_.layers);
    if (precinct.wanted && place.layer < limits_.layers) ++wantedRead_;
  }

 private:
  struct Length {
    Block* block;
    bool opens;  // begins a codeword segment
    int passes;
    std::uint32_t bytes;
  };

  ByteSpan body() const { return part_ < source_.parts.size() ? source_.parts[part_].subspan(at_) : ByteSpan(); }

  void skipSop() {
    const ByteSpan bytes = body();
    if (bytes.size() >= 6 && bytes[0] == 0xFF && bytes[1] == 0x91) at_ += 6;
  }

  void readBand(HeaderReader& bits, PrecinctBand& band, int layer, int modes) {
    const auto bit = [&] { return bits.bit() != 0; };
    for (int i = 0; i < static_cast<int>(band.blocks.size()); ++i) {
      Block& block = band.blocks[static_cast<std::size_t>(i)];
      const bool included = block.included ? bit() : band.inclusion.decode(i, layer + 1, bit);
      if (bits.overrun()) throw Damage{"ends in a packet header"};
      if (!included) continue;
      if (!block.included) {
        int planes = 1;
        while (!band.zeroPlanes.decode(i, planes, bit))
          if (++planes > kMaxZeroPlanes + 1) throw Damage{"has an invalid packet header"};
        block.zeroPlanes = static_cast<std::int16_t>(planes - 1);
        block.included = true;
      }
      readLengths(bits, block, readPasses(bits), modes);
    }
  }

  static int readPasses(HeaderReader& bits) {
    if (!bits.bit()) return 1;
    if (!bits.bit()) return 2;
    unsigned more = bits.bits(2);
    if (more < 3) return static_cast<int>(3 + more);
    more = bits.bits(5);
    if (more < 31) return static_cast<int>(6 + more);
    return static_cast<int>(37 + bits.bits(7));
  }

  void readLengths(HeaderReader& bits, Block& block, int passes, int modes) {
    int lengthBits = block.lengthBits;
    while (bits.bit())
      if (++lengthBits > kMaxLengthBits) throw Damage{"has an invalid packet header"};
    block.lengthBits = static_cast<std::uint8_t>(lengthBits);
    while (passes > 0) {
      const int count = std::min(passes, segmentLength(block.passes, modes));
      const int width = lengthBits + std::bit_width(static_cast<unsigned>(count)) - 1;
      if (width > kMaxLengthBits) throw Damage{"has an invalid packet header"};
      lengths_.push_back({&block, opensSegment(block, modes), count, bits.bits(width)});
      block.passes = static_cast<std::int16_t>(block.passes + count);
      passes -= count;
    }
    if (block.passes > kMaxPasses * 4) throw Damage{"has a code-block with too many passes"};
  }

  // Whether the next pass begins a codeword segment.
  static bool opensSegment(const Block& block, int modes) {
    if (block.passes == 0 || (modes & termall)) return true;
    return (modes & bypass) && block.passes >= 10 && (block.passes - 10) % 3 != 1;
  }

  void readBodies(bool keep) {
    for (const Length& length : lengths_) {
      const ByteSpan bytes = body();
      if (length.bytes > bytes.size()) throw Damage{"ends in a packet"};
      at_ += length.bytes;
      if (keep && length.block->wanted) add(*length.block, length, bytes.data());
    }
  }

  void add(Block& block, const Length& length, const std::uint8_t* bytes) {
    budget_.charge(2, sizeof(CodewordSegment) + sizeof(Chunk));
    if (length.opens || block.segments.empty()) block.segments.emplace_back();
    block.segments.back().passes += length.passes;
    block.segments.back().bytes += length.bytes;
    if (length.bytes > 0) block.chunks.push_back({bytes, length.bytes});
  }

  Tile& tile_;
  const PacketSource& source_;
  const ReadLimits& limits_;
  Budget& budget_;
  ByteSpan headers_;
  std::size_t part_ = 0, at_ = 0;
  std::uint64_t wantedRead_ = 0;
  std::vector<Length> lengths_;
};

std::uint64_t wantedPackets(const Tile& tile, int layers) {
  std::uint64_t precincts = 0;
  for (const TileComponent& component : tile.components)
    for (const Resolution& resolution : component.resolutions)
      precincts += static_cast<std::uint64_t>(std::count_if(resolution.precincts.begin(), resolution.precincts.end(),
                                                            [](const Precinct& precinct) { return precinct.wanted; }));
  return precincts * static_cast<std::uint64_t>(std::min(layers, tile.style.layers));
}

}  // namespace

PacketsRead readPackets(Tile& tile, const Siz& siz, const PacketSource& source, const ReadLimits& limits,
                        Budget& budget) {
  Reader reader(tile, source, limits, budget);
  PacketsRead result;
  const std::uint64_t wanted = limits.partly ? wantedPackets(tile, limits.layers) : UINT64_MAX;
  result.exact = wanted == 0;
  if (result.exact) return result;
  forEachPacket(tile, siz, budget, [&](const PacketPlace& place) {
    try {
      if (reader.atEnd()) throw Damage{"ends early"};
      reader.read(place);
      ++result.packets;
      return reader.wantedRead() < wanted;
    } catch (const Damage& damage) {
      result.problem = damage.text;
      return false;
    }
  });
  result.exact = reader.atEnd() || reader.wantedRead() >= wanted;
  return result;
}

}  // namespace moxj::j2k
