// Packet headers and bodies; a header-only pass gives the size that rate control needs.
#include "j2k/packetwriter.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <numeric>
#include <tuple>
#include <utility>

#include "base/bigendian.h"
#include "base/problem.h"
#include "j2k/blockencoder.h"
#include "j2k/headerbits.h"
#include "j2k/markerwriter.h"
#include "j2k/syntax.h"

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
  block.lengthBits = static_cast<std::uint8_t>(needed);
  forEachPiece(*block.coded, from, to, [&](int passes, std::uint32_t begin, std::uint32_t end) {
    bits.bits(end - begin, needed + static_cast<int>(widthOf(passes)));
  });
}

constexpr std::size_t kMaxParts = 255;                                           // of a tile
constexpr std::uint64_t kBuffer = std::uint64_t{4} << 20, kChunk = kBuffer / 8;  // for what is written at once

std::size_t blocksOf(const Precinct& precinct) {
  std::size_t blocks = 0;
  for (const PrecinctBand& band : precinct.bands) blocks += band.blocks.size();
  return blocks;
}

// SOP, with the number of the packet in its tile.
void putStart(Bytes& file, int number) {
  ByteWriter out(file);
  out.u16(marker::sop);
  out.u16(4);
  out.u16(number & 0xFFFF);
}

}  // namespace

PacketWriter::PacketWriter(Tile& tile, Coord number, const Siz& siz, const EncodeOptions& options,
                           const ScratchFile& scratch, Budget& budget, Workers& workers)
    : tile_(tile), number_(static_cast<int>(number)), options_(options), scratch_(scratch), workers_(workers) {
  forEachPacket(tile, siz, budget, [&](const PacketPlace& place) {
    order_.push_back(place);
    return true;
  });
}

Precinct& PacketWriter::precinctOf(const PacketPlace& place) const {
  return tile_.components[static_cast<std::size_t>(place.component)]
      .resolutions[static_cast<std::size_t>(place.resolution)]
      .precincts[place.precinct];
}

