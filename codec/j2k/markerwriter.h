// Writes the marker segments of a codestream (Annex A).
#pragma once

#include <cstdint>
#include <span>

#include "base/bytes.h"
#include "j2k/j2k.h"
#include "j2k/params.h"
#include "pictures/metadata.h"

namespace moxj::j2k {

// Everything from SOC on but TLM.
void writeMainHeader(Bytes& file, const Siz& siz, const TileParams& params, const EncodeOptions& options);

// The comments of a picture, whose metadata may be null: the end of the main header.
void writeComments(Bytes& file, const Metadata* metadata);

inline constexpr std::size_t kTilePartHeader = 14;  // SOT and SOD

struct TilePartPlace {
  int tile = 0, number = 0, of = 1;
};

// TLM, the last segments of the main header: an entry for each tile-part. Throws Problem (limit) for too many.
struct TilePartLength {
  int tile;
  std::uint32_t length;
};
std::uint64_t tlmSize(std::uint64_t tileParts);
void writeTlm(Bytes& file, std::span<const TilePartLength> tileParts);

// PLT segments with the lengths of the packets of a tile-part. Throws Problem (limit) for too many.
std::uint64_t pltSize(std::span<const std::uint32_t> packets);
void writePlt(Bytes& file, std::span<const std::uint32_t> packets);

// SOT, PLT if there are lengths, SOD. `packetBytes`: the size of all packets.
void writeTilePartHeader(Bytes& file, const TilePartPlace& place, std::uint64_t packetBytes,
                         std::span<const std::uint32_t> packets = {});
void writeEnd(Bytes& file);

}  // namespace moxj::j2k