// Resets the state of the packet headers. The tag trees hold, for each block, the first layer that includes it and the
// number of its empty bit-planes.
void PacketWriter::restart(int layers) {
  packets_ = 0;
  settled_ = -1;
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
            const int planes = resolution.bands[static_cast<std::size_t>(band.band)].bitPlanes + component.shift;
            band.zeroPlanes.set(i, planes - block.coded->bitPlanes);
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

// With an output, what is complete of a large packet goes there.
void PacketWriter::writeBodies(const PacketPlace& place, Bytes& file, Output* output) {
  for (const PrecinctBand& band : precinctOf(place).bands)
    for (const Block& block : band.blocks) {
      const CodedBlock& coded = *block.coded;
      forEachPiece(coded, takenBefore(coded, place.layer), coded.taken[static_cast<std::size_t>(place.layer)],
                   [&](int, std::uint32_t begin, std::uint32_t end) {
                     if (!coded.stored) return file.append(coded.data.data() + begin, end - begin);
                     const std::size_t at = file.size();
                     file.resize(at + end - begin);
                     scratch_.read(*coded.stored + begin, file.data() + at, end - begin);
                   });
      if (!output || file.size() < kChunk) continue;
      output->write({file.data(), file.size()});
      file.clear();
    }
}

void PacketWriter::writePacket(const PacketPlace& place, Bytes& file, Output* output) {
  if (options_.sop) putStart(file, packets_);
  ++packets_;
  writeHeader(place, file);
  if (options_.eph) ByteWriter(file).u16(marker::eph);
  writeBodies(place, file, output);
}

bool PacketWriter::beginsPart(const PacketPlace& before, const PacketPlace& place) const {
  switch (options_.tileParts) {
    case Division::resolutions:
      return place.resolution != before.resolution;
    case Division::layers:
      return place.layer != before.layer;
    case Division::components:
      return place.component != before.component;
    default:
      return false;
  }
}

std::vector<PacketWriter::Part> PacketWriter::partsOf(int layers) const {
  std::vector<Part> parts = {{0, 0}};
  if (options_.tileParts == Division::whole) return {{0, order_.size()}};
  const PacketPlace* before = nullptr;
  for (std::size_t i = 0; i < order_.size(); ++i) {
    if (order_[i].layer >= layers) continue;
    if (before && beginsPart(*before, order_[i])) parts.push_back({i, i});
    before = &order_[i];
    parts.back().end = i + 1;
    if (parts.size() > kMaxParts)
      failOption("tileParts", "makes more than 255 tile-parts of a tile in this progression");
  }
  return parts;
}

int PacketWriter::partCount(int layers) const { return static_cast<int>(partsOf(layers).size()); }

// The bytes of the passes that are written.
std::uint64_t PacketWriter::bodyBytes(int layers) const {
  std::uint64_t bytes = 0;
  for (const TileComponent& component : tile_.components)
    for (const Resolution& resolution : component.resolutions)
      for (const Precinct& precinct : resolution.precincts)
        for (const PrecinctBand& band : precinct.bands)
          for (const Block& block : band.blocks) {
            const std::size_t taken = takenBefore(*block.coded, layers);
            if (taken > 0) bytes += block.coded->passes[taken - 1].end;
          }
  return bytes;
}

Bytes PacketWriter::headerOf(std::size_t part, std::size_t parts, std::uint64_t packetBytes) const {
  Bytes header;
  writeTilePartHeader(header, {number_, static_cast<int>(part), static_cast<int>(parts)}, packetBytes, lengths_);
  return header;
}

// The header of a tile-part has its size. A small tile waits for it in memory; of a large one all packet headers are
// coded twice, first for the size alone.
void PacketWriter::write(int layers, Output& output, Budget& budget, const Workers::Report& report) {
  const std::vector<Part> parts = partsOf(layers);
  const std::uint64_t expected = bodyBytes(layers) * 17 / 16;  // packet headers included
  const bool small = expected <= kBuffer;
  std::vector<Bytes> headers(parts.size());
  if (!small) {
    measureAll(layers);
    for (std::size_t i = 0; i < parts.size(); ++i) {
      const std::uint64_t packetBytes = measure(parts[i], layers).packets;
      headers[i] = headerOf(i, parts.size(), packetBytes);
    }
  }
  budget.charge(1, std::min(expected, kBuffer));
  Bytes packets;
  packets.reserve(std::min(expected, kBuffer));
  restart(layers);
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (!small) output.write({headers[i].data(), headers[i].size()});
    packets.clear();
    lengths_.clear();
    for (std::size_t at = parts[i].begin; at < parts[i].end; ++at) {
      if (order_[at].layer >= layers) continue;
      const std::size_t before = packets.size();
      writePacket(order_[at], packets, small ? nullptr : &output);
      if (report) report(at + 1);
      if (small && options_.plt) lengths_.push_back(static_cast<std::uint32_t>(packets.size() - before));
    }
    if (small) headers[i] = headerOf(i, parts.size(), packets.size());
    output.write(small ? ByteSpan{headers[i].data(), headers[i].size()} : ByteSpan{}, {packets.data(), packets.size()});
  }
  budget.release(std::min(expected, kBuffer));
}

PacketWriter::PartSize PacketWriter::measure(const Part& part, int layers) {
  PartSize size;
  lengths_.clear();
  for (std::size_t at = part.begin; at < part.end; ++at) {
    if (order_[at].layer >= layers) continue;
    size.packets += sizes_[at];
    if (options_.plt) lengths_.push_back(sizes_[at]);
  }
  size.header = kTilePartHeader + pltSize(lengths_);
  return size;
}

// Codes the header of a packet for its size. The state of the headers becomes that after the packet, or stays.
std::uint32_t PacketWriter::codePacket(const PacketPlace& place, bool keep, Bytes& header) {
  Precinct& precinct = precinctOf(place);
  struct State {
    TagTree inclusion, zeroPlanes;
    std::vector<std::pair<bool, std::uint8_t>> blocks;
  };
  std::vector<State> before;
  for (PrecinctBand& band : precinct.bands) {
    if (!keep) {
      State& state = before.emplace_back(State{band.inclusion, band.zeroPlanes, {}});
      for (const Block& block : band.blocks) state.blocks.emplace_back(block.included, block.lengthBits);
    }
    band.inclusion.forgetUnknown();
    for (int i = 0; i < static_cast<int>(band.blocks.size()); ++i) {
      const Block& block = band.blocks[static_cast<std::size_t>(i)];
      if (block.included) continue;
      const bool now = block.coded->taken[static_cast<std::size_t>(place.layer)] > 0;
      band.inclusion.set(i, place.layer + (now ? 0 : 1));
    }
    band.inclusion.make();
  }
  const std::uint64_t body = writeHeader(place, header);
  for (std::size_t b = 0; b < before.size(); ++b) {
    PrecinctBand& band = precinct.bands[b];
    band.inclusion = std::move(before[b].inclusion);
    band.zeroPlanes = std::move(before[b].zeroPlanes);
    for (std::size_t i = 0; i < band.blocks.size(); ++i)
      std::tie(band.blocks[i].included, band.blocks[i].lengthBits) = before[b].blocks[i];
  }
  const std::uint64_t size = body + header.size() + (options_.sop ? 6 : 0) + (options_.eph ? 2 : 0);
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(size, UINT32_MAX));  // then its tile-part is too large
}

std::size_t PacketWriter::blocksToCode() const {
  std::size_t blocks = 0;
  for (std::size_t i = 0; i < layer_.size(); ++i)
    if (changed_[i]) blocks += blocksOf(precinctOf(order_[layer_[i]]));
  return blocks;
}

// The sizes of the packets of the next layer that have changed, or of all of them when the state of the headers becomes
// that after this layer. Precincts do not depend on each other.
void PacketWriter::codeLayer(bool keep) {
  std::vector<std::uint32_t> packets;
  for (const std::uint32_t i : largestFirst_)
    if (keep || changed_[i]) packets.push_back(i);
  const auto code = [&](int, std::size_t task) {
    Bytes header;
    const std::uint32_t at = layer_[packets[task]];
    sizes_[at] = codePacket(order_[at], keep, header);
  };
  for (const std::uint32_t i : packets) layerBytes_ -= sizes_[layer_[i]];
  if (packets.size() > 1 && (keep ? allBlocks_ : blocksToCode()) >= kWorthwhile)
    workers_.forEach(packets.size(), code);
  else
    for (std::size_t task = 0; task < packets.size(); ++task) code(0, task);
  for (const std::uint32_t i : packets) {
    layerBytes_ += sizes_[layer_[i]];
    changed_[i] = false;
  }
}

void PacketWriter::settle(int layers) {
  if (settled_ < 0 || layers != settled_ + 1) begin();
  while (settled_ < layers) {
    codeLayer(true);
    settledBytes_ += layerBytes_;
    beginLayer(settled_ + 1);
  }
}

// Before the first layer.
void PacketWriter::begin() {
  restart(0);
  settledBytes_ = 0;
  byLayer_.resize(order_.size());
  std::iota(byLayer_.begin(), byLayer_.end(), 0);
  std::ranges::stable_sort(byLayer_, {}, [&](std::uint32_t at) { return order_[at].layer; });
  sizes_.assign(order_.size(), 0);
  changed_.resize(order_.size() / static_cast<std::size_t>(tile_.style.layers));
  beginLayer(0);
  allBlocks_ = 0;
  for (std::size_t i = 0; i < layer_.size(); ++i) {
    Precinct& precinct = precinctOf(order_[layer_[i]]);
    allBlocks_ += blocksOf(precinct);
    for (PrecinctBand& band : precinct.bands)
      for (Block& block : band.blocks) block.coded->packetChanged = &changed_[i];
  }
  largestFirst_.resize(layer_.size());
  std::iota(largestFirst_.begin(), largestFirst_.end(), 0);
  std::ranges::stable_sort(largestFirst_, std::greater(),
                           [&](std::uint32_t i) { return blocksOf(precinctOf(order_[layer_[i]])); });
}

void PacketWriter::beginLayer(int layer) {
  const std::size_t packets = changed_.size();
  layer_ =
      std::span(byLayer_).subspan(static_cast<std::size_t>(layer) * packets, layer < tile_.style.layers ? packets : 0);
  settled_ = layer;
  layerBytes_ = 0;
  std::ranges::fill(changed_, std::uint8_t{true});
}

std::uint64_t PacketWriter::size(int layers) {
  if (settled_ != layers - 1) settle(layers - 1);
  codeLayer(false);
  if (options_.plt || options_.tileParts != Division::whole) {
    std::uint64_t size = 0;
    for (const Part& part : partsOf(layers)) size += measure(part, layers).all();
    return size;
  }
  return kTilePartHeader + settledBytes_ + layerBytes_;
}

// Of all layers, whose passes are chosen.
void PacketWriter::measureAll(int layers) {
  settled_ = -1;
  settle(layers);
}

std::vector<std::uint32_t> PacketWriter::partSizes(int layers) {
  measureAll(layers);
  std::vector<std::uint32_t> sizes;
  for (const Part& part : partsOf(layers)) {
    const std::uint64_t size = measure(part, layers).all();
    if (size > UINT32_MAX) fail(Kind::limit, "a tile exceeds 4 GiB");
    sizes.push_back(static_cast<std::uint32_t>(size));
  }
  return sizes;
}

}  // namespace moxj::j2k
